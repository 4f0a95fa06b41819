#include "tools/dddgen/ddd_generator.h"

#include <QTimeZone>

#include <algorithm>
#include <iconv.h>

namespace tachoria::dddgen {

using namespace Qt::StringLiterals;

namespace {

class Writer
{
public:
    QByteArray bytes;

    void u8(int value) { bytes.append(char(value & 0xFF)); }
    void be16(int value)
    {
        u8(value >> 8);
        u8(value);
    }
    void le16(int value)
    {
        u8(value);
        u8(value >> 8);
    }
    void be24(quint32 value)
    {
        u8(int(value >> 16));
        u8(int(value >> 8));
        u8(int(value));
    }
    void be32(quint32 value)
    {
        be24(value >> 8);
        u8(int(value));
    }
    void time(const QDateTime& moment) { be32(moment.isValid() ? quint32(moment.toSecsSinceEpoch()) : 0); }
    void date(const QDate& day) { time(day.startOfDay(QTimeZone::utc())); }
    void fill(int count, int value) { bytes.append(QByteArray(count, char(value))); }
    void latin(const QString& text, int length, char pad = ' ')
    {
        QByteArray raw = text.toLatin1().left(length);
        raw.append(QByteArray(length - raw.size(), pad));
        bytes.append(raw);
    }
    // A name of the standard: code page, then the text.
    void name(const QString& text, int length, int codePage = 5)
    {
        u8(codePage);
        bytes.append(encodeCodePage(text, codePage, length - 1));
    }
    // A date of the standard's BCD form: century and year, month, day.
    void bcdDate(const QDate& day)
    {
        for (const int value : {day.year() / 100, day.year() % 100, day.month(), day.day()})
            u8(day.isValid() ? ((value / 10) << 4 | (value % 10)) : 0);
    }
    void fullCardNumber(int type, int nation, const QString& number)
    {
        u8(type);
        u8(nation);
        latin(number, 16);
    }
};

int bcd(int value)
{
    return ((value / 10) % 10) << 4 | (value % 10);
}

int changeWord(const ActivityChange& change)
{
    return (change.coDriver ? 0x8000 : 0) | (change.crew ? 0x4000 : 0) | (change.cardInserted ? 0 : 0x2000) |
           ((change.activity & 0x03) << 11) | (change.minutes & 0x7FF);
}

void cardFile(Writer& out, const DriverCardDescription& description, int tag, const QByteArray& payload)
{
    if (description.junkBetweenBlocks > 0 && !out.bytes.isEmpty() &&
        (description.junkBefore.isEmpty() || description.junkBefore.contains(tag)))
        out.fill(description.junkBetweenBlocks, 0xFF);
    out.be16(tag);
    out.u8(0);
    out.be16(int(payload.size()));
    out.bytes.append(payload);
    if (description.signatures && (tag & 0xFF00) == 0x0500) {
        out.be16(tag);
        out.u8(1);
        out.be16(128);
        out.fill(128, 0x5A);
    }
}

QByteArray cardEvents(const QList<Event>& events, bool truncated)
{
    Writer out;
    for (const Event& event : events) {
        out.u8(event.type);
        out.time(event.begin);
        out.time(event.end);
        out.u8(event.nation);
        out.name(event.registration, 14, 1);
    }
    out.fill(24 * 2, 0); // unused records of the file
    if (truncated)
        out.fill(11, 0x07);
    return out.bytes;
}

// The daily records in a ring of `ringSize` bytes (at least what they need), the oldest at `ringStart`:
// records run on over the ring's end to its start.
QByteArray cardActivities(const QList<Day>& days, qsizetype ringSize, qsizetype ringStart)
{
    Writer records;
    int previous = 0;
    for (qsizetype index = 0; index < days.size(); ++index) {
        const Day& day = days.at(index);
        const int length = 12 + 2 * int(day.changes.size());
        records.be16(previous);
        records.be16(length);
        records.date(day.date);
        const int counter = int(index + 1);
        records.u8(bcd(counter / 100));
        records.u8(bcd(counter % 100));
        records.be16(day.distanceKm);
        for (const ActivityChange& change : day.changes)
            records.be16(changeWord(change));
        previous = length;
    }
    Writer out;
    const qsizetype size = std::max(ringSize, records.bytes.size());
    if (size == 0) {
        out.fill(4, 0); // no day: both pointers 0
        return out.bytes;
    }
    QByteArray ring(size, '\0');
    for (qsizetype i = 0; i < records.bytes.size(); ++i)
        ring[(ringStart + i) % size] = records.bytes.at(i);
    out.be16(int(ringStart % size));                                     // oldest record
    out.be16(int((ringStart + records.bytes.size() - previous) % size)); // newest record
    out.bytes.append(ring);
    return out.bytes;
}

} // namespace

QByteArray encodeCyrillic(const QString& text, int length, char fill)
{
    QByteArray out;
    for (const QChar c : text) {
        if (out.size() >= length)
            break;
        const char16_t code = c.unicode();
        if (code < 128)
            out.append(char(code));
        else if (code == 0x0401)
            out.append(char(0xA1));
        else if (code >= 0x0410 && code <= 0x044F)
            out.append(char(code - 864));
        else
            out.append('?');
    }
    out.append(QByteArray(length - out.size(), fill));
    return out;
}

QByteArray encodeCodePage(const QString& text, int codePage, int length)
{
    // The C library's own tables, one character at a time, so that one it cannot write becomes "?".
    QByteArray out;
    const iconv_t converter = iconv_open(("ISO-8859-" + QByteArray::number(codePage)).constData(), "UTF-8");
    for (qsizetype i = 0; i < text.size() && out.size() < length; ++i) {
        QByteArray character = text.mid(i, text.at(i).isHighSurrogate() ? 2 : 1).toUtf8();
        char written = '?';
        char* input = character.data();
        size_t inputLeft = size_t(character.size());
        char* output = &written;
        size_t outputLeft = 1;
        if (converter == iconv_t(-1) ||
            iconv(converter, &input, &inputLeft, &output, &outputLeft) == size_t(-1))
            written = '?';
        out.append(written);
    }
    if (converter != iconv_t(-1))
        iconv_close(converter);
    out.append(QByteArray(length - out.size(), ' '));
    return out;
}

QString decodeCyrillic(const QByteArray& bytes)
{
    QString text;
    for (const char raw : bytes) {
        const auto byte = static_cast<quint8>(raw);
        if (byte >= 0xB0 && byte <= 0xEF)
            text += QChar(byte + 864);
        else if (byte == 0xA1)
            text += QChar(0x0401);
        else if (byte >= 0x20 && byte < 0x7F)
            text += QLatin1Char(static_cast<char>(byte));
    }
    return text.trimmed();
}

QByteArray writeDriverCard(const DriverCardDescription& d)
{
    Writer out;
    {
        Writer icc;
        icc.u8(0x25);
        icc.be32(12345678);
        icc.u8(0x03);
        icc.u8(0x24);
        icc.u8(1);
        icc.u8(0x80);
        icc.latin(u"E1-00042"_s, 8);
        icc.u8(0x1F);
        icc.latin(u"EMB01"_s, 5);
        icc.be16(0xA5C3);
        cardFile(out, d, 0x0002, icc.bytes);
    }
    cardFile(out, d, 0x0005, QByteArray::fromHex("0102030411121314"));
    {
        Writer application;
        application.u8(1);
        application.be16(0x0100);
        application.u8(12);
        application.u8(24);
        if (d.littleEndianCounts) {
            application.le16(13776);
            application.le16(200);
        } else {
            application.be16(13776);
            application.be16(200);
        }
        application.u8(112);
        cardFile(out, d, 0x0501, application.bytes);
    }
    {
        Writer identification;
        identification.u8(d.nation);
        identification.latin(d.cardNumber, 16);
        identification.name(d.issuingAuthority, 36, d.nameCodePage);
        identification.date(d.issueDate);
        identification.date(d.validityBegin);
        identification.date(d.expiryDate);
        identification.name(d.surname, 36, d.nameCodePage);
        identification.name(d.firstNames, 36, d.nameCodePage);
        identification.u8(bcd(d.birthDate.year() / 100));
        identification.u8(bcd(d.birthDate.year() % 100));
        identification.u8(bcd(d.birthDate.month()));
        identification.u8(bcd(d.birthDate.day()));
        identification.latin(d.language, 2);
        cardFile(out, d, 0x0520, identification.bytes);
    }
    {
        Writer licence;
        licence.name(d.licenceAuthority, 36);
        licence.u8(d.licenceNation);
        licence.latin(d.licenceNumber, 16);
        cardFile(out, d, 0x0521, licence.bytes);
    }
    cardFile(out, d, 0x0502, cardEvents(d.events, d.truncatedRecords));
    cardFile(out, d, 0x0503, cardEvents(d.faults, d.truncatedRecords));
    const qsizetype perFile =
        d.daysPerActivityFile > 0 ? d.daysPerActivityFile : std::max<qsizetype>(d.days.size(), 1);
    for (qsizetype first = 0; first == 0 || first < d.days.size(); first += perFile)
        cardFile(out, d, 0x0504,
                 cardActivities(d.days.mid(first, perFile), d.activityRingSize, d.activityRingStart));
    {
        Writer vehicles;
        vehicles.be16(int(d.vehicles.size()) - 1);
        for (const Vehicle& vehicle : d.vehicles) {
            vehicles.be24(vehicle.odometerBegin);
            vehicles.be24(vehicle.odometerEnd);
            vehicles.time(vehicle.firstUse);
            vehicles.time(vehicle.lastUse);
            vehicles.u8(vehicle.nation);
            vehicles.name(vehicle.registration, 14, 1);
            vehicles.be16(vehicle.blockCounter);
        }
        vehicles.fill(31, 0); // an unused record
        cardFile(out, d, 0x0505, vehicles.bytes);
    }
    {
        Writer places;
        places.u8(int(d.places.size()) - 1);
        for (const Place& place : d.places) {
            places.time(place.time);
            places.u8(place.entryType);
            places.u8(place.country);
            places.u8(0);
            places.be24(place.odometer);
        }
        cardFile(out, d, 0x0506, places.bytes);
    }
    {
        Writer usage;
        usage.time(d.sessionOpen);
        usage.u8(d.nation);
        usage.name(d.currentRegistration, 14, 1);
        cardFile(out, d, 0x0507, usage.bytes);
    }
    {
        const CardControl& record = d.control;
        const auto littleEndianTime = [](Writer& writer, const QDateTime& moment) {
            const quint32 value = moment.isValid() ? quint32(moment.toSecsSinceEpoch()) : 0;
            writer.le16(int(value & 0xFFFF));
            writer.le16(int(value >> 16));
        };
        Writer control;
        control.u8(record.type);
        littleEndianTime(control, record.time);
        control.u8(record.cardType);
        control.u8(record.cardNation);
        control.latin(record.cardNumber, 16, '\0');
        control.u8(record.vehicleNation);
        if (record.registration.isEmpty())
            control.fill(14, 0);
        else
            control.name(record.registration, 14, 1);
        littleEndianTime(control, record.periodBegin);
        littleEndianTime(control, record.periodEnd);
        cardFile(out, d, 0x0508, control.bytes);
    }
    {
        Writer conditions;
        for (const SpecificCondition& condition : d.conditions) {
            conditions.time(condition.storedTime);
            conditions.u8(condition.code);
        }
        cardFile(out, d, 0x0522, conditions.bytes);
    }
    {
        Writer download;
        download.time(d.lastDownload);
        cardFile(out, d, 0x050E, download.bytes);
    }
    return out.bytes;
}

namespace {

void signature(Writer& out)
{
    out.fill(128, 0x5A);
}

void overview(Writer& out, const VehicleUnitDescription& d)
{
    out.be16(0x7601);
    out.fill(194, 0x11); // member-state certificate
    out.fill(194, 0x22); // unit certificate
    out.latin(d.vin, 17);
    out.u8(d.nation);
    out.name(d.registration, 14, 1);
    out.time(d.currentTime);
    out.time(d.downloadableFrom);
    out.time(d.downloadableTo);
    out.u8((d.coDriverSlot << 4) | d.driverSlot);
    out.time(d.downloadTime);
    out.fullCardNumber(1, d.nation, d.downloadCardNumber);
    out.name(d.downloadCompany, 36);
    out.u8(1); // one company lock
    out.fill(98, 0x33);
    out.u8(0); // no controls
    signature(out);
}

// One day as the unit hands it out, with its signature; behind the block's tag only when `tagged`.
void activityDay(Writer& out, const Day& day, bool tagged = true)
{
    if (tagged)
        out.be16(0x7602);
    out.date(day.date);
    out.be24(day.odometerMidnight);
    out.be16(int(day.insertions.size()));
    for (const CardInsertion& card : day.insertions) {
        out.name(card.surname, 36, card.nameCodePage);
        out.name(card.firstNames, 36, card.nameCodePage);
        out.fullCardNumber(1, card.nation, card.cardNumber);
        out.bcdDate(card.expiry);
        out.time(card.inserted);
        out.be24(card.odometerIn);
        out.u8(card.slot);
        out.time(card.withdrawn);
        out.be24(card.odometerOut);
        out.u8(card.nation);
        out.name(QString(), 14, 1);
        out.time(QDateTime());
        out.u8(card.manualInput ? 1 : 0);
    }
    out.be16(int(day.changes.size()));
    for (const ActivityChange& change : day.changes)
        out.be16(changeWord(change));
    out.u8(int(day.places.size()));
    for (const VuPlace& place : day.places) {
        out.fullCardNumber(1, 0x2B, place.cardNumber);
        out.time(place.time);
        out.u8(place.entryType);
        out.u8(place.country);
        out.u8(place.region);
        out.be24(place.odometer);
    }
    out.be16(0); // no specific conditions
    signature(out);
}

void eventRecord(Writer& out, const Event& event)
{
    out.u8(event.type);
    out.u8(event.purpose);
    out.time(event.begin);
    out.time(event.end);
    out.fullCardNumber(1, 0x2B, event.cardNumber);
    for (int slot = 0; slot < 3; ++slot)
        out.fill(18, 0);
}

void eventsAndFaults(Writer& out, const VehicleUnitDescription& d)
{
    out.be16(0x7603);
    out.u8(int(d.faults.size()));
    for (const Event& fault : d.faults)
        eventRecord(out, fault);
    out.u8(int(d.events.size()));
    for (const Event& event : d.events) {
        eventRecord(out, event);
        out.u8(event.similarEvents);
    }
    out.time(d.lastOverspeedControl);
    out.time(d.firstOverspeedSince);
    out.u8(d.overspeedCount);
    // The unit writes the speeds with two bytes each, and a 17-byte card number.
    out.u8(int(d.overSpeeding.size()));
    for (const OverSpeeding& record : d.overSpeeding) {
        out.u8(record.type);
        out.u8(record.purpose);
        out.time(record.begin);
        out.time(record.end);
        out.be16(record.maxSpeed);
        out.be16(record.averageSpeed);
        out.latin(record.cardNumber, 17);
    }
    out.u8(int(d.timeAdjustments.size()));
    for (const TimeAdjustment& record : d.timeAdjustments) {
        out.time(record.oldTime);
        out.time(record.newTime);
        out.name(record.workshopName, 36);
        out.name(record.workshopAddress, 36);
        out.fullCardNumber(2, 0x2B, record.cardNumber);
    }
    signature(out);
}

void detailedSpeed(Writer& out, const VehicleUnitDescription& d)
{
    out.be16(0x7604);
    out.be16(int(d.speed.size()));
    for (const SpeedBlock& block : d.speed) {
        out.time(block.begin);
        for (int second = 0; second < 60; ++second)
            out.u8(second < block.speeds.size() ? block.speeds.at(second) : 0xFF);
    }
    signature(out);
}

void technicalData(Writer& out, const VehicleUnitDescription& d)
{
    out.be16(0x7605);
    out.name(d.manufacturerName, 36);
    out.name(d.manufacturerAddress, 36);
    out.latin(d.partNumber, 16);
    out.be32(d.serialNumber);
    out.u8(0x12); // December 2023, BCD
    out.u8(0x23);
    out.u8(6);
    out.u8(0x42);
    out.latin(d.softwareVersion, 4);
    out.time(d.softwareInstalled);
    out.time(d.manufactured);
    out.latin(d.approvalNumber, 8);
    out.be32(d.sensorSerial);
    out.u8(0x05);
    out.u8(0x23);
    out.u8(1);
    out.u8(0x17);
    out.latin(d.sensorApproval, 8);
    out.time(d.sensorPairing);
    out.u8(int(d.calibrations.size()));
    for (const Calibration& c : d.calibrations) {
        const qsizetype start = out.bytes.size();
        out.u8(c.purpose);
        out.name(c.workshopName, 36);
        out.name(c.workshopAddress, 36);
        out.u8(2);
        out.u8(0x2B);
        out.latin(c.cardNumber, 16);
        out.bcdDate(c.cardExpiry.date());
        out.latin(c.vin, 17);
        out.u8(0x2B);
        out.name(c.registration, 14, c.registrationCodePage);
        out.be16(c.w);
        out.be16(c.k);
        out.be16(c.l);
        out.latin(c.tyreSize, 15);
        out.le16(c.authorisedSpeed); // two bytes, low first, in this unit
        out.be16(c.oldOdometer);
        out.u8(0); // the new odometer sits one byte later
        out.be16(c.newOdometer);
        out.time(c.oldTime);
        out.time(c.newTime);
        out.time(c.nextCalibration);
        Q_ASSERT(out.bytes.size() - start == 167);
    }
    signature(out);
}

} // namespace

QByteArray writeVehicleUnit(const VehicleUnitDescription& d)
{
    Writer out;
    overview(out, d);
    const qsizetype perBlock = std::max(d.daysPerActivityBlock, 1);
    for (qsizetype index = 0; index < d.days.size(); ++index)
        activityDay(out, d.days.at(index), index % perBlock == 0);
    eventsAndFaults(out, d);
    detailedSpeed(out, d);
    technicalData(out, d);
    return out.bytes;
}

QByteArray vehicleUnitBlock(const VehicleUnitDescription& d, int type, const QDate& day)
{
    Writer out;
    switch (type) {
    case 0x01:
        overview(out, d);
        break;
    case 0x02: {
        const auto found = std::find_if(d.days.cbegin(), d.days.cend(),
                                        [&day](const Day& each) { return each.date == day; });
        if (found != d.days.cend()) {
            activityDay(out, *found);
        } else {
            // A day the unit was parked: its header, the odometer it stood at, and rest all day.
            Day parked;
            parked.date = day;
            const auto before = std::find_if(d.days.crbegin(), d.days.crend(),
                                             [&day](const Day& each) { return each.date < day; });
            if (before != d.days.crend())
                parked.odometerMidnight = before->odometerMidnight;
            parked.changes = {{0, Rest, false}};
            activityDay(out, parked);
        }
        break;
    }
    case 0x03:
        eventsAndFaults(out, d);
        break;
    case 0x04:
        detailedSpeed(out, d);
        break;
    case 0x05:
        technicalData(out, d);
        break;
    default:
        return {};
    }
    return out.bytes.mid(2);
}

namespace {

QByteArray berLength(qsizetype length)
{
    if (length < 0x80)
        return QByteArray(1, char(length));
    QByteArray bytes;
    for (qsizetype rest = length; rest > 0; rest >>= 8)
        bytes.prepend(char(rest & 0xFF));
    return char(0x80 | bytes.size()) + bytes;
}

QByteArray ber(int identifier, const QByteArray& value)
{
    return char(identifier) + berLength(value.size()) + value;
}

QByteArray explicitContext(int tag, const QByteArray& inner)
{
    return ber(0xA0 | tag, inner);
}

QByteArray printable(const QString& text)
{
    return ber(0x13, text.toLatin1());
}

QByteArray timeStamp(const QDateTime& moment)
{
    Writer out;
    out.time(moment);
    return ber(0x04, out.bytes);
}

} // namespace

QByteArray writeExtendedVehicleUnit(const ExtendedVehicleUnitDescription& d)
{
    QByteArray fields;
    fields += explicitContext(1, ber(0x02, QByteArray(1, char(d.version))));
    fields += explicitContext(2, printable(d.vin));
    fields += explicitContext(3, printable(d.registration));
    fields += explicitContext(4, timeStamp(d.firstUse));
    fields += explicitContext(5, printable(d.surname));
    fields += explicitContext(6, printable(d.firstName));
    fields += explicitContext(7, printable(d.cardNumber));
    fields += explicitContext(8, timeStamp(d.dataStart));
    fields += explicitContext(9, timeStamp(d.dataEnd));
    QByteArray bytes = QByteArray::fromHex("7681") + ber(0x30, fields);
    bytes += QByteArray::fromHex("7684") + QByteArray(d.extendedBytes, char(0x44));
    for (int record = 0; record < d.records; ++record) {
        const int size = record + 1 == d.records ? d.lastRecordBytes : 254;
        QByteArray payload = QByteArray::fromHex("7685") + QByteArray(254 - 2, char(0x55));
        bytes += payload.left(size);
    }
    return bytes;
}

DriverCardDescription sampleDriverCard(int days, const QDate& firstDay)
{
    DriverCardDescription d;
    d.cardNumber = u"RUD0000012345670"_s;
    d.surname = u"ИВАНОВ"_s;
    d.firstNames = u"ПЕТР СЕРГЕЕВИЧ"_s;
    d.issuingAuthority = u"ФБУ РОСАВТОТРАНС"_s;
    d.issueDate = QDate(2022, 5, 17);
    d.validityBegin = QDate(2022, 5, 18);
    d.expiryDate = QDate(2027, 5, 17);
    d.birthDate = QDate(1979, 8, 23);
    d.licenceAuthority = u"GIBDD 7701"_s;
    d.licenceNumber = u"7712345678"_s;
    d.lastDownload = firstDay.addDays(days).startOfDay(QTimeZone::utc()).addSecs(9 * 3600 + 15 * 60);
    d.sessionOpen = d.lastDownload.addSecs(-3600);
    d.currentRegistration = u"A123BC77"_s;
    for (int index = 0; index < days; ++index) {
        Day day;
        day.date = firstDay.addDays(index);
        day.distanceKm = 400 + index;
        // Rest until 6:00, work 30 min, drive 4:00, break 45 min, drive 3:30, work 20 min, rest.
        day.changes = {{0, Rest, false}, {360, Work}, {390, Driving},    {630, Rest},
                       {675, Driving},   {885, Work}, {905, Rest, false}};
        d.days.append(day);
    }
    const QDateTime first = firstDay.startOfDay(QTimeZone::utc());
    d.vehicles = {{120000, 124000, first.addSecs(6 * 3600), first.addDays(days / 2).addSecs(15 * 3600), 0x2B,
                   u"A123BC77"_s, 1},
                  {88000, 91000, first.addDays(days / 2 + 1).addSecs(6 * 3600),
                   first.addDays(days).addSecs(-3600), 0x2B, u"K456MO99"_s, 2}};
    d.places = {{first.addSecs(6 * 3600), 0, 0x2B, 120000},
                {first.addSecs(15 * 3600 + 5 * 60), 1, 0x2B, 120420}};
    d.events = {{5, 0, first.addSecs(8 * 3600), first.addSecs(8 * 3600 + 60), 0x2B, u"A123BC77"_s, {}, 0},
                {7,
                 0,
                 first.addDays(1).addSecs(10 * 3600),
                 first.addDays(1).addSecs(10 * 3600 + 120),
                 0x2B,
                 u"A123BC77"_s,
                 {},
                 0}};
    // Times whose lowest byte is small, so that no little-endian reading of them is plausible too.
    d.faults = {{64,
                 0,
                 first.addDays(2).addSecs(7 * 3600 + 144),
                 first.addDays(2).addSecs(7 * 3600 + 150),
                 0x2B,
                 u"A123BC77"_s,
                 {},
                 0}};
    d.conditions = {{first.addSecs(12 * 3600), 3}, {first.addSecs(13 * 3600 + 30 * 60), 4}};
    return d;
}

VehicleUnitDescription sampleVehicleUnit(int days, const QDate& firstDay)
{
    VehicleUnitDescription d;
    const QDateTime first = firstDay.startOfDay(QTimeZone::utc());
    d.vin = u"XTA210990Y1234567"_s;
    d.registration = u"A123BC77"_s;
    d.currentTime = first.addDays(days).addSecs(10 * 3600);
    d.downloadableFrom = first;
    d.downloadableTo = d.currentTime;
    d.downloadTime = d.currentTime;
    d.downloadCardNumber = u"RUD0000012345670"_s;
    d.downloadCompany = u"ООО ТРАНСЛОГИСТИК"_s;
    for (int index = 0; index < days; ++index) {
        Day day;
        day.date = firstDay.addDays(index);
        day.odometerMidnight = 120000 + quint32(index) * 500;
        day.changes = {{0, Rest, false}, {360, Work}, {390, Driving},    {630, Rest},
                       {675, Driving},   {885, Work}, {905, Rest, false}};
        const QDateTime midnight = day.date.startOfDay(QTimeZone::utc());
        day.insertions = {{u"ИВАНОВ"_s, u"ПЕТР"_s, u"RUD0000012345670"_s, 0x2B, QDate(2027, 5, 17),
                           midnight.addSecs(6 * 3600), midnight.addSecs(15 * 3600 + 5 * 60),
                           day.odometerMidnight, day.odometerMidnight + 420, 0, false}};
        day.places = {
            {u"RUD0000012345670"_s, midnight.addSecs(6 * 3600), 0, 0x2B, 0x2B, day.odometerMidnight}};
        d.days.append(day);
    }
    d.faults = {
        {52, 0, first.addSecs(5 * 3600), first.addSecs(5 * 3600 + 600), 0x2B, {}, u"RUD0000012345670"_s, 0}};
    d.events = {{8,
                 1,
                 first.addDays(1).addSecs(3 * 3600),
                 first.addDays(1).addSecs(3 * 3600 + 300),
                 0x2B,
                 {},
                 u"RUD0000012345670"_s,
                 2}};
    d.lastOverspeedControl = first.addDays(days - 1);
    d.firstOverspeedSince = first.addDays(1).addSecs(11 * 3600);
    d.overspeedCount = 1;
    d.overSpeeding = {{7, 1, first.addDays(1).addSecs(11 * 3600), first.addDays(1).addSecs(11 * 3600 + 90),
                       112, 97, u"RUD0000012345670"_s}};
    d.timeAdjustments = {{first.addSecs(4 * 3600), first.addSecs(4 * 3600 + 120), u"ООО ТАХОСЕРВИС"_s,
                          u"МОСКВА"_s, u"RUW0000000000042"_s}};
    for (int index = 0; index < 3; ++index) {
        SpeedBlock block;
        block.begin = first.addSecs(7 * 3600 + index * 60);
        for (int second = 0; second < 60; ++second)
            block.speeds.append(second == 59 ? 0xFF : 60 + index * 10 + second % 5);
        d.speed.append(block);
    }
    d.manufacturerName = u"ООО ТАХОРИЯ"_s;
    d.manufacturerAddress = u"МОСКВА"_s;
    d.partNumber = u"TCH-3.0"_s;
    d.serialNumber = 1234567;
    d.softwareVersion = u"0203"_s;
    d.softwareInstalled = QDateTime(QDate(2023, 3, 1), QTime(8, 0), QTimeZone::utc());
    d.manufactured = QDateTime(QDate(2023, 2, 14), QTime(0, 0), QTimeZone::utc());
    d.approvalNumber = u"e1-0042"_s;
    d.sensorSerial = 7654321;
    d.sensorApproval = u"e1-0099"_s;
    d.sensorPairing = QDateTime(QDate(2023, 3, 1), QTime(9, 0), QTimeZone::utc());
    Calibration calibration;
    calibration.purpose = 4;
    calibration.workshopName = u"ООО ТАХОСЕРВИС"_s;
    calibration.workshopAddress = u"МОСКВА"_s;
    calibration.cardNumber = u"RUW0000000000042"_s;
    calibration.cardExpiry = QDateTime(QDate(2026, 1, 31), QTime(0, 0), QTimeZone::utc());
    calibration.vin = d.vin;
    calibration.registration = d.registration;
    calibration.w = 8000;
    calibration.k = 8000;
    calibration.l = 3200;
    calibration.tyreSize = u"315/80R22.5"_s;
    calibration.authorisedSpeed = 90;
    calibration.oldOdometer = 11950;
    calibration.newOdometer = 11950;
    calibration.oldTime = QDateTime(QDate(2024, 2, 1), QTime(10, 0), QTimeZone::utc());
    calibration.newTime = calibration.oldTime.addSecs(600);
    calibration.nextCalibration = QDateTime(QDate(2026, 2, 1), QTime(0, 0), QTimeZone::utc());
    d.calibrations = {calibration};
    return d;
}

ExtendedVehicleUnitDescription sampleExtendedVehicleUnit()
{
    ExtendedVehicleUnitDescription d;
    d.vin = u"WDB9634031L123456"_s;
    d.registration = u"B777OP199"_s;
    d.firstUse = QDateTime(QDate(2023, 6, 1), QTime(8, 0), QTimeZone::utc());
    d.surname = u"PETROV"_s;
    d.firstName = u"IVAN"_s;
    d.cardNumber = u"RUD0000098765430"_s;
    d.dataStart = QDateTime(QDate(2024, 1, 1), QTime(0, 0), QTimeZone::utc());
    d.dataEnd = QDateTime(QDate(2024, 1, 28), QTime(18, 30), QTimeZone::utc());
    return d;
}

QByteArray busyVehicleUnit(int days, bool variedSpeeds)
{
    VehicleUnitDescription description = sampleVehicleUnit(days, QDate(2021, 6, 5));
    for (Day& day : description.days) {
        day.changes.clear();
        for (int change = 0; change < 40; ++change)
            day.changes.append({change * 35, change % 4, change % 7 != 0});
        // Odometer readings without a byte 0x76, which the unit's files would take for a block's start.
        day.odometerMidnight = 100000;
        day.places.first().odometer = day.odometerMidnight;
        const CardInsertion card = day.insertions.first();
        day.insertions.clear();
        for (int insertion = 0; insertion < 20; ++insertion) {
            CardInsertion next = card;
            next.inserted = card.inserted.addSecs(insertion * 1800);
            next.odometerIn = 1000 + quint32(insertion) * 20;
            next.odometerOut = next.odometerIn + 20;
            day.insertions.append(next);
        }
    }
    SpeedBlock block = description.speed.first();
    description.speed.clear();
    for (int minute = 0; minute < 1440; ++minute) {
        block.begin = QDateTime(QDate(2024, 8, 1), QTime(0, 0), QTimeZone::utc()).addSecs(minute * 60);
        // A different minute every time, with a missing reading now and then.
        for (int second = 0; variedSpeeds && second < 60; ++second) {
            const int speed = (minute * 7 + second * 13) % 300;
            block.speeds[second] = speed > 255 ? 0xFF : speed;
        }
        description.speed.append(block);
    }
    return writeVehicleUnit(description);
}

QByteArray dayOfSpeedVehicleUnit()
{
    VehicleUnitDescription unit = sampleVehicleUnit(7);
    SpeedBlock block = unit.speed.first();
    unit.speed.clear();
    for (int minute = 0; minute < 1440; ++minute) {
        block.begin = unit.days.last().date.startOfDay(QTimeZone::utc()).addSecs(minute * 60);
        for (int second = 0; second < 60; ++second)
            block.speeds[second] = (minute * 7 + second * 13) % 120;
        unit.speed.append(block);
    }
    return writeVehicleUnit(unit);
}

QByteArray longActivityCard(int activityFiles)
{
    constexpr int kDaysPerFile = 255; // 255 records of 252 bytes, just below the largest file
    DriverCardDescription description = sampleDriverCard(activityFiles * kDaysPerFile, QDate(2010, 1, 4));
    description.daysPerActivityFile = kDaysPerFile;
    for (Day& day : description.days) {
        day.changes.clear();
        for (int change = 0; change < 120; ++change)
            day.changes.append({change * 12, change % 4, change % 5 != 0});
    }
    return writeDriverCard(description);
}

} // namespace tachoria::dddgen
