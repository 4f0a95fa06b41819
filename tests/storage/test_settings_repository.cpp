#include "storage/settings_repository.h"
#include "storage_test_profile.h"

#include <QFile>
#include <QSqlQuery>
#include <QTest>

#include <thread>

using tachoria::storage::SettingsRepository;
using namespace Qt::StringLiterals;

namespace {

// Reads the database behind the repository's back, as another program would.
QVariant sql(const QString& path, const QString& statement)
{
    QVariant value;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"peek"_s);
        db.setDatabaseName(path);
        if (db.open()) {
            QSqlQuery query(db);
            if (query.exec(statement) && query.next())
                value = query.value(0);
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(u"peek"_s);
    return value;
}

} // namespace

class TestSettingsRepository : public QObject
{
    Q_OBJECT

    StorageTestProfile m_profile;

    QString path() const { return m_profile.database(u"SettingsDB.db"_s); }

private Q_SLOTS:
    void init() { QFile::remove(path()); }

    void defaultsWrittenOnce()
    {
        {
            SettingsRepository settings;
            QVERIFY2(settings.isOpen(), qPrintable(settings.lastError()));
            QCOMPARE(settings.value(u"Main"_s, u"CardReader"_s, u"x"_s), QString());
            QCOMPARE(settings.intValue(u"Ports"_s, u"DownloadPortMaxBitrate"_s, 0), 115200);
            QVERIFY(settings.boolValue(u"Main"_s, u"LogEnable"_s, false));
            QCOMPARE(settings.value(u"Ports"_s, u"RalonaPortName"_s), u"/dev/ttyS2"_s);
        }
        QCOMPARE(sql(path(),
                     u"SELECT group_concat(Section || '/' || Key || '=' || Value || ':' || ValueType, ' ') "
                     u"FROM (SELECT * FROM Settings ORDER BY rowid)"_s)
                     .toString()
                     .split(u' '),
                 QStringList({u"Ports/DownloadPortName=/dev/ttyS0:String"_s,
                              u"Ports/DownloadPortMaxBitrate=115200:Int"_s,
                              u"Ports/DownloadPortStartBitrate=9600:Int"_s,
                              u"Ports/CalibrationPortName=/dev/ttyS1:String"_s,
                              u"Ports/CalibrationPortBitrate=115200:Int"_s,
                              u"Ports/RalonaPortName=/dev/ttyS2:String"_s,
                              u"Main/UseRalona=0:Bool"_s,
                              u"Main/CardReader=:String"_s,
                              u"Main/LogEnable=1:Bool"_s,
                              u"Main/PrinterAct=:String"_s,
                              u"Main/PrinterLabel=:String"_s,
                              u"Main/Act=:String"_s,
                              u"Main/Label=:String"_s,
                              u"Program/ScanPorts=1:Bool"_s,
                              u"Program/FullScreenMode=0:Bool"_s,
                              u"Program/FontSize=12:Int"_s,
                              u"TACHORIA/name=:String"_s,
                              u"TACHORIA/post=:String"_s,
                              u"TACHORIA/city=:String"_s,
                              u"TACHORIA/street=:String"_s,
                              u"TACHORIA/phone=:String"_s,
                              u"TACHORIA/mark=:String"_s,
                              u"TACHORIA/NumberInList=:String"_s}));
        QCOMPARE(sql(path(), u"SELECT COUNT(*) FROM Settings WHERE LastModified IS NULL"_s).toInt(), 0);
        QCOMPARE(sql(path(), u"SELECT ValueType FROM Settings WHERE Key = 'UseRalona'"_s).toString(),
                 u"Bool"_s);

        // A second start changes nothing, and a deleted default stays deleted.
        sql(path(), u"DELETE FROM Settings WHERE Key = 'FontSize'"_s);
        sql(path(), u"UPDATE Settings SET Value = 'COM9' WHERE Key = 'DownloadPortName'"_s);
        SettingsRepository again;
        QCOMPARE(again.intValue(u"Program"_s, u"FontSize"_s, -7), -7);
        QCOMPARE(again.value(u"Ports"_s, u"DownloadPortName"_s), u"COM9"_s);
        QCOMPARE(sql(path(), u"SELECT COUNT(*) FROM Settings"_s).toInt(), 22);
    }

