#include "storage/calibration_repository.h"
#include "storage_test_profile.h"

#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <thread>

using tachoria::storage::CalibrationRepository;
using namespace Qt::StringLiterals;

class TestCalibrationRepository : public QObject
{
    Q_OBJECT

    StorageTestProfile m_profile;

    QString path() const { return m_profile.database(u"CalibrationDB.db"_s); }

private Q_SLOTS:
    void init() { QFile::remove(path()); }

    void recordLifecycle()
    {
        CalibrationRepository journal;
        QVERIFY2(journal.isOpen(), qPrintable(journal.lastError()));
        const int id = journal.startCalibrationRecord(u"2505001800001234"_s, 19, 4, u"ООО Тахо"_s, u"Тверь"_s,
                                                      1893456000u);
        QVERIFY(id > 0);
        QVariantMap row = journal.calibration(id);
        QCOMPARE(row.value(u"WriteResult"_s).toInt(), 0);
        QVERIFY(row.value(u"WriteError"_s).isNull());
        QCOMPARE(row.value(u"MasterCardNumber"_s).toString(), QString());
        QVERIFY(!row.value(u"RecordDateTime"_s).toString().isEmpty());

        QVERIFY(journal.updateCalibrationFields(id, {{u"KConstantOfRecordingEquipment"_s, 8000},
                                                     {u"VehicleRegistrationNumber"_s, u"АВ123"_s},
                                                     {u"Id; DROP TABLE Calibrations"_s, 1}}));
        QVERIFY(journal.updateCalibrationFields(id, {{u"Unknown"_s, 1}})); // nothing to do is no failure
        QVERIFY(journal.updateCalibrationFields(9999, {{u"TyreSize"_s, u"x"_s}})); // bare success
        QVERIFY(journal.updateCardNumbers(id, u"RUM1"_s, u"7800"_s));
        QVERIFY(!journal.finishCalibrationRecord(9999, true, QString()));
        QVERIFY(journal.finishCalibrationRecord(id, true, u"Успешно"_s));
        QVERIFY(journal.updateCustomerAndOrder(id, u"АО Автопарк"_s, 17));
        row = journal.calibration(id);
        QCOMPARE(row.value(u"KConstantOfRecordingEquipment"_s).toInt(), 8000);
        QCOMPARE(row.value(u"WriteResult"_s).toInt(), 1);
        QCOMPARE(row.value(u"SkziNumber"_s).toString(), u"7800"_s);
        QCOMPARE(journal.maxSuccessfulOrderNumber(), 17);

        QCOMPARE(journal.searchSuccessfulCalibrations(u"ав"_s, QString()).size(), 1);
        QCOMPARE(journal.searchSuccessfulCalibrations(u"ав"_s, u"рога"_s).size(), 0);
        QCOMPARE(journal.searchSuccessfulCalibrations(QString(), u"автопарк"_s).size(), 1);
        QCOMPARE(journal.calibrationsBySerialNumber(u"2505001800001234"_s).size(), 1);
        QVERIFY(journal.deleteCalibration(id));
        QVERIFY(!journal.deleteCalibration(id));
    }

    // Every column a calibration fills in exists under its name and keeps what it was given.
    void everyField()
    {
        CalibrationRepository journal;
        QCOMPARE(journal.lastError(), QString()); // the columns already there are no error
        const int id = journal.startCalibrationRecord(u"SN"_s, 1, 4, {}, {}, 0);
        QVariantMap fields;
        int n = 0;
        for (const QString& field : CalibrationRepository::updatableFields())
            fields.insert(field, ++n);
        QCOMPARE(n, 57);
        QVERIFY2(journal.updateCalibrationFields(id, fields), qPrintable(journal.lastError()));
        const QVariantMap row = journal.calibration(id);
        for (auto it = fields.cbegin(); it != fields.cend(); ++it)
            QVERIFY2(row.value(it.key()).toInt() == it.value().toInt(), qPrintable(it.key()));
        QCOMPARE(row.size(), 70); // one entry per column, no more
        QVERIFY(!journal.updateCustomerAndOrder(9999, {}, 1));
        QCOMPARE(journal.calibrationId(u"none"_s, QDateTime::currentDateTime()), -1);
    }

    void orderNumbersWithoutAny()
    {
        CalibrationRepository journal;
        QCOMPARE(journal.maxSuccessfulOrderNumber(), 0);
        const int id = journal.startCalibrationRecord(u"1"_s, 1, 4, {}, {}, 0);
        journal.finishCalibrationRecord(id, true, QString());
        QCOMPARE(journal.maxSuccessfulOrderNumber(), 0); // a NULL maximum is 0
    }

    void identityByRecordTime()
    {
        CalibrationRepository journal;
        const int id = journal.startCalibrationRecord(u"SN"_s, 1, 4, {}, {}, 0);
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"time"_s);
            db.setDatabaseName(path());
            QVERIFY(db.open());
            QSqlQuery(db).exec(u"UPDATE Calibrations SET RecordDateTime = '2024-01-02 03:04:05'"_s);
            db.close();
        }
        QSqlDatabase::removeDatabase(u"time"_s);
        QCOMPARE(journal.calibrationId(u"SN"_s, QDateTime(QDate(2024, 1, 2), QTime(3, 4, 5))), id);
        QCOMPARE(journal.calibrationId(u"SN"_s, QDateTime(QDate(2024, 1, 2), QTime(3, 4, 6))), -1);
    }

    void olderDatabaseGetsTheMissingColumns()
    {
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"old"_s);
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
        QSqlDatabase::removeDatabase(u"old"_s);
        {
            CalibrationRepository journal;
            QVERIFY(journal.isOpen());
            const int id = journal.startCalibrationRecord(u"SN"_s, 1, 4, {}, {}, 0);
            QVERIFY(journal.updateCalibrationFields(id, {{u"EnableDM1"_s, 17}}));
            QCOMPARE(journal.calibration(id).value(u"EnableDM1"_s).toInt(), 17);
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
                const int id = journal.startCalibrationRecord(u"SN"_s, i, 4, {}, {}, 0);
                *ok = id > 0 && journal.updateCalibrationFields(id, {{u"TyreSize"_s, QString::number(i)}}) &&
                      journal.finishCalibrationRecord(id, true, u"Успешно"_s);
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
        CalibrationRepository journal(u"/proc/no-such-folder/CalibrationDB.db"_s);
        QVERIFY(!journal.isOpen());
        QVERIFY(!journal.lastError().isEmpty());
        QCOMPARE(journal.startCalibrationRecord(u"SN"_s, 1, 4, {}, {}, 0), -1);
        QVERIFY(!journal.finishCalibrationRecord(1, true, QString()));
        QVERIFY(journal.allCalibrations().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestCalibrationRepository)
#include "test_calibration_repository.moc"
