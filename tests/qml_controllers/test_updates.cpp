// The publisher's page and downloads against a real HTTPS server on 127.0.0.1 whose certificate comes
// from the test's own authority, named to the program as a deployment would name it: which installer
// links count, which versions are offered, the firmware version on the page, the installer's download,
// check and start, and a broken download that leaves no file.
#include "../support/https_stand_in.h"
#include "qml_controllers/update_checker.h"
#include "qml_controllers/update_status.h"
#include "storage/app_paths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QNetworkInformation>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using tachoria::qml::PublisherSource;
using tachoria::qml::UpdateChecker;
using tachoria::test::HttpsStandIn;

namespace {

const QString kPage = QStringLiteral("tachographs/orvian-479160000-1h-re/index.html");

QByteArray installer(qint64 size, const QByteArray& magic = "!<arch>\n")
{
    QByteArray bytes(size, 'x');
    bytes.replace(0, magic.size(), magic);
    return bytes;
}

} // namespace

class TestUpdates : public QObject
{
    Q_OBJECT

private:
    HttpsStandIn m_site;
    QTemporaryDir m_profile;

    std::unique_ptr<UpdateChecker> checker()
    {
        auto updates = std::make_unique<UpdateChecker>();
        updates->setPublisher({m_site.site(), m_site.caCertificates()});
        return updates;
    }

    void programCheck(UpdateChecker& updates, const QByteArray& page)
    {
        QVERIFY(m_site.serve(kPage, page));
        QSignalSpy finished(&updates, &UpdateChecker::tachoriaCheckFinished);
        updates.startTachoriaVersionCheck();
        QVERIFY(finished.wait(15000));
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString missing = HttpsStandIn::unavailableReason();
        if (!missing.isEmpty())
            QSKIP(qPrintable(missing));
        QString error;
        QVERIFY2(m_site.start(&error), qPrintable(error));
        QCoreApplication::setApplicationVersion(QStringLiteral("2.5.0.189"));
        qputenv("LOCALAPPDATA", m_profile.path().toLocal8Bit());
        tachoria::storage::AppPaths::ensureDirectories();
    }

    void installerLinks_data()
    {
        QTest::addColumn<QByteArray>("page");
        QTest::addColumn<QString>("version");
        QTest::addColumn<bool>("available");
        QTest::addColumn<QString>("location"); // SITE stands for the server's address
        QTest::addColumn<QString>("status");
        QTest::newRow("absolute path, newer")
            << QByteArray("<a class=x href = \"/files/tachoria_2.6.0.1_amd64.deb\">") << "2.6.0.1" << true
            << "SITEfiles/tachoria_2.6.0.1_amd64.deb"
            << "обн.";
        QTest::newRow("relative to the page, any case")
            << QByteArray("<A HREF='get/Tachoria_2.10.0.0_AMD64.DEB'>") << "2.10.0.0" << true
            << "SITEtachographs/orvian-479160000-1h-re/get/Tachoria_2.10.0.0_AMD64.DEB"
            << "обн.";
        QTest::newRow("the same version") << QByteArray("<a href=\"/tachoria_2.5.0.189_amd64.deb\">")
                                          << "2.5.0.189" << false << "SITEtachoria_2.5.0.189_amd64.deb"
                                          << "акт.";
        QTest::newRow("an older one") << QByteArray("<a href=\"/tachoria_2.4.9.999_amd64.deb\">")
                                      << "2.4.9.999" << false << "SITEtachoria_2.4.9.999_amd64.deb"
                                      << "нов.";
        QTest::newRow("plain http is ignored")
            << QByteArray("<a href=\"http://127.0.0.1/tachoria_2.6.0.1_amd64.deb\">") << "" << false << ""
            << "";
        QTest::newRow("three numbers do not match")
            << QByteArray("<a href=\"/tachoria_2.6.0_amd64.deb\">") << "" << false << ""
            << "";
        QTest::newRow("no link") << QByteArray("<html><body>Tachoria</body></html>") << "" << false << ""
                                 << "";
    }

