#include "qml_controllers/device_monitor.h"

#include "logging/application_logger.h"
#include "platform/port_change_watcher.h"
#include "qml_controllers/qml_helpers.h"
#include "qml_controllers/qml_settings_controller.h"

#include <QPointer>
#include <QThread>
#include <QTimer>

namespace tachoria::qml {

namespace {

const QString kNotConnected = QStringLiteral("Не подключено");
const QString kUnknown = QStringLiteral("Неизвестен");
constexpr int kDefaultBaud = 115200;
const QList<int> kScanBauds = {115200, 9600, 10400};

// The journal's category of a failed probe. A plain serial port falls under "bluetooth.probe": the log
// viewer's filter and support both read that word.
QString probeCategory(const QString& port)
{
    if (port.startsWith(QLatin1String("usb://")))
        return QStringLiteral("usb.probe");
    if (port.startsWith(QLatin1String("tcp://")))
        return QStringLiteral("tcp.bridge.probe");
    return QStringLiteral("bluetooth.probe");
}

} // namespace

DeviceMonitor::DeviceMonitor(QmlSettingsController* settings, QObject* parent)
    : QObject(parent)
    , m_settings(settings)
    , m_probe([](const QString& port, int baud, const std::atomic_bool* stop) {
        return protocol::DownloadDeviceDetector::probe(port, baud, stop, -1, -1);
    })
    , m_portList(&sortedPortNames)
    , m_connectedTacho(kNotConnected)
{
    m_device.skziStatus = kUnknown;
    m_device.cardStatus = kUnknown;
}

DeviceMonitor::~DeviceMonitor()
{
    shutdown();
}

void DeviceMonitor::shutdown()
{
    if (m_watcher)
        m_watcher->stop();
    if (m_monitorTimer)
        m_monitorTimer->stop();
    m_scanStop = true;
    if (m_scanThread) {
        m_scanThread->wait();
        delete m_scanThread;
        m_scanThread = nullptr;
        m_scanning = false;
    }
}

void DeviceMonitor::updateStatus(const QString& text)
{
    if (m_statusMessage == text)
        return;
    m_statusMessage = text;
    Q_EMIT statusChanged();
}

void DeviceMonitor::startWatcher(bool quietScans)
{
    if (!m_watcher)
        m_watcher = std::make_unique<platform::PortChangeWatcher>();
    QPointer<DeviceMonitor> self(this);
    const PortListFunction portList = m_portList;
    QString error;
    const bool started = m_watcher->start(
        [self, quietScans, portList] {
            // On the watcher's thread: the list is taken here, the scan asked for on the GUI thread.
            const QStringList ports = portList();
            QMetaObject::invokeMethod(
                self.data(),
                [self, quietScans, ports] {
                    if (!self)
                        return;
                    Q_EMIT self->portListChanged(ports);
                    self->requestScan(quietScans);
                },
                Qt::QueuedConnection);
        },
        &error);
    if (!started)
        updateStatus(QStringLiteral("Ошибка монитора портов: %1").arg(error));
    else if (!quietScans)
        updateStatus(QStringLiteral("Мониторинг COM-портов запущен"));
}

void DeviceMonitor::start()
{
    startWatcher(false);
    if (!m_monitorTimer) {
        m_monitorTimer = new QTimer(this);
        m_monitorTimer->setInterval(kPollIntervalMs);
        connect(m_monitorTimer, &QTimer::timeout, this, [this] {
            if (!m_paused && !m_scanning && !m_scanThread)
                requestScan(m_deviceFound);
        });
    }
    m_monitorTimer->start();
    startScan(false);
}

void DeviceMonitor::requestScan(bool quiet)
{
    if (m_paused)
        return;
    if (!m_scanning && !m_scanThread) {
        startScan(quiet);
        return;
    }
    // A full scan wins over a quiet one.
    m_scanPendingQuiet = m_scanPending ? (m_scanPendingQuiet && quiet) : quiet;
    m_scanPending = true;
}

void DeviceMonitor::startScan(bool quiet)
{
    if (m_paused)
        return;
    if (m_scanning || m_scanThread) {
        requestScan(quiet);
        return;
    }
    m_scanPending = false;
    m_scanPendingQuiet = false;
    if (!quiet)
        clearDeviceInfo();
    if (m_settings && !m_settings->scanPorts()) {
        // With scanning off the master simply gets the pages that need no tachograph.
        m_actionsEnabled = true;
        Q_EMIT deviceChanged();
        return;
    }
    const bool knownPortOnly = quiet && m_deviceFound && !m_devicePort.isEmpty();
    const QString knownPort = m_devicePort;
    const int configuredBaud = m_settings ? m_settings->calibrationBaud() : kDefaultBaud;
    const QString configuredPort = m_settings ? m_settings->calibrationPort() : QString();

    m_scanning = true;
    if (!quiet)
        m_actionsEnabled = false;
    Q_EMIT deviceChanged();
    Q_EMIT monitoringChanged();
    if (!knownPortOnly)
        updateStatus(quiet ? QStringLiteral("Проверка подключения к тахографу...")
                           : QStringLiteral("Сканирование COM-портов..."));

    m_scanStop = false;
    const quint64 generation = ++m_scanGeneration;
    const ProbeFunction probe = m_probe;
    const PortListFunction portList = m_portList;
    QPointer<DeviceMonitor> self(this);

    m_scanThread = QThread::create([=] {
        const QList<int> bauds = knownPortOnly ? QList<int>{configuredBaud} : kScanBauds;
        QStringList ports;
        if (knownPortOnly) {
            ports.append(knownPort);
        } else {
            ports = portList();
            const qsizetype configured = ports.indexOf(configuredPort);
            if (!configuredPort.isEmpty() && configured > 0)
                ports.move(configured, 0);
        }
        bool found = false;
        // Every port at 115200 before any at 9600: the common speed is found first wherever it is.
        for (const int baud : bauds) {
            for (const QString& port : ports) {
                if (m_scanStop)
                    break;
                const protocol::DownloadDeviceInfo info = probe(port, baud, &m_scanStop);
                if (!info.matched) {
                    if (!info.diagnostic.isEmpty())
                        logging::ApplicationLogger::write(
                            logging::Level::Info, probeCategory(port),
                            QStringLiteral("Проверка %1 на скорости %2 неуспешна: %3")
                                .arg(port)
                                .arg(baud)
                                .arg(info.diagnostic),
                            QStringLiteral("probe-failed"));
                    continue;
                }
                QMetaObject::invokeMethod(
                    self.data(),
                    [self, info, generation] {
                        if (self && !self->m_paused && self->m_scanGeneration == generation)
                            self->applyDeviceInfo(info);
                    },
                    Qt::QueuedConnection);
                found = true;
                break;
            }
            if (found || m_scanStop)
                break;
        }
        QMetaObject::invokeMethod(
            self.data(),
            [self, found, generation, quiet] {
                if (self)
                    self->finishScan(found, generation, quiet);
            },
            Qt::QueuedConnection);
    });
    QPointer<QThread> thread(m_scanThread);
    connect(m_scanThread, &QThread::finished, this, [this, thread] {
        if (!thread)
            return; // shutdown() has collected it already
        if (m_scanThread == thread) {
            m_scanThread = nullptr;
            m_scanning = false;
            Q_EMIT monitoringChanged();
            if (m_scanPending && !m_paused)
                scheduleScanAfterCurrentProbe(m_scanPendingQuiet);
        }
        thread->deleteLater();
    });
    m_scanThread->start(QThread::InheritPriority);
}

void DeviceMonitor::finishScan(bool found, quint64 generation, bool quiet)
{
    if (m_paused || generation != m_scanGeneration)
        return;
    m_scanning = false;
    const bool pendingQuiet = m_scanPendingQuiet;
    if (found) {
        m_scanPending = false;
    } else if (m_scanPending) {
        m_scanPending = false;
        m_scanPendingQuiet = false;
        scheduleScanAfterCurrentProbe(pendingQuiet);
        Q_EMIT deviceChanged();
        return;
    }
    if (!found) {
        if (m_retriesLeft > 0 && !m_paused) {
            --m_retriesLeft;
            const quint64 monitor = m_monitorGeneration;
            updateStatus(QStringLiteral("Повторная проверка подключения к тахографу..."));
            QTimer::singleShot(kRetryDelayMs, this, [this, monitor, quiet] {
                if (!m_paused && m_monitorGeneration == monitor)
                    requestScan(quiet);
            });
            Q_EMIT deviceChanged();
            return;
        }
        if (quiet && m_deviceFound) {
            // The device is gone.
            logging::ApplicationLogger::write(
                logging::Level::Info, QStringLiteral("device"),
                QStringLiteral("Тахограф на порту %1 не отвечает").arg(m_devicePort), QStringLiteral("lost"));
        }
        if (quiet)
            clearDeviceInfo();
        m_actionsEnabled = true;
        updateStatus(QStringLiteral("Сканирование завершено: тахограф не найден"));
    }
    Q_EMIT deviceChanged();
}

void DeviceMonitor::scheduleScanAfterCurrentProbe(bool quiet)
{
    if (m_scanRetimerArmed)
        return;
    m_scanRetimerArmed = true;
    // The gap lets the worker's port close before the next attempt opens it.
    QTimer::singleShot(kFollowUpMs, this, [this, quiet] {
        m_scanRetimerArmed = false;
        if (!m_paused)
            requestScan(quiet);
    });
}

void DeviceMonitor::rescan()
{
    if (m_paused)
        return;
    updateStatus(QStringLiteral("Ручной запуск сканирования COM-портов..."));
    m_scanStop = true;
    ++m_scanGeneration;
    clearDeviceInfo();
    Q_EMIT deviceChanged();
    requestScan(false);
}

void DeviceMonitor::pause()
{
    ++m_pauseDepth;
    if (m_paused)
        return;
    m_paused = true;
    ++m_monitorGeneration;
    m_retriesLeft = 0;
    Q_EMIT monitoringChanged();
    if (m_monitorTimer)
        m_monitorTimer->stop();
    if (m_watcher)
        m_watcher->stop();
    ++m_scanGeneration;
    m_scanStop = true;
    Q_EMIT monitoringChanged();
}

void DeviceMonitor::resume()
{
    if (m_pauseDepth > 0)
        --m_pauseDepth;
    if (m_pauseDepth >= 1 || !m_paused)
        return;
    m_paused = false;
    // A tachograph that restarts after a transfer gets two more quiet tries.
    m_retriesLeft = kResumeRetries;
    const quint64 monitor = ++m_monitorGeneration;
    Q_EMIT monitoringChanged();
    if (m_monitorTimer)
        m_monitorTimer->start();
    startWatcher(true);
    QTimer::singleShot(kResumeCheckMs, this, [this, monitor] {
        if (!m_paused && m_monitorGeneration == monitor)
            requestScan(true);
    });
}

void DeviceMonitor::applyDeviceInfo(const protocol::DownloadDeviceInfo& info)
{
    const QString port = displayPort(info.port);
    const QString previousTitle = m_connectedTacho;
    const bool samePort = m_deviceFound && m_devicePort == port;
    m_devicePort = port;
    m_deviceFound = info.matched;
    if (!info.matched) {
        clearDeviceInfo();
        Q_EMIT deviceChanged();
        return;
    }
    if (m_settings) {
        m_settings->includeDetectedPort(port);
        const bool calibrationPort = m_settings->calibrationPort() != port;
        const bool calibrationBaud = m_settings->calibrationBaud() != info.baud;
        const bool downloadPort = m_settings->downloadPort() != port;
        const bool downloadBaud = m_settings->downloadMaxBaud() != info.baud;
        m_settings->setCalibrationPort(port);
        m_settings->setCalibrationBaud(info.baud);
        m_settings->setDownloadPort(port);
        m_settings->setDownloadMaxBaud(info.baud);
        // The last working endpoint is the first one tried at the next start.
        const QString ports = QStringLiteral("Ports");
        if (calibrationPort)
            m_settings->persistValue(QStringLiteral("CalibrationPortName"), ports, port,
                                     QStringLiteral("String"));
        if (calibrationBaud)
            m_settings->persistValue(QStringLiteral("CalibrationPortBitrate"), ports, info.baud,
                                     QStringLiteral("Int"));
        if (downloadPort)
            m_settings->persistValue(QStringLiteral("DownloadPortName"), ports, port,
                                     QStringLiteral("String"));
        if (downloadBaud)
            m_settings->persistValue(QStringLiteral("DownloadPortMaxBitrate"), ports, info.baud,
                                     QStringLiteral("Int"));
    }
    Q_EMIT deviceDetected(port);
    m_device = info;
    m_connectedTacho = QStringLiteral("Тахограф ОРВИАН. Сер. №: %1").arg(info.serialNumber);
    // Only an СКЗИ in a fault state, which blocks both, closes the menu.
    m_actionsEnabled = !(info.calibrationBlocked && info.downloadBlocked);
    m_calibrationPermitted = info.calibrationPermitted();
    m_downloadPermitted = info.downloadPermitted();
    m_retriesLeft = 0;
    ++m_monitorGeneration;
    if (!samePort || m_connectedTacho != previousTitle) {
        updateStatus(QStringLiteral("Обнаружен тахограф на порту %1").arg(port));
        logging::ApplicationLogger::write(logging::Level::Info, QStringLiteral("device"),
                                          QStringLiteral("Обнаружен тахограф на порту %1 (%2 бод): %3")
                                              .arg(port)
                                              .arg(info.baud)
                                              .arg(m_connectedTacho),
                                          QStringLiteral("found"));
    }
    Q_EMIT deviceChanged();
}

void DeviceMonitor::clearDeviceInfo()
{
    m_devicePort.clear();
    m_deviceFound = false;
    m_connectedTacho = kNotConnected;
    m_device = protocol::DownloadDeviceInfo();
    m_device.skziStatus = kUnknown;
    m_device.cardStatus = kUnknown;
    m_actionsEnabled = false;
    m_calibrationPermitted = false;
    m_downloadPermitted = false;
}

} // namespace tachoria::qml
