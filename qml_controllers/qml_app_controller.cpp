#include "qml_controllers/qml_app_controller.h"

#include "firmware/tachograph_firmware_workflow.h"
#include "logging/application_logger.h"
#include "platform/screen_awake.h"
#include "protocol/serial_port_catalog.h"
#include "qml_controllers/device_monitor.h"
#include "qml_controllers/firmware_updater.h"
#include "qml_controllers/qml_helpers.h"
#include "qml_controllers/qml_settings_controller.h"
#include "qml_controllers/startup_catalogs.h"
#include "qml_controllers/update_checker.h"
#include "qml_controllers/update_status.h"
#include "storage/app_paths.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QPointer>
#include <QSaveFile>
#include <QThread>
#include <QTimer>
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
    m_calibration = new QmlCalibrationController(m_settings, this, this);
    m_download = new QmlDownloadController(m_settings, this);
    m_documents = new QmlDocumentsController(this, this);
    m_ddd = new QmlDddController(this);
    // A page test must never touch a port.
    if (QCoreApplication::arguments().contains(QStringLiteral("--qml-pages-test")))
        m_settings->setScanPorts(false);

    m_monitor = new DeviceMonitor(m_settings, this);
    connect(m_monitor, &DeviceMonitor::deviceChanged, this, &QmlAppController::deviceChanged);
    connect(m_monitor, &DeviceMonitor::statusChanged, this, &QmlAppController::statusChanged);
    connect(m_monitor, &DeviceMonitor::monitoringChanged, this, &QmlAppController::monitoringChanged);
    // A download goes to the port where the tachograph answered.
    connect(m_monitor, &DeviceMonitor::deviceDetected, m_download, &QmlDownloadController::setPort);
    // The settings page lists the ports there are, also those that came after the start.
    connect(m_monitor, &DeviceMonitor::portListChanged, this,
            [this](const QStringList& ports) { m_settings->setAvailablePorts(withDevicePort(ports)); });
    // Whether a transfer may go over this endpoint follows the device.
    connect(m_monitor, &DeviceMonitor::deviceChanged, this, &QmlAppController::firmwareUpdateChanged);

    m_updates = new UpdateChecker(this);
    m_updates->setPublisher(PublisherSource::fromDeployment());
    connect(m_updates, &UpdateChecker::tachoriaUpdateChanged, this, &QmlAppController::tachoriaUpdateChanged);
    connect(m_updates, &UpdateChecker::firmwareVersionPublished, this, [this] {
        Q_EMIT deviceChanged();
        Q_EMIT firmwareUpdateChanged();
    });
    // The installer takes over: the program leaves it the way.
    connect(m_updates, &UpdateChecker::installerLaunched, this,
            [] { QTimer::singleShot(300, QCoreApplication::instance(), &QCoreApplication::quit); });

    m_firmware = new FirmwareUpdater(m_monitor, m_settings, this);
    m_firmware->setTransportAvailable([this] { return firmwareUpdateTransportAvailable(); });
    m_firmware->setExpectedVersion([this] { return m_updates->availableFirmwareVersion(); });
    connect(m_firmware, &FirmwareUpdater::changed, this, &QmlAppController::firmwareUpdateChanged);
}

QmlAppController::~QmlAppController()
{
    m_updates->abort();
    m_firmware->shutdown();
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
    return firmwareVersionStatus(tachographSoftwareVersion(), m_updates->publishedFirmwareValue());
}

QString QmlAppController::availableFirmwareVersion() const
{
    return m_updates->availableFirmwareVersion();
}
bool QmlAppController::firmwareUpdateRunning() const
{
    return m_firmware->running();
}
bool QmlAppController::firmwareUpdateFinished() const
{
    return m_firmware->finished();
}
QString QmlAppController::firmwareUpdateStatus() const
{
    return m_firmware->status();
}
double QmlAppController::firmwareUpdateProgress() const
{
    return m_firmware->progress();
}
QString QmlAppController::availableTachoriaVersion() const
{
    return m_updates->availableTachoriaVersion();
}
bool QmlAppController::tachoriaUpdateAvailable() const
{
    return m_updates->tachoriaUpdateAvailable();
}
QString QmlAppController::tachoriaUpdateState() const
{
    return m_updates->tachoriaUpdateState();
}
double QmlAppController::tachoriaUpdateProgress() const
{
    return m_updates->tachoriaUpdateProgress();
}

bool QmlAppController::firmwareUpdateAvailable() const
{
    return qml::firmwareUpdateAvailable(tachographSoftwareVersion(), m_updates->publishedFirmwareValue());
}

