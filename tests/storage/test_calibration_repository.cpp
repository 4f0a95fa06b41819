#include "storage/calibration_repository.h"
#include "storage_test_profile.h"

#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <thread>

using tachoria::storage::CalibrationRepository;

class TestCalibrationRepository : public QObject
{
    Q_OBJECT

    StorageTestProfile m_profile;

    QString path() const { return m_profile.database(QStringLiteral("CalibrationDB.db")); }

private Q_SLOTS:
    void init() { QFile::remove(path()); }

    void recordLifecycle()
    {
        CalibrationRepository journal;
        QVERIFY2(journal.isOpen(), qPrintable(journal.lastError()));
        const int id =
            journal.startCalibrationRecord(QStringLiteral("2505001800001234"), 19, 4,
                                           QStringLiteral("ООО Тахо"), QStringLiteral("Тверь"), 1893456000u);
        QVERIFY(id > 0);
        QVariantMap row = journal.calibration(id);
        QCOMPARE(row.value(QStringLiteral("WriteResult")).toInt(), 0);
        QVERIFY(row.value(QStringLiteral("WriteError")).isNull());
        QCOMPARE(row.value(QStringLiteral("MasterCardNumber")).toString(), QString());
        QVERIFY(!row.value(QStringLiteral("RecordDateTime")).toString().isEmpty());

        QVERIFY(journal.updateCalibrationFields(
            id, {{QStringLiteral("KConstantOfRecordingEquipment"), 8000},
                 {QStringLiteral("VehicleRegistrationNumber"), QStringLiteral("АВ123")},
                 {QStringLiteral("Id; DROP TABLE Calibrations"), 1}}));
        QVERIFY(journal.updateCalibrationFields(
            id, {{QStringLiteral("Unknown"), 1}})); // nothing to do is no failure
        QVERIFY(journal.updateCalibrationFields(
            9999, {{QStringLiteral("TyreSize"), QStringLiteral("x")}})); // bare success
        QVERIFY(journal.updateCardNumbers(id, QStringLiteral("RUM1"), QStringLiteral("7800")));
        QVERIFY(!journal.finishCalibrationRecord(9999, true, QString()));
        QVERIFY(journal.finishCalibrationRecord(id, true, QStringLiteral("Успешно")));
        QVERIFY(journal.updateCustomerAndOrder(id, QStringLiteral("АО Автопарк"), 17));
        row = journal.calibration(id);
        QCOMPARE(row.value(QStringLiteral("KConstantOfRecordingEquipment")).toInt(), 8000);
        QCOMPARE(row.value(QStringLiteral("WriteResult")).toInt(), 1);
        QCOMPARE(row.value(QStringLiteral("SkziNumber")).toString(), QStringLiteral("7800"));
        QCOMPARE(journal.maxSuccessfulOrderNumber(), 17);

        QCOMPARE(journal.searchSuccessfulCalibrations(QStringLiteral("ав"), QString()).size(), 1);
        QCOMPARE(journal.searchSuccessfulCalibrations(QStringLiteral("ав"), QStringLiteral("рога")).size(),
                 0);
        QCOMPARE(journal.searchSuccessfulCalibrations(QString(), QStringLiteral("автопарк")).size(), 1);
        QCOMPARE(journal.calibrationsBySerialNumber(QStringLiteral("2505001800001234")).size(), 1);
        QVERIFY(journal.deleteCalibration(id));
        QVERIFY(!journal.deleteCalibration(id));
    }

    void orderNumbersWithoutAny()
    {
        CalibrationRepository journal;
        QCOMPARE(journal.maxSuccessfulOrderNumber(), 0);
        const int id = journal.startCalibrationRecord(QStringLiteral("1"), 1, 4, {}, {}, 0);
        journal.finishCalibrationRecord(id, true, QString());
        QCOMPARE(journal.maxSuccessfulOrderNumber(), 0); // a NULL maximum is 0
    }

