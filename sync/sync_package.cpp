#include "sync/sync_package.h"

#include "storage/app_paths.h"
#include "storage/database_catalog.h"

#include <QDataStream>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace tachoria::sync {

namespace {

constexpr int kStreamVersion = 19;
const QString kMagic = QStringLiteral("TACHORIA_SYNC_PACKAGE_V1");
const QString kFormatVersion = QStringLiteral("1");

bool fail(QString* error, const QString& text)
{
    if (error)
        *error = text;
    return false;
}

bool isDamagedPath(const QString& path)
{
    return path.isEmpty() || path.startsWith(QLatin1Char('/')) || path.contains(QLatin1String(".."));
}

} // namespace

QStringList databaseNames()
{
    return {QStringLiteral("SettingsDB.db"),    QStringLiteral("MasterDB.db"),
            QStringLiteral("CustomersDB.db"),   QStringLiteral("VehicleDB.db"),
            QStringLiteral("CalibrationDB.db"), QStringLiteral("CertificateDB.db"),
            QStringLiteral("driver_cards.db"),  QStringLiteral("VehicleConfigurations.db")};
}

QString databasePath(const QString& name)
{
    using storage::KnownDatabase;
    for (KnownDatabase known :
         {KnownDatabase::Settings, KnownDatabase::Masters, KnownDatabase::Customers, KnownDatabase::Vehicles,
          KnownDatabase::Calibration, KnownDatabase::Certificates, KnownDatabase::DriverCards}) {
        if (storage::DatabaseCatalog::fileName(known) == name)
            return storage::DatabaseCatalog::path(known);
    }
    if (name == QLatin1String("VehicleConfigurations.db"))
        return storage::AppPaths::database(name);
    return QString();
}

void collectFiles(const QString& root, const QString& prefix, QList<PackageEntry>& entries)
{
    const QDir folder(root);
    if (!folder.exists())
        return;
    const QFileInfoList files =
        folder.entryInfoList(QDir::Files | QDir::Readable | QDir::Hidden | QDir::NoSymLinks, QDir::Name);
    for (const QFileInfo& info : files) {
        QFile file(info.absoluteFilePath());
        if (!file.open(QIODevice::ReadOnly))
            continue;
        entries.append({prefix + info.fileName(), file.readAll()});
    }
    const QFileInfoList folders =
        folder.entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden | QDir::NoSymLinks, QDir::Name);
    for (const QFileInfo& info : folders) {
        const QString inner = prefix + info.fileName() + QLatin1Char('/');
        // Holds only for a collection that starts at a data root: never carry packages or backups.
        if (inner.startsWith(QLatin1String("Sync/"), Qt::CaseInsensitive) ||
            inner.startsWith(QLatin1String("Backups/"), Qt::CaseInsensitive))
            continue;
        collectFiles(info.absoluteFilePath(), inner, entries);
    }
}

QList<PackageEntry> collectPackageEntries(QString* error)
{
    QList<PackageEntry> entries;
    for (const QString& name : databaseNames()) {
        QFile file(databasePath(name));
        if (!file.exists())
            continue;
        // The file as it lies on disk, without a connection: committed rows are all in it.
        if (!file.open(QIODevice::ReadOnly)) {
            fail(error, QStringLiteral("Не удалось прочитать базу %1: %2").arg(name, file.errorString()));
            return {};
        }
        entries.append({QStringLiteral("db/") + name, file.readAll()});
    }
    const QString data = storage::AppPaths::data();
    collectFiles(storage::AppPaths::downloadDirectory(), QStringLiteral("files/DATA/"), entries);
    collectFiles(data + QStringLiteral("/XML"), QStringLiteral("files/XML/"), entries);
    collectFiles(data + QStringLiteral("/Documents"), QStringLiteral("files/Documents/"), entries);
    return entries;
}

bool writePackage(const QString& path, const QList<PackageEntry>& entries, QString* error)
{
    const QString parent = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(parent))
        return fail(error, QStringLiteral("Не удалось создать каталог: %1").arg(parent));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return fail(error, QStringLiteral("Не удалось создать пакет: %1").arg(file.errorString()));
    QDataStream out(&file);
    out.setVersion(kStreamVersion);
    out << kMagic << kFormatVersion << QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)
        << quint32(entries.size());
    for (const PackageEntry& entry : entries)
        out << entry.path << entry.data;
    if (out.status() != QDataStream::Ok || !file.commit())
        return fail(error, QStringLiteral("Не удалось записать пакет синхронизации."));
    return true;
}

bool readPackage(const QString& path, QList<PackageEntry>& entries, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(error, QStringLiteral("Не удалось открыть пакет: %1").arg(file.errorString()));
    QDataStream in(&file);
    in.setVersion(kStreamVersion);
    QString magic;
    QString version;
    QString writtenAt; // read past, never judged
    quint32 count = 0;
    in >> magic >> version >> writtenAt >> count;
    if (in.status() != QDataStream::Ok || magic != kMagic || version != kFormatVersion)
        return fail(error, QStringLiteral("Файл не является пакетом Tachoria."));
    if (count > kMaxPackageEntries)
        return fail(error, QStringLiteral("Пакет содержит слишком много файлов."));
    entries.clear();
    entries.reserve(count);
    for (quint32 i = 0; i < count; ++i) {
        PackageEntry entry;
        in >> entry.path >> entry.data;
        // A cut-off package and a path that would leave its folder are refused alike.
        if (in.status() != QDataStream::Ok || isDamagedPath(entry.path))
            return fail(error, QStringLiteral("Пакет содержит повреждённый путь."));
        entries.append(std::move(entry));
    }
    return true;
}

} // namespace tachoria::sync
