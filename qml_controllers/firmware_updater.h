#pragma once

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QString>

#include <atomic>
#include <functional>

class QThread;

namespace tachoria::qml {

class DeviceMonitor;
class QmlSettingsController;

// The firmware transfer around the workflow: the checks before it, the worker that writes the image
// while the watch over the port is paused, and the wait for the restarted tachograph to report the
// new version. The transfer itself cannot be stopped; the wait can (the program's end stops it).
class FirmwareUpdater : public QObject
{
    Q_OBJECT

public:
    static constexpr int kImageBytes = 671744;
    static constexpr int kPortWaitMs = 100;

    FirmwareUpdater(DeviceMonitor* monitor, QmlSettingsController* settings, QObject* parent = nullptr);
    ~FirmwareUpdater() override;

    // Whether a transfer may go over this endpoint at all.
    void setTransportAvailable(std::function<bool()> available)
    {
        m_transportAvailable = std::move(available);
    }
    // The version published for this tachograph, which the restarted unit must report.
    void setExpectedVersion(std::function<QString()> expected) { m_expectedVersion = std::move(expected); }

    void beginTachographFirmwareTransfer(const QByteArray& image);
    void startFirmwareWorker(const QString& port, int baud, const QByteArray& image);
    void startFirmwareVersionVerification(const QString& port, int baud, const QString& expected);
    // Stops a running verification and waits for the workers; the program's end calls it.
    void shutdown();

    bool running() const { return m_running; }
    bool finished() const { return m_finished; }
    QString status() const { return m_status; }
    double progress() const { return m_progress; }
    // For the others' "busy" decisions: set while a transfer or its check runs.
    void setRunning(bool running);
    void setFinished(bool finished);
    void setStatus(const QString& status);
    void setProgress(double progress);

Q_SIGNALS:
    void changed();

private:
    void workerFinished(bool success, const QString& error, const QString& port, int baud);

    DeviceMonitor* m_monitor;
    QPointer<QmlSettingsController> m_settings;
    std::function<bool()> m_transportAvailable;
    std::function<QString()> m_expectedVersion;
    bool m_running = false;
    bool m_finished = false;
    QString m_status;
    double m_progress = 0.0;
    QThread* m_worker = nullptr;
    QThread* m_verification = nullptr;
    std::atomic_bool m_stop{false};
};

} // namespace tachoria::qml
