// Every code the files carry, named as the user reads it: nations, card types, events, faults, purposes,
// slots, places, conditions, controls and calibrations, each through a file that holds the code.
#include "dataset_columns.h"
#include "ddd/ddd_decoder.h"
#include "ddd/ddd_fields.h"
#include "tools/dddgen/ddd_generator.h"

#include <QTest>
#include <QTimeZone>

#include <functional>

using namespace tachoria::ddd;
using namespace tachoria::ddd::test;
using namespace tachoria::dddgen;
using namespace Qt::StringLiterals;

using Names = std::function<QStringList(const QList<int>&)>;
Q_DECLARE_METATYPE(Names)

namespace {

template <typename Name>
Names each(Name name)
{
    return [name](const QList<int>& codes) {
        QStringList names;
        for (const int code : codes)
            names.append(name(code));
        return names;
    };
}

const QDateTime kMorning = QDateTime(QDate(2024, 3, 4), QTime(8, 0), QTimeZone::utc());

// The column of a card with one event of each code.
Names cardEvents()
{
    return [](const QList<int>& codes) {
        DriverCardDescription card = sampleDriverCard(1);
        card.events.clear();
        for (const int code : codes)
            card.events.append({code, 0, kMorning, kMorning.addSecs(60), 0x2B, u"A123BC77"_s, {}, 0});
        return column(Decoder::decode(writeDriverCard(card), u"card.ddd"_s).events, u"eventTypeEnglish"_s);
    };
}

Names cardConditions()
{
    return [](const QList<int>& codes) {
        DriverCardDescription card = sampleDriverCard(1);
        card.conditions.clear();
        for (const int code : codes)
            card.conditions.append({kMorning, code});
        return column(Decoder::decode(writeDriverCard(card), u"card.ddd"_s).specificConditions,
                      u"specificConditionType"_s);
    };
}

Names controls()
{
    return each([](int code) {
        DriverCardDescription card = sampleDriverCard(1);
        card.control.type = code;
        return value(Decoder::decode(writeDriverCard(card), u"card.ddd"_s).controlActivity, u"controlType"_s);
    });
}

// A unit's faults or events of these codes as type (or as purpose), and one of its columns.
Names unitRecords(bool faults, bool purposes, const QString& key)
{
    return [=](const QList<int>& codes) {
        VehicleUnitDescription unit = sampleVehicleUnit(1);
        QList<Event>& records = faults ? unit.faults : unit.events;
        records.clear();
        for (const int code : codes)
            records.append(
                {purposes ? 8 : code, purposes ? code : 0, kMorning, kMorning.addSecs(60), 0x2B, {}, {}, 0});
        const DddReport report = Decoder::decode(writeVehicleUnit(unit), u"vu.ddd"_s);
        return column(faults ? report.tachoFaults : report.tachoEvents, key);
    };
}

Names unitSlots()
{
    return [](const QList<int>& codes) {
        VehicleUnitDescription unit = sampleVehicleUnit(1);
        const CardInsertion card = unit.days.first().insertions.first();
        unit.days.first().insertions.clear();
        for (const int code : codes) {
            CardInsertion next = card;
            next.slot = code;
            next.inserted = card.inserted.addSecs(60 * code);
            unit.days.first().insertions.append(next);
        }
        return column(Decoder::decode(writeVehicleUnit(unit), u"vu.ddd"_s).cardIwData, u"cardSlot"_s);
    };
}

Names unitPlaces(const QString& key)
{
    return [key](const QList<int>& codes) {
        VehicleUnitDescription unit = sampleVehicleUnit(1);
        const VuPlace place = unit.days.first().places.first();
        unit.days.first().places.clear();
        for (const int code : codes) {
            VuPlace next = place;
            next.entryType = code;
            next.region = code;
            unit.days.first().places.append(next);
        }
        return column(Decoder::decode(writeVehicleUnit(unit), u"vu.ddd"_s).placeDailyWorkPeriod, key);
    };
}

Names calibrations(const QString& key)
{
    return [key](const QList<int>& codes) {
        VehicleUnitDescription unit = sampleVehicleUnit(1);
        const Calibration calibration = unit.calibrations.first();
        unit.calibrations.clear();
        for (const int code : codes) {
            Calibration next = calibration;
            next.purpose = code;
            unit.calibrations.append(next);
        }
        return column(Decoder::decode(writeVehicleUnit(unit), u"vu.ddd"_s).calibrationData, key);
    };
}

QList<int> range(int first, int last)
{
    QList<int> codes;
    for (int code = first; code <= last; ++code)
        codes.append(code);
    return codes;
}

} // namespace

class TestDddNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void names_data()
    {
        QTest::addColumn<Names>("names");
        QTest::addColumn<QList<int>>("codes");
        QTest::addColumn<QStringList>("expected");

        QTest::newRow("nations") << each(countryName) << range(0, 0x38) + QList<int>{187, 0xFD, 0xFE, 0xFF}
                                 << QStringList{u"Нет данных"_s,
                                                u"Австрия"_s,
                                                u"Албания"_s,
                                                u"Андорра"_s,
                                                u"Армения"_s,
                                                u"Азербайджан"_s,
                                                u"Бельгия"_s,
                                                u"Болгария"_s,
                                                u"Босния и Герцеговина"_s,
                                                u"Беларусь"_s,
                                                u"Швейцария"_s,
                                                u"Кипр"_s,
                                                u"Чехия"_s,
                                                u"Германия"_s,
                                                u"Дания"_s,
                                                u"Испания"_s,
                                                u"Эстония"_s,
                                                u"Франция"_s,
                                                u"Финляндия"_s,
                                                u"Лихтенштейн"_s,
                                                u"Фарерские острова"_s,
                                                u"Великобритания"_s,
                                                u"Грузия"_s,
                                                u"Греция"_s,
                                                u"Венгрия"_s,
                                                u"Хорватия"_s,
                                                u"Италия"_s,
                                                u"Ирландия"_s,
                                                u"Исландия"_s,
                                                u"Казахстан"_s,
                                                u"Люксембург"_s,
                                                u"Литва"_s,
                                                u"Латвия"_s,
                                                u"Мальта"_s,
                                                u"Монако"_s,
                                                u"Молдова"_s,
                                                u"Северная Македония"_s,
                                                u"Норвегия"_s,
                                                u"Нидерланды"_s,
                                                u"Португалия"_s,
                                                u"Польша"_s,
                                                u"Румыния"_s,
                                                u"Сан-Марино"_s,
                                                u"Российская Федерация"_s,
                                                u"Швеция"_s,
                                                u"Словакия"_s,
                                                u"Словения"_s,
                                                u"Туркменистан"_s,
                                                u"Турция"_s,
                                                u"Украина"_s,
                                                u"Ватикан"_s,
                                                u"Югославия"_s,
                                                u"Черногория"_s,
                                                u"Сербия"_s,
                                                u"Узбекистан"_s,
                                                u"Таджикистан"_s,
                                                u"0X38"_s,
                                                u"Российская Федерация"_s,
                                                u"Европейское сообщество"_s,
                                                u"Остальная Европа"_s,
                                                u"Остальной мир"_s};
        QTest::newRow("card types") << each(cardTypeName) << range(0, 6)
                                    << QStringList{u"Reserved"_s,      u"Driver Card"_s,
                                                   u"Tachoria Card"_s, u"Control Card"_s,
                                                   u"Company Card"_s,  u"Manufacturing Card"_s,
                                                   u"Unknown type"_s};
        QTest::newRow("event types")
            << each(eventName) << range(0, 11) + range(16, 25) + range(32, 38) + QList<int>{0x90}
            << QStringList{u"Общее событие: без дополнительных сведений"_s,
                           u"Вставка недействительной карты"_s,
                           u"Конфликт карт"_s,
                           u"Общее событие: перекрытие времени"_s,
                           u"Движение без соответствующей карты"_s,
                           u"Вставка карты во время движения"_s,
                           u"Сессия карты завершена некорректно"_s,
                           u"Превышение скорости"_s,
                           u"Прерывание питания"_s,
                           u"Ошибка данных движения"_s,
                           u"Конфликт движения транспортного средства"_s,
                           u"НЕИЗВЕСТНОЕ СОБЫТИЕ (0X0B)"_s,
                           u"Попытка нарушения безопасности VU: без дополнительных сведений"_s,
                           u"Ошибка аутентификации датчика движения"_s,
                           u"Ошибка аутентификации карты тахографа"_s,
                           u"Несанкционированная замена датчика движения"_s,
                           u"Ошибка целостности данных карты"_s,
                           u"Ошибка целостности пользовательских данных"_s,
                           u"Ошибка внутренней передачи данных"_s,
                           u"Попытка несанкционированного вскрытия"_s,
                           u"Аппаратное вмешательство"_s,
                           u"НЕИЗВЕСТНОЕ СОБЫТИЕ (0X19)"_s,
                           u"Попытка нарушения безопасности датчика: без дополнительных сведений"_s,
                           u"Ошибка аутентификации датчика"_s,
                           u"Ошибка целостности данных датчика"_s,
                           u"Ошибка внутренней передачи данных датчика"_s,
                           u"Несанкционированное вскрытие датчика"_s,
                           u"Аппаратное вмешательство в датчик"_s,
                           u"НЕИЗВЕСТНОЕ СОБЫТИЕ (0X26)"_s,
                           u"СОБЫТИЕ ПРОИЗВОДИТЕЛЯ (0X90)"_s};
        const QString unit = u"Неисправность тахографа: "_s;
        QTest::newRow("fault types") << each(faultName)
                                     << QList<int>{0, 52} + range(53, 64) + QList<int>{81, 99}
                                     << QStringList{u"Нет неисправности"_s,
                                                    u"Неисправность оборудования записи: ошибка загрузки"_s,
                                                    unit + u"Неисправность датчика"_s,
                                                    unit + u"Неисправность печати"_s,
                                                    unit + u"Неисправность дисплея"_s,
                                                    unit + u"Неисправность питания"_s,
                                                    unit + u"Неисправность памяти"_s,
                                                    unit + u"Неисправность датчика скорости"_s,
                                                    unit + u"Неисправность считывателя карты"_s,
                                                    unit + u"Внутренняя неисправность VU"_s,
                                                    unit + u"Неисправность часов"_s,
                                                    unit + u"Ошибка калибровки"_s,
                                                    u"Зарезервировано для будущего использования"_s,
                                                    u"Неисправность карты: без дополнительных сведений"_s,
                                                    u"Зарезервировано для будущего использования"_s,
                                                    u"НЕИЗВЕСТНАЯ НЕИСПРАВНОСТЬ (0X63)"_s};
        const QString general = u"General event - "_s;
        const QString unitBreach = u"Vehicle unit related security breach attempt event - "_s;
        const QString sensorBreach = u"Sensor related security breach attempt event - "_s;
        QTest::newRow("card events in English")
            << cardEvents() << range(0, 11) + range(16, 24) + range(32, 37) + QList<int>{0x90}
            << QStringList{general + u"No further details"_s,
                           general + u"Insertion of a non-valid card"_s,
                           general + u"Card conflict"_s,
                           general + u"Time overlap"_s,
                           general + u"Driving without an appropriate card"_s,
                           general + u"Card insertion while driving"_s,
                           general + u"Last card session not correctly closed"_s,
                           general + u"Over speeding"_s,
                           general + u"Power supply interruption"_s,
                           general + u"Motion data error"_s,
                           general + u"Vehicle motion conflict"_s,
                           u"Reserved for future use"_s,
                           unitBreach + u"No further details"_s,
                           unitBreach + u"Motion sensor authentication failure"_s,
                           unitBreach + u"Tachograph card authentication failure"_s,
                           unitBreach + u"Unauthorised change of motion sensor"_s,
                           unitBreach + u"Card data input integrity error"_s,
                           unitBreach + u"Stored user data integrity error"_s,
                           unitBreach + u"Internal data transfer error"_s,
                           unitBreach + u"Unauthorised case opening"_s,
                           unitBreach + u"Hardware sabotage"_s,
                           sensorBreach + u"No further details"_s,
                           sensorBreach + u"Authentication failure"_s,
                           sensorBreach + u"Stored data integrity error"_s,
                           sensorBreach + u"Internal data transfer error"_s,
                           sensorBreach + u"Unauthorised case opening"_s,
                           sensorBreach + u"Hardware sabotage"_s,
                           u"MANUFACTURER-SPECIFIC EVENT (0X90)"_s};
        QTest::newRow("specific conditions") << cardConditions() << range(1, 28)
                                             << QStringList{u"Выход за область применения — начало"_s,
                                                            u"Выход за область применения — окончание"_s,
                                                            u"Паром/поезд — начало"_s,
                                                            u"Паром/поезд — окончание"_s,
                                                            u"Вне области, карта не вставлена — начало"_s,
                                                            u"Вне области, карта не вставлена — окончание"_s,
                                                            u"Прочее специальное условие — начало"_s,
                                                            u"Прочее специальное условие — окончание"_s,
                                                            u"Прерывание питания"_s,
                                                            u"Ошибка данных движения"_s,
                                                            u"Попытка нарушения безопасности тахографа"_s,
                                                            u"Корректировка времени"_s,
                                                            u"Калибровка"_s,
                                                            u"Загрузка данных"_s,
                                                            u"Неисправность тахографа"_s,
                                                            u"Неисправность датчика"_s,
                                                            u"Вставка карты водителя во время движения"_s,
                                                            u"Извлечение карты водителя во время движения"_s,
                                                            u"Вставка недействительной карты водителя"_s,
                                                            u"Предыдущая сессия карты закрыта некорректно"_s,
                                                            u"Превышение скорости"_s,
                                                            u"Прерывание питания тахографа"_s,
                                                            u"Несанкционированное вскрытие корпуса"_s,
                                                            u"Ошибка движения в тахографе"_s,
                                                            u"Конфликт карт"_s,
                                                            u"Перекрытие времени"_s,
                                                            u"Движение без соответствующей карты водителя"_s,
                                                            u"Специальное условие 0x1C"_s};
        QTest::newRow("control types")
            << controls() << range(0, 5)
            << QStringList{u"No Activity"_s,       u"Control"_s,         u"Surveillance"_s,
                           u"Technical Control"_s, u"Company Control"_s, u"Unknown (0x05)"_s};
        const QList<int> purposes = range(0, 8) + QList<int>{10, 34, 65, 66, 69, 74, 94, 95, 96};
        QTest::newRow("purposes") << unitRecords(true, true, u"faultRecordPurpose"_s) << range(0, 8)
                                  << QStringList{u"Одно из 10 последних событий"_s,
                                                 u"Самое длительное событие за последние 10 дней"_s,
                                                 u"Одно из длительных событий за последние 10 дней"_s,
                                                 u"Последнее событие за последние 10 дней"_s,
                                                 u"Первое событие после калибровки"_s,
                                                 u"Одно из последних событий"_s,
                                                 u"ЗАРЕЗЕРВИРОВАНО (0X06)"_s,
                                                 u"Активное событие/неисправность"_s,
                                                 u"ЗАРЕЗЕРВИРОВАНО (0X08)"_s};
        const QString reserved = u"Reserved for future use"_s;
        const QString longest = u"The longest event for one of the last 10 days of occurrence"_s;
        QTest::newRow("fault purposes in English")
            << unitRecords(true, true, u"faultRecordPurposeEnglish"_s) << purposes
            << QStringList{reserved,
                           longest,
                           u"One of the longest events for one of the last 10 days of occurrence"_s,
                           u"The last event for one of the last 10 days of occurrence"_s,
                           u"One of the first events after the last calibration"_s,
                           u"One of the most recent events"_s,
                           u"RFU"_s,
                           u"An active/on-going event or fault"_s,
                           u"RFU"_s,
                           reserved,
                           reserved,
                           reserved,
                           reserved,
                           reserved,
                           reserved,
                           longest,
                           u"RFU"_s,
                           u"Manufacturer specific"_s};
        QTest::newRow("event purposes in English")
            << unitRecords(false, true, u"eventRecordPurposeEnglish"_s) << range(0, 2)
            << QStringList{u"One of the 10 most recent (or last) events or faults"_s, longest,
                           u"Unknown (0x02)"_s};
        QTest::newRow("unit events in English")
            << unitRecords(false, false, u"eventTypeEnglish"_s) << QList<int>{2, 4, 5, 6, 8, 22, 181, 3}
            << QStringList{general + u"Card conflict"_s,
                           general + u"Driving without an appropriate card"_s,
                           general + u"Card insertion while driving"_s,
                           general + u"Last card session not correctly closed"_s,
                           general + u"Power supply interruption"_s,
                           unitBreach + u"Internal data transfer error"_s,
                           u"Manufacturer specific"_s,
                           reserved};
        QTest::newRow("unit faults in English")
            << unitRecords(true, false, u"faultTypeEnglish"_s) << QList<int>{52, 63, 64, 81, 99}
            << QStringList{u"Recording equipment fault - Downloading fault"_s, reserved,
                           u"Card fault - No further details"_s, reserved, u"RFU (0X63)"_s};
        QTest::newRow("card slots") << unitSlots() << range(0, 5)
                                    << QStringList{u"Водитель"_s,   u"Сопряжённый водитель"_s,
                                                   u"Мастерская"_s, u"Контроль"_s,
                                                   u"Компания"_s,   u"НЕИЗВЕСТНЫЙ СЛОТ (0X05)"_s};
        QTest::newRow("entries of a place")
            << unitPlaces(u"entryTypeDailyWorkPeriod"_s) << range(0, 5)
            << QStringList{u"Begin"_s,    u"Start"_s,        u"End"_s,
                           u"Complete"_s, u"Intermediate"_s, u"UNKNOWN (0X05)"_s};
        QTest::newRow("regions") << unitPlaces(u"dailyWorkPeriodRegion"_s) << QList<int>{0, 0x2B, 7}
                                 << QStringList{u"No information available"_s, u"Moscow Region"_s,
                                                u"REGION 0X07"_s};
        QTest::newRow("calibration purposes")
            << calibrations(u"calibrationPurpose"_s) << range(1, 6)
            << QStringList{u"Активация: параметры калибровки при активации"_s,
                           u"Первая установка: первая калибровка после активации"_s,
                           u"Установка: первая калибровка в текущем ТС"_s,
                           u"Периодическая проверка"_s,
                           u"Особая калибровка"_s,
                           u"НЕИЗВЕСТНЫЙ ТИП (0X06)"_s};
        QTest::newRow("calibration purposes in English")
            << calibrations(u"calibrationPurposeEnglish"_s) << range(1, 6)
            << QStringList{
                   u"Activation: recording of calibration parameters known at the moment of activation"_s,
                   u"First Installation: first calibration of the VU after its activation"_s,
                   u"Installation: first calibration of the VU in the current vehicle"_s,
                   u"Periodic Inspection"_s,
                   u"НЕИЗВЕСТНЫЙ ТИП (0X05)"_s,
                   u"НЕИЗВЕСТНЫЙ ТИП (0X06)"_s};
    }

    void names()
    {
        QFETCH(Names, names);
        QFETCH(QList<int>, codes);
        QTEST(names(codes), "expected");
    }
};

QTEST_GUILESS_MAIN(TestDddNames)
#include "test_ddd_names.moc"
