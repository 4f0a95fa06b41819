#include "qml_controllers/qml_app_controller.h"

#include "logging/application_logger.h"
#include "platform/screen_awake.h"
#include "protocol/serial_port_catalog.h"
#include "qml_controllers/device_monitor.h"
#include "qml_controllers/qml_helpers.h"
#include "qml_controllers/qml_settings_controller.h"
#include "qml_controllers/startup_catalogs.h"
#include "qml_controllers/update_status.h"
#include "storage/app_paths.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QPointer>
#include <QSaveFile>
#include <QThread>
#include <QUrl>

namespace tachoria::qml {

namespace {

const QString kManualResource = QStringLiteral(":/manuals/Tachoria_User_Manual_Windows.pdf");
const QString kManualName = QStringLiteral("Tachoria_User_Manual_Windows.pdf");

} // namespace

QmlAppController::QmlAppController(QObject* parent)
    : QObject(parent)
{
    // A long transfer must not be cut by the machine going to sleep.
    platform::setScreenAwake(true);
    storage::AppPaths::ensureDirectories();
    m_settings = new QmlSettingsController(this);
    logging::ApplicationLogger::setEnabled(m_settings->logEnabled());
    m_updateCompletedFlag = QCoreApplication::arguments().contains(QStringLiteral("--update-completed"));
    m_documents = new QmlDocumentsController(this, this);
    // A page test must never touch a port.
    if (QCoreApplication::arguments().contains(QStringLiteral("--qml-pages-test")))
        m_settings->setScanPorts(false);

    m_monitor = new DeviceMonitor(m_settings, this);
    connect(m_monitor, &DeviceMonitor::deviceChanged, this, &QmlAppController::deviceChanged);
    connect(m_monitor, &DeviceMonitor::statusChanged, this, &QmlAppController::statusChanged);
    connect(m_monitor, &DeviceMonitor::monitoringChanged, this, &QmlAppController::monitoringChanged);
    // The settings page lists the ports there are, also those that came after the start.
    connect(m_monitor, &DeviceMonitor::portListChanged, this,
            [this](const QStringList& ports) { m_settings->setAvailablePorts(withDevicePort(ports)); });
    // Whether a transfer may go over this endpoint follows the device.
    connect(m_monitor, &DeviceMonitor::deviceChanged, this, &QmlAppController::firmwareUpdateChanged);
}

QmlAppController::~QmlAppController()
{
    m_monitor->shutdown();
    if (m_catalogThread) {
        m_catalogThread->wait();
        delete m_catalogThread;
        m_catalogThread = nullptr;
    }
    platform::setScreenAwake(false);
}

QString QmlAppController::connectedTacho() const
{
    return m_monitor->connectedTacho();
}
QString QmlAppController::skziStatus() const
{
    return m_monitor->device().skziStatus;
}
QString QmlAppController::skziNumber() const
{
    return m_monitor->device().skziNumber;
}
QString QmlAppController::cardStatus() const
{
    return m_monitor->device().cardStatus;
}
QString QmlAppController::masterCardNumber() const
{
    return m_monitor->device().masterCardNumber;
}
QString QmlAppController::tachographSoftwareVersion() const
{
    return m_monitor->device().softwareVersion;
}
QString QmlAppController::devicePort() const
{
    return m_monitor->devicePort();
}
QString QmlAppController::statusMessage() const
{
    return m_monitor->statusMessage();
}
bool QmlAppController::deviceFound() const
{
    return m_monitor->deviceFound();
}
bool QmlAppController::actionsEnabled() const
{
    return m_monitor->actionsEnabled();
}
bool QmlAppController::monitoringPaused() const
{
    return m_monitor->paused();
}
bool QmlAppController::monitoringBusy() const
{
    return m_monitor->busy();
}

bool QmlAppController::calibrationAvailable() const
{
    return m_monitor->deviceFound() && m_monitor->actionsEnabled() && m_monitor->calibrationPermitted();
}

bool QmlAppController::downloadAvailable() const
{
    return m_monitor->deviceFound() && m_monitor->actionsEnabled() && m_monitor->downloadPermitted();
}

QString QmlAppController::applicationVersion() const
{
    return QCoreApplication::applicationVersion();
}

QString QmlAppController::tachographFirmwareStatus() const
{
    return firmwareVersionStatus(tachographSoftwareVersion(), m_publishedFirmwareValue);
}

bool QmlAppController::firmwareUpdateAvailable() const
{
    return qml::firmwareUpdateAvailable(tachographSoftwareVersion(), m_publishedFirmwareValue);
}

bool QmlAppController::firmwareUpdateTransportAvailable() const
{
    return deviceFound() && !devicePort().isEmpty() && m_settings && !m_settings->useRalona() &&
           protocol::SerialPortCatalog::isDirectTransport(devicePort());
}

QString QmlAppController::tachoriaUpdateStatus() const
{
    return programVersionStatus(applicationVersion(), m_availableTachoriaVersion);
}

void QmlAppController::rescan()
{
    m_monitor->rescan();
}

void QmlAppController::pauseDeviceMonitoring()
{
    m_monitor->pause();
}

void QmlAppController::resumeDeviceMonitoring()
{
    m_monitor->resume();
}

void QmlAppController::updateStatus(const QString& text)
{
    m_monitor->updateStatus(text);
}

QStringList QmlAppController::availablePortNames() const
{
    return sortedPortNames();
}

void QmlAppController::writeDiagnosticLog(const QString& text)
{
    logging::ApplicationLogger::write(logging::Level::Info, QStringLiteral("qml.bluetooth_selection"), text,
                                      QStringLiteral("selection-dialog"));
}

bool QmlAppController::tachoriaStampConfigured() const
{
    return m_settings && !m_settings->tachoriaMark().trimmed().isEmpty();
}

void QmlAppController::quit()
{
    QCoreApplication::quit();
}

bool QmlAppController::pageAvailable(const QString& fileName) const
{
    return !fileName.contains(QLatin1Char('/')) && QFile::exists(QStringLiteral(":/qml/") + fileName);
}

bool QmlAppController::openUserGuide()
{
    QFile resource(kManualResource);
    if (!resource.open(QIODevice::ReadOnly)) {
        updateStatus(QStringLiteral("Не удалось открыть PDF-инструкцию"));
        logging::ApplicationLogger::write(logging::Level::Error, QStringLiteral("help"),
                                          QStringLiteral("Не удалось прочитать встроенную инструкцию"),
                                          resource.errorString());
        return false;
    }
    const QByteArray manual = resource.readAll();
    if (manual.isEmpty()) {
        updateStatus(QStringLiteral("PDF-инструкция пуста или повреждена"));
        return false;
    }
    const QString folder = storage::AppPaths::data() + QStringLiteral("/Help");
    if (!QDir().mkpath(folder)) {
        updateStatus(QStringLiteral("Не удалось подготовить папку для инструкции"));
        return false;
    }
    QSaveFile file(folder + QLatin1Char('/') + kManualName);
    if (!file.open(QIODevice::WriteOnly) || file.write(manual) != manual.size() || !file.commit()) {
        updateStatus(QStringLiteral("Не удалось сохранить PDF-инструкцию"));
        logging::ApplicationLogger::write(logging::Level::Error, QStringLiteral("help"),
                                          QStringLiteral("Не удалось скопировать инструкцию в папку данных"),
                                          file.errorString());
        return false;
    }
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(file.fileName()))) {
        updateStatus(QStringLiteral("Не удалось открыть PDF. Проверьте наличие просмотрщика PDF."));
        return false;
    }
    updateStatus(QStringLiteral("Открыта инструкция по работе с программой"));
    return true;
}

QStringList QmlAppController::withDevicePort(QStringList ports) const
{
    // The detector's port stays selectable although the catalogue may have dropped it.
    const QString port = devicePort();
    if (deviceFound() && !port.isEmpty() && !ports.contains(port))
        ports.prepend(port);
    return ports;
}

void QmlAppController::startCatalogThread()
{
    QPointer<QmlAppController> self(this);
    QPointer<QmlSettingsController> settings(m_settings);
    m_catalogThread = QThread::create([self, settings] {
        const StartupCatalogs catalogs = collectStartupCatalogs();
        QMetaObject::invokeMethod(
            self.data(),
            [self, settings, catalogs] {
                if (!self || !settings)
                    return;
                settings->applyStartupCatalogs(self->withDevicePort(catalogs.ports), catalogs.readers,
                                               catalogs.printers, catalogs.masters, catalogs.customers);
            },
            Qt::QueuedConnection);
    });
    m_catalogThread->start();
}

void QmlAppController::initializeAfterUi()
{
    if (m_afterUiDone)
        return;
    m_afterUiDone = true;
    startCatalogThread();
    m_monitor->start();
}

} // namespace tachoria::qml
