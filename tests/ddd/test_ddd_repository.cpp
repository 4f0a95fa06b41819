// The report database on real SQLite files: reports come back as they were decoded, the same file is
// found again, reports of earlier versions still load, the two kinds of reports never touch each other,
// and an old database is moved without being changed.
#include "ddd/ddd_decoder.h"
#include "ddd/ddd_repository.h"
#include "storage/app_paths.h"
#include "tests/storage/storage_test_profile.h"
#include "tools/dddgen/ddd_generator.h"

#include <QCryptographicHash>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>

#include <tuple>

using namespace tachoria::ddd;
using namespace tachoria::dddgen;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(tachoria::ddd::DddReport)

namespace {

DddReport card(int days = 28)
{
    return Decoder::decode(writeDriverCard(sampleDriverCard(days)), u"/shop/in/card.ddd"_s);
}

DddReport unit(int days = 7)
{
    return Decoder::decode(writeVehicleUnit(sampleVehicleUnit(days)), u"/shop/in/unit.ddd"_s);
}

// Runs statements on the file over a connection of the test's own.
QVariant sql(const QString& path, const QStringList& statements)
{
    const QString name = QUuid::createUuid().toString();
    QVariant last;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, name);
        db.setDatabaseName(path);
        if (!db.open())
            return QVariant();
        for (const QString& statement : statements) {
            QSqlQuery query(db);
            if (!query.exec(statement))
                qWarning() << statement << query.lastError().text();
            last = query.next() ? query.value(0) : QVariant();
        }
    }
    QSqlDatabase::removeDatabase(name);
    return last;
}

// Every scalar, every dataset and every block of a report.
void compareReports(const DddReport& loaded, const DddReport& decoded)
{
    QCOMPARE(DddRepository::scalarMap(loaded), DddRepository::scalarMap(decoded));
    for (const QString& name : DddReport::datasetNames()) {
        const QList<QVariantMap> got = loaded.dataset(name)->toList();
        const QList<QVariantMap> want = decoded.dataset(name)->toList();
        QVERIFY2(got.size() == want.size(),
                 qPrintable(u"%1: %2 rows, not %3"_s.arg(name).arg(got.size()).arg(want.size())));
        for (qsizetype row = 0; row < got.size(); ++row)
            QVERIFY2(got.at(row) == want.at(row), qPrintable(u"%1, row %2"_s.arg(name).arg(row)));
    }
    QCOMPARE(loaded.blocks.size(), decoded.blocks.size());
    for (qsizetype i = 0; i < loaded.blocks.size(); ++i) {
        const DddBlock& a = loaded.blocks.at(i);
        const DddBlock& b = decoded.blocks.at(i);
        QCOMPARE(std::tie(a.fileNumber, a.name, a.occurrence, a.offset, a.length, a.recordCount,
                          a.recordLength, a.data, a.fileType),
                 std::tie(b.fileNumber, b.name, b.occurrence, b.offset, b.length, b.recordCount,
                          b.recordLength, b.data, b.fileType));
    }
}

