// A firmware update as a master does it, through the window: the publisher's page (a local HTTPS site
// of the test's own authority) shows a newer firmware for the tachograph found on the port, the menu
// offers it, and the transfer runs against the simulated unit to its confirmed new version; an image
// of the wrong size leaves the tachograph untouched.
#include "../support/https_stand_in.h"
#include "../support/simulator_process.h"
#include "../support/window_driver.h"
#include "firmware/firmware_verification.h"
#include "qml_controllers/qml_app_controller.h"
#include "qml_controllers/update_checker.h"
#include "storage/settings_repository.h"

#include <QFile>
#include <QQuickItem>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

using tachoria::firmware::FirmwareVersionVerification;
using tachoria::test::HttpsStandIn;
using tachoria::test::SimulatorProcess;
using tachoria::test::WindowDriver;

namespace {

const QString kPage = QStringLiteral("tachographs/orvian-479160000-1h-re/index.html");
const QString kFirmware = QStringLiteral("userfiles/tachographs/tacho_101_02060000.bin");

QByteArray randomImage(int size)
{
    QByteArray image(size, Qt::Uninitialized);
    QRandomGenerator generator(3);
    for (char& byte : image)
        byte = char(generator.bounded(256));
    return image;
}

} // namespace

class TestFirmwareUpdate : public QObject
{
    Q_OBJECT

private:
    HttpsStandIn m_site;
    QTemporaryDir m_folder;

    // The window with a tachograph found on the simulator, and the page read.
    std::unique_ptr<WindowDriver> openWindow(SimulatorProcess& unit)
    {
        auto window = std::make_unique<WindowDriver>();
        tachoria::storage::SettingsRepository().setValue(QStringLiteral("Ports"),
                                                         QStringLiteral("CalibrationPortName"), unit.link());
        if (!window->start())
            return {};
        window->app().updateChecker().setPublisher({m_site.site(), m_site.caCertificates()});
        window->app().updateChecker().startFirmwareVersionCheck();
        return window;
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString missing = HttpsStandIn::unavailableReason();
        if (!missing.isEmpty())
            QSKIP(qPrintable(missing));
        QString error;
        QVERIFY2(m_site.start(&error), qPrintable(error));
        QVERIFY(m_site.serve(kPage, "<h3>Актуальная прошивка тахографа</h3>\n<a href=\"/" +
                                        kFirmware.toUtf8() + "\">"));
        // The restarted unit is asked every 0.5 s rather than every 5 s; the limit stays long enough.
        FirmwareVersionVerification::setLimitsForTest(30000, 500);
    }

    void cleanupTestCase()
    {
        FirmwareVersionVerification::setLimitsForTest(FirmwareVersionVerification::kTotalLimitMs,
                                                      FirmwareVersionVerification::kAttemptIntervalMs);
    }

