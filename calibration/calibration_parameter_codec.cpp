#include "calibration/calibration_parameter_codec.h"

#include "protocol/byte_order.h"

#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>
#include <QTimeZone>

#include <algorithm>
#include <cmath>

namespace tachoria::calibration {

using protocol::bigEndianBytes;
using protocol::readBigEndian;

namespace {

using Access = ParameterAccess;

struct Entry
{
    const char* name;
    quint16 did;
    Access access;
};

// The catalogue in the order of reading and of writing.
constexpr Entry kCatalogue[] = {
    {"TimeDate", 0xF90B, Access::ReadWrite},
    {"vuManufacturingDate", 0xF18B, Access::ReadOnly},
    {"vuPartNumber", 0xF192, Access::ReadOnly},
    {"vuManufacturerName", 0xF18A, Access::ReadOnly},
    {"vuSerialNumber", 0xF18C, Access::ReadOnly},
    {"Driver1Identification", 0xF916, Access::ReadOnly},
    {"vuApprovalNumber", 0xFD0A, Access::ReadOnly},
    {"SystemSupplierECUSoftwareVersionNumber", 0xF195, Access::ReadOnly},
    {"SSECUHWVN", 0xF193, Access::ReadOnly},
    {"ReadTachoriaCodeFBU", 0xF19A, Access::ReadWrite},
    {"VerifyDate", 0xFD03, Access::ReadOnly},
    {"vehicleIdentificationNumber", 0xF190, Access::ReadWrite},
    {"vehicleRegistrationNation", 0xF97D, Access::ReadWrite},
    {"VehicleRegistrationNumber", 0xF97E, Access::ReadWrite},
    {"kConstantOfRecordingEquipment", 0xF918, Access::ReadWrite},
    {"wVehicleCharacteristicConstant", 0xF91D, Access::ReadWrite},
    {"lTyreCircumference", 0xF91C, Access::ReadWrite},
    {"tyreSize", 0xF921, Access::ReadWrite},
    {"SpeedAuthorised", 0xF92C, Access::ReadWrite},
    {"nextCalibrationDate", 0xF922, Access::ReadWrite},
    {"HighResOdometer", 0xF912, Access::ReadWrite},
    {"PulsesPerRevolutionOfOutputShaft", 0xF91E, Access::ReadWrite},
    {"CAN1", 0xFD01, Access::ReadWrite},
    {"CAN2", 0xFD02, Access::ReadWrite},
    {"CAN1_NV", 0xFD08, Access::ReadWrite},
    {"CAN2_NV", 0xFD09, Access::ReadWrite},
    {"CANvehicleIdentificationNumber", 0xFD0C, Access::ReadWrite},
    {"CAN1_Interval_TCO1", 0xF920, Access::ReadWrite},
    {"CAN2_Interval_TCO1", 0xFD14, Access::ReadWrite},
    {"Can1Tco1Priority", 0xF90F, Access::ReadWrite},
    {"Can2Tco1Priority", 0xFD13, Access::ReadWrite},
    {"B6", 0xFD05, Access::ReadWrite},
    {"B7", 0xFD06, Access::ReadWrite},
    {"D6", 0xFD07, Access::ReadWrite},
    {"PTO", 0xFD0B, Access::ReadWrite},
    {"SourceBacklightBrightnessAdjustment", 0xFD0F, Access::ReadWrite},
    {"SourceSpeed", 0xFD10, Access::ReadWrite},
    {"EnableDM1", 0xFD11, Access::ReadWrite},
    {"IlluminationColor", 0xF103, Access::ReadWrite},
};

// The journal column of each parameter that has a single one.
QString journalColumn(const QString& name)
{
    static const QHash<QString, QString> columns = {
        {QStringLiteral("TimeDate"), QStringLiteral("TimeDate")},
        {QStringLiteral("vuManufacturingDate"), QStringLiteral("VuManufacturingDate")},
        {QStringLiteral("vuPartNumber"), QStringLiteral("VuPartNumber")},
        {QStringLiteral("vuManufacturerName"), QStringLiteral("VuManufacturerName")},
        {QStringLiteral("vuSerialNumber"), QStringLiteral("VuSerialNumber")},
        {QStringLiteral("vuApprovalNumber"), QStringLiteral("VuApprovalNumber")},
        {QStringLiteral("SystemSupplierECUSoftwareVersionNumber"),
         QStringLiteral("SystemSupplierECUSoftwareVersionNumber")},
        {QStringLiteral("SSECUHWVN"), QStringLiteral("SSECUHWVN")},
        {QStringLiteral("ReadTachoriaCodeFBU"), QStringLiteral("TachoriaCodeFBU")},
        {QStringLiteral("VerifyDate"), QStringLiteral("VerifyDate")},
        {QStringLiteral("vehicleIdentificationNumber"), QStringLiteral("VehicleIdentificationNumber")},
        {QStringLiteral("vehicleRegistrationNation"), QStringLiteral("VehicleRegistrationNation")},
        {QStringLiteral("VehicleRegistrationNumber"), QStringLiteral("VehicleRegistrationNumber")},
        {QStringLiteral("kConstantOfRecordingEquipment"), QStringLiteral("KConstantOfRecordingEquipment")},
        {QStringLiteral("wVehicleCharacteristicConstant"), QStringLiteral("WVehicleCharacteristicConstant")},
        {QStringLiteral("lTyreCircumference"), QStringLiteral("LTyreCircumference")},
        {QStringLiteral("tyreSize"), QStringLiteral("TyreSize")},
        {QStringLiteral("SpeedAuthorised"), QStringLiteral("SpeedAuthorised")},
        {QStringLiteral("nextCalibrationDate"), QStringLiteral("NextCalibrationDate")},
        {QStringLiteral("HighResOdometer"), QStringLiteral("HighResOdometer")},
        {QStringLiteral("PulsesPerRevolutionOfOutputShaft"),
         QStringLiteral("PulsesPerRevolutionOfOutputShaft")},
        {QStringLiteral("CANvehicleIdentificationNumber"), QStringLiteral("CANVehicleIdentificationNumber")},
        {QStringLiteral("CAN1_Interval_TCO1"), QStringLiteral("CAN1_Interval_TCO1")},
        {QStringLiteral("CAN2_Interval_TCO1"), QStringLiteral("CAN2_Interval_TCO1")},
        {QStringLiteral("Can1Tco1Priority"), QStringLiteral("CAN1_Priority_TCO1")},
        {QStringLiteral("Can2Tco1Priority"), QStringLiteral("CAN2_Priority_TCO1")},
        {QStringLiteral("EnableDM1"), QStringLiteral("EnableDM1")},
    };
    return columns.value(name);
}

bool fail(QString* error, const QString& text)
{
    if (error)
        *error = text;
    return false;
}

bool isOneOf(quint16 did, std::initializer_list<quint16> dids)
{
    return std::find(dids.begin(), dids.end(), did) != dids.end();
}

const std::initializer_list<quint16> kTextIdentifiers = {0xF18B, 0xF192, 0xF18A, 0xF18C,
                                                         0xF193, 0xF195, 0xFD0A};
const std::initializer_list<quint16> kByteIdentifiers = {0xF90F, 0xF920, 0xFD13, 0xFD14,
                                                         0xFD0F, 0xFD11, 0xF103};
const std::initializer_list<quint16> kUnsignedInput = {0xF19A, 0xF918, 0xF91D, 0xF91E, 0xF920, 0xFD14,
                                                       0xF90F, 0xFD13, 0xFD0F, 0xFD11, 0xF103};

int minimumBytes(quint16 did)
{
    switch (did) {
    case 0xF90B:
        return 8;
    case 0xF916:
    case 0xF922:
    case 0xFD01:
    case 0xFD02:
        return 3;
    case 0xFD08:
    case 0xFD09:
    case 0xFD05:
    case 0xFD06:
    case 0xFD07:
        return 4;
    case 0xFD0B:
        return 14;
    case 0xFD10:
        return 2;
    default:
        return 1;
    }
}

quint32 unsignedOf(const QByteArray& bytes, int size)
{
    const int n = std::min<int>(size, static_cast<int>(bytes.size()));
    return readBigEndian(bytes, 0, n);
}

QString joinedBytes(const QByteArray& bytes, int count)
{
    QStringList parts;
    for (int i = 0; i < count; ++i)
        parts << QString::number(static_cast<quint8>(bytes.at(i)));
    return parts.join(QLatin1Char(';'));
}

QString printable(const QByteArray& bytes)
{
    QString text;
    for (char c : bytes) {
        const auto byte = static_cast<quint8>(c);
        if (byte >= 32 && byte <= 126)
            text.append(QLatin1Char(c));
    }
    return text.trimmed();
}

QDate nextCalibrationFallback()
{
    return QDate::currentDate().addYears(3);
}

qint64 roundHalfAway(double value)
{
    return static_cast<qint64>(std::llround(value));
}

// The parts of a list value must each be an unsigned decimal.
bool listNumbers(const QString& text, QList<quint32>& numbers, QString* error)
{
    numbers.clear();
    for (const QString& part : text.split(QLatin1Char(';'), Qt::KeepEmptyParts)) {
        bool ok = false;
        const uint value = part.trimmed().toUInt(&ok, 10);
        if (!ok)
            return fail(error, QStringLiteral("invalid numeric list for %1").arg(text));
        numbers << value;
    }
    return true;
}

QByteArray encodeList(const QString& text, const QList<int>& widths, int defaultWidth, QString* error)
{
    QList<quint32> numbers;
    if (!listNumbers(text, numbers, error))
        return {};
    QByteArray out;
    for (int i = 0; i < numbers.size(); ++i)
        out += bigEndianBytes(numbers.at(i), i < widths.size() ? widths.at(i) : defaultWidth);
    return out;
}

// Unsigned input: trimmed, not empty, no minus, a decimal number within the range.
bool unsignedInRange(const QString& text, double low, double high)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty() || trimmed.startsWith(QLatin1Char('-')))
        return false;
    const auto value = CalibrationParameterCodec::parseDecimal(trimmed);
    return value && *value >= low && *value <= high;
}