// The flat tables of an earlier version: fewer columns, no JSON tables.
const QStringList kLegacySchema = {
    u"CREATE TABLE DriverCardReports (ReportId INTEGER PRIMARY KEY AUTOINCREMENT, ReportDate DATETIME "
    u"DEFAULT "
    "CURRENT_TIMESTAMP, CardNumber TEXT, DriverFullName TEXT, TotalEvents INTEGER, TotalFaults INTEGER, "
    "TotalVehiclesUsed INTEGER, TotalActivityRecords INTEGER, TotalActivityChanges INTEGER, ImportDate "
    "DATETIME "
    "DEFAULT CURRENT_TIMESTAMP)"_s,
    u"CREATE TABLE Events (EventId INTEGER PRIMARY KEY AUTOINCREMENT, ReportId INTEGER, EventType TEXT, "
    "EventBeginTime TEXT, EventEndTime TEXT, VehicleRegistrationNumber TEXT, VehicleRegistrationNation TEXT, "
    "ImportDate DATETIME DEFAULT CURRENT_TIMESTAMP)"_s,
    u"CREATE TABLE ActivityChanges (ActivityChangeId INTEGER PRIMARY KEY AUTOINCREMENT, ReportId INTEGER, "
    "ActivityDailyPresenceCounter1 TEXT, Slot TEXT, DrivingStatus TEXT, CardStatus TEXT, Activity TEXT, Time "
    "TEXT, ImportDate DATETIME DEFAULT CURRENT_TIMESTAMP)"_s,
    u"CREATE TABLE TachographReports (ReportId INTEGER PRIMARY KEY AUTOINCREMENT, ReportDate DATETIME, VIN "
    u"TEXT, "
    "VehicleRegistration TEXT, TotalEvents INTEGER, TotalFaults INTEGER, TotalDays INTEGER, TotalDistanceKm "
    "INTEGER, ImportDate DATETIME)"_s,
    u"CREATE TABLE TachoDetailedSpeedData (SpeedId INTEGER PRIMARY KEY AUTOINCREMENT, ReportId INTEGER NOT "
    u"NULL, "
    "SpeedBlockBeginDate TEXT, SpeedsPerSecond TEXT)"_s,
    u"INSERT INTO DriverCardReports (ReportDate, CardNumber, DriverFullName, TotalEvents, TotalFaults) "
    u"VALUES "
    "('2021-03-05 10:00:00', 'RUD0000000000111', 'СИДОРОВ ОЛЕГ', 1, 0)"_s,
    u"INSERT INTO Events (ReportId, EventType, EventBeginTime, EventEndTime, VehicleRegistrationNumber) "
    u"VALUES "
    "(1, 'Вождение без карты', '01.03.2021 08:00:00', '01.03.2021 08:20:00', 'A001AA77')"_s,
    // A day of 5:30 of driving without a break.
    u"INSERT INTO ActivityChanges (ReportId, ActivityDailyPresenceCounter1, Slot, DrivingStatus, CardStatus, "
    "Activity, Time) VALUES (1, '0007', 'Driver', 'Single', 'Inserted', 'Work', '06:00'), (1, '0007', "
    "'Driver', "
    "'Single', 'Inserted', 'Driving', '06:30'), (1, '0007', 'Driver', 'Single', 'Inserted', 'Rest', "
    "'12:00'), "
    "(1, '0007', 'Driver', 'Single', 'Not Inserted', '', '13:00')"_s,
    u"INSERT INTO TachographReports (ReportDate, VIN, VehicleRegistration, TotalEvents, TotalFaults) VALUES "
    "('нечитаемая дата', 'XTA21099012345678', 'В777ОР99', 0, 0), ('2021-03-05 10:00:00', "
    "'XTA21099000000002', "
    "'Е002КХ77', 0, 0)"_s,
};

} // namespace

class TestDddRepository : public QObject
{
    Q_OBJECT

private:
    StorageTestProfile m_profile;
    QTemporaryDir m_folder;
    QString fresh()
    {
        return m_folder.filePath(QUuid::createUuid().toString(QUuid::WithoutBraces) + u".db"_s);
    }

private Q_SLOTS:
    void roundTrip_data()
    {
        QTest::addColumn<DddReport>("decoded");
        QTest::newRow("driver card of 28 days") << card();
        QTest::newRow("vehicle unit of a week") << unit();
        QFile sample(QStringLiteral(TACHORIA_SOURCE_DIR "/tests/ddd/samples/vu_gen1.ddd"));
        QVERIFY(sample.open(QIODevice::ReadOnly));
        QTest::newRow("vehicle unit sample") << Decoder::decode(sample.readAll(), u"vu_gen1.ddd"_s);
        DddReport identified = card(2);
        identified.asn1Identity = {2,          u"VIN1"_s,  u"REG2"_s,       u"2020-01-03"_s, u"SURNAME4"_s,
                                   u"NAME5"_s, u"CARD6"_s, u"2020-01-07"_s, u"2020-01-08"_s, u"2020-01-09"_s};
        QTest::newRow("card with an ASN.1 identity") << identified;
    }

