#include "qml_controllers/qml_calibration_controller.h"

#include "calibration/calibration_workflow.h"
#include "logging/application_logger.h"
#include "qml_controllers/calibration_form.h"
#include "qml_controllers/calibration_parameter_model.h"
#include "qml_controllers/qml_app_controller.h"
#include "qml_controllers/qml_settings_controller.h"
#include "storage/vehicle_configuration_repository.h"

#include <QSet>
#include <QThread>

#include <algorithm>

namespace tachoria::qml {

using calibration::CalibrationParameter;
using calibration::CalibrationParameterCodec;
using calibration::CalibrationSettings;
using calibration::CalibrationWorkflow;
using calibration::ParameterAccess;
using logging::ApplicationLogger;
using logging::Level;

namespace {

const QString kManufacturerHead = QStringLiteral("-- Выберите производителя --");
const QString kModelHead = QStringLiteral("-- Выберите модель --");
const QString kCanVinEnabled = QStringLiteral("CANvehicleIdentificationNumberEnabled");
const QString kCanVin = QStringLiteral("CANvehicleIdentificationNumber");

QString orElse(const QString& text, const QString& fallback)
{
    return text.isEmpty() ? fallback : text;
}

QVariantMap entry(const QVariant& id, const QString& name)
{
    return {{QStringLiteral("id"), id}, {QStringLiteral("name"), name}};
}

// A list value's parts, padded with "0" to `count`.
QStringList partsOf(const QString& text, int count, const QString& fallback)
{
    QStringList parts = (text.isEmpty() ? fallback : text).split(QLatin1Char(';'));
    while (parts.size() < count)
        parts.append(QStringLiteral("0"));
    return parts;
}

} // namespace

QmlCalibrationController::QmlCalibrationController(QmlSettingsController* settings, QmlAppController* app,
                                                   QObject* parent)
    : QObject(parent)
    , m_settings(settings)
    , m_app(app)
    , m_parameterModel(new CalibrationParameterModel(this))
    , m_valueMap(new QQmlPropertyMap(this))
{
    m_vehicleManufacturers.append(entry(-1, kManufacturerHead));
    m_thread = new QThread(this);
    m_thread->setObjectName(QStringLiteral("calibration-worker"));
    m_workflow = new CalibrationWorkflow;
    m_workflow->moveToThread(m_thread);
    // The workflow and its tester-present timer end with their thread.
    connect(m_thread, &QThread::finished, m_workflow, &QObject::deleteLater);
    connect(m_workflow, &CalibrationWorkflow::progress, this,
            [this](const QString& text, int, int) { onProgress(text); });
    connect(m_workflow, &CalibrationWorkflow::testerPresentFailed, this,
            &QmlCalibrationController::onTesterPresentFailed);
    m_thread->start();
}

QmlCalibrationController::~QmlCalibrationController()
{
    m_cancelSourceSearch = true;
    m_workflow->requestStop();
    CalibrationWorkflow* workflow = m_workflow;
    QMetaObject::invokeMethod(
        workflow, [workflow] { workflow->stopCommunication(); }, Qt::BlockingQueuedConnection);
    m_thread->quit();
    m_thread->wait();
    if (m_catalogThread)
        m_catalogThread->wait();
}

QAbstractItemModel* QmlCalibrationController::parameterModel() const
{
    return m_parameterModel;
}

CalibrationSettings QmlCalibrationController::settings() const
{
    CalibrationSettings settings;
    if (m_settings) {
        settings.port = m_settings->calibrationPort();
        settings.baud = m_settings->calibrationBaud();
        settings.ralonaPort = m_settings->ralonaPort();
        settings.ralonaBaud = 10400;
        settings.useRalona = m_settings->useRalona();
        settings.tachoriaName = m_settings->tachoriaName();
        settings.tachoriaAddress =
            QStringLiteral("%1, %2, %3")
                .arg(m_settings->tachoriaStreet(), m_settings->tachoriaCity(), m_settings->tachoriaPost());
        settings.tachoriaCodeFbu = m_settings->tachoriaMark().trimmed().toInt();
    }
    // The journal row names the master's card and the crypto module the unit reported.
    if (m_app) {
        settings.masterCardNumber = m_app->masterCardNumber();
        settings.skziNumber = m_app->skziNumber();
    }
    return settings;
}

void QmlCalibrationController::runJob(const QString& status, Job job, Done done)
{
    m_busy = true;
    m_lastError.clear();
    m_statusText = status;
    Q_EMIT stateChanged();
    const quint64 generation = m_generation;
    CalibrationWorkflow* workflow = m_workflow;
    QMetaObject::invokeMethod(
        workflow,
        [this, workflow, generation, job = std::move(job), done = std::move(done)] {
            const JobResult result = job(*workflow);
            QMetaObject::invokeMethod(
                this,
                [this, generation, result, done] {
                    if (generation == m_generation)
                        done(result);
                },
                Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
}

void QmlCalibrationController::finishJob()
{
    m_busy = false;
    Q_EMIT stateChanged();
}

void QmlCalibrationController::setError(const QString& text)
{
    m_lastError = text;
    m_statusText = text;
    Q_EMIT stateChanged();
}

void QmlCalibrationController::setStatus(const QString& text)
{
    m_statusText = text;
    Q_EMIT stateChanged();
}

void QmlCalibrationController::onProgress(const QString& text)
{
    if (text.startsWith(QLatin1String("TesterPresent:")))
        return;
    setStatus(text);
}

void QmlCalibrationController::onTesterPresentFailed(const QString& text)
{
    ApplicationLogger::write(Level::Warning, QStringLiteral("calibration"),
                             QStringLiteral("Не удалось поддержать диагностическую сессию: %1").arg(text),
                             QStringLiteral("tester-present"));
    const QString failure = QStringLiteral("Не удалось подтвердить связь с тахографом. Проверьте, что он "
                                           "включён и соединение активно, затем подключитесь повторно.");
    setError(failure);
    Q_EMIT message(failure);
}

// Reading and writing

void QmlCalibrationController::read()
{
    if (m_busy || m_impulseCounting)
        return;
    m_connected = false;
    m_readCompleted = false;
    m_writtenRecordId = -1;
    const CalibrationSettings current = settings();
    runJob(
        QStringLiteral("Чтение параметров тахографа..."),
        [current](CalibrationWorkflow& workflow) {
            JobResult result;
            workflow.configure(current);
            result.ok = workflow.readCalibration(&result.error);
            result.connected = workflow.isConnected();
            if (result.ok)
                result.parameters = workflow.parameters();
            return result;
        },
        [this](const JobResult& result) {
            m_connected = result.connected;
            if (result.ok) {
                refreshParameters(result.parameters);
                m_readCompleted = true;
                m_statusText = QStringLiteral("Чтение завершено");
            } else {
                setError(orElse(result.error, QStringLiteral("Не удалось прочитать параметры тахографа")));
            }
            finishJob();
        });
}

bool QmlCalibrationController::validateParameters(bool skipVehicleRegistration)
{
    m_validationErrors.clear();
    QStringList lines;
    for (const CalibrationParameter& parameter : std::as_const(m_parameters)) {
        if (skipVehicleRegistration && parameter.name == QLatin1String("VehicleRegistrationNumber"))
            continue;
        if (!parameter.available || parameter.access == ParameterAccess::ReadOnly)
            continue;
        // The shop's own code goes to the unit whatever the form shows.
        const QString text = parameter.name == QLatin1String("ReadTachoriaCodeFBU")
                                 ? QString::number(settings().tachoriaCodeFbu)
                                 : parameterValue(parameter.name);
        QString reason;
        if (!CalibrationParameterCodec::validateDisplayValue(parameter, text, &reason)) {
            m_validationErrors.insert(parameter.name, reason);
            lines << QStringLiteral("%1: %2").arg(parameterLabel(parameter.name), reason);
        }
    }
    if (lines.isEmpty())
        return true;
    m_lastError = QStringLiteral("Запись не начата. Исправьте отмеченные красным параметры:\n%1")
                      .arg(lines.join(QLatin1Char('\n')));
    m_statusText = QStringLiteral("Проверка не пройдена: исправьте параметры");
    Q_EMIT stateChanged();
    Q_EMIT validationFailed(m_lastError);
    return false;
}

void QmlCalibrationController::write(bool skipVehicleRegistration)
{
    if (m_busy || !m_readCompleted || m_impulseCounting)
        return;
    if (!validateParameters(skipVehicleRegistration))
        return;
    const QList<CalibrationParameter> form = m_parameters;
    const int hour = m_localTimeHour;
    const int minute = m_localTimeMinute;
    runJob(
        QStringLiteral("Запись параметров тахографа..."),
        [form, hour, minute, skipVehicleRegistration](CalibrationWorkflow& workflow) {
            JobResult result;
            workflow.replaceParameters(form);
            workflow.setTimeDateCorrections(hour, minute);
            result.ok = workflow.writeCalibration(&result.error, skipVehicleRegistration);
            result.connected = workflow.isConnected();
            result.recordId = workflow.calibrationRecordId();
            return result;
        },
        [this, skipVehicleRegistration](const JobResult& result) {
            // The unit has ended the session: the form must read again.
            m_connected = result.connected;
            m_readCompleted = false;
            if (result.ok) {
                m_writtenRecordId = result.recordId;
                m_statusText = QStringLiteral("Запись завершена");
                finishJob();
                Q_EMIT writeSucceeded(skipVehicleRegistration
                                          ? QStringLiteral("Настройки тахографа успешно записаны. Рег. номер "
                                                           "не изменялся.")
                                          : QStringLiteral("Настройки тахографа успешно записаны."));
                return;
            }
            const QString failure = orElse(result.error, QStringLiteral("Не удалось записать параметры"));
            setError(failure);
            finishJob();
            Q_EMIT message(failure);
        });
}

// Measurements

void QmlCalibrationController::startAdjustment()
{
    if (m_busy || !m_connected || m_impulseCounting)
        return;
    runJob(
        QStringLiteral("Переключение в режим настройки..."),
        [](CalibrationWorkflow& workflow) {
            JobResult result;
            result.ok = workflow.startAdjustmentSession(&result.error);
            result.connected = workflow.isConnected();
            return result;
        },
        [this](const JobResult& result) {
            if (result.ok)
                m_statusText = QStringLiteral("Режим настройки тахографа включён");
            else
                setError(orElse(result.error, QStringLiteral("Не удалось включить режим настройки")));
            finishJob();
        });
}

void QmlCalibrationController::startImpulses()
{
    if (m_busy || !m_connected || m_impulseCounting)
        return;
    runJob(
        QStringLiteral("Запуск подсчёта импульсов..."),
        [](CalibrationWorkflow& workflow) {
            JobResult result;
            result.ok = workflow.startCountImpulses(&result.error);
            return result;
        },
        [this](const JobResult& result) {
            if (result.ok) {
                m_impulseCounting = true;
                m_statusText = QStringLiteral("Подсчёт импульсов запущен");
            } else {
                setError(orElse(result.error, QStringLiteral("Не удалось запустить подсчёт импульсов")));
            }
            finishJob();
        });
}

void QmlCalibrationController::stopImpulses()
{
    if (m_busy || !m_connected || !m_impulseCounting)
        return;
    runJob(
        QStringLiteral("Чтение счётчика импульсов..."),
        [](CalibrationWorkflow& workflow) {
            JobResult result;
            result.ok = workflow.stopCountImpulses(result.count, &result.error);
            return result;
        },
        [this](const JobResult& result) {
            if (result.ok) {
                m_impulses = result.count;
                m_impulseCounting = false;
                m_statusText = QStringLiteral("Импульсы: %1").arg(result.count);
            } else {
                setError(orElse(result.error, QStringLiteral("Не удалось прочитать счётчик импульсов")));
            }
            finishJob();
        });
}

void QmlCalibrationController::resetImpulseMeasurement()
{
    if (m_busy || m_impulseCounting)
        return;
    m_impulses = 0;
    m_lastError.clear();
    Q_EMIT stateChanged();
}

bool QmlCalibrationController::saveMeasuredK(int value)
{
    if (m_impulseCounting) {
        setError(QStringLiteral("Сначала остановите подсчёт импульсов"));
        return false;
    }
    if (m_busy)
        return false;
    if (value < 2400) {
        setError(QStringLiteral("Недопустимый Кф!!!"));
        return false;
    }
    if (!setParameterValue(QStringLiteral("kConstantOfRecordingEquipment"), QString::number(value)))
        return false;
    m_lastError.clear();
    setStatus(QStringLiteral("Кф сохранён: %1").arg(value));
    return true;
}

void QmlCalibrationController::clearCanDetection()
{
    m_canDetectionAvailable = false;
    m_canDetectedSpeed = -1;
    m_canDetectedIdentifier = -1;
    m_canDetectedBus = -1;
    m_canResult.clear();
}

void QmlCalibrationController::detectCan(int can)
{
    if (m_busy || !m_connected)
        return;
    clearCanDetection();
    const int channel = std::clamp(can, 0, 1);
    runJob(
        QStringLiteral("Автоопределение CAN%1...").arg(channel + 1),
        [channel](CalibrationWorkflow& workflow) {
            JobResult result;
            result.ok = workflow.startAdjustmentSession(&result.error) &&
                        workflow.detectCanSpeed(channel, result.bytes, &result.error);
            result.connected = workflow.isConnected();
            return result;
        },
        [this](const JobResult& result) {
            m_connected = result.connected;
            const quint8 first = result.bytes.isEmpty() ? 0 : static_cast<quint8>(result.bytes.at(0));
            if (result.ok && (first & 0xE0) == 0xE0) {
                m_canDetectionAvailable = true;
                m_canDetectedBus = (first >> 4) & 1;
                m_canDetectedIdentifier = (first >> 3) & 1;
                m_canDetectedSpeed = first & 7;
                m_canResult = QStringLiteral("CAN%1: %2")
                                  .arg((first & 0x10) ? 2 : 1)
                                  .arg(QString::fromLatin1(result.bytes.toHex(' ').toUpper()));
                m_statusText = QStringLiteral("Автоопределение CAN завершено");
                finishJob();
                return;
            }
            clearCanDetection();
            if (!result.error.isEmpty())
                ApplicationLogger::write(
                    Level::Warning, QStringLiteral("can"),
                    QStringLiteral("Автоопределение скорости CAN не удалось: %1").arg(result.error),
                    QStringLiteral("detect"));
            const QString reason = result.error.toLower();
            if ((!result.bytes.isEmpty() && (first & 0xE0) == 0xA0) ||
                reason.contains(QLatin1String("timeout")) ||
                reason.contains(QStringLiteral("таймаут автоопределения скорости can")))
                setError(
                    QStringLiteral("Не удалось определить скорость CAN: выбранная шина может быть не "
                                   "подключена или на ней нет обмена данными. Проверьте подключение CAN и "
                                   "убедитесь, что блоки автомобиля передают сообщения по этой шине, затем "
                                   "повторите поиск."));
            else if (reason.contains(QStringLiteral("отказ в автоматическом определении скорости can")))
                setError(
                    QStringLiteral("Тахограф не разрешил запустить автоопределение CAN. Возможно, эта "
                                   "функция не поддерживается моделью или недоступна в текущем режиме."));
            else
                setError(QStringLiteral("Не удалось определить скорость CAN. Проверьте подключение и "
                                        "активность обмена на выбранной CAN-шине, затем повторите поиск."));
            finishJob();
        });
}

bool QmlCalibrationController::applyDetectedCan(int can)
{
    if (!m_canDetectionAvailable || m_canDetectedSpeed < 0 || m_canDetectedIdentifier < 0)
        return false;
    const int channel = std::clamp(can, 0, 1);
    const QString name = channel == 0 ? QStringLiteral("CAN1") : QStringLiteral("CAN2");
    QString enabled = parameterValue(name).split(QLatin1Char(';')).value(0);
    if (enabled.isEmpty())
        enabled = QStringLiteral("0");
    if (!setParameterValue(
            name,
            QStringLiteral("%1;%2;%3").arg(enabled).arg(m_canDetectedSpeed).arg(m_canDetectedIdentifier)))
        return false;
    setStatus(QStringLiteral("CAN%1: параметры автоопределения применены").arg(channel + 1));
    return true;
}

void QmlCalibrationController::findSourceSpeed()
{
    if (m_busy || !m_connected)
        return;
    m_cancelSourceSearch = false;
    m_sourceSearchRunning = true;
    runJob(
        QStringLiteral("Поиск источников скорости..."),
        [this](CalibrationWorkflow& workflow) {
            JobResult result;
            // Each mask seen so far reaches the dialog while the search goes on.
            const auto seen = [this](int mask) {
                QMetaObject::invokeMethod(
                    this,
                    [this, mask] {
                        m_sourceSpeedMask = (m_sourceSpeedMask < 0 ? 0 : m_sourceSpeedMask) | mask;
                        Q_EMIT stateChanged();
                    },
                    Qt::QueuedConnection);
            };
            result.ok = workflow.startAdjustmentSession(&result.error) &&
                        workflow.findSourceSpeed(result.bytes, &result.error, seen);
            result.connected = workflow.isConnected();
            return result;
        },
        [this](const JobResult& result) {
            m_connected = result.connected;
            const bool cancelled = m_cancelSourceSearch;
            const bool found = result.ok && result.bytes.size() >= 2 &&
                               static_cast<quint8>(result.bytes.at(0)) < 255 &&
                               static_cast<quint8>(result.bytes.at(1)) < 255;
            if (!cancelled && found) {
                m_statusText = QStringLiteral("Источники скорости определены");
            } else if (cancelled) {
                m_lastError.clear();
                if (m_connected)
                    m_statusText = QStringLiteral("Поиск источников скорости отменён");
            } else {
                m_sourceSpeedMask = -1;
                setError(orElse(result.error, QStringLiteral("Источник скорости не определён")));
            }
            m_cancelSourceSearch = false;
            m_sourceSearchRunning = false;
            finishJob();
        });
}

void QmlCalibrationController::cancelSourceSpeedSearch()
{
    if (!m_sourceSearchRunning)
        return;
    m_cancelSourceSearch = true;
    m_workflow->requestStop();
    CalibrationWorkflow* workflow = m_workflow;
    QMetaObject::invokeMethod(
        workflow, [workflow] { workflow->clearStopRequest(); }, Qt::QueuedConnection);
}

bool QmlCalibrationController::applyDetectedSourceSpeed(int sourceIndex)
{
    if (sourceIndex < 0 || sourceIndex > 3 || m_sourceSpeedMask < 0 ||
        !(m_sourceSpeedMask & (1 << sourceIndex))) {
        setError(QStringLiteral("Выбранный источник скорости не обнаружен"));
        return false;
    }
    if (!setParameterValue(QStringLiteral("SourceSpeed"), QStringLiteral("%1;0").arg(1 << sourceIndex)))
        return false;
    setStatus(QStringLiteral("Источник скорости: %1").arg(sourceIndex));
    return true;
}

void QmlCalibrationController::stop()
{
    m_cancelSourceSearch = true;
    m_workflow->requestStop();
    CalibrationWorkflow* workflow = m_workflow;
    QMetaObject::invokeMethod(
        workflow, [workflow] { workflow->stopCommunication(); }, Qt::BlockingQueuedConnection);
    ++m_generation;
    m_cancelSourceSearch = false;
    m_sourceSearchRunning = false;
    m_readCompleted = false;
    m_connected = false;
    m_impulseCounting = false;
    m_busy = false;
    m_parameters.clear();
    m_pendingValues.clear();
    m_validationErrors.clear();
    m_parameterModel->clear();
    syncValues();
    m_statusText = QStringLiteral("Связь закрыта");
    Q_EMIT stateChanged();
}

// The form

void QmlCalibrationController::refreshParameters(const QList<CalibrationParameter>& parameters)
{
    m_parameters = parameters;
    m_pendingValues.clear();
    m_validationErrors.clear();
    m_parameterModel->replace(m_parameters);
    syncValues();
    if (const CalibrationParameter* clock = findParameter(QStringLiteral("TimeDate"))) {
        m_localTimeHour = clock->hourCorrection;
        m_localTimeMinute = clock->minuteCorrection;
    }
}

int QmlCalibrationController::parameterIndex(const QString& name) const
{
    for (int index = 0; index < m_parameters.size(); ++index) {
        if (m_parameters.at(index).name == name)
            return index;
    }
    return -1;
}

const CalibrationParameter* QmlCalibrationController::findParameter(const QString& name) const
{
    const int index = parameterIndex(name);
    return index < 0 ? nullptr : &m_parameters.at(index);
}

void QmlCalibrationController::syncValues()
{
    QSet<QString> present;
    for (const CalibrationParameter& parameter : std::as_const(m_parameters)) {
        present.insert(parameter.name);
        const QString text = parameterValue(parameter.name);
        if (m_valueMap->value(parameter.name) != QVariant(text))
            m_valueMap->insert(parameter.name, text);
    }
    for (const QString& name : m_valueMap->keys()) {
        if (!present.contains(name) && m_valueMap->value(name).isValid())
            m_valueMap->clear(name);
    }
}

QVariantMap QmlCalibrationController::values() const
{
    QVariantMap map;
    for (const CalibrationParameter& parameter : m_parameters)
        map.insert(parameter.name, parameterValue(parameter.name));
    return map;
}

QString QmlCalibrationController::parameterValue(const QString& name) const
{
    const auto pending = m_pendingValues.constFind(name);
    if (pending != m_pendingValues.constEnd())
        return *pending;
    const CalibrationParameter* parameter = findParameter(name);
    return parameter ? CalibrationParameterCodec::displayValue(*parameter) : QString();
}

int QmlCalibrationController::parameterMaximumLength(const QString& name) const
{
    return qml::parameterMaximumLength(name);
}

QString QmlCalibrationController::parameterHint(const QString& name) const
{
    return qml::parameterHint(name);
}

bool QmlCalibrationController::parameterSupported(const QString& name) const
{
    const CalibrationParameter* parameter = findParameter(name);
    return parameter && parameter->available;
}

void QmlCalibrationController::setParameter(int index, const QString& value)
{
    if (index < 0 || index >= m_parameters.size()) {
        setError(QStringLiteral("Неверный параметр"));
        return;
    }
    CalibrationParameter& parameter = m_parameters[index];
    const QString name = parameter.name;
    if (CalibrationParameterCodec::setDisplayValue(parameter, value)) {
        m_pendingValues.remove(name);
        m_parameterModel->updateValue(index, parameter);
    } else {
        // The bad text stays in the form; the write names it.
        m_pendingValues.insert(name, value);
        m_parameterModel->updateValue(index, parameter, value);
    }
    m_validationErrors.remove(name);
    m_lastError.clear();
    // W always follows K.
    if (name == QLatin1String("kConstantOfRecordingEquipment")) {
        const int w = parameterIndex(QStringLiteral("wVehicleCharacteristicConstant"));
        if (w >= 0 && m_parameters.at(w).available &&
            CalibrationParameterCodec::setDisplayValue(m_parameters[w],
                                                       CalibrationParameterCodec::displayValue(parameter))) {
            m_pendingValues.remove(m_parameters.at(w).name);
            m_validationErrors.remove(m_parameters.at(w).name);
            m_parameterModel->updateValue(w, m_parameters.at(w));
        }
    }
    syncValues();
    Q_EMIT stateChanged();
}

bool QmlCalibrationController::setParameterValue(const QString& name, const QString& value)
{
    const int index = parameterIndex(name);
    if (index < 0) {
        setError(QStringLiteral("Параметр %1 не найден").arg(name));
        return false;
    }
    setParameter(index, value);
    return m_lastError.isEmpty() && !m_pendingValues.contains(name);
}

void QmlCalibrationController::setLocalTimeHour(int value)
{
    setLocalTime(std::clamp(value, -23, 23), m_localTimeMinute);
}

void QmlCalibrationController::setLocalTimeMinute(int value)
{
    setLocalTime(m_localTimeHour, std::clamp(value, -59, 59));
}

void QmlCalibrationController::setLocalTime(int hour, int minute)
{
    if (hour == m_localTimeHour && minute == m_localTimeMinute)
        return;
    m_localTimeHour = hour;
    m_localTimeMinute = minute;
    // The unit's clock goes out with both offsets at the next write.
    const int index = parameterIndex(QStringLiteral("TimeDate"));
    if (index >= 0) {
        m_parameters[index].hourCorrection = hour;
        m_parameters[index].minuteCorrection = minute;
        m_parameters[index].dirty = true;
    }
    Q_EMIT stateChanged();
}

QString QmlCalibrationController::calculateTireCircumference(const QString& marking)
{
    const QString millimetres = tyreCircumference(marking);
    if (!millimetres.isEmpty())
        setStatus(QStringLiteral("L рассчитана: %1 мм").arg(millimetres));
    return millimetres;
}

// The vehicle catalogue

void QmlCalibrationController::initializeVehicleCatalog()
{
    if (m_vehicleManufacturers.size() > 1 || m_vehicleCatalogLoading)
        return;
    m_vehicleCatalogLoading = true;
    m_catalogThread = QThread::create([this] {
        storage::VehicleRepository repository;
        QList<storage::Manufacturer> catalog;
        if (repository.isOpen())
            catalog = repository.allManufacturers(true);
        if (catalog.isEmpty())
            catalog = storage::VehicleRepository::defaultManufacturers();
        QMetaObject::invokeMethod(
            this, [this, catalog] { applyCatalog(catalog); }, Qt::QueuedConnection);
    });
    m_catalogThread->setObjectName(QStringLiteral("vehicle-catalog"));
    m_catalogThread->setParent(this);
    connect(m_catalogThread, &QThread::finished, this, [this] {
        m_catalogThread->deleteLater();
        m_catalogThread = nullptr;
    });
    m_catalogThread->start();
}

void QmlCalibrationController::applyCatalog(const QList<storage::Manufacturer>& catalog)
{
    m_vehicleCatalogLoading = false;
    m_catalog = catalog;
    m_vehicleManufacturers = {entry(-1, kManufacturerHead)};
    for (const storage::Manufacturer& manufacturer : catalog)
        m_vehicleManufacturers.append(entry(manufacturer.id, manufacturer.name));
    Q_EMIT stateChanged();
}

const storage::VehicleModel* QmlCalibrationController::catalogModel(int manufacturerId, int modelId) const
{
    for (const storage::Manufacturer& manufacturer : m_catalog) {
        if (manufacturer.id != manufacturerId)
            continue;
        for (const storage::VehicleModel& model : manufacturer.models) {
            if (model.id == modelId)
                return &model;
        }
    }
    return nullptr;
}

QVariantList QmlCalibrationController::vehicleModels(int manufacturerId)
{
    initializeVehicleCatalog();
    QVariantList models{entry(-1, kModelHead)};
    for (const storage::Manufacturer& manufacturer : std::as_const(m_catalog)) {
        if (manufacturer.id != manufacturerId)
            continue;
        for (const storage::VehicleModel& model : manufacturer.models)
            models.append(entry(model.id, model.name));
    }
    return models;
}

QVariantList QmlCalibrationController::vehicleModelsForManufacturer(const QString& manufacturer)
{
    const QString name = manufacturer.trimmed();
    if (name.isEmpty() || name.startsWith(QLatin1String("--")))
        return {entry(-1, kModelHead)};
    initializeVehicleCatalog();
    QVariantList models{entry(-1, kModelHead)};
    for (const storage::Manufacturer& make : std::as_const(m_catalog)) {
        if (make.name.compare(name, Qt::CaseInsensitive) != 0)
            continue;
        for (const storage::VehicleModel& model : make.models)
            models.append(entry(model.id, model.name));
    }
    const auto saved = configurations().models(name);
    for (const auto& [id, model] : saved) {
        QVariantMap item = entry(QStringLiteral("profile:%1").arg(id), model);
        item.insert(QStringLiteral("isConfiguration"), true);
        models.append(item);
    }
    return models;
}

QVariantMap QmlCalibrationController::vehicleModelInfo(int manufacturerId, int modelId)
{
    const storage::VehicleModel* model = catalogModel(manufacturerId, modelId);
    if (!model)
        return {};
    QString make;
    for (const storage::Manufacturer& manufacturer : std::as_const(m_catalog)) {
        if (manufacturer.id == manufacturerId)
            make = manufacturer.name;
    }
    QVariantList ratios;
    for (int ratio : model->speedRatios)
        ratios.append(ratio);
    return {{QStringLiteral("manufacturer"), make},
            {QStringLiteral("model"), model->name},
            {QStringLiteral("canSpeed"), static_cast<int>(model->canSpeed)},
            {QStringLiteral("protocol"), static_cast<int>(model->protocol)},
            {QStringLiteral("tco1Period"), static_cast<int>(model->tco1Period)},
            {QStringLiteral("tco1Priority"), model->tco1Priority},
            {QStringLiteral("ratios"), ratios}};
}

bool QmlCalibrationController::applyVehicleModel(int manufacturerId, int modelId)
{
    if (manufacturerId < 0 || modelId < 0)
        return false;
    const storage::VehicleModel* found = catalogModel(manufacturerId, modelId);
    if (!found)
        return false;
    const storage::VehicleModel model = *found;
    setParameterValue(QStringLiteral("Can1Tco1Priority"), QString::number(model.tco1Priority));
    setParameterValue(QStringLiteral("CAN1_Interval_TCO1"),
                      QString::number(static_cast<int>(model.tco1Period)));
    QStringList can1 = partsOf(parameterValue(QStringLiteral("CAN1")), 3, QStringLiteral("0;0;0"));
    can1[1] = QString::number(static_cast<int>(model.canSpeed));
    can1[2] = QString::number(static_cast<int>(model.protocol));
    setParameterValue(QStringLiteral("CAN1"), can1.join(QLatin1Char(';')));
    QStringList can1Nv = partsOf(parameterValue(QStringLiteral("CAN1_NV")), 4, QStringLiteral("0;0;0;0"));
    can1Nv[0] = can1Nv[1] = can1Nv[2] = QStringLiteral("0"); // the resistor is the master's choice
    setParameterValue(QStringLiteral("CAN1_NV"), can1Nv.join(QLatin1Char(';')));
    QStringList can2 = partsOf(parameterValue(QStringLiteral("CAN2")), 3, QStringLiteral("0;0;0"));
    can2[0] = QStringLiteral("0");
    setParameterValue(QStringLiteral("CAN2"), can2.join(QLatin1Char(';')));
    setParameterValue(QStringLiteral("CAN2_NV"), QStringLiteral("0;0;0;0"));
    if (!model.speedRatios.isEmpty())
        setParameterValue(QStringLiteral("PulsesPerRevolutionOfOutputShaft"),
                          QString::number(model.speedRatios.first()));
    return true;
}

// Saved vehicle configurations

storage::VehicleConfigurationRepository& QmlCalibrationController::configurations()
{
    if (!m_configurations)
        m_configurations = std::make_unique<storage::VehicleConfigurationRepository>();
    return *m_configurations;
}

namespace {

QVariantMap configurationMap(const storage::VehicleConfiguration& configuration)
{
    return {{QStringLiteral("id"), configuration.id},
            {QStringLiteral("manufacturer"), configuration.manufacturer},
            {QStringLiteral("model"), configuration.model},
            {QStringLiteral("parameters"), configuration.parameters},
            {QStringLiteral("updatedAt"), configuration.updatedAt}};
}

} // namespace

QVariantList QmlCalibrationController::vehicleConfigurations()
{
    QVariantList list;
    for (const storage::VehicleConfiguration& configuration : configurations().all())
        list.append(configurationMap(configuration));
    return list;
}

QVariantMap QmlCalibrationController::vehicleConfiguration(int id)
{
    const auto configuration = configurations().find(id);
    return configuration ? configurationMap(*configuration) : QVariantMap();
}

bool QmlCalibrationController::vehicleConfigurationExists(const QString& manufacturer, const QString& model)
{
    return configurations().find(manufacturer.trimmed(), model.trimmed()).has_value();
}

QVariantMap QmlCalibrationController::currentConfigurationParameters() const
{
    QVariantMap parameters;
    for (const QString& name : vehicleConfigurationParameterNames()) {
        if (name == kCanVinEnabled) {
            if (parameterSupported(kCanVin))
                parameters.insert(name, parameterValue(kCanVin).trimmed().isEmpty() ? QStringLiteral("0")
                                                                                    : QStringLiteral("1"));
        } else if (parameterSupported(name)) {
            parameters.insert(name, parameterValue(name));
        }
    }
    return parameters;
}

QVariantList QmlCalibrationController::configurationFieldList(const QVariantMap& parameters) const
{
    QVariantList fields;
    for (const QString& name : vehicleConfigurationParameterNames()) {
        if (!parameters.contains(name))
            continue;
        const QString raw = parameters.value(name).toString();
        fields.append(QVariantMap{{QStringLiteral("name"), name},
                                  {QStringLiteral("label"), parameterLabel(name)},
                                  {QStringLiteral("value"), configurationValueLabel(name, raw)},
                                  {QStringLiteral("rawValue"), raw}});
    }
    return fields;
}

QVariantList QmlCalibrationController::configurationChangeList(const QVariantMap& parameters) const
{
    const QVariantMap current = currentConfigurationParameters();
    QVariantList changes;
    for (const QString& name : vehicleConfigurationParameterNames()) {
        if (!parameters.contains(name))
            continue;
        const QString target = parameters.value(name).toString();
        const bool supported =
            name == kCanVinEnabled ? parameterSupported(kCanVin) : parameterSupported(name);
        const QString now = current.value(name).toString();
        changes.append(
            QVariantMap{{QStringLiteral("name"), name},
                        {QStringLiteral("label"), parameterLabel(name)},
                        {QStringLiteral("currentValue"), supported ? configurationValueLabel(name, now)
                                                                   : QStringLiteral("не поддерживается")},
                        {QStringLiteral("targetValue"), supported ? configurationValueLabel(name, target)
                                                                  : QStringLiteral("не будет изменён")},
                        {QStringLiteral("supported"), supported},
                        {QStringLiteral("changed"), supported && now != target}});
    }
    return changes;
}

bool QmlCalibrationController::saveVehicleConfiguration(const QString& manufacturer, const QString& model)
{
    if (m_busy) {
        setError(QStringLiteral("Дождитесь завершения текущей операции с тахографом."));
        return false;
    }
    const QVariantMap parameters = currentConfigurationParameters();
    if (parameters.isEmpty()) {
        setError(QStringLiteral("Нет параметров для сохранения. Сначала прочитайте настройки тахографа."));
        return false;
    }
    for (auto it = parameters.cbegin(); it != parameters.cend(); ++it) {
        const CalibrationParameter* parameter = findParameter(it.key());
        QString reason;
        if (parameter &&
            !CalibrationParameterCodec::validateDisplayValue(*parameter, it.value().toString(), &reason)) {
            setError(QStringLiteral("Нельзя сохранить конфигурацию: «%1» — %2.")
                         .arg(parameterLabel(it.key()), reason));
            return false;
        }
    }
    int savedId = 0;
    if (!configurations().save(0, manufacturer, model, parameters, &savedId) || savedId <= 0) {
        setError(orElse(configurations().lastError(), QStringLiteral("Не удалось сохранить конфигурацию.")));
        return false;
    }
    m_lastError.clear();
    setStatus(QStringLiteral("Конфигурация %1 — %2 сохранена.").arg(manufacturer.trimmed(), model.trimmed()));
    ++m_vehicleConfigurationRevision;
    Q_EMIT vehicleConfigurationsChanged();
    return true;
}

bool QmlCalibrationController::applyVehicleConfiguration(int id)
{
    const auto configuration = configurations().find(id);
    if (!configuration) {
        setError(orElse(configurations().lastError(), QStringLiteral("Конфигурация не найдена.")));
        return false;
    }
    int applied = 0;
    // In the list's own order, so that W, which follows K, comes after it.
    for (const QString& name : vehicleConfigurationParameterNames()) {
        if (!configuration->parameters.contains(name))
            continue;
        const QString value = configuration->parameters.value(name).toString();
        if (name == kCanVinEnabled) {
            // Only whether the CAN VIN is in use travels: "0" empties this vehicle's, "1" keeps it.
            if (value == QLatin1String("0") && parameterSupported(kCanVin)) {
                if (!setParameterValue(kCanVin, QString()))
                    return false;
                ++applied;
            }
            continue;
        }
        if (!parameterSupported(name))
            continue;
        if (!setParameterValue(name, value))
            return false;
        ++applied;
    }
    setStatus(QStringLiteral("Параметры профиля применены к форме (%1). Проверьте их и нажмите «Записать» "
                             "для передачи тахографу.")
                  .arg(applied));
    return true;
}

bool QmlCalibrationController::deleteVehicleConfiguration(int id)
{
    const bool removed = configurations().remove(id);
    const QString text = removed ? QStringLiteral("Конфигурация удалена.")
                                 : QStringLiteral("Конфигурация не найдена или не удалена.");
    if (removed) {
        setStatus(text);
        ++m_vehicleConfigurationRevision;
        Q_EMIT vehicleConfigurationsChanged();
    } else {
        setError(text);
    }
    return removed;
}

} // namespace tachoria::qml
