// Pictures of every page and dialog in both themes, for a person to look at: they land in the build
// folder's "screenshots" (or the folder TACHORIA_SCREENSHOTS names). The test checks that each one is
// whole and drawn in its theme; scripts/screenshots.sh runs it under Xvfb.
#include "../support/https_stand_in.h"
#include "../support/shop_profile.h"
#include "../support/simulator_process.h"
#include "../support/window_driver.h"
#include "../support/written_calibration.h"
#include "firmware/firmware_verification.h"
#include "logging/application_logger.h"
#include "qml_controllers/qml_app_controller.h"
#include "qml_controllers/update_checker.h"
#include "storage/app_paths.h"
#include "storage/settings_repository.h"

#include <QDir>
#include <QImage>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

using tachoria::test::SimulatorProcess;
using tachoria::test::WindowDriver;

class TestWindowScreenshots : public QObject
{
    Q_OBJECT

private:
    QString m_folder;
    int m_number = 0;

    // documentShown: a document is white in both themes, so the picture's lightness says nothing.
    void shoot(WindowDriver& window, const QString& theme, const QString& name, bool documentShown = false)
    {
        QVERIFY(window.settle());
        QTest::qWait(350); // a dialog's fade-in has no state to wait for
        const QString path = QStringLiteral("%1/%2/%3_%4.png")
                                 .arg(m_folder, theme)
                                 .arg(++m_number, 2, 10, QLatin1Char('0'))
                                 .arg(name);
        QVERIFY2(window.grab(path), qPrintable(path));
        const QImage image(path);
        QCOMPARE(image.size(), window.window()->size() * window.window()->devicePixelRatio());
        if (documentShown)
            return;
        // Drawn in its theme: light pages stay light under a dialog's shade, dark ones dark.
        qint64 lightness = 0;
        const QImage small = image.scaled(64, 36);
        for (int y = 0; y < small.height(); ++y)
            for (int x = 0; x < small.width(); ++x)
                lightness += small.pixelColor(x, y).lightness();
        const qint64 mean = lightness / (small.width() * small.height());
        if (theme == QLatin1String("dark"))
            QVERIFY2(mean < 90, qPrintable(QStringLiteral("%1: lightness %2").arg(name).arg(mean)));
        else
            QVERIFY2(mean > 150, qPrintable(QStringLiteral("%1: lightness %2").arg(name).arg(mean)));
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_folder =
            qEnvironmentVariable("TACHORIA_SCREENSHOTS", QStringLiteral(TACHORIA_BIN_DIR "/../screenshots"));
        for (const char* theme : {"light", "dark"})
            QVERIFY(QDir().mkpath(m_folder + QLatin1Char('/') + QLatin1String(theme)));
        // The journal viewer's picture needs this run's journal.
        tachoria::logging::ApplicationLogger::initialize(tachoria::storage::AppPaths::logDirectory(), true);
    }

    void everyPageInBothThemes_data()
    {
        QTest::addColumn<QString>("theme");
        QTest::newRow("light") << QStringLiteral("light");
        QTest::newRow("dark") << QStringLiteral("dark");
    }