    // Saved, then loaded over a new connection: the report the decoder made, the list and the page's map.
    void roundTrip()
    {
        QFETCH(DddReport, decoded);
        const QString path = fresh();
        qint64 id = 0;
        {
            DddRepository repository(path);
            QVERIFY2(repository.isOpen(), qPrintable(repository.lastError()));
            QCOMPARE(repository.findDuplicateReport(decoded), 0);
            id = repository.save(decoded);
            QVERIFY2(id > 0, qPrintable(repository.lastError()));
        }
        DddRepository repository(path);
        const std::optional<DddReport> loaded = repository.loadReport(id, decoded.fileType);
        QVERIFY(loaded);
        compareReports(*loaded, decoded);
        QCOMPARE(loaded->analysis, decoded.analysis);
        QCOMPARE(loaded->structureText,
                 u"Сохранённый отчёт: %1, разделов: %2"_s.arg(DddRepository::reportTypeName(decoded.fileType))
                     .arg(decoded.blocks.size()));
        QVERIFY(!repository.loadReport(id, decoded.fileType == DddFileType::Tachograph
                                               ? DddFileType::DriverCard
                                               : DddFileType::Tachograph));

        const QVariantList list = repository.listReports();
        QCOMPARE(list.size(), 1);
        const QVariantMap listed = list.first().toMap();
        const bool tachograph = decoded.fileType == DddFileType::Tachograph;
        QCOMPARE(listed.value(u"reportId"_s).toLongLong(), id);
        QCOMPARE(listed.value(u"reportType"_s).toString(), tachograph ? u"Тахограф"_s : u"Карта водителя"_s);
        QCOMPARE(listed.value(u"keyValue"_s).toString(), tachograph ? decoded.vin : decoded.cardNumber);
        QCOMPARE(listed.value(u"description"_s).toString(),
                 tachograph ? decoded.registrationNumber : decoded.driverName);
        QCOMPARE(listed.value(u"eventCount"_s).toInt(),
                 (tachograph && decoded.events.isEmpty() ? decoded.tachoEvents : decoded.events).size());
        QCOMPARE(listed.value(u"faultCount"_s).toInt(),
                 (tachograph && decoded.faults.isEmpty() ? decoded.tachoFaults : decoded.faults).size());
        QVERIFY(DddRepository::storedDateTime(listed.value(u"reportDate"_s)).isValid());

        const QVariantMap page = repository.load(id, decoded.fileType);
        QCOMPARE(page.value(u"reportId"_s).toLongLong(), id);
        QCOMPARE(page.value(u"fileName"_s).toString(), decoded.fileName);
        QCOMPARE(page.value(u"analysis"_s).toMap(), decoded.analysis);
        QCOMPARE(page.value(u"events"_s).toList().size(), decoded.events.size());
        QCOMPARE(page.value(u"activityDaily"_s).toList().size(), decoded.activityDaily.size());
        QVERIFY(repository.load(id + 1, decoded.fileType).isEmpty());
    }

    // The columns other programs and earlier versions read, in order, with their declared types.
    void schema_data()
    {
        QTest::addColumn<QString>("table");
        QTest::addColumn<QString>("columns");
        QTest::newRow("TachoSpecificConditionData")
            << u"TachoSpecificConditionData"_s
            << u"ConditionId INTEGER, ReportId INTEGER NOT NULL, DayNo INTEGER, EntryTime TEXT, "
               "SpecificConditionType TEXT"_s;
        QTest::newRow("TachoDayInformation")
            << u"TachoDayInformation"_s
            << u"DayInfoId INTEGER, ReportId INTEGER NOT NULL, DayNo INTEGER, TimeReal DATETIME, "
               "OdometerValueMidnight INTEGER"_s;
        QTest::newRow("DriverActivities")
            << u"DriverActivities"_s
            << u"ActivityId INTEGER, ReportId INTEGER, ActivityRecordDate TEXT, ActivityDayDistance TEXT, "
               "ActivityDailyPresenceCounter TEXT, ImportDate DATETIME"_s;
        QTest::newRow("TachographReports")
            << u"TachographReports"_s
            << u"ReportId INTEGER, ReportDate DATETIME, VIN TEXT, VehicleRegistration TEXT, TotalEvents "
               "INTEGER, TotalFaults INTEGER, TotalOverSpeeding INTEGER, TotalCalibrations INTEGER, "
               "TotalDays "
               "INTEGER, TotalDistanceKm INTEGER, DataStartDate TEXT, DataEndDate TEXT, AverageSpeed REAL, "
               "MaxSpeed INTEGER, DaysWithOverSpeeding INTEGER, DaysWithFaults INTEGER, NextCalibrationDate "
               "TEXT, ImportDate DATETIME, VehicleRegistrationNation TEXT"_s;
        QTest::newRow("DddRows") << u"DddRows"_s
                                 << u"RowId INTEGER, ReportId INTEGER NOT NULL, ReportType INTEGER NOT NULL, "
                                    "Dataset TEXT NOT NULL, RowIndex INTEGER NOT NULL, Json TEXT NOT NULL"_s;
        QTest::newRow("DddReportMeta")
            << u"DddReportMeta"_s
            << u"ReportId INTEGER NOT NULL, ReportType INTEGER NOT NULL, Json TEXT "
               "NOT NULL"_s;
    }

