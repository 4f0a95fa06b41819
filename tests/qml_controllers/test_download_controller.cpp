// The download page's controller without a tachograph: the kinds of download that exclude each other,
// what a run is given, and the files of the download folder as the list shows them.
#include "qml_controllers/qml_download_controller.h"
#include "qml_controllers/qml_settings_controller.h"
#include "storage/app_paths.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using tachoria::qml::QmlDownloadController;
using tachoria::qml::QmlSettingsController;

class TestDownloadController : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_profile;

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("LOCALAPPDATA", m_profile.path().toLocal8Bit());
        tachoria::storage::AppPaths::ensureDirectories();
    }

    void fileKinds_data()
    {
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("decodable");
        const QString unknown = QStringLiteral("Неизвестный формат — расшифровка недоступна");
        const QString module = QStringLiteral("Данные СКЗИ — расшифровка не поддерживается");
        QTest::newRow("driver card") << QByteArray::fromHex("0002") << "Карта водителя" << true;
        QTest::newRow("overview") << QByteArray::fromHex("7601") << "Данные тахографа" << true;
        QTest::newRow("technical data") << QByteArray::fromHex("7605") << "Данные тахографа" << true;
        QTest::newRow("card download") << QByteArray::fromHex("7606") << unknown << false;
        QTest::newRow("module certificate") << QByteArray::fromHex("7681") << module << false;
        QTest::newRow("module archive") << QByteArray::fromHex("7685") << module << false;
        QTest::newRow("no such module block") << QByteArray::fromHex("7683") << unknown << false;
        QTest::newRow("one byte") << QByteArray::fromHex("76") << unknown << false;
        QTest::newRow("empty") << QByteArray() << unknown << false;
    }

    void fileKinds()
    {
        QFETCH(QByteArray, head);
        const tachoria::qml::DddFileKind kind = tachoria::qml::dddFileKind(head);
        QTEST(kind.kind, "kind");
        QTEST(kind.decodable, "decodable");
    }

    void sizes_data()
    {
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("nothing") << qint64(0) << "0 Байт";
        QTest::newRow("below a kilobyte") << qint64(1023) << "1023 Байт";
        QTest::newRow("a kilobyte") << qint64(1024) << "1.0 КБ";
        QTest::newRow("and a half") << qint64(1536) << "1.5 КБ";
    }

    void sizes()
    {
        QFETCH(qint64, bytes);
        QTEST(tachoria::qml::dddFileSizeText(bytes), "text");
    }

    // Ticking one kind clears the others; the card alone takes the blocks away and the unit gives
    // them back.
    void kindsExcludeEachOther()
    {
        QmlSettingsController settings;
        QmlDownloadController download(&settings);
        QSignalSpy changed(&download, &QmlDownloadController::changed);
        download.setNeedTacho(true);
        download.setNeedNkm(true);
        QVERIFY(!download.needTacho());
        QVERIFY(!download.needTachoEnabled());
        QVERIFY(!download.requestBlocksEnabled());
        download.setExternalCard(true);
        QVERIFY(!download.externalCard()); // only with a card
        download.setNeedCard(true);
        QVERIFY(!download.needNkm());
        QVERIFY(download.onlyCardVisible());
        download.setExternalCard(true);
        QVERIFY(download.externalCard());
        download.setOnlyCard(true);
        QVERIFY(!download.requestOverview());
        QVERIFY(!download.requestActivities() && !download.requestTechnicalData());
        download.setNeedTacho(true);
        QVERIFY(!download.onlyCard() && !download.needCard() && !download.externalCard());
        QVERIFY(download.requestOverview() && download.requestActivities() &&
                download.requestDetailedSpeed());
        QCOMPARE(changed.count(), 6);
        download.setNeedTacho(true);
        QCOMPARE(changed.count(), 6);
    }

    // What a run is handed: the PIN over eight 0xFF bytes, the period with defaults for dates that do
    // not exist, and the date of the last download for "from the last one".
    void aRunGetsTheForm()
    {
        QmlSettingsController settings;
        settings.setDownloadStartBaud(9600);
        settings.setDownloadMaxBaud(57600);
        QmlDownloadController download(&settings);
        download.setCardPin(QStringLiteral("1234"));
        QCOMPARE(download.fromDate(),
                 QDate::currentDate().addDays(-7).toString(QStringLiteral("dd.MM.yyyy")));
        download.setFromDate(QStringLiteral("05.03.2026"));
        download.setToDate(QStringLiteral("31.02.2026"));
        download.setDownloadMode(QStringLiteral("каждый день"));
        QCOMPARE(download.downloadMode(), QStringLiteral("range"));
        const tachoria::download::DownloadSettings run = download.downloadSettings();
        QCOMPARE(run.cardData, QByteArray("1234\xFF\xFF\xFF\xFF", 8));
        QCOMPARE(run.startBaud, 9600);
        QCOMPARE(run.maxBaud, 57600);
        QVERIFY(QDateTime::fromString(run.filePrefix, QStringLiteral("dd_MM_yy_HH_mm_ss-")).isValid());
        tachoria::download::DownloadOptions options = download.downloadOptions();
        QCOMPARE(options.periodMode, 2);
        QCOMPARE(options.periodBegin, QDate(2026, 3, 5));
        QCOMPARE(options.periodEnd, QDate::currentDate());
        QVERIFY(options.skipCaCertificate);
        download.setDownloadMode(QStringLiteral("fromLast"));
        options = download.downloadOptions();
        QCOMPARE(options.periodMode, 1);
        QVERIFY(!options.sinceDate.isValid()); // never downloaded: the workflow decides
    }

    // The folder lies beside the program and is shared: these files are dated ahead of any other, so
    // that they head the list, and go again at the end.
    void filesNewestFirst()
    {
        const QDir folder(tachoria::storage::AppPaths::downloadDirectory());
        QVERIFY(folder.mkpath(QStringLiteral(".")));
        const QString tag = QString::number(QCoreApplication::applicationPid());
        const QList<std::pair<QString, QByteArray>> files = {
            {tag + QStringLiteral("-old.ddd"), QByteArray::fromHex("7601") + QByteArray(1022, 'x')},
            {tag + QStringLiteral("-card.DDD"), QByteArray::fromHex("0002") + QByteArray(1021, 'x')},
            {tag + QStringLiteral("-module.ddd"), QByteArray::fromHex("7685")},
            {tag + QStringLiteral("-notes.txt"), QByteArray("7601")}};
        struct Cleanup
        {
            const QDir& folder;
            const QList<std::pair<QString, QByteArray>>& files;
            ~Cleanup()
            {
                for (const auto& file : files)
                    QFile::remove(folder.filePath(file.first));
            }
        } cleanup{folder, files};
        QDateTime when = QDateTime::currentDateTime().addDays(1);
        for (const auto& [name, bytes] : files) {
            QFile file(folder.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(bytes);
            file.flush(); // or closing it would set its time again
            when = when.addSecs(60);
            QVERIFY(file.setFileTime(when, QFileDevice::FileModificationTime));
        }
        QmlSettingsController settings;
        QmlDownloadController download(&settings);
        const QVariantList listed = download.downloadedDddFiles();
        QStringList shown;
        for (const QVariant& file : listed.mid(0, 3)) {
            const QVariantMap row = file.toMap();
            shown << QStringLiteral("%1 %2 (%3) %4")
                         .arg(row.value(QStringLiteral("name")).toString(),
                              row.value(QStringLiteral("size")).toString(),
                              row.value(QStringLiteral("sizeBytes")).toString(),
                              row.value(QStringLiteral("kind")).toString());
        }
        QCOMPARE(shown,
                 QStringList({tag + QStringLiteral(
                                        "-module.ddd 2 Байт (2) Данные СКЗИ — расшифровка не поддерживается"),
                              tag + QStringLiteral("-card.DDD 1023 Байт (1023) Карта водителя"),
                              tag + QStringLiteral("-old.ddd 1.0 КБ (1024) Данные тахографа")}));
        QCOMPARE(listed.first().toMap().value(QStringLiteral("path")).toString(),
                 folder.filePath(tag + QStringLiteral("-module.ddd")));
        for (const QVariant& file : listed)
            QVERIFY(!file.toMap().value(QStringLiteral("name")).toString().endsWith(QStringLiteral(".txt")));

        // Nothing runs: a stop changes nothing the page shows.
        QSignalSpy state(&download, &QmlDownloadController::stateChanged);
        download.stop();
        QCOMPARE(state.count(), 0);
        QVERIFY(!download.shareDddFile(listed.first().toMap().value(QStringLiteral("path")).toString()));
        QCOMPARE(download.lastError(), QStringLiteral("Общий доступ к файлу доступен в Android-версии."));
    }
};

QTEST_MAIN(TestDownloadController)
#include "test_download_controller.moc"
