#include "calibration/calibration_workflow.h"

#include "logging/application_logger.h"
#include "storage/calibration_repository.h"

#include <QElapsedTimer>
#include <QThread>
#include <QTimer>

#include <algorithm>

namespace tachoria::calibration {

using logging::ApplicationLogger;
using logging::Level;

namespace {

const QString kCategory = QStringLiteral("calibration");

bool fail(QString* error, const QString& text)
{
    if (error)
        *error = text;
    return false;
}

QString didText(quint16 did)
{
    return QStringLiteral("0x") + QStringLiteral("%1").arg(did, 4, 16, QLatin1Char('0')).toUpper();
}

QString orElse(const QString& text, const QString& fallback)
{
    return text.isEmpty() ? fallback : text;
}

void sleepMs(int ms)
{
    QThread::msleep(static_cast<unsigned long>(ms));
}

} // namespace

CalibrationWorkflow::CalibrationWorkflow(QObject* parent)
    : QObject(parent)
    , m_testerPresentTimer(new QTimer(this))
{
    m_testerPresentTimer->setInterval(kTesterPresentIntervalMs);
    connect(m_testerPresentTimer, &QTimer::timeout, this, &CalibrationWorkflow::sendTesterPresent);
}

CalibrationWorkflow::~CalibrationWorkflow() = default;

void CalibrationWorkflow::configure(const CalibrationSettings& settings)
{
    m_settings = settings;
    m_stopRequested = false;
    m_client.setStopFlag(&m_stopRequested);
    ApplicationLogger::write(Level::Info, kCategory,
                             QStringLiteral("Калибровка настроена: port=%1, baud=%2, ralona=%3")
                                 .arg(settings.port)
                                 .arg(settings.baud)
                                 .arg(settings.useRalona ? QStringLiteral("true") : QStringLiteral("false")),
                             QStringLiteral("configure"));
    if (m_parameters.isEmpty())
        m_parameters = CalibrationParameterCodec::descriptors();
}

bool CalibrationWorkflow::isConnected() const
{
    return m_connected && m_client.isOpen();
}

bool CalibrationWorkflow::prepareTransport(QString* error)
{
    if (m_settings.port.trimmed().isEmpty())
        return fail(error, QStringLiteral("Не задан порт калибровки"));
    QString endpoint = m_settings.port;
    int speed = m_settings.baud;
    QSerialPort::Parity parity = QSerialPort::EvenParity;
    if (m_settings.useRalona) {
        if (m_settings.ralonaPort.trimmed().isEmpty())
            return fail(error, QStringLiteral("Не задан порт Ралоны"));
        m_ralona.configure(m_settings.ralonaPort, m_settings.ralonaBaud);
        if (!m_ralona.open(error) || !m_ralona.probe(100, error) || !m_ralona.setKLine(error) ||
            !m_ralona.startCalibration(error))
            return false;
        m_ralona.close();
        endpoint = m_settings.ralonaPort;
        speed = m_settings.ralonaBaud;
        parity = QSerialPort::NoParity;
    }
    m_client.configure(endpoint, speed, parity, QSerialPort::Data8, QSerialPort::OneStop);
    bool started = false;
    if (m_settings.useRalona) {
        // The line needs a moment to settle after the adapter switched it.
        started = m_client.open(error) && (sleepMs(350), m_client.openAndStartCommunicationViaRalona(error));
    } else {
        started = m_client.openAndStartCommunication(2, error);
    }
    if (started)
        m_connected = true;
    return started;
}

bool CalibrationWorkflow::readParameter(CalibrationParameter& parameter, QString* error)
{
    QByteArray value;
    if (m_client.readDataByIdentifier(parameter.did, value, error))
        return CalibrationParameterCodec::decode(parameter, value, error);
    // A negative answer to this very request means the unit lacks the identifier; that is normal. A
    // silence is not, even right after another identifier was refused.
    if (m_client.lastRequestAnswered() && m_client.lastResponse().sid == 0x7F) {
        parameter.available = false;
        parameter.raw.clear();
        parameter.value = QVariant();
        if (error)
            error->clear();
        return true;
    }
    return false;
}

bool CalibrationWorkflow::readCalibration(QString* error)
{
    ApplicationLogger::write(Level::Info, kCategory, QStringLiteral("Начато чтение параметров"),
                             QStringLiteral("read"));
    if (error)
        error->clear();
    stopTesterPresent();
    m_parametersRead = false;
    m_calibrationRecordId = -1;
    m_parameters = CalibrationParameterCodec::descriptors();

    QString reason;
    if (!prepareTransport(&reason)) {
        ApplicationLogger::write(Level::Error, kCategory, orElse(reason, QStringLiteral("Ошибка транспорта")),
                                 QStringLiteral("read"));
        return fail(error, reason);
    }
    const int count = static_cast<int>(m_parameters.size());
    Q_EMIT progress(QStringLiteral("Открываем стандартную диагностическую сессию"), 0, count);
    if (!m_client.startDiagnosticSession(StandardSession, nullptr, &reason)) {
        stopCommunication();
        return fail(error, reason);
    }
    for (int index = 0; index < count; ++index) {
        CalibrationParameter& parameter = m_parameters[index];
        if (parameter.access == ParameterAccess::WriteOnly)
            continue;
        Q_EMIT progress(
            QStringLiteral("Вычитывается DID %1 (%2)").arg(didText(parameter.did), parameter.name), index,
            count);
        if (!readParameter(parameter, &reason)) {
            stopCommunication();
            ApplicationLogger::write(Level::Error, kCategory, orElse(reason, QStringLiteral("Ошибка чтения")),
                                     QStringLiteral("read"));
            return fail(error, reason);
        }
        Q_EMIT progress(QStringLiteral("Прочитан DID %1 (%2)").arg(didText(parameter.did), parameter.name),
                        index + 1, count);
        sleepMs(kPauseBetweenIdentifiersMs);
    }
    m_parametersRead = true;
    startTesterPresent();
    if (error)
        error->clear();
    ApplicationLogger::write(Level::Info, kCategory,
                             QStringLiteral("Чтение параметров завершено: %1 параметров").arg(count),
                             QStringLiteral("read"));
    return true;
}

bool CalibrationWorkflow::writeParameter(const CalibrationParameter& parameter, QString* error)
{
    if (!parameter.available || parameter.access == ParameterAccess::ReadOnly)
        return true;
    const QByteArray bytes = CalibrationParameterCodec::encode(parameter, error);
    if (bytes.isEmpty())
        return false;
    return m_client.writeDataByIdentifier(parameter.did, bytes, error);
}

bool CalibrationWorkflow::writeCalibration(QString* error, bool skipRegistrationNumber)
{
    ApplicationLogger::write(Level::Info, kCategory, QStringLiteral("Начата запись параметров"),
                             QStringLiteral("write"));
    if (!m_parametersRead || !m_connected)
        return fail(error, QStringLiteral("Сначала необходимо прочитать параметры тахографа"));

    // The shop's own code goes to the unit whatever the form shows.
    if (CalibrationParameter* code = findParameter(0xF19A)) {
        code->value = m_settings.tachoriaCodeFbu;
        code->dirty = true;
    }

    QStringList problems;
    for (const CalibrationParameter& parameter : std::as_const(m_parameters)) {
        if (skipRegistrationNumber && parameter.name == QLatin1String("VehicleRegistrationNumber"))
            continue;
        if (!parameter.available || parameter.access == ParameterAccess::ReadOnly)
            continue;
        QString reason;
        if (!CalibrationParameterCodec::validate(parameter, &reason))
            problems << QStringLiteral("%1: %2").arg(parameter.name, reason);
    }
    if (!problems.isEmpty())
        return fail(error, QStringLiteral("Запись не начата. Исправьте параметры:\n%1")
                               .arg(problems.join(QLatin1Char('\n'))));

    stopTesterPresent();

    storage::CalibrationRepository repository;
    const CalibrationParameter* serial = findParameter(0xF18C);
    const QString serialNumber = serial ? CalibrationParameterCodec::displayValue(*serial) : QString();
    m_calibrationRecordId = repository.startCalibrationRecord(
        serialNumber, m_settings.tachoriaCodeFbu, 4, m_settings.tachoriaName, m_settings.tachoriaAddress,
        m_settings.tachoriaCardExpiryDate);
    if (m_calibrationRecordId <= 0)
        return fail(error,
                    QStringLiteral("Не удалось открыть запись калибровки: %1").arg(repository.lastError()));

    const auto failure = [&](const QString& text) {
        repository.finishCalibrationRecord(m_calibrationRecordId, false, text);
        stopCommunication();
        return fail(error, text);
    };
    const int count = static_cast<int>(m_parameters.size());
    QString reason;
    if (!m_client.startDiagnosticSession(ProgrammingSession, nullptr, &reason))
        return failure(orElse(reason, QStringLiteral("Ошибка сессии программирования")));
    Q_EMIT progress(QStringLiteral("Запрашиваем SecurityAccess"), 0, count);
    if (!m_client.securityAccess(SecurityAccessRequestSeed, nullptr, &reason))
        return failure(orElse(reason, QStringLiteral("Отказано в доступе")));

    for (int index = 0; index < count; ++index) {
        const CalibrationParameter& parameter = m_parameters.at(index);
        if (skipRegistrationNumber && parameter.name == QLatin1String("VehicleRegistrationNumber")) {
            Q_EMIT progress(QStringLiteral("Запись рег. номера пропущена по подтверждению пользователя"),
                            index + 1, count);
            continue;
        }
        Q_EMIT progress(
            QStringLiteral("Записывается DID %1 (%2)").arg(didText(parameter.did), parameter.name), index,
            count);
        reason.clear();
        if (!writeParameter(parameter, &reason))
            return failure(QStringLiteral("Ошибка записи параметра %1: %2").arg(parameter.name, reason));
        if (parameter.available) {
            const QVariantMap fields = CalibrationParameterCodec::databaseFields(parameter);
            if (!fields.isEmpty())
                repository.updateCalibrationFields(m_calibrationRecordId, fields);
        }
        Q_EMIT progress(QStringLiteral("Записан DID %1 (%2)").arg(didText(parameter.did), parameter.name),
                        index + 1, count);
        sleepMs(kPauseBetweenIdentifiersMs);
    }
    repository.updateCardNumbers(m_calibrationRecordId, m_settings.masterCardNumber, m_settings.skziNumber);
    repository.finishCalibrationRecord(m_calibrationRecordId, true, QStringLiteral("Успешно"));
    stopCommunication();
    return true;
}

bool CalibrationWorkflow::startAdjustmentSession(QString* error)
{
    if (!m_connected)
        return fail(error, QStringLiteral("Тахограф не подключен"));
    const bool timerWasRunning = m_testerPresentTimer->isActive();
    if (!m_client.startDiagnosticSession(AdjustmentSession, nullptr, error))
        return false;
    if (!timerWasRunning)
        startTesterPresent();
    return true;
}

bool CalibrationWorkflow::startCountImpulses(QString* error)
{
    if (!m_connected)
        return fail(error, QStringLiteral("Тахограф не подключен"));
    return m_client.securityAccess(SecurityAccessRequestSeed, nullptr, error) &&
           m_client.writeDataByIdentifier(CountImpulses, QByteArray(4, '\0'), error);
}

bool CalibrationWorkflow::stopCountImpulses(quint32& count, QString* error)
{
    QByteArray bytes;
    if (!m_client.readDataByIdentifier(CountImpulses, bytes, error))
        return false;
    if (bytes.size() < 4)
        return fail(error, QStringLiteral("Счетчик импульсов вернул меньше 4 байт"));
    count = 0;
    for (int i = 0; i < 4; ++i)
        count = (count << 8) | static_cast<quint8>(bytes.at(i));
    return true;
}

bool CalibrationWorkflow::startSearchSourceSpeed(QString* error)
{
    if (!m_connected)
        return fail(error, QStringLiteral("Тахограф не подключен"));
    return m_client.securityAccess(SecurityAccessRequestSeed, nullptr, error) &&
           m_client.writeDataByIdentifier(SourceSpeed, QByteArray::fromHex("00AA"), error);
}

bool CalibrationWorkflow::readSourceSpeed(QByteArray& bytes, QString* error)
{
    return m_client.readDataByIdentifier(SourceSpeed, bytes, error);
}

bool CalibrationWorkflow::waitUnlessStopped(int ms) const
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
        if (m_stopRequested)
            return false;
        sleepMs(static_cast<int>(std::min<qint64>(50, ms - timer.elapsed())));
    }
    return !m_stopRequested;
}

