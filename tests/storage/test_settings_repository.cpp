#include "storage/settings_repository.h"
#include "storage_test_profile.h"

#include <QFile>
#include <QSqlQuery>
#include <QTest>

#include <thread>

using tachoria::storage::SettingsRepository;

namespace {

// Reads the database behind the repository's back, as another program would.
QVariant sql(const QString& path, const QString& statement)
{
    QVariant value;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("peek"));
        db.setDatabaseName(path);
        if (db.open()) {
            QSqlQuery query(db);
            if (query.exec(statement) && query.next())
                value = query.value(0);
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("peek"));
    return value;
}

} // namespace

class TestSettingsRepository : public QObject
{
    Q_OBJECT

    StorageTestProfile m_profile;

    QString path() const { return m_profile.database(QStringLiteral("SettingsDB.db")); }

private Q_SLOTS:
    void init() { QFile::remove(path()); }

    void defaultsWrittenOnce()
    {
        {
            SettingsRepository settings;
            QVERIFY2(settings.isOpen(), qPrintable(settings.lastError()));
            QCOMPARE(
                settings.value(QStringLiteral("Main"), QStringLiteral("CardReader"), QStringLiteral("x")),
                QString());
            QCOMPARE(settings.intValue(QStringLiteral("Ports"), QStringLiteral("DownloadPortMaxBitrate"), 0),
                     115200);
            QVERIFY(settings.boolValue(QStringLiteral("Main"), QStringLiteral("LogEnable"), false));
            QCOMPARE(settings.value(QStringLiteral("Ports"), QStringLiteral("RalonaPortName")),
                     QStringLiteral("/dev/ttyS2"));
        }
        QCOMPARE(sql(path(), QStringLiteral("SELECT COUNT(*) FROM Settings")).toInt(), 23);
        QCOMPARE(
            sql(path(), QStringLiteral("SELECT COUNT(*) FROM Settings WHERE LastModified IS NULL")).toInt(),
            0);
        QCOMPARE(
            sql(path(), QStringLiteral("SELECT ValueType FROM Settings WHERE Key = 'UseRalona'")).toString(),
            QStringLiteral("Bool"));

        // A second start changes nothing, and a deleted default stays deleted.
        sql(path(), QStringLiteral("DELETE FROM Settings WHERE Key = 'FontSize'"));
        sql(path(), QStringLiteral("UPDATE Settings SET Value = 'COM9' WHERE Key = 'DownloadPortName'"));
        SettingsRepository again;
        QCOMPARE(again.intValue(QStringLiteral("Program"), QStringLiteral("FontSize"), -7), -7);
        QCOMPARE(again.value(QStringLiteral("Ports"), QStringLiteral("DownloadPortName")),
                 QStringLiteral("COM9"));
        QCOMPARE(sql(path(), QStringLiteral("SELECT COUNT(*) FROM Settings")).toInt(), 22);
    }

