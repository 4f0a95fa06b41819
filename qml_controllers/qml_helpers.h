#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

namespace tachoria::qml {

// Helpers that several controllers share.

// A port's name as the user sees and stores it.
QString displayPort(const QString& port);
// Every port of the catalogue, as displayed, without duplicates, "COM2" before "COM10".
QStringList sortedPortNames();
bool portNameLess(const QString& a, const QString& b);
// A date or date-time of a document as "dd.MM.yyyy" or "dd.MM.yyyy HH:mm"; text that is no date as it is.
QString documentDate(const QVariant& value);
// The absolute path of a file inside the journal's folder, or empty for anything outside it.
QString validatedLogPath(const QString& path);
QString validatedLogPath(const QString& path, const QString& logDirectory);
// A firmware transfer's technical failure in words for the user.
QString firmwareUpdateStatusForUser(const QString& technicalText);

} // namespace tachoria::qml