// Each part of a list: trimmed, an unsigned decimal that meets its rule.
bool listParts(const QString& text, int count, const std::function<bool(int index, double value)>& rule)
{
    const QStringList parts = text.split(QLatin1Char(';'), Qt::KeepEmptyParts);
    if (parts.size() != count)
        return false;
    for (int i = 0; i < parts.size(); ++i) {
        const QString part = parts.at(i).trimmed();
        if (part.isEmpty() || part.startsWith(QLatin1Char('-')))
            return false;
        const auto value = CalibrationParameterCodec::parseDecimal(part);
        if (!value || !rule(i, *value))
            return false;
    }
    return true;
}

const QRegularExpression& vinExpression()
{
    static const QRegularExpression expression(QStringLiteral("^[0-9A-HJ-NPR-Z]{17}$"));
    return expression;
}

} // namespace

const QStringList& CalibrationParameterCodec::countryCodes()
{
    static const QStringList codes = {
        QStringLiteral("   "), QStringLiteral("A  "), QStringLiteral("AL "), QStringLiteral("AND"),
        QStringLiteral("ARM"), QStringLiteral("AZ "), QStringLiteral("B  "), QStringLiteral("BG "),
        QStringLiteral("BIH"), QStringLiteral("BY "), QStringLiteral("CH "), QStringLiteral("CY "),
        QStringLiteral("CZ "), QStringLiteral("D  "), QStringLiteral("DK "), QStringLiteral("E  "),
        QStringLiteral("EST"), QStringLiteral("F  "), QStringLiteral("FIN"), QStringLiteral("FL "),
        QStringLiteral("FR "), QStringLiteral("UK "), QStringLiteral("GE "), QStringLiteral("GR "),
        QStringLiteral("H  "), QStringLiteral("HR "), QStringLiteral("I  "), QStringLiteral("IRL"),
        QStringLiteral("IS "), QStringLiteral("KZ "), QStringLiteral("L  "), QStringLiteral("LT "),
        QStringLiteral("LV "), QStringLiteral("M  "), QStringLiteral("MC "), QStringLiteral("MD "),
        QStringLiteral("MK "), QStringLiteral("N  "), QStringLiteral("NL "), QStringLiteral("P  "),
        QStringLiteral("PL "), QStringLiteral("RO "), QStringLiteral("RSM"), QStringLiteral("RUS"),
        QStringLiteral("S  "), QStringLiteral("SK "), QStringLiteral("SLO"), QStringLiteral("TM "),
        QStringLiteral("TR "), QStringLiteral("UA "), QStringLiteral("V  "), QStringLiteral("SRB"),
        QStringLiteral("EC "), QStringLiteral("EUR"), QStringLiteral("WLD"),
    };
    return codes;
}