    void identityByRecordTime()
    {
        CalibrationRepository journal;
        const int id = journal.startCalibrationRecord(QStringLiteral("SN"), 1, 4, {}, {}, 0);
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("time"));
            db.setDatabaseName(path());
            QVERIFY(db.open());
            QSqlQuery(db).exec(
                QStringLiteral("UPDATE Calibrations SET RecordDateTime = '2024-01-02 03:04:05'"));
            db.close();
        }
        QSqlDatabase::removeDatabase(QStringLiteral("time"));
        QCOMPARE(journal.calibrationId(QStringLiteral("SN"), QDateTime(QDate(2024, 1, 2), QTime(3, 4, 5))),
                 id);
        QCOMPARE(journal.calibrationId(QStringLiteral("SN"), QDateTime(QDate(2024, 1, 2), QTime(3, 4, 6))),
                 -1);
    }

    void olderDatabaseGetsTheMissingColumns()
    {
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("old"));
            db.setDatabaseName(path());
            QVERIFY(db.open());
            QVERIFY(
                QSqlQuery(db).exec(QStringLiteral("CREATE TABLE Calibrations (Id INTEGER PRIMARY KEY "
                                                  "AUTOINCREMENT, RecordDateTime DATETIME DEFAULT "
                                                  "CURRENT_TIMESTAMP, VuSerialNumber TEXT, TachoriaCodeFBU "
                                                  "INTEGER, CalibrationPurpose INTEGER, TachoriaName TEXT, "
                                                  "TachoriaAddress TEXT, TachoriaCardExpiryDate INTEGER, "
                                                  "CAN1_Interval_TCO1 INTEGER, MasterCardNumber TEXT, "
                                                  "SkziNumber TEXT, CustomerName TEXT, OrderNumber INTEGER, "
                                                  "WriteResult INTEGER, WriteError TEXT, WriteTimestamp "
                                                  "DATETIME DEFAULT CURRENT_TIMESTAMP)")));
            db.close();
        }
        QSqlDatabase::removeDatabase(QStringLiteral("old"));
        {
            CalibrationRepository journal;
            QVERIFY(journal.isOpen());
            const int id = journal.startCalibrationRecord(QStringLiteral("SN"), 1, 4, {}, {}, 0);
            QVERIFY(journal.updateCalibrationFields(id, {{QStringLiteral("EnableDM1"), 17}}));
            QCOMPARE(journal.calibration(id).value(QStringLiteral("EnableDM1")).toInt(), 17);
            QVERIFY(journal.lastError().isEmpty()); // "duplicate column" is no error
        }
        CalibrationRepository again; // a second start passes over the additions
        QVERIFY(again.isOpen());
        QVERIFY(again.lastError().isEmpty());
        QCOMPARE(again.allCalibrations().size(), 1);
    }

    void twoWorkersOnOneFile()
    {
        CalibrationRepository().isOpen();
        constexpr int kRecords = 100;
        const auto worker = [](bool* ok) {
            CalibrationRepository journal;
            *ok = journal.isOpen();
            for (int i = 0; i < kRecords && *ok; ++i) {
                const int id = journal.startCalibrationRecord(QStringLiteral("SN"), i, 4, {}, {}, 0);
                *ok =
                    id > 0 &&
                    journal.updateCalibrationFields(id, {{QStringLiteral("TyreSize"), QString::number(i)}}) &&
                    journal.finishCalibrationRecord(id, true, QStringLiteral("Успешно"));
            }
        };
        bool first = false;
        bool second = false;
        std::thread a(worker, &first);
        std::thread b(worker, &second);
        a.join();
        b.join();
        QVERIFY(first);
        QVERIFY(second);
        QCOMPARE(CalibrationRepository().successfulCalibrations().size(), 2 * kRecords);
    }

    void unopenableDatabase()
    {
        CalibrationRepository journal(QStringLiteral("/proc/no-such-folder/CalibrationDB.db"));
        QVERIFY(!journal.isOpen());
        QVERIFY(!journal.lastError().isEmpty());
        QCOMPARE(journal.startCalibrationRecord(QStringLiteral("SN"), 1, 4, {}, {}, 0), -1);
        QVERIFY(!journal.finishCalibrationRecord(1, true, QString()));
        QVERIFY(journal.allCalibrations().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestCalibrationRepository)
#include "test_calibration_repository.moc"
