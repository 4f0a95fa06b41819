// The vehicle-unit download (blocks 7601 to 7605). The Russian-market unit does not keep to its counts
// and byte orders, so the reader searches where the layout would only count, and every step is guarded.
#include "ddd/ddd_decoder.h"
#include "ddd/ddd_fields.h"
#include "ddd/vu_sections_internal.h"

#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <map>
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
        report.registrationNumber = readCalibrationText(d, position + 18, 14);
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
        // 35 bytes from 22 take the code-page byte in as a blank and leave the name's last byte out.
        report.downloadActivity.append(
            describedRow(u"companyOrTachoriaName"_s, readCalibrationText(d, position + 22, 35), {}, {}));
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

// A card insertion record, read by its markers since the name fields are not to be trusted.
QVariantMap cardInsertionRow(const QByteArray& r, int dayNo, int index)
{
    // The fields are read in the record's order and placed in the row in the keys' order; a field that
    // is not read stays invalid and gets no key.
    QVariant fields[CardInsertionFieldCount];
    static const QString dateOnly = u"dd.MM.yyyy"_s;
    static const QString dateAndTime = u"dd.MM.yyyy H:mm:ss"_s;
    qsizetype cursor = 0;
    const auto takeUntil = [&](std::initializer_list<quint8> stops, qsizetype most) {
        const qsizetype start = cursor;
        while (cursor < r.size() && cursor - start < most &&
               std::find(stops.begin(), stops.end(), byteAt(r, cursor)) == stops.end())
            ++cursor;
        return readCalibrationText(r, start, cursor - start).trimmed();
    };
    for (int skipped = 0; skipped < 10 && cursor < r.size() && byteAt(r, cursor) != 0x05; ++skipped)
        ++cursor;
    // Without the marker the skipped bytes stay skipped: the cursor only ever moves on.
    if (byteAt(r, cursor) == 0x05 && cursor < r.size()) {
        ++cursor;
        fields[CardHolderSurname] = takeUntil({0x00, 0x05}, 36);
    }
    while (cursor < r.size() && byteAt(r, cursor) == 0x00)
        ++cursor;
    if (cursor < r.size() && byteAt(r, cursor) == 0x05) {
        ++cursor;
        fields[CardHolderFirstNames] = takeUntil({0x00, 0x05, 0x01, 0x02}, 36);
    }
    while (cursor < r.size() && byteAt(r, cursor) == 0x00)
        ++cursor;
    if (cursor < r.size())
        fields[CardType] = byteAt(r, cursor++) == 2 ? u"Мастерская"_s : u"Водитель"_s;
    if (cursor < r.size())
        fields[CardIssuingMemberState] = countryName(byteAt(r, cursor++));
    const auto takeText = [&](qsizetype most) {
        const qsizetype length = std::min(most, r.size() - cursor);
        const QString text = readCalibrationText(r, cursor, length).trimmed();
        cursor += std::max<qsizetype>(length, 0);
        return text;
    };
    fields[DriverCardNumber] = takeText(16);
    if (fits(r, cursor, 4)) {
        fields[CardExpiryDate] = vuBeTime(r, cursor, dateOnly);
        cursor += 4;
    }
    if (fits(r, cursor, 4)) {
        fields[CardInsertionDate] = vuBeTime(r, cursor, dateAndTime);
        cursor += 4;
    }
    if (fits(r, cursor, 3)) {
        fields[VehicleOdometerValueAtInsertion] = odometerAt(r, cursor);
        cursor += 3;
    }
    if (fits(r, cursor, 1)) {
        const int slot = byteAt(r, cursor++);
        fields[CardSlot] = slotName(slot);
        fields[CardSlotNumber] = slot;
    }
    if (fits(r, cursor, 4)) {
        fields[CardWithdrawalTime] = vuBeTime(r, cursor, dateAndTime);
        cursor += 4;
    }
    if (fits(r, cursor, 3)) {
        fields[VehicleOdometerValueAtWithdrawal] = odometerAt(r, cursor);
        cursor += 3;
    }
    if (cursor < r.size()) {
        if (byteAt(r, cursor) != 0x05)
            fields[PrevVehicleRegistrationNation] = countryName(byteAt(r, cursor++));
        else
            fields[PrevVehicleRegistrationNation] = QString();
    }
    fields[PrevVehicleRegistrationNumber] = takeText(14);
    if (fits(r, cursor, 4)) {
        fields[PrevCardWithdrawalTime] = vuBeTime(r, cursor, dateAndTime);
        cursor += 4;
    }
    if (cursor < r.size())
        fields[ManualInputFlag] = byteAt(r, cursor) == 1 ? u"Да"_s : u"Нет"_s;
    fields[DayNo] = dayNo;
    fields[BlockNumber] = dayNo;
    fields[RecordInBlock] = index;
    fields[HexData] = upperHex(r);

    std::map<QString, QVariant> row;
    for (int field = 0; field < CardInsertionFieldCount; ++field) {
        if (fields[field].isValid())
            row.emplace_hint(row.end(), cardInsertionKey(field), std::move(fields[field]));
    }
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

void parseActivityDay(DddReport& report, const DddBlock& block)
{
    const QByteArray& d = block.data;
    const qsizetype limit = dataLimit(d);
    const int dayNo = block.occurrence;
    qsizetype position = 2;
    if (fitsBefore(position, 7, limit)) {
        // vuTime gives a year of 2000 to 2100 or its failure text, so a valid reading is the test.
        const QString time = vuTime(d, position);
        if (vuDateTime(d, position).isValid()) {
            report.dayInformation.append({{u"dayNo"_s, dayNo},
                                          {u"timeReal"_s, time},
                                          {u"odometerValueMidnight"_s, odometerAt(d, position + 4)},
                                          {u"hexData"_s, hexText(d, position, 7)}});
        }
        position += 7;
    }
    if (position + 1 < limit && (byteAt(d, position) == 0x00 || byteAt(d, position) == 0x20)) {
        const int count = byteAt(d, position + 1);
        if (count <= 100 && fitsBefore(position, 2 + 129 * qsizetype(count), limit)) {
            position += 2;
            for (int index = 0; index < count; ++index) {
                const QByteArray record = d.mid(position, 129);
                report.cardIwData.append(cardInsertionRow(record, dayNo, index));
                position += 129;
            }
        }
    }
    // The count of changes is searched, not trusted; up to 120 changes are taken as a count.
    qsizetype found = -1;
    int changes = 0;
    for (qsizetype p = position; p + 1 < limit; ++p) {
        const int n = byteAt(d, p + 1);
        if (byteAt(d, p) == 0 && n >= 1 && n <= 120 && fitsBefore(p, 2 + 2 * qsizetype(n), limit)) {
            found = p;
            changes = n;
            break;
        }
    }
    if (found >= 0) {
        static const QStringList activities = {u"Перерыв/отдых"_s, u"Доступность"_s, u"Работа"_s,
                                               u"Вождение"_s};
        static const QStringList englishActivities = {u"Rest"_s, u"Availability"_s, u"Work"_s, u"Drive"_s};
        for (int index = 0; index < changes; ++index) {
            const quint8 b0 = byteAt(d, found + 2 + 2 * index);
            const quint8 b1 = byteAt(d, found + 3 + 2 * index);
            const int minutes = ((b0 & 0x07) << 8) | b1;
            if (minutes > 1439)
                continue;
            const int activity = (b0 >> 3) & 0x03;
            const bool notInserted = b0 & 0x20;
            const QString slot = (b0 & 0x80) ? u"Сопряжённый водитель"_s : u"Водитель"_s;
            const QString status = (b0 & 0x40) ? u"Экипаж"_s : u"Одиночный режим"_s;
            const QString time = formatMinutes(minutes);
            // Keys in ascending order, so that each row is built without searching.
            report.activityDaily.append(
                makeRow({{u"activity"_s, activities.at(activity)},
                         {u"cardStatus"_s, notInserted ? u"Не вставлена"_s : u"Вставлена"_s},
                         {u"day"_s, dayNo},
                         {u"dayNo"_s, dayNo},
                         {u"drivingStatus"_s, status},
                         {u"minutes"_s, minutes},
                         {u"slot"_s, slot},
                         {u"timeOfChange"_s, time}}));
            // The same row with the English texts that the analysis reads.
            report.activityChanges.append(
                makeRow({{u"activity"_s, englishActivities.at(activity)},
                         {u"activityDailyPresenceCounter1"_s, dayNo},
                         {u"cardStatus"_s, notInserted ? u"Not Inserted"_s : u"Inserted"_s},
                         {u"day"_s, dayNo},
                         {u"dayNo"_s, dayNo},
                         {u"drivingStatus"_s, status},
                         {u"minutes"_s, minutes},
                         {u"slot"_s, slot},
                         {u"time"_s, time},
                         {u"timeOfChange"_s, time}}));
        }
        position = found + 2 + 2 * changes;
    }
    // A place count of exactly 1 is stepped over; any other count byte is walked through in steps of 28.
    if (position < limit && byteAt(d, position) == 0x01)
        ++position;
    static const QRegularExpression control(u"[\\x{0}-\\x{1F}]"_s);
    for (; position + 27 < limit; position += 28) {
        const int cardType = byteAt(d, position);
        const QString cardNumber = readFixedText(d, position + 2, 16);
        const QString entryTime = vuTime(d, position + 18);
        if (cardNumber.size() <= 4 || control.match(cardNumber).hasMatch() ||
            entryTime.startsWith(u"01.01.0001"_s) || entryTime.startsWith(u"01.01.1970"_s) || cardType < 1 ||
            cardType > 5)
            continue;
        report.placeDailyWorkPeriod.append(
            {{u"dayNo"_s, dayNo},
             {u"cardType"_s, cardTypeName(cardType)},
             {u"cardIssuingMemberState"_s, countryName(byteAt(d, position + 1))},
             {u"driverCardNumber"_s, cardNumber},
             {u"entryTime"_s, entryTime},
             {u"entryTypeDailyWorkPeriod"_s, entryTypeName(byteAt(d, position + 22))},
             {u"dailyWorkPeriodCountry"_s, countryName(byteAt(d, position + 23))},
             {u"dailyWorkPeriodRegion"_s, regionName(byteAt(d, position + 24))},
             {u"vehicleOdometerValue"_s, odometerAt(d, position + 25)},
             {u"hexData"_s, hexText(d, position, 28)}});
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

QVariantMap calibrationRow(const QByteArray& d, qsizetype start, qsizetype end)
{
    qsizetype cursor = start + 1;
    const auto fitsHere = [&](qsizetype length) { return cursor + length <= end; };
    const int purpose = byteAt(d, start);
    QVariantMap row{{u"calibrationPurpose"_s, calibrationPurpose(purpose, false)},
                    {u"calibrationPurposeEnglish"_s, calibrationPurpose(purpose, true)}};
    while (cursor < end && byteAt(d, cursor) == 0xBE)
        ++cursor;
    for (const QString& key : {u"tachoriaName"_s, u"tachoriaAddress"_s}) {
        if (cursor < end && byteAt(d, cursor) == 0x05)
            ++cursor;
        if (fitsHere(35)) {
            row.insert(key, readCalibrationText(d, cursor, 35));
            cursor += 35;
        }
    }
    if (cursor < end && byteAt(d, cursor) == 2)
        ++cursor;
    if (fitsHere(17)) {
        QString number = readFixedText(d, cursor, 17);
        if (number.startsWith(QLatin1Char('+'))) // the nation byte 0x2B read as text
            number.remove(0, 1);
        row.insert(u"tachoriaCardNumber"_s, number);
        cursor += 17;
    }
    if (fitsHere(4)) {
        row.insert(u"tachoriaCardExpiryDate"_s, formatUnixCSharp(readBe32(d, cursor)));
        cursor += 4;
    }
    if (fitsHere(17)) {
        row.insert(u"vehicleIdentificationNumber"_s, readFixedText(d, cursor, 17));
        cursor += 17;
    }
    QString nation = u"Российская Федерация"_s;
    QString number = u"?????????????"_s;
    static const QRegularExpression questions(u"^\\?+$"_s);
    static const QRegularExpression plate(
        u"^[ABEKMHOPCTYXАВЕКМНОРСТУХ]\\d{3}[ABEKMHOPCTYXАВЕКМНОРСТУХ]{2}\\d{2,3}$"_s,
        QRegularExpression::CaseInsensitiveOption);
    while (fitsHere(15) && byteAt(d, cursor) == 0x2B) {
        const int codePage = byteAt(d, cursor + 1);
        const QString text = readCalibrationText(d, cursor + 2, 13).trimmed();
        cursor += 15;
        const bool usable = !text.isEmpty() && !questions.match(text).hasMatch();
        if (codePage == 1 && usable)
            number = text;
        else if (codePage == 5 && plate.match(text).hasMatch())
            number = text;
        else if (codePage == 5 && usable)
            nation = text; // a word under code page 5 that is no plate names the region
    }
    row.insert(u"vehicleRegistrationNation"_s, nation);
    row.insert(u"vehicleRegistrationNumber"_s, number);
    for (const QString& key :
         {u"wVehicleCharacteristicConstant"_s, u"kConstantOfRecordingEquipment"_s, u"iTyreCircumference"_s}) {
        if (fitsHere(2)) {
            row.insert(key, QString::number(readBe16(d, cursor)));
            cursor += 2;
        }
    }
    if (fitsHere(15)) {
        row.insert(u"tyreSize"_s, readFixedText(d, cursor, 15));
        cursor += 15;
    }
    if (fitsHere(2)) {
        row.insert(u"authorisedSpeed"_s, QString::number(readLe16(d, cursor)));
        cursor += 2;
    }
    QString oldOdometer = u"0"_s;
    if (fitsHere(2)) {
        oldOdometer = QString::number(readBe16(d, cursor));
        cursor += 2;
    }
    row.insert(u"oldOdometerValue"_s, oldOdometer);
    QString newOdometer = u"0"_s;
    if (fitsHere(2)) {
        if (byteAt(d, cursor) == 0 && fitsHere(3) && byteAt(d, cursor + 1) != 0 &&
            readBe16(d, cursor + 1) > 100)
            ++cursor; // a shifted field
        newOdometer = QString::number(readBe16(d, cursor));
        cursor += 2;
    }
    row.insert(u"newOdometerValue"_s, newOdometer);
    if (oldOdometer == u"0"_s && newOdometer == u"0"_s && fitsHere(5)) {
        const quint32 a = readBe32(d, cursor);
        const quint32 b = readBe32(d, cursor + 1);
        if ((a <= 0x98967F || a > 0x77359400) && b > 0x989680 && b <= 0x773593FF)
            ++cursor; // b looks like a time stamp and a does not
    }
    for (const QString& key : {u"oldTimeValue"_s, u"newTimeValue"_s, u"nextCalibrationDate"_s}) {
        QString value;
        if (fitsHere(4)) {
            value = formatUnixCSharp(readBe32(d, cursor));
            cursor += 4;
        }
        row.insert(key, value);
    }
    row.insert(u"hexData"_s, hexText(d, start, end - start));
    return row;
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
            {u"vuManufacturerName"_s, readCalibrationText(d, p + 1, 35)},
            {u"vuManufacturerAddress"_s, readCalibrationText(d, p + 37, 35)},
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
    // The count is not trusted: the first record is found by the legal form at the head of the firm's name.
    qsizetype first = -1;
    for (qsizetype p = position; p + 166 < limit; ++p) {
        const int purpose = byteAt(d, p);
        if (purpose >= 1 && purpose <= 5 && byteAt(d, p + 1) == 0x05 &&
            (byteAt(d, p + 2) == 0xBE || (byteAt(d, p + 2) == 0xB8 && byteAt(d, p + 3) == 0xBF))) {
            first = p;
            break;
        }
    }
    if (first < 0)
        return;
    for (qsizetype p = first; p < limit; p += 167) {
        const int purpose = byteAt(d, p);
        if (purpose == 0 || purpose > 5)
            break;
        report.calibrationData.append(calibrationRow(d, p, std::min(p + 167, limit)));
    }
}

// --- closing ----------------------------------------------------------------------------------------

QDateTime dayTime(const QVariantMap& row, const QString& key)
{
    return parseReportTime(row.value(key).toString());
}

// A stable sort by keys computed once per row.
template <typename Key, typename KeyOf>
void sortRowsBy(DatasetRows& rows, const KeyOf& keyOf)
{
    QList<std::pair<Key, qsizetype>> keys;
    keys.reserve(rows.size());
    for (qsizetype i = 0; i < rows.size(); ++i)
        keys.append({keyOf(rows.at(i)), i});
    std::stable_sort(keys.begin(), keys.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    DatasetRows sorted;
    sorted.reserve(rows.size());
    for (const auto& key : std::as_const(keys))
        sorted.append(rows.at(key.second));
    rows = std::move(sorted);
}

void closeTachographReport(DddReport& report)
{
    sortRowsBy<QDateTime>(report.dayInformation,
                          [](const QVariantMap& row) { return dayTime(row, u"timeReal"_s); });
    for (qsizetype i = 0; i < report.dayInformation.size(); ++i)
        report.dayInformation[i].insert(u"dayNo"_s, int(i + 1));

    const auto coDriver = [](const QVariantMap& row) {
        const QString slot = row.value(u"cardSlot"_s).toString();
        return slot.contains(u"сопряж"_s, Qt::CaseInsensitive) ||
               slot.contains(u"co-driver"_s, Qt::CaseInsensitive);
    };
    // By day, then by insertion time; at the same moment the co-driver's row comes first.
    using InsertionKey = std::tuple<int, QDateTime, int>;
    sortRowsBy<InsertionKey>(report.cardIwData, [&coDriver](const QVariantMap& row) {
        return InsertionKey{row.value(u"dayNo"_s).toInt(), dayTime(row, u"cardInsertionDate"_s),
                            coDriver(row) ? 0 : 1};
    });
    QSet<QString> seen;
    seen.reserve(report.cardIwData.size());
    DatasetRows unique;
    unique.reserve(report.cardIwData.size());
    static const QString uniqueKeys[] = {u"vehicleOdometerValueAtInsertion"_s, u"cardInsertionDate"_s,
                                         u"driverCardNumber"_s, u"cardHolderFirstNames"_s,
                                         u"cardHolderSurname"_s};
    for (QVariantMap& row : report.cardIwData) {
        QString key;
        key.reserve(96);
        for (const QString& name : uniqueKeys) {
            if (&name != uniqueKeys)
                key += QLatin1Char('|');
            key += row.value(name).toString();
        }
        if (!seen.contains(key)) {
            seen.insert(std::move(key));
            unique.append(std::move(row));
        }
    }
    report.cardIwData = std::move(unique); // moved, so that renumbering below copies no row
    int dayNo = 0;
    QDate lastDate;
    for (QVariantMap& row : report.cardIwData) {
        const QDate date = dayTime(row, u"cardInsertionDate"_s).date();
        if (dayNo == 0 || date != lastDate)
            ++dayNo;
        lastDate = date;
        row.insert(u"dayNo"_s, dayNo);
    }

    QDateTime earliest;
    QDateTime latest;
    const auto consider = [&](const DatasetRows& rows, const QString& key) {
        for (const QVariantMap& row : rows) {
            const QDateTime moment = parseReportTime(row.value(key).toString());
            if (!moment.isValid())
                continue;
            if (!earliest.isValid() || moment < earliest)
                earliest = moment;
            if (!latest.isValid() || moment > latest)
                latest = moment;
        }
    };
    consider(report.dayInformation, u"timeReal"_s);
    consider(report.tachoEvents, u"eventBeginTime"_s);
    consider(report.tachoEvents, u"eventEndTime"_s);
    consider(report.tachoFaults, u"faultBeginTime"_s);
    consider(report.tachoFaults, u"faultEndTime"_s);
    consider(report.calibrationData, u"oldTimeValue"_s);
    consider(report.calibrationData, u"newTimeValue"_s);
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
    // The sum of the midnight readings, not of their differences: that is what this figure means here.
    qint64 distance = 0;
    for (const QVariantMap& row : std::as_const(report.dayInformation))
        distance += std::max<qint64>(row.value(u"odometerValueMidnight"_s).toLongLong(), 0);
    report.totalDistanceKm = int(std::min<qint64>(distance, std::numeric_limits<int>::max()));

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
    for (const DddBlock& block : std::as_const(report.blocks)) {
        if (block.fileNumber == u"7601"_s && block.occurrence == 1)
            parseOverview(report, block.data);
        else if (block.fileNumber == u"7602"_s)
            parseActivityDay(report, block);
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