bool QmlAppController::firmwareUpdateTransportAvailable() const
{
    return deviceFound() && !devicePort().isEmpty() && m_settings && !m_settings->useRalona() &&
           firmware::TachographFirmwareWorkflow::isDirectTransport(devicePort());
}

QString QmlAppController::tachoriaUpdateStatus() const
{
    return programVersionStatus(applicationVersion(), m_updates->availableTachoriaVersion());
}

QString QmlAppController::publisherSite() const
{
    return m_updates->publisherSite();
}

void QmlAppController::startTachoriaUpdate()
{
    m_updates->startTachoriaUpdate();
}

void QmlAppController::beginTachographFirmwareTransfer(const QByteArray& image)
{
    m_firmware->beginTachographFirmwareTransfer(image);
}

void QmlAppController::startTachographFirmwareUpdate()
{
    const QString category = QStringLiteral("firmware.update");
    if (m_firmware->running())
        return;
    if (!firmwareUpdateTransportAvailable()) {
        m_firmware->setStatus(QStringLiteral(
            "Подключите тахограф напрямую по COM или USB VCOM; Bluetooth и Ралона не поддерживаются"));
        logging::ApplicationLogger::write(
            logging::Level::Warning, category,
            QStringLiteral("Обновление остановлено: нет доступного прямого COM/USB VCOM-подключения"));
        return;
    }
    m_firmware->setRunning(true);
    m_firmware->setFinished(false);
    logging::ApplicationLogger::write(
        logging::Level::Info, category,
        QStringLiteral("Пользователь запустил обновление; endpoint=%1; localDebug=false").arg(devicePort()));
    if (!firmwareUpdateAvailable()) {
        m_firmware->setRunning(false);
        m_firmware->setStatus(QStringLiteral("Не найдена более новая версия прошивки"));
        logging::ApplicationLogger::write(
            logging::Level::Warning, category,
            QStringLiteral("Скачивание не начато: новая версия прошивки не определена"));
        return;
    }
    constexpr double kExpectedMegabytes = 0.671744;
    const QLocale russian(QLocale::Russian, QLocale::Russia);
    logging::ApplicationLogger::write(
        logging::Level::Info, category,
        QStringLiteral("Начато скачивание прошивки: version=%1; url=%2; expectedBytes=%3")
            .arg(availableFirmwareVersion(), m_updates->firmwareUrl().toString())
            .arg(UpdateChecker::kFirmwareBytes));
    m_firmware->setProgress(0.0);
    m_firmware->setStatus(
        QStringLiteral("Скачивание прошивки: %1 / %2 МБ")
            .arg(russian.toString(0.0, 'f', 2), russian.toString(kExpectedMegabytes, 'f', 2)));
    QPointer<QmlAppController> self(this);
    m_updates->downloadFirmware(
        [self, category](const QByteArray& image, const QString& error) {
            if (!self)
                return;
            if (!error.isEmpty()) {
                self->m_firmware->setRunning(false);
                self->m_firmware->setStatus(QStringLiteral("Не удалось скачать прошивку: %1").arg(error));
                logging::ApplicationLogger::write(
                    logging::Level::Error, category,
                    QStringLiteral("Ошибка скачивания прошивки: %1").arg(error));
                return;
            }
            logging::ApplicationLogger::write(
                logging::Level::Info, category,
                QStringLiteral("Скачивание завершено: receivedBytes=%1").arg(image.size()));
            self->beginTachographFirmwareTransfer(image);
        },
        [self, category, russian](qint64 received, qint64 total) {
            if (!self)
                return;
            const double totalMegabytes = total >= 1 ? total / 1000000.0 : kExpectedMegabytes;
            const double progress = std::clamp(double(received) / UpdateChecker::kFirmwareBytes, 0.0, 1.0);
            self->m_firmware->setProgress(progress);
            self->m_firmware->setStatus(QStringLiteral("Скачивание прошивки: %1 / %2 МБ")
                                            .arg(russian.toString(received / 1000000.0, 'f', 2),
                                                 russian.toString(totalMegabytes, 'f', 2)));
            logging::ApplicationLogger::write(
                logging::Level::Info, category,
                QStringLiteral("Скачивание: received=%1; total=%2; progress=%3%")
                    .arg(received)
                    .arg(total)
                    .arg(int(progress * 100)));
        });
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
    m_calibration->initializeVehicleCatalog();
    m_updates->startFirmwareVersionCheck();
    m_updates->startTachoriaVersionCheck();
    startCatalogThread();
    m_monitor->start();
}

} // namespace tachoria::qml
