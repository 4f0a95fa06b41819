#include "sync/synchronization_manager.h"

#include "storage/app_paths.h"
#include "sync/database_merge.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSet>
#include <QUuid>

namespace tachoria::sync {

namespace {

bool fail(QString* error, const QString& text)
{
    if (error)
        *error = text;
    return false;
}

SyncResult failure(SyncResult result, const QString& message)
{
    result.success = false;
    result.message = message;
    return result;
}

// The three roots a package's files may land in; anything else under "files/" is passed over, so
// that no package can replace a database or a backup as if it were a plain file.
QString fileDestination(const QString& packagePath)
{
    const QString rest = packagePath.mid(int(qstrlen("files/")));
    const QString data = storage::AppPaths::data() + QLatin1Char('/');
    if (rest.startsWith(QLatin1String("DATA/")))
        return storage::AppPaths::downloadDirectory() + QLatin1Char('/') + rest.mid(int(qstrlen("DATA/")));
    if (rest.startsWith(QLatin1String("XML/")) || rest.startsWith(QLatin1String("Documents/")))
        return data + rest;
    return QString();
}

QString checksumListPath()
{
    return storage::AppPaths::data() + QStringLiteral("/XML/checksums.txt");
}

// The certificates' checksum list only ever grows on each side, so two lists meet as their union:
// the lines this side has, then those it lacks in the order they come.
QByteArray unitedChecksumList(const QString& path, const QByteArray& incoming)
{
    QFile file(path);
    QByteArray local;
    if (file.open(QIODevice::ReadOnly))
        local = file.readAll();
    QSet<QByteArray> known;
    for (const QByteArray& line : local.split('\n'))
        known.insert(line.trimmed());
    if (!local.isEmpty() && !local.endsWith('\n'))
        local.append('\n');
    for (const QByteArray& line : incoming.split('\n')) {
        const QByteArray trimmed = line.trimmed();
        if (trimmed.isEmpty() || known.contains(trimmed))
            continue;
        known.insert(trimmed);
        local.append(trimmed).append('\n');
    }
    return local;
}

bool writeWhole(const QString& path, const QByteArray& data)
{
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.commit();
}

} // namespace

QString SynchronizationManager::syncDirectory()
{
    return storage::AppPaths::data() + QStringLiteral("/Sync");
}

QStringList SynchronizationManager::packageFiles()
{
    QStringList paths;
    const QFileInfoList files =
        QDir(syncDirectory())
            .entryInfoList({QStringLiteral("*.tsync")}, QDir::Files | QDir::Readable, QDir::Time);
    for (const QFileInfo& info : files)
        paths.append(info.absoluteFilePath());
    return paths;
}

SyncResult SynchronizationManager::exportPackage(const QString& path)
{
    storage::AppPaths::ensureDirectories();
    SyncResult result;
    QString target = path;
    if (target.isEmpty())
        target = syncDirectory() +
                 QStringLiteral("/TachoriaSync_%1.tsync")
                     .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd_HH-mm-ss")));
    QString error;
    const QList<PackageEntry> entries = collectPackageEntries(&error);
    // No entries and no error is a valid, empty package.
    if (entries.isEmpty() && !error.isEmpty())
        return failure(result, error);
    if (!writePackage(target, entries, &error))
        return failure(result, error);
    result.success = true;
    result.packagePath = QFileInfo(target).absoluteFilePath();
    result.addedFiles = int(entries.size());
    result.message = QStringLiteral("Пакет создан: %1").arg(result.packagePath);
    return result;
}

bool SynchronizationManager::createBackup(QString* error)
{
    const QString folder = storage::AppPaths::data() +
                           QStringLiteral("/Backups/Sync_%1")
                               .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd_HHmmss")));
    if (!QDir().mkpath(folder + QStringLiteral("/db")))
        return fail(error, QStringLiteral("Не удалось создать каталог резервной копии."));
    for (const QString& name : databaseNames()) {
        const QString source = databasePath(name);
        if (!QFileInfo::exists(source))
            continue;
        const QString copy = folder + QStringLiteral("/db/") + name;
        QFile::remove(copy);
        if (!QFile::copy(source, copy))
            return fail(error, QStringLiteral("Не удалось создать резервную копию: %1").arg(source));
    }
    return true;
}

bool SynchronizationManager::writeFiles(const QList<PackageEntry>& entries, int* written, QString* error)
{
    for (const PackageEntry& entry : entries) {
        if (!entry.path.startsWith(QLatin1String("files/")))
            continue;
        const QString destination = fileDestination(entry.path);
        if (destination.isEmpty())
            continue;
        const bool checksums = QDir::cleanPath(destination) == QDir::cleanPath(checksumListPath());
        if (!writeWhole(destination, checksums ? unitedChecksumList(destination, entry.data) : entry.data))
            return fail(error, QStringLiteral("Не удалось записать файл: %1").arg(destination));
        if (written)
            ++*written;
    }
    return true;
}

SyncResult SynchronizationManager::importPackage(const QString& path)
{
    SyncResult result;
    if (path.isEmpty() || !QFileInfo::exists(path))
        return failure(result, QStringLiteral("Пакет синхронизации не найден."));
    QList<PackageEntry> entries;
    QString error;
    if (!readPackage(path, entries, &error))
        return failure(result, error);
    if (!createBackup(&error))
        return failure(result, error);

    const QString work =
        storage::AppPaths::data() +
        QStringLiteral("/Sync/incoming_%1").arg(QUuid::createUuid().toString(QUuid::WithoutBraces));
    if (!QDir().mkpath(work))
        return failure(result, QStringLiteral("Не удалось подготовить импорт."));
    // The working folder goes on every path out of here.
    struct Cleanup
    {
        QString folder;
        ~Cleanup() { QDir(folder).removeRecursively(); }
    } cleanup{work};

    for (const PackageEntry& entry : std::as_const(entries)) {
        if (!entry.path.startsWith(QLatin1String("db/")))
            continue;
        const QString name = entry.path.mid(3);
        if (!writeWhole(work + QLatin1Char('/') + name, entry.data))
            return failure(result, QStringLiteral("Не удалось подготовить базу %1.").arg(name));
    }
    // Every database that came must be sound before any of them is merged: a file that is no SQLite
    // database would otherwise stop the import halfway, or be taken over whole by a side without it.
    for (const QString& name : databaseNames()) {
        const QString copy = work + QLatin1Char('/') + name;
        QString reason;
        if (QFileInfo::exists(copy) && !isSoundDatabase(copy, &reason))
            return failure(result, QStringLiteral("Ошибка объединения %1: %2").arg(name, reason));
    }
    for (const QString& name : databaseNames()) {
        const QString copy = work + QLatin1Char('/') + name;
        if (!QFileInfo::exists(copy))
            continue;
        if (!mergeDatabase(copy, databasePath(name), &result.addedRecords, &error))
            return failure(result, QStringLiteral("Ошибка объединения %1: %2").arg(name, error));
    }
    if (!writeFiles(entries, &result.addedFiles, &error))
        return failure(result, error);
    result.success = true;
    result.message = QStringLiteral("Синхронизация завершена. Добавлено записей: %1, файлов: %2.")
                         .arg(result.addedRecords)
                         .arg(result.addedFiles);
    return result;
}

} // namespace tachoria::sync
