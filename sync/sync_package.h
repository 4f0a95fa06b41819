#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace tachoria::sync {

// One file of a package, held whole in memory.
struct PackageEntry
{
    QString path; // "/"-separated, never absolute
    QByteArray data;
};

// What an export or an import hands back.
struct SyncResult
{
    bool success = false;
    QString message;
    QString packagePath;  // export only
    int addedRecords = 0; // import only
    int addedFiles = 0;   // import: files written; export: entries in the package
};

// The package is one QDataStream (version 19, big-endian): magic, format "1", the UTC time of writing,
// an entry count and the entries as (path, data) pairs. No compression, no checksum.
inline constexpr quint32 kMaxPackageEntries = 100000;

// The eight databases that travel, in the order they are collected and merged.
QStringList databaseNames();
// Full local path of one of them; empty for any other name.
QString databasePath(const QString& name);

QList<PackageEntry> collectPackageEntries(QString* error);
void collectFiles(const QString& root, const QString& prefix, QList<PackageEntry>& entries);

bool writePackage(const QString& path, const QList<PackageEntry>& entries, QString* error);
// Entries read before a damaged one stay in the list.
bool readPackage(const QString& path, QList<PackageEntry>& entries, QString* error);

} // namespace tachoria::sync
