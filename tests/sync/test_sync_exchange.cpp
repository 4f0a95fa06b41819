// Two shops, each with its own program folder and per-user folder, exchange packages both ways with
// `tachoria --sync-export` and `--sync-import` as a script would, and end with the same union; a
// second round adds nothing. Hostile packages are refused and leave every byte of the data as it was.
#include "../support/process_runner.h"
#include "installation.h"
#include "storage/settings_repository.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace Qt::StringLiterals;
using tachoria::test::Installation;
using tachoria::test::ProcessResult;
using tachoria::test::queryRows;
using tachoria::test::runSql;

namespace {

QByteArray package(const QList<std::pair<QString, QByteArray>>& entries,
                   const QString& version = QStringLiteral("1"), qint64 count = -1)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(19);
    out << QStringLiteral("TACHORIA_SYNC_PACKAGE_V1") << version << QStringLiteral("2024-05-06T07:08:09.123Z")
        << quint32(count < 0 ? entries.size() : count);
    for (const auto& [path, data] : entries)
        out << path << data;
    return bytes;
}

} // namespace

class TestSyncExchange : public QObject
{
    Q_OBJECT

    QTemporaryDir m_root{QStringLiteral(TACHORIA_BIN_DIR "/../sync-exchange-XXXXXX")};
    Installation m_a;
    Installation m_b;

    ProcessResult tachoria(const Installation& side, const QString& command, const QString& file)
    {
        side.use();
        return tachoria::test::runProcess(side.programFolder + QStringLiteral("/tachoria"), {command, file},
                                          120000);
    }

    QString settingsDb(const Installation& side) const
    {
        return side.data() + QStringLiteral("/DB/SettingsDB.db");
    }

    // One way of the exchange: the sender's package, merged by the receiver.
    void send(const Installation& from, const Installation& to, const QString& name, const QString& expected)
    {
        const QString path = m_root.filePath(name);
        const ProcessResult exported = tachoria(from, QStringLiteral("--sync-export"), path);
        QCOMPARE(exported.exitCode, 0);
        QVERIFY2(exported.standardOutput.startsWith(
                     QStringLiteral("Пакет создан: %1\nrecords=0 files=").arg(path)),
                 qPrintable(exported.standardOutput));
        const ProcessResult imported = tachoria(to, QStringLiteral("--sync-import"), path);
        QCOMPARE(imported.exitCode, 0);
        QVERIFY2(imported.standardOutput.startsWith(expected),
                 qPrintable(imported.standardOutput + imported.standardError));
    }

    void compareSides(const QSet<QString>& ignored)
    {
        const auto a = m_a.contents(ignored);
        const auto b = m_b.contents(ignored);
        QCOMPARE(a.keys(), b.keys());
        for (auto it = a.cbegin(); it != a.cend(); ++it)
            QVERIFY2(it.value() == b.value(it.key()),
                     qPrintable(it.key() + QStringLiteral("\nА: ") +
                                it.value().join(QStringLiteral("\n   ")) + QStringLiteral("\nБ: ") +
                                b.value(it.key()).join(QStringLiteral("\n   "))));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        for (auto [side, name] : {std::pair{&m_a, "a"}, std::pair{&m_b, "b"}}) {
            side->profile = m_root.filePath(QStringLiteral("%1/profile").arg(QLatin1String(name)));
            side->programFolder = m_root.filePath(QStringLiteral("%1/program").arg(QLatin1String(name)));
            QVERIFY(QDir().mkpath(side->programFolder));
            // Its own program folder makes its own downloads and legacy reports.
            const QString program = side->programFolder + QStringLiteral("/tachoria");
            if (::link(QFile::encodeName(tachoria::test::binaryPath(QStringLiteral("tachoria"))).constData(),
                       QFile::encodeName(program).constData()) != 0)
                QVERIFY(QFile::copy(tachoria::test::binaryPath(QStringLiteral("tachoria")), program));
        }
        m_a.fill(QStringLiteral("А"));
        m_b.fill(QStringLiteral("Б"));
        // The phone number changed last in А, the city last in Б.
        for (auto [side, phone, phoneTime, cityTime] :
             {std::tuple{&m_a, "+7 846 111-11-11", "2024-06-01 10:00:00", "2024-05-01 10:00:00"},
              std::tuple{&m_b, "+7 846 222-22-22", "2024-05-15 10:00:00", "2024-05-02 10:00:00"}}) {
            side->use();
            QVERIFY(tachoria::storage::SettingsRepository().setValue(
                QStringLiteral("TACHORIA"), QStringLiteral("phone"), QString::fromUtf8(phone)));
            QVERIFY(runSql(settingsDb(*side),
                           {QStringLiteral("UPDATE Settings SET LastModified = '%1' WHERE Key = 'phone'")
                                .arg(QLatin1String(phoneTime)),
                            QStringLiteral("UPDATE Settings SET LastModified = '%1' WHERE Key = 'city'")
                                .arg(QLatin1String(cityTime))}));
        }
        // Б runs a newer version with a column А does not know.
        QVERIFY(runSql(m_b.data() + QStringLiteral("/DB/CalibrationDB.db"),
                       {QStringLiteral("ALTER TABLE Calibrations ADD COLUMN WorkshopNote TEXT"),
                        QStringLiteral("UPDATE Calibrations SET WorkshopNote = 'своё'")}));
    }

