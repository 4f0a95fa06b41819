#pragma once

#include "sync/sync_package.h"

#include <QString>
#include <QStringList>

namespace tachoria::sync {

// The public door of synchronisation: a package of this installation's databases and files, and the
// merge of another installation's package into them. The merge only adds; the sole row it changes
// is a setting that the other side changed later.
class SynchronizationManager
{
public:
    static QString syncDirectory();
    // "*.tsync" of the sync folder that can be read, newest first.
    static QStringList packageFiles();
    // An empty path makes "TachoriaSync_<local time>.tsync" in the sync folder.
    static SyncResult exportPackage(const QString& path);
    static SyncResult importPackage(const QString& path);

    // Copies of the local databases under Backups/Sync_<time>/db before a merge touches them.
    static bool createBackup(QString* error);
    // The files of a package into their folders; the later import wins over a file that is there.
    static bool writeFiles(const QList<PackageEntry>& entries, int* written, QString* error);

private:
    SynchronizationManager() = delete;
};

} // namespace tachoria::sync