    void installerLinks()
    {
        QFETCH(QByteArray, page);
        QFETCH(QString, location);
        auto updates = checker();
        programCheck(*updates, page);
        QTEST(updates->availableTachoriaVersion(), "version");
        QTEST(updates->tachoriaUpdateAvailable(), "available");
        QCOMPARE(updates->installerLocation(),
                 location.replace(QStringLiteral("SITE"), m_site.site().toString()));
        QTEST(tachoria::qml::programVersionStatus(QCoreApplication::applicationVersion(),
                                                  updates->availableTachoriaVersion()),
              "status");
    }

    // A page whose certificate nobody vouches for is not read at all.
    void untrustedSiteIsNotRead()
    {
        UpdateChecker updates;
        updates.setPublisher({m_site.site(), QString()});
        QVERIFY(m_site.serve(kPage, "<a href=\"/tachoria_2.6.0.1_amd64.deb\">"));
        QSignalSpy finished(&updates, &UpdateChecker::tachoriaCheckFinished);
        updates.startTachoriaVersionCheck();
        QVERIFY(finished.wait(15000));
        QCOMPARE(updates.availableTachoriaVersion(), QString());
    }

    void firmwareOnThePage_data()
    {
        QTest::addColumn<QByteArray>("page");
        QTest::addColumn<quint64>("value");
        QTest::addColumn<QString>("version");
        const QByteArray heading = "<h2>Актуальная прошивка тахографа</h2>";
        QTest::newRow("published") << heading + "<a href=\"/userfiles/tachographs/tacho_101_02060a00.bin\">"
                                   << quint64(0x02060A00) << "02060A00";
        QTest::newRow("version 0") << heading + "tacho_101_00000000.bin" << quint64(0) << "";
        QTest::newRow("too far behind the heading")
            << heading + QByteArray(8001, ' ') + "tacho_101_02060000.bin" << quint64(0) << "";
        QTest::newRow("without the heading") << QByteArray("tacho_101_02060000.bin") << quint64(0) << "";
    }

    void firmwareOnThePage()
    {
        if (!QNetworkInformation::instance() && !QNetworkInformation::loadDefaultBackend() &&
            !QNetworkInformation::loadBackendByName(QStringLiteral("glib")))
            QSKIP("this machine reports no network reachability: the firmware check waits for one");
        if (QNetworkInformation::instance()->reachability() < QNetworkInformation::Reachability::Site)
            QSKIP("this machine is offline: the firmware check waits for a network");
        QFETCH(QByteArray, page);
        QVERIFY(m_site.serve(kPage, page));
        auto updates = checker();
        QSignalSpy finished(updates.get(), &UpdateChecker::firmwareCheckFinished);
        updates->startFirmwareVersionCheck();
        QVERIFY(finished.wait(15000));
        QTEST(updates->publishedFirmwareValue(), "value");
        QTEST(updates->availableFirmwareVersion(), "version");
        QCOMPARE(tachoria::qml::firmwareVersionStatus(QStringLiteral("02060000"),
                                                      updates->publishedFirmwareValue()),
                 updates->publishedFirmwareValue() ? QStringLiteral("обн.") : QString());
    }

    void installerDownload_data()
    {
        QTest::addColumn<QByteArray>("package");
        QTest::addColumn<bool>("broken");
        QTest::addColumn<QString>("state");
        QTest::addColumn<bool>("started");
        QTest::newRow("a package of 1 MiB")
            << installer(1048576) << false << "Установка обновления..." << true;
        QTest::newRow("one byte less")
            << installer(1048575) << false << "Файл не похож на установщик Tachoria или повреждён" << false;
        QTest::newRow("no package") << installer(1048576, "MZ") << false
                                    << "Файл не похож на установщик Tachoria или повреждён" << false;
        QTest::newRow("a broken download")
            << installer(2000000) << true << "Ошибка загрузки обновления: " << false;
    }