    void offeredAndConfirmed()
    {
        const QByteArray image = randomImage(671744);
        QVERIFY(m_site.serve(kFirmware, image));
        const QString received = m_folder.filePath(QStringLiteral("received.bin"));
        SimulatorProcess unit({QStringLiteral("--no-pace"), QStringLiteral("--version-after-restart"),
                               QStringLiteral("02060000"), QStringLiteral("--restart-silence-ms"),
                               QStringLiteral("1000"), QStringLiteral("--firmware-image"), received});
        QString error;
        QVERIFY2(unit.start(&error), qPrintable(error));
        auto window = openWindow(unit);
        QVERIFY(window);
        auto& app = window->app();
        QTRY_VERIFY_WITH_TIMEOUT(window->dialogOpen(QStringLiteral("firmwareOffer")), 15000);
        QCOMPARE(window->text(QStringLiteral("firmwareOfferText")),
                 QStringLiteral(
                     "Версия ПО тахографа (02050189) старее опубликованной на сайте (02060000). Скачать "
                     "прошивку размером 671744 байта и передать её в тахограф?"));
        QCOMPARE(app.tachographFirmwareStatus(), QStringLiteral("обн."));
        QCOMPARE(window->text(QStringLiteral("tachographVersion")), QStringLiteral("02050189 (обн.)"));

        QStringList statuses;
        QList<double> progress;
        bool pausedDuringTransfer = false;
        QObject::connect(&app, &tachoria::qml::QmlAppController::firmwareUpdateChanged, &app, [&] {
            const QString status = app.firmwareUpdateStatus();
            if (!status.isEmpty() && (statuses.isEmpty() || statuses.last() != status))
                statuses << status;
            progress << app.firmwareUpdateProgress();
            if (app.firmwareUpdateStatus().startsWith(QStringLiteral("Запись прошивки")))
                pausedDuringTransfer = pausedDuringTransfer || app.monitoringPaused();
        });
        QVERIFY(window->click(QStringLiteral("firmwareOfferAccept")));
        QTRY_VERIFY(window->dialogOpen(QStringLiteral("firmwareProgress")));
        QTRY_VERIFY_WITH_TIMEOUT(app.firmwareUpdateFinished(), 90000);
        QCOMPARE(app.firmwareUpdateStatus(),
                 QStringLiteral("Обновление прошло успешно. Версия ПО тахографа 02060000 "
                                "совпадает с актуальной версией на сайте."));
        QCOMPARE(window->text(QStringLiteral("firmwareStatus")), app.firmwareUpdateStatus());
        QCOMPARE(statuses.first(), QStringLiteral("Скачивание прошивки: 0,00 / 0,67 МБ"));
        for (const char* step :
             {"Скачивание прошивки: 0,67 / 0,67 МБ", "Ожидание подтверждения очистки SPI Flash...",
              "Очистка SPI Flash: сектор 256 из 256", "Запись прошивки: блок 328 из 328",
              "Перезагрузка подтверждена. Ожидаю ответ 0x16 и появления установленной версии ПО..."})
            QVERIFY2(statuses.contains(QString::fromUtf8(step)), step);
        QVERIFY(statuses.indexOf(QStringLiteral("Очистка SPI Flash: сектор 256 из 256")) <
                statuses.indexOf(QStringLiteral("Запись прошивки: блок 1 из 328")));
        QVERIFY(pausedDuringTransfer);
        QCOMPARE(progress.last(), 1.0);
        QVERIFY(!app.firmwareUpdateRunning());
        QVERIFY(!app.monitoringPaused());
        QVERIFY(window->find(QStringLiteral("firmwareProgressClose"))->isEnabled());
        // The unit took the image byte for byte, and the menu shows its new version as current.
        QFile file(received);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll() == image);
        QCOMPARE(app.tachographSoftwareVersion(), QStringLiteral("02060000"));
        QCOMPARE(app.tachographFirmwareStatus(), QStringLiteral("акт."));
    }

    void wrongSizeLeavesTheTachographAlone()
    {
        QVERIFY(m_site.serve(kFirmware, randomImage(671743)));
        SimulatorProcess unit({QStringLiteral("--verbose")});
        QString error;
        QVERIFY2(unit.start(&error), qPrintable(error));
        auto window = openWindow(unit);
        QVERIFY(window);
        auto& app = window->app();
        QTRY_VERIFY_WITH_TIMEOUT(app.firmwareUpdateAvailable() && app.deviceFound(), 15000);
        app.startTachographFirmwareUpdate();
        QTRY_COMPARE_WITH_TIMEOUT(
            app.firmwareUpdateStatus(),
            QStringLiteral("Размер прошивки — 671743 байт; ожидается ровно 671744 байта. "
                           "Тахограф не затронут."),
            15000);
        QVERIFY(!app.firmwareUpdateRunning());
        QVERIFY(!app.monitoringPaused());
        for (const QByteArray& request : unit.receivedRequests())
            QVERIFY(request.at(0) != char(0xC7) && request.at(0) != 0x3D);
    }
};

QTEST_MAIN(TestFirmwareUpdate)
#include "test_firmware_update.moc"
