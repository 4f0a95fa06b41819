#include "tools/dddgen/ddd_description_json.h"

#include <QJsonArray>
#include <QTimeZone>

namespace tachoria::dddgen {

using namespace Qt::StringLiterals;

namespace {

int activityFromText(const QString& text)
{
    const QString lower = text.toLower();
    if (lower.startsWith(u"driv"_s))
        return Driving;
    if (lower.startsWith(u"work"_s))
        return Work;
    if (lower.startsWith(u"avail"_s))
        return Availability;
    return Rest;
}

QList<Day> daysFromJson(const QJsonArray& array, const QList<Day>& sampled)
{
    QList<Day> days;
    for (qsizetype index = 0; index < array.size(); ++index) {
        const QJsonObject object = array.at(index).toObject();
        Day day = index < sampled.size() ? sampled.at(index) : Day();
        day.date = QDate::fromString(object.value(u"date"_s).toString(), u"yyyy-MM-dd"_s);
        day.distanceKm = object.value(u"distanceKm"_s).toInt(day.distanceKm);
        day.odometerMidnight = quint32(object.value(u"odometer"_s).toInteger(day.odometerMidnight));
        if (object.contains(u"changes"_s)) {
            day.changes.clear();
            for (const QJsonValue& value : object.value(u"changes"_s).toArray()) {
                const QJsonObject change = value.toObject();
                const QTime time = QTime::fromString(change.value(u"time"_s).toString(), u"HH:mm"_s);
                day.changes.append({time.hour() * 60 + time.minute(),
                                    activityFromText(change.value(u"activity"_s).toString()),
                                    change.value(u"inserted"_s).toBool(true),
                                    change.value(u"coDriver"_s).toBool(), change.value(u"crew"_s).toBool()});
            }
        }
        // Sampled insertions and places follow the day they belong to.
        const QDateTime midnight = day.date.startOfDay(QTimeZone::utc());
        for (CardInsertion& card : day.insertions) {
            card.inserted = midnight.addSecs(6 * 3600);
            card.withdrawn = midnight.addSecs(15 * 3600);
        }
        for (VuPlace& place : day.places)
            place.time = midnight.addSecs(6 * 3600);
        days.append(day);
    }
    return days;
}

QDate firstDate(const QJsonObject& json)
{
    const QDate date = QDate::fromString(json.value(u"firstDay"_s).toString(), u"yyyy-MM-dd"_s);
    return date.isValid() ? date : QDate(2024, 3, 4);
}

} // namespace

DriverCardDescription driverCardFromJson(const QJsonObject& json)
{
    const QJsonValue days = json.value(u"days"_s);
    const int count = days.isArray() ? int(days.toArray().size()) : days.toInt(28);
    DriverCardDescription d = sampleDriverCard(count, firstDate(json));
    if (days.isArray())
        d.days = daysFromJson(days.toArray(), d.days);
    d.cardNumber = json.value(u"cardNumber"_s).toString(d.cardNumber);
    d.surname = json.value(u"surname"_s).toString(d.surname);
    d.firstNames = json.value(u"firstNames"_s).toString(d.firstNames);
    d.littleEndianCounts = json.value(u"littleEndianCounts"_s).toBool(d.littleEndianCounts);
    d.signatures = json.value(u"signatures"_s).toBool(d.signatures);
    d.junkBetweenBlocks = json.value(u"junkBetweenBlocks"_s).toInt(d.junkBetweenBlocks);
    d.truncatedRecords = json.value(u"truncatedRecords"_s).toBool(d.truncatedRecords);
    return d;
}

VehicleUnitDescription vehicleUnitFromJson(const QJsonObject& json)
{
    const QJsonValue days = json.value(u"days"_s);
    const int count = days.isArray() ? int(days.toArray().size()) : days.toInt(7);
    VehicleUnitDescription d = sampleVehicleUnit(count, firstDate(json));
    if (days.isArray())
        d.days = daysFromJson(days.toArray(), d.days);
    d.vin = json.value(u"vin"_s).toString(d.vin);
    d.registration = json.value(u"registration"_s).toString(d.registration);
    return d;
}

} // namespace tachoria::dddgen