    void typedReads_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<int>("asInt");
        QTest::addColumn<int>("asBool"); // -1: the caller's default
        QTest::newRow("true in blanks") << u" TRUE "_s << -5 << 1;
        QTest::newRow("yes") << u"yes"_s << -5 << -1;
        QTest::newRow("0") << u"0"_s << 0 << 0;
        QTest::newRow("12a") << u"12a"_s << -5 << -1;
        QTest::newRow("42") << u"42"_s << 42 << -1;
        QTest::newRow("1") << u"1"_s << 1 << 1;
        QTest::newRow("False") << u"False"_s << -5 << 0;
    }

    void typedReads()
    {
        QFETCH(QString, stored);
        QFETCH(int, asInt);
        QFETCH(int, asBool);
        SettingsRepository settings;
        QVERIFY(settings.setValue(u"Test"_s, u"Value"_s, stored));
        QCOMPARE(settings.intValue(u"Test"_s, u"Value"_s, -5), asInt);
        QCOMPARE(settings.boolValue(u"Test"_s, u"Value"_s, true), asBool == -1 ? true : asBool == 1);
        QCOMPARE(settings.boolValue(u"Test"_s, u"Value"_s, false), asBool == 1);
    }

    void setValueStampsLastModified()
    {
        SettingsRepository settings;
        QVERIFY(settings.setValue(u"New"_s, u"Key"_s, 5, u"Int"_s));
        QCOMPARE(sql(path(), u"SELECT ValueType FROM Settings WHERE Key = 'Key'"_s).toString(), u"Int"_s);
        sql(path(), u"UPDATE Settings SET LastModified = '2001-01-01 00:00:00' WHERE Key = 'Key'"_s);
        QVERIFY(settings.setValue(u"New"_s, u"Key"_s, 5,
                                  u"Int"_s)); // unchanged value
        const QString stamp =
            sql(path(), u"SELECT LastModified FROM Settings WHERE Key = 'Key'"_s).toString();
        QVERIFY2(stamp > u"2020"_s, qPrintable(stamp));
    }

    void transactionRollsBackAsAWhole()
    {
        SettingsRepository settings;
        QVERIFY(settings.beginTransaction());
        QVERIFY(settings.setValue(u"Ports"_s, u"DownloadPortName"_s, u"/dev/ttyUSB0"_s));
        QVERIFY(settings.setValue(u"TACHORIA"_s, u"name"_s, u"ООО «Тахосервис»"_s));
        settings.rollbackTransaction();
        QCOMPARE(settings.value(u"Ports"_s, u"DownloadPortName"_s), u"/dev/ttyS0"_s);
        QCOMPARE(settings.value(u"TACHORIA"_s, u"name"_s), QString());
        QVERIFY(settings.beginTransaction());
        QVERIFY(settings.setValue(u"TACHORIA"_s, u"name"_s, u"ООО «Тахосервис»"_s));
        QVERIFY(settings.commitTransaction());
        QCOMPARE(SettingsRepository().value(u"TACHORIA"_s, u"name"_s), u"ООО «Тахосервис»"_s);
    }

    void unopenableDatabaseFailsSoftly()
    {
        SettingsRepository settings(u"/proc/no-such-folder/SettingsDB.db"_s);
        QVERIFY(!settings.isOpen());
        QVERIFY(!settings.lastError().isEmpty());
        const QString reason = settings.lastError();
        QCOMPARE(settings.value(u"Main"_s, u"CardReader"_s, u"fallback"_s), u"fallback"_s);
        QVERIFY(!settings.setValue(u"Main"_s, u"CardReader"_s, u"x"_s));
        QCOMPARE(settings.lastError(), reason);
        QVERIFY(!settings.beginTransaction());
        QCOMPARE(settings.lastError(), u"База настроек недоступна"_s);
    }

    void twoThreadsOnOneFile()
    {
        SettingsRepository().isOpen(); // the schema and defaults exist before the race
        constexpr int kWrites = 200;
        const auto writer = [](int thread, bool* ok) {
            SettingsRepository settings;
            *ok = settings.isOpen();
            for (int i = 0; i < kWrites && *ok; ++i)
                *ok = settings.setValue(u"Thread%1"_s.arg(thread), QString::number(i), i, u"Int"_s);
        };
        bool first = false;
        bool second = false;
        std::thread a(writer, 1, &first);
        std::thread b(writer, 2, &second);
        a.join();
        b.join();
        QVERIFY(first);
        QVERIFY(second);
        QCOMPARE(sql(path(), u"SELECT COUNT(*) FROM Settings WHERE Section LIKE 'Thread%'"_s).toInt(),
                 2 * kWrites);
    }

    void themeLivesInTheIniFile()
    {
        QFile::remove(SettingsRepository::appearanceFile());
        QCOMPARE(SettingsRepository::theme(), u"Light"_s);
        SettingsRepository::setTheme(u"Dark"_s);
        QCOMPARE(SettingsRepository::theme(), u"Dark"_s);
        QFile ini(SettingsRepository::appearanceFile());
        QVERIFY(ini.open(QIODevice::ReadOnly));
        QVERIFY(ini.readAll().contains("Theme=Dark"));
        SettingsRepository::setTheme(u"Sepia"_s);
        QCOMPARE(SettingsRepository::theme(), u"Light"_s);
        QFile::remove(SettingsRepository::appearanceFile());
    }
};

QTEST_GUILESS_MAIN(TestSettingsRepository)
#include "test_settings_repository.moc"
