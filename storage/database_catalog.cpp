#include "storage/database_catalog.h"

#include "storage/app_paths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QUuid>

namespace tachoria::storage {

namespace {

const QString kLegacyName = QStringLiteral("driver_cards.db");

bool fail(QString* error, const QString& text)
{
    if (error)
        *error = text;
    return false;
}

QString freshUuid()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

// A read-only connection of its own, closed and removed before anything else happens to the file.
bool passesQuickCheck(const QString& path)
{
    const QString name = QStringLiteral("ReportMigration_%1").arg(freshUuid());
    bool sound = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(path);
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (db.open()) {
            QSqlQuery query(db);
            sound = query.exec(QStringLiteral("PRAGMA quick_check")) && query.next() &&
                    query.value(0).toString() == QLatin1String("ok");
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(name);
    return sound;
}

bool isRegularFile(const QString& path)
{
    const QFileInfo info(path);
    return info.exists() && info.isFile();
}

} // namespace

QString DatabaseCatalog::fileName(KnownDatabase database)
{
    switch (database) {
    case KnownDatabase::Settings:
        return QStringLiteral("SettingsDB.db");
    case KnownDatabase::Masters:
        return QStringLiteral("MasterDB.db");
    case KnownDatabase::Customers:
        return QStringLiteral("CustomersDB.db");
    case KnownDatabase::Vehicles:
        return QStringLiteral("VehicleDB.db");
    case KnownDatabase::Calibration:
        return QStringLiteral("CalibrationDB.db");
    case KnownDatabase::Certificates:
        return QStringLiteral("CertificateDB.db");
    case KnownDatabase::DriverCards:
        return kLegacyName;
    case KnownDatabase::Reports:
        return QStringLiteral("ReportsDB.db");
    }
    return QString();
}

QString DatabaseCatalog::path(KnownDatabase database)
{
    switch (database) {
    case KnownDatabase::Reports: {
        const QString localAppData = qEnvironmentVariable("LOCALAPPDATA");
        if (!localAppData.isEmpty())
            return QDir(localAppData).filePath(QStringLiteral("Tachoria/Data/DB/ReportsDB.db"));
        return AppPaths::database(QStringLiteral("ReportsDB.db"));
    }
    case KnownDatabase::DriverCards:
        return AppPaths::runtimeData() + QLatin1Char('/') + kLegacyName;
    default:
        return AppPaths::database(fileName(database));
    }
}

bool DatabaseCatalog::prepareReportsDatabase(QString* error)
{
    const QString target = path(KnownDatabase::Reports);
    if (QFileInfo::exists(target))
        return true;
    const QStringList candidates = {
        AppPaths::runtimeData() + QLatin1Char('/') + kLegacyName,
        AppPaths::database(kLegacyName),
        AppPaths::programDirectory() + QLatin1Char('/') + kLegacyName,
    };
    for (const QString& candidate : candidates) {
        if (QDir::cleanPath(candidate) == QDir::cleanPath(target) || !isRegularFile(candidate))
            continue;
        return migrateReportsDatabase(candidate, target, error);
    }
    const QDir folder = QFileInfo(target).absoluteDir();
    if (!QDir().mkpath(folder.absolutePath()))
        return fail(error,
                    QStringLiteral("Не удалось создать каталог базы отчётов: %1").arg(folder.absolutePath()));
    return true;
}

bool DatabaseCatalog::migrateReportsDatabase(const QString& source, const QString& target, QString* error)
{
    if (QFileInfo::exists(target) || !isRegularFile(source))
        return true;
    const QDir folder = QFileInfo(target).absoluteDir();
    if (!QDir().mkpath(folder.absolutePath()))
        return fail(error,
                    QStringLiteral("Не удалось создать каталог базы отчётов: %1").arg(folder.absolutePath()));

    // The copy lies beside the target, so that the last step is a rename within one folder.
    const QString temporary = target + QStringLiteral(".%1.tmp").arg(freshUuid());
    if (!QFile::copy(source, temporary)) {
        QFile::remove(temporary);
        return fail(error, QStringLiteral("Не удалось скопировать прежнюю базу отчётов: %1").arg(source));
    }
    if (!passesQuickCheck(temporary)) {
        QFile::remove(temporary);
        return fail(error,
                    QStringLiteral("Копия прежней базы отчётов не прошла проверку SQLite: %1").arg(source));
    }
    if (!QFile::rename(temporary, target)) {
        QFile::remove(temporary);
        // Somebody else may have put the target there meanwhile: that is as good as our own.
        if (QFileInfo::exists(target))
            return true;
        return fail(error, QStringLiteral("Не удалось сохранить базу отчётов: %1").arg(target));
    }
    return true;
}

} // namespace tachoria::storage