QList<CalibrationParameter> CalibrationParameterCodec::descriptors()
{
    QList<CalibrationParameter> list;
    for (const Entry& entry : kCatalogue) {
        CalibrationParameter parameter;
        parameter.did = entry.did;
        parameter.name = QString::fromLatin1(entry.name);
        parameter.access = entry.access;
        parameter.hourCorrection = 3;
        list.append(parameter);
    }
    return list;
}

std::optional<double> CalibrationParameterCodec::parseDecimal(const QString& text)
{
    QString s = text.trimmed();
    s.remove(QChar(0x0020));
    s.remove(QChar(0x00A0));
    if (s.isEmpty())
        return std::nullopt;
    const qsizetype comma = s.lastIndexOf(QLatin1Char(','));
    const qsizetype point = s.lastIndexOf(QLatin1Char('.'));
    if (comma < 0 || point < 0) {
        s.replace(QLatin1Char(','), QLatin1Char('.'));
    } else if (comma < point) {
        s.remove(QLatin1Char(','));
    } else {
        s.remove(QLatin1Char('.'));
        s.replace(QLatin1Char(','), QLatin1Char('.'));
    }
    bool ok = false;
    const double value = QLocale::c().toDouble(s, &ok);
    if (!ok || !std::isfinite(value))
        return std::nullopt;
    return value;
}

