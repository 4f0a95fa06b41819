#include "documents/ddd_report_renderer.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QRegularExpression>

#include <cmath>
#include <map>

namespace tachoria::documents {

using namespace Qt::StringLiterals;
using ddd::DatasetRows;
using ddd::DddFileType;
using ddd::DddReport;

namespace {

using Pairs = QList<QPair<QString, QString>>;

bool includes(const QVariantMap& options, const QString& key)
{
    if (!options.contains(u"sections"_s))
        return true;
    const QStringList sections = options.value(u"sections"_s).toStringList();
    return sections.contains(u"all"_s) || sections.contains(key);
}

// A table of named columns drawn from one dataset.
struct TableSection
{
    QString key;
    QString heading;
    QStringList headers;
    QList<QStringList> keys; // per column, the row keys to try in order
    QList<QVariantMap> (*rows)(const DddReport&);
};

// A one-column table of every entry of each row.
struct GenericSection
{
    QString key;
    QString heading;
    const DatasetRows DddReport::*rows;
};

QList<QStringList> single(const QStringList& keys)
{
    QList<QStringList> columns;
    for (const QString& key : keys)
        columns.append(QStringList{key});
    return columns;
}

// The day column of a table: its date, with the report's own number of the day behind it.
void showDates(QList<QStringList>& rows, int column, const QHash<QString, QString>& dates)
{
    for (QStringList& row : rows) {
        const QString date = dates.value(row.at(column));
        if (!date.isEmpty())
            row[column] = u"%1 (%2)"_s.arg(date, row.at(column));
    }
}

void addTable(ReportPainter& painter, const TableSection& section, const DddReport& report,
              const QHash<QString, QString>& dates)
{
    QList<QStringList> rows = DddReportRenderer::rowsFor(section.rows(report), section.keys);
    const qsizetype day = section.headers.indexOf(u"День"_s);
    if (day >= 0)
        showDates(rows, int(day), dates);
    painter.table(section.heading, section.headers, rows);
}

QString period(const DddReport& report)
{
    return report.dataStartDate.isEmpty() && report.dataEndDate.isEmpty()
               ? QString()
               : u"%1 - %2"_s.arg(report.dataStartDate, report.dataEndDate);
}

void addCard(ReportPainter& painter, const DddReport& report, const QVariantMap& options,
             const QHash<QString, QString>& dates)
{
    if (includes(options, u"basicInfo"_s)) {
        const QString name = report.driverName.isEmpty()
                                 ? u"%1 %2"_s.arg(report.driverFirstName, report.driverSurname).trimmed()
                                 : report.driverName;
        painter.section(u"Основная информация"_s);
        painter.keyValues({{u"ФИО водителя"_s, name},
                           {u"Номер карты"_s, report.cardNumber},
                           {u"Компания"_s, report.issuingAuthorityName},
                           {u"Дата рождения"_s, report.birthDate},
                           {u"Срок действия карты"_s, report.expiryDate},
                           {u"Номер водительского удостоверения"_s, report.drivingLicenceNumber},
                           {u"Орган выдачи"_s, report.drivingLicenceIssuingAuthority},
                           {u"Период данных"_s, period(report)}});
    }
    if (includes(options, u"statistics"_s)) {
        painter.section(u"Статистика"_s);
        painter.keyValues({{u"События"_s, QString::number(report.events.size())},
                           {u"Неисправности"_s, QString::number(report.faults.size())},
                           {u"Транспортные средства"_s, QString::number(report.vehicles.size())},
                           {u"Записи активности"_s, QString::number(report.activities.size())},
                           {u"Изменения активности"_s, QString::number(report.activityChanges.size())},
                           {u"Пробег, км"_s, QString::number(report.totalDistanceKm)}});
    }
    const TableSection tables[] = {
        {u"events"_s,
         u"События"_s,
         {u"Тип"_s, u"Начало"_s, u"Окончание"_s, u"ТС"_s},
         single({u"eventType"_s, u"eventBeginTime"_s, u"eventEndTime"_s, u"vehicleRegistrationNumber"_s}),
         [](const DddReport& r) { return r.events.toList(); }},
        {u"faults"_s,
         u"Неисправности"_s,
         {u"Тип"_s, u"Начало"_s, u"Окончание"_s, u"ТС"_s},
         single(
             {u"faultType"_s, u"faultBeginTime"_s, u"faultEndTime"_s, u"faultVehicleRegistrationNumber"_s}),
         [](const DddReport& r) { return r.faults.toList(); }},
        {u"vehicles"_s,
         u"Использованные транспортные средства"_s,
         {u"Рег. номер"_s, u"Начало одометра"_s, u"Конец одометра"_s, u"Первое использование"_s,
          u"Последнее использование"_s},
         single({u"vehicleRegistrationNumber1"_s, u"vehicleOdometerBegin"_s, u"vehicleOdometerEnd"_s,
                 u"vehicleFirstUsed"_s, u"vehicleLastUsed"_s}),
         [](const DddReport& r) { return r.vehicles.toList(); }},
        {u"activity"_s,
         u"Изменения активности"_s,
         {u"День"_s, u"Время"_s, u"Карта"_s, u"Активность"_s},
         single({u"activityDailyPresenceCounter1"_s, u"time"_s, u"cardStatus"_s, u"activity"_s}),
         [](const DddReport& r) { return r.activityChanges.toList(); }},
        {u"places"_s,
         u"Места рабочего периода"_s,
         {u"Время"_s, u"Операция"_s, u"Страна"_s, u"Одометр"_s},
         single({u"entryTime"_s, u"entryTypeDailyWorkPeriod"_s, u"dailyWorkPeriodCountry"_s,
                 u"vehicleOdometerValue"_s}),
         [](const DddReport& r) { return r.places.toList(); }},
    };
    for (const TableSection& table : tables) {
        if (includes(options, table.key))
            addTable(painter, table, report, dates);
    }
    const GenericSection generic[] = {
        {u"icc"_s, u"ICC"_s, &DddReport::cardIcc},
        {u"ic"_s, u"IC"_s, &DddReport::cardIc},
        {u"applicationIdentification"_s, u"Идентификация приложения"_s,
         &DddReport::applicationIdentification},
        {u"cardIdentification"_s, u"Идентификация карты"_s, &DddReport::cardIdentification},
        {u"cardDownload"_s, u"Загрузка карты"_s, &DddReport::cardDownload},
        {u"drivingLicence"_s, u"Водительское удостоверение"_s, &DddReport::drivingLicence},
    };
    for (const GenericSection& section : generic) {
        if (includes(options, section.key))
            painter.table(section.heading, {u"Данные"_s},
                          DddReportRenderer::genericRows((report.*section.rows).toList()));
    }
    if (includes(options, u"asn1"_s)) {
        QList<QStringList> rows;
        for (qsizetype row = 0; row < report.asn1Fields.size(); ++row)
            rows.append({u"%1: %2"_s.arg(report.asn1Fields.value(row, u"path").toString(),
                                         report.asn1Fields.value(row, u"value").toString())});
        painter.table(u"ASN.1 поля"_s, {u"Путь и значение"_s}, rows);
    }
}

void addTachograph(ReportPainter& painter, const DddReport& report, const QVariantMap& options,
                   const QHash<QString, QString>& dates)
{
    if (includes(options, u"basicInfo"_s)) {
        painter.section(u"Основная информация"_s);
        painter.keyValues({{u"VIN"_s, report.vin},
                           {u"Регистрационный номер"_s, report.registrationNumber},
                           {u"Страна регистрации"_s, report.vehicleRegistrationNation},
                           {u"Период данных"_s, period(report)},
                           {u"Следующая калибровка"_s, report.nextCalibrationDate}});
    }
    if (includes(options, u"statistics"_s)) {
        painter.section(u"Статистика"_s);
        painter.keyValues({{u"События"_s, QString::number(report.events.size())},
                           {u"Неисправности"_s, QString::number(report.faults.size())},
                           {u"Превышения скорости"_s, QString::number(report.totalOverSpeeding)},
                           {u"Калибровки"_s, QString::number(report.totalCalibrations)},
                           {u"Дни"_s, QString::number(report.totalDays)},
                           {u"Средняя скорость, км/ч"_s, QString::number(report.averageSpeed, 'f', 1)},
                           {u"Максимальная скорость, км/ч"_s, QString::number(report.maxSpeed)},
                           {u"Пробег, км"_s, QString::number(report.totalDistanceKm)}});
    }
    const TableSection tables[] = {
        {u"tachoEvents"_s,
         u"События тахографа"_s,
         {u"Тип"_s, u"Назначение"_s, u"Начало"_s, u"Окончание"_s},
         single({u"eventType"_s, u"eventRecordPurpose"_s, u"eventBeginTime"_s, u"eventEndTime"_s}),
         [](const DddReport& r) { return r.tachoEvents.toList(); }},
        {u"tachoFaults"_s,
         u"Неисправности тахографа"_s,
         {u"Тип"_s, u"Назначение"_s, u"Начало"_s, u"Окончание"_s},
         single({u"faultType"_s, u"faultRecordPurpose"_s, u"faultBeginTime"_s, u"faultEndTime"_s}),
         [](const DddReport& r) { return r.tachoFaults.toList(); }},
        {u"overspeed"_s,
         u"Превышения скорости"_s,
         {u"Тип"_s, u"Начало"_s, u"Окончание"_s, u"Макс. скорость"_s, u"Средняя скорость"_s},
         single({u"eventType1"_s, u"eventBeginTime1"_s, u"eventEndTime1"_s, u"maxSpeedValue"_s,
                 u"averageSpeedValue"_s}),
         [](const DddReport& r) { return r.overSpeedingEvents.toList(); }},
        {u"calibration"_s,
         u"Данные калибровки"_s,
         {u"Назначение"_s, u"VIN"_s, u"Рег. номер"_s, u"W"_s, u"K"_s, u"L"_s, u"Следующая дата"_s},
         single({u"calibrationPurpose"_s, u"vehicleIdentificationNumber"_s, u"vehicleRegistrationNumber"_s,
                 u"wVehicleCharacteristicConstant"_s, u"kConstantOfRecordingEquipment"_s,
                 u"iTyreCircumference"_s, u"nextCalibrationDate"_s}),
         [](const DddReport& r) { return r.calibrationData.toList(); }},
        {u"activity"_s,
         u"Ежедневная активность"_s,
         {u"День"_s, u"Время"_s, u"Карта"_s, u"Активность"_s},
         single({u"dayNo"_s, u"timeOfChange"_s, u"cardStatus"_s, u"activity"_s}),
         [](const DddReport& r) { return r.activityDaily.toList(); }},
        {u"places"_s,
         u"Места рабочего периода"_s,
         {u"День"_s, u"Время"_s, u"Операция"_s, u"Страна"_s, u"Одометр"_s},
         single({u"dayNo"_s, u"entryTime"_s, u"entryTypeDailyWorkPeriod"_s, u"dailyWorkPeriodCountry"_s,
                 u"vehicleOdometerValue"_s}),
         [](const DddReport& r) { return r.placeDailyWorkPeriod.toList(); }},
        {u"detailedSpeed"_s,
         u"Детальная скорость"_s,
         {u"Начало"_s, u"Средняя"_s, u"Максимальная"_s, u"Значения"_s},
         single({u"speedBlockBeginDate"_s, u"averageSpeed"_s, u"maxSpeed"_s, u"speedsPerSecond"_s}),
         [](const DddReport& r) { return r.detailedSpeed.toList(); }},
        {u"specificConditions"_s,
         u"Специальные условия"_s,
         {u"День"_s, u"Время"_s, u"Тип"_s},
         single({u"dayNo"_s, u"entryTime"_s, u"specificConditionType"_s}),
         [](const DddReport& r) { return r.specificConditions.toList(); }},
    };
    for (const TableSection& table : tables) {
        if (includes(options, table.key))
            addTable(painter, table, report, dates);
    }
    const GenericSection generic[] = {
        {u"vuIdentification"_s, u"Информация VU"_s, &DddReport::vuIdentification},
        {u"sensor"_s, u"Сопряжённый датчик"_s, &DddReport::sensorPaired},
        {u"downloadActivity"_s, u"Активность выгрузки"_s, &DddReport::downloadActivity},
        {u"companyLocks"_s, u"Блокировки компании"_s, &DddReport::companyLocks},
        {u"controlActivity"_s, u"Контрольная активность"_s, &DddReport::controlActivity},
        {u"currentUsage"_s, u"Текущее использование"_s, &DddReport::currentUsage},
        {u"timeAdjustments"_s, u"Корректировки времени"_s, &DddReport::timeAdjustments},
        {u"cardIwData"_s, u"Card IW"_s, &DddReport::cardIwData},
        {u"dayInformation"_s, u"Дни тахографа"_s, &DddReport::dayInformation},
    };
    for (const GenericSection& section : generic) {
        if (includes(options, section.key))
            painter.table(section.heading, {u"Данные"_s},
                          DddReportRenderer::genericRows((report.*section.rows).toList()));
    }
}

QString mapText(const QVariantMap& analysis, const QString& group, const QString& key)
{
    return DddReportRenderer::scalarText(analysis.value(group).toMap().value(key));
}

QList<QVariantMap> mapsOf(const QVariant& list)
{
    QList<QVariantMap> maps;
    for (const QVariant& item : list.toList())
        maps.append(item.toMap());
    return maps;
}

void addAnalysis(ReportPainter& painter, const QVariantMap& analysis, const QHash<QString, QString>& dates)
{
    if (analysis.isEmpty())
        return;
    const QVariantMap working = analysis.value(u"workingHours"_s).toMap();
    const QVariantMap compliance = analysis.value(u"compliance"_s).toMap();
    painter.section(u"Анализ рабочего времени и нарушений"_s);
    painter.keyValues({
        {u"Рабочее время"_s, mapText(analysis, u"efficiency"_s, u"totalWorkTime"_s)},
        {u"Время отдыха"_s, mapText(analysis, u"efficiency"_s, u"totalRestTime"_s)},
        {u"Максимальное непрерывное вождение"_s,
         mapText(analysis, u"drivingCycles"_s, u"maxContinuousDriving"_s)},
        {u"Недельное вождение"_s, mapText(analysis, u"drivingCycles"_s, u"weeklyDrivingTime"_s)},
        {u"Двухнедельное вождение"_s, mapText(analysis, u"drivingCycles"_s, u"biWeeklyDrivingTime"_s)},
        {u"Сверхурочное время"_s, mapText(analysis, u"workingHours"_s, u"totalOvertime"_s)},
        {u"Короткие перерывы"_s, mapText(analysis, u"restBreaks"_s, u"shortBreakCount"_s)},
        {u"Ежедневный отдых"_s, mapText(analysis, u"restBreaks"_s, u"dailyRest"_s)},
        {u"Оценка соответствия"_s, mapText(analysis, u"compliance"_s, u"overallScore"_s)},
    });
    QList<QStringList> days = DddReportRenderer::rowsFor(
        mapsOf(working.value(u"items"_s)),
        single({u"dayNumber"_s, u"workTime"_s, u"restTime"_s, u"workStart"_s, u"workEnd"_s}));
    showDates(days, 0, dates);
    painter.table(u"Рабочие дни"_s, {u"День"_s, u"Работа"_s, u"Отдых"_s, u"Начало"_s, u"Окончание"_s}, days);
    const std::pair<QString, QString> lists[] = {{u"violations"_s, u"Нарушения"_s},
                                                 {u"warnings"_s, u"Предупреждения"_s},
                                                 {u"recommendations"_s, u"Рекомендации"_s}};
    for (const auto& [key, heading] : lists) {
        QList<QStringList> rows;
        for (const QVariant& text : compliance.value(key).toList())
            rows.append({text.toString()});
        painter.table(heading, {u"Описание"_s}, rows);
    }
}

QStringList graphsOf(const QVariantMap& options)
{
    return options.value(u"graphs"_s).toStringList();
}

void addRequestedCharts(ReportPainter& painter, const DddReport& report, const QVariantMap& options)
{
    const QStringList graphs = graphsOf(options);
    using R = DddReportRenderer;
    if (graphs.contains(u"activity"_s)) {
        const DatasetRows& rows =
            report.activityDaily.isEmpty() ? report.activityChanges : report.activityDaily;
        painter.chart(
            u"Изменения активности по дням"_s, u"Записей"_s, u"День"_s,
            R::categoryCounts(rows.toList(), {u"dayNo"_s, u"day"_s, u"activityDailyPresenceCounter1"_s}),
            false);
    }
    if (graphs.contains(u"speed"_s))
        painter.chart(u"Детальная скорость"_s, u"Скорость, км/ч"_s, u"Секунды от начала блока"_s,
                      R::decimatedSpeedPoints(report), true);
    if (graphs.contains(u"mileage"_s)) {
        QList<ChartPoint> points;
        for (const QVariantMap& vehicle : report.vehicles.toList()) {
            const double distance = std::max(
                0.0, R::numericValue(vehicle, {u"vehicleOdometerEnd"_s, u"odometerEnd"_s}, 0) -
                         R::numericValue(vehicle, {u"vehicleOdometerBegin"_s, u"odometerBegin"_s}, 0));
            if (distance > 0)
                points.append(
                    {R::rowValue(vehicle, {u"vehicleRegistrationNumber1"_s, u"vehicleRegistrationNumber"_s}),
                     distance, distance, distance});
        }
        painter.chart(u"Пробег по автомобилям"_s, u"Пробег, км"_s, u"Транспортное средство"_s, points, false);
    }
    const DatasetRows& events = report.tachoEvents.isEmpty() ? report.events : report.tachoEvents;
    if (graphs.contains(u"events"_s))
        painter.chart(u"События"_s, u"Количество"_s, u"Тип события"_s,
                      R::categoryCounts(events.toList(), {u"eventType"_s, u"eventType1"_s}), false);
    const DatasetRows& faults = report.tachoFaults.isEmpty() ? report.faults : report.tachoFaults;
    if (graphs.contains(u"faults"_s))
        painter.chart(u"Неисправности"_s, u"Количество"_s, u"Тип неисправности"_s,
                      R::categoryCounts(faults.toList(), {u"faultType"_s, u"faultType1"_s}), false);
    if (graphs.contains(u"odometer"_s)) {
        QList<ChartPoint> points;
        for (const QVariantMap& day : report.dayInformation.toList()) {
            const double value = R::numericValue(
                day, {u"odometerValueMidnight"_s, u"odometerValue"_s, u"vehicleOdometerValue"_s}, -1);
            if (value >= 0)
                points.append({R::rowValue(day, {u"dayNo"_s, u"dayNumber"_s}), value, value, value});
        }
        painter.chart(u"Показания одометра по дням"_s, u"Показание, км"_s, u"День"_s, points, true);
    }
    if (graphs.contains(u"places"_s)) {
        const DatasetRows& places =
            report.placeDailyWorkPeriod.isEmpty() ? report.places : report.placeDailyWorkPeriod;
        painter.chart(u"Посещённые места"_s, u"Количество"_s, u"Страна / регион"_s,
                      R::categoryCounts(places.toList(), {u"dailyWorkPeriodCountry"_s, u"country"_s,
                                                          u"dailyWorkPeriodRegion"_s, u"region"_s}),
                      false);
    }
    if (graphs.contains(u"calibration"_s))
        painter.chart(u"Калибровки"_s, u"Количество"_s, u"Дата / назначение"_s,
                      R::categoryCounts(report.calibrationData.toList(),
                                        {u"nextCalibrationDate"_s, u"calibrationPurpose"_s}),
                      false);
    if (graphs.contains(u"workingTime"_s)) {
        QList<ChartPoint> points;
        for (const QVariantMap& day :
             mapsOf(report.analysis.value(u"workingHours"_s).toMap().value(u"items"_s))) {
            const double hours = R::minutesValue(R::rowValue(day, {u"workTime"_s}));
            points.append({R::rowValue(day, {u"dayNumber"_s, u"day"_s}), hours, 0, hours});
        }
        painter.chart(u"Рабочее время по дням"_s, u"Часы"_s, u"День"_s, points, false);
    }
}

} // namespace

QStringList DddReportRenderer::sectionKeys(DddFileType type)
{
    if (type == DddFileType::Tachograph)
        return {u"basicInfo"_s,        u"statistics"_s,         u"tachoEvents"_s,      u"tachoFaults"_s,
                u"overspeed"_s,        u"calibration"_s,        u"activity"_s,         u"places"_s,
                u"detailedSpeed"_s,    u"specificConditions"_s, u"vuIdentification"_s, u"sensor"_s,
                u"downloadActivity"_s, u"companyLocks"_s,       u"controlActivity"_s,  u"currentUsage"_s,
                u"timeAdjustments"_s,  u"cardIwData"_s,         u"dayInformation"_s,   u"analysis"_s};
    return {u"basicInfo"_s,
            u"statistics"_s,
            u"events"_s,
            u"faults"_s,
            u"vehicles"_s,
            u"activity"_s,
            u"places"_s,
            u"icc"_s,
            u"ic"_s,
            u"applicationIdentification"_s,
            u"cardIdentification"_s,
            u"cardDownload"_s,
            u"drivingLicence"_s,
            u"asn1"_s,
            u"analysis"_s};
}

QStringList DddReportRenderer::chartKeys()
{
    return {u"activity"_s, u"speed"_s,  u"mileage"_s,     u"events"_s,     u"faults"_s,
            u"odometer"_s, u"places"_s, u"calibration"_s, u"workingTime"_s};
}

QString DddReportRenderer::scalarText(const QVariant& value)
{
    if (!value.isValid() || value.isNull())
        return QString();
    switch (value.typeId()) {
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        QStringList items;
        for (const QVariant& item : value.toList())
            items.append(item.toString());
        return items.join(u", "_s);
    }
    case QMetaType::QVariantMap: {
        QStringList entries;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            entries.append(u"%1: %2"_s.arg(it.key(), it.value().toString()));
        return entries.join(u"; "_s);
    }
    default:
        return value.toString();
    }
}

