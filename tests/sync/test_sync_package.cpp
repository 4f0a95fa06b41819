// The package's bytes, what an export collects, and the merge's rules table by table on real SQLite
// files: rows only ever added, a later setting winning, reports renumbered with their rows.
#include "installation.h"
#include "storage/app_paths.h"
#include "sync/database_merge.h"
#include "sync/synchronization_manager.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace tachoria::sync;
using namespace Qt::StringLiterals;
using tachoria::test::Installation;
using tachoria::test::queryRows;
using tachoria::test::runSql;

namespace {

QByteArray utf16(const QString& text)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << text;
    return bytes;
}

QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

const QString kMasters =
    QStringLiteral("CREATE TABLE Masters (Id INTEGER PRIMARY KEY AUTOINCREMENT, FullName TEXT "
                   "NOT NULL, Phone TEXT, IsActive INTEGER DEFAULT 1)");
const QString kSettings = QStringLiteral(
    "CREATE TABLE Settings (Id INTEGER PRIMARY KEY AUTOINCREMENT, Section TEXT NOT NULL, Key TEXT NOT NULL, "
    "Value "
    "TEXT, ValueType TEXT DEFAULT 'String', Description TEXT, LastModified DATETIME, UNIQUE(Section, Key))");
const QString kVehicles = QStringLiteral(
    "CREATE TABLE Manufacturers (Id INTEGER PRIMARY KEY, Name TEXT UNIQUE NOT NULL, CreatedAt DATETIME);"
    "CREATE TABLE Models (Id INTEGER PRIMARY KEY, Name TEXT NOT NULL, ManufacturerId INTEGER NOT NULL, "
    "CanSpeed "
    "INTEGER, UNIQUE(ManufacturerId, Name))");
const QString kCards = QStringLiteral(
    "CREATE TABLE DriverCardReports (ReportId INTEGER PRIMARY KEY AUTOINCREMENT, CardNumber TEXT, ImportDate "
    "TEXT);CREATE TABLE Events (EventId INTEGER PRIMARY KEY AUTOINCREMENT, ReportId INTEGER, EventType TEXT);"
    "CREATE TABLE DddReportMeta (ReportId INTEGER NOT NULL, ReportType INTEGER NOT NULL, Json TEXT, PRIMARY "
    "KEY(ReportId, ReportType))");

} // namespace