    void typedReads_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<int>("asInt");
        QTest::addColumn<int>("asBool"); // -1: the caller's default
        QTest::newRow("true in blanks") << QStringLiteral(" TRUE ") << -5 << 1;
        QTest::newRow("yes") << QStringLiteral("yes") << -5 << -1;
        QTest::newRow("0") << QStringLiteral("0") << 0 << 0;
        QTest::newRow("12a") << QStringLiteral("12a") << -5 << -1;
        QTest::newRow("42") << QStringLiteral("42") << 42 << -1;
    }

    void typedReads()
    {
        QFETCH(QString, stored);
        QFETCH(int, asInt);
        QFETCH(int, asBool);
        SettingsRepository settings;
        QVERIFY(settings.setValue(QStringLiteral("Test"), QStringLiteral("Value"), stored));
        QCOMPARE(settings.intValue(QStringLiteral("Test"), QStringLiteral("Value"), -5), asInt);
        QCOMPARE(settings.boolValue(QStringLiteral("Test"), QStringLiteral("Value"), true),
                 asBool == -1 ? true : asBool == 1);
        QCOMPARE(settings.boolValue(QStringLiteral("Test"), QStringLiteral("Value"), false), asBool == 1);
    }

    void setValueStampsLastModified()
    {
        SettingsRepository settings;
        QVERIFY(settings.setValue(QStringLiteral("New"), QStringLiteral("Key"), 5, QStringLiteral("Int")));
        QCOMPARE(sql(path(), QStringLiteral("SELECT ValueType FROM Settings WHERE Key = 'Key'")).toString(),
                 QStringLiteral("Int"));
        sql(path(),
            QStringLiteral("UPDATE Settings SET LastModified = '2001-01-01 00:00:00' WHERE Key = 'Key'"));
        QVERIFY(settings.setValue(QStringLiteral("New"), QStringLiteral("Key"), 5,
                                  QStringLiteral("Int"))); // unchanged value
        const QString stamp =
            sql(path(), QStringLiteral("SELECT LastModified FROM Settings WHERE Key = 'Key'")).toString();
        QVERIFY2(stamp > QStringLiteral("2020"), qPrintable(stamp));
    }

    void transactionRollsBackAsAWhole()
    {
        SettingsRepository settings;
        QVERIFY(settings.beginTransaction());
        QVERIFY(settings.setValue(QStringLiteral("Ports"), QStringLiteral("DownloadPortName"),
                                  QStringLiteral("/dev/ttyUSB0")));
        QVERIFY(settings.setValue(QStringLiteral("TACHORIA"), QStringLiteral("name"),
                                  QStringLiteral("ООО «Тахосервис»")));
        settings.rollbackTransaction();
        QCOMPARE(settings.value(QStringLiteral("Ports"), QStringLiteral("DownloadPortName")),
                 QStringLiteral("/dev/ttyS0"));
        QCOMPARE(settings.value(QStringLiteral("TACHORIA"), QStringLiteral("name")), QString());
        QVERIFY(settings.beginTransaction());
        QVERIFY(settings.setValue(QStringLiteral("TACHORIA"), QStringLiteral("name"),
                                  QStringLiteral("ООО «Тахосервис»")));
        QVERIFY(settings.commitTransaction());
        QCOMPARE(SettingsRepository().value(QStringLiteral("TACHORIA"), QStringLiteral("name")),
                 QStringLiteral("ООО «Тахосервис»"));
    }

    void unopenableDatabaseFailsSoftly()
    {
        SettingsRepository settings(QStringLiteral("/proc/no-such-folder/SettingsDB.db"));
        QVERIFY(!settings.isOpen());
        QVERIFY(!settings.lastError().isEmpty());
        const QString reason = settings.lastError();
        QCOMPARE(
            settings.value(QStringLiteral("Main"), QStringLiteral("CardReader"), QStringLiteral("fallback")),
            QStringLiteral("fallback"));
        QVERIFY(
            !settings.setValue(QStringLiteral("Main"), QStringLiteral("CardReader"), QStringLiteral("x")));
        QCOMPARE(settings.lastError(), reason);
        QVERIFY(!settings.beginTransaction());
        QCOMPARE(settings.lastError(), QStringLiteral("База настроек недоступна"));
    }

    void twoThreadsOnOneFile()
    {
        SettingsRepository().isOpen(); // the schema and defaults exist before the race
        constexpr int kWrites = 200;
        const auto writer = [](int thread, bool* ok) {
            SettingsRepository settings;
            *ok = settings.isOpen();
            for (int i = 0; i < kWrites && *ok; ++i)
                *ok = settings.setValue(QStringLiteral("Thread%1").arg(thread), QString::number(i), i,
                                        QStringLiteral("Int"));
        };
        bool first = false;
        bool second = false;
        std::thread a(writer, 1, &first);
        std::thread b(writer, 2, &second);
        a.join();
        b.join();
        QVERIFY(first);
        QVERIFY(second);
        QCOMPARE(
            sql(path(), QStringLiteral("SELECT COUNT(*) FROM Settings WHERE Section LIKE 'Thread%'")).toInt(),
            2 * kWrites);
    }

    void themeLivesInTheIniFile()
    {
        QFile::remove(SettingsRepository::appearanceFile());
        QCOMPARE(SettingsRepository::theme(), QStringLiteral("Light"));
        SettingsRepository::setTheme(QStringLiteral("Dark"));
        QCOMPARE(SettingsRepository::theme(), QStringLiteral("Dark"));
        QFile ini(SettingsRepository::appearanceFile());
        QVERIFY(ini.open(QIODevice::ReadOnly));
        QVERIFY(ini.readAll().contains("Theme=Dark"));
        SettingsRepository::setTheme(QStringLiteral("Sepia"));
        QCOMPARE(SettingsRepository::theme(), QStringLiteral("Light"));
        QFile::remove(SettingsRepository::appearanceFile());
    }
};

QTEST_GUILESS_MAIN(TestSettingsRepository)
#include "test_settings_repository.moc"