QString DddReportRenderer::rowValue(const QVariantMap& record, const QStringList& keys)
{
    for (const QString& key : keys) {
        const auto found = record.constFind(key);
        if (found == record.cend())
            continue;
        if (found->typeId() == QMetaType::QVariantList || found->typeId() == QMetaType::QStringList)
            return scalarText(*found);
        return found->toString();
    }
    return QString();
}

QList<QStringList> DddReportRenderer::rowsFor(const QList<QVariantMap>& records,
                                              const QList<QStringList>& keys)
{
    QList<QStringList> rows;
    rows.reserve(records.size());
    for (const QVariantMap& record : records) {
        QStringList row;
        for (const QStringList& column : keys)
            row.append(rowValue(record, column));
        rows.append(row);
    }
    return rows;
}

QList<QStringList> DddReportRenderer::genericRows(const QList<QVariantMap>& records)
{
    QList<QStringList> rows;
    for (const QVariantMap& record : records) {
        QStringList entries;
        for (auto it = record.cbegin(); it != record.cend(); ++it)
            entries.append(u"%1: %2"_s.arg(it.key(), scalarText(it.value())));
        rows.append({entries.join(u"; "_s)});
    }
    return rows;
}

QList<ChartPoint> DddReportRenderer::categoryCounts(const QList<QVariantMap>& records,
                                                    const QStringList& keys)
{
    std::map<QString, int> counts;
    for (const QVariantMap& record : records) {
        const QString value = rowValue(record, keys).trimmed();
        ++counts[value.isEmpty() ? u"—"_s : value];
    }
    QList<ChartPoint> points;
    for (const auto& [label, count] : counts)
        points.append({label, double(count), 0, double(count)});
    return points;
}

