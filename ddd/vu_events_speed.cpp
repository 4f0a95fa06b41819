// Blocks 7603 (events, faults, over-speeding, time adjustments) and 7604 (detailed speed).
#include "ddd/ddd_fields.h"
#include "ddd/vu_sections_internal.h"

#include <QHash>
#include <QStringList>

#include <cstdio>

namespace tachoria::ddd::vu {

using namespace Qt::StringLiterals;

namespace {

// --- 7603 -------------------------------------------------------------------------------------------

QString purposeName(int code)
{
    static const QHash<int, QString> names = {
        {0, u"Одно из 10 последних событий"_s},
        {1, u"Самое длительное событие за последние 10 дней"_s},
        {2, u"Одно из длительных событий за последние 10 дней"_s},
        {3, u"Последнее событие за последние 10 дней"_s},
        {4, u"Первое событие после калибровки"_s},
        {5, u"Одно из последних событий"_s},
        {7, u"Активное событие/неисправность"_s},
    };
    return names.value(code, u"Зарезервировано (0x%1)"_s.arg(hexCode(code)).toUpper());
}

QString eventPurposeEnglish(int code)
{
    if (code == 0)
        return u"One of the 10 most recent (or last) events or faults"_s;
    if (code == 1)
        return u"The longest event for one of the last 10 days of occurrence"_s;
    return u"Unknown (0x%1)"_s.arg(hexCode(code));
}

QString faultPurposeEnglish(int code)
{
    switch (code) {
    case 0:
    case 10:
    case 34:
    case 65:
    case 66:
    case 69:
    case 74:
        return u"Reserved for future use"_s;
    case 1:
    case 94:
        return u"The longest event for one of the last 10 days of occurrence"_s;
    case 2:
        return u"One of the longest events for one of the last 10 days of occurrence"_s;
    case 3:
        return u"The last event for one of the last 10 days of occurrence"_s;
    case 4:
        return u"One of the first events after the last calibration"_s;
    case 5:
        return u"One of the most recent events"_s;
    case 7:
        return u"An active/on-going event or fault"_s;
    default:
        return code >= 96 ? u"Manufacturer specific"_s : u"RFU"_s;
    }
}

QString vuEventEnglish(int code)
{
    switch (code) {
    case 2:
        return u"General event - Card conflict"_s;
    case 4:
        return u"General event - Driving without an appropriate card"_s;
    case 5:
        return u"General event - Card insertion while driving"_s;
    case 6:
        return u"General event - Last card session not correctly closed"_s;
    case 8:
        return u"General event - Power supply interruption"_s;
    case 22:
        return u"Vehicle unit related security breach attempt event - Internal data transfer error"_s;
    case 181:
        return u"Manufacturer specific"_s;
    default:
        return u"Reserved for future use"_s;
    }
}

QString vuFaultEnglish(int code)
{
    switch (code) {
    case 52:
        return u"Recording equipment fault - Downloading fault"_s;
    case 63:
    case 81:
        return u"Reserved for future use"_s;
    case 64:
        return u"Card fault - No further details"_s;
    default:
        return u"RFU (0x%1)"_s.arg(hexCode(code)).toUpper();
    }
}

QString slotCardNumber(const QByteArray& d, qsizetype position, qsizetype length)
{
    const QString text = printableText(d, position, length);
    return text.isEmpty() ? u" "_s : text;
}

void addCardNumbers(QVariantMap& row, const QByteArray& d, qsizetype record, const QString& suffix)
{
    row.insert(u"cardNumberDriverSlotBegin"_s + suffix, slotCardNumber(d, record + 10, 18));
    row.insert(u"cardNumberCoDriverSlotBegin"_s + suffix, slotCardNumber(d, record + 28, 18));
    row.insert(u"cardNumberDriverSlotEnd"_s + suffix, slotCardNumber(d, record + 46, 18));
    row.insert(u"cardNumberCoDriverSlotEnd"_s + suffix, slotCardNumber(d, record + 64, 18));
}

} // namespace

void parseEventsAndFaults(DddReport& report, const QByteArray& d)
{
    const qsizetype limit = dataLimit(d);
    qsizetype position = 2;
    const auto records = [&](qsizetype size, const auto& read) {
        if (position >= limit)
            return;
        const int count = byteAt(d, position++);
        for (int index = 0; index < count && fitsBefore(position, size, limit); ++index) {
            read(position);
            position += size;
        }
    };
    records(82, [&](qsizetype at) {
        const int type = byteAt(d, at);
        const int purpose = byteAt(d, at + 1);
        QVariantMap row{{u"faultType"_s, faultName(type)},
                        {u"faultRecordPurpose"_s, purposeName(purpose)},
                        {u"faultTypeEnglish"_s, vuFaultEnglish(type)},
                        {u"faultRecordPurposeEnglish"_s, faultPurposeEnglish(purpose)},
                        {u"faultBeginTime"_s, formatUnixCSharp(readBe32(d, at + 2))},
                        {u"faultEndTime"_s, formatUnixCSharp(readBe32(d, at + 6))},
                        {u"hex"_s, hexText(d, at, 82)}};
        addCardNumbers(row, d, at, QString());
        report.tachoFaults.append(row);
        report.faults.append(row);
    });
    records(83, [&](qsizetype at) {
        const int type = byteAt(d, at);
        const int purpose = byteAt(d, at + 1);
        QVariantMap row{{u"eventType"_s, eventName(type)},
                        {u"eventRecordPurpose"_s, purposeName(purpose)},
                        {u"eventTypeEnglish"_s, vuEventEnglish(type)},
                        {u"eventRecordPurposeEnglish"_s, eventPurposeEnglish(purpose)},
                        {u"eventBeginTime"_s, formatUnixCSharp(readBe32(d, at + 2))},
                        {u"eventEndTime"_s, formatUnixCSharp(readBe32(d, at + 6))},
                        {u"similarEventsNumber"_s, byteAt(d, at + 82)},
                        {u"hex"_s, hexText(d, at, 83)}};
        addCardNumbers(row, d, at, QString());
        addCardNumbers(row, d, at, u"1"_s);
        report.tachoEvents.append(row);
        report.events.append(row);
    });
    if (fitsBefore(position, 9, limit)) {
        const quint32 since = readBe32(d, position + 4);
        const QString hex = hexText(d, position, 9);
        report.overSpeedingControl.append(describedRow(
            u"lastOverspeedControlTime"_s, formatUnixCSharp(readBe32(d, position)), u"hex"_s, hex));
        report.overSpeedingControl.append(
            describedRow(u"firstOverspeedSince"_s,
                         since == 0 ? u"01.01.1970 0:00:00"_s : formatUnixCSharp(since), u"hex"_s, hex));
        report.overSpeedingControl.append(
            describedRow(u"numberOfOverspeedSince"_s, byteAt(d, position + 8), u"hex"_s, hex));
        position += 9;
    }
    // Here a count is taken only when the records it promises are all there.
    const auto counted = [&](qsizetype size, const auto& read) {
        if (position >= limit)
            return;
        const int count = byteAt(d, position);
        if (count > (limit - position - 1) / size)
            return;
        ++position;
        for (int index = 0; index < count; ++index, position += size)
            read(position);
    };
    counted(31, [&](qsizetype at) {
        // Speeds take two bytes each in these files.
        report.overSpeedingEvents.append({{u"eventType1"_s, eventName(byteAt(d, at))},
                                          {u"eventRecordPurpose1"_s, purposeName(byteAt(d, at + 1))},
                                          {u"eventBeginTime1"_s, formatUnixCSharp(readBe32(d, at + 2))},
                                          {u"eventEndTime1"_s, formatUnixCSharp(readBe32(d, at + 6))},
                                          {u"maxSpeedValue"_s, readBe16(d, at + 10)},
                                          {u"averageSpeedValue"_s, readBe16(d, at + 12)},
                                          {u"cardNumberDriverSlotBegin11"_s, slotCardNumber(d, at + 14, 17)},
                                          {u"hex"_s, hexText(d, at, 31)}});
    });
    counted(98, [&](qsizetype at) {
        report.timeAdjustments.append({{u"oldTimeValue"_s, formatUnixCSharp(readBe32(d, at))},
                                       {u"newTimeValue"_s, formatUnixCSharp(readBe32(d, at + 4))},
                                       {u"tachoriaName"_s, readName(d, at + 8, 36)},
                                       {u"tachoriaAddress"_s, readName(d, at + 44, 36)},
                                       {u"tachoriaCardNumber"_s, readFixedText(d, at + 82, 16)},
                                       {u"hex"_s, hexText(d, at, 98)}});
    });
}

namespace {

// The chart's label of a speed, made once for every value a byte can hold.
const QString& speedText(int speed)
{
    static const QStringList texts = [] {
        QStringList list;
        for (int value = 0; value < 256; ++value)
            list.append(u"Скорость %1 км/ч"_s.arg(value));
        return list;
    }();
    return texts.at(speed & 0xFF);
}

// --- 7604 -------------------------------------------------------------------------------------------

} // namespace

void parseDetailedSpeed(DddReport& report, const DddBlock& block)
{
    const QByteArray& d = block.data;
    const qsizetype limit = dataLimit(d);
    qsizetype position = 2;
    if (!fitsBefore(position, 2, limit))
        return;
    const int count = readBe16(d, position);
    position += 2;
    const qsizetype records = std::min<qsizetype>(count, (limit - position) / 64);
    report.detailedSpeed.reserve(report.detailedSpeed.size() + records);
    report.charts.reserve(report.charts.size() + records * 60);

    // What one minute's 60 bytes give; a day holds many equal minutes (a parked vehicle's most of all),
    // and these share one list and one text.
    struct Minute
    {
        int speeds[60];
        QVariantList values;
        QString text;
        int valid = 0;
        int sum = 0;
        int maximum = 0;
    };
    QHash<QByteArray, Minute> minutes;
    for (qsizetype index = 0; index < records; ++index, position += 64) {
        const QByteArray speeds = d.mid(position + 4, 60);
        auto found = minutes.find(speeds);
        if (found == minutes.end()) {
            Minute minute;
            minute.values.reserve(60);
            char texts[60 * 5 + 1];
            int textLength = 0;
            for (int second = 0; second < 60; ++second) {
                const int raw = byteAt(speeds, second);
                const int speed = raw == 0xFF ? 0 : raw; // 0xFF is no reading
                if (raw != 0xFF) {
                    ++minute.valid;
                    minute.sum += raw;
                    minute.maximum = std::max(minute.maximum, raw);
                }
                minute.values.append(speed);
                minute.speeds[second] = speed;
                textLength += std::snprintf(texts + textLength, sizeof texts - textLength,
                                            second > 0 ? ", %d" : "%d", speed);
            }
            minute.text = QString::fromLatin1(texts, textLength);
            found = minutes.insert(speeds, std::move(minute));
        }
        const Minute& minute = found.value();
        for (int second = 0; second < 60; ++second) {
            const int speed = minute.speeds[second];
            report.charts.append({{u"activity"_s, speedText(speed)},
                                  {u"day"_s, block.occurrence},
                                  {u"time"_s, second},
                                  {u"value"_s, speed}});
        }
        report.detailedSpeed.append(
            {{u"averageSpeed"_s, minute.valid > 0 ? double(minute.sum) / minute.valid : 0.0},
             {u"hex"_s, hexText(d, position, 64)},
             {u"maxSpeed"_s, minute.maximum},
             {u"speedBlockBeginDate"_s, vuTime(d, position)},
             {u"speedValues"_s, minute.values},
             {u"speedsPerSecond"_s, minute.text},
             {u"validSpeedCount"_s, minute.valid}});
    }
}

} // namespace tachoria::ddd::vu
