// The elementary files of a driver card. Only whole records are read; a record that fails its test is
// skipped and the next one is still read.
#include "ddd/ddd_decoder.h"
#include "ddd/ddd_fields.h"

#include <QTimeZone>

#include <algorithm>
#include <tuple>

namespace tachoria::ddd {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype kMaxCardRecords = 1000;

QVariantMap described(const QString& description, const QVariant& value)
{
    return {{u"description"_s, description}, {u"value"_s, value}};
}

QString cardEventEnglish(int code)
{
    static const QHash<int, QString> names = {
        {0, u"General event - No further details"_s},
        {1, u"General event - Insertion of a non-valid card"_s},
        {2, u"General event - Card conflict"_s},
        {3, u"General event - Time overlap"_s},
        {4, u"General event - Driving without an appropriate card"_s},
        {5, u"General event - Card insertion while driving"_s},
        {6, u"General event - Last card session not correctly closed"_s},
        {7, u"General event - Over speeding"_s},
        {8, u"General event - Power supply interruption"_s},
        {9, u"General event - Motion data error"_s},
        {10, u"General event - Vehicle motion conflict"_s},
        {16, u"Vehicle unit related security breach attempt event - No further details"_s},
        {17, u"Vehicle unit related security breach attempt event - Motion sensor authentication failure"_s},
        {18,
         u"Vehicle unit related security breach attempt event - Tachograph card authentication failure"_s},
        {19, u"Vehicle unit related security breach attempt event - Unauthorised change of motion sensor"_s},
        {20, u"Vehicle unit related security breach attempt event - Card data input integrity error"_s},
        {21, u"Vehicle unit related security breach attempt event - Stored user data integrity error"_s},
        {22, u"Vehicle unit related security breach attempt event - Internal data transfer error"_s},
        {23, u"Vehicle unit related security breach attempt event - Unauthorised case opening"_s},
        {24, u"Vehicle unit related security breach attempt event - Hardware sabotage"_s},
        {32, u"Sensor related security breach attempt event - No further details"_s},
        {33, u"Sensor related security breach attempt event - Authentication failure"_s},
        {34, u"Sensor related security breach attempt event - Stored data integrity error"_s},
        {35, u"Sensor related security breach attempt event - Internal data transfer error"_s},
        {36, u"Sensor related security breach attempt event - Unauthorised case opening"_s},
        {37, u"Sensor related security breach attempt event - Hardware sabotage"_s},
    };
    if (names.contains(code))
        return names.value(code);
    if (code >= 128)
        return u"Manufacturer-specific event (0x%1)"_s.arg(hexCode(code)).toUpper();
    return u"Reserved for future use"_s;
}

QString cardEventTime(quint32 value)
{
    if (value == 0)
        return u"01.01.1970 00:00:00"_s;
    return QDateTime::fromSecsSinceEpoch(qint64(value), QTimeZone::utc()).toString(u"dd.MM.yyyy H:mm:ss"_s);
}

// An unused record of the events and faults files: no type and no time.
bool emptyRecord(const QByteArray& d, qsizetype p)
{
    return byteAt(d, p) == 0 && readBe32(d, p + 1) == 0 && readBe32(d, p + 5) == 0;
}

void parseEvents(DddReport& report, const QByteArray& d)
{
    for (qsizetype p = 0; fits(d, p, 24) && report.events.size() < kMaxCardRecords; p += 24) {
        if (emptyRecord(d, p))
            continue;
        const int type = byteAt(d, p);
        const quint32 begin = readBe32(d, p + 1);
        const quint32 end = readBe32(d, p + 5);
        report.events.append({{u"eventType"_s, eventName(type)},
                              {u"eventTypeEnglish"_s, cardEventEnglish(type)},
                              {u"eventBeginTime"_s, cardEventTime(begin)},
                              {u"eventEndTime"_s, cardEventTime(end)},
                              {u"vehicleRegistrationNation"_s, countryName(byteAt(d, p + 9))},
                              {u"vehicleRegistrationNumber"_s, readName(d, p + 10, 14)}});
    }
}

void parseFaults(DddReport& report, const QByteArray& d)
{
    for (qsizetype p = 0; fits(d, p, 24) && report.faults.size() < kMaxCardRecords; p += 24) {
        if (emptyRecord(d, p))
            continue;
        report.faults.append({{u"faultType"_s, faultName(byteAt(d, p))},
                              {u"faultBeginTime"_s, formatUnixCSharp(readBe32(d, p + 1))},
                              {u"faultEndTime"_s, formatUnixCSharp(readBe32(d, p + 5))},
                              {u"faultVehicleRegistrationNation"_s, countryName(byteAt(d, p + 9))},
                              {u"faultVehicleRegistrationNumber"_s, readName(d, p + 10, 14)}});
    }
}

QString presenceCounter(const QByteArray& d, qsizetype p)
{
    const quint8 high = byteAt(d, p);
    const quint8 low = byteAt(d, p + 1);
    if ((high & 0x0F) > 9 || (low & 0x0F) > 9)
        return hexText(d, p, 2);
    const int value = ((high >> 4) * 10 + (high & 0x0F)) * 100 + (low >> 4) * 10 + (low & 0x0F);
    return u"%1"_s.arg(value, 4, 10, QLatin1Char('0'));
}

// Daily records laid out one behind the other, from `p`, until one does not hold together.
void parseDailyRecords(DddReport& report, const QByteArray& d, qsizetype p, qsizetype minimumLength)
{
    static const QStringList activities = {u"Rest"_s, u"Availability"_s, u"Work"_s, u"Drive"_s};
    while (fits(d, p, 12)) {
        const int length = readBe16(d, p + 2);
        if (length < minimumLength || length % 2 != 0 || !fits(d, p, length))
            break;
        const QString date = formatUnix(readBe32(d, p + 4)).left(10);
        if (date.isEmpty())
            break;
        const QString counter = presenceCounter(d, p + 8);
        const int distance = readBe16(d, p + 10);
        report.totalDistanceKm += distance;
        report.activities.append({{u"activityPreviousRecordLength"_s, readBe16(d, p)},
                                  {u"activityRecordLength"_s, length},
                                  {u"activityRecordDate"_s, date},
                                  {u"activityDailyPresenceCounter"_s, counter},
                                  {u"activityDayDistance"_s, distance},
                                  {u"activityChangeCount"_s, (length - 12) / 2}});
        for (qsizetype c = p + 12; c + 1 < p + length; c += 2) {
            const quint8 b0 = byteAt(d, c);
            const int minutes = ((b0 & 0x07) << 8) | byteAt(d, c + 1);
            if (minutes > 1439)
                continue;
            const bool notInserted = b0 & 0x20;
            const int kind = (b0 >> 3) & 0x03;
            const QString activity = notInserted ? QString() : activities.at(kind);
            report.activityChanges.append(
                {{u"activityDailyPresenceCounter1"_s, counter},
                 {u"slot"_s, (b0 & 0x80) ? u"Co-Driver"_s : u"Driver"_s},
                 {u"drivingStatus"_s, notInserted ? u"Unknown"_s : ((b0 & 0x40) ? u"Crew"_s : u"Single"_s)},
                 {u"cardStatus"_s, notInserted ? u"Not Inserted"_s : u"Inserted"_s},
                 {u"activity"_s, activity},
                 {u"time"_s, formatMinutes(minutes)},
                 {u"day"_s, counter},
                 {u"minutes"_s, minutes}});
            report.charts.append({{u"day"_s, counter},
                                  {u"time"_s, minutes},
                                  {u"value"_s, notInserted ? 0 : kind},
                                  {u"activity"_s, activity.isEmpty() ? u"Unknown"_s : activity}});
        }
        p += length;
    }
}

// The ring of daily records unrolled: from the record the oldest pointer names, each record's length
// leads to the next, wrapping at the buffer's end, up to the record the newest pointer names. Empty when
// the pointers lead to no sound record.
QByteArray unrolledRing(const QByteArray& d)
{
    const QByteArray ring = d.mid(4);
    const qsizetype size = ring.size();
    const auto at = [&ring, size](qsizetype position, qsizetype length) {
        QByteArray bytes;
        bytes.reserve(length);
        for (qsizetype i = 0; i < length; ++i)
            bytes.append(ring.at((position + i) % size));
        return bytes;
    };
    QByteArray unrolled;
    qsizetype position = readBe16(d, 0);
    const qsizetype newest = readBe16(d, 2);
    if (size < 12 || position >= size || newest >= size)
        return {};
    while (unrolled.size() < size) {
        const QByteArray header = at(position, 8);
        const int length = readBe16(header, 2);
        if (length < 12 || length % 2 != 0 || length > size || formatUnix(readBe32(header, 4)).isEmpty())
            break;
        unrolled += at(position, length);
        if (position == newest)
            break;
        position = (position + length) % size;
    }
    return unrolled;
}

void parseActivities(DddReport& report, const QByteArray& d)
{
    const QByteArray unrolled = unrolledRing(d);
    if (!unrolled.isEmpty())
        parseDailyRecords(report, unrolled, 0, 12);
    else
        parseDailyRecords(report, d, 4, 14); // the forward walk, for a ring whose pointers lead nowhere
}

void parseVehicles(DddReport& report, const QByteArray& d)
{
    const auto odometer = [](quint32 value) -> QVariant {
        return value == 0xFFFFFF ? QVariant(u"НЕТ ДАННЫХ"_s) : QVariant(value);
    };
    const auto usedTime = [](quint32 value) {
        return (value == 0 || value == 0xFFFFFFFF) ? u"НЕТ ДАННЫХ"_s : formatUnix(value);
    };
    for (qsizetype p = 2; fits(d, p, 31); p += 31) {
        const quint32 begin = readBe24(d, p);
        const quint32 end = readBe24(d, p + 3);
        const quint32 firstUse = readBe32(d, p + 6);
        const quint32 lastUse = readBe32(d, p + 10);
        const auto unset = [](quint32 value) { return value == 0 || value == 0xFFFFFFFF; };
        const QString registration = readName(d, p + 15, 14);
        if (begin == 0 && end == 0 && unset(firstUse) && unset(lastUse) && registration.isEmpty())
            continue;
        report.vehicles.append({{u"vehicleOdometerBegin"_s, odometer(begin)},
                                {u"vehicleOdometerEnd"_s, odometer(end)},
                                {u"vehicleFirstUsed"_s, usedTime(firstUse)},
                                {u"vehicleLastUsed"_s, usedTime(lastUse)},
                                {u"vehicleRegistrationNation1"_s, countryName(byteAt(d, p + 14))},
                                {u"vehicleRegistrationNumber1"_s, registration},
                                {u"vuDataBlockCounter"_s, hexText(d, p + 29, 2)}});
    }
}

void parsePlaces(DddReport& report, const QByteArray& d)
{
    for (qsizetype p = 1; fits(d, p, 10); p += 10) {
        const QString time = formatUnix(readBe32(d, p));
        if (time.isEmpty())
            continue;
        const quint32 odometer = readBe24(d, p + 7);
        report.places.append({{u"entryTime"_s, time},
                              {u"entryTypeDailyWorkPeriod"_s, byteAt(d, p + 4) == 0 ? u"Begin"_s : u"End"_s},
                              {u"dailyWorkPeriodCountry"_s, countryName(byteAt(d, p + 5))},
                              {u"dailyWorkPeriodRegion"_s, u"Нет данных"_s},
                              {u"vehicleOdometerValue"_s,
                               odometer == 0xFFFFFF ? u"Нет данных"_s : QString::number(odometer)}});
    }
}

// --- single files -----------------------------------------------------------------------------------

void appendShortFileRow(DatasetRows& rows, const DddBlock& block, const QString& name)
{
    rows.append({{u"fileNumber"_s, block.fileNumber},
                 {u"name"_s, name},
                 {u"description"_s, block.name},
                 {u"length"_s, int(block.data.size())},
                 {u"decodedText"_s, Decoder::printableStrings(block.data).join(u" | "_s)},
                 {u"hexData"_s, upperHex(block.data)},
                 {u"fields"_s, QVariantList()}});
}

void parseIcc(DddReport& report, const DddBlock& block)
{
    const QByteArray& d = block.data;
    if (d.size() <= 24) {
        appendShortFileRow(report.cardIcc, block, u"ICC"_s);
        return;
    }
    QString approval;
    for (qsizetype i = 9; i <= 16; ++i) {
        const quint8 byte = byteAt(d, i);
        approval += (byte >= 32 && byte <= 126) ? QLatin1Char(char(byte))
                    : byte == 0xC0              ? QLatin1Char('A')
                                                : QLatin1Char('?');
    }
    report.cardIcc.append(described(u"clockstop"_s, hexCode(byteAt(d, 0))));
    report.cardIcc.append(described(u"serialNumber"_s, QString::number(readBe32(d, 1))));
    report.cardIcc.append(described(u"monthYear"_s, hexText(d, 5, 2)));
    report.cardIcc.append(described(u"type"_s, cardTypeName(byteAt(d, 7))));
    report.cardIcc.append(described(u"manufacturerCode"_s, byteAt(d, 8)));
    report.cardIcc.append(described(u"cardApprovalNumber"_s, approval));
    report.cardIcc.append(described(u"cardPersonaliserID"_s, hexCode(byteAt(d, 17))));
    report.cardIcc.append(described(u"embedderIcAssemblerID"_s, readFixedText(d, 18, 5)));
    report.cardIcc.append(described(u"icIdentifier"_s, hexText(d, 23, 2)));
}

void parseIc(DddReport& report, const DddBlock& block)
{
    if (block.data.size() <= 7) {
        appendShortFileRow(report.cardIc, block, u"IC"_s);
        return;
    }
    report.cardIc.append(described(u"icSerialNumber"_s, hexText(block.data, 0, 4)));
    report.cardIc.append(described(u"icManufacturingReferences"_s, hexText(block.data, 4, 4)));
}

void parseApplicationIdentification(DddReport& report, const QByteArray& d)
{
    DatasetRows& rows = report.applicationIdentification;
    if (d.isEmpty())
        return;
    rows.append(described(u"typeOfTachographCardID"_s, cardTypeName(byteAt(d, 0))));
    if (fits(d, 1, 2))
        rows.append(described(u"cardStructureVersion"_s, hexText(d, 1, 2)));
    if (fits(d, 3, 1))
        rows.append(described(u"noOfEventsPerType"_s, byteAt(d, 3)));
    if (fits(d, 4, 1))
        rows.append(described(u"noOfFaultsPerType"_s, byteAt(d, 4)));
    // The standard writes these big-endian, some cards little-endian. Only the well-known sizes of one
    // card type are trusted big-endian; the values are shown and drive nothing.
    if (fits(d, 5, 5)) {
        const bool wellKnown = readBe16(d, 5) == 13776 && readBe16(d, 7) == 200 && byteAt(d, 9) == 112;
        rows.append(described(u"activityStructureLength"_s, wellKnown ? readBe16(d, 5) : readLe16(d, 5)));
        rows.append(described(u"noOfCardVehicleRecords"_s, wellKnown ? readBe16(d, 7) : readLe16(d, 7)));
        rows.append(described(u"noOfCardPlaceRecords"_s, byteAt(d, 9)));
    }
}

QString russianDate(const QDate& date)
{
    static const QStringList months = {u"января"_s,   u"февраля"_s, u"марта"_s,  u"апреля"_s,
                                       u"мая"_s,      u"июня"_s,    u"июля"_s,   u"августа"_s,
                                       u"сентября"_s, u"октября"_s, u"ноября"_s, u"декабря"_s};
    if (!date.isValid())
        return QString();
    return u"%1 %2 %3 г."_s.arg(date.day()).arg(months.at(date.month() - 1)).arg(date.year());
}

// A time stamp of the identification as a calendar date in UTC; empty when the bytes hold none.
QString identificationDate(const QByteArray& d, qsizetype p)
{
    const quint32 value = readBe32(d, p);
    if (value == 0 || value == 0xFFFFFFFF)
        return QString();
    return russianDate(QDateTime::fromSecsSinceEpoch(qint64(value), QTimeZone::utc()).date());
}

// The file field by field at the standard's places; a field that the file does not hold whole is left out.
void parseIdentification(DddReport& report, const QByteArray& d)
{
    enum Kind
    {
        Nation,
        Number,
        Name,
        Date,
        BcdDate,
        Language
    };
    struct Field
    {
        const char16_t* key;
        qsizetype offset;
        qsizetype length;
        Kind kind;
        QString* target;
    };
    const Field fields[] = {{u"cardIssuingMemberState", 0, 1, Nation, nullptr},
                            {u"cardNumber", 1, 16, Number, &report.cardNumber},
                            {u"cardIssuingAuthorityName", 17, 36, Name, &report.issuingAuthorityName},
                            {u"cardIssueDate", 53, 4, Date, nullptr},
                            {u"cardValidityBegin", 57, 4, Date, nullptr},
                            {u"cardExpiryDate", 61, 4, Date, &report.expiryDate},
                            {u"cardHolderSurname", 65, 36, Name, &report.driverSurname},
                            {u"cardHolderFirstNames", 101, 36, Name, &report.driverFirstName},
                            {u"cardHolderBirthDate", 137, 4, BcdDate, &report.birthDate},
                            {u"cardHolderPreferredLanguage", 141, 2, Language, nullptr}};
    for (const Field& field : fields) {
        if (!fits(d, field.offset, field.length))
            break;
        QString value;
        switch (field.kind) {
        case Nation:
            value = countryName(byteAt(d, field.offset));
            break;
        case Number:
            value = readFixedText(d, field.offset, field.length);
            break;
        case Name:
            value = readName(d, field.offset, field.length);
            break;
        case Date:
            value = identificationDate(d, field.offset);
            break;
        case BcdDate:
            value = russianDate(readBcdDate(d, field.offset));
            break;
        case Language:
            value = printableText(d, field.offset, field.length).remove(u' ');
            break;
        }
        report.cardIdentification.append(described(QString::fromUtf16(field.key), value));
        if (field.target && field.target->isEmpty())
            *field.target = value;
    }
}

void parseDrivingLicence(DddReport& report, const DddBlock& block)
{
    const QByteArray& d = block.data;
    if (d.size() <= 52)
        return;
    const QString authority = readName(d, 0, 36);
    const QString nation = countryName(byteAt(d, 36));
    const QString number = readFixedText(d, 37, 16);
    const QList<std::tuple<QString, QString, qsizetype, qsizetype>> fields = {
        {u"drivingLicenceIssuingAuthority"_s, authority, 0, 36},
        {u"drivingLicenceIssuingNation"_s, nation, 36, 1},
        {u"drivingLicenceNumber"_s, number, 37, 16}};
    for (const auto& [description, value, offset, length] : fields) {
        report.drivingLicence.append({{u"fileNumber"_s, block.fileNumber},
                                      {u"description"_s, description},
                                      {u"value"_s, value},
                                      {u"decodedText"_s, value},
                                      {u"hexData"_s, hexText(d, offset, length)}});
        report.asn1Fields.append(described(description, value));
    }
    if (report.drivingLicenceIssuingAuthority.isEmpty())
        report.drivingLicenceIssuingAuthority = authority;
    if (report.drivingLicenceIssuingNation.isEmpty())
        report.drivingLicenceIssuingNation = nation;
    if (report.drivingLicenceNumber.isEmpty())
        report.drivingLicenceNumber = number;
}

void parseCardDownload(DddReport& report, const QByteArray& d)
{
    if (d.size() <= 3)
        return;
    const QString time = formatUnix(readBe32(d, 0));
    report.lastCardDownload = time;
    report.lastCardDownloadString = time;
    report.cardDownload.append(described(u"lastCardDownload"_s, time));
}

void parseCurrentUsage(DddReport& report, const QByteArray& d)
{
    if (fits(d, 0, 4)) {
        const quint32 open = readBe32(d, 0);
        report.currentUsage.append(
            described(u"sessionOpenTime"_s, open != 0 ? formatUnix(open) : u"Invalid timestamp"_s));
    }
    if (fits(d, 4, 1))
        report.currentUsage.append(described(u"vehicleRegistrationNation"_s, countryName(byteAt(d, 4))));
    if (fits(d, 5, 14))
        report.currentUsage.append(described(u"vehicleRegistrationNumber"_s, readName(d, 5, 14)));
}

QString controlTypeName(int type)
{
    static const QStringList names = {u"No Activity"_s, u"Control"_s, u"Surveillance"_s,
                                      u"Technical Control"_s, u"Company Control"_s};
    return type < names.size() ? names.at(type) : u"Unknown (0x%1)"_s.arg(hexCode(type));
}

// The standard writes these big-endian, some cards little-endian: a big-endian reading that is no moment
// between 2000 and now gives way to the little-endian one. Shown in the system's time zone.
QString controlTime(const QByteArray& d, qsizetype p, const QString& format)
{
    const auto moment = [](quint32 value) {
        const QDateTime local = QDateTime::fromSecsSinceEpoch(qint64(value), QTimeZone::systemTimeZone());
        const bool plausible = value != 0 && value != 0xFFFFFFFF && local.date().year() >= 2000 &&
                               qint64(value) <= QDateTime::currentSecsSinceEpoch() + 86400;
        return plausible ? local : QDateTime();
    };
    QDateTime time = moment(readBe32(d, p));
    if (!time.isValid())
        time = moment(readLe32(d, p));
    return time.isValid() ? time.toString(format) : QString();
}

void parseControlActivity(DddReport& report, const QByteArray& d)
{
    DatasetRows& rows = report.controlActivity;
    qsizetype cursor = 0;
    if (cursor >= d.size())
        return;
    rows.append(described(u"controlType"_s, controlTypeName(byteAt(d, cursor++))));
    if (!fits(d, cursor, 4))
        return;
    const QString time = controlTime(d, cursor, u"dd.MM.yyyy"_s);
    rows.append(described(u"controlTime"_s, time.isEmpty() ? u"01.01.1970"_s : time));
    cursor += 4;
    if (fits(d, cursor, 18)) {
        rows.append(described(u"cardType"_s, cardTypeName(byteAt(d, cursor))));
        rows.append(described(u"cardIssuingMemberState"_s, countryName(byteAt(d, cursor + 1))));
        rows.append(described(u"cardNumber"_s, readFixedText(d, cursor + 2, 16)));
        cursor += 18;
    }
    if (fits(d, cursor, 15)) {
        rows.append(described(u"vehicleRegistrationNation"_s, countryName(byteAt(d, cursor))));
        rows.append(described(u"vehicleRegistrationNumber"_s, readName(d, cursor + 1, 14)));
        cursor += 15;
    }
    for (const QString& key : {u"controlDownloadPeriodBegin"_s, u"controlDownloadPeriodEnd"_s}) {
        if (!fits(d, cursor, 4))
            break;
        rows.append(described(key, controlTime(d, cursor, u"dd.MM.yyyy H:mm:ss"_s)));
        cursor += 4;
    }
}

QString specificConditionName(int code)
{
    static const QStringList names = {
        u"Нет специального условия"_s,
        u"Выход за область применения — начало"_s,
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
    };
    return code < names.size() ? names.at(code) : u"Специальное условие 0x%1"_s.arg(hexCode(code));
}

// Stored three hours ahead of UTC by the units these files come from.
QString formatSpecificConditionTime(quint32 value)
{
    if (value == 0 || value == 0xFFFFFFFF)
        return QString();
    const QDateTime moment = QDateTime::fromSecsSinceEpoch(qint64(value), QTimeZone::utc());
    if (moment.date().year() < 2000 || moment.date().year() > 2100)
        return QString();
    return moment.addSecs(-10800).toString(u"dd.MM.yyyy HH:mm:ss"_s);
}

void parseSpecificConditions(DddReport& report, const QByteArray& d)
{
    for (qsizetype p = 0; fits(d, p, 5); p += 5) {
        const QString time = formatSpecificConditionTime(readBe32(d, p));
        if (time.isEmpty())
            continue;
        const int code = byteAt(d, p + 4);
        report.specificConditions.append({{u"entryTime"_s, time},
                                          {u"specificConditionType"_s, specificConditionName(code)},
                                          {u"conditionCode"_s, code},
                                          {u"hexData"_s, hexText(d, p, 5)}});
    }
}

} // namespace

