#pragma once

#include "qml_controllers/qml_calibration_controller.h"
#include "qml_controllers/qml_ddd_controller.h"
#include "qml_controllers/qml_documents_controller.h"
#include "qml_controllers/qml_download_controller.h"
#include "qml_controllers/qml_settings_controller.h"

#include <QObject>
#include <QString>
#include <QVariantList>

#include <memory>

class QThread;

namespace tachoria::qml {

class DeviceMonitor;
class FirmwareUpdater;
class UpdateChecker;

// The root object QML sees as `app`: it owns the page controllers, watches the port for a tachograph
// (through DeviceMonitor), holds the status line, and lends the port to the pages that need it.
class QmlAppController : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString connectedTacho READ connectedTacho NOTIFY deviceChanged)
    Q_PROPERTY(QString skziStatus READ skziStatus NOTIFY deviceChanged)
    Q_PROPERTY(QString skziNumber READ skziNumber NOTIFY deviceChanged)
    Q_PROPERTY(QString cardStatus READ cardStatus NOTIFY deviceChanged)
    Q_PROPERTY(QString masterCardNumber READ masterCardNumber NOTIFY deviceChanged)
    Q_PROPERTY(QString tachographSoftwareVersion READ tachographSoftwareVersion NOTIFY deviceChanged)
    Q_PROPERTY(QString tachographFirmwareStatus READ tachographFirmwareStatus NOTIFY deviceChanged)
    Q_PROPERTY(QString availableFirmwareVersion READ availableFirmwareVersion NOTIFY firmwareUpdateChanged)
    Q_PROPERTY(bool firmwareUpdateAvailable READ firmwareUpdateAvailable NOTIFY firmwareUpdateChanged)
    Q_PROPERTY(bool firmwareUpdateTransportAvailable READ firmwareUpdateTransportAvailable NOTIFY
                   firmwareUpdateChanged)
    Q_PROPERTY(bool firmwareUpdateRunning READ firmwareUpdateRunning NOTIFY firmwareUpdateChanged)
    Q_PROPERTY(bool firmwareUpdateFinished READ firmwareUpdateFinished NOTIFY firmwareUpdateChanged)
    Q_PROPERTY(QString firmwareUpdateStatus READ firmwareUpdateStatus NOTIFY firmwareUpdateChanged)
    Q_PROPERTY(double firmwareUpdateProgress READ firmwareUpdateProgress NOTIFY firmwareUpdateChanged)
    Q_PROPERTY(QString tachoriaUpdateStatus READ tachoriaUpdateStatus NOTIFY tachoriaUpdateChanged)
    Q_PROPERTY(QString availableTachoriaVersion READ availableTachoriaVersion NOTIFY tachoriaUpdateChanged)
    Q_PROPERTY(bool tachoriaUpdateAvailable READ tachoriaUpdateAvailable NOTIFY tachoriaUpdateChanged)
    Q_PROPERTY(QString tachoriaUpdateState READ tachoriaUpdateState NOTIFY tachoriaUpdateChanged)
    Q_PROPERTY(double tachoriaUpdateProgress READ tachoriaUpdateProgress NOTIFY tachoriaUpdateChanged)
    Q_PROPERTY(bool tachoriaUpdateCompleted READ tachoriaUpdateCompleted NOTIFY tachoriaUpdateChanged)
    Q_PROPERTY(QString devicePort READ devicePort NOTIFY deviceChanged)
    Q_PROPERTY(QString statusMessage READ statusMessage NOTIFY statusChanged)
    Q_PROPERTY(bool deviceFound READ deviceFound NOTIFY deviceChanged)
    Q_PROPERTY(bool actionsEnabled READ actionsEnabled NOTIFY deviceChanged)
    Q_PROPERTY(bool calibrationAvailable READ calibrationAvailable NOTIFY deviceChanged)
    Q_PROPERTY(bool downloadAvailable READ downloadAvailable NOTIFY deviceChanged)
    Q_PROPERTY(QString applicationVersion READ applicationVersion CONSTANT)
    Q_PROPERTY(tachoria::qml::QmlSettingsController* settings READ settings CONSTANT)
    Q_PROPERTY(tachoria::qml::QmlCalibrationController* calibration READ calibration CONSTANT)
    Q_PROPERTY(tachoria::qml::QmlDownloadController* download READ download CONSTANT)
    Q_PROPERTY(tachoria::qml::QmlDocumentsController* documents READ documents CONSTANT)
    Q_PROPERTY(tachoria::qml::QmlDddController* ddd READ ddd CONSTANT)
    Q_PROPERTY(bool monitoringPaused READ monitoringPaused NOTIFY monitoringChanged)
    Q_PROPERTY(bool monitoringBusy READ monitoringBusy NOTIFY monitoringChanged)
    Q_PROPERTY(QVariantList bluetoothDevices READ bluetoothDevices NOTIFY bluetoothDevicesChanged)
    Q_PROPERTY(bool bluetoothSelectionRequired READ bluetoothSelectionRequired NOTIFY
                   bluetoothSelectionRequiredChanged)
    Q_PROPERTY(bool bluetoothSearchActive READ bluetoothSearchActive NOTIFY bluetoothSearchChanged)
    Q_PROPERTY(bool bluetoothLocationServiceRequired READ bluetoothLocationServiceRequired NOTIFY
                   bluetoothLocationServiceChanged)
    Q_PROPERTY(bool androidTransportSelectionRequired READ androidTransportSelectionRequired NOTIFY
                   androidTransportSelectionChanged)
    Q_PROPERTY(QString androidTransportMode READ androidTransportMode NOTIFY androidTransportSelectionChanged)
    Q_PROPERTY(bool androidTcpDebugAvailable READ androidTcpDebugAvailable CONSTANT)
    // The publisher's site as the menu names it where a newer firmware waits there.
    Q_PROPERTY(QString publisherSite READ publisherSite NOTIFY firmwareUpdateChanged)