bool CalibrationParameterCodec::decode(CalibrationParameter& parameter, const QByteArray& bytes,
                                       QString* error)
{
    const quint16 did = parameter.did;
    for (const int minimum : {1, minimumBytes(did)}) {
        if (bytes.size() < minimum)
            return fail(error, QStringLiteral("DID payload is too short: %1, expected at least %2 bytes")
                                   .arg(bytes.size())
                                   .arg(minimum));
    }
    const auto at = [&bytes](int i) { return static_cast<quint8>(bytes.at(i)); };
    QVariant value;
    if (did == 0xF90B) {
        const QDate date(1985 + at(5), at(3), std::max(1, at(4) / 4));
        const QTime time(at(2), at(1), at(0) / 4);
        value = QDateTime(date, time, QTimeZone::utc());
        parameter.minuteCorrection = std::clamp(at(6) - 125, -59, 59);
        parameter.hourCorrection = std::clamp(at(7) - 125, -23, 23);
    } else if (isOneOf(did, kTextIdentifiers)) {
        QByteArray text = bytes;
        if (did == 0xF18A && text.startsWith('\0'))
            text.remove(0, 1);
        text.replace('\0', QByteArray());
        value = QString::fromLocal8Bit(text).trimmed();
    } else if (did == 0xF916) {
        value = printable(bytes.mid(3, 16));
    } else if (did == 0xF19A) {
        value = bytes.size() < 2 ? 0u : readBigEndian(bytes, 0, 2);
    } else if (did == 0xFD03) {
        value = bytes.size() < 4 ? 0u : readBigEndian(bytes, 0, 4);
    } else if (did == 0xF190 || did == 0xF97D || did == 0xF921) {
        value = QString::fromLatin1(bytes);
    } else if (did == 0xF97E) {
        value = bytes.size() < 2 ? QString() : QString::fromLatin1(bytes.mid(1)).trimmed();
    } else if (isOneOf(did, {0xF918, 0xF91D, 0xF91E})) {
        value = unsignedOf(bytes, 2);
    } else if (did == 0xF91C) {
        value = unsignedOf(bytes, 2) / 8.0;
    } else if (did == 0xF92C) {
        value = unsignedOf(bytes, 2) / 256.0;
    } else if (did == 0xF912) {
        value = unsignedOf(bytes, 4) / 200.0;
    } else if (did == 0xF922) {
        const QDate date(1985 + at(2), at(0), std::max(1, at(1) / 4));
        // A unit that was never calibrated reports no usable date: offer three years from today.
        value = date.isValid() && date > QDate(1985, 1, 1) ? date : nextCalibrationFallback();
    } else if (did == 0xFD01 || did == 0xFD02) {
        value = joinedBytes(bytes, 3);
    } else if (did == 0xFD08 || did == 0xFD09) {
        value = joinedBytes(bytes, 4);
    } else if (isOneOf(did, {0xFD05, 0xFD06, 0xFD07})) {
        value = QStringLiteral("%1;%2;%3").arg(at(0)).arg(at(1)).arg(readBigEndian(bytes, 2, 2));
    } else if (did == 0xFD0B) {
        QStringList parts;
        for (int i = 0; i < 7; ++i)
            parts << QString::number(readBigEndian(bytes, i * 2, 2));
        value = parts.join(QLatin1Char(';'));
    } else if (did == 0xFD0C) {
        value = bytes.contains('\0') ? QString() : QString::fromLatin1(bytes).trimmed();
    } else if (did == 0xFD10) {
        value = joinedBytes(bytes, 2);
    } else if (isOneOf(did, kByteIdentifiers)) {
        value = static_cast<uint>(at(0));
    } else {
        value = QString::fromLatin1(bytes.toHex());
    }
    parameter.value = value;
    parameter.raw = bytes;
    parameter.available = true;
    parameter.dirty = false;
    return true;
}

