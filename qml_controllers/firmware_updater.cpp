#include "qml_controllers/firmware_updater.h"

#include "firmware/firmware_verification.h"
#include "firmware/tachograph_firmware_workflow.h"
#include "logging/application_logger.h"
#include "qml_controllers/device_monitor.h"
#include "qml_controllers/qml_helpers.h"
#include "qml_controllers/qml_settings_controller.h"

#include <QThread>
#include <QTimer>

namespace tachoria::qml {

using firmware::TachographFirmwareWorkflow;

namespace {

const QString kCategory = QStringLiteral("firmware.update");
const QString kWaitingForPort = QStringLiteral("Ожидание освобождения COM/USB VCOM-порта...");

void record(logging::Level level, const QString& text, const QString& port = QString())
{
    logging::ApplicationLogger::write(level, kCategory, text, port);
}

} // namespace

FirmwareUpdater::FirmwareUpdater(DeviceMonitor* monitor, QmlSettingsController* settings, QObject* parent)
    : QObject(parent)
    , m_monitor(monitor)
    , m_settings(settings)
{
}

FirmwareUpdater::~FirmwareUpdater()
{
    shutdown();
}

void FirmwareUpdater::shutdown()
{
    m_stop = true;
    for (QThread** thread : {&m_worker, &m_verification}) {
        if (*thread) {
            (*thread)->wait();
            delete *thread;
            *thread = nullptr;
        }
    }
}

void FirmwareUpdater::setRunning(bool running)
{
    if (m_running == running)
        return;
    m_running = running;
    Q_EMIT changed();
}

void FirmwareUpdater::setFinished(bool finished)
{
    if (m_finished == finished)
        return;
    m_finished = finished;
    Q_EMIT changed();
}

void FirmwareUpdater::setProgress(double progress)
{
    if (m_progress == progress)
        return;
    m_progress = progress;
    Q_EMIT changed();
}

void FirmwareUpdater::setStatus(const QString& status)
{
    if (m_status == status)
        return;
    m_status = status;
    Q_EMIT changed();
}

void FirmwareUpdater::beginTachographFirmwareTransfer(const QByteArray& image)
{
    if (image.size() != kImageBytes) {
        m_running = false;
        setStatus(
            QStringLiteral("Размер прошивки — %1 байт; ожидается ровно 671744 байта. Тахограф не затронут.")
                .arg(image.size()));
        record(logging::Level::Error,
               QStringLiteral(
                   "Проверка размера не пройдена; imageBytes=%1; expectedBytes=%2; запись не начиналась")
                   .arg(image.size())
                   .arg(kImageBytes));
        Q_EMIT changed();
        return;
    }
    if (!m_transportAvailable || !m_transportAvailable()) {
        m_running = false;
        setStatus(QStringLiteral("Прямое COM/USB VCOM-подключение потеряно. Передача не начата."));
        record(logging::Level::Error,
               QStringLiteral("Прямое COM/USB VCOM-подключение потеряно до начала передачи"));
        Q_EMIT changed();
        return;
    }
    const QString port = m_monitor->devicePort();
    const int baud = m_settings ? m_settings->calibrationBaud() : 115200;
    record(logging::Level::Info,
           QStringLiteral("Файл проверен; подготовка к записи: endpoint=%1; baud=%2; imageBytes=%3")
               .arg(port)
               .arg(baud)
               .arg(image.size()),
           port);
    m_running = true;
    m_finished = false;
    m_progress = 0.0;
    setStatus(QStringLiteral("Ожидание подтверждения очистки SPI Flash..."));
    Q_EMIT changed();
    m_monitor->pause();
    startFirmwareWorker(port, baud, image);
}

void FirmwareUpdater::startFirmwareWorker(const QString& port, int baud, const QByteArray& image)
{
    // The scan worker may still hold the port: wait until it has let go.
    if (m_monitor->busy()) {
        if (!m_status.startsWith(kWaitingForPort))
            record(logging::Level::Info,
                   QStringLiteral("Ожидание завершения проверки порта перед началом записи"), port);
        setStatus(kWaitingForPort);
        QTimer::singleShot(kPortWaitMs, this,
                           [this, port, baud, image] { startFirmwareWorker(port, baud, image); });
        return;
    }
    QPointer<FirmwareUpdater> self(this);
    m_worker = QThread::create([self, port, baud, image] {
        QString error;
        const bool success = TachographFirmwareWorkflow::writeImage(
            port, baud, image,
            [self](TachographFirmwareWorkflow::ProgressStage stage, int current, int total) {
                const bool erasing = stage == TachographFirmwareWorkflow::ProgressStage::Erasing;
                const double progress = erasing ? 0.5 * current / total : 0.5 + 0.5 * current / total;
                const QString status =
                    erasing ? QStringLiteral("Очистка SPI Flash: сектор %1 из %2").arg(current).arg(total)
                            : QStringLiteral("Запись прошивки: блок %1 из %2").arg(current).arg(total);
                QMetaObject::invokeMethod(
                    self.data(),
                    [self, progress, status] {
                        if (!self)
                            return;
                        self->m_progress = progress;
                        self->m_status = status;
                        Q_EMIT self->changed();
                    },
                    Qt::QueuedConnection);
            },
            &error);
        QMetaObject::invokeMethod(
            self.data(),
            [self, success, error, port, baud] {
                if (self)
                    self->workerFinished(success, error, port, baud);
            },
            Qt::QueuedConnection);
    });
    m_worker->start();
}

void FirmwareUpdater::workerFinished(bool success, const QString& error, const QString& port, int baud)
{
    if (m_worker) {
        m_worker->wait();
        m_worker->deleteLater();
        m_worker = nullptr;
    }
    if (!success) {
        m_running = false;
        m_finished = true;
        setStatus(firmwareUpdateStatusForUser(error));
        record(logging::Level::Error,
               QStringLiteral("Рабочий поток обновления завершился ошибкой: %1").arg(error), port);
        Q_EMIT changed();
        m_monitor->resume();
        return;
    }
    m_progress = 1.0;
    setStatus(QStringLiteral(
        "Перезагрузка подтверждена. Ожидаю ответ 0x16 и появления установленной версии ПО..."));
    const QString expected = (m_expectedVersion ? m_expectedVersion() : QString()).trimmed().toUpper();
    record(logging::Level::Info,
           QStringLiteral(
               "Передача и команда перезагрузки подтверждены. Ожидается ответ 0x16; expectedSiteVersion=%1")
               .arg(expected.isEmpty() ? QStringLiteral("unavailable") : expected),
           port);
    Q_EMIT changed();
    startFirmwareVersionVerification(port, baud, expected);
}

void FirmwareUpdater::startFirmwareVersionVerification(const QString& port, int baud, const QString& expected)
{
    if (m_verification)
        return;
    m_stop = false;
    QPointer<FirmwareUpdater> self(this);
    m_verification = QThread::create([self, port, baud, expected, stop = &m_stop] {
        const firmware::VerificationResult result =
            firmware::FirmwareVersionVerification::run(port, baud, expected, stop);
        QMetaObject::invokeMethod(
            self.data(),
            [self, result, expected, port] {
                if (!self)
                    return;
                if (self->m_verification) {
                    self->m_verification->wait();
                    self->m_verification->deleteLater();
                    self->m_verification = nullptr;
                }
                if (result.stopped)
                    return;
                const firmware::VerificationOutcome outcome =
                    firmware::describeVerification(result, expected);
                logging::ApplicationLogger::write(outcome.level, kCategory, outcome.record, port);
                if (result.matched)
                    self->m_monitor->applyDeviceInfo(result.info);
                self->m_running = false;
                self->m_finished = true;
                self->setStatus(outcome.status);
                Q_EMIT self->changed();
                self->m_monitor->resume();
            },
            Qt::QueuedConnection);
    });
    m_verification->start();
}

} // namespace tachoria::qml
