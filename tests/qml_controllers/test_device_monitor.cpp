// The watch over the port. Its bookkeeping (generations, pause depth, quiet retries) is pinned with a
// probe of the test's own that the test can hold and answer; finding, losing and finding again a
// tachograph goes through the real simulator on a pseudo-terminal.
#include "../support/simulator_process.h"
#include "qml_controllers/device_monitor.h"
#include "qml_controllers/qml_settings_controller.h"
#include "storage/app_paths.h"
#include "storage/settings_repository.h"

#include <QFile>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <mutex>

using tachoria::protocol::DownloadDeviceInfo;
using tachoria::qml::DeviceMonitor;
using tachoria::qml::QmlSettingsController;
using tachoria::test::SimulatorProcess;

namespace {

// A tachograph on one port at one speed, as the test says; each probe can be held until released.
class FakeLine
{
public:
    QString port = QStringLiteral("/dev/fake-tacho");
    int baud = 115200;
    std::atomic_bool present{true};
    std::atomic_bool hold{false};
    std::atomic_int probes{0};
    QSemaphore released;
    std::mutex mutex;
    QStringList tried; // "port@baud"

    DeviceMonitor::ProbeFunction function()
    {
        return [this](const QString& name, int speed, const std::atomic_bool*) {
            ++probes;
            {
                std::lock_guard<std::mutex> lock(mutex);
                tried << QStringLiteral("%1@%2").arg(name).arg(speed);
            }
            if (hold)
                released.acquire();
            DownloadDeviceInfo info;
            info.port = name;
            info.baud = speed;
            info.matched = present && name == port && speed == baud;
            info.serialNumber = QStringLiteral("2505001800001234");
            info.diagnostic = info.matched ? QString() : QStringLiteral("read: timeout");
            return info;
        };
    }
    QStringList triedSoFar()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return tried;
    }
};

} // namespace

