// Pictures of every page and dialog in both themes, for a person to look at: they land in the build
// folder's "screenshots" (or the folder TACHORIA_SCREENSHOTS names). The test checks that each one is
// whole and drawn in its theme; scripts/screenshots.sh runs it under Xvfb.
#include "../support/https_stand_in.h"
#include "../support/shop_profile.h"
#include "../support/window_on_simulator.h"
#include "../support/written_calibration.h"
#include "firmware/firmware_verification.h"
#include "logging/application_logger.h"
#include "qml_controllers/qml_app_controller.h"
#include "qml_controllers/qml_ddd_controller.h"
#include "qml_controllers/update_checker.h"
#include "storage/app_paths.h"
#include "storage/settings_repository.h"
#include "tools/dddgen/ddd_generator.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>

using tachoria::test::SimulatorProcess;
using tachoria::test::WindowDriver;

class TestWindowScreenshots : public QObject
{
    Q_OBJECT

private:
    QString m_folder;
    int m_number = 0;

    // The DDD page's section entry scrolled into the list's view, then clicked.
    static bool clickSection(WindowDriver& window, const QString& key)
    {
        const QVariantList sections =
            window.find(QStringLiteral("dddPage"))->property("sectionList").toList();
        int index = 0;
        while (index < sections.size() && sections.at(index).toMap().value(QStringLiteral("key")) != key)
            ++index;
        QMetaObject::invokeMethod(window.findVisible(QStringLiteral("dddSectionList")), "positionViewAtIndex",
                                  Q_ARG(int, index), Q_ARG(int, 4 /* Contain */));
        return window.click(QStringLiteral("dddSection_") + key);
    }

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
        // Drawn in its theme: light pages stay light even under two dialogs' shades, dark ones dark.
        qint64 lightness = 0;
        const QImage small = image.scaled(64, 36);
        for (int y = 0; y < small.height(); ++y)
            for (int x = 0; x < small.width(); ++x)
                lightness += small.pixelColor(x, y).lightness();
        const qint64 mean = lightness / (small.width() * small.height());
        if (theme == QLatin1String("dark"))
            QVERIFY2(mean < 90, qPrintable(QStringLiteral("%1: lightness %2").arg(name).arg(mean)));
        else
            QVERIFY2(mean > 130, qPrintable(QStringLiteral("%1: lightness %2").arg(name).arg(mean)));
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
        tachoria::test::WindowOnSimulator bench({});
        WindowDriver& window = bench.window;
        QString error;
        // Two calibrations written by the calibration's own sequence, before the port watcher runs: the
        // writing simulators' lines would bring it a scan, which closes the menu's tiles for its time.
        QVERIFY2(tachoria::test::writeCalibration(QStringLiteral("WDB9634031L000000"),
                                                  QStringLiteral("Х999ХХ99"), &error) > 0,
                 qPrintable(error));
        const int id = tachoria::test::writeCalibration(QStringLiteral("XTC549015N2570001"),
                                                        QStringLiteral("А123ВС163"), &error);
        QVERIFY2(id > 0, qPrintable(error));
        QVERIFY2(bench.start(&error), qPrintable(error));
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
        // The synchronisation: a package made, an MTP run waiting for a phone, and its cancel.
        QVERIFY(window.click(QStringLiteral("createSyncPackageButton")));
        QTRY_VERIFY_WITH_TIMEOUT(!settings.syncBusy() && !settings.syncStatus().isEmpty(), 20000);
        shoot(window, theme, QStringLiteral("settings_sync_package"));
        QVERIFY(window.click(QStringLiteral("usbSyncButton")));
        QTRY_VERIFY_WITH_TIMEOUT(settings.usbSyncStatus().startsWith(QStringLiteral("MTP: ")), 10000);
        shoot(window, theme, QStringLiteral("settings_sync_mtp"));
        QVERIFY(window.click(QStringLiteral("usbSyncCancelButton")));
        QTRY_VERIFY_WITH_TIMEOUT(!settings.usbSyncActive(), 10000);
        shoot(window, theme, QStringLiteral("settings_sync_cancelled"));
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