    void hostilePackagesChangeNothing_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        const QString notPackage = QStringLiteral("Файл не является пакетом Tachoria.");
        const QString damaged = QStringLiteral("Пакет содержит повреждённый путь.");
        const QByteArray sound = package({{QStringLiteral("files/XML/x.xml"), QByteArray(100, 'x')}});
        QByteArray longer = package({}, QStringLiteral("1"), 1);
        {
            QDataStream out(&longer, QIODevice::Append);
            out << QStringLiteral("files/XML/x.xml") << quint32(1 << 20);
            out.writeRawData("0123456789", 10);
        }
        QByteArray wrongMagic = sound;
        wrongMagic[10] = 'X';
        QTest::newRow("not a package") << QByteArray("Это просто текст") << 8 << notPackage;
        QTest::newRow("a damaged magic") << wrongMagic << 8 << notPackage;
        QTest::newRow("format 2") << package({}, QStringLiteral("2")) << 8 << notPackage;
        QTest::newRow("100001 entries") << package({}, QStringLiteral("1"), 100001) << 8
                                        << QStringLiteral("Пакет содержит слишком много файлов.");
        QTest::newRow("up and out") << package({{QStringLiteral("files/XML/../../DB/CalibrationDB.db"),
                                                 QByteArray("x")}})
                                    << 8 << damaged;
        QTest::newRow("two dots in a name")
            << package({{QStringLiteral("files/XML/a..b.xml"), QByteArray("x")}}) << 8 << damaged;
        QTest::newRow("an absolute path")
            << package({{QStringLiteral("/tmp/x"), QByteArray("x")}}) << 8 << damaged;
        QTest::newRow("cut in an entry") << sound.left(sound.size() - 50) << 8 << damaged;
        QTest::newRow("an entry longer than the file") << longer << 8 << damaged;
        QTest::newRow("a database that is not one")
            << package({{QStringLiteral("db/CalibrationDB.db"),
                         QByteArray("not a database at all ").repeated(50)}})
            << 8 << QStringLiteral("Ошибка объединения CalibrationDB.db: ");
        QTest::newRow("a file aimed at a database is passed over")
            << package({{QStringLiteral("files/DB/CalibrationDB.db"), QByteArray("x")},
                        {QStringLiteral("files/Backups/x"), QByteArray("x")}})
            << 0 << QStringLiteral("Синхронизация завершена. Добавлено записей: 0, файлов: 0.");
    }

    void hostilePackagesChangeNothing()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        const QString path = m_root.filePath(QStringLiteral("hostile.tsync"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
        file.close();
        const QByteArray before = m_a.dataHash();
        const ProcessResult result = tachoria(m_a, QStringLiteral("--sync-import"), path);
        QCOMPARE(result.exitCode, exitCode);
        QVERIFY2((exitCode == 0 ? result.standardOutput : result.standardError).startsWith(message),
                 qPrintable(result.standardOutput + result.standardError));
        QCOMPARE(m_a.dataHash(), before);
    }

    void bothEndWithTheUnion()
    {
        const QString merged = QStringLiteral("Синхронизация завершена. Добавлено записей: ");
        send(m_a, m_b, QStringLiteral("a.tsync"), merged);
        send(m_b, m_a, QStringLiteral("b.tsync"), merged);
        // A master both shops had keeps its own date on each side; Б's newer column stays Б's.
        const QSet<QString> own = {QStringLiteral("WorkshopNote"), QStringLiteral("CreatedAt")};
        compareSides(own);

        const auto rows = m_a.contents();
        QCOMPARE(rows.value(QStringLiteral("db/MasterDB.db/Masters")).size(), 3);
        QCOMPARE(rows.value(QStringLiteral("db/CalibrationDB.db/Calibrations")).size(), 6);
        QCOMPARE(rows.value(QStringLiteral("db/CertificateDB.db/CertificateData")).size(), 4);
        QCOMPARE(rows.value(QStringLiteral("file/XML/checksums.txt")).size(), 4);
        QCOMPARE(rows.value(QStringLiteral("db/VehicleConfigurations.db/VehicleConfigurations")).size(), 2);
        // Each report's rows went with it, under the number the report has here.
        for (const QString& tag : {QStringLiteral("А"), QStringLiteral("Б")}) {
            for (const auto& [table, row] :
                 {std::pair{"Events", QStringLiteral("RUD%1|Водитель %1|Превышение %1|")},
                  std::pair{"TachoEvents", QStringLiteral("VIN%1|А%1|Вскрытие %1")},
                  std::pair{"DddRows", QStringLiteral("VIN%1|А%1|2|events|0|{\"tag\":\"%1\"}")},
                  std::pair{"DddRows", QStringLiteral("RUD%1|Водитель %1|1|events|0|{\"card\":\"%1\"}")}})
                QVERIFY2(rows.value(QStringLiteral("db/driver_cards.db/") + QLatin1String(table))
                                 .filter(row.arg(tag))
                                 .size() == 1,
                         qPrintable(row.arg(tag)));
        }
        QCOMPARE(rows.value(QStringLiteral("db/driver_cards.db/DddRows")).size(), 4);
        for (const char* file : {"file/DATA/А.ddd", "file/DATA/Б.ddd", "file/Documents/Б/заметка.txt"})
            QVERIFY2(rows.contains(QString::fromUtf8(file)), file);
        // The later change wins on both sides; Б's own column stays Б's.
        QCOMPARE(queryRows(settingsDb(m_a),
                           QStringLiteral(
                               "SELECT Value FROM Settings WHERE Key IN ('city', 'phone') ORDER BY Key")),
                 QStringLiteral("Город Б;+7 846 111-11-11"));
        QCOMPARE(queryRows(m_b.data() + QStringLiteral("/DB/CalibrationDB.db"),
                           QStringLiteral("SELECT substr(VuSerialNumber, 1, 1), WorkshopNote, COUNT(*) FROM "
                                          "Calibrations GROUP BY 1, 2")),
                 QStringLiteral("А|∅|3;Б|своё|3"));

        // A second round adds nothing but the settings, which count again, and rewrites the files.
        const int settings =
            queryRows(settingsDb(m_a), QStringLiteral("SELECT COUNT(*) FROM Settings")).toInt();
        int files = 0;
        for (const QString& key : rows.keys())
            files += key.startsWith(QLatin1String("file/")) ? 1 : 0;
        const QString again = QStringLiteral("Синхронизация завершена. Добавлено записей: %1, файлов: %2.")
                                  .arg(settings)
                                  .arg(files);
        send(m_a, m_b, QStringLiteral("a2.tsync"), again);
        send(m_b, m_a, QStringLiteral("b2.tsync"), again);
        QCOMPARE(m_a.contents(), rows);
        compareSides(own);
    }
};

QTEST_GUILESS_MAIN(TestSyncExchange)
#include "test_sync_exchange.moc"
