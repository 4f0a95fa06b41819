#include "storage/app_paths.h"
#include "storage/database_catalog.h"
#include "storage/sqlite_connection.h"
#include "storage_test_profile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QTest>

using namespace tachoria::storage;
using namespace Qt::StringLiterals;

namespace {

// A real SQLite file holding one row, as the legacy reports database would.
void makeDatabase(const QString& path, const QString& marker)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"legacy"_s);
        db.setDatabaseName(path);
        QVERIFY(db.open());
        QSqlQuery query(db);
        QVERIFY(query.exec(u"CREATE TABLE Reports (Name TEXT)"_s));
        QVERIFY(query.exec(u"INSERT INTO Reports VALUES ('%1')"_s.arg(marker)));
        db.close();
    }
    QSqlDatabase::removeDatabase(u"legacy"_s);
}

QString markerOf(const QString& path)
{
    QString marker;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"check"_s);
        db.setDatabaseName(path);
        if (db.open()) {
            QSqlQuery query(db);
            if (query.exec(u"SELECT Name FROM Reports"_s) && query.next())
                marker = query.value(0).toString();
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(u"check"_s);
    return marker;
}

QStringList temporaries(const QString& folder)
{
    return QDir(folder).entryList({u"*.tmp"_s}, QDir::Files);
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
        for (const QString& legacy : {AppPaths::runtimeData() + u"/driver_cards.db"_s,
                                      AppPaths::programDirectory() + u"/driver_cards.db"_s})
            QFile::remove(legacy);
    }

    void trees()
    {
        QCOMPARE(AppPaths::root(), QDir::cleanPath(m_profile.path() + u"/Tachoria"_s));
        QCOMPARE(AppPaths::databaseDirectory(), AppPaths::root() + u"/Data/DB"_s);
        QCOMPARE(AppPaths::database(u"X.db"_s), AppPaths::root() + u"/Data/DB/X.db"_s);
        // A build folder is writable: the program's own tree lies beside the executable.
        QCOMPARE(AppPaths::logDirectory(), QCoreApplication::applicationDirPath());
        QCOMPARE(AppPaths::downloadDirectory(), QCoreApplication::applicationDirPath() + u"/DATA"_s);
        QCOMPARE(AppPaths::runtimeData(), QCoreApplication::applicationDirPath() + u"/Data"_s);
        QDir().rmdir(AppPaths::downloadDirectory()); // only when empty: other tests may use them
        QDir().rmdir(AppPaths::runtimeData());
        AppPaths::ensureDirectories();
        for (const QString& folder : {AppPaths::databaseDirectory(), AppPaths::downloadDirectory(),
                                      AppPaths::runtimeData(), AppPaths::data() + u"/Backups"_s})
            QVERIFY2(QFileInfo(folder).isDir(), qPrintable(folder));
    }

    void catalogue()
    {
        QStringList names;
        for (int database = 0; database <= 8; ++database)
            names << DatabaseCatalog::fileName(static_cast<KnownDatabase>(database));
        QCOMPARE(names.join(u' '), u"SettingsDB.db MasterDB.db CustomersDB.db VehicleDB.db CalibrationDB.db "
                                   u"CertificateDB.db driver_cards.db ReportsDB.db "_s);
        QCOMPARE(DatabaseCatalog::path(KnownDatabase::Settings), AppPaths::database(u"SettingsDB.db"_s));
        QCOMPARE(DatabaseCatalog::path(KnownDatabase::DriverCards),
                 AppPaths::runtimeData() + u"/driver_cards.db"_s);
        QCOMPARE(target(), QDir(m_profile.path()).filePath(u"Tachoria/Data/DB/ReportsDB.db"_s));
    }

    // SQLite's LIKE made to ignore case in every alphabet: "_" is one character, "%" any run.
    void like_data()
    {
        QTest::addColumn<QVariant>("text");
        QTest::addColumn<QVariant>("pattern");
        QTest::addColumn<QVariant>("escape"); // invalid: none
        QTest::addColumn<QString>("result");  // 1, 0, NULL, or the error
        const QVariant none;
        for (const auto& [text, pattern, result] :
             {std::tuple("ООО Ромашка", "%ромашка", "1"), std::tuple("abc", "abc", "1"),
              std::tuple("abc", "bc", "0"), std::tuple("abc", "a_c", "1"), std::tuple("abc", "a_", "0"),
              std::tuple("abc", "%c", "1"), std::tuple("abc", "a%%", "1"), std::tuple("aab", "%ab", "1"),
              std::tuple("ab", "%b%b", "0"), std::tuple("abc", "", "0"), std::tuple("", "%", "1")})
            QTest::addRow("%s like %s", text, pattern)
                << QVariant(QString::fromUtf8(text)) << QVariant(QString::fromUtf8(pattern)) << none
                << QString::fromLatin1(result);
        QTest::newRow("escaped %") << QVariant(u"10%"_s) << QVariant(u"10!%"_s) << QVariant(u"!"_s) << u"1"_s;
        QTest::newRow("escaped % is no wildcard")
            << QVariant(u"105"_s) << QVariant(u"10!%"_s) << QVariant(u"!"_s) << u"0"_s;
        QTest::newRow("escape at the end")
            << QVariant(u"a!"_s) << QVariant(u"a!"_s) << QVariant(u"!"_s) << u"1"_s;
        QTest::newRow("escape and Cyrillic case")
            << QVariant(u"Ф%"_s) << QVariant(u"ф!%"_s) << QVariant(u"!"_s) << u"1"_s;
        QTest::newRow("NULL text") << QVariant(QMetaType::fromType<QString>()) << QVariant(u"a"_s) << none
                                   << u"NULL"_s;
        QTest::newRow("NULL pattern")
            << QVariant(u"a"_s) << QVariant(QMetaType::fromType<QString>()) << none << u"NULL"_s;
        QTest::newRow("escape of two") << QVariant(u"a"_s) << QVariant(u"a"_s) << QVariant(u"!!"_s)
                                       << u"ESCAPE expression must be a single character"_s;
    }

    void like()
    {
        QFETCH(QVariant, text);
        QFETCH(QVariant, pattern);
        QFETCH(QVariant, escape);
        SqliteConnection connection(u"LikeTest_%1"_s, m_profile.database(u"Like.db"_s));
        QSqlQuery query(connection.database());
        const QString result =
            !connection.exec(query, escape.isValid() ? u"SELECT ? LIKE ? ESCAPE ?"_s : u"SELECT ? LIKE ?"_s,
                             escape.isValid() ? QVariantList{text, pattern, escape}
                                              : QVariantList{text, pattern})
                ? connection.lastError()
            : !query.next()           ? u"no row"_s
            : query.value(0).isNull() ? u"NULL"_s
                                      : query.value(0).toString();
        QTEST(result.section(u' ', 0, 6).remove(u'\n'), "result");
        SqliteConnection closed(u"Closed_%1"_s, u"/proc/none/closed.db"_s);
        QVERIFY(!closed.isOpen() && !closed.transaction());
    }

    void withoutLocalAppDataTheStandardFolderServes()
    {
        const QByteArray saved = qgetenv("LOCALAPPDATA");
        qputenv("LOCALAPPDATA", "");
        QCOMPARE(AppPaths::root(),
                 QDir::cleanPath(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation)));
        QCOMPARE(DatabaseCatalog::path(KnownDatabase::Reports), AppPaths::database(u"ReportsDB.db"_s));
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
        const QString first = AppPaths::runtimeData() + u"/driver_cards.db"_s;
        const QString second = AppPaths::database(u"driver_cards.db"_s);
        makeDatabase(first, u"runtime"_s);
        makeDatabase(second, u"database folder"_s);
        const QByteArray before = [&] {
            QFile f(first);
            f.open(QIODevice::ReadOnly);
            return f.readAll();
        }();
        QString error;
        QVERIFY2(DatabaseCatalog::prepareReportsDatabase(&error), qPrintable(error));
        QCOMPARE(markerOf(target()), u"runtime"_s);
        QFile legacy(first);
        QVERIFY(legacy.open(QIODevice::ReadOnly));
        QCOMPARE(legacy.readAll(), before);
        QVERIFY(temporaries(QFileInfo(target()).absolutePath()).isEmpty());
        // The second legacy file is ignored for good: the target exists now.
        QVERIFY(DatabaseCatalog::prepareReportsDatabase(&error));
        QCOMPARE(markerOf(target()), u"runtime"_s);
        QFile::remove(first);
    }

    // A folder where a legacy file might be is no file, and a source that is gone is nothing to move.
    void notAFile()
    {
        QVERIFY(QDir().mkpath(AppPaths::runtimeData() + u"/driver_cards.db"_s));
        QString error;
        QVERIFY2(DatabaseCatalog::prepareReportsDatabase(&error), qPrintable(error));
        QVERIFY(QDir().rmdir(AppPaths::runtimeData() + u"/driver_cards.db"_s));
        QVERIFY(DatabaseCatalog::migrateReportsDatabase(m_profile.path() + u"/gone.db"_s, target(), &error));
        QVERIFY(!QFile::exists(target()));
    }

    // A file SQLite opens but finds damaged inside, as much as one it cannot read at all.
    void damagedLegacyFileIsRefused()
    {
        const QString legacy = AppPaths::database(u"driver_cards.db"_s);
        makeDatabase(legacy, u"damaged"_s);
        QFile file(legacy);
        QVERIFY(file.open(QIODevice::ReadWrite) && file.seek(36) &&
                file.write(QByteArray::fromHex("00000005")) == 4);
        file.close();
        QString error;
        QVERIFY(!DatabaseCatalog::prepareReportsDatabase(&error));
        QCOMPARE(error, u"Копия прежней базы отчётов не прошла проверку SQLite: %1"_s.arg(legacy));
        QFile::remove(legacy);
    }

    void corruptLegacyFileIsRefusedAndRetried()
    {
        const QString legacy = AppPaths::database(u"driver_cards.db"_s);
        QDir().mkpath(QFileInfo(legacy).absolutePath());
        QFile file(legacy);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray("SQLite format 3") + QByteArray(1, '\0') + QByteArray(4000, '\x5A'));
        file.close();
        QString error;
        QVERIFY(!DatabaseCatalog::prepareReportsDatabase(&error));
        QCOMPARE(error, u"Копия прежней базы отчётов не прошла проверку SQLite: %1"_s.arg(legacy));
        QVERIFY(!QFile::exists(target()));
        QVERIFY(QFile::exists(legacy));
        QVERIFY(temporaries(QFileInfo(target()).absolutePath()).isEmpty());
        // The next start tries again, and succeeds once the file is sound.
        QFile::remove(legacy);
        makeDatabase(legacy, u"mended"_s);
        QVERIFY2(DatabaseCatalog::prepareReportsDatabase(&error), qPrintable(error));
        QCOMPARE(markerOf(target()), u"mended"_s);
    }

    void targetAppearingMidwayCountsAsSuccess()
    {
        const QString legacy = AppPaths::database(u"driver_cards.db"_s);
        makeDatabase(legacy, u"mine"_s);
        makeDatabase(target(), u"theirs"_s);
        QString error;
        QVERIFY(DatabaseCatalog::migrateReportsDatabase(legacy, target(), &error));
        QCOMPARE(markerOf(target()), u"theirs"_s);
        QVERIFY(temporaries(QFileInfo(target()).absolutePath()).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestPathsAndCatalog)
#include "test_paths_and_catalog.moc"