QByteArray CalibrationParameterCodec::encode(const CalibrationParameter& parameter, QString* error)
{
    const quint16 did = parameter.did;
    const QVariant& value = parameter.value;
    const QString text = value.toString();
    if (did == 0xF90B) {
        const QDateTime moment = value.toDateTime().toUTC();
        if (!value.isValid() || !moment.isValid()) {
            fail(error, QStringLiteral("invalid TimeDate"));
            return {};
        }
        QByteArray out;
        out.append(static_cast<char>(moment.time().second() * 4));
        out.append(static_cast<char>(moment.time().minute()));
        out.append(static_cast<char>(moment.time().hour()));
        out.append(static_cast<char>(moment.date().month()));
        out.append(static_cast<char>(moment.date().day() * 4));
        out.append(static_cast<char>(moment.date().year() - 1985));
        out.append(static_cast<char>(std::clamp(parameter.minuteCorrection + 125, 0, 255)));
        out.append(static_cast<char>(std::clamp(parameter.hourCorrection + 125, 0, 255)));
        return out;
    }
    if (did == 0xF19A || isOneOf(did, {0xF918, 0xF91D, 0xF91E}))
        return bigEndianBytes(value.toUInt(), 2);
    if (did == 0xF190 || did == 0xF97D)
        return text.toLatin1();
    if (did == 0xF97E)
        return QByteArray(1, '\x05') + text.toLatin1().leftJustified(13, ' ', true);
    if (did == 0xF91C)
        return bigEndianBytes(static_cast<quint32>(roundHalfAway(value.toDouble() * 8)), 2);
    if (did == 0xF921)
        return text.toLatin1().leftJustified(15, ' ', true);
    if (did == 0xF92C)
        return bigEndianBytes(static_cast<quint32>(roundHalfAway(value.toDouble() * 256)), 2);
    if (did == 0xF912)
        return bigEndianBytes(static_cast<quint32>(roundHalfAway(value.toDouble() * 200)), 4);
    if (did == 0xF922) {
        const QDate date = value.toDate();
        QByteArray out;
        out.append(static_cast<char>(date.month()));
        out.append(static_cast<char>(date.day() * 4));
        out.append(static_cast<char>(date.year() - 1985));
        return out;
    }
    if (isOneOf(did, {0xFD01, 0xFD02, 0xFD08, 0xFD09, 0xFD10}))
        return encodeList(text, {}, 1, error);
    if (isOneOf(did, {0xFD05, 0xFD06, 0xFD07}))
        return encodeList(text, {1, 1, 2}, 1, error);
    if (did == 0xFD0B)
        return encodeList(text, {}, 2, error);
    if (did == 0xFD0C)
        return text.isEmpty() ? QByteArray(17, '\0') : text.toLatin1();
    if (isOneOf(did, kByteIdentifiers))
        return QByteArray(1, static_cast<char>(value.toUInt() & 0xFF));
    return parameter.raw;
}