    void schema()
    {
        QFETCH(QString, table);
        QFETCH(QString, columns);
        const QString path = fresh();
        QVERIFY(DddRepository(path).isOpen());
        QCOMPARE(
            sql(path,
                {u"SELECT group_concat(name || ' ' || type || CASE WHEN \"notnull\" THEN ' NOT NULL' "
                 "ELSE '' END, ', ') FROM (SELECT * FROM pragma_table_info('%1') ORDER BY cid)"_s.arg(table)})
                .toString(),
            columns);
    }

    // The flat tables hold what the list and earlier versions read.
    void flatTables()
    {
        const QString path = fresh();
        DddRepository repository(path);
        DddReport cardReport = card();
        DddReport unitReport = unit();
        const qint64 cardId = repository.save(cardReport);
        const qint64 unitId = repository.save(unitReport);
        QCOMPARE(cardId, 1);
        QCOMPARE(unitId, 1); // the two kinds count apart
        const QVariantMap efficiency = cardReport.analysis.value(u"efficiency"_s).toMap();
        QCOMPARE(
            sql(path, {u"SELECT CardNumber || '|' || DriverFullName || '|' || TotalActivityRecords || '|' || "
                       "TotalActivityChanges || '|' || TotalDrivingHours || '|' || TotalRestHours FROM "
                       "DriverCardReports"_s})
                .toString(),
            u"%1|%2|%3|%4|%5|%6"_s.arg(cardReport.cardNumber, cardReport.driverName)
                .arg(cardReport.activities.size())
                .arg(cardReport.activityChanges.size())
                .arg(efficiency.value(u"totalWorkMinutes"_s).toInt())
                .arg(efficiency.value(u"totalRestMinutes"_s).toInt()));
        QCOMPARE(sql(path, {u"SELECT COUNT(*) FROM ActivityChanges WHERE ReportId = 1"_s}).toLongLong(),
                 cardReport.activityChanges.size());
        QCOMPARE(
            sql(path,
                {u"SELECT Activity || ' ' || Time FROM ActivityChanges ORDER BY ActivityChangeId LIMIT 1 "
                 "OFFSET 1"_s})
                .toString(),
            u"%1 %2"_s.arg(cardReport.activityChanges.value(1, u"activity").toString(),
                           cardReport.activityChanges.value(1, u"time").toString()));
        QCOMPARE(
            sql(path,
                {u"SELECT VIN || '|' || VehicleRegistration || '|' || TotalDays FROM TachographReports"_s})
                .toString(),
            u"%1|%2|%3"_s.arg(unitReport.vin, unitReport.registrationNumber).arg(unitReport.totalDays));
        QCOMPARE(sql(path, {u"SELECT COUNT(*) FROM TachoActivityDaily WHERE ReportId = 1"_s}).toLongLong(),
                 unitReport.activityDaily.size());
        QCOMPARE(
            sql(path, {u"SELECT COUNT(*) FROM DddRows WHERE ReportType = 2 AND Dataset = 'activityDaily'"_s})
                .toLongLong(),
            unitReport.activityDaily.size());
        QCOMPARE(sql(path, {u"SELECT COUNT(*) FROM DddSections WHERE ReportType = 1"_s}).toLongLong(),
                 cardReport.blocks.size());
        // The odometer of a vehicle that went backwards adds nothing to the distance.
        DddReport backwards = card(3);
        backwards.filePath = u"/shop/in/other.ddd"_s;
        backwards.sourceFingerprint = u"other"_s;
        for (qsizetype row = 0; row < backwards.vehicles.size(); ++row)
            backwards.vehicles.setValue(row, u"vehicleOdometerEnd"_s, 0);
        const qint64 third = repository.save(backwards);
        QCOMPARE(
            sql(path, {u"SELECT TotalDistanceKm FROM DriverCardReports WHERE ReportId = %1"_s.arg(third)})
                .toInt(),
            0);
    }

