#pragma once

#include "ddd/ddd_report.h"

#include <QDate>
#include <QHash>
#include <QList>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <functional>

namespace tachoria::ddd {

// Judges the activity changes of a card or a vehicle unit against the driving and rest limits. A pure
// function of its inputs: a report from storage gives the same figures again.
class ActivityAnalyzer
{
public:
    // A row's value by its key: of a dataset's row or of a map.
    using RowValue = std::function<QVariant(QStringView)>;

    // One activity change, read from a row once.
    struct Event
    {
        QString dayKey;
        int minutes = 0;
        bool valid = false;
        bool inserted = false;
        int kind = 0; // the activity: driving, available, work, rest or unknown, in this order
        bool unknownActivity = false;
        bool manual = false;
        bool ferryOrTrain = false;
    };

    // The figures of one day, in minutes.
    struct DayData
    {
        QString dayKey;
        QList<Event> events;
        int workMinutes = 0;
        int restMinutes = 0;
        int availableMinutes = 0;
        int unknownMinutes = 0;
        int drivingMinutes = 0;
        int workActivityMinutes = 0;
        int restActivityMinutes = 0;
        int workStart = -1;
        int workEnd = -1;
        int manualInputCount = 0;
        int ferryTrainCount = 0;
    };

    // The weekly rest by Regulation (EC) No 561/2006, Article 8: `minutes` is the shortest weekly rest
    // judged, or the longest rest of a period that had none; `tooShort` when a period of six 24-hour
    // periods passed without a rest of 24 hours, or two reduced ones came in a row.
    struct WeeklyRest
    {
        int minutes = 0;
        bool tooShort = false;
    };

    // `dayDates` gives the calendar date of a day key where the report knows it; without it the keys
    // count as consecutive days.
    static QVariantMap analyze(const DatasetRows& activityChanges, const DatasetRows& vehicleRecords,
                               const DatasetRows& specificConditions,
                               const QHash<QString, QDate>& dayDates = {});
    static WeeklyRest judgeWeeklyRest(const QList<DayData>& days, const QHash<QString, QDate>& dayDates);

    static QString dayKeyFor(const RowValue& row);
    static int parseMinutes(const QString& text); // -1 when the text holds no time of day
    static qint64 dayOrderKey(const QString& key);
    static bool isManualRecord(const RowValue& row);
    static bool isFerryOrTrain(const RowValue& row);
    static QList<DayData> buildDays(const DatasetRows& activityChanges);

private:
    ActivityAnalyzer() = delete;
};

} // namespace tachoria::ddd