bool CalibrationWorkflow::findSourceSpeed(QByteArray& out, QString* error,
                                          const std::function<void(int)>& callback)
{
    out.clear();
    const auto stopped = [error] {
        if (error)
            error->clear();
        return false;
    };
    if (m_stopRequested)
        return stopped();
    if (!startSearchSourceSpeed(error))
        return m_stopRequested ? stopped() : false;
    QElapsedTimer timer;
    timer.start();
    if (!waitUnlessStopped(1000))
        return stopped();
    const auto seenMask = [](const QByteArray& bytes) { return static_cast<quint8>(bytes.at(1)) & 0x0F; };
    while (timer.elapsed() < 20000) {
        if (!waitUnlessStopped(1000))
            return stopped();
        QByteArray bytes;
        if (!readSourceSpeed(bytes, error)) {
            if (m_stopRequested)
                return stopped();
            if (m_client.lastResponse().sid == 0x7F) {
                out = QByteArray::fromHex("FFFF"); // the search is over and found nothing
                return true;
            }
            if (out.size() >= 2 && seenMask(out) > 14)
                return true;
            continue;
        }
        out = bytes;
        if (out.size() >= 2) {
            if (callback)
                callback(seenMask(out));
            if (seenMask(out) > 14)
                return true;
        }
    }
    if (error)
        error->clear();
    return true;
}

