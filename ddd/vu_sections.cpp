// The vehicle-unit download (blocks 7601 to 7605). The Russian-market unit does not keep to its counts
// and byte orders, so the reader searches where the layout would only count, and every step is guarded.
#include "ddd/ddd_decoder.h"
#include "ddd/ddd_fields.h"
#include "ddd/vu_sections_internal.h"

#include <QSet>
#include <QTimeZone>

#include <algorithm>
#include <map>
#include <optional>
#include <tuple>

namespace tachoria::ddd {

using namespace Qt::StringLiterals;
using namespace vu;

namespace {

// --- 7601 -------------------------------------------------------------------------------------------

void parseOverview(DddReport& report, const QByteArray& d)
{
    const qsizetype limit = dataLimit(d);
    qsizetype position = 390; // behind the tag and the two certificates, which are not verified
    if (fitsBefore(position, 32, limit)) {
        report.vin = readFixedText(d, position, 17);
        report.vehicleRegistrationNation = countryName(byteAt(d, position + 17));
        report.registrationNumber = readName(d, position + 18, 14);
        report.vehicleIdentification.append(
            {{u"description"_s, u"vehicleIdentification"_s},
             {u"vin"_s, report.vin},
             {u"vehicleRegistrationNation"_s, report.vehicleRegistrationNation},
             {u"vehicleRegistrationNumber"_s, report.registrationNumber},
             {u"hexData"_s, hexText(d, position, 32)}});
        position += 32;
    }
    if (fitsBefore(position, 4, limit)) {
        report.currentDateTime.append(
            describedRow(u"currentDateTime"_s, vuTime(d, position), u"hexData"_s, hexText(d, position, 4)));
        position += 4;
    }
    if (fitsBefore(position, 8, limit)) {
        report.downloadablePeriod.append(describedRow(u"minDownloadableTime"_s, vuTime(d, position),
                                                      u"hexData"_s, hexText(d, position, 4)));
        report.downloadablePeriod.append(describedRow(u"maxDownloadableTime"_s, vuTime(d, position + 4),
                                                      u"hexData"_s, hexText(d, position + 4, 4)));
        position += 8;
    }
    if (position < limit) {
        const quint8 slots = byteAt(d, position);
        const QString hex = hexText(d, position, 1);
        report.insertedCardType.append(
            describedRow(u"driverCardSlot"_s, cardSlotStatusName(slots & 0x0F), u"hexData"_s, hex));
        report.insertedCardType.append(
            describedRow(u"co-driverCardSlot"_s, cardSlotStatusName(slots >> 4), u"hexData"_s, hex));
        ++position;
    }
    if (fitsBefore(position, 58, limit)) {
        report.downloadActivity.append(
            describedRow(u"downloadingTime"_s, vuTime(d, position), u"hexData"_s, hexText(d, position, 58)));
        report.downloadActivity.append(
            describedRow(u"cardType"_s, cardTypeName(byteAt(d, position + 4)), {}, {}));
        report.downloadActivity.append(
            describedRow(u"cardIssuingMemberState"_s, countryName(byteAt(d, position + 5)), {}, {}));
        report.downloadActivity.append(
            describedRow(u"driverCardNumber"_s, readFixedText(d, position + 6, 16), {}, {}));
        report.downloadActivity.append(
            describedRow(u"companyOrTachoriaName"_s, readName(d, position + 22, 36), {}, {}));
        position += 58;
    }
    const auto rawRecords = [&](DatasetRows& rows, qsizetype size) {
        if (position >= limit)
            return;
        const int count = byteAt(d, position++);
        for (int index = 0; index < count && fitsBefore(position, size, limit); ++index) {
            rows.append({{u"recordIndex"_s, index}, {u"hexData"_s, hexText(d, position, size)}});
            position += size;
        }
    };
    rawRecords(report.companyLocks, 98);
    rawRecords(report.controlActivity, 31);
}

// --- 7602 -------------------------------------------------------------------------------------------

QString slotName(int slot)
{
    switch (slot) {
    case 0:
        return u"Водитель"_s;
    case 1:
        return u"Сопряжённый водитель"_s;
    case 2:
        return u"Мастерская"_s;
    case 3:
        return u"Контроль"_s;
    case 4:
        return u"Компания"_s;
    default:
        return u"Неизвестный слот (0x%1)"_s.arg(hexCode(slot)).toUpper();
    }
}

// Every odometer of the unit: 3 bytes in km, all ones when the unit had no reading.
quint32 odometerAt(const QByteArray& bytes, qsizetype position)
{
    const quint32 value = readBe24(bytes, position);
    return value == 0xFFFFFF ? 0u : value;
}

// The keys of a card insertion row, in ascending order, so that a row is built without searching.
enum CardInsertionField
{
    BlockNumber,
    CardExpiryDate,
    CardHolderFirstNames,
    CardHolderSurname,
    CardInsertionDate,
    CardIssuingMemberState,
    CardSlot,
    CardSlotNumber,
    CardType,
    CardWithdrawalTime,
    DayNo,
    DriverCardNumber,
    HexData,
    ManualInputFlag,
    PrevCardWithdrawalTime,
    PrevVehicleRegistrationNation,
    PrevVehicleRegistrationNumber,
    RecordInBlock,
    VehicleOdometerValueAtInsertion,
    VehicleOdometerValueAtWithdrawal,
    CardInsertionFieldCount
};

const QString& cardInsertionKey(int field)
{
    static const QString keys[CardInsertionFieldCount] = {u"blockNumber"_s,
                                                          u"cardExpiryDate"_s,
                                                          u"cardHolderFirstNames"_s,
                                                          u"cardHolderSurname"_s,
                                                          u"cardInsertionDate"_s,
                                                          u"cardIssuingMemberState"_s,
                                                          u"cardSlot"_s,
                                                          u"cardSlotNumber"_s,
                                                          u"cardType"_s,
                                                          u"cardWithdrawalTime"_s,
                                                          u"dayNo"_s,
                                                          u"driverCardNumber"_s,
                                                          u"hexData"_s,
                                                          u"manualInputFlag"_s,
                                                          u"prevCardWithdrawalTime"_s,
                                                          u"prevVehicleRegistrationNation"_s,
                                                          u"prevVehicleRegistrationNumber"_s,
                                                          u"recordInBlock"_s,
                                                          u"vehicleOdometerValueAtInsertion"_s,
                                                          u"vehicleOdometerValueAtWithdrawal"_s};
    return keys[field];
}

// A card's expiry is a BCD date; a unit that wrote a time stamp there is read as before.
QString expiryText(const QByteArray& d, qsizetype position, const QString& format)
{
    const QDate date = readBcdDate(d, position);
    return date.isValid() ? QDateTime(date, QTime(0, 0), QTimeZone::utc()).toString(format)
                          : vuBeTime(d, position, format);
}

// A card insertion record of 129 bytes at the standard's layout.
QVariantMap cardInsertionRow(const QByteArray& r, int dayNo, int index)
{
    static const QString dateOnly = u"dd.MM.yyyy"_s;
    static const QString dateAndTime = u"dd.MM.yyyy H:mm:ss"_s;
    const int slot = byteAt(r, 101);
    QVariant fields[CardInsertionFieldCount];
    fields[CardHolderSurname] = readName(r, 0, 36);
    fields[CardHolderFirstNames] = readName(r, 36, 36);
    fields[CardType] = byteAt(r, 72) == 2 ? u"Мастерская"_s : u"Водитель"_s;
    fields[CardIssuingMemberState] = countryName(byteAt(r, 73));
    fields[DriverCardNumber] = readFixedText(r, 74, 16);
    fields[CardExpiryDate] = expiryText(r, 90, dateOnly);
    fields[CardInsertionDate] = vuBeTime(r, 94, dateAndTime);
    fields[VehicleOdometerValueAtInsertion] = odometerAt(r, 98);
    fields[CardSlot] = slotName(slot);
    fields[CardSlotNumber] = slot;
    fields[CardWithdrawalTime] = vuBeTime(r, 102, dateAndTime);
    fields[VehicleOdometerValueAtWithdrawal] = odometerAt(r, 106);
    fields[PrevVehicleRegistrationNation] = countryName(byteAt(r, 109));
    fields[PrevVehicleRegistrationNumber] = readName(r, 110, 14);
    fields[PrevCardWithdrawalTime] = vuBeTime(r, 124, dateAndTime);
    fields[ManualInputFlag] = byteAt(r, 128) == 1 ? u"Да"_s : u"Нет"_s;
    fields[DayNo] = dayNo;
    fields[BlockNumber] = dayNo;
    fields[RecordInBlock] = index;
    fields[HexData] = upperHex(r);
    std::map<QString, QVariant> row;
    for (int field = 0; field < CardInsertionFieldCount; ++field)
        row.emplace_hint(row.end(), cardInsertionKey(field), std::move(fields[field]));
    return QVariantMap(std::move(row));
}

QString entryTypeName(int type)
{
    static const QStringList names = {u"Begin"_s, u"Start"_s, u"End"_s, u"Complete"_s, u"Intermediate"_s};
    return type < names.size() ? names.at(type) : u"Unknown (0x%1)"_s.arg(hexCode(type)).toUpper();
}

QString regionName(int region)
{
    if (region == 0)
        return u"No information available"_s;
    if (region == 0x2B)
        return u"Moscow Region"_s;
    return u"Region 0x%1"_s.arg(hexCode(region)).toUpper();
}

void appendChanges(DddReport& report, const QByteArray& d, qsizetype position, int count, int dayNo)
{
    static const QStringList activities = {u"Перерыв/отдых"_s, u"Доступность"_s, u"Работа"_s, u"Вождение"_s};
    static const QStringList englishActivities = {u"Rest"_s, u"Availability"_s, u"Work"_s, u"Drive"_s};
    for (int index = 0; index < count; ++index) {
        const quint8 b0 = byteAt(d, position + 2 * index);
        const int minutes = ((b0 & 0x07) << 8) | byteAt(d, position + 2 * index + 1);
        if (minutes > 1439)
            continue;
        const int activity = (b0 >> 3) & 0x03;
        const bool notInserted = b0 & 0x20;
        const QString slot = (b0 & 0x80) ? u"Сопряжённый водитель"_s : u"Водитель"_s;
        const QString status = (b0 & 0x40) ? u"Экипаж"_s : u"Одиночный режим"_s;
        const QString time = formatMinutes(minutes);
        report.activityDaily.append({{u"activity"_s, activities.at(activity)},
                                     {u"cardStatus"_s, notInserted ? u"Не вставлена"_s : u"Вставлена"_s},
                                     {u"day"_s, dayNo},
                                     {u"dayNo"_s, dayNo},
                                     {u"drivingStatus"_s, status},
                                     {u"minutes"_s, minutes},
                                     {u"slot"_s, slot},
                                     {u"timeOfChange"_s, time}});
        // The same row with the English texts that the analysis reads.
        report.activityChanges.append({{u"activity"_s, englishActivities.at(activity)},
                                       {u"activityDailyPresenceCounter1"_s, dayNo},
                                       {u"cardStatus"_s, notInserted ? u"Not Inserted"_s : u"Inserted"_s},
                                       {u"day"_s, dayNo},
                                       {u"dayNo"_s, dayNo},
                                       {u"drivingStatus"_s, status},
                                       {u"minutes"_s, minutes},
                                       {u"slot"_s, slot},
                                       {u"time"_s, time},
                                       {u"timeOfChange"_s, time}});
    }
}

void appendPlace(DddReport& report, const QByteArray& d, qsizetype position, int dayNo)
{
    report.placeDailyWorkPeriod.append(
        {{u"dayNo"_s, dayNo},
         {u"cardType"_s, cardTypeName(byteAt(d, position))},
         {u"cardIssuingMemberState"_s, countryName(byteAt(d, position + 1))},
         {u"driverCardNumber"_s, readFixedText(d, position + 2, 16)},
         {u"entryTime"_s, vuTime(d, position + 18)},
         {u"entryTypeDailyWorkPeriod"_s, entryTypeName(byteAt(d, position + 22))},
         {u"dailyWorkPeriodCountry"_s, countryName(byteAt(d, position + 23))},
         {u"dailyWorkPeriodRegion"_s, regionName(byteAt(d, position + 24))},
         {u"vehicleOdometerValue"_s, odometerAt(d, position + 25)},
         {u"hexData"_s, hexText(d, position, 28)}});
}

void appendDayInformation(DddReport& report, const QByteArray& d, qsizetype position, int dayNo)
{
    report.dayInformation.append({{u"dayNo"_s, dayNo},
                                  {u"timeReal"_s, vuTime(d, position)},
                                  {u"odometerValueMidnight"_s, odometerAt(d, position + 4)},
                                  {u"hexData"_s, hexText(d, position, 7)}});
}

// The parts of one day at the standard's layout: the day and its odometer, the card insertions, the
// activity changes, the places and the specific conditions, each behind its count.
struct DayLayout
{
    qsizetype insertions = 0; // position of the count of each part
    qsizetype changes = 0;
    qsizetype places = 0;
    qsizetype end = 0; // behind the specific conditions
};

// The layout of the day at `position` when every part fits before `limit` and the day is a real one.
std::optional<DayLayout> dayLayoutAt(const QByteArray& d, qsizetype position, qsizetype limit)
{
    if (!fitsBefore(position, 7, limit) || !vuDateTime(d, position).isValid())
        return std::nullopt;
    DayLayout day;
    day.insertions = position + 7;
    const auto counted = [&](qsizetype at, qsizetype countBytes, qsizetype recordSize) -> qsizetype {
        if (!fitsBefore(at, countBytes, limit))
            return -1;
        const qsizetype count = countBytes == 2 ? readBe16(d, at) : byteAt(d, at);
        const qsizetype end = at + countBytes + count * recordSize;
        return end <= limit ? end : -1;
    };
    day.changes = counted(day.insertions, 2, 129);
    day.places = day.changes < 0 ? -1 : counted(day.changes, 2, 2);
    const qsizetype conditions = day.places < 0 ? -1 : counted(day.places, 1, 28);
    day.end = conditions < 0 ? -1 : counted(conditions, 2, 5);
    if (day.end < 0)
        return std::nullopt;
    return day;
}

void readDay(DddReport& report, const QByteArray& d, qsizetype position, const DayLayout& day, int dayNo)
{
    appendDayInformation(report, d, position, dayNo);
    const int insertions = readBe16(d, day.insertions);
    for (int index = 0; index < insertions; ++index)
        report.cardIwData.append(
            cardInsertionRow(d.mid(day.insertions + 2 + 129 * index, 129), dayNo, index));
    appendChanges(report, d, day.changes + 2, readBe16(d, day.changes), dayNo);
    for (int index = 0; index < byteAt(d, day.places); ++index)
        appendPlace(report, d, day.places + 1 + 28 * index, dayNo);
}

// A block the standard's layout does not fit: the header, the card insertions behind a count that fits,
// then the activity changes searched (a count of 1 to 120), then the places that look like places.
void readDamagedDay(DddReport& report, const QByteArray& d, int dayNo)
{
    const qsizetype limit = dataLimit(d);
    qsizetype position = 2;
    if (fitsBefore(position, 7, limit)) {
        if (vuDateTime(d, position).isValid())
            appendDayInformation(report, d, position, dayNo);
        position += 7;
    }
    if (position + 1 < limit && (byteAt(d, position) == 0x00 || byteAt(d, position) == 0x20)) {
        const int count = byteAt(d, position + 1);
        if (count <= 100 && fitsBefore(position, 2 + 129 * qsizetype(count), limit)) {
            for (int index = 0; index < count; ++index)
                report.cardIwData.append(
                    cardInsertionRow(d.mid(position + 2 + 129 * index, 129), dayNo, index));
            position += 2 + 129 * qsizetype(count);
        }
    }
    for (qsizetype p = position; p + 1 < limit; ++p) {
        const int n = byteAt(d, p + 1);
        if (byteAt(d, p) == 0 && n >= 1 && n <= 120 && fitsBefore(p, 2 + 2 * qsizetype(n), limit)) {
            appendChanges(report, d, p + 2, n, dayNo);
            position = p + 2 + 2 * n;
            break;
        }
    }
    // A place count of exactly 1 is stepped over; any other count byte is walked through in steps of 28.
    if (position < limit && byteAt(d, position) == 0x01)
        ++position;
    for (; position + 27 < limit; position += 28) {
        const int cardType = byteAt(d, position);
        const QString cardNumber = readFixedText(d, position + 2, 16);
        const QString entryTime = vuTime(d, position + 18);
        const bool control =
            std::any_of(cardNumber.begin(), cardNumber.end(), [](QChar c) { return c < u' '; });
        if (cardNumber.size() > 4 && !control && !entryTime.startsWith(u"01.01.0001"_s) &&
            !entryTime.startsWith(u"01.01.1970"_s) && cardType >= 1 && cardType <= 5)
            appendPlace(report, d, position, dayNo);
    }
}

// A 7602 block holds one day, or several one behind the other, each with its signature or without.
void parseActivities(DddReport& report, const QByteArray& d, int& dayNo)
{
    qsizetype position = 2;
    std::optional<DayLayout> day = dayLayoutAt(d, position, d.size());
    if (!day) {
        readDamagedDay(report, d, ++dayNo);
        return;
    }
    while (day) {
        readDay(report, d, position, *day, ++dayNo);
        const qsizetype end = day->end;
        position = end + kSignatureSize;
        day = dayLayoutAt(d, position, d.size());
        if (!day) {
            position = end;
            day = dayLayoutAt(d, position, d.size());
        }
    }
}

// --- 7605 -------------------------------------------------------------------------------------------

QString bcdPair(const QByteArray& d, qsizetype position)
{
    return u"%1%2"_s.arg(byteAt(d, position), 2, 16, QLatin1Char('0'))
        .arg(byteAt(d, position + 1), 2, 16, QLatin1Char('0'));
}

QString calibrationPurpose(int purpose, bool english)
{
    static const QStringList russian = {u"Активация: параметры калибровки при активации"_s,
                                        u"Первая установка: первая калибровка после активации"_s,
                                        u"Установка: первая калибровка в текущем ТС"_s,
                                        u"Периодическая проверка"_s, u"Особая калибровка"_s};
    static const QStringList englishNames = {
        u"Activation: recording of calibration parameters known at the moment of activation"_s,
        u"First Installation: first calibration of the VU after its activation"_s,
        u"Installation: first calibration of the VU in the current vehicle"_s, u"Periodic Inspection"_s};
    const QString unknown = u"Неизвестный тип (0x%1)"_s.arg(hexCode(purpose)).toUpper();
    if (purpose < 1 || purpose > 5)
        return unknown;
    if (english)
        return purpose <= 4 ? englishNames.at(purpose - 1) : unknown;
    return russian.at(purpose - 1);
}

// A calibration record of 167 bytes at the standard's layout.
QVariantMap calibrationRow(const QByteArray& d, qsizetype p)
{
    const int purpose = byteAt(d, p);
    const auto number = [](quint32 value) { return QString::number(value); };
    return makeRow({{u"authorisedSpeed"_s, number(byteAt(d, p + 148))},
                    {u"calibrationPurpose"_s, calibrationPurpose(purpose, false)},
                    {u"calibrationPurposeEnglish"_s, calibrationPurpose(purpose, true)},
                    {u"hexData"_s, hexText(d, p, 167)},
                    {u"iTyreCircumference"_s, number(readBe16(d, p + 131))},
                    {u"kConstantOfRecordingEquipment"_s, number(readBe16(d, p + 129))},
                    {u"newOdometerValue"_s, number(readBe24(d, p + 152))},
                    {u"newTimeValue"_s, formatUnixCSharp(readBe32(d, p + 159))},
                    {u"nextCalibrationDate"_s, formatUnixCSharp(readBe32(d, p + 163))},
                    {u"oldOdometerValue"_s, number(readBe24(d, p + 149))},
                    {u"oldTimeValue"_s, formatUnixCSharp(readBe32(d, p + 155))},
                    {u"tachoriaAddress"_s, readName(d, p + 37, 36)},
                    {u"tachoriaCardExpiryDate"_s, expiryText(d, p + 91, u"dd.MM.yyyy H:mm:ss"_s)},
                    {u"tachoriaCardNumber"_s, readFixedText(d, p + 75, 16)},
                    {u"tachoriaName"_s, readName(d, p + 1, 36)},
                    {u"tyreSize"_s, readFixedText(d, p + 133, 15)},
                    {u"vehicleIdentificationNumber"_s, readFixedText(d, p + 95, 17)},
                    {u"vehicleRegistrationNation"_s, countryName(byteAt(d, p + 112))},
                    {u"vehicleRegistrationNumber"_s, readName(d, p + 113, 14)},
                    {u"wVehicleCharacteristicConstant"_s, number(readBe16(d, p + 127))}});
}

QVariantMap sensorRow(const QString& description, const QVariant& value)
{
    return {{u"description"_s, description}, {u"value"_s, value}};
}

void parseTechnicalData(DddReport& report, const QByteArray& d)
{
    const qsizetype limit = dataLimit(d);
    qsizetype position = 2;
    if (fitsBefore(position, 116, limit)) {
        const qsizetype p = position;
        const int type = byteAt(d, p + 94);
        const QString typeText = type == 6 ? u"Vehicle Unit"_s
                                 : (type == 0x43 || type == 0)
                                     ? QString()
                                     : u"Unknown (0x%1)"_s.arg(hexCode(type)).toUpper();
        const QList<std::pair<QString, QVariant>> fields = {
            {u"vuManufacturerName"_s, readName(d, p, 36)},
            {u"vuManufacturerAddress"_s, readName(d, p + 36, 36)},
            {u"vuPartNumber"_s, readWindows1251Text(d, p + 72, 16).trimmed()},
            {u"vuSerialNumber"_s, QString::number(readBe32(d, p + 88))},
            {u"monthYear"_s, bcdPair(d, p + 92)},
            {u"type"_s, typeText},
            {u"manufacturerCode"_s, QString::number(byteAt(d, p + 95))},
            {u"vuSoftwareVersion"_s, readAsciiWithReplacement(d, p + 96, 4)},
            {u"vuSoftInstallationDate"_s, vuTime(d, p + 100)},
            {u"vuManufacturingDate"_s, vuTime(d, p + 104).left(10)},
            {u"vuApprovalNumber"_s, readCalibrationText(d, p + 108, 8)},
        };
        for (const auto& [description, value] : fields)
            report.vuIdentification.append(sensorRow(description, value));
        position += 116;
    }
    if (fitsBefore(position, 20, limit)) {
        const qsizetype p = position;
        const int type = byteAt(d, p + 6);
        QString pairing = formatUnixCSharp(readBe32(d, p + 16), true);
        if (pairing.isEmpty())
            pairing = u"01.01.1970 0:00:00"_s;
        const QString approval = readFixedText(d, p + 8, 8);
        report.sensorPaired.append(sensorRow(u"sensorSerialNumber"_s, QString::number(readBe32(d, p))));
        report.sensorPaired.append(sensorRow(u"monthYear"_s, bcdPair(d, p + 4)));
        report.sensorPaired.append(
            sensorRow(u"type"_s, type == 0   ? u"Reserved"_s
                                 : type == 1 ? u"Motion Sensor"_s
                                             : u"Unknown (0x%1)"_s.arg(hexCode(type)).toUpper()));
        report.sensorPaired.append(sensorRow(u"manufacturerCode"_s, QString::number(byteAt(d, p + 7))));
        QVariantMap approvalRow = sensorRow(u"sensorApprovalNumber"_s, approval);
        approvalRow.insert(u"semanticValue"_s, approval);
        report.sensorPaired.append(approvalRow);
        QVariantMap pairingRow = sensorRow(u"sensorPairingDateFirst"_s, pairing);
        pairingRow.insert(u"hex"_s, hexText(d, p, 20));
        report.sensorPaired.append(pairingRow);
        position += 20;
    }
    // The records behind their count; when the count promises more than the block holds, the first
    // record is searched by the legal form at the head of a Russian firm's name, and records follow
    // while their purpose is one.
    constexpr qsizetype kCalibration = 167;
    qsizetype first = -1;
    qsizetype count = 0;
    if (position < limit && position + 1 + byteAt(d, position) * kCalibration <= limit) {
        first = position + 1;
        count = byteAt(d, position);
    } else {
        for (qsizetype p = position; p + kCalibration <= limit && first < 0; ++p) {
            if (byteAt(d, p) >= 1 && byteAt(d, p) <= 5 && byteAt(d, p + 1) == 0x05 &&
                (byteAt(d, p + 2) == 0xBE || (byteAt(d, p + 2) == 0xB8 && byteAt(d, p + 3) == 0xBF)))
                first = p;
        }
        while (first >= 0 && first + (count + 1) * kCalibration <= limit &&
               byteAt(d, first + count * kCalibration) >= 1 && byteAt(d, first + count * kCalibration) <= 5)
            ++count;
    }
    for (qsizetype index = 0; index < count; ++index)
        report.calibrationData.append(calibrationRow(d, first + index * kCalibration));
}

// --- closing ----------------------------------------------------------------------------------------

QDateTime dayTime(const DatasetRows& rows, qsizetype row, QStringView key)
{
    return parseReportTime(rows.value(row, key).toString());
}

// A stable sort by keys computed once per row.
template <typename Key, typename KeyOf>
void sortRowsBy(DatasetRows& rows, const KeyOf& keyOf)
{
    QList<std::pair<Key, qsizetype>> keys;
    keys.reserve(rows.size());
    for (qsizetype i = 0; i < rows.size(); ++i)
        keys.append({keyOf(i), i});
    std::stable_sort(keys.begin(), keys.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    QList<qsizetype> order;
    order.reserve(keys.size());
    for (const auto& key : std::as_const(keys))
        order.append(key.second);
    rows.reorder(order);
}

void closeTachographReport(DddReport& report)
{
    DatasetRows& days = report.dayInformation;
    sortRowsBy<QDateTime>(days, [&days](qsizetype row) { return dayTime(days, row, u"timeReal"); });
    for (qsizetype i = 0; i < days.size(); ++i)
        days.setValue(i, u"dayNo"_s, int(i + 1));

    // By day, then by insertion time; at the same moment the co-driver's row comes first.
    DatasetRows& cards = report.cardIwData;
    using InsertionKey = std::tuple<int, QDateTime, int>;
    sortRowsBy<InsertionKey>(cards, [&cards](qsizetype row) {
        const QString slot = cards.value(row, u"cardSlot").toString();
        const bool coDriver = slot.contains(u"сопряж"_s, Qt::CaseInsensitive) ||
                              slot.contains(u"co-driver"_s, Qt::CaseInsensitive);
        return InsertionKey{cards.value(row, u"dayNo").toInt(), dayTime(cards, row, u"cardInsertionDate"),
                            coDriver ? 0 : 1};
    });
    int dayNo = 0;
    QDate lastDate;
    for (qsizetype row = 0; row < cards.size(); ++row) {
        const QDate date = dayTime(cards, row, u"cardInsertionDate").date();
        if (dayNo == 0 || date != lastDate)
            ++dayNo;
        lastDate = date;
        cards.setValue(row, u"dayNo"_s, dayNo);
    }

    QDateTime earliest;
    QDateTime latest;
    const auto consider = [&](const DatasetRows& rows, QStringView key) {
        for (qsizetype row = 0; row < rows.size(); ++row) {
            const QDateTime moment = dayTime(rows, row, key);
            if (!moment.isValid())
                continue;
            if (!earliest.isValid() || moment < earliest)
                earliest = moment;
            if (!latest.isValid() || moment > latest)
                latest = moment;
        }
    };
    consider(report.dayInformation, u"timeReal");
    consider(report.tachoEvents, u"eventBeginTime");
    consider(report.tachoEvents, u"eventEndTime");
    consider(report.tachoFaults, u"faultBeginTime");
    consider(report.tachoFaults, u"faultEndTime");
    consider(report.calibrationData, u"oldTimeValue");
    consider(report.calibrationData, u"newTimeValue");
    if (report.dataStartDate.isEmpty() && earliest.isValid())
        report.dataStartDate = earliest.toString(u"dd.MM.yyyy H:mm:ss"_s);
    if (report.dataEndDate.isEmpty() && latest.isValid())
        report.dataEndDate = latest.toString(u"dd.MM.yyyy H:mm:ss"_s);

    if (report.totalDays == 0)
        report.totalDays = int(report.dayInformation.size());
    if (report.totalOverSpeeding == 0)
        report.totalOverSpeeding = int(report.overSpeedingEvents.size());
    if (report.totalCalibrations == 0)
        report.totalCalibrations = int(report.calibrationData.size());
    // The distance the odometer readings span: the midnight readings of the days (0 is no reading).
    quint32 lowest = std::numeric_limits<quint32>::max();
    quint32 highest = 0;
    for (const QVariantMap& row : std::as_const(report.dayInformation)) {
        const quint32 odometer = row.value(u"odometerValueMidnight"_s).toUInt();
        if (odometer > 0) {
            lowest = std::min(lowest, odometer);
            highest = std::max(highest, odometer);
        }
    }
    report.totalDistanceKm = highest >= lowest ? int(highest - lowest) : 0;

    QSet<QDate> faultDays;
    for (const QVariantMap& row : std::as_const(report.tachoFaults)) {
        const QDateTime moment = parseReportTime(row.value(u"faultBeginTime"_s).toString());
        if (moment.isValid())
            faultDays.insert(moment.date());
    }
    report.daysWithFaults = int(faultDays.size());
    QSet<QDate> speedingDays;
    for (const QVariantMap& row : std::as_const(report.overSpeedingEvents)) {
        QString text = row.value(u"eventBeginTime1"_s).toString();
        if (text.isEmpty())
            text = row.value(u"eventBeginTime"_s).toString();
        const QDateTime moment = parseReportTime(text);
        if (moment.isValid())
            speedingDays.insert(moment.date());
    }
    report.daysWithOverSpeeding = int(speedingDays.size());

    if (report.maxSpeed == 0 && report.averageSpeed == 0) {
        double sum = 0;
        double weight = 0;
        for (const QVariantMap& row : std::as_const(report.detailedSpeed)) {
            const QVariantList values = row.value(u"speedValues"_s).toList();
            const int valid = row.value(u"validSpeedCount"_s).toInt();
            if (row.contains(u"validSpeedCount"_s) && valid > 0 && valid <= values.size()) {
                sum += row.value(u"averageSpeed"_s).toDouble() * valid;
                weight += valid;
                report.maxSpeed = std::max(report.maxSpeed, row.value(u"maxSpeed"_s).toInt());
            } else if (!row.contains(u"validSpeedCount"_s)) {
                for (const QVariant& value : values) {
                    sum += value.toDouble();
                    weight += 1;
                    report.maxSpeed = std::max(report.maxSpeed, value.toInt());
                }
            }
        }
        report.averageSpeed = weight > 0 ? sum / weight : 0.0;
    }
}

} // namespace

void Decoder::parseTachographData(DddReport& report)
{
    int dayNo = 0; // days are numbered in the order they are read, over all activity blocks
    for (const DddBlock& block : std::as_const(report.blocks)) {
        if (block.fileNumber == u"7601"_s && block.occurrence == 1)
            parseOverview(report, block.data);
        else if (block.fileNumber == u"7602"_s)
            parseActivities(report, block.data, dayNo);
        else if (block.fileNumber == u"7603"_s)
            parseEventsAndFaults(report, block.data);
        else if (block.fileNumber == u"7604"_s)
            parseDetailedSpeed(report, block);
        else if (block.fileNumber == u"7605"_s)
            parseTechnicalData(report, block.data);
    }
    closeTachographReport(report);
}

} // namespace tachoria::ddd
