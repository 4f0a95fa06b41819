#include "ddd/activity_analyzer.h"

#include "ddd/ddd_fields.h"

#include <QRegularExpression>
#include <QTime>

#include <algorithm>
#include <limits>

namespace tachoria::ddd {

using namespace Qt::StringLiterals;

namespace {

constexpr int kDailyDriving = 540;
constexpr int kWeeklyDriving = 3360;
constexpr int kBiWeeklyDriving = 5400;
constexpr int kContinuousDriving = 270;
constexpr int kReducedDailyRest = 659;
constexpr int kReducedWeeklyRest = 2699;
constexpr int kWeeklyRestMinimum = 1440;    // a reduced weekly rest: 24 hours
constexpr int kWeeklyRestWindow = 6 * 1440; // six 24-hour periods from the end of the last weekly rest
constexpr int kTooShortBreak = 14;
constexpr int kShortBreakMax = 30;
constexpr int kLongWorkSession = 240;
constexpr int kNightEnd = 360;
constexpr int kNightStart = 1320;
constexpr int kMinutesPerDay = 1440;

enum class Kind
{
    Driving,
    Available,
    Work,
    Rest,
    Unknown,
};

Kind activityKind(const QString& text)
{
    const QString activity = text.trimmed();
    const auto any = [&activity](std::initializer_list<QString> words) {
        return std::any_of(words.begin(), words.end(), [&activity](const QString& word) {
            return activity.contains(word, Qt::CaseInsensitive);
        });
    };
    if (any({u"drive"_s, u"driv"_s, u"вожден"_s}))
        return Kind::Driving;
    if (any({u"available"_s, u"availability"_s, u"доступ"_s, u"готов"_s}))
        return Kind::Available;
    if (any({u"work"_s, u"работ"_s}))
        return Kind::Work;
    if (any({u"rest"_s, u"отдых"_s, u"перерыв"_s}))
        return Kind::Rest;
    return Kind::Unknown;
}

bool unknownActivity(const QString& activity)
{
    return activity.isEmpty() || activity.compare(u"Unknown"_s, Qt::CaseInsensitive) == 0 ||
           activity.compare(u"Неизвестно"_s, Qt::CaseInsensitive) == 0;
}

bool insertedCard(const QString& text)
{
    const QString status = text.trimmed();
    if (status.isEmpty() || status.contains(u"not inserted"_s, Qt::CaseInsensitive) ||
        status.contains(u"не встав"_s, Qt::CaseInsensitive) ||
        status.contains(u"not-inserted"_s, Qt::CaseInsensitive))
        return false;
    for (const QString& accepted :
         {u"Inserted"_s, u"Inserted Card"_s, u"Карта вставлена"_s, u"Вставлена"_s, u"Вставлена карта"_s}) {
        if (status.compare(accepted, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

int interval(const ActivityAnalyzer::Event& a, const ActivityAnalyzer::Event& b)
{
    const int minutes = b.minutes - a.minutes;
    return minutes < 0 ? minutes + kMinutesPerDay : minutes;
}

// The events of a day that open and close intervals.
QList<ActivityAnalyzer::Event> timedEvents(const ActivityAnalyzer::DayData& day)
{
    QList<ActivityAnalyzer::Event> events;
    for (const ActivityAnalyzer::Event& event : day.events) {
        if (event.valid)
            events.append(event);
    }
    return events;
}

int average(const QList<int>& values)
{
    if (values.isEmpty())
        return 0;
    qint64 sum = 0;
    for (const int value : values)
        sum += value;
    return int(sum / values.size());
}

QVariantList minuteTexts(const QList<int>& values)
{
    QVariantList texts;
    for (const int value : values)
        texts.append(formatMinutes(value));
    return texts;
}

bool isDecimalDigit(QChar c)
{
    return c >= u'0' && c <= u'9';
}

bool isHexadecimalDigit(QChar c)
{
    return isDecimalDigit(c) || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

QString conditionName(const ActivityAnalyzer::RowValue& row)
{
    for (const QString& key : {u"specificConditionType"_s, u"conditionType"_s, u"type"_s}) {
        const QString text = row(key).toString();
        if (!text.isEmpty())
            return text;
    }
    return QString();
}

ActivityAnalyzer::RowValue valuesOf(const QVariantMap& row)
{
    return [&row](QStringView key) { return row.value(key.toString()); };
}

QVariantMap analyzeConditions(const DatasetRows& vehicleRecords, const DatasetRows& conditions)
{
    QVariantList manualRecords;
    for (const QVariantMap& row : vehicleRecords) {
        if (ActivityAnalyzer::isManualRecord(valuesOf(row)))
            manualRecords.append(row);
    }
    QVariantList all;
    QVariantList ferry;
    QVariantList intervals;
    int ferryMinutes = 0;
    int begin = -1;
    for (const QVariantMap& row : conditions) {
        all.append(row);
        if (!ActivityAnalyzer::isFerryOrTrain(valuesOf(row)))
            continue;
        ferry.append(row);
        const QString name = conditionName(valuesOf(row)).toLower();
        QString timeText = row.value(u"entryTime"_s).toString();
        if (timeText.isEmpty())
            timeText = row.value(u"time"_s).toString();
        const int minutes = ActivityAnalyzer::parseMinutes(timeText);
        if (name.contains(u"начало"_s) || name.contains(u"begin"_s)) {
            begin = minutes;
        } else if ((name.contains(u"оконч"_s) || name.contains(u"end"_s)) && begin >= 0 && minutes >= 0) {
            int length = minutes - begin;
            if (length < 0)
                length += kMinutesPerDay;
            ferryMinutes += length;
            intervals.append(QVariantMap{{u"begin"_s, formatMinutes(begin)},
                                         {u"end"_s, formatMinutes(minutes)},
                                         {u"minutes"_s, length}});
            begin = -1;
        }
    }
    return {{u"manualInputCount"_s, manualRecords.size()}, {u"manualRecords"_s, manualRecords},
            {u"specificConditionCount"_s, all.size()},     {u"specificConditions"_s, all},
            {u"ferryTrainCount"_s, ferry.size()},          {u"ferryTrainConditions"_s, ferry},
            {u"ferryTrainMinutes"_s, ferryMinutes},        {u"ferryTrainIntervals"_s, intervals}};
}

// The rests on one time line over all days, in minutes from the first day's midnight. A change holds until
// the next one, over midnight into the next day; a day the list does not hold was a day without the card,
// and so of rest.
QList<std::pair<qint64, qint64>> restRuns(const QList<ActivityAnalyzer::DayData>& days,
                                          const QList<qint64>& dayIndex)
{
    struct Change
    {
        qint64 at;
        qint64 dayEnd;
        bool resting;
    };
    QList<Change> changes;
    for (qsizetype d = 0; d < days.size(); ++d) {
        const qint64 midnight = (dayIndex.at(d) - dayIndex.first()) * kMinutesPerDay;
        for (const ActivityAnalyzer::Event& event : timedEvents(days.at(d)))
            changes.append({midnight + event.minutes, midnight + kMinutesPerDay,
                            !event.inserted || Kind(event.kind) == Kind::Rest});
    }
    QList<std::pair<qint64, qint64>> runs;
    const auto rest = [&runs](qint64 from, qint64 to) {
        if (to <= from)
            return;
        if (!runs.isEmpty() && runs.last().second >= from)
            runs.last().second = std::max(runs.last().second, to);
        else
            runs.append({from, to});
    };
    for (qsizetype i = 0; i < changes.size(); ++i) {
        const Change& change = changes.at(i);
        const bool nextDayOrSooner =
            i + 1 < changes.size() && changes.at(i + 1).dayEnd <= change.dayEnd + kMinutesPerDay;
        const qint64 until = nextDayOrSooner ? changes.at(i + 1).at : change.dayEnd;
        if (change.resting)
            rest(change.at, until);
        if (!nextDayOrSooner && i + 1 < changes.size())
            rest(change.dayEnd, changes.at(i + 1).at);
    }
    return runs;
}

} // namespace

ActivityAnalyzer::WeeklyRest ActivityAnalyzer::judgeWeeklyRest(const QList<DayData>& days,
                                                               const QHash<QString, QDate>& dayDates)
{
    WeeklyRest result;
    if (days.isEmpty())
        return result;
    // Calendar days where the report gives them, otherwise the day keys counted as days.
    QList<qint64> dayIndex;
    for (const DayData& day : days)
        dayIndex.append(dayDates.contains(day.dayKey) ? dayDates.value(day.dayKey).toJulianDay()
                                                      : dayOrderKey(day.dayKey));
    if (!std::is_sorted(dayIndex.begin(), dayIndex.end()))
        return result;
    const QList<std::pair<qint64, qint64>> runs = restRuns(days, dayIndex);
    const QList<Event> first = timedEvents(days.first());
    if (first.isEmpty())
        return result;
    const qint64 end = (dayIndex.last() - dayIndex.first() + 1) * kMinutesPerDay;
    // A rest under way when the data begins may be the end of a weekly rest: the first period runs from
    // its end.
    qint64 from = first.first().minutes;
    if (!runs.isEmpty() && runs.first().first == from)
        from = runs.first().second;
    bool lastReduced = false;
    int shortest = -1;
    auto seen = runs.begin();
    // Each weekly rest has to begin within six 24-hour periods of the end of the one before; of two
    // weekly rests in a row at least one is a regular one of 45 hours.
    while (from + kWeeklyRestWindow <= end) {
        while (seen != runs.end() && seen->second <= from)
            ++seen; // rests that ended before the period cannot be its weekly rest
        const qint64 latest = from + kWeeklyRestWindow; // the weekly rest begins by then
        auto next = seen;
        while (next != runs.end() && next->first <= latest &&
               next->second - std::max(next->first, from) < kWeeklyRestMinimum)
            ++next;
        int judged = 0;
        if (next == runs.end() || next->first > latest) {
            // No weekly rest in time: the longest rest of the period is the one that fell short.
            for (auto run = seen; run != next; ++run) {
                const qint64 length = std::min(run->second, latest) - std::max(run->first, from);
                judged = std::max<int>(judged, int(std::max<qint64>(length, 0)));
            }
            result.tooShort = true;
            from = latest;
        } else {
            judged = int(next->second - std::max(next->first, from));
            const bool reduced = judged <= kReducedWeeklyRest;
            result.tooShort = result.tooShort || (reduced && lastReduced);
            lastReduced = reduced;
            from = next->second;
        }
        shortest = shortest < 0 ? judged : std::min(shortest, judged);
    }
    result.minutes = std::max(shortest, 0);
    return result;
}

QString ActivityAnalyzer::dayKeyFor(const RowValue& row)
{
    // An empty counter gives way to `dayKey`, and only a missing `dayKey` to `day`.
    QString key = row(u"activityDailyPresenceCounter1").toString();
    if (key.isEmpty()) {
        const QVariant dayKey = row(u"dayKey");
        key = dayKey.isValid() ? dayKey.toString() : row(u"day").toString();
    }
    return key.isEmpty() ? u" "_s : key;
}

int ActivityAnalyzer::parseMinutes(const QString& text)
{
    // The common form "HH:MM" is read directly; it gives what the pattern and the time parser give.
    const auto digit = [&text](int index) { return text.at(index).unicode() - u'0'; };
    const auto isDigit = [&text](int index) { return text.at(index) >= u'0' && text.at(index) <= u'9'; };
    if (text.size() == 5 && isDigit(0) && isDigit(1) && text.at(2) == u':' && isDigit(3) && isDigit(4)) {
        const int hour = digit(0) * 10 + digit(1);
        const int minute = digit(3) * 10 + digit(4);
        return hour <= 23 && minute <= 59 ? hour * 60 + minute : -1;
    }
    static const QRegularExpression pattern(u"(?:^|\\s)(\\d{1,2}):(\\d{2})"_s);
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return -1;
    const QTime time = QTime::fromString(u"%1:%2"_s.arg(match.captured(1), match.captured(2)), u"HH:mm"_s);
    return time.isValid() ? time.hour() * 60 + time.minute() : -1;
}

qint64 ActivityAnalyzer::dayOrderKey(const QString& key)
{
    // The presence counters: four decimal digits, or four hexadecimal ones when the BCD was broken.
    bool ok = false;
    if (key.size() == 4 && std::all_of(key.begin(), key.end(), isDecimalDigit))
        return key.toLongLong(&ok, 10);
    if (key.size() == 4 && std::all_of(key.begin(), key.end(), isHexadecimalDigit))
        return key.toLongLong(&ok, 16);
    qint64 value = key.toLongLong(&ok, 10);
    if (ok)
        return value;
    value = key.toLongLong(&ok, 16);
    return ok ? value : std::numeric_limits<qint64>::max();
}

bool ActivityAnalyzer::isManualRecord(const RowValue& row)
{
    const QString flag = row(u"manualInputFlag").toString();
    if (!flag.isEmpty()) {
        return flag != u"0"_s && flag.compare(u"Нет"_s, Qt::CaseInsensitive) != 0 &&
               flag.compare(u"No"_s, Qt::CaseInsensitive) != 0;
    }
    return row(u"manualInput").toBool();
}

bool ActivityAnalyzer::isFerryOrTrain(const RowValue& row)
{
    const QString name = conditionName(row);
    for (const QString& word : {u"паром"_s, u"поезд"_s, u"ferry"_s, u"train"_s}) {
        if (name.contains(word, Qt::CaseInsensitive))
            return true;
    }
    for (const QString& key : {u"specificConditionType"_s, u"conditionCode"_s, u"type"_s}) {
        bool ok = false;
        const int code = row(key).toString().trimmed().toInt(&ok);
        if (ok && (code == 3 || code == 4))
            return true;
    }
    return false;
}

QList<ActivityAnalyzer::DayData> ActivityAnalyzer::buildDays(const DatasetRows& activityChanges)
{
    QList<Event> events;
    events.reserve(activityChanges.size());
    for (qsizetype index = 0; index < activityChanges.size(); ++index) {
        const RowValue row = [&activityChanges, index](QStringView key) {
            return activityChanges.value(index, key);
        };
        Event event;
        event.dayKey = dayKeyFor(row);
        event.minutes = parseMinutes(row(u"time").toString());
        event.valid = event.minutes >= 0;
        const QVariant minutes = row(u"minutes");
        if (!event.valid && minutes.isValid()) {
            event.minutes = minutes.toInt();
            event.valid = event.minutes >= 0 && event.minutes <= 1439;
        }
        if (!event.valid)
            event.minutes = 0;
        event.inserted = insertedCard(row(u"cardStatus").toString());
        const QString activity = row(u"activity").toString();
        event.kind = int(activityKind(activity));
        event.unknownActivity = unknownActivity(activity);
        event.manual = isManualRecord(row);
        event.ferryOrTrain = isFerryOrTrain(row);
        events.append(event);
    }
    // The order key of each event once, not in every comparison.
    QList<std::pair<qint64, qsizetype>> order;
    order.reserve(events.size());
    for (qsizetype i = 0; i < events.size(); ++i)
        order.append({dayOrderKey(events.at(i).dayKey), i});
    std::stable_sort(order.begin(), order.end(), [&events](const auto& a, const auto& b) {
        if (a.first != b.first)
            return a.first < b.first;
        const Event& first = events.at(a.second);
        const Event& second = events.at(b.second);
        if (first.dayKey != second.dayKey)
            return first.dayKey < second.dayKey;
        return first.minutes < second.minutes;
    });
    QList<Event> sorted;
    sorted.reserve(events.size());
    for (const auto& entry : std::as_const(order))
        sorted.append(std::move(events[entry.second]));
    events = std::move(sorted);
    QList<DayData> days;
    for (const Event& event : std::as_const(events)) {
        if (days.isEmpty() || days.last().dayKey != event.dayKey) {
            days.append(DayData());
            days.last().dayKey = event.dayKey;
        }
        days.last().events.append(event);
    }
    for (DayData& day : days) {
        std::stable_sort(day.events.begin(), day.events.end(), [](const Event& a, const Event& b) {
            if (a.valid != b.valid)
                return a.valid;
            return a.minutes < b.minutes;
        });
        const QList<Event> timed = timedEvents(day);
        for (qsizetype i = 0; i + 1 < timed.size(); ++i) {
            const Event& a = timed.at(i);
            const int minutes = interval(a, timed.at(i + 1));
            if (a.inserted) {
                day.workMinutes += minutes;
                const Kind kind = Kind(a.kind);
                if (kind == Kind::Available)
                    day.availableMinutes += minutes;
                if (day.workStart < 0)
                    day.workStart = a.minutes;
                day.workEnd = timed.at(i + 1).minutes;
                if (kind == Kind::Driving)
                    day.drivingMinutes += minutes;
                else if (kind == Kind::Work)
                    day.workActivityMinutes += minutes;
                else if (kind == Kind::Rest)
                    day.restActivityMinutes += minutes;
            } else {
                day.restMinutes += minutes;
                if (a.unknownActivity)
                    day.unknownMinutes += minutes;
            }
        }
        for (const Event& event : std::as_const(day.events)) {
            day.manualInputCount += event.manual;
            day.ferryTrainCount += event.ferryOrTrain;
        }
    }
    return days;
}

QVariantMap ActivityAnalyzer::analyze(const DatasetRows& activityChanges, const DatasetRows& vehicleRecords,
                                      const DatasetRows& specificConditions,
                                      const QHash<QString, QDate>& dayDates)
{
    const QList<DayData> days = buildDays(activityChanges);
    const QVariantMap conditions = analyzeConditions(vehicleRecords, specificConditions);

    int totalWork = 0, totalRest = 0, totalAvailable = 0, totalUnknown = 0, totalDriving = 0;
    int totalWorkActivity = 0, totalRestActivity = 0, totalManual = 0;
    QVariantList tooShortBreaks, tooLongWorkSessions, items;
    QList<int> shortBreaks, longBreaks, workSessions, breaks;
    int maxContinuous = 0, dailyDriving = 0, weeklyDriving = 0, biWeeklyDriving = 0;
    int overtime = 0, nightSessions = 0;
    bool nightTest = false;
    for (qsizetype index = 0; index < days.size(); ++index) {
        const DayData& day = days.at(index);
        totalWork += day.workMinutes;
        totalRest += day.restMinutes;
        totalAvailable += day.availableMinutes;
        totalUnknown += day.unknownMinutes;
        totalDriving += day.drivingMinutes;
        totalWorkActivity += day.workActivityMinutes;
        totalRestActivity += day.restActivityMinutes;
        totalManual += day.manualInputCount;
        dailyDriving = std::max(dailyDriving, day.drivingMinutes);
        if (index < 7)
            weeklyDriving += day.drivingMinutes;
        if (index < 14)
            biWeeklyDriving += day.drivingMinutes;
        overtime += std::max(day.workMinutes - kDailyDriving, 0);
        if (day.workStart < kNightEnd || day.workStart >= kNightStart)
            ++nightSessions; // a day without work counts too

        const QList<Event> timed = timedEvents(day);
        int restRun = 0, workRun = 0, driving = 0, run = 0;
        bool runInserted = false;
        bool runOpen = false;
        for (qsizetype i = 0; i + 1 < timed.size(); ++i) {
            const Event& a = timed.at(i);
            const Event& b = timed.at(i + 1);
            const int minutes = interval(a, b);
            if (a.inserted) {
                workRun += minutes;
                restRun = 0;
                if (workRun > kLongWorkSession && !b.inserted)
                    tooLongWorkSessions.append(formatMinutes(workRun));
                driving = Kind(a.kind) == Kind::Driving ? driving + minutes : 0;
            } else {
                restRun += minutes;
                workRun = 0;
                if (restRun <= kTooShortBreak && b.inserted)
                    tooShortBreaks.append(formatMinutes(restRun));
                driving = 0;
                if (b.inserted && minutes >= 15 && minutes <= kShortBreakMax)
                    shortBreaks.append(minutes);
                else if (b.inserted && minutes > kShortBreakMax)
                    longBreaks.append(minutes);
            }
            maxContinuous = std::max(maxContinuous, driving);
            if (runOpen && runInserted != a.inserted) {
                (runInserted ? workSessions : breaks).append(run);
                run = 0;
            }
            runInserted = a.inserted;
            runOpen = true;
            run += minutes;
        }
        if (runOpen && runInserted)
            workSessions.append(run); // an open rest at the day's end is dropped
        for (const Event& event : timed) {
            if (event.inserted && (event.minutes <= kNightEnd - 1 || event.minutes >= kNightStart))
                nightTest = true;
        }
        const auto timeOrEmpty = [](int minutes) { return minutes < 0 ? QString() : formatMinutes(minutes); };
        items.append(QVariantMap{{u"dayNumber"_s, day.dayKey},
                                 {u"dayKey"_s, day.dayKey},
                                 {u"workTime"_s, formatMinutes(day.workMinutes)},
                                 {u"restTime"_s, formatMinutes(day.restMinutes)},
                                 {u"availableTime"_s, formatMinutes(day.availableMinutes)},
                                 {u"unknownTime"_s, formatMinutes(day.unknownMinutes)},
                                 {u"workStart"_s, timeOrEmpty(day.workStart)},
                                 {u"workEnd"_s, timeOrEmpty(day.workEnd)},
                                 {u"activityChangesCount"_s, day.events.size()},
                                 {u"workMinutes"_s, day.workMinutes},
                                 {u"restMinutes"_s, day.restMinutes},
                                 {u"availableMinutes"_s, day.availableMinutes},
                                 {u"unknownMinutes"_s, day.unknownMinutes},
                                 {u"drivingMinutes"_s, day.drivingMinutes},
                                 {u"workActivityMinutes"_s, day.workActivityMinutes},
                                 {u"restActivityMinutes"_s, day.restActivityMinutes},
                                 {u"manualInputCount"_s, day.manualInputCount},
                                 {u"specificConditionCount"_s, day.ferryTrainCount}});
    }

    // Daily rest between consecutive days that both worked.
    bool restViolation = false;
    QList<int> rests;
    for (qsizetype i = 0; i + 1 < days.size(); ++i) {
        const DayData& day = days.at(i);
        const DayData& next = days.at(i + 1);
        if (day.workEnd < 0 || next.workStart < 0 || dayOrderKey(next.dayKey) - dayOrderKey(day.dayKey) != 1)
            continue;
        const int rest = next.workStart + kMinutesPerDay - day.workEnd;
        if (rest <= kReducedDailyRest)
            restViolation = true;
        if (rest > 0)
            rests.append(rest);
    }
    const int dailyRest = average(rests);
    const bool dailyRestReduced = !rests.isEmpty() && dailyRest <= kReducedDailyRest;

    const WeeklyRest weekly = judgeWeeklyRest(days, dayDates);
    const int weeklyRest = weekly.minutes;
    const bool weeklyRestReduced = weekly.tooShort;

    QVariantList violations;
    if (dailyDriving > kDailyDriving)
        violations.append(u"Превышен дневной лимит вождения: %1 > 9:00"_s.arg(formatMinutes(dailyDriving)));
    if (weeklyDriving > kWeeklyDriving)
        violations.append(
            u"Превышен недельный лимит вождения: %1 > 56:00"_s.arg(formatMinutes(weeklyDriving)));
    if (maxContinuous > kContinuousDriving)
        violations.append(u"Превышено непрерывное вождение: %1 > 4:30"_s.arg(formatMinutes(maxContinuous)));
    if (dailyRestReduced)
        violations.append(u"Недостаточный ежедневный отдых: %1 < 11:00"_s.arg(formatMinutes(dailyRest)));
    if (weeklyRestReduced)
        violations.append(u"Недостаточный еженедельный отдых: %1 < 45:00"_s.arg(formatMinutes(weeklyRest)));
    if (!tooShortBreaks.isEmpty())
        violations.append(u"Найдено %1 перерывов короче 15 минут"_s.arg(tooShortBreaks.size()));

    const double utilization = totalWork == 0 ? 0.0 : totalWork * 100.0 / std::max(totalWork + totalRest, 1);
    const double efficiency = totalWork == 0 ? 0.0 : (totalWork - totalAvailable) * 100.0 / totalWork;
    QVariantList warnings;
    QVariantList recommendations;
    const bool empty = days.isEmpty();
    if (overtime > 0)
        warnings.append(u"Общее сверхурочное время: %1"_s.arg(formatMinutes(overtime)));
    if (!empty && nightSessions > 0)
        warnings.append(u"Ночных рабочих сессий: %1"_s.arg(nightSessions));
    if (utilization > 80.0)
        recommendations.append(u"Высокая загрузка. Рекомендуется увеличить время отдыха."_s);
    if (!empty && efficiency < 60.0)
        recommendations.append(u"Низкая эффективность вождения. Рассмотрите оптимизацию маршрутов."_s);

    const int dailyScore = dailyDriving > kDailyDriving ? 50 : 100;
    const int restScore =
        std::max(100 - 10 * int(tooShortBreaks.size()) - (maxContinuous > kContinuousDriving ? 30 : 0), 0);
    const int weeklyScore = weeklyRestReduced ? 60 : 100;
    const int overall = (dailyScore + restScore + weeklyScore) / 3;

    int shortTotal = 0, longTotal = 0;
    for (const int value : std::as_const(shortBreaks))
        shortTotal += value;
    for (const int value : std::as_const(longBreaks))
        longTotal += value;

    QVariantMap classification;
    if (!empty) {
        classification = {{u"drivingMinutes"_s, totalDriving},
                          {u"workMinutes"_s, totalWorkActivity},
                          {u"availabilityMinutes"_s, totalAvailable},
                          {u"restMinutes"_s, totalRestActivity},
                          {u"unknownMinutes"_s, totalUnknown},
                          {u"cardRestMinutes"_s, totalRest},
                          {u"manualInputCount"_s, totalManual},
                          {u"ferryTrainMinutes"_s, conditions.value(u"ferryTrainMinutes"_s)}};
    }
    const auto duration = [](QVariantMap& map, const QString& key, int minutes) {
        map.insert(key, formatMinutes(minutes));
        map.insert(key + u"Minutes"_s, minutes);
    };

    QVariantMap workingHours{{u"violations"_s, violations},
                             {u"tooShortBreaks"_s, tooShortBreaks},
                             {u"tooShortBreakCount"_s, tooShortBreaks.size()},
                             {u"tooLongWorkSessions"_s, tooLongWorkSessions},
                             {u"totalOvertime"_s, formatMinutes(overtime)},
                             {u"totalOvertimeMinutes"_s, overtime},
                             {u"nightWorkSessions"_s, empty ? 0 : nightSessions},
                             {u"has11HourRestViolation"_s, restViolation},
                             {u"items"_s, items}};
    QVariantMap drivingCycles{{u"dailyLimitExceeded"_s, dailyDriving > kDailyDriving},
                              {u"weeklyLimitExceeded"_s, weeklyDriving > kWeeklyDriving},
                              {u"biWeeklyLimitExceeded"_s, biWeeklyDriving > kBiWeeklyDriving},
                              {u"limit4_5HourExceeded"_s, maxContinuous > kContinuousDriving}};
    duration(drivingCycles, u"dailyDrivingTime"_s, dailyDriving);
    duration(drivingCycles, u"weeklyDrivingTime"_s, weeklyDriving);
    duration(drivingCycles, u"biWeeklyDrivingTime"_s, biWeeklyDriving);
    duration(drivingCycles, u"maxContinuousDriving"_s, maxContinuous);
    QVariantMap restBreaks{
        {u"shortBreaks"_s, minuteTexts(shortBreaks)}, {u"shortBreakCount"_s, shortBreaks.size()},
        {u"longBreaks"_s, minuteTexts(longBreaks)},   {u"dailyRestReduced"_s, dailyRestReduced},
        {u"weeklyRestReduced"_s, weeklyRestReduced},  {u"hasSplitRest"_s, nightTest}};
    duration(restBreaks, u"totalShortBreakTime"_s, shortTotal);
    duration(restBreaks, u"totalLongBreakTime"_s, longTotal);
    duration(restBreaks, u"dailyRest"_s, dailyRest);
    duration(restBreaks, u"weeklyRest"_s, weeklyRest);
    QVariantMap efficiencyMap{{u"utilizationRate"_s, utilization},
                              {u"drivingEfficiency"_s, efficiency},
                              {u"sessionCount"_s, workSessions.size()},
                              {u"totalWorkMinutes"_s, totalWork},
                              {u"totalRestMinutes"_s, totalRest},
                              {u"totalWorkTime"_s, formatMinutes(totalWork)},
                              {u"totalRestTime"_s, formatMinutes(totalRest)}};
    duration(efficiencyMap, u"averageWorkSession"_s, average(workSessions));
    duration(efficiencyMap, u"averageBreak"_s, average(breaks));
    const QVariantMap compliance{{u"isCompliant"_s, !empty && violations.isEmpty()},
                                 {u"overallScore"_s, empty ? 0 : overall},
                                 {u"dailyDrivingScore"_s, empty ? 0 : dailyScore},
                                 {u"restBreaksScore"_s, empty ? 0 : restScore},
                                 {u"weeklyRestScore"_s, empty ? 0 : weeklyScore},
                                 {u"warnings"_s, warnings},
                                 {u"violations"_s, violations},
                                 {u"recommendations"_s, recommendations}};
    return {{u"workingHours"_s, workingHours},     {u"drivingCycles"_s, drivingCycles},
            {u"restBreaks"_s, restBreaks},         {u"efficiency"_s, efficiencyMap},
            {u"classification"_s, classification}, {u"conditions"_s, conditions},
            {u"compliance"_s, compliance}};
}

} // namespace tachoria::ddd
