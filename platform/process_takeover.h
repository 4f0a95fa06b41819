#pragma once

#include <QString>
#include <QStringList>

namespace tachoria::platform {

// Asks every earlier instance of the program that runs for this user to leave, so that this one owns
// the serial port. It never kills: an instance that does not leave in time makes this fail, with the
// text for the user in `error`.
bool takeOverTachoriaProcesses(QString* error = nullptr);

// The pieces of the above, apart so that they can be checked on their own.
struct TakeoverLimits
{
    int gracefulWaitMs = 5000;
    int pollIntervalMs = 100;
};
// Processes of this user, other than this one, whose executable is one of `names` (in any case).
QList<qint64> runningInstances(const QStringList& names);
bool takeOverProcesses(const QList<qint64>& pids, const TakeoverLimits& limits, QString* error);

// The executable names that count as the program.
QStringList tachoriaExecutableNames();

} // namespace tachoria::platform