    void everyPageInBothThemes()
    {
        QFETCH(QString, theme);
        m_number = 0;
        WindowDriver window;
        QTemporaryDir folder;
        const QString link = folder.filePath(QStringLiteral("tacho"));
        {
            tachoria::storage::SettingsRepository settings;
            settings.setValue(QStringLiteral("Ports"), QStringLiteral("CalibrationPortName"), link);
        }
        SimulatorProcess simulator;
        simulator.setLink(link);
        QString error;
        QVERIFY2(simulator.start(&error), qPrintable(error));
        // Two calibrations written by the calibration's own sequence, before the port watcher runs: the
        // writing simulators' lines would bring it a scan, which closes the menu's tiles for its time.
        QVERIFY2(tachoria::test::writeCalibration(QStringLiteral("WDB9634031L000000"),
                                                  QStringLiteral("Х999ХХ99"), &error) > 0,
                 qPrintable(error));
        const int id = tachoria::test::writeCalibration(QStringLiteral("XTC549015N2570001"),
                                                        QStringLiteral("А123ВС163"), &error);
        QVERIFY2(id > 0, qPrintable(error));
        QVERIFY(window.start());
        auto& settings = *window.app().settings();
        settings.setTheme(theme == QLatin1String("dark") ? QStringLiteral("Dark") : QStringLiteral("Light"));
        settings.setTachoriaName(QStringLiteral("ООО «Тахосервис-Поволжье»"));
        settings.setTachoriaPost(QStringLiteral("443080"));
        settings.setTachoriaCity(QStringLiteral("Самара"));
        settings.setTachoriaStreet(QStringLiteral("Московское шоссе, 17, офис 305"));
        settings.setTachoriaPhone(QStringLiteral("+7 (846) 200-00-00"));
        settings.setTachoriaMark(QStringLiteral("12345"));
        settings.addMaster(QStringLiteral("Иванов Иван Иванович"));
        settings.addMaster(QStringLiteral("Петрова Анна Сергеевна"));
        settings.addCustomer(QStringLiteral("ООО «ДЕМО-ТРАНС»"), QStringLiteral("Самара, ул. Примерная, 1"),
                             QStringLiteral("+7 (846) 000-00-01"));
        settings.addCustomer(QStringLiteral("ИП Сидоров П. А."), QString(),
                             QStringLiteral("8 900 123-45-67"));
        QTRY_VERIFY_WITH_TIMEOUT(window.app().deviceFound(), 10000);
        shoot(window, theme, QStringLiteral("main_menu"));

        QVERIFY(window.doubleClick(QStringLiteral("logo")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("rescanDialog")));
        shoot(window, theme, QStringLiteral("main_menu_rescan"));
        QVERIFY(window.click(QStringLiteral("messageRejectButton")));

        QVERIFY(window.click(QStringLiteral("settingsTile")));
        const char* tabs[] = {"tabPorts", "tabShop", "tabCards", "tabPrinters", "tabLook", "tabProgram"};
        for (const char* tab : tabs) {
            QVERIFY2(window.click(QString::fromLatin1(tab)), tab);
            shoot(window, theme, QStringLiteral("settings_") + QString::fromLatin1(tab).mid(3).toLower());
        }
        QVERIFY(window.click(QStringLiteral("tabShop")));
        QVERIFY(window.click(QStringLiteral("mastersButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("masterDirectory")));
        shoot(window, theme, QStringLiteral("settings_masters"));
        QVERIFY(window.click(QStringLiteral("masterCloseButton")));
        QVERIFY(window.click(QStringLiteral("customersButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("customerDirectory")));
        shoot(window, theme, QStringLiteral("settings_customers"));
        QVERIFY(window.click(QStringLiteral("customerCloseButton")));

        QVERIFY(window.type(QStringLiteral("shopPost"), QStringLiteral("4430")));
        QVERIFY(window.click(QStringLiteral("settingsSaveButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("settingsMessage")));
        shoot(window, theme, QStringLiteral("settings_save_refused"));
        QVERIFY(window.click(QStringLiteral("messageAcceptButton")));

        QVERIFY(window.click(QStringLiteral("tabProgram")));
        QVERIFY(window.click(QStringLiteral("logViewerButton")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("logFile_Tachoria.log")));
        shoot(window, theme, QStringLiteral("journal_files"));
        QVERIFY(window.click(QStringLiteral("logFile_Tachoria.log")));
        shoot(window, theme, QStringLiteral("journal_records"));
        QVERIFY(window.click(QStringLiteral("logCloseButton")));

        QVERIFY(window.click(QStringLiteral("pageBackButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("settingsLeaveDialog")));
        shoot(window, theme, QStringLiteral("settings_leave"));
        QVERIFY(window.click(QStringLiteral("messageRejectButton")));
        QTRY_COMPARE(window.window()->title(), QStringLiteral("Норвелика: Тахория"));

        // The documents of the two calibrations. Leaving the settings unsaved brought the stored look and
        // shop back: the theme again, and the shop as a master saves it.
        settings.setTheme(theme == QLatin1String("dark") ? QStringLiteral("Dark") : QStringLiteral("Light"));
        QVERIFY(tachoria::test::storeShop());
        QVERIFY(window.click(QStringLiteral("documentsTile")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("documentsPage")));
        QTRY_COMPARE(window.find(QStringLiteral("recordList"))->property("count").toInt(), 2);
        QVERIFY(window.click(QStringLiteral("record_%1").arg(id)));
        shoot(window, theme, QStringLiteral("documents_list"));
        QVERIFY(window.click(QStringLiteral("tabDocuments")));
        QVERIFY(window.type(QStringLiteral("docOrderNumber"), QStringLiteral("1542")));
        QVERIFY(window.type(QStringLiteral("docVehicleMark"), QStringLiteral("КАМАЗ")));
        QVERIFY(window.type(QStringLiteral("docVehicleModel"), QStringLiteral("54901")));
        shoot(window, theme, QStringLiteral("documents_form"));
        QVERIFY(window.click(QStringLiteral("certificateButton")));
        QTRY_COMPARE(window.find(QStringLiteral("previewImage"))->property("status").toInt(), 1);
        shoot(window, theme, QStringLiteral("documents_certificate_preview"), true);
        QVERIFY(window.click(QStringLiteral("previewPrintButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("printSettingsDialog")));
        shoot(window, theme, QStringLiteral("documents_print_settings"), true);
        QVERIFY(window.click(QStringLiteral("printSettingsCancelButton")));
        QVERIFY(window.click(QStringLiteral("previewCloseButton")));
        QVERIFY(window.click(QStringLiteral("stickerButton")));
        QTRY_COMPARE(window.find(QStringLiteral("previewImage"))->property("status").toInt(), 1);
        shoot(window, theme, QStringLiteral("documents_sticker_preview"));
        QVERIFY(window.click(QStringLiteral("previewCloseButton")));
        QVERIFY(window.click(QStringLiteral("pageBackButton")));
        QTRY_COMPARE(window.window()->title(), QStringLiteral("Норвелика: Тахория"));
        settings.setTheme(QStringLiteral("Light"));
    }

    // The offers of a newer firmware and program, and the firmware transfer's progress and end, with
    // a local site that publishes both and the simulated unit taking the image.
    void updateDialogsInBothThemes_data() { everyPageInBothThemes_data(); }

    void updateDialogsInBothThemes()
    {
        QFETCH(QString, theme);
        if (!tachoria::test::HttpsStandIn::unavailableReason().isEmpty())
            QSKIP("no HTTPS stand-in on this machine");
        m_number = 20;
        tachoria::test::HttpsStandIn site;
        QString error;
        QVERIFY2(site.start(&error), qPrintable(error));
        QVERIFY(site.serve(
            QStringLiteral("tachographs/orvian-479160000-1h-re/index.html"),
            "Актуальная прошивка тахографа: <a href=\"/userfiles/tachographs/tacho_101_02060000.bin\">"
            "<a href=\"/files/tachoria_2.6.0.1_amd64.deb\">"));
        QVERIFY(site.serve(QStringLiteral("userfiles/tachographs/tacho_101_02060000.bin"),
                           QByteArray(671744, 'F')));
        WindowDriver window;
        QTemporaryDir folder;
        const QString link = folder.filePath(QStringLiteral("tacho"));
        tachoria::storage::SettingsRepository().setValue(QStringLiteral("Ports"),
                                                         QStringLiteral("CalibrationPortName"), link);
        SimulatorProcess simulator({QStringLiteral("--no-pace"), QStringLiteral("--version-after-restart"),
                                    QStringLiteral("02060000"), QStringLiteral("--restart-silence-ms"),
                                    QStringLiteral("500")});
        simulator.setLink(link);
        QVERIFY2(simulator.start(&error), qPrintable(error));
        QVERIFY(window.start());
        window.app().settings()->setTheme(theme == QLatin1String("dark") ? QStringLiteral("Dark")
                                                                         : QStringLiteral("Light"));
        QTRY_VERIFY_WITH_TIMEOUT(window.app().deviceFound(), 10000);
        window.app().updateChecker().setPublisher({site.site(), site.caCertificates()});
        window.app().updateChecker().startTachoriaVersionCheck();
        QTRY_VERIFY_WITH_TIMEOUT(window.dialogOpen(QStringLiteral("programOffer")), 15000);
        shoot(window, theme, QStringLiteral("program_update_offer"));
        QVERIFY(window.click(QStringLiteral("programOfferAccept")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("programProgress")));
        QTRY_VERIFY_WITH_TIMEOUT(!window.app().tachoriaUpdateState().isEmpty(), 15000);
        shoot(window, theme, QStringLiteral("program_update_progress"));
        QMetaObject::invokeMethod(window.window()->findChild<QObject*>(QStringLiteral("programProgress")),
                                  "close");

        window.app().updateChecker().startFirmwareVersionCheck();
        QTRY_VERIFY_WITH_TIMEOUT(window.dialogOpen(QStringLiteral("firmwareOffer")), 15000);
        shoot(window, theme, QStringLiteral("firmware_update_offer"));
        tachoria::firmware::FirmwareVersionVerification::setLimitsForTest(30000, 500);
        QVERIFY(window.click(QStringLiteral("firmwareOfferAccept")));
        QTRY_VERIFY_WITH_TIMEOUT(
            window.app().firmwareUpdateStatus().startsWith(QStringLiteral("Запись прошивки: блок ")), 60000);
        shoot(window, theme, QStringLiteral("firmware_update_progress"));
        QTRY_VERIFY_WITH_TIMEOUT(window.app().firmwareUpdateFinished(), 120000);
        shoot(window, theme, QStringLiteral("firmware_update_done"));
        tachoria::firmware::FirmwareVersionVerification::setLimitsForTest(
            tachoria::firmware::FirmwareVersionVerification::kTotalLimitMs,
            tachoria::firmware::FirmwareVersionVerification::kAttemptIntervalMs);
        QVERIFY(window.click(QStringLiteral("firmwareProgressClose")));
        QMetaObject::invokeMethod(window.window()->findChild<QObject*>(QStringLiteral("updateDone")), "open");
        shoot(window, theme, QStringLiteral("program_updated"));
        window.app().settings()->setTheme(QStringLiteral("Light"));
    }
};

QTEST_MAIN(TestWindowScreenshots)
#include "test_window_screenshots.moc"