QString CalibrationParameterCodec::displayValue(const CalibrationParameter& parameter)
{
    const QVariant& value = parameter.value;
    if (parameter.name == QLatin1String("vuManufacturingDate")) {
        const QDate date = QDate::fromString(value.toString(), QStringLiteral("yyyy.MM.dd"));
        if (date.isValid())
            return date.toString(QStringLiteral("dd/MM/yyyy"));
    }
    if (parameter.name == QLatin1String("VerifyDate")) {
        const quint32 seconds = value.toUInt();
        if (seconds == 0xFFFFFFFF)
            return QStringLiteral("не проводилась");
        const QDateTime moment = QDateTime::fromSecsSinceEpoch(seconds, QTimeZone::utc());
        if (moment.isValid())
            return moment.date().toString(QStringLiteral("dd.MM.yyyy"));
    }
    if (parameter.name == QLatin1String("SpeedAuthorised") ||
        parameter.name == QLatin1String("HighResOdometer"))
        return QLocale::system().toString(value.toDouble(), 'f', 3);
    if (value.typeId() == QMetaType::QDateTime)
        return value.toDateTime().toString(QStringLiteral("HH:mm:ss dd/MM/yyyy"));
    if (value.typeId() == QMetaType::QDate)
        return value.toDate().toString(QStringLiteral("dd.MM.yyyy"));
    return value.toString();
}

bool CalibrationParameterCodec::validate(const CalibrationParameter& parameter, QString* error)
{
    return validateDisplayValue(parameter, displayValue(parameter), error);
}

