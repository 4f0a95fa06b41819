// The analysis of activity changes: a hand-computed week through the generator and the decoder, and the
// thresholds one by one.
#include "ddd/activity_analyzer.h"
#include "ddd/ddd_decoder.h"
#include "tools/dddgen/ddd_generator.h"

#include <QTest>

#include <limits>

using namespace tachoria::ddd;
using namespace tachoria::dddgen;
using namespace Qt::StringLiterals;

using Rows = QList<QVariantMap>;

namespace {

QString formatMinutesForTest(int minutes)
{
    return u"%1:%2"_s.arg(minutes / 60, 2, 10, QLatin1Char('0')).arg(minutes % 60, 2, 10, QLatin1Char('0'));
}

// "a/b/0/c": maps by key, lists by index.
QVariant at(const QVariant& root, const QString& path)
{
    QVariant node = root;
    for (const QString& part : path.split(QLatin1Char('/'))) {
        bool isIndex = false;
        const int index = part.toInt(&isIndex);
        node = isIndex ? node.toList().value(index) : node.toMap().value(part);
    }
    return node;
}

QVariantMap change(const QString& day, const QString& time, const QString& activity, bool inserted = true)
{
    return {{u"activityDailyPresenceCounter1"_s, day},
            {u"time"_s, time},
            {u"activity"_s, activity},
            {u"cardStatus"_s, inserted ? u"Inserted"_s : u"Not Inserted"_s}};
}

// A working day from `start` to `end` (minutes), driving, rest without the card around it.
Rows workingDay(const QString& day, const QString& start, const QString& end)
{
    return {change(day, start, u"Drive"_s), change(day, end, u"Rest"_s, false)};
}

// Work from 06:00 to 18:00 on the days of these keys; the keys between them are days without the card.
Rows workingDays(std::initializer_list<int> days)
{
    Rows rows;
    for (const int day : days) {
        const QString key = u"%1"_s.arg(day, 4, 10, QLatin1Char('0'));
        rows += Rows{change(key, u"06:00"_s, u"Work"_s), change(key, u"18:00"_s, u"Rest"_s, false)};
    }
    return rows;
}

// Driving from 00:00 with `breaks` pauses of 10 minutes without the card, after 5:00 of driving.
Rows shortBreaks(int breaks)
{
    Rows rows{change(u"0001"_s, u"00:00"_s, u"Drive"_s)};
    int minutes = 300;
    for (int i = 0; i < breaks; ++i) {
        rows.append(change(u"0001"_s, formatMinutesForTest(minutes), u"Rest"_s, false));
        rows.append(change(u"0001"_s, formatMinutesForTest(minutes + 10), u"Work"_s));
        minutes += 40;
    }
    rows.append(change(u"0001"_s, formatMinutesForTest(minutes), u"Rest"_s, false));
    return rows;
}

} // namespace