void Decoder::parseDriverCardData(DddReport& report)
{
    for (const DddBlock& block : std::as_const(report.blocks)) {
        if (block.fileType != 0)
            continue;
        if (block.fileNumber == u"0502"_s)
            parseEvents(report, block.data);
        else if (block.fileNumber == u"0503"_s)
            parseFaults(report, block.data);
        else if (block.fileNumber == u"0504"_s && block.data.size() >= 4)
            parseActivities(report, block.data);
        else if (block.fileNumber == u"0505"_s)
            parseVehicles(report, block.data);
        else if (block.fileNumber == u"0506"_s)
            parsePlaces(report, block.data);
    }
    // By day, then by minutes; the keys once per row, not in every comparison.
    QList<std::tuple<int, int, qsizetype>> order;
    order.reserve(report.activityChanges.size());
    for (qsizetype row = 0; row < report.activityChanges.size(); ++row)
        order.append({report.activityChanges.value(row, u"day").toInt(),
                      report.activityChanges.value(row, u"minutes").toInt(), row});
    std::stable_sort(order.begin(), order.end());
    QList<qsizetype> rows;
    rows.reserve(order.size());
    for (const auto& entry : std::as_const(order))
        rows.append(std::get<2>(entry));
    report.activityChanges.reorder(rows);
    for (const DddBlock& block : std::as_const(report.blocks)) {
        if (block.fileType != 0)
            continue;
        const QString& tag = block.fileNumber;
        if (tag == u"0002"_s)
            parseIcc(report, block);
        else if (tag == u"0005"_s)
            parseIc(report, block);
        else if (tag == u"0501"_s)
            parseApplicationIdentification(report, block.data);
        else if (tag == u"0521"_s)
            parseDrivingLicence(report, block);
        else if (tag == u"050E"_s)
            parseCardDownload(report, block.data);
        else if (tag == u"0520"_s)
            parseIdentification(report, block.data);
        else if (tag == u"0507"_s)
            parseCurrentUsage(report, block.data);
        else if (tag == u"0508"_s)
            parseControlActivity(report, block.data);
        else if (tag == u"0522"_s)
            parseSpecificConditions(report, block.data);
    }
    if (report.driverName.isEmpty())
        report.driverName = u"%1 %2"_s.arg(report.driverSurname, report.driverFirstName).trimmed();
}

} // namespace tachoria::ddd