double DddReportRenderer::numericValue(const QVariantMap& record, const QStringList& keys, double fallback)
{
    for (const QString& key : keys) {
        const QString text = record.value(key).toString().trimmed().replace(u',', u'.');
        if (text.isEmpty())
            continue;
        bool ok = false;
        const double value = text.toDouble(&ok);
        if (ok && std::isfinite(value))
            return value;
    }
    return fallback;
}

double DddReportRenderer::minutesValue(const QString& text)
{
    static const QRegularExpression time(u"(\\d{1,3}):(\\d{2})"_s);
    const QRegularExpressionMatch match = time.match(text);
    return match.hasMatch() ? match.captured(1).toInt() + match.captured(2).toInt() / 60.0 : 0.0;
}

QList<double> DddReportRenderer::speedSamples(const DddReport& report)
{
    // ", " and ";" part samples; a comma between digits is a decimal comma.
    static const QRegularExpression separators(u"(?:[;\\s]|,(?!\\d))+"_s);
    QList<double> samples;
    for (qsizetype row = 0; row < report.detailedSpeed.size(); ++row) {
        QVariant value = report.detailedSpeed.value(row, u"speedValues");
        if (!value.isValid() || value.isNull() || (value.toString().isEmpty() && value.toList().isEmpty()))
            value = report.detailedSpeed.value(row, u"speedsPerSecond");
        QVariantList items;
        if (value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList) {
            items = value.toList();
        } else {
            const QString text = value.toString().trimmed();
            if (text.startsWith(u'['))
                items = QJsonDocument::fromJson(text.toUtf8()).array().toVariantList();
            if (items.isEmpty()) {
                for (const QString& part : text.split(separators, Qt::SkipEmptyParts))
                    items.append(part);
            }
        }
        for (const QVariant& item : std::as_const(items)) {
            bool ok = false;
            const double sample = item.toString().trimmed().replace(u',', u'.').toDouble(&ok);
            if (ok && std::isfinite(sample) && sample >= 0)
                samples.append(sample);
        }
    }
    return samples;
}