bool CalibrationWorkflow::detectCanSpeed(int channel, QByteArray& out, QString* error)
{
    const QString category = QStringLiteral("can");
    ApplicationLogger::write(Level::Info, category,
                             QStringLiteral("Начато автоопределение CAN%1").arg(channel + 1),
                             QStringLiteral("detect"));
    out.clear();
    if (error)
        error->clear();
    if (!m_connected)
        return fail(error, QStringLiteral("Тахограф не подключен"));
    QString reason;
    if (!m_client.securityAccess(SecurityAccessRequestSeed, nullptr, &reason))
        return fail(error, reason.isEmpty() ? reason : QStringLiteral("SecurityAccess: %1").arg(reason));
    if (!m_client.testerPresent(nullptr, &reason))
        return fail(error, reason.isEmpty() ? reason : QStringLiteral("TesterPresent: %1").arg(reason));
    if (!m_client.writeDataByIdentifier(AutoDetectCanSpeed, QByteArray(1, static_cast<char>(channel)),
                                        &reason)) {
        const protocol::ServiceFrame& last = m_client.lastResponse();
        if (last.sid == 0x7F) {
            const quint8 code = last.data.isEmpty() ? 0 : static_cast<quint8>(last.data.back());
            return fail(error, code == 0 ? QStringLiteral("Отказ в автоматическом определении скорости CAN!")
                                         : QStringLiteral(
                                               "Отказ в автоматическом определении скорости CAN! (NRC 0x%1)")
                                               .arg(code, 2, 16, QLatin1Char('0'))
                                               .toUpper());
        }
        return fail(error, reason.isEmpty() ? reason : QStringLiteral("StartDetectCanSpeed: %1").arg(reason));
    }
    sleepMs(500);
    for (int attempt = 0; attempt < 100; ++attempt) {
        QByteArray result;
        if (m_client.readDataByIdentifier(AutoDetectCanSpeed, result, &reason)) {
            const auto first = result.isEmpty() ? 0 : static_cast<quint8>(result.at(0));
            if (!result.isEmpty() && ((first & 0xE0) == 0xE0 || (first & 0xA0) == 0xA0)) {
                out = result;
                return true;
            }
        } else if (m_client.lastResponse().sid == 0x7F) {
            if (error)
                error->clear();
            return true;
        } else {
            return fail(error,
                        reason.isEmpty() ? reason : QStringLiteral("ReadDetectCanSpeed: %1").arg(reason));
        }
        sleepMs(100);
    }
    return fail(error, QStringLiteral("Таймаут автоопределения скорости CAN"));
}

