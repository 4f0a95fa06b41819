#pragma once

#include "protocol/download_detector.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>

class QThread;
class QTimer;

namespace tachoria::platform {
class PortChangeWatcher;
}

namespace tachoria::qml {

class QmlSettingsController;

// The watch over the serial ports: scans them on a worker for a tachograph, keeps the found device's
// identity, and lends the port to a page (pause) and takes it back (resume). Generation counters void
// the results and delayed re-scans of work that a pause or a manual rescan has overtaken, so that the
// port has exactly one owner at a time. Everything here runs on the GUI thread but the probe itself.
class DeviceMonitor : public QObject
{
    Q_OBJECT

public:
    using ProbeFunction = std::function<protocol::DownloadDeviceInfo(const QString& port, int baud,
                                                                     const std::atomic_bool* stop)>;
    using PortListFunction = std::function<QStringList()>;

    static constexpr int kPollIntervalMs = 1500;
    static constexpr int kFollowUpMs = 250;
    static constexpr int kRetryDelayMs = 750;
    static constexpr int kResumeCheckMs = 1000;
    static constexpr int kResumeRetries = 2;

    explicit DeviceMonitor(QmlSettingsController* settings, QObject* parent = nullptr);
    ~DeviceMonitor() override;

    // What a scan calls; a test may put its own in place before start().
    void setProbeFunction(ProbeFunction probe) { m_probe = std::move(probe); }
    void setPortListFunction(PortListFunction ports) { m_portList = std::move(ports); }

    // Starts the port-change watcher, the poll and the first full scan.
    void start();
    void rescan();
    void pause();
    void resume();
    void requestScan(bool quiet);
    // Takes what a probe learnt as if a scan had found it (the check after a firmware restart does).
    void applyDeviceInfo(const protocol::DownloadDeviceInfo& info);
    // Stops the watcher and the poll and waits for a running scan; the destructor does it too.
    void shutdown();
    void updateStatus(const QString& text);

    bool paused() const { return m_paused; }
    bool busy() const { return m_scanning; }
    int pauseDepth() const { return m_pauseDepth; }
    quint64 scanGeneration() const { return m_scanGeneration; }
    const protocol::DownloadDeviceInfo& device() const { return m_device; }
    QString connectedTacho() const { return m_connectedTacho; }
    QString devicePort() const { return m_devicePort; }
    QString statusMessage() const { return m_statusMessage; }
    bool deviceFound() const { return m_deviceFound; }
    bool actionsEnabled() const { return m_actionsEnabled; }
    bool calibrationPermitted() const { return m_calibrationPermitted; }
    bool downloadPermitted() const { return m_downloadPermitted; }

Q_SIGNALS:
    void deviceChanged();
    void statusChanged();
    void monitoringChanged();
    // A tachograph answered on this port (display name); the download page follows it.
    void deviceDetected(const QString& port);
    // A device came or went: the ports there are now, listed on the watcher's thread.
    void portListChanged(const QStringList& ports);

private:
    void startScan(bool quiet);
    void scheduleScanAfterCurrentProbe(bool quiet);
    void finishScan(bool found, quint64 generation, bool quiet);
    void clearDeviceInfo();
    void startWatcher(bool quietScans);

    QmlSettingsController* m_settings;
    ProbeFunction m_probe;
    PortListFunction m_portList;
    std::unique_ptr<platform::PortChangeWatcher> m_watcher;
    QTimer* m_monitorTimer = nullptr;

    std::atomic_bool m_scanStop{false};
    bool m_scanning = false;
    bool m_paused = false;
    int m_pauseDepth = 0;
    int m_retriesLeft = 0;
    quint64 m_monitorGeneration = 0;
    quint64 m_scanGeneration = 0;
    bool m_scanPending = false;
    bool m_scanPendingQuiet = false;
    bool m_scanRetimerArmed = false;
    QThread* m_scanThread = nullptr;

    protocol::DownloadDeviceInfo m_device;
    QString m_connectedTacho;
    QString m_devicePort;
    QString m_statusMessage = QStringLiteral("Ожидание...");
    bool m_deviceFound = false;
    bool m_actionsEnabled = false;
    bool m_calibrationPermitted = false;
    bool m_downloadPermitted = false;
};

} // namespace tachoria::qml