bool CalibrationParameterCodec::validateDisplayValue(const CalibrationParameter& parameter,
                                                     const QString& text, QString* error)
{
    const QString trimmed = text.trimmed();
    const auto rule = [error](bool passed, const QString& failure) { return passed || fail(error, failure); };
    switch (parameter.did) {
    case 0xF90B:
        return rule(
            QDateTime::fromString(trimmed, QStringLiteral("HH:mm:ss dd/MM/yyyy")).isValid(),
            QStringLiteral(
                "ожидается дата и время в формате ЧЧ:ММ:СС ДД/ММ/ГГГГ, например 12:34:56 29/09/2026"));
    case 0xF19A:
        return rule(unsignedInRange(text, 1, 65535),
                    QStringLiteral("требуется целое число от 1 до 65535, например 19"));
    case 0xF190:
        return rule(trimmed.size() == 17,
                    QStringLiteral("VIN должен содержать ровно 17 заглавных символов (цифры и A-Z "
                                   "без I, O, Q), например WVWZZZ1JZXW000001")) &&
               rule(vinExpression().match(trimmed).hasMatch(),
                    QStringLiteral(
                        "VIN содержит недопустимые символы: разрешены цифры и заглавные A-Z, кроме I, O, Q; "
                        "пример WVWZZZ1JZXW000001"));
    case 0xF97D:
        return rule(countryCodes().contains(text),
                    QStringLiteral("укажите код страны из списка тахографа из 3 символов, например RUS"));
    case 0xF97E: {
        static const QRegularExpression allowed(QStringLiteral("^[0-9 АВЕКМНОРСТУХABEKMHOPCTYX]*$"));
        return rule(trimmed.size() <= 13,
                    QStringLiteral("регистрационный номер должен содержать не более 13 символов; "
                                   "пример А123ВС777")) &&
               rule(allowed.match(trimmed).hasMatch(),
                    QStringLiteral(
                        "регистрационный номер содержит недопустимый символ: разрешены цифры, пробел и "
                        "буквы АВЕКМНОРСТУХ; пример А123ВС777"));
    }
    case 0xF918:
    case 0xF91D:
        return rule(unsignedInRange(text, 1000, 64255),
                    QStringLiteral("требуется целое число от 1000 до 64255, например 3600"));
    case 0xF91E:
        return rule(unsignedInRange(text, 0, 64255),
                    QStringLiteral("требуется целое число от 0 до 64255, например 6000"));
    case 0xF91C:
        return rule(unsignedInRange(text, 0, 8031),
                    QStringLiteral("требуется целое число от 0 до 8031 мм, например 2136"));
    case 0xF921: {
        static const QRegularExpression allowed(QStringLiteral("^[0-9A-Za-z\\s/R.\\-*×]*$"));
        return rule(text.size() <= 15,
                    QStringLiteral(
                        "маркировка шин должна содержать не более 15 символов; пример 230/65 R15")) &&
               rule(allowed.match(text).hasMatch(),
                    QStringLiteral("маркировка шин содержит недопустимый символ; пример 230/65 R15"));
    }
    case 0xF92C: {
        const auto value = parseDecimal(text);
        return rule(value && *value >= 0 && *value <= 250.996,
                    QStringLiteral("требуется скорость от 0 до 250,996 км/ч, например 90,000"));
    }
    case 0xF912: {
        const auto value = parseDecimal(text);
        return rule(
            value && *value >= 0 && *value <= 21474836.475,
            QStringLiteral("требуется неотрицательное число до 21474836,475 км, например 123456,789"));
    }
    case 0xF922: {
        const QDate date = QDate::fromString(trimmed, QStringLiteral("dd.MM.yyyy"));
        return rule(date.isValid(),
                    QStringLiteral("ожидается дата в формате ДД.ММ.ГГГГ, например 29.09.2029")) &&
               rule(date > QDate::currentDate(),
                    QStringLiteral("дата следующей настройки должна быть позже сегодняшней "
                                   "даты; пример 29.09.2029"));
    }
    case 0xFD01:
    case 0xFD02:
        return rule(listParts(text, 3, [](int i, double v) { return v < (i == 1 ? 4 : 2); }),
                    QStringLiteral("ожидается формат ВКЛ;скорость;разрядность, например 1;2;1 (или 0;0;0)"));
    case 0xFD08:
    case 0xFD09:
        return rule(listParts(text, 4, [](int, double v) { return v < 2; }),
                    QStringLiteral("ожидаются 4 значения 0 или 1 через ';', например 0;1;0;1"));
    case 0xF920:
    case 0xFD14:
        return rule(listParts(text, 1, [](int, double v) { return v < 2; }),
                    QStringLiteral("период TCO1 должен быть 0 (20 мс) или 1 (50 мс), например 0"));
    case 0xF90F:
    case 0xFD13:
        return rule(listParts(text, 1, [](int, double v) { return v < 8; }),
                    QStringLiteral("приоритет TCO1 должен быть целым числом от 0 до 7, например 3"));
    case 0xFD05:
    case 0xFD06:
    case 0xFD07:
        return rule(
            listParts(text, 3, [](int i, double v) { return i < 2 ? v < 2 : (v >= 1000 && v <= 64255); }),
            QStringLiteral("ожидается формат включение;уровень;K, например 1;1;3600 (K от 1000 до 64255)"));
    case 0xFD0B: {
        const QStringList parts = text.split(QLatin1Char(';'), Qt::KeepEmptyParts);
        if (parts.size() != 7)
            return fail(error, QStringLiteral("режимы труда должны содержать 7 чисел через ';', например "
                                              "255;270;525;540;15;45;540"));
        if (!listParts(text, 7, [](int, double v) { return v < 65536; }))
            return fail(error,
                        QStringLiteral("режимы труда должны содержать только целые числа 0..65535, например "
                                       "255;270;525;540;15;45;540"));
        QList<double> v;
        for (const QString& part : parts)
            v << parseDecimal(part.trimmed()).value_or(0);
        // Break and rest warnings come 15 minutes before their limits; the minimal break is 10 or 15.
        const bool sound = v[1] >= 180 && v[1] <= 270 && v[3] >= 360 && v[3] <= 540 && v[0] + 15 == v[1] &&
                           v[2] + 15 == v[3] && (v[4] == 10 || v[4] == 15);
        return rule(sound,
                    QStringLiteral("перерыв: 180..270 мин, отдых: 360..540 мин, минимальный перерыв: 10 или "
                                   "15 мин; пример 255;270;525;540;15;45;540"));
    }
    case 0xFD0C:
        return rule(trimmed.isEmpty() || trimmed.size() == 17,
                    QStringLiteral("подменный VIN CAN должен содержать 17 символов или быть пустым; пример "
                                   "WVWZZZ1JZXW000001")) &&
               rule(trimmed.isEmpty() || vinExpression().match(trimmed).hasMatch(),
                    QStringLiteral(
                        "подменный VIN CAN содержит недопустимые символы; пример WVWZZZ1JZXW000001"));
    case 0xFD0F:
        return rule(unsignedInRange(text, 0, 2),
                    QStringLiteral("источник яркости должен быть 0, 1 или 2 (Ручной, CAN, "
                                   "A2), например 0"));
    case 0xFD11: {
        const auto value = parseDecimal(trimmed);
        const bool ok = unsignedInRange(text, 0, 17) && value &&
                        (*value == 0 || *value == 1 || *value == 16 || *value == 17);
        return rule(ok,
                    QStringLiteral("DM1 задаётся маской: 0 — выкл.; 1 — CAN1; 16 — CAN2; 17 — CAN1 и CAN2."));
    }
    case 0xF103:
        return rule(unsignedInRange(text, 0, 11),
                    QStringLiteral("номер цвета подсветки должен быть от 0 до 11"));
    case 0xFD10: {
        if (text.split(QLatin1Char(';'), Qt::KeepEmptyParts).size() != 2)
            return fail(error,
                        QStringLiteral("источник скорости задается как маска;результат, например 1;0"));
        return rule(
            listParts(text, 2,
                      [](int i, double v) {
                          return i == 0 ? (v == 1 || v == 2 || v == 4 || v == 8 || v == 16) : v < 256;
                      }),
            QStringLiteral("маска источника скорости должна быть 1, 2, 4, 8 или 16, формат например 1;0"));
    }
    default:
        return true;
    }
}

