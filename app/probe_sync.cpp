// The package and the merge from the console, on the per-user data, so that a shop can back up and
// move its data by script.
#include "app/probes.h"
#include "sync/synchronization_manager.h"

#include <QTextStream>

namespace tachoria::app {

namespace {

constexpr int kSyncFailed = 8;

int report(const sync::SyncResult& result)
{
    if (!result.success) {
        QTextStream(stderr) << result.message << '\n';
        return kSyncFailed;
    }
    QTextStream out(stdout);
    out << result.message << '\n'
        << "records=" << result.addedRecords << " files=" << result.addedFiles << '\n';
    return 0;
}

} // namespace

int runSyncExport(const CommandLine& commandLine)
{
    return report(
        sync::SynchronizationManager::exportPackage(commandLine.value(QStringLiteral("--sync-export"))));
}

int runSyncImport(const CommandLine& commandLine)
{
    return report(
        sync::SynchronizationManager::importPackage(commandLine.value(QStringLiteral("--sync-import"))));
}

} // namespace tachoria::app