    void duplicates_data()
    {
        QTest::addColumn<QString>("storedFingerprint");
        QTest::addColumn<QString>("storedPath");
        QTest::addColumn<QString>("fingerprint");
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("duplicate");
        QTest::newRow("same file") << u"aa"_s << u"/a.ddd"_s << u"aa"_s << u"/a.ddd"_s << true;
        QTest::newRow("same bytes, moved") << u"aa"_s << u"/a.ddd"_s << u"aa"_s << u"/b.ddd"_s << true;
        QTest::newRow("other bytes, same path") << u"aa"_s << u"/a.ddd"_s << u"bb"_s << u"/a.ddd"_s << false;
        QTest::newRow("no fingerprint, same path") << u""_s << u"/a.ddd"_s << u""_s << u"/a.ddd"_s << true;
        QTest::newRow("stored without one") << u""_s << u"/a.ddd"_s << u"aa"_s << u"/a.ddd"_s << true;
        QTest::newRow("stored without one, other path")
            << u""_s << u"/a.ddd"_s << u"aa"_s << u"/b.ddd"_s << false;
        QTest::newRow("neither path nor fingerprint") << u""_s << u""_s << u""_s << u""_s << false;
    }

    void duplicates()
    {
        QFETCH(QString, storedFingerprint);
        QFETCH(QString, storedPath);
        QFETCH(QString, fingerprint);
        QFETCH(QString, path);
        QFETCH(bool, duplicate);
        DddRepository repository(fresh());
        DddReport stored = card(2);
        stored.sourceFingerprint = storedFingerprint;
        stored.filePath = storedPath;
        const qint64 id = repository.save(stored);
        QVERIFY(id > 0);
        // A unit's report of the same file is another kind: never a duplicate of the card's.
        DddReport otherKind = unit(1);
        otherKind.sourceFingerprint = storedFingerprint;
        otherKind.filePath = storedPath;
        QCOMPARE(repository.findDuplicateReport(otherKind), 0);
        DddReport again = stored;
        again.sourceFingerprint = fingerprint;
        again.filePath = path;
        QCOMPARE(repository.findDuplicateReport(again), duplicate ? id : 0);
    }

    void decodedTwiceIsADuplicate()
    {
        DddRepository repository(fresh());
        const QByteArray bytes = writeDriverCard(sampleDriverCard(5));
        const qint64 first = repository.save(Decoder::decode(bytes, u"/a/card.ddd"_s));
        QCOMPARE(repository.findDuplicateReport(Decoder::decode(bytes, u"/b/copy.ddd"_s)), first);
        QCOMPARE(
            repository.findDuplicateReport(Decoder::decode(bytes + QByteArray(1, '\0'), u"/a/card.ddd"_s)),
            0);
        QCOMPARE(repository.findDuplicateReport(DddReport()), -1);
        QCOMPARE(repository.lastError(), u"DDD report database is not open"_s);
    }

    // A report saved by an earlier version: the flat tables alone, fewer columns, no JSON.
    void earlierVersionsReport()
    {
        const QString path = fresh();
        sql(path, kLegacySchema);
        DddRepository repository(path);
        QVERIFY2(repository.isOpen(), qPrintable(repository.lastError()));
        // The columns that version lacked are there now, without a word.
        QCOMPARE(sql(path, {u"SELECT COUNT(*) FROM pragma_table_info('TachoDetailedSpeedData') WHERE name = "
                            "'SpeedValuesJson'"_s})
                     .toInt(),
                 1);
        QCOMPARE(sql(path, {u"SELECT COUNT(*) FROM pragma_table_info('DriverCardReports') WHERE name = "
                            "'TotalDistanceKm'"_s})
                     .toInt(),
                 1);
        QVERIFY(repository.lastError().isEmpty());

        const std::optional<DddReport> report = repository.loadReport(1, DddFileType::DriverCard);
        QVERIFY(report);
        QCOMPARE(report->cardNumber, u"RUD0000000000111"_s);
        QCOMPARE(report->driverName, u"СИДОРОВ ОЛЕГ"_s);
        QCOMPARE(report->events.size(), 1);
        const QVariantMap event = report->events.first();
        QCOMPARE(event.value(u"eventType"_s).toString(), u"Вождение без карты"_s);
        QCOMPARE(event.value(u"EventType"_s).toString(), u"Вождение без карты"_s);
        QCOMPARE(event.value(u"vehicleRegistrationNumber"_s).toString(), u"A001AA77"_s);
        QCOMPARE(report->activityChanges.size(), 4);
        // The analysis is made anew from the flat rows.
        const QVariantMap compliance = report->analysis.value(u"compliance"_s).toMap();
        QCOMPARE(compliance.value(u"violations"_s).toStringList(),
                 QStringList{u"Превышено непрерывное вождение: 05:30 > 4:30"_s});
        QCOMPARE(report->structureText, u"Сохранённый отчёт: Карта водителя, разделов: 0"_s);

        // An unreadable date sorts behind all readable ones; equal dates put the greater number first.
        const QVariantList list = repository.listReports();
        QStringList order;
        for (const QVariant& row : list)
            order.append(row.toMap().value(u"keyValue"_s).toString());
        QCOMPARE(order, QStringList({u"XTA21099000000002"_s, u"RUD0000000000111"_s, u"XTA21099012345678"_s}));
        QCOMPARE(list.first().toMap().value(u"reportId"_s).toInt(), 2);
    }