bool CalibrationParameterCodec::setDisplayValue(CalibrationParameter& parameter, const QString& text,
                                                QString* error)
{
    if (!validateDisplayValue(parameter, text, error))
        return false;
    const QString trimmed = text.trimmed();
    const quint16 did = parameter.did;
    if (did == 0xF90B) {
        QDateTime moment = QDateTime::fromString(trimmed, QStringLiteral("HH:mm:ss dd/MM/yyyy"));
        moment.setTimeZone(QTimeZone::utc());
        parameter.value = moment;
    } else if (did == 0xF922) {
        parameter.value = QDate::fromString(trimmed, QStringLiteral("dd.MM.yyyy"));
    } else if (isOneOf(did, {0xF91C, 0xF92C, 0xF912})) {
        parameter.value = parseDecimal(trimmed).value_or(parameter.value.toDouble());
    } else if (isOneOf(did, kUnsignedInput)) {
        bool ok = false;
        const uint number = trimmed.toUInt(&ok);
        if (ok)
            parameter.value = number;
    } else {
        parameter.value = trimmed;
    }
    parameter.dirty = true;
    return true;
}

QVariantMap CalibrationParameterCodec::databaseFields(const CalibrationParameter& parameter)
{
    QVariantMap fields;
    const QString& name = parameter.name;
    const QString text = parameter.value.toString();
    const QStringList parts = text.split(QLatin1Char(';'), Qt::KeepEmptyParts);
    const auto listColumns = [&](const QString& prefix, const QStringList& suffixes) {
        if (parts.size() < suffixes.size())
            return;
        for (int i = 0; i < suffixes.size(); ++i)
            fields.insert(prefix + suffixes.at(i), parts.at(i).trimmed().toInt());
    };
    if (name == QLatin1String("CAN1") || name == QLatin1String("CAN2")) {
        listColumns(
            name, {QStringLiteral("_Enabled"), QStringLiteral("_Speed"), QStringLiteral("_IdentifierType")});
    } else if (name == QLatin1String("CAN1_NV") || name == QLatin1String("CAN2_NV")) {
        listColumns(name.left(4), {QStringLiteral("_TCO2Enabled"), QStringLiteral("_TCO3Enabled"),
                                   QStringLiteral("_TCO4Enabled"), QStringLiteral("_RezEnabled")});
    } else if (name == QLatin1String("B6") || name == QLatin1String("B7") || name == QLatin1String("D6")) {
        listColumns(name, {QStringLiteral("_Enabled"), QStringLiteral("_ActivLevel"), QStringLiteral("_K")});
    } else if (name == QLatin1String("PTO")) {
        listColumns(name, {QStringLiteral("_PreBreakWarning"), QStringLiteral("_BreakWarning"),
                           QStringLiteral("_PreRestWarning"), QStringLiteral("_RestWarning"),
                           QStringLiteral("_MinBreakValue"), QStringLiteral("_BreakValue"),
                           QStringLiteral("_RestValue")});
    } else {
        const QString column = journalColumn(name);
        if (column.isEmpty())
            return fields;
        if (name == QLatin1String("TimeDate"))
            fields.insert(column, parameter.value.toDateTime());
        else if (name == QLatin1String("nextCalibrationDate"))
            fields.insert(column, parameter.value.toDate());
        else if (name.endsWith(QLatin1String("_Interval_TCO1")))
            fields.insert(column, text.section(QLatin1Char(';'), 0, 0));
        else
            fields.insert(column, parameter.value);
    }
    return fields;
}

} // namespace tachoria::calibration
