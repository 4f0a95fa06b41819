#include "qml_controllers/calibration_form.h"

#include <QHash>
#include <QRegularExpression>

#include <cmath>

namespace tachoria::qml {

namespace {

const QHash<QString, QString>& labels()
{
    static const QHash<QString, QString> table{
        {QStringLiteral("TimeDate"), QStringLiteral("Дата и время")},
        {QStringLiteral("vuManufacturingDate"), QStringLiteral("Дата изготовления")},
        {QStringLiteral("vuPartNumber"), QStringLiteral("Тип тахографа")},
        {QStringLiteral("vuManufacturerName"), QStringLiteral("Производитель")},
        {QStringLiteral("vuSerialNumber"), QStringLiteral("Серийный номер")},
        {QStringLiteral("Driver1Identification"), QStringLiteral("Карта мастера")},
        {QStringLiteral("vuApprovalNumber"), QStringLiteral("№ в ФБУ")},
        {QStringLiteral("SystemSupplierECUSoftwareVersionNumber"), QStringLiteral("Версия ПО")},
        {QStringLiteral("SSECUHWVN"), QStringLiteral("Версия HW")},
        {QStringLiteral("ReadTachoriaCodeFBU"), QStringLiteral("Код мастерской ФБУ")},
        {QStringLiteral("VerifyDate"), QStringLiteral("Дата поверки")},
        {QStringLiteral("vehicleIdentificationNumber"), QStringLiteral("VIN")},
        {QStringLiteral("vehicleRegistrationNation"), QStringLiteral("Страна регистрации")},
        {QStringLiteral("VehicleRegistrationNumber"), QStringLiteral("Регистрационный номер")},
        {QStringLiteral("kConstantOfRecordingEquipment"), QStringLiteral("K (imp/km)")},
        {QStringLiteral("wVehicleCharacteristicConstant"), QStringLiteral("W (imp/km)")},
        {QStringLiteral("lTyreCircumference"), QStringLiteral("L (мм)")},
        {QStringLiteral("tyreSize"), QStringLiteral("Маркировка шин")},
        {QStringLiteral("SpeedAuthorised"), QStringLiteral("Максимальная скорость")},
        {QStringLiteral("nextCalibrationDate"), QStringLiteral("Следующая настройка")},
        {QStringLiteral("HighResOdometer"), QStringLiteral("Одометр")},
        {QStringLiteral("PulsesPerRevolutionOfOutputShaft"), QStringLiteral("Вал (имп/1000 об.)")},
        {QStringLiteral("CAN1"), QStringLiteral("CAN1: включение; скорость; идентификатор")},
        {QStringLiteral("CAN2"), QStringLiteral("CAN2: включение; скорость; идентификатор")},
        {QStringLiteral("CAN1_NV"), QStringLiteral("CAN1: TCO2; TCO3; TCO4; резистор")},
        {QStringLiteral("CAN2_NV"), QStringLiteral("CAN2: TCO2; TCO3; TCO4; резистор")},
        {QStringLiteral("CANvehicleIdentificationNumber"), QStringLiteral("Подменный VIN CAN")},
        {QStringLiteral("CANvehicleIdentificationNumberEnabled"), QStringLiteral("Подменный VIN CAN")},
        {QStringLiteral("CAN1_Interval_TCO1"), QStringLiteral("CAN1: период TCO1")},
        {QStringLiteral("CAN2_Interval_TCO1"), QStringLiteral("CAN2: период TCO1")},
        {QStringLiteral("Can1Tco1Priority"), QStringLiteral("CAN1: приоритет TCO1")},
        {QStringLiteral("Can2Tco1Priority"), QStringLiteral("CAN2: приоритет TCO1")},
        {QStringLiteral("B6"), QStringLiteral("Выход B6")},
        {QStringLiteral("B7"), QStringLiteral("Выход B7")},
        {QStringLiteral("D6"), QStringLiteral("Выход D6")},
        {QStringLiteral("PTO"), QStringLiteral("Режимы труда и отдыха")},
        {QStringLiteral("SourceBacklightBrightnessAdjustment"), QStringLiteral("Источник яркости")},
        {QStringLiteral("SourceSpeed"), QStringLiteral("Источник скорости")},
        {QStringLiteral("IlluminationColor"), QStringLiteral("Цвет подсветки")},
        {QStringLiteral("EnableDM1"), QStringLiteral("DM1 для CAN1/CAN2")},
    };
    return table;
}

const QHash<QString, QString>& hints()
{
    static const QHash<QString, QString> table{
        {QStringLiteral("vehicleRegistrationNation"),
         QStringLiteral("Код страны из списка тахографа, ровно 3 символа. Пример: RUS.")},
        {QStringLiteral("vehicleIdentificationNumber"),
         QStringLiteral(
             "VIN: ровно 17 заглавных символов, цифры и A-Z без I, O, Q. Пример: WVWZZZ1JZXW000001.")},
        {QStringLiteral("CANvehicleIdentificationNumber"),
         QStringLiteral("Подменный VIN CAN: пусто или ровно 17 заглавных символов, без I, O, Q. Пример: "
                        "WVWZZZ1JZXW000001.")},
        {QStringLiteral("VehicleRegistrationNumber"),
         QStringLiteral("Регистрационный номер: до 13 символов. Разрешены цифры, пробел и только английские "
                        "буквы A, B, E, K, M, H, O, P, C, T, Y, X. Пример: A123BC777.")},
        {QStringLiteral("kConstantOfRecordingEquipment"),
         QStringLiteral("K — целое число от 1000 до 64255 имп/км. Пример: 3600.")},
        {QStringLiteral("wVehicleCharacteristicConstant"),
         QStringLiteral("W заполняется автоматически тем же значением, что и K.")},
        {QStringLiteral("PulsesPerRevolutionOfOutputShaft"),
         QStringLiteral("Число импульсов на 1000 оборотов вала: целое число до 64255. Пример: 6000.")},
        {QStringLiteral("lTyreCircumference"),
         QStringLiteral("Длина окружности шины L: целое число от 0 до 8031 мм. Пример: 2136. Кнопка L "
                        "рассчитает значение по маркировке.")},
        {QStringLiteral("tyreSize"),
         QStringLiteral("Маркировка шины — до 15 символов. Пример: 230/65 R15 или 315/95 R22.5.")},
        {QStringLiteral("SpeedAuthorised"),
         QStringLiteral("Максимальная скорость: число от 0 до 250,996 км/ч. Допустимы точка или запятая. "
                        "Пример: 90,000.")},
        {QStringLiteral("HighResOdometer"),
         QStringLiteral("Одометр: неотрицательное число до 21474836,475 км. Допустимы точка или запятая. "
                        "Пример: 123456,789.")},
        {QStringLiteral("ReadTachoriaCodeFBU"),
         QStringLiteral("Прочитанный допуск РФ № — до 5 цифр; значение только для просмотра.")},
        {QStringLiteral("Can1Tco1Priority"),
         QStringLiteral("Приоритет TCO1 выбирается из списка от 0 до 7.")},
        {QStringLiteral("Can2Tco1Priority"),
         QStringLiteral("Приоритет TCO1 выбирается из списка от 0 до 7.")},
        {QStringLiteral("CAN1_Interval_TCO1"),
         QStringLiteral("Период TCO1 выбирается из списка: 20 или 50 мс.")},
        {QStringLiteral("CAN2_Interval_TCO1"),
         QStringLiteral("Период TCO1 выбирается из списка: 20 или 50 мс.")},
        {QStringLiteral("SourceBacklightBrightnessAdjustment"),
         QStringLiteral("Источник регулировки яркости выбирается из списка: Ручной, CAN или A2.")},
        {QStringLiteral("SourceSpeed"),
         QStringLiteral("Источник скорости выбирается из списка доступных источников.")},
    };
    return table;
}

QString onOff(const QString& part, const QString& on, const QString& off)
{
    return part.trimmed().toUInt() != 0 ? on : off;
}

// The entry of a fixed list by a part's number, or the part itself when it is no index of the list.
QString listEntry(const QStringList& entries, const QString& part)
{
    bool ok = false;
    const uint index = part.trimmed().toUInt(&ok);
    return ok && index < static_cast<uint>(entries.size()) ? entries.at(static_cast<int>(index)) : part;
}

} // namespace

QString parameterLabel(const QString& name)
{
    return labels().value(name, name);
}

QString parameterHint(const QString& name)
{
    return hints().value(name);
}

int parameterMaximumLength(const QString& name)
{
    static const QHash<QString, int> limits{
        {QStringLiteral("vehicleRegistrationNation"), 3},
        {QStringLiteral("vehicleIdentificationNumber"), 17},
        {QStringLiteral("CANvehicleIdentificationNumber"), 17},
        {QStringLiteral("VehicleRegistrationNumber"), 13},
        {QStringLiteral("kConstantOfRecordingEquipment"), 5},
        {QStringLiteral("wVehicleCharacteristicConstant"), 5},
        {QStringLiteral("PulsesPerRevolutionOfOutputShaft"), 5},
        {QStringLiteral("lTyreCircumference"), 4},
        {QStringLiteral("tyreSize"), 15},
        {QStringLiteral("SpeedAuthorised"), 14},
        {QStringLiteral("HighResOdometer"), 14},
        {QStringLiteral("ReadTachoriaCodeFBU"), 5},
    };
    return limits.value(name, 0);
}

QString configurationValueLabel(const QString& name, const QString& value)
{
    const QStringList parts = value.split(QLatin1Char(';'));
    const QString on = QStringLiteral("вкл.");
    const QString off = QStringLiteral("выкл.");
    if ((name == QLatin1String("CAN1") || name == QLatin1String("CAN2")) && parts.size() >= 3) {
        static const QStringList speeds{QStringLiteral("125 кбит/с"), QStringLiteral("250 кбит/с"),
                                        QStringLiteral("500 кбит/с"), QStringLiteral("1000 кбит/с")};
        static const QStringList identifiers{QStringLiteral("11"), QStringLiteral("29")};
        return QStringLiteral("%1; %2; %3 бит")
            .arg(onOff(parts[0], QStringLiteral("включён"), QStringLiteral("выключен")),
                 listEntry(speeds, parts[1]), listEntry(identifiers, parts[2]));
    }
    if ((name == QLatin1String("CAN1_NV") || name == QLatin1String("CAN2_NV")) && parts.size() >= 4)
        return QStringLiteral("TCO2 %1; TCO3 %2; TCO4 %3; резистор %4")
            .arg(onOff(parts[0], on, off), onOff(parts[1], on, off), onOff(parts[2], on, off),
                 onOff(parts[3], on, off));
    if (name == QLatin1String("EnableDM1")) {
        const uint mask = value.trimmed().toUInt();
        return QStringLiteral("CAN1 %1; CAN2 %2").arg((mask & 0x01) ? on : off, (mask & 0x10) ? on : off);
    }
    if (name == QLatin1String("CAN1_Interval_TCO1") || name == QLatin1String("CAN2_Interval_TCO1"))
        return listEntry({QStringLiteral("20 мс"), QStringLiteral("50 мс")}, value);
    if ((name == QLatin1String("B6") || name == QLatin1String("B7") || name == QLatin1String("D6")) &&
        parts.size() >= 3)
        return QStringLiteral("%1; уровень %2; K %3 имп/км")
            .arg(onOff(parts[0], QStringLiteral("включён"), QStringLiteral("выключен")), parts[1].trimmed(),
                 parts[2].trimmed());
    if (name == QLatin1String("PTO") && parts.size() >= 5)
        return QStringLiteral("перерыв от %1 мин; отдых от %2 мин; минимальный перерыв %3 мин")
            .arg(parts[1].trimmed(), parts[3].trimmed(), parts[4].trimmed());
    if (name == QLatin1String("SourceSpeed")) {
        static const QHash<uint, QString> sources{{1, QStringLiteral("датчик скорости")},
                                                  {2, QStringLiteral("CAN EBC2")},
                                                  {4, QStringLiteral("CAN CCVS")},
                                                  {8, QStringLiteral("CAN ETC1")},
                                                  {16, QStringLiteral("OBD2")}};
        return sources.value(parts[0].trimmed().toUInt(), value);
    }
    if (name == QLatin1String("SourceBacklightBrightnessAdjustment"))
        return listEntry({QStringLiteral("ручной"), QStringLiteral("CAN"), QStringLiteral("A2")}, value);
    if (name == QLatin1String("IlluminationColor"))
        return listEntry({QStringLiteral("Зелёный"), QStringLiteral("Красный"), QStringLiteral("Синий"),
                          QStringLiteral("Белый"), QStringLiteral("Жёлтый"), QStringLiteral("Голубой"),
                          QStringLiteral("Пурпурный"), QStringLiteral("Серебряный"), QStringLiteral("Серый"),
                          QStringLiteral("Бордовый"), QStringLiteral("Оливковый"), QStringLiteral("Лайм")},
                         value);
    if (name == QLatin1String("CANvehicleIdentificationNumberEnabled"))
        return onOff(value, QStringLiteral("включён; VIN вводится отдельно для конкретного ТС"),
                     QStringLiteral("выключен"));
    if (name == QLatin1String("Can1Tco1Priority") || name == QLatin1String("Can2Tco1Priority"))
        return QStringLiteral("%1 (0–7)").arg(value);
    return value;
}

const QStringList& vehicleConfigurationParameterNames()
{
    static const QStringList names{QStringLiteral("CAN1"),
                                   QStringLiteral("CAN1_NV"),
                                   QStringLiteral("CAN1_Interval_TCO1"),
                                   QStringLiteral("Can1Tco1Priority"),
                                   QStringLiteral("CAN2"),
                                   QStringLiteral("CAN2_NV"),
                                   QStringLiteral("CAN2_Interval_TCO1"),
                                   QStringLiteral("Can2Tco1Priority"),
                                   QStringLiteral("B6"),
                                   QStringLiteral("B7"),
                                   QStringLiteral("D6"),
                                   QStringLiteral("PTO"),
                                   QStringLiteral("SourceSpeed"),
                                   QStringLiteral("SourceBacklightBrightnessAdjustment"),
                                   QStringLiteral("IlluminationColor"),
                                   QStringLiteral("EnableDM1"),
                                   QStringLiteral("CANvehicleIdentificationNumberEnabled"),
                                   QStringLiteral("kConstantOfRecordingEquipment"),
                                   QStringLiteral("wVehicleCharacteristicConstant"),
                                   QStringLiteral("PulsesPerRevolutionOfOutputShaft"),
                                   QStringLiteral("lTyreCircumference"),
                                   QStringLiteral("tyreSize"),
                                   QStringLiteral("SpeedAuthorised")};
    return names;
}

QString tyreCircumference(const QString& marking)
{
    const QString text = marking.trimmed().toUpper();
    if (text.isEmpty())
        return QString();
    // How each form turns its groups into width (mm), aspect ratio (%) and rim diameter (inches), and
    // whether the ratio is held to its limits too.
    struct Form
    {
        const char* expression;
        double (*width)(double, double, double);
        double (*ratio)(double, double, double);
        double (*rim)(double, double, double);
        bool ratioLimited;
    };
    static const Form forms[] = {
        {R"(^(\d{2,4})/(\d{2,3})\s*R\s*(\d{2}(?:\.\d+)?))", [](double a, double, double) { return a; },
         [](double, double b, double) { return b; }, [](double, double, double c) { return c; }, true},
        {R"(^(\d{1,2}(?:\.\d+)?)\s*[X×\*]\s*(\d{1,2}(?:\.\d+)?)\s*R\s*(\d{1,2}(?:\.\d+)?))",
         [](double, double b, double) { return 25.4 * b; },
         [](double a, double b, double c) { return 100.0 * ((a - c) / 2.0 / b); },
         [](double, double, double c) { return c; }, true},
        {R"(^(\d{2,4})\s*-\s*(\d{3,4})(?:\s*\([^\)]+\))?$)", [](double a, double, double) { return a; },
         [](double, double, double) { return 85.0; }, [](double, double b, double) { return b / 25.4; },
         false},
        {R"(^(\d{1,2}(?:\.\d+)?)\s*R\s*(\d{2}(?:\.\d+)?)$)",
         [](double a, double, double) { return 25.4 * a; }, [](double, double, double) { return 85.0; },
         [](double, double b, double) { return b; }, false},
        {R"(^(\d{3,4})\s*[X×\*]\s*(\d{3,4})\s*[—-]\s*(\d{3,4})$)", [](double, double b, double) { return b; },
         [](double a, double b, double c) { return 100.0 * ((a - c) / 2.0 / b); },
         [](double, double, double c) { return c / 25.4; }, false},
        {R"(^(\d{1,2}(?:\.\d+)?)\s*[D\s-]\s*(\d{1,2}(?:\.\d+)?)$)",
         [](double a, double, double) { return 25.4 * a; }, [](double, double, double) { return 82.0; },
         [](double, double b, double) { return b; }, false},
    };
    for (const Form& form : forms) {
        const QRegularExpression expression(QString::fromUtf8(form.expression),
                                            QRegularExpression::CaseInsensitiveOption);
        const QRegularExpressionMatch match = expression.match(text);
        if (!match.hasMatch())
            continue;
        const double a = match.captured(1).toDouble();
        const double b = match.captured(2).toDouble();
        const double c = match.lastCapturedIndex() >= 3 ? match.captured(3).toDouble() : 0.0;
        const double width = std::trunc(form.width(a, b, c));
        const double ratio = std::trunc(form.ratio(a, b, c));
        const double rim = form.rim(a, b, c);
        if (width < 100 || width > 800 || rim < 12 || rim > 30 ||
            (form.ratioLimited && (ratio < 30 || ratio > 100)))
            continue;
        const double millimetres = M_PI * (rim * 25.4 + 2.0 * (ratio / 100.0 * width));
        return QString::number(std::llround(millimetres));
    }
    return QString();
}

} // namespace tachoria::qml
