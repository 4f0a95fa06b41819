#pragma once

// A description in JSON, laid over a sample: what the file names is taken, the rest stays as sampled.

#include "tools/dddgen/ddd_generator.h"

#include <QJsonObject>

namespace tachoria::dddgen {

// Keys common to both: "days" (a number of sampled days, or a list of {"date": "yyyy-MM-dd",
// "distanceKm", "odometer", "changes": [{"time": "HH:mm", "activity": "rest|availability|work|driving",
// "inserted", "coDriver", "crew"}]}).
// Card: "cardNumber", "surname", "firstNames", "littleEndianCounts", "junkBetweenBlocks",
// "truncatedRecords", "signatures". Vehicle unit: "vin", "registration".
DriverCardDescription driverCardFromJson(const QJsonObject& json);
VehicleUnitDescription vehicleUnitFromJson(const QJsonObject& json);

} // namespace tachoria::dddgen