class TestDeviceMonitor : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_profile;

    std::unique_ptr<QmlSettingsController> settings()
    {
        auto controller = std::make_unique<QmlSettingsController>();
        controller->setCalibrationPort(QStringLiteral("/dev/fake-tacho"));
        controller->setScanPorts(true);
        return controller;
    }

    static void useFake(DeviceMonitor& monitor, FakeLine& line, QStringList ports = {})
    {
        if (ports.isEmpty())
            ports = {QStringLiteral("/dev/ttyS0"), QStringLiteral("/dev/fake-tacho")};
        monitor.setProbeFunction(line.function());
        monitor.setPortListFunction([ports] { return ports; });
    }

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("LOCALAPPDATA", m_profile.path().toLocal8Bit());
        tachoria::storage::AppPaths::ensureDirectories();
    }

    // The configured port first, every port at 115200 before any at 9600; what answered is kept as
    // the first port and speed to try next time.
    void findsAndRemembersTheEndpoint()
    {
        auto config = settings();
        config->setCalibrationPort(QStringLiteral("/dev/ttyUSB1"));
        FakeLine line;
        line.baud = 9600;
        DeviceMonitor monitor(config.get());
        useFake(monitor, line,
                {QStringLiteral("/dev/ttyS0"), QStringLiteral("/dev/fake-tacho"),
                 QStringLiteral("/dev/ttyUSB1")});
        QSignalSpy detected(&monitor, &DeviceMonitor::deviceDetected);
        monitor.start();
        QTRY_VERIFY(monitor.deviceFound());
        QCOMPARE(
            line.triedSoFar().mid(0, 5),
            QStringLiteral("/dev/ttyUSB1@115200 /dev/ttyS0@115200 /dev/fake-tacho@115200 /dev/ttyUSB1@9600 "
                           "/dev/ttyS0@9600")
                .split(QLatin1Char(' ')));
        QCOMPARE(monitor.connectedTacho(), QStringLiteral("Тахограф ОРВИАН. Сер. №: 2505001800001234"));
        QCOMPARE(monitor.statusMessage(), QStringLiteral("Обнаружен тахограф на порту /dev/fake-tacho"));
        QCOMPARE(detected.count(), 1);
        QCOMPARE(config->calibrationPort(), QStringLiteral("/dev/fake-tacho"));
        QCOMPARE(config->calibrationBaud(), 9600);
        QCOMPARE(config->downloadPort(), QStringLiteral("/dev/fake-tacho"));
        QCOMPARE(config->downloadMaxBaud(), 9600);
        tachoria::storage::SettingsRepository stored;
        QCOMPARE(stored.value(QStringLiteral("Ports"), QStringLiteral("CalibrationPortName")),
                 QStringLiteral("/dev/fake-tacho"));
        QCOMPARE(stored.intValue(QStringLiteral("Ports"), QStringLiteral("CalibrationPortBitrate"), 0), 9600);
        QCOMPARE(stored.value(QStringLiteral("Ports"), QStringLiteral("DownloadPortName")),
                 QStringLiteral("/dev/fake-tacho"));
        QCOMPARE(stored.intValue(QStringLiteral("Ports"), QStringLiteral("DownloadPortMaxBitrate"), 0), 9600);
        QVERIFY(config->ports().contains(QStringLiteral("/dev/fake-tacho")));

        // With a tachograph found the poll re-checks only that endpoint, quietly.
        const int before = line.triedSoFar().size();
        // The probe is logged before its answer reaches the monitor: wait for the answer.
        QTRY_VERIFY(detected.count() >= 2);
        const QStringList again = line.triedSoFar().mid(before);
        QVERIFY(!again.isEmpty());
        for (const QString& endpoint : again)
            QCOMPARE(endpoint, QStringLiteral("/dev/fake-tacho@9600"));
        QCOMPARE(monitor.statusMessage(), QStringLiteral("Обнаружен тахограф на порту /dev/fake-tacho"));
    }

    // A manual rescan while a probe is on the wire: the old worker's find is dropped.
    void staleResultIsDropped()
    {
        auto config = settings();
        FakeLine line;
        line.hold = true;
        DeviceMonitor monitor(config.get());
        useFake(monitor, line, {QStringLiteral("/dev/fake-tacho")});
        QSignalSpy detected(&monitor, &DeviceMonitor::deviceDetected);
        monitor.start();
        QTRY_COMPARE(int(line.probes), 1);
        monitor.rescan();
        QCOMPARE(monitor.statusMessage(), QStringLiteral("Ручной запуск сканирования COM-портов..."));
        line.present = false; // what the old probe answers is already void
        line.hold = false;
        line.released.release(1);
        QTRY_COMPARE(monitor.statusMessage(), QStringLiteral("Сканирование завершено: тахограф не найден"));
        QVERIFY(line.probes >= 2); // the pending rescan ran after the worker closed
        QCOMPARE(detected.count(), 0);
        QVERIFY(!monitor.deviceFound());
        QVERIFY(monitor.actionsEnabled());
    }

    // Two pages pause, one resumes: the port stays free until the second resumes.
    void pauseDepth()
    {
        auto config = settings();
        FakeLine line;
        DeviceMonitor monitor(config.get());
        useFake(monitor, line);
        QSignalSpy monitoring(&monitor, &DeviceMonitor::monitoringChanged);
        monitor.resume(); // without a pause: nothing
        QCOMPARE(monitoring.count(), 0);
        QCOMPARE(monitor.pauseDepth(), 0);
        monitor.start();
        QTRY_VERIFY(monitor.deviceFound());
        monitor.pause();
        monitor.pause();
        QTRY_VERIFY(!monitor.busy());
        monitor.resume();
        QVERIFY(monitor.paused());
        QCOMPARE(monitor.pauseDepth(), 1);
        const int probes = line.probes;
        QTest::qWait(2 * DeviceMonitor::kPollIntervalMs);
        QCOMPARE(int(line.probes), probes);
        monitor.resume();
        QVERIFY(!monitor.paused());
        QTRY_VERIFY(line.probes > probes); // the quiet check 1000 ms after the resume
        QCOMPARE(line.triedSoFar().last(), QStringLiteral("/dev/fake-tacho@115200"));
    }

    // A resume with nothing attached: two quiet retries, then the scan's end; the device data goes.
    void resumeRetriesTwice()
    {
        auto config = settings();
        FakeLine line;
        DeviceMonitor monitor(config.get());
        useFake(monitor, line);
        monitor.start();
        QTRY_VERIFY(monitor.deviceFound());
        monitor.pause();
        QTRY_VERIFY(!monitor.busy());
        line.present = false;
        QStringList statuses;
        connect(&monitor, &DeviceMonitor::statusChanged, this, [&] { statuses << monitor.statusMessage(); });
        const int before = line.triedSoFar().size();
        monitor.resume();
        QTRY_VERIFY_WITH_TIMEOUT(
            statuses.contains(QStringLiteral("Сканирование завершено: тахограф не найден")), 15000);
        QCOMPARE(statuses.first(), QStringLiteral("Повторная проверка подключения к тахографу..."));
        // The check after the resume and two retries, each on the known endpoint only.
        QCOMPARE(line.triedSoFar().mid(before, 3), QStringList(3, QStringLiteral("/dev/fake-tacho@115200")));
        QVERIFY(!monitor.deviceFound());
        QCOMPARE(monitor.connectedTacho(), QStringLiteral("Не подключено"));
        QCOMPARE(monitor.device().skziStatus, QStringLiteral("Неизвестен"));
    }

    // A device announced by the kernel (udev) brings a full scan and the new list of ports at once,
    // not only the poll's quiet check of the known port.
    void arrivalIsScanned()
    {
        QFile uevent(QStringLiteral("/sys/class/tty/ttyS0/uevent"));
        if (!uevent.open(QIODevice::WriteOnly))
            QSKIP("this machine does not let the test announce a device");
        auto config = settings();
        FakeLine line;
        DeviceMonitor monitor(config.get());
        useFake(monitor, line);
        QSignalSpy listed(&monitor, &DeviceMonitor::portListChanged);
        monitor.start();
        QTRY_VERIFY(monitor.deviceFound());
        QStringList statuses;
        connect(&monitor, &DeviceMonitor::statusChanged, this, [&] { statuses << monitor.statusMessage(); });
        // The watcher needs a moment to subscribe; announce until it hears.
        for (int i = 0; i < 50 && listed.isEmpty(); ++i) {
            uevent.write("add\n");
            uevent.flush();
            QTest::qWait(100);
        }
        QVERIFY(!listed.isEmpty());
        QCOMPARE(listed.first().first().toStringList(),
                 (QStringList{QStringLiteral("/dev/ttyS0"), QStringLiteral("/dev/fake-tacho")}));
        // A full scan: the poll's checks of a found tachograph never say so.
        QTRY_VERIFY(statuses.contains(QStringLiteral("Сканирование COM-портов...")));
        QTRY_VERIFY(monitor.deviceFound());
    }

    // Scanning switched off: the pages that need no tachograph open at once and no probe runs.
    void scanningOff()
    {
        auto config = settings();
        config->setScanPorts(false);
        FakeLine line;
        DeviceMonitor monitor(config.get());
        useFake(monitor, line);
        monitor.start();
        QVERIFY(monitor.actionsEnabled());
        QVERIFY(!monitor.busy());
        QTest::qWait(DeviceMonitor::kPollIntervalMs + 200);
        QCOMPARE(int(line.probes), 0);
    }

    // The real thing: found on its port, gone when it goes, back when it comes back on that port.
    void simulatorComesAndGoes()
    {
        QTemporaryDir folder;
        const QString link = folder.filePath(QStringLiteral("tacho"));
        auto config = settings();
        config->setCalibrationPort(link);
        DeviceMonitor monitor(config.get());
        monitor.setPortListFunction([link] { return QStringList{link}; });
        auto simulator = std::make_unique<SimulatorProcess>();
        simulator->setLink(link);
        QString error;
        QVERIFY2(simulator->start(&error), qPrintable(error));
        monitor.start();
        QTRY_VERIFY_WITH_TIMEOUT(monitor.deviceFound(), 10000);
        QCOMPARE(monitor.device().serialNumber, QStringLiteral("2505001800001234"));
        QCOMPARE(monitor.devicePort(), link);
        QVERIFY(monitor.calibrationPermitted());

        QVERIFY(simulator->stop());
        QTRY_VERIFY_WITH_TIMEOUT(!monitor.deviceFound(), 10000);
        QCOMPARE(monitor.connectedTacho(), QStringLiteral("Не подключено"));

        simulator = std::make_unique<SimulatorProcess>(
            QStringList{QStringLiteral("--serial"), QStringLiteral("2505001800009999")});
        simulator->setLink(link);
        QVERIFY2(simulator->start(&error), qPrintable(error));
        QTRY_VERIFY_WITH_TIMEOUT(monitor.deviceFound(), 15000);
        QCOMPARE(monitor.device().serialNumber, QStringLiteral("2505001800009999"));
        QCOMPARE(monitor.statusMessage(), QStringLiteral("Обнаружен тахограф на порту %1").arg(link));
    }
};

QTEST_MAIN(TestDeviceMonitor)
#include "test_device_monitor.moc"