    void tachographPagesInBothThemes_data() { everyPageInBothThemes_data(); }

    // The calibration form with every tab and dialog, and the download page through a run, its files,
    // the PIN and a failure.
    void tachographPagesInBothThemes()
    {
        QFETCH(QString, theme);
        m_number = 50;
        tachoria::test::WindowOnSimulator bench({}, true);
        WindowDriver& window = bench.window;
        SimulatorProcess& simulator = bench.simulator;
        QString error;
        QVERIFY2(bench.start(&error), qPrintable(error));
        auto& settings = *window.app().settings();
        settings.setTheme(theme == QLatin1String("dark") ? QStringLiteral("Dark") : QStringLiteral("Light"));
        // Without the shop's mark the page does not open: the menu says what is missing.
        QTRY_VERIFY_WITH_TIMEOUT(window.find(QStringLiteral("calibrationTile"))->isEnabled(), 10000);
        QVERIFY(window.click(QStringLiteral("calibrationTile")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("tachoriaStampDialog")));
        shoot(window, theme, QStringLiteral("calibration_no_shop_mark"));
        QVERIFY(window.click(QStringLiteral("messageAcceptButton")));
        QTRY_VERIFY(!window.dialogOpen(QStringLiteral("tachoriaStampDialog")));
        settings.setTachoriaMark(QStringLiteral("12345"));
        auto& calibration = *window.app().calibration();

        QVERIFY(window.click(QStringLiteral("calibrationTile")));
        QTRY_VERIFY_WITH_TIMEOUT(calibration.readCompleted(), 20000);
        shoot(window, theme, QStringLiteral("calibration_tachograph"));
        const char* tabs[] = {"calibrationTabCan", "calibrationTabOutputs", "calibrationTabWorkRest",
                              "calibrationTabOther"};
        // The page scrolls: its lower part is looked at too.
        const auto scroll = [&window](bool down) {
            QObject* flick =
                window.find(QStringLiteral("calibrationPage"))->property("flickable").value<QObject*>();
            const qreal bottom =
                flick->property("contentHeight").toReal() - flick->property("height").toReal();
            flick->setProperty("contentY", down ? std::max<qreal>(0, bottom) : 0);
        };
        for (const char* tab : tabs) {
            QVERIFY2(window.click(QString::fromLatin1(tab)), tab);
            const QString name = QStringLiteral("calibration_") + QString::fromLatin1(tab).mid(14).toLower();
            shoot(window, theme, name);
            scroll(true);
            shoot(window, theme, name + QStringLiteral("_lower"));
            scroll(false);
        }

        QVERIFY(window.click(QStringLiteral("speedSourceAuto")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("speedSourceDialog")));
        QVERIFY(window.click(QStringLiteral("sourceSearchButton")));
        QTRY_VERIFY_WITH_TIMEOUT(
            window.find(QStringLiteral("sourceRow1"))->isEnabled() && !calibration.busy(), 20000);
        shoot(window, theme, QStringLiteral("calibration_speed_source"));
        QVERIFY(window.click(QStringLiteral("sourceCloseButton")));

        QVERIFY(window.click(QStringLiteral("calibrationTabCan")));
        QVERIFY(window.click(QStringLiteral("can1Auto")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("canSpeedDialog")));
        QVERIFY(window.click(QStringLiteral("canSearchButton")));
        QTRY_VERIFY_WITH_TIMEOUT(calibration.canDetectionAvailable(), 15000);
        shoot(window, theme, QStringLiteral("calibration_can_speed"));
        QVERIFY(window.click(QStringLiteral("canCloseButton")));

        QVERIFY(window.click(QStringLiteral("calibrationTabTacho")));
        QVERIFY(window.click(QStringLiteral("action_kConstantOfRecordingEquipment")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("kMeasurementDialog")));
        QTRY_VERIFY(window.find(QStringLiteral("impulseStartButton"))->isEnabled());
        QVERIFY(window.click(QStringLiteral("impulseStartButton")));
        QTRY_VERIFY(window.find(QStringLiteral("impulseStopButton"))->isEnabled());
        QVERIFY(window.click(QStringLiteral("impulseStopButton")));
        QTRY_VERIFY(window.find(QStringLiteral("kSaveButton"))->isEnabled());
        QVERIFY(window.type(QStringLiteral("distanceInput"), QStringLiteral("8000")));
        shoot(window, theme, QStringLiteral("calibration_k_measurement"));
        QVERIFY(window.click(QStringLiteral("kCloseButton")));

        QQuickItem* page = window.find(QStringLiteral("calibrationPage"));
        QVERIFY(QMetaObject::invokeMethod(page, "chooseManufacturer", Q_ARG(QVariant, 1))); // DAF
        QVERIFY(QMetaObject::invokeMethod(page, "chooseModel", Q_ARG(QVariant, 1)));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("canModelDialog")));
        shoot(window, theme, QStringLiteral("calibration_can_model"));
        QVERIFY(window.click(QStringLiteral("messageAcceptButton")));

        QVERIFY(window.type(QStringLiteral("field_tyreSize"), QStringLiteral("12/34")));
        QVERIFY(window.click(QStringLiteral("action_lTyreCircumference")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("tachographTabMessage")));
        shoot(window, theme, QStringLiteral("calibration_tyre_formats"));
        QVERIFY(window.click(QStringLiteral("messageAcceptButton")));
        QVERIFY(window.type(QStringLiteral("field_tyreSize"), QStringLiteral("315/80 R22.5")));
        QVERIFY(window.click(QStringLiteral("action_lTyreCircumference")));

        QVERIFY(window.click(QStringLiteral("registrationAbsentCheck")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("registrationConfirmDialog")));
        shoot(window, theme, QStringLiteral("calibration_registration_confirm"));
        QVERIFY(window.click(QStringLiteral("messageRejectButton")));

        QVERIFY(window.click(QStringLiteral("saveConfigurationButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("vehicleConfigurationDialog")));
        shoot(window, theme, QStringLiteral("calibration_configuration_save"));
        QVERIFY(window.click(QStringLiteral("configurationSaveButton")));
        QTRY_VERIFY(!window.dialogOpen(QStringLiteral("vehicleConfigurationDialog")));
        QVERIFY(window.click(QStringLiteral("configurationEditorButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("vehicleConfigurationDialog")));
        shoot(window, theme, QStringLiteral("calibration_configuration_editor"));
        QVERIFY(window.click(QStringLiteral("configurationDelete_0")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("configurationDeleteConfirm")));
        shoot(window, theme, QStringLiteral("calibration_configuration_delete"));
        QVERIFY(window.click(QStringLiteral("messageRejectButton")));
        QTRY_VERIFY(!window.dialogOpen(QStringLiteral("configurationDeleteConfirm")));
        QVERIFY(window.click(QStringLiteral("configurationView_0")));
        shoot(window, theme, QStringLiteral("calibration_configuration_review"));
        QVERIFY(window.click(QStringLiteral("configurationReviewUseButton")));
        shoot(window, theme, QStringLiteral("calibration_configuration_apply"));
        QVERIFY(window.click(QStringLiteral("configurationCloseButton")));

        QVERIFY(window.type(QStringLiteral("field_vehicleIdentificationNumber"),
                            QStringLiteral("WVWZZZ1JZXWOOOOO1")));
        QVERIFY(window.type(QStringLiteral("field_HighResOdometer"), QStringLiteral("-5")));
        QVERIFY(window.click(QStringLiteral("calibrationWriteButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("validationDialog")));
        shoot(window, theme, QStringLiteral("calibration_validation"));
        QVERIFY(window.click(QStringLiteral("messageAcceptButton")));
        shoot(window, theme, QStringLiteral("calibration_marked_fields"));
        scroll(true);
        shoot(window, theme, QStringLiteral("calibration_marked_fields_lower"));
        scroll(false);
        QVERIFY(window.type(QStringLiteral("field_vehicleIdentificationNumber"),
                            QStringLiteral("WVWZZZ1JZXW000001")));
        QVERIFY(window.type(QStringLiteral("field_HighResOdometer"), QStringLiteral("123456,789")));
        QVERIFY(window.click(QStringLiteral("field_SpeedAuthorised")));
        QVERIFY(window.click(QStringLiteral("calibrationWriteButton")));
        QTRY_VERIFY_WITH_TIMEOUT(window.dialogOpen(QStringLiteral("writeDoneDialog")), 20000);
        shoot(window, theme, QStringLiteral("calibration_written"));
        QVERIFY(window.click(QStringLiteral("messageAcceptButton")));
        QVERIFY(window.click(QStringLiteral("calibrationExitButton")));
        QTRY_VERIFY(!window.app().monitoringPaused());

        QTRY_VERIFY_WITH_TIMEOUT(window.find(QStringLiteral("downloadTile"))->isEnabled(), 15000);
        QVERIFY(window.click(QStringLiteral("downloadTile")));
        QTRY_VERIFY(window.find(QStringLiteral("downloadStartButton"))->isEnabled());
        shoot(window, theme, QStringLiteral("download_page"));
        auto& download = *window.app().download();
        QVERIFY(window.click(QStringLiteral("needTacho")));
        QVERIFY(window.click(QStringLiteral("downloadStartButton")));
        QTRY_VERIFY_WITH_TIMEOUT(!download.running(), 60000);
        const QString downloaded = download.outputPath();
        shoot(window, theme, QStringLiteral("download_done"));
        QVERIFY(window.click(QStringLiteral("downloadFilesButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("dddFilesDialog")));
        QTRY_VERIFY_WITH_TIMEOUT(
            window.text(QStringLiteral("dddFilePreview")).startsWith(QStringLiteral("VIN")), 15000);
        shoot(window, theme, QStringLiteral("download_files"));
        QVERIFY(window.click(QStringLiteral("dddFilesClose")));
        download.setNeedCard(true);
        download.setExternalCard(true);
        QVERIFY(window.click(QStringLiteral("downloadStartButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("downloadPinDialog")));
        shoot(window, theme, QStringLiteral("download_pin"));
        QVERIFY(window.click(QStringLiteral("pinCancelButton")));
        // A unit that never answers: the run goes on for a while and then fails.
        download.setNeedNkm(true);
        QVERIFY(simulator.stop());
        SimulatorProcess silent({QStringLiteral("--silent")});
        silent.setLink(bench.link());
        QVERIFY2(silent.start(&error), qPrintable(error));
        QVERIFY(window.click(QStringLiteral("downloadStartButton")));
        QVERIFY(download.running());
        shoot(window, theme, QStringLiteral("download_running"));
        QTRY_VERIFY_WITH_TIMEOUT(!download.running(), 60000);
        shoot(window, theme, QStringLiteral("download_failed"));
        QVERIFY(QFile::remove(downloaded)); // the download folder is the build's own
        QVERIFY(window.click(QStringLiteral("downloadExitButton")));
        settings.setTheme(QStringLiteral("Light"));
    }

    // The DDD page with a card and with a vehicle unit: every section, the charts, the dialogs.
    void dddPageInBothThemes_data() { everyPageInBothThemes_data(); }

    void dddPageInBothThemes()
    {
        QFETCH(QString, theme);
        m_number = 100;
        WindowDriver window;
        {
            tachoria::storage::SettingsRepository settings;
            settings.setValue(QStringLiteral("Program"), QStringLiteral("ScanPorts"), 0,
                              QStringLiteral("Bool"));
        }
        QVERIFY(window.start());
        auto& settings = *window.app().settings();
        settings.setTheme(theme == QLatin1String("dark") ? QStringLiteral("Dark") : QStringLiteral("Light"));
        QTRY_VERIFY(window.find(QStringLiteral("dddTile")) &&
                    window.find(QStringLiteral("dddTile"))->isEnabled());
        QVERIFY(window.click(QStringLiteral("dddTile")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("dddPage")));
        shoot(window, theme, QStringLiteral("ddd_empty"));

        QTemporaryDir folder;
        const QList<std::pair<QString, QByteArray>> files = {
            {QStringLiteral("card"),
             tachoria::dddgen::writeDriverCard(tachoria::dddgen::sampleDriverCard(28))},
            {QStringLiteral("unit"),
             tachoria::dddgen::writeVehicleUnit(tachoria::dddgen::sampleVehicleUnit(7))}};
        auto& ddd = *window.app().ddd();
        for (const auto& [kind, bytes] : files) {
            const QString path = folder.filePath(kind + QStringLiteral(".ddd"));
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
            file.close();
            QVERIFY(ddd.openFile(path));
            QTRY_COMPARE(ddd.statusText(), QStringLiteral("Разбор завершён"));
            const QVariantList sections =
                window.find(QStringLiteral("dddPage"))->property("sectionList").toList();
            for (const QVariant& entry : sections) {
                const QString key = entry.toMap().value(QStringLiteral("key")).toString();
                QVERIFY2(clickSection(window, key), qPrintable(key));
                shoot(window, theme, QStringLiteral("ddd_%1_%2").arg(kind, key));
            }
            QVERIFY(clickSection(window, QStringLiteral("charts")));
            QQuickItem* chartType = window.findVisible(QStringLiteral("dddChartType"));
            for (int type = 1; type <= 8; ++type) {
                QMetaObject::invokeMethod(
                    chartType, "chosen",
                    Q_ARG(QString, chartType->property("model").toStringList().at(type)));
                shoot(window, theme, QStringLiteral("ddd_%1_chart%2").arg(kind).arg(type));
            }
            QMetaObject::invokeMethod(chartType, "chosen",
                                      Q_ARG(QString, chartType->property("model").toStringList().at(0)));
            QVERIFY(clickSection(window, QStringLiteral("blocks")));
            QVERIFY(window.doubleClick(QStringLiteral("datasetCell_0_1")));
            QTRY_VERIFY(window.dialogOpen(QStringLiteral("dddHexDialog")));
            shoot(window, theme, QStringLiteral("ddd_%1_hex").arg(kind));
            QVERIFY(window.click(QStringLiteral("dddHexCloseButton")));
            QVERIFY(window.click(QStringLiteral("dddPdfButton")));
            QTRY_VERIFY(window.dialogOpen(QStringLiteral("dddPdfDialog")));
            shoot(window, theme, QStringLiteral("ddd_%1_pdf").arg(kind));
            QVERIFY(window.click(QStringLiteral("dddPdfCancelButton")));
            QVERIFY(window.click(QStringLiteral("dddSaveButton")));
            QTRY_VERIFY(ddd.statusText().startsWith(QStringLiteral("Отчёт сохранён")));
        }
        QVERIFY(clickSection(window, QStringLiteral("reports")));
        shoot(window, theme, QStringLiteral("ddd_reports"));
        QVERIFY(window.click(QStringLiteral("dddFilesButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("dddFilesDialog")));
        shoot(window, theme, QStringLiteral("ddd_files"));
        QVERIFY(window.click(QStringLiteral("dddFilesClose")));
        QVERIFY(window.click(QStringLiteral("dddLanguageButton")));
        QVERIFY(clickSection(window, QStringLiteral("analysis")));
        shoot(window, theme, QStringLiteral("ddd_unit_analysis_english"));
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
        m_number = 40;
        tachoria::test::HttpsStandIn site;
        QString error;
        QVERIFY2(site.start(&error), qPrintable(error));
        QVERIFY(site.serve(
            QStringLiteral("tachographs/orvian-479160000-1h-re/index.html"),
            "Актуальная прошивка тахографа: <a href=\"/userfiles/tachographs/tacho_101_02060000.bin\">"
            "<a href=\"/files/tachoria_2.6.0.1_amd64.deb\">"));
        QVERIFY(site.serve(QStringLiteral("userfiles/tachographs/tacho_101_02060000.bin"),
                           QByteArray(671744, 'F')));
        tachoria::test::WindowOnSimulator bench(tachoria::test::words(
            {"--no-pace", "--version-after-restart", "02060000", "--restart-silence-ms", "500"}));
        WindowDriver& window = bench.window;
        QVERIFY2(bench.start(&error), qPrintable(error));
        window.app().settings()->setTheme(theme == QLatin1String("dark") ? QStringLiteral("Dark")
                                                                         : QStringLiteral("Light"));
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