void CalibrationWorkflow::stopCommunication()
{
    ApplicationLogger::write(Level::Info, kCategory, QStringLiteral("Закрытие связи с тахографом"),
                             QStringLiteral("stop"));
    m_stopRequested = false;
    stopTesterPresent();
    if (m_connected) {
        ApplicationLogger::write(Level::Info, kCategory, QStringLiteral("Отправка StopCommunication"),
                                 QStringLiteral("stop"));
        QString reason;
        if (!m_client.stopCommunication(nullptr, &reason))
            ApplicationLogger::write(
                Level::Warning, kCategory,
                QStringLiteral("Не удалось корректно завершить связь с тахографом: %1").arg(reason),
                QStringLiteral("stop"));
    }
    m_client.close();
    m_ralona.close();
    sleepMs(50);
    m_connected = false;
    m_parametersRead = false;
    m_stopRequested = false;
}

bool CalibrationWorkflow::setDisplayValue(int index, const QString& text, QString* error)
{
    if (index < 0 || index >= m_parameters.size())
        return fail(error, QStringLiteral("Неверный индекс параметра"));
    return CalibrationParameterCodec::setDisplayValue(m_parameters[index], text, error);
}

CalibrationParameter* CalibrationWorkflow::findParameter(quint16 did)
{
    const auto it = std::find_if(m_parameters.begin(), m_parameters.end(),
                                 [&](const CalibrationParameter& parameter) { return parameter.did == did; });
    return it == m_parameters.end() ? nullptr : &*it;
}