    void earlierVersionsSpeed()
    {
        const QString path = fresh();
        sql(path, kLegacySchema);
        DddRepository repository(path);
        sql(path, {u"INSERT INTO TachoDetailedSpeedData (ReportId, SpeedBlockBeginDate, SpeedsPerSecond, "
                   "SpeedValuesJson) VALUES (2, '01.03.2021 10:00:00', '50;51', '[50,51,52]')"_s});
        const std::optional<DddReport> report = repository.loadReport(2, DddFileType::Tachograph);
        QVERIFY(report);
        QCOMPARE(report->vin, u"XTA21099000000002"_s);
        QCOMPARE(report->detailedSpeed.size(), 1);
        QCOMPARE(report->detailedSpeed.value(0, u"speedValues").toList(), QVariantList({50, 51, 52}));
    }

    // A card report and a unit report of the same number: removing the one leaves the other whole.
    void removalKeepsTheOtherKind()
    {
        const QString path = fresh();
        DddRepository repository(path);
        const DddReport cardReport = card();
        const DddReport unitReport = unit();
        QCOMPARE(repository.save(cardReport), 1);
        QCOMPARE(repository.save(unitReport), 1);
        QVERIFY2(repository.remove(1, DddFileType::DriverCard), qPrintable(repository.lastError()));
        QVERIFY(!repository.loadReport(1, DddFileType::DriverCard));
        for (const char* table : {"Events", "ActivityChanges", "DriverActivities", "Vehicles"})
            QCOMPARE(sql(path, {u"SELECT COUNT(*) FROM %1"_s.arg(QLatin1String(table))}).toInt(), 0);
        QCOMPARE(sql(path, {u"SELECT COUNT(*) FROM DddRows WHERE ReportType = 1"_s}).toInt(), 0);
        const std::optional<DddReport> left = repository.loadReport(1, DddFileType::Tachograph);
        QVERIFY(left);
        compareReports(*left, unitReport);
        QCOMPARE(repository.listReports().size(), 1);

        QVERIFY(repository.remove(1, DddFileType::Tachograph));
        QVERIFY(repository.listReports().isEmpty());
        for (const char* table :
             {"DddRows", "DddSections", "DddReportMeta", "TachoActivityDaily", "TachoCardIWData"})
            QCOMPARE(sql(path, {u"SELECT COUNT(*) FROM %1"_s.arg(QLatin1String(table))}).toInt(), 0);
    }

    // A save that fails at its last step leaves nothing behind.
    void failedSaveLeavesNothing()
    {
        const QString path = fresh();
        DddRepository repository(path);
        sql(path, {u"DROP TABLE DddReportMeta"_s,
                   u"CREATE TABLE DddReportMeta (ReportId INTEGER, ReportType INTEGER, Json TEXT NOT NULL, "
                   "CHECK (length(Json) < 10))"_s});
        QCOMPARE(repository.save(card(3)), -1);
        QVERIFY(repository.lastError().contains(u"CHECK"_s, Qt::CaseInsensitive));
        for (const char* table : {"DriverCardReports", "Events", "ActivityChanges", "DddRows", "DddSections"})
            QCOMPARE(sql(path, {u"SELECT COUNT(*) FROM %1"_s.arg(QLatin1String(table))}).toInt(), 0);
    }