public:
    explicit QmlAppController(QObject* parent = nullptr);
    ~QmlAppController() override;

    QString connectedTacho() const;
    QString skziStatus() const;
    QString skziNumber() const;
    QString cardStatus() const;
    QString masterCardNumber() const;
    QString tachographSoftwareVersion() const;
    QString tachographFirmwareStatus() const;
    QString availableFirmwareVersion() const;
    bool firmwareUpdateAvailable() const;
    bool firmwareUpdateTransportAvailable() const;
    bool firmwareUpdateRunning() const;
    bool firmwareUpdateFinished() const;
    QString firmwareUpdateStatus() const;
    double firmwareUpdateProgress() const;
    QString tachoriaUpdateStatus() const;
    QString availableTachoriaVersion() const;
    bool tachoriaUpdateAvailable() const;
    QString tachoriaUpdateState() const;
    double tachoriaUpdateProgress() const;
    bool tachoriaUpdateCompleted() const { return m_updateCompletedFlag; }
    QString devicePort() const;
    QString statusMessage() const;
    bool deviceFound() const;
    bool actionsEnabled() const;
    bool calibrationAvailable() const;
    bool downloadAvailable() const;
    QString applicationVersion() const;
    QmlSettingsController* settings() const { return m_settings; }
    QmlCalibrationController* calibration() const { return m_calibration; }
    QmlDownloadController* download() const { return m_download; }
    QmlDocumentsController* documents() const { return m_documents; }
    QmlDddController* ddd() const { return m_ddd; }
    bool monitoringPaused() const;
    bool monitoringBusy() const;
    QVariantList bluetoothDevices() const { return {}; }
    bool bluetoothSelectionRequired() const { return false; }
    bool bluetoothSearchActive() const { return false; }
    bool bluetoothLocationServiceRequired() const { return false; }
    bool androidTransportSelectionRequired() const { return false; }
    QString androidTransportMode() const { return {}; }
    bool androidTcpDebugAvailable() const { return false; }
    QString publisherSite() const;

    Q_INVOKABLE void rescan();
    Q_INVOKABLE void pauseDeviceMonitoring();
    Q_INVOKABLE void resumeDeviceMonitoring();
    // The phone's transports; nothing to choose on the desktop.
    Q_INVOKABLE void selectBluetoothDevice(const QString&) {}
    Q_INVOKABLE void cancelBluetoothSelection() {}
    Q_INVOKABLE void cancelBluetoothSearch() {}
    Q_INVOKABLE void openAndroidLocationSettings() {}
    Q_INVOKABLE bool openUserGuide();
    Q_INVOKABLE void selectAndroidTransport(const QString&) {}
    Q_INVOKABLE void writeDiagnosticLog(const QString& text);
    Q_INVOKABLE bool tachoriaStampConfigured() const;
    Q_INVOKABLE void quit();
    Q_INVOKABLE void startTachoriaUpdate();
    Q_INVOKABLE void startTachographFirmwareUpdate();
    // Whether the program has this page; tiles of pages still to come stay closed with the reason.
    Q_INVOKABLE bool pageAvailable(const QString& fileName) const;

    // For start-up and the other controllers, not for QML.
    void initializeAfterUi();
    void updateStatus(const QString& text);
    QStringList availablePortNames() const;
    DeviceMonitor& deviceMonitor() { return *m_monitor; }
    UpdateChecker& updateChecker() { return *m_updates; }
    FirmwareUpdater& firmwareUpdater() { return *m_firmware; }
    // Takes an image for the tachograph (downloaded, or handed in by a test) and starts the transfer.
    void beginTachographFirmwareTransfer(const QByteArray& image);

Q_SIGNALS:
    void deviceChanged();
    void statusChanged();
    void monitoringChanged();
    void bluetoothDevicesChanged();
    void bluetoothSelectionRequiredChanged();
    void bluetoothSearchChanged();
    void bluetoothLocationServiceChanged();
    void androidTransportSelectionChanged();
    void tachoriaUpdateChanged();
    void firmwareUpdateChanged();

private:
    void startCatalogThread();
    QStringList withDevicePort(QStringList ports) const;

    QmlSettingsController* m_settings = nullptr;
    QmlCalibrationController* m_calibration = nullptr;
    QmlDownloadController* m_download = nullptr;
    QmlDocumentsController* m_documents = nullptr;
    QmlDddController* m_ddd = nullptr;
    DeviceMonitor* m_monitor = nullptr;
    QThread* m_catalogThread = nullptr;
    bool m_updateCompletedFlag = false;
    bool m_afterUiDone = false;

    UpdateChecker* m_updates = nullptr;
    FirmwareUpdater* m_firmware = nullptr;
};

} // namespace tachoria::qml