const CalibrationParameter* CalibrationWorkflow::findParameter(quint16 did) const
{
    const auto it = std::find_if(m_parameters.cbegin(), m_parameters.cend(),
                                 [&](const CalibrationParameter& parameter) { return parameter.did == did; });
    return it == m_parameters.cend() ? nullptr : &*it;
}

void CalibrationWorkflow::setTimeDateCorrections(int hour, int minute)
{
    if (CalibrationParameter* clock = findParameter(0xF90B)) {
        clock->hourCorrection = std::clamp(hour, -23, 23);
        clock->minuteCorrection = std::clamp(minute, -59, 59);
        clock->dirty = true;
    }
}

int CalibrationWorkflow::timeDateCorrectionHour() const
{
    const CalibrationParameter* clock = findParameter(0xF90B);
    return clock ? clock->hourCorrection : 3;
}

int CalibrationWorkflow::timeDateCorrectionMinute() const
{
    const CalibrationParameter* clock = findParameter(0xF90B);
    return clock ? clock->minuteCorrection : 0;
}

void CalibrationWorkflow::startTesterPresent()
{
    if (!m_connected)
        return;
    m_testerPresentTimer->start();
    Q_EMIT progress(QStringLiteral("TesterPresent: поток запущен"), 0, 0);
}

void CalibrationWorkflow::stopTesterPresent()
{
    m_testerPresentTimer->stop();
}

void CalibrationWorkflow::sendTesterPresent()
{
    if (!m_connected)
        return;
    Q_EMIT progress(QStringLiteral("TesterPresent: поддержание диагностической сессии"), 0, 0);
    QString reason;
    if (m_client.testerPresent(nullptr, &reason)) {
        Q_EMIT progress(QStringLiteral("TesterPresent: сессия активна"), 0, 0);
        return;
    }
    m_testerPresentTimer->stop();
    Q_EMIT testerPresentFailed(reason);
}

} // namespace tachoria::calibration