QList<ChartPoint> DddReportRenderer::decimatedSpeedPoints(const DddReport& report)
{
    const QList<double> samples = speedSamples(report);
    const qsizetype step = std::max<qsizetype>(1, qsizetype(std::ceil(samples.size() / 800.0)));
    QList<ChartPoint> points;
    for (qsizetype first = 0; first < samples.size(); first += step) {
        const qsizetype end = std::min(samples.size(), first + step);
        double sum = 0;
        double low = samples.at(first);
        double high = low;
        for (qsizetype i = first; i < end; ++i) {
            sum += samples.at(i);
            low = std::min(low, samples.at(i));
            high = std::max(high, samples.at(i));
        }
        points.append({QString::number(first), sum / double(end - first), low, high});
    }
    return points;
}

bool DddReportRenderer::writePdf(const QString& path, const DddReport& report, QString* error)
{
    return writePdf(path, report, QVariantMap(), error);
}

bool DddReportRenderer::writePdf(const QString& path, const DddReport& report, const QVariantMap& options,
                                 QString* error)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    const bool card = report.fileType == DddFileType::DriverCard;
    QPdfWriter writer(path);
    writer.setTitle(card ? u"Отчёт по карте водителя"_s : u"Отчёт по тахографу"_s);
    writer.setCreator(u"TachoriaQt"_s);
    writer.setResolution(72);
    writer.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait, QMarginsF(0, 0, 0, 0)));
    QPainter painter;
    if (!painter.begin(&writer)) {
        if (error)
            *error = u"Не удалось создать PDF отчёта: %1"_s.arg(path);
        return false;
    }
    ReportPainter page(painter, writer);
    const QString source = report.fileName.isEmpty() ? u"сохранённый отчёт"_s : report.fileName;
    page.title(card ? u"ОТЧЁТ ПО КАРТЕ ВОДИТЕЛЯ"_s : u"ОТЧЁТ ПО ТАХОГРАФУ"_s,
               u"%1 | %2"_s.arg(source, QDateTime::currentDateTime().toString(u"dd.MM.yyyy HH:mm"_s)));
    const QHash<QString, QString> dates = report.dayDates();
    if (card)
        addCard(page, report, options, dates);
    else
        addTachograph(page, report, options, dates);
    if (includes(options, u"analysis"_s))
        addAnalysis(page, report.analysis, dates);
    addRequestedCharts(page, report, options);
    page.finish();
    return painter.end();
}

} // namespace tachoria::documents
