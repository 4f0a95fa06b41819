#pragma once

#include <QString>

namespace tachoria::qml {

// How a running version compares with a published one, in the main menu's short words: "акт." (the
// same), "обн." (an update exists), "нов." (newer than published); empty when either is unknown.
QString programVersionStatus(const QString& running, const QString& published);
// The same for firmware, whose versions are single hexadecimal numbers; publishedValue 0 is unknown.
QString firmwareVersionStatus(const QString& deviceVersion, quint64 publishedValue);
bool firmwareUpdateAvailable(const QString& deviceVersion, quint64 publishedValue);

} // namespace tachoria::qml