class TestSyncPackage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Offsets up to the entries are those of every package this program writes.
    void bytesOfAPackage()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("sub/one.tsync"));
        QString error;
        QVERIFY(writePackage(path,
                             {{QStringLiteral("files/XML/а.xml"), QByteArray("<x/>")},
                              {QStringLiteral("files/DATA/empty.ddd"), QByteArray()}},
                             &error));
        const QByteArray bytes = fileBytes(path);
        QCOMPARE(bytes.left(52),
                 QByteArray::fromHex("00000030") + utf16(QStringLiteral("TACHORIA_SYNC_PACKAGE_V1")).mid(4));
        QCOMPARE(bytes.mid(52, 10).toHex(), QByteArray("0000000200310000"
                                                       "0030"));
        QString stamp;
        QDataStream header(bytes.mid(58));
        header >> stamp;
        QVERIFY2(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z$"))
                     .match(stamp)
                     .hasMatch(),
                 qPrintable(stamp));
        QVERIFY(
            qAbs(QDateTime::fromString(stamp, Qt::ISODateWithMs).secsTo(QDateTime::currentDateTimeUtc())) <
            60);
        QCOMPARE(bytes.mid(110), QByteArray::fromHex("00000002") + utf16(QStringLiteral("files/XML/а.xml")) +
                                     QByteArray::fromHex("00000004") + "<x/>" +
                                     utf16(QStringLiteral("files/DATA/empty.ddd")) +
                                     QByteArray::fromHex("ffffffff"));
        QList<PackageEntry> read;
        QVERIFY(readPackage(path, read, &error));
        QCOMPARE(read.size(), 2);
        QCOMPARE(read.at(1).data, QByteArray());
    }

    // The reader's and the writer's verdicts; the reader keeps what it read up to a bad entry.
    void verdicts_data()
    {
        QTest::addColumn<QStringList>("paths"); // written one after the other as entries "x"
        QTest::addColumn<QString>("message");
        QTest::addColumn<int>("entriesRead");
        QTest::addColumn<QString>("version");
        const QString damaged = QStringLiteral("Пакет содержит повреждённый путь.");
        QTest::newRow("sound") << QStringList{u"db/a"_s, u"files/XML/a.b.xml"_s} << QString() << 2 << u"1"_s;
        QTest::newRow("an empty path") << QStringList{u"db/a"_s, QString()} << damaged << 1 << u"1"_s;
        QTest::newRow("an absolute path") << QStringList{u"/etc/x"_s} << damaged << 0 << u"1"_s;
        QTest::newRow("two dots") << QStringList{u"db/a"_s, u"files/XML/a..b.xml"_s} << damaged << 1
                                  << u"1"_s;
        QTest::newRow("a backslash and a drive pass")
            << QStringList{u"files\\XML\\a"_s, u"C:/x"_s} << QString() << 2 << u"1"_s;
        QTest::newRow("format 2") << QStringList() << u"Файл не является пакетом Tachoria."_s << 0 << u"2"_s;
    }

    void verdicts()
    {
        QFETCH(QStringList, paths);
        QFETCH(QString, message);
        QFETCH(int, entriesRead);
        QFETCH(QString, version);
        QTemporaryDir folder;
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        out << u"TACHORIA_SYNC_PACKAGE_V1"_s << version << QString() << quint32(paths.size());
        for (const QString& path : std::as_const(paths))
            out << path << QByteArray("x");
        const QString path = folder.filePath(QStringLiteral("p.tsync"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        QList<PackageEntry> entries;
        QString error;
        QCOMPARE(readPackage(path, entries, &error), message.isEmpty());
        QCOMPARE(error, message);
        QCOMPARE(entries.size(), entriesRead);

        QVERIFY(!readPackage(folder.filePath(QStringLiteral("нет.tsync")), entries, &error));
        QCOMPARE(error, QStringLiteral("Не удалось открыть пакет: No such file or directory"));
        QVERIFY(!writePackage(folder.path(), {}, &error)); // a folder is there under that name
        QVERIFY2(error.startsWith(QStringLiteral("Не удалось создать пакет: ")), qPrintable(error));
        QVERIFY(!writePackage(path + QStringLiteral("/под/p.tsync"), {}, &error));
        QCOMPARE(error, QStringLiteral("Не удалось создать каталог: ") + path + QStringLiteral("/под"));

        // From a data root, the packages and the backups stay behind.
        for (const char* name : {"Sync/a", "backups/b", "XML/c"}) {
            QDir().mkpath(QFileInfo(folder.filePath(QString::fromUtf8(name))).absolutePath());
            QFile(folder.filePath(QString::fromUtf8(name))).open(QIODevice::WriteOnly);
        }
        QList<PackageEntry> collected;
        collectFiles(folder.path(), QString(), collected);
        QStringList names;
        for (const PackageEntry& entry : std::as_const(collected))
            names.append(entry.path);
        QCOMPARE(names, QStringList({QStringLiteral("p.tsync"), QStringLiteral("XML/c")}));
    }

    // What an export takes: the databases as files, the downloads, the certificates' XML and the
    // documents; never the packages, the backups or the printed certificates.
    void exportCollectsTheThreeRoots()
    {
        QTemporaryDir profile;
        const Installation shop{profile.path(), QCoreApplication::applicationDirPath()};
        shop.use();
        QDir(tachoria::storage::AppPaths::downloadDirectory()).removeRecursively();
        QFile::remove(databasePath(QStringLiteral("driver_cards.db")));
        SyncResult empty = SynchronizationManager::exportPackage(QString());
        QVERIFY2(empty.success, qPrintable(empty.message));
        QCOMPARE(empty.addedFiles, 0);
        QVERIFY(
            QRegularExpression(
                QStringLiteral("/Data/Sync/TachoriaSync_\\d{4}-\\d\\d-\\d\\d_\\d\\d-\\d\\d-\\d\\d\\.tsync$"))
                .match(empty.packagePath)
                .hasMatch());
        QCOMPARE(empty.message, QStringLiteral("Пакет создан: ") + empty.packagePath);

        shop.fill(QStringLiteral("А"), 1, 1);
        for (const QString& stray : {shop.data() + QStringLiteral("/Сертификаты/a.pdf"),
                                     shop.data() + QStringLiteral("/XML/пусто.xml")}) {
            QDir().mkpath(QFileInfo(stray).absolutePath());
            QFile(stray).open(QIODevice::WriteOnly);
        }
        const QString path = shop.data() + QStringLiteral("/Sync/full.tsync");
        const SyncResult full = SynchronizationManager::exportPackage(path);
        QVERIFY2(full.success, qPrintable(full.message));
        QList<PackageEntry> entries;
        QString error;
        QVERIFY(readPackage(path, entries, &error));
        QStringList paths;
        for (const PackageEntry& entry : std::as_const(entries))
            paths.append(entry.path);
        QCOMPARE(paths,
                 QStringList({QStringLiteral("db/SettingsDB.db"), QStringLiteral("db/MasterDB.db"),
                              QStringLiteral("db/CustomersDB.db"), QStringLiteral("db/CalibrationDB.db"),
                              QStringLiteral("db/CertificateDB.db"), QStringLiteral("db/driver_cards.db"),
                              QStringLiteral("db/VehicleConfigurations.db"),
                              QStringLiteral("files/DATA/А.ddd"), QStringLiteral("files/XML/checksums.txt"),
                              QStringLiteral("files/XML/А-0_01.02.2024.xml"),
                              QStringLiteral("files/XML/пусто.xml"),
                              QStringLiteral("files/Documents/А/заметка.txt")}));
        QCOMPARE(full.addedFiles, paths.size());
        QCOMPARE(entries.at(0).data, fileBytes(databasePath(QStringLiteral("SettingsDB.db"))));
        QCOMPARE(SynchronizationManager::packageFiles(), QStringList({path, empty.packagePath}));
    }

    void mergeRules_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target"); // empty: the target has no such database
        QTest::addColumn<int>("added");
        QTest::addColumn<QString>("check");
        QTest::addColumn<QString>("expected");

        const QString calibrations =
            u"CREATE TABLE Calibrations (Id INTEGER PRIMARY KEY AUTOINCREMENT, Vu TEXT, Note TEXT, ImportDate TEXT)"_s;
        QTest::newRow("equal rows meet, NULL equals NULL, the import date takes no part")
            << u"CalibrationDB.db"_s
            << calibrations +
                   u";INSERT INTO Calibrations (Vu, Note, ImportDate) VALUES ('1', NULL, 'x'), ('2', 'n', 'y')"_s
            << calibrations + u";INSERT INTO Calibrations (Vu, Note, ImportDate) VALUES ('1', NULL, 'z')"_s
            << 1 << u"SELECT Id, Vu, Note, ImportDate FROM Calibrations ORDER BY Id"_s
            << u"1|1|∅|z;2|2|n|y"_s;
        QTest::newRow("a column the target lacks is left behind, one the source lacks takes its default")
            << u"CertificateDB.db"_s
            << u"CREATE TABLE CertificateData (Id INTEGER PRIMARY KEY, Serial TEXT, Newer TEXT);"_s
               u"INSERT INTO CertificateData VALUES (7, 'S1', 'новое')"_s
            << u"CREATE TABLE CertificateData (Id INTEGER PRIMARY KEY, Serial TEXT, Older INTEGER DEFAULT 5);"_s
               u"INSERT INTO CertificateData VALUES (7, 'S0', NULL)"_s
            << 1 << u"SELECT * FROM CertificateData ORDER BY Id"_s << u"7|S0|∅;8|S1|5"_s;
        QTest::newRow("without a single key the table's own constraint decides")
            << u"CalibrationDB.db"_s
            << u"CREATE TABLE Pairs (A TEXT, B TEXT, UNIQUE(A, B));INSERT INTO Pairs VALUES ('a', 'b'), ('a', 'c')"_s
            << u"CREATE TABLE Pairs (A TEXT, B TEXT, UNIQUE(A, B));INSERT INTO Pairs VALUES ('a', 'b')"_s << 1
            << u"SELECT A, B FROM Pairs ORDER BY B"_s << u"a|b;a|c"_s;
        QTest::newRow("the later setting wins, on a tie the incoming one, an older one changes nothing")
            << u"SettingsDB.db"_s
            << kSettings +
                   u";INSERT INTO Settings (Section, Key, Value, LastModified) VALUES "_s
                   u"('M', 'Old', 'there', '2024-01-01 00:00:00'), ('M', 'New', 'here', '2024-03-01 00:00:00'),"_s
                   u"('M', 'Tie', 'here', '2024-02-01 00:00:00'), ('M', 'Only', 'here', '2024-01-01 00:00:00')"_s
            << kSettings +
                   u";INSERT INTO Settings (Section, Key, Value, LastModified) VALUES "_s
                   u"('M', 'Old', 'mine', '2024-02-01 00:00:00'), ('M', 'New', 'mine', '2024-02-01 00:00:00'),"_s
                   u"('M', 'Tie', 'mine', '2024-02-01 00:00:00')"_s
            << 3 << u"SELECT Key, Value, LastModified FROM Settings ORDER BY Key"_s
            << u"New|here|2024-03-01 00:00:00;Old|mine|2024-02-01 00:00:00;Only|here|2024-01-01 00:00:00;"_s
               u"Tie|here|2024-02-01 00:00:00"_s;
        QTest::newRow("a name that is there keeps all it has; another case is another master")
            << u"MasterDB.db"_s
            << kMasters +
                   u";INSERT INTO Masters (FullName, Phone, IsActive) VALUES ('Иванов', '2', 0), ('иванов', NULL, 1)"_s
            << kMasters + u";INSERT INTO Masters (FullName, Phone, IsActive) VALUES ('Иванов', '1', 1)"_s << 1
            << u"SELECT FullName, Phone, IsActive FROM Masters ORDER BY Id"_s << u"Иванов|1|1;иванов|∅|1"_s;
        QTest::newRow("makes meet by name, models by make and name, a model without its make stays out")
            << u"VehicleDB.db"_s
            << kVehicles +
                   u";INSERT INTO Manufacturers VALUES (5, 'DAF', 'a'), (6, 'MAN', 'b');"_s
                   u"INSERT INTO Models VALUES (10, 'XF', 5, 2), (11, 'TGX', 6, 1), (12, 'Сирота', 99, 1)"_s
            << kVehicles +
                   u";INSERT INTO Manufacturers VALUES (0, 'DAF', 'c');INSERT INTO Models VALUES (1, 'XF', 0, 1)"_s
            << 2
            << u"SELECT m.Name, f.Name, m.CanSpeed FROM Models m JOIN Manufacturers f ON f.Id = m.ManufacturerId "_s
               u"ORDER BY m.Id"_s
            << u"XF|DAF|1;TGX|MAN|1"_s;
        const QString configurations =
            u"CREATE TABLE VehicleConfigurations (Id INTEGER PRIMARY KEY AUTOINCREMENT, Manufacturer TEXT NOT NULL "_s
            u"COLLATE NOCASE, Model TEXT NOT NULL COLLATE NOCASE, ParametersJson TEXT, UpdatedAt TEXT, "_s
            u"UNIQUE(Manufacturer, Model))"_s;
        QTest::newRow("a configuration there in any case stays, whatever its date")
            << u"VehicleConfigurations.db"_s
            << configurations +
                   u";INSERT INTO VehicleConfigurations (Manufacturer, Model, ParametersJson, UpdatedAt) "_s
                   u"VALUES (' daf', 'xf ', 'новые', '2030'), ('MAN', 'TGX', '{}', '2020')"_s
            << configurations +
                   u";INSERT INTO VehicleConfigurations (Manufacturer, Model, ParametersJson, UpdatedAt) "_s
                   u"VALUES ('DAF', 'XF', 'старые', '2020')"_s
            << 1 << u"SELECT Manufacturer, ParametersJson FROM VehicleConfigurations ORDER BY Id"_s
            << u"DAF|старые;MAN|{}"_s;
        QTest::newRow("an older configuration table without the model is passed over")
            << u"VehicleConfigurations.db"_s
            << u"CREATE TABLE VehicleConfigurations (Id INTEGER PRIMARY KEY, Manufacturer TEXT);"_s
               u"INSERT INTO VehicleConfigurations VALUES (1, 'MAN')"_s
            << configurations +
                   u";INSERT INTO VehicleConfigurations (Manufacturer, Model) VALUES ('DAF', 'XF')"_s
            << 0 << u"SELECT Manufacturer, Model FROM VehicleConfigurations"_s << u"DAF|XF"_s;
        QTest::newRow("reports are renumbered with their rows; one of the same content is there already")
            << u"driver_cards.db"_s
            << kCards + u";INSERT INTO DriverCardReports VALUES (1, 'Б', 'x'), (2, 'А', 'y');"_s
                        u"INSERT INTO Events (ReportId, EventType) VALUES (1, 'б'), (2, 'а'), (3, 'ничей');"_s
                        u"INSERT INTO DddReportMeta VALUES (1, 1, '{б}'), (2, 1, '{а}'), (1, 2, '{чужой}')"_s
            << kCards +
                   u";INSERT INTO DriverCardReports VALUES (1, 'А', 'z');INSERT INTO Events (ReportId, EventType) "_s
                   u"VALUES (1, 'а');INSERT INTO DddReportMeta VALUES (1, 1, '{а}')"_s
            << 3
            << u"SELECT r.CardNumber, e.EventType, m.Json FROM DriverCardReports r JOIN Events e USING (ReportId) "_s
               u"JOIN DddReportMeta m USING (ReportId) ORDER BY r.ReportId"_s
            << u"А|а|{а};Б|б|{б}"_s;
        QTest::newRow("a kind of report this side has no table for stays behind")
            << u"driver_cards.db"_s
            << kCards + u";CREATE TABLE TachographReports (ReportId INTEGER PRIMARY KEY, Vin TEXT);"_s
                        u"INSERT INTO TachographReports VALUES (1, 'VIN');INSERT INTO DriverCardReports "_s
                        u"VALUES (4, 'В', 'x')"_s
            << kCards << 1 << u"SELECT ReportId, CardNumber FROM DriverCardReports"_s << u"1|В"_s;
        QTest::newRow("a database this side lacks comes whole, uncounted")
            << u"CalibrationDB.db"_s << calibrations + u";INSERT INTO Calibrations (Vu) VALUES ('1')"_s
            << QString() << 0 << u"SELECT Vu FROM Calibrations"_s << u"1"_s;
    }

    void mergeRules()
    {
        QFETCH(QString, file);
        QFETCH(QString, source);
        QFETCH(QString, target);
        QFETCH(int, added);
        QFETCH(QString, check);
        QFETCH(QString, expected);
        QTemporaryDir folder;
        const QString from = folder.filePath(QStringLiteral("from/") + file);
        const QString into = folder.filePath(QStringLiteral("into/") + file);
        QString error;
        QVERIFY2(runSql(from, source.split(QLatin1Char(';')), &error), qPrintable(error));
        if (!target.isEmpty())
            QVERIFY2(runSql(into, target.split(QLatin1Char(';')), &error), qPrintable(error));
        int count = 0;
        QVERIFY2(mergeDatabase(from, into, &count, &error), qPrintable(error));
        QCOMPARE(count, added);
        QCOMPARE(queryRows(into, check), expected);
        // The look-up's index is gone with the merge: the schema is as it was.
        QCOMPARE(queryRows(into, u"SELECT COUNT(*) FROM sqlite_master WHERE name LIKE 'merge%'"_s), u"0"_s);
        // A second merge of the same source adds no row (settings excepted: a tie counts again).
        count = 0;
        QVERIFY(mergeDatabase(from, into, &count, &error));
        QCOMPARE(queryRows(into, check), expected);
        if (file != QLatin1String("SettingsDB.db"))
            QCOMPARE(count, 0);
    }

    // A merge that fails rolls back its own database; those merged before it stay, no file is written.
    void aFailedMergeKeepsWhatWasMergedBefore()
    {
        QTemporaryDir profile;
        const Installation shop{profile.path(), QCoreApplication::applicationDirPath()};
        shop.use();
        QString error;
        QVERIFY(runSql(databasePath(QStringLiteral("MasterDB.db")), {kMasters}, &error));
        QVERIFY(
            runSql(databasePath(QStringLiteral("VehicleDB.db")), kVehicles.split(QLatin1Char(';')), &error));
        QTemporaryDir other;
        const QString masters = other.filePath(QStringLiteral("m.db"));
        const QString vehicles = other.filePath(QStringLiteral("v.db"));
        QVERIFY(
            runSql(masters, {kMasters, QStringLiteral("INSERT INTO Masters (FullName) VALUES ('Пришлый')")}));
        // A make without its date column: the read of the source's makes fails.
        QVERIFY(runSql(vehicles,
                       {QStringLiteral("CREATE TABLE Manufacturers (Id INTEGER PRIMARY KEY, Name TEXT)")}));
        const QString package = other.filePath(QStringLiteral("p.tsync"));
        QVERIFY(writePackage(package,
                             {{QStringLiteral("db/MasterDB.db"), fileBytes(masters)},
                              {QStringLiteral("db/VehicleDB.db"), fileBytes(vehicles)},
                              {QStringLiteral("files/Documents/x.txt"), QByteArray("x")}},
                             &error));
        const QByteArray vehiclesBefore = fileBytes(databasePath(QStringLiteral("VehicleDB.db")));
        const SyncResult result = SynchronizationManager::importPackage(package);
        QVERIFY(!result.success);
        QVERIFY2(result.message.startsWith(QStringLiteral("Ошибка объединения VehicleDB.db: ")),
                 qPrintable(result.message));
        QCOMPARE(result.addedRecords, 1);
        QCOMPARE(queryRows(databasePath(QStringLiteral("MasterDB.db")),
                           QStringLiteral("SELECT FullName FROM Masters")),
                 QStringLiteral("Пришлый"));
        QCOMPARE(fileBytes(databasePath(QStringLiteral("VehicleDB.db"))), vehiclesBefore);
        QVERIFY(!QFile::exists(shop.data() + QStringLiteral("/Documents/x.txt")));
        QCOMPARE(QDir(shop.data() + QStringLiteral("/Sync")).entryList(QDir::Dirs | QDir::NoDotAndDotDot),
                 QStringList());
        const QStringList backups =
            QDir(shop.data() + QStringLiteral("/Backups")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        QCOMPARE(backups.size(), 1);
        QCOMPARE(fileBytes(shop.data() + QStringLiteral("/Backups/") + backups.first() +
                           QStringLiteral("/db/VehicleDB.db")),
                 vehiclesBefore);
    }
};

QTEST_GUILESS_MAIN(TestSyncPackage)
#include "test_sync_package.moc"
