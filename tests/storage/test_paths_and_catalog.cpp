#include "storage/app_paths.h"
#include "storage/database_catalog.h"
#include "storage_test_profile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QTest>

using namespace tachoria::storage;

namespace {

// A real SQLite file holding one row, as the legacy reports database would.
void makeDatabase(const QString& path, const QString& marker)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("legacy"));
        db.setDatabaseName(path);
        QVERIFY(db.open());
        QSqlQuery query(db);
        QVERIFY(query.exec(QStringLiteral("CREATE TABLE Reports (Name TEXT)")));
        QVERIFY(query.exec(QStringLiteral("INSERT INTO Reports VALUES ('%1')").arg(marker)));
        db.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("legacy"));
}

QString markerOf(const QString& path)
{
    QString marker;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("check"));
        db.setDatabaseName(path);
        if (db.open()) {
            QSqlQuery query(db);
            if (query.exec(QStringLiteral("SELECT Name FROM Reports")) && query.next())
                marker = query.value(0).toString();
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("check"));
    return marker;
}

QStringList temporaries(const QString& folder)
{
    return QDir(folder).entryList({QStringLiteral("*.tmp")}, QDir::Files);
}

} // namespace

class TestPathsAndCatalog : public QObject
{
    Q_OBJECT

    StorageTestProfile m_profile;

    QString target() const { return DatabaseCatalog::path(KnownDatabase::Reports); }

private Q_SLOTS:
    void init()
    {
        QDir(m_profile.path()).removeRecursively();
        QDir().mkpath(m_profile.path());
        for (const QString& legacy : {AppPaths::runtimeData() + QStringLiteral("/driver_cards.db"),
                                      AppPaths::programDirectory() + QStringLiteral("/driver_cards.db")})
            QFile::remove(legacy);
    }

    void trees()
    {
        QCOMPARE(AppPaths::root(), QDir::cleanPath(m_profile.path() + QStringLiteral("/Tachoria")));
        QCOMPARE(AppPaths::databaseDirectory(), AppPaths::root() + QStringLiteral("/Data/DB"));
        QCOMPARE(AppPaths::database(QStringLiteral("X.db")),
                 AppPaths::root() + QStringLiteral("/Data/DB/X.db"));
        // A build folder is writable: the program's own tree lies beside the executable.
        QCOMPARE(AppPaths::logDirectory(), QCoreApplication::applicationDirPath());
        QCOMPARE(AppPaths::downloadDirectory(),
                 QCoreApplication::applicationDirPath() + QStringLiteral("/DATA"));
        AppPaths::ensureDirectories();
        for (const QString& folder : {AppPaths::databaseDirectory(), AppPaths::downloadDirectory(),
                                      AppPaths::runtimeData(), AppPaths::data() + QStringLiteral("/Backups")})
            QVERIFY2(QFileInfo(folder).isDir(), qPrintable(folder));
    }

    void catalogue()
    {
        QCOMPARE(DatabaseCatalog::fileName(KnownDatabase::Certificates), QStringLiteral("CertificateDB.db"));
        QCOMPARE(DatabaseCatalog::fileName(static_cast<KnownDatabase>(42)), QString());
        QCOMPARE(DatabaseCatalog::path(KnownDatabase::Settings),
                 AppPaths::database(QStringLiteral("SettingsDB.db")));
        QCOMPARE(DatabaseCatalog::path(KnownDatabase::DriverCards),
                 AppPaths::runtimeData() + QStringLiteral("/driver_cards.db"));
        QCOMPARE(target(), QDir(m_profile.path()).filePath(QStringLiteral("Tachoria/Data/DB/ReportsDB.db")));
    }

    void withoutLocalAppDataTheStandardFolderServes()
    {
        const QByteArray saved = qgetenv("LOCALAPPDATA");
        qputenv("LOCALAPPDATA", "");
        QCOMPARE(AppPaths::root(),
                 QDir::cleanPath(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation)));
        QCOMPARE(DatabaseCatalog::path(KnownDatabase::Reports),
                 AppPaths::database(QStringLiteral("ReportsDB.db")));
        qputenv("LOCALAPPDATA", saved);
    }

    void nothingToMigrateMakesTheFolder()
    {
        QString error;
        QVERIFY(DatabaseCatalog::prepareReportsDatabase(&error));
        QVERIFY(QFileInfo(QFileInfo(target()).absolutePath()).isDir());
        QVERIFY(!QFile::exists(target()));
    }

    void firstCandidateWinsAndStaysUntouched()
    {
        const QString first = AppPaths::runtimeData() + QStringLiteral("/driver_cards.db");
        const QString second = AppPaths::database(QStringLiteral("driver_cards.db"));
        makeDatabase(first, QStringLiteral("runtime"));
        makeDatabase(second, QStringLiteral("database folder"));
        const QByteArray before = [&] {
            QFile f(first);
            f.open(QIODevice::ReadOnly);
            return f.readAll();
        }();
        QString error;
        QVERIFY2(DatabaseCatalog::prepareReportsDatabase(&error), qPrintable(error));
        QCOMPARE(markerOf(target()), QStringLiteral("runtime"));
        QFile legacy(first);
        QVERIFY(legacy.open(QIODevice::ReadOnly));
        QCOMPARE(legacy.readAll(), before);
        QVERIFY(temporaries(QFileInfo(target()).absolutePath()).isEmpty());
        // The second legacy file is ignored for good: the target exists now.
        QVERIFY(DatabaseCatalog::prepareReportsDatabase(&error));
        QCOMPARE(markerOf(target()), QStringLiteral("runtime"));
        QFile::remove(first);
    }

    void corruptLegacyFileIsRefusedAndRetried()
    {
        const QString legacy = AppPaths::database(QStringLiteral("driver_cards.db"));
        QDir().mkpath(QFileInfo(legacy).absolutePath());
        QFile file(legacy);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray("SQLite format 3") + QByteArray(1, '\0') + QByteArray(4000, '\x5A'));
        file.close();
        QString error;
        QVERIFY(!DatabaseCatalog::prepareReportsDatabase(&error));
        QCOMPARE(error,
                 QStringLiteral("Копия прежней базы отчётов не прошла проверку SQLite: %1").arg(legacy));
        QVERIFY(!QFile::exists(target()));
        QVERIFY(QFile::exists(legacy));
        QVERIFY(temporaries(QFileInfo(target()).absolutePath()).isEmpty());
        // The next start tries again, and succeeds once the file is sound.
        QFile::remove(legacy);
        makeDatabase(legacy, QStringLiteral("mended"));
        QVERIFY2(DatabaseCatalog::prepareReportsDatabase(&error), qPrintable(error));
        QCOMPARE(markerOf(target()), QStringLiteral("mended"));
    }

    void targetAppearingMidwayCountsAsSuccess()
    {
        const QString legacy = AppPaths::database(QStringLiteral("driver_cards.db"));
        makeDatabase(legacy, QStringLiteral("mine"));
        makeDatabase(target(), QStringLiteral("theirs"));
        QString error;
        QVERIFY(DatabaseCatalog::migrateReportsDatabase(legacy, target(), &error));
        QCOMPARE(markerOf(target()), QStringLiteral("theirs"));
        QVERIFY(temporaries(QFileInfo(target()).absolutePath()).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestPathsAndCatalog)
#include "test_paths_and_catalog.moc"
