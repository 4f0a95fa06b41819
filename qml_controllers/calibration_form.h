#pragma once

#include <QString>
#include <QStringList>

namespace tachoria::qml {

// The calibration form's own vocabulary: how a parameter is named, hinted, limited and rendered for a
// master, and the tyre circumference a marking gives. Plain functions over fixed tables.

// The form's label of a parameter; a name outside the table as it stands.
QString parameterLabel(const QString& name);
// The tooltip of a parameter's input; empty when it has none.
QString parameterHint(const QString& name);
// The longest text an input takes; 0 for no limit.
int parameterMaximumLength(const QString& name);
// A stored value in words for the review lists of saved configurations.
QString configurationValueLabel(const QString& name, const QString& value);
// What a saved vehicle configuration holds, in this order. The VIN itself is deliberately not in it,
// only whether the CAN VIN is in use.
const QStringList& vehicleConfigurationParameterNames();
// The circumference in mm that a tyre marking gives, as text; empty when no known form matches.
QString tyreCircumference(const QString& marking);

} // namespace tachoria::qml