    void installerDownload()
    {
        QFETCH(QByteArray, package);
        QFETCH(bool, broken);
        QFETCH(QString, state);
        QFETCH(bool, started);
        const QString updatesFolder = tachoria::storage::AppPaths::data() + QStringLiteral("/Updates");
        QDir(updatesFolder).removeRecursively();
        QVERIFY(m_site.serve(QStringLiteral("files/tachoria_2.6.0.1_amd64.deb"), package, broken));
        auto updates = checker();
        programCheck(*updates, "<a href=\"/files/tachoria_2.6.0.1_amd64.deb\">");
        QVERIFY(updates->tachoriaUpdateAvailable());
        // The helper that installs: here a script that notes what it was asked.
        QTemporaryDir helperFolder;
        const QString asked = helperFolder.filePath(QStringLiteral("asked.txt"));
        const QString helper = helperFolder.filePath(QStringLiteral("install-helper"));
        QFile script(helper);
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write(QStringLiteral("#!/bin/sh\necho \"$@\" > %1\n").arg(asked).toUtf8());
        script.close();
        script.setPermissions(script.permissions() | QFileDevice::ExeOwner);
        updates->setInstallHelper(helper);
        QSignalSpy launched(updates.get(), &UpdateChecker::installerLaunched);
        QStringList states;
        connect(updates.get(), &UpdateChecker::tachoriaUpdateChanged, this,
                [&] { states << updates->tachoriaUpdateState(); });
        updates->startTachoriaUpdate();
        QTRY_VERIFY_WITH_TIMEOUT(updates->tachoriaUpdateState().startsWith(state), 20000);
        QCOMPARE(states.first(), QStringLiteral("Загрузка обновления..."));
        const QString saved = updatesFolder + QStringLiteral("/tachoria_2.6.0.1_amd64.deb");
        if (broken) {
            QVERIFY(!QFile::exists(saved)); // a broken download leaves no file
            QCOMPARE(QDir(updatesFolder).entryList(QDir::Files), QStringList());
            return;
        }
        QVERIFY(states.contains(QStringLiteral("Загрузка завершена. Подготовка установки...")));
        QVERIFY(std::any_of(states.cbegin(), states.cend(), [](const QString& text) {
            return text.startsWith(QStringLiteral("Загружено ")) && text.contains(QStringLiteral(" МБ из "));
        }));
        QFile file(saved);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll() == package);
        QCOMPARE(launched.count(), started ? 1 : 0);
        if (started) {
            QTRY_VERIFY(QFile::exists(asked));
            QFile arguments(asked);
            QVERIFY(arguments.open(QIODevice::ReadOnly));
            QCOMPARE(QString::fromUtf8(arguments.readAll()).trimmed(),
                     QStringLiteral("--package %1 --wait-pid %2 --restart %3")
                         .arg(saved)
                         .arg(QCoreApplication::applicationPid())
                         .arg(QCoreApplication::applicationFilePath()));
        }
    }

    void deploymentNamesThePublisher()
    {
        QFile ini(QCoreApplication::applicationDirPath() + QStringLiteral("/Deployment.ini"));
        const bool existed = ini.exists();
        if (existed)
            QSKIP("a Deployment.ini of the build folder is not this test's to replace");
        QVERIFY(ini.open(QIODevice::WriteOnly));
        ini.write(
            "[Publisher]\nSite=https://tachoria.example/\nCaCertificates=/etc/tachoria/publisher.pem\n");
        ini.close();
        const PublisherSource source = PublisherSource::fromDeployment();
        QFile::remove(ini.fileName());
        QCOMPARE(source.site, QUrl(QStringLiteral("https://tachoria.example/")));
        QCOMPARE(source.caCertificates, QStringLiteral("/etc/tachoria/publisher.pem"));
        // Without a deployment's word there is no publisher, and no check runs.
        QVERIFY(PublisherSource::fromDeployment().site.isEmpty() ||
                QFile::exists(QStringLiteral("/etc/tachoria/deployment.ini")));
        UpdateChecker updates;
        QSignalSpy finished(&updates, &UpdateChecker::tachoriaCheckFinished);
        updates.startTachoriaVersionCheck();
        QVERIFY(!finished.wait(500));
    }
};

QTEST_GUILESS_MAIN(TestUpdates)
#include "test_updates.moc"