    // Without a path the repository takes "ReportsDB.db", moved from the old "driver_cards.db" that stays.
    void moveOfAnOldDatabase()
    {
        QTemporaryDir profile;
        const QByteArray previous = qgetenv("LOCALAPPDATA");
        qputenv("LOCALAPPDATA", profile.path().toUtf8());
        tachoria::storage::AppPaths::ensureDirectories();
        const QString old = tachoria::storage::AppPaths::database(u"driver_cards.db"_s);
        sql(old, kLegacySchema);
        QFile source(old);
        QVERIFY(source.open(QIODevice::ReadOnly));
        const QByteArray before = QCryptographicHash::hash(source.readAll(), QCryptographicHash::Sha256);
        source.close();
        {
            DddRepository repository;
            QVERIFY2(repository.isOpen(), qPrintable(repository.lastError()));
            QCOMPARE(repository.listReports().size(), 3);
            QVERIFY(repository.save(card(2)) > 0);
            QCOMPARE(repository.listReports().size(), 4);
        }
        QVERIFY(QFile::exists(profile.filePath(u"Tachoria/Data/DB/ReportsDB.db"_s)));
        QVERIFY(source.open(QIODevice::ReadOnly));
        QCOMPARE(QCryptographicHash::hash(source.readAll(), QCryptographicHash::Sha256), before);
        QCOMPARE(sql(old, {u"SELECT COUNT(*) FROM DriverCardReports"_s}).toInt(), 1);
        qputenv("LOCALAPPDATA", previous);
    }

    void storedDates_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDateTime>("expected");
        const QDateTime noon(QDate(2024, 3, 5), QTime(12, 30, 15));
        QTest::newRow("SQLite") << u"2024-03-05 12:30:15"_s << noon;
        QTest::newRow("milliseconds") << u"2024-03-05 12:30:15.250"_s << noon.addMSecs(250);
        QTest::newRow("Russian") << u"05.03.2024 12:30:15"_s << noon;
        QTest::newRow("one-digit hour")
            << u"05.03.2024 8:30:15"_s << QDateTime(QDate(2024, 3, 5), QTime(8, 30, 15));
        QTest::newRow("minutes") << u"05.03.2024 12:30"_s << QDateTime(QDate(2024, 3, 5), QTime(12, 30));
        QTest::newRow("day") << u" 2024-03-05 "_s << QDateTime(QDate(2024, 3, 5), QTime(0, 0));
        QTest::newRow("nothing") << u"  "_s << QDateTime();
        QTest::newRow("words") << u"вчера"_s << QDateTime();
    }

    void storedDates()
    {
        QFETCH(QString, text);
        QFETCH(QDateTime, expected);
        QCOMPARE(DddRepository::storedDateTime(text), expected);
    }

    void rowValuesAndTexts()
    {
        const QVariantMap row{
            {u"eventType"_s, u"a"_s}, {u"EVENTBEGINTIME"_s, u"b"_s}, {u"list"_s, QVariantList{1, u"x"_s}}};
        QCOMPARE(DddRepository::rowValue(row, {u"eventType1"_s, u"eventType"_s}).toString(), u"a"_s);
        QCOMPARE(DddRepository::rowValue(row, {u"eventBeginTime"_s}).toString(), u"b"_s);
        QVERIFY(!DddRepository::rowValue(row, {u"missing"_s}).isValid());
        QCOMPARE(DddRepository::jsonText(row.value(u"list"_s)), u"[1,\"x\"]"_s);
        QCOMPARE(DddRepository::jsonText(QVariant()), QString());
        QCOMPARE(DddRepository::jsonText(2.5), u"2.5"_s);
    }

    void closedRepository()
    {
        DddRepository repository(m_folder.filePath(u"no/such/folder/x.db"_s));
        QVERIFY(!repository.isOpen());
        QVERIFY(!repository.lastError().isEmpty());
        QCOMPARE(repository.save(card(1)), -1);
        QVERIFY(!repository.loadReport(1, DddFileType::DriverCard));
        QVERIFY(repository.listReports().isEmpty());
        QVERIFY(!repository.remove(1, DddFileType::DriverCard));
    }
};

QTEST_GUILESS_MAIN(TestDddRepository)
#include "test_ddd_repository.moc"