class TestActivityAnalyzer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void handComputedWeek()
    {
        DriverCardDescription description = sampleDriverCard(7);
        const QList<ActivityChange> normal = {{0, Rest, false},   {480, Work},    {540, Driving},
                                              {780, Rest, false}, {800, Driving}, {1000, Rest, false}};
        for (Day& day : description.days)
            day.changes = normal;
        // Day 1: driving from 5:00 (before 6:00), 5:00 without a pause, a pause of 10 minutes, 9:40 in all.
        description.days[0].changes = {{0, Rest, false},   {300, Driving}, {600, Work},
                                       {610, Rest, false}, {620, Driving}, {900, Rest, false}};
        // Day 4 ends at 23:00, leaving 9:00 of rest before day 5.
        description.days[3].changes = {{0, Rest, false}, {480, Work},  {540, Driving},     {780, Rest, false},
                                       {800, Driving},   {1000, Work}, {1380, Rest, false}};
        const DddReport report = Decoder::decode(writeDriverCard(description), u"week.ddd"_s);
        const QVariant analysis = report.analysis;

        QCOMPARE(report.totalDays, 7);
        QCOMPARE(at(analysis, u"compliance/violations"_s).toStringList(),
                 QStringList({u"Превышен дневной лимит вождения: 09:40 > 9:00"_s,
                              u"Превышено непрерывное вождение: 05:00 > 4:30"_s,
                              u"Недостаточный еженедельный отдых: 17:00 < 45:00"_s,
                              u"Найдено 1 перерывов короче 15 минут"_s}));
        QCOMPARE(at(analysis, u"compliance/warnings"_s).toStringList(),
                 QStringList({u"Общее сверхурочное время: 06:30"_s, u"Ночных рабочих сессий: 1"_s}));
        QCOMPARE(at(analysis, u"compliance/recommendations"_s).toStringList(), QStringList());
        QCOMPARE(at(analysis, u"compliance/isCompliant"_s).toBool(), false);
        QCOMPARE(at(analysis, u"compliance/dailyDrivingScore"_s).toInt(), 50);
        QCOMPARE(at(analysis, u"compliance/restBreaksScore"_s).toInt(), 60);
        QCOMPARE(at(analysis, u"compliance/weeklyRestScore"_s).toInt(), 60);
        QCOMPARE(at(analysis, u"compliance/overallScore"_s).toInt(), 56);
        QCOMPARE(report.summary().value(u"complianceScore"_s).toInt(), 56);

        QCOMPARE(at(analysis, u"drivingCycles/dailyDrivingTime"_s).toString(), u"09:40"_s);
        QCOMPARE(at(analysis, u"drivingCycles/weeklyDrivingTime"_s).toString(), u"53:40"_s);
        QCOMPARE(at(analysis, u"drivingCycles/weeklyLimitExceeded"_s).toBool(), false);
        QCOMPARE(at(analysis, u"drivingCycles/maxContinuousDriving"_s).toString(), u"05:00"_s);
        QCOMPARE(at(analysis, u"drivingCycles/limit4_5HourExceeded"_s).toBool(), true);

        // The lengths of the runs: the pause of day 1, and each run of work above 4:00 that ends in rest.
        QCOMPARE(at(analysis, u"workingHours/tooShortBreaks"_s).toStringList(), QStringList{u"00:10"_s});
        QCOMPARE(at(analysis, u"workingHours/tooLongWorkSessions"_s).toStringList(),
                 QStringList({u"05:10"_s, u"04:40"_s, u"05:00"_s, u"05:00"_s, u"05:00"_s, u"09:40"_s,
                              u"05:00"_s, u"05:00"_s, u"05:00"_s}));
        QCOMPARE(at(analysis, u"workingHours/totalOvertimeMinutes"_s).toInt(), 390);
        QCOMPARE(at(analysis, u"workingHours/nightWorkSessions"_s).toInt(), 1);
        // The one short rest breaks the 11-hour test but not the average.
        QCOMPARE(at(analysis, u"workingHours/has11HourRestViolation"_s).toBool(), true);
        QCOMPARE(at(analysis, u"restBreaks/dailyRestReduced"_s).toBool(), false);
        QCOMPARE(at(analysis, u"restBreaks/dailyRest"_s).toString(), u"14:33"_s);
        // Seven days of work: six 24-hour periods from the end of the first night's rest pass without a
        // weekly rest, and the longest rest among them, 17:00 after day 1, is the one that fell short.
        QCOMPARE(at(analysis, u"restBreaks/weeklyRest"_s).toString(), u"17:00"_s);
        QCOMPARE(at(analysis, u"restBreaks/weeklyRestReduced"_s).toBool(), true);
        QCOMPARE(at(analysis, u"restBreaks/hasSplitRest"_s).toBool(), true); // the night test
        QCOMPARE(at(analysis, u"restBreaks/shortBreakCount"_s).toInt(), 6);
        QCOMPARE(at(analysis, u"restBreaks/totalShortBreakTime"_s).toString(), u"02:00"_s);
        QCOMPARE(at(analysis, u"restBreaks/longBreaks"_s).toList().size(), 7);
        QCOMPARE(at(analysis, u"restBreaks/totalLongBreakTime"_s).toString(), u"53:00"_s);

        QCOMPARE(at(analysis, u"efficiency/totalWorkMinutes"_s).toInt(), 3970);
        QCOMPARE(at(analysis, u"efficiency/totalRestMinutes"_s).toInt(), 3310);
        QCOMPARE(at(analysis, u"efficiency/utilizationRate"_s).toDouble(), 3970 * 100.0 / 7280);
        QCOMPARE(at(analysis, u"efficiency/drivingEfficiency"_s).toDouble(), 100.0);
        QCOMPARE(at(analysis, u"efficiency/sessionCount"_s).toInt(), 14);
        QCOMPARE(at(analysis, u"efficiency/averageWorkSession"_s).toString(), u"04:43"_s);
        QCOMPARE(at(analysis, u"efficiency/averageBreak"_s).toString(), u"03:56"_s);
        QCOMPARE(at(analysis, u"classification/drivingMinutes"_s).toInt(), 3220);
        QCOMPARE(at(analysis, u"classification/workMinutes"_s).toInt(), 750);
        QCOMPARE(at(analysis, u"classification/cardRestMinutes"_s).toInt(), 3310);

        QCOMPARE(at(analysis, u"workingHours/items/0/dayKey"_s).toString(), u"0001"_s);
        QCOMPARE(at(analysis, u"workingHours/items/0/workStart"_s).toString(), u"05:00"_s);
        QCOMPARE(at(analysis, u"workingHours/items/3/workEnd"_s).toString(), u"23:00"_s);
        QCOMPARE(at(analysis, u"workingHours/items/3/workMinutes"_s).toInt(), 880);
        // The sample's ferry crossing: from 9:00 to 10:30 as stored less three hours.
        QCOMPARE(at(analysis, u"conditions/ferryTrainMinutes"_s).toInt(), 90);
        QCOMPARE(at(analysis, u"conditions/ferryTrainCount"_s).toInt(), 2);
    }

    void figures_data()
    {
        QTest::addColumn<Rows>("rows");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QVariant>("expected");
        QTest::newRow("9:00 of driving is within")
            << workingDay(u"0001"_s, u"00:00"_s, u"09:00"_s) << u"drivingCycles/dailyLimitExceeded"_s
            << QVariant(false);
        QTest::newRow("9:01 is over") << workingDay(u"0001"_s, u"00:00"_s, u"09:01"_s)
                                      << u"drivingCycles/dailyLimitExceeded"_s << QVariant(true);
        QTest::newRow("4:30 of continuous driving is within")
            << workingDay(u"0001"_s, u"06:00"_s, u"10:30"_s) << u"drivingCycles/limit4_5HourExceeded"_s
            << QVariant(false);
        QTest::newRow("a single event is a night session")
            << Rows{change(u"0001"_s, u"08:00"_s, u"Work"_s)} << u"workingHours/nightWorkSessions"_s
            << QVariant(1);
        QTest::newRow("a single event has no start")
            << Rows{change(u"0001"_s, u"08:00"_s, u"Work"_s)} << u"workingHours/items/0/workStart"_s
            << QVariant(QString());
        QTest::newRow("11:00 of rest is enough")
            << workingDay(u"0001"_s, u"06:00"_s, u"19:00"_s) + workingDay(u"0002"_s, u"06:00"_s, u"12:00"_s)
            << u"workingHours/has11HourRestViolation"_s << QVariant(false);
        QTest::newRow("10:59 is not")
            << workingDay(u"0001"_s, u"06:00"_s, u"19:01"_s) + workingDay(u"0002"_s, u"06:00"_s, u"12:00"_s)
            << u"restBreaks/dailyRestReduced"_s << QVariant(true);
        QTest::newRow("days 0011 and 0013 are not consecutive")
            << workingDay(u"0011"_s, u"06:00"_s, u"23:00"_s) + workingDay(u"0013"_s, u"06:00"_s, u"12:00"_s)
            << u"workingHours/has11HourRestViolation"_s << QVariant(false);
        QTest::newRow("hexadecimal counters 0009 and 000A are")
            << workingDay(u"0009"_s, u"06:00"_s, u"23:00"_s) + workingDay(u"000A"_s, u"06:00"_s, u"12:00"_s)
            << u"restBreaks/dailyRestMinutes"_s << QVariant(420);
        const auto pause = [](int minutes) {
            return Rows{change(u"0001"_s, u"08:00"_s, u"Work"_s),
                        change(u"0001"_s, u"09:00"_s, u"Rest"_s, false),
                        change(u"0001"_s, u"09:%1"_s.arg(minutes, 2, 10, QLatin1Char('0')), u"Work"_s),
                        change(u"0001"_s, u"11:00"_s, u"Rest"_s, false)};
        };
        QTest::newRow("14 minutes is too short")
            << pause(14) << u"workingHours/tooShortBreakCount"_s << QVariant(1);
        QTest::newRow("15 minutes is a short break")
            << pause(15) << u"restBreaks/shortBreakCount"_s << QVariant(1);
        QTest::newRow("15 minutes is not too short")
            << pause(15) << u"workingHours/tooShortBreakCount"_s << QVariant(0);
        QTest::newRow("a too-short break shows its length")
            << pause(14) << u"workingHours/tooShortBreaks/0"_s << QVariant(u"00:14"_s);
        QTest::newRow("rest without the card adds up over changes")
            << Rows{change(u"0001"_s, u"08:00"_s, u"Work"_s), change(u"0001"_s, u"09:00"_s, u"Rest"_s, false),
                    change(u"0001"_s, u"09:05"_s, u"Rest"_s, false), change(u"0001"_s, u"09:12"_s, u"Work"_s),
                    change(u"0001"_s, u"10:00"_s, u"Rest"_s, false)}
            << u"workingHours/tooShortBreaks/0"_s << QVariant(u"00:12"_s);
        QTest::newRow("a long work session shows its length")
            << Rows{change(u"0001"_s, u"06:00"_s, u"Work"_s), change(u"0001"_s, u"08:00"_s, u"Drive"_s),
                    change(u"0001"_s, u"10:01"_s, u"Rest"_s, false)}
            << u"workingHours/tooLongWorkSessions/0"_s << QVariant(u"04:01"_s);
        QTest::newRow("4:00 of work is no long session")
            << Rows{change(u"0001"_s, u"06:00"_s, u"Work"_s), change(u"0001"_s, u"10:00"_s, u"Rest"_s, false)}
            << u"workingHours/tooLongWorkSessions/0"_s << QVariant(QString());
        const auto keyed = [](const QVariantMap& keys) {
            QVariantMap row = change(QString(), u"08:00"_s, u"Work"_s);
            row.remove(u"activityDailyPresenceCounter1"_s);
            row.insert(keys);
            return Rows{row};
        };
        QTest::newRow("an empty counter gives way to dayKey")
            << keyed({{u"activityDailyPresenceCounter1"_s, QString()},
                      {u"dayKey"_s, u"0007"_s},
                      {u"day"_s, u"0002"_s}})
            << u"workingHours/items/0/dayKey"_s << QVariant(u"0007"_s);
        QTest::newRow("an empty dayKey is a blank key")
            << keyed({{u"dayKey"_s, QString()}, {u"day"_s, u"0002"_s}}) << u"workingHours/items/0/dayKey"_s
            << QVariant(u" "_s);
        QTest::newRow("a missing dayKey gives way to day")
            << keyed({{u"day"_s, u"0002"_s}}) << u"workingHours/items/0/dayNumber"_s << QVariant(u"0002"_s);
        QTest::newRow("a signed key is decimal")
            << workingDay(u"+123"_s, u"06:00"_s, u"23:00"_s) + workingDay(u"0124"_s, u"06:00"_s, u"12:00"_s)
            << u"restBreaks/dailyRestMinutes"_s << QVariant(420);
        QTest::newRow("31 minutes is a long break")
            << pause(31) << u"restBreaks/longBreaks/0"_s << QVariant(u"00:31"_s);
        QTest::newRow("four short pauses and 5:00 of driving")
            << shortBreaks(4) << u"compliance/restBreaksScore"_s << QVariant(30);
        QTest::newRow("eight of them") << shortBreaks(8) << u"compliance/restBreaksScore"_s << QVariant(0);
        QTest::newRow("over the daily limit, all else well")
            << Rows{change(u"0001"_s, u"00:00"_s, u"Drive"_s),
                    change(u"0001"_s, u"04:00"_s, u"Rest"_s),
                    change(u"0001"_s, u"04:45"_s, u"Drive"_s),
                    change(u"0001"_s, u"08:45"_s, u"Rest"_s),
                    change(u"0001"_s, u"09:30"_s, u"Drive"_s),
                    change(u"0001"_s, u"11:00"_s, u"Rest"_s, false)}
            << u"compliance/overallScore"_s << QVariant(83);
        QTest::newRow("availability lowers the efficiency")
            << Rows{change(u"0001"_s, u"08:00"_s, u"Availability"_s),
                    change(u"0001"_s, u"09:00"_s, u"Drive"_s),
                    change(u"0001"_s, u"10:00"_s, u"Rest"_s, false)}
            << u"efficiency/drivingEfficiency"_s << QVariant(50.0);
        QTest::newRow("Russian texts of a vehicle unit")
            << Rows{QVariantMap{{u"day"_s, 1},
                                {u"time"_s, u"08:00"_s},
                                {u"activity"_s, u"Вождение"_s},
                                {u"cardStatus"_s, u"Вставлена"_s}},
                    QVariantMap{{u"day"_s, 1},
                                {u"minutes"_s, 600},
                                {u"activity"_s, u"Перерыв/отдых"_s},
                                {u"cardStatus"_s, u"Не вставлена"_s}}}
            << u"drivingCycles/dailyDrivingTimeMinutes"_s << QVariant(120);
        // The weekly rest: within six 24-hour periods of the end of the last one, 24:00 at least, and
        // of two in a row one of 45:00.
        QTest::newRow("60:00 off after five days is a regular weekly rest")
            << workingDays({1, 2, 3, 4, 5, 8}) << u"restBreaks/weeklyRest"_s << QVariant(u"60:00"_s);
        QTest::newRow("and no violation")
            << workingDays({1, 2, 3, 4, 5, 8}) << u"restBreaks/weeklyRestReduced"_s << QVariant(false);
        QTest::newRow("one reduced weekly rest of 36:00 is allowed")
            << workingDays({1, 2, 3, 4, 5, 7, 8, 9}) << u"restBreaks/weeklyRestReduced"_s << QVariant(false);
        QTest::newRow("two in a row are not")
            << workingDays({1, 2, 3, 4, 5, 7, 8, 9, 10, 11, 13}) << u"compliance/violations/0"_s
            << QVariant(u"Недостаточный еженедельный отдых: 36:00 < 45:00"_s);
        QTest::newRow("seven days without 24:00 off")
            << workingDays({1, 2, 3, 4, 5, 6, 7}) << u"compliance/violations/0"_s
            << QVariant(u"Недостаточный еженедельный отдых: 12:00 < 45:00"_s);
        QTest::newRow("six days are not yet judged")
            << workingDays({1, 2, 3, 4, 5, 6}) << u"restBreaks/weeklyRestReduced"_s << QVariant(false);
        QTest::newRow("a short day is within two weeks' limit")
            << workingDay(u"0001"_s, u"06:00"_s, u"09:00"_s) << u"drivingCycles/biWeeklyLimitExceeded"_s
            << QVariant(false);
        QTest::newRow("a change at 05:59 is at night") << workingDay(u"0001"_s, u"05:59"_s, u"07:00"_s)
                                                       << u"restBreaks/hasSplitRest"_s << QVariant(true);
        QTest::newRow("\"Перерыв\" with the card is a rest activity")
            << Rows{change(u"0001"_s, u"08:00"_s, u"Перерыв"_s),
                    change(u"0001"_s, u"09:00"_s, u"Rest"_s, false)}
            << u"workingHours/items/0/restActivityMinutes"_s << QVariant(60);
        QTest::newRow("\"Неизвестно\" without the card is unknown")
            << Rows{change(u"0001"_s, u"08:00"_s, u"Неизвестно"_s, false),
                    change(u"0001"_s, u"09:00"_s, u"Work"_s)}
            << u"workingHours/items/0/unknownMinutes"_s << QVariant(60);
        QTest::newRow("minute 1440 is no time of day")
            << Rows{change(u"0001"_s, u"08:00"_s, u"Drive"_s), QVariantMap{{u"day"_s, u"0001"_s},
                                                                           {u"minutes"_s, 1440},
                                                                           {u"cardStatus"_s, u"Inserted"_s}}}
            << u"drivingCycles/dailyDrivingTimeMinutes"_s << QVariant(0);
        QTest::newRow("no manual entries") << workingDay(u"0001"_s, u"06:00"_s, u"09:00"_s)
                                           << u"classification/manualInputCount"_s << QVariant(0);
        QTest::newRow("a rest at the data's end holds to the day's end")
            << workingDays({1, 2, 3, 4, 5}) + Rows{change(u"0008"_s, u"00:00"_s, u"Rest"_s, false)}
            << u"restBreaks/weeklyRest"_s << QVariant(u"78:00"_s);
        QTest::newRow("an open rest at the day's end is no session")
            << Rows{change(u"0001"_s, u"08:00"_s, u"Work"_s), change(u"0001"_s, u"09:00"_s, u"Rest"_s, false),
                    change(u"0001"_s, u"10:00"_s, u"Work"_s)}
            << u"efficiency/sessionCount"_s << QVariant(1);
        QTest::newRow("no changes, no night sessions")
            << Rows() << u"workingHours/nightWorkSessions"_s << QVariant(0);
        QTest::newRow("no changes") << Rows() << u"compliance/overallScore"_s << QVariant(0);
        QTest::newRow("no changes, no verdict") << Rows() << u"compliance/isCompliant"_s << QVariant(false);
        QTest::newRow("no changes, no durations")
            << Rows() << u"drivingCycles/dailyDrivingTime"_s << QVariant(u"00:00"_s);
    }

    void figures()
    {
        QFETCH(Rows, rows);
        QFETCH(QString, path);
        QFETCH(QVariant, expected);
        const QVariantMap analysis = ActivityAnalyzer::analyze(rows, {}, {});
        QCOMPARE(at(analysis, path).toString(), expected.toString());
    }

    // A unit's two slots are two drivers: a change in the co-driver's slot breaks no driving of the driver.
    void crewSlotsAreJudgedApart()
    {
        VehicleUnitDescription description = sampleVehicleUnit(1);
        description.days.first().changes = {
            {0, Rest, false},       {360, Driving, true, false, true},     {660, Rest, false},
            {0, Rest, false, true}, {480, Availability, true, true, true}, {720, Rest, false, true}};
        const DddReport report = Decoder::decode(writeVehicleUnit(description), u"crew.ddd"_s);
        QCOMPARE(at(report.analysis, u"compliance/violations"_s).toStringList(),
                 QStringList{u"Превышено непрерывное вождение: 05:00 > 4:30"_s});
        QCOMPARE(report.summary().value(u"complianceScore"_s).toInt(), 90);
        QCOMPARE(at(report.analysis, u"coDriver/drivingCycles/maxContinuousDrivingMinutes"_s).toInt(), 0);
        QCOMPARE(at(report.analysis, u"coDriver/classification/availabilityMinutes"_s).toInt(), 240);
        QCOMPARE(at(report.analysis, u"coDriver/compliance/isCompliant"_s).toBool(), true);
    }

    void minutesOfText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("minutes");
        QTest::newRow("HH:MM") << u"08:30"_s << 510;
        QTest::newRow("24:00 is no time") << u"24:00"_s << -1;
        QTest::newRow("inside a longer text") << u"04.03.2024 17:05:00"_s << 1025;
        QTest::newRow("an hour of one digit is no time") << u"04.03.2024 7:05:00"_s << -1;
        QTest::newRow("no time") << u"rest"_s << -1;
    }

    void minutesOfText()
    {
        QFETCH(QString, text);
        QTEST(ActivityAnalyzer::parseMinutes(text), "minutes");
    }

    void dayOrder_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<qint64>("order");
        QTest::newRow("four decimal digits") << u"0010"_s << qint64(10);
        QTest::newRow("four hexadecimal digits") << u"000A"_s << qint64(10);
        QTest::newRow("four hexadecimal digits, lower case") << u"00ff"_s << qint64(255);
        QTest::newRow("longer decimal") << u"12345"_s << qint64(12345);
        QTest::newRow("shorter hexadecimal") << u"1e"_s << qint64(30);
        QTest::newRow("a sign is no hexadecimal digit") << u"+123"_s << qint64(123);
        QTest::newRow("no number") << u"day 1"_s << std::numeric_limits<qint64>::max();
        QTest::newRow("the blank key") << u" "_s << std::numeric_limits<qint64>::max();
    }

    void dayOrder()
    {
        QFETCH(QString, key);
        QTEST(ActivityAnalyzer::dayOrderKey(key), "order");
    }

    void emptyListGivesTheWholeMap()
    {
        const QVariantMap analysis = ActivityAnalyzer::analyze({}, {}, {});
        QCOMPARE(analysis.keys(),
                 QStringList({u"classification"_s, u"compliance"_s, u"conditions"_s, u"drivingCycles"_s,
                              u"efficiency"_s, u"restBreaks"_s, u"workingHours"_s}));
        QVERIFY(at(analysis, u"classification"_s).toMap().isEmpty());
        QVERIFY(at(analysis, u"compliance/warnings"_s).toList().isEmpty());
        QVERIFY(at(analysis, u"compliance/recommendations"_s).toList().isEmpty());
    }

    void manualRecordsAndFerryIntervals()
    {
        // A blank flag is a flag, and not "Нет".
        const Rows vehicles{{{u"manualInputFlag"_s, u"Да"_s}},
                            {{u"manualInputFlag"_s, u"Нет"_s}},
                            {{u"manualInput"_s, true}},
                            {{u"manualInputFlag"_s, u" "_s}, {u"manualInput"_s, false}}};
        const Rows conditions{{{u"specificConditionType"_s, u"Паром/поезд — начало"_s},
                               {u"entryTime"_s, u"04.03.2024 23:30:00"_s}},
                              {{u"specificConditionType"_s, u"Прочее"_s}, {u"conditionCode"_s, 7}},
                              {{u"specificConditionType"_s, u"Паром/поезд — окончание"_s},
                               {u"entryTime"_s, u"05.03.2024 01:00:00"_s}},
                              {{u"type"_s, u"Ferry/train crossing begin"_s}, {u"time"_s, u"10:00"_s}},
                              {{u"type"_s, u"Ferry/train crossing end"_s}, {u"time"_s, u"11:00"_s}}};
        const QVariantMap analysis = ActivityAnalyzer::analyze({}, vehicles, conditions);
        QCOMPARE(at(analysis, u"conditions/manualInputCount"_s).toInt(), 3);
        QCOMPARE(at(analysis, u"conditions/specificConditionCount"_s).toInt(), 5);
        QCOMPARE(at(analysis, u"conditions/ferryTrainCount"_s).toInt(), 4);
        QCOMPARE(at(analysis, u"conditions/ferryTrainMinutes"_s).toInt(),
                 90 + 60); // the first across midnight
        QCOMPARE(at(analysis, u"conditions/ferryTrainIntervals/0/begin"_s).toString(), u"23:30"_s);
    }
};

QTEST_GUILESS_MAIN(TestActivityAnalyzer)
#include "test_activity_analyzer.moc"
