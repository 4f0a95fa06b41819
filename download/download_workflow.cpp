#include "download/download_workflow.h"

#include "cards/external_card_auth.h"
#include "logging/application_logger.h"
#include "protocol/byte_order.h"
#include "protocol/ralona_client.h"
#include "storage/app_paths.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStringList>
#include <QTimeZone>

#include <algorithm>
#include <utility>

namespace tachoria::download {

using logging::ApplicationLogger;
using logging::Level;
using protocol::ServiceFrame;
using protocol::TachographClient;

namespace {

const QString kCategory = QStringLiteral("download");
constexpr int kAttempts = 3;
constexpr int kTimeoutMs = 2000;
constexpr int kUnexpectedAnswer = 0x12345678;
constexpr int kTempWriteFailed = -2;

void log(Level level, const QString& message, const QString& operation = QStringLiteral("run"))
{
    ApplicationLogger::write(level, kCategory, message, operation);
}

// The state of one run: the link, the files so far, and what the blocks told about the vehicle.
class DownloadRun
{
public:
    DownloadRun(const DownloadSettings& settings, const DownloadOptions& options,
                const std::atomic_bool& stop, const DownloadWorkflow::StatusCallback& status,
                const DownloadWorkflow::ProgressCallback& progress)
        : m_settings(settings)
        , m_options(options)
        , m_stop(stop)
        , m_status(status)
        , m_progress(progress)
    {
    }

    DownloadResult execute();

private:
    DownloadResult fail(const QString& text);
    void status(const QString& text) const
    {
        if (m_status)
            m_status(text);
    }
    bool connect(QString& failure);
    bool raiseBaud(QString& failure);
    int step(quint8 type);
    bool flush(quint8 type, const QByteArray& buffer);
    void takeIdentifiers(quint8 type, const QByteArray& block);
    void countNkmFrame(const ServiceFrame& frame);
    bool stepSucceeds(quint8 type, QString& failure);
    bool writeFinalFile(QString& failure);

    const DownloadSettings& m_settings;
    const DownloadOptions& m_options;
    const std::atomic_bool& m_stop;
    const DownloadWorkflow::StatusCallback& m_status;
    const DownloadWorkflow::ProgressCallback& m_progress;

    TachographClient m_client;
    cards::ExternalCardAuth m_cardAuth;
    QList<int> m_ladder = DownloadWorkflow::baudLadder();
    int m_rateIndex = 0;
    int m_maxIndex = 0;
    QString m_port;
    qint64 m_begin = 0;
    qint64 m_end = 0;
    QStringList m_tempNames;
    DownloadResult m_result;

    bool m_nkmCounterAsked = false;
    bool m_nkmCounterKnown = false;
    quint32 m_nkmTotal = 0;
    quint32 m_nkmBlocks = 0;
};

DownloadResult DownloadRun::fail(const QString& text)
{
    m_result.success = false;
    m_result.errorText = text;
    status(text);
    log(Level::Error, text);
    if (m_options.authenticateCard) {
        m_cardAuth.eject(m_client);
        m_cardAuth.disconnect();
    }
    if (m_client.isOpen())
        m_client.stopCommunication();
    m_client.close();
    return m_result;
}

bool DownloadRun::connect(QString& failure)
{
    QString lastText;
    for (int index = m_rateIndex; index <= m_maxIndex; ++index) {
        if (m_stop) {
            failure = QStringLiteral("Операция остановлена");
            return false;
        }
        m_client.configure(m_port, m_ladder.at(index), QSerialPort::EvenParity, QSerialPort::Data8,
                           QSerialPort::OneStop);
        if (!m_client.open(&lastText))
            continue;
        const RequestResult reply = DownloadWorkflow::sendService(m_client, 0x81, {}, &m_stop, 1, kTimeoutMs);
        if (reply.replied && reply.responseCode == 0xC1) {
            m_rateIndex = index;
            return true;
        }
        lastText = reply.errorText;
        m_client.close();
    }
    failure = lastText.isEmpty() ? QStringLiteral("Нет ответа тахографа")
                                 : QStringLiteral("Нет ответа тахографа: %1").arg(lastText);
    return false;
}

bool DownloadRun::raiseBaud(QString& failure)
{
    for (int index = m_rateIndex + 1; index <= m_maxIndex; ++index) {
        const QByteArray request = QByteArray::fromHex("0101") + QByteArray(1, static_cast<char>(index));
        const RequestResult reply =
            DownloadWorkflow::sendService(m_client, 0x87, request, &m_stop, kAttempts, kTimeoutMs);
        if (reply.replied && reply.responseCode == 0xC7) {
            // The switch itself gets no answer: the unit changes its rate as soon as it has the frame.
            ServiceFrame transition;
            transition.sid = 0x87;
            transition.data = QByteArray::fromHex("0203");
            QString error;
            if (!m_client.transport().writeService(transition, &error)) {
                failure = QStringLiteral("Не выполнен LinkControlService2: %1").arg(error);
                return false;
            }
            m_client.close();
            m_client.configure(m_port, m_ladder.at(index), QSerialPort::EvenParity, QSerialPort::Data8,
                               QSerialPort::OneStop);
            if (!m_client.open(&error)) {
                failure = QStringLiteral("Не удалось открыть порт на скорости %1: %2")
                              .arg(m_ladder.at(index))
                              .arg(error);
                return false;
            }
            m_rateIndex = index;
            continue;
        }
        if (reply.replied && reply.responseCode == 0x31) {
            log(Level::Warning,
                QStringLiteral("Тахограф не разрешил повышение скорости до %1 бод (ответ 0x31); "
                               "продолжаем на текущей скорости %2 бод")
                    .arg(m_ladder.at(index))
                    .arg(m_ladder.at(m_rateIndex)));
            return true;
        }
        failure = QStringLiteral("Не выполнен LinkControlService1%1")
                      .arg(reply.replied ? QStringLiteral(" (ответ 0x%1)")
                                               .arg(protocol::hexDigits(reply.responseCode, 2, true))
                                         : QString());
        return false;
    }
    return true;
}

void DownloadRun::takeIdentifiers(quint8 type, const QByteArray& block)
{
    if (type == REQUEST_OVERVIEW && block.size() > 421) {
        m_result.registration = registrationForFileName(block.mid(409, 13));
    } else if (type == REQUEST_DATA_NKM && block.size() > 91) {
        m_result.nkmSerial = DownloadWorkflow::asciiWithQuestionMarks(block.mid(76, 16))
                                 .replace(QLatin1Char('?'), QLatin1Char('_'));
    } else if (type == REQUEST_CARD_DOWNLOAD) {
        static const QByteArray marker = QByteArray::fromHex("052000008F2B");
        const qsizetype at = block.indexOf(marker);
        if (at >= 0 && at + marker.size() + 16 <= block.size())
            m_result.cardNumber = DownloadWorkflow::asciiWithQuestionMarks(block.mid(at + marker.size(), 16))
                                      .replace(QLatin1Char('?'), QLatin1Char('_'));
    }
}

bool DownloadRun::flush(quint8 type, const QByteArray& buffer)
{
    if (buffer.isEmpty())
        return true;
    QByteArray block = buffer;
    if (type != REQUEST_CARD_DOWNLOAD)
        block.prepend(QByteArray(1, '\x76') + QByteArray(1, static_cast<char>(type)));
    const QString name = DownloadWorkflow::requestName(type);
    if (!DownloadWorkflow::appendTemp(name, block))
        return false;
    if (!m_tempNames.contains(name))
        m_tempNames.append(name);
    takeIdentifiers(type, block);
    return true;
}

void DownloadRun::countNkmFrame(const ServiceFrame& frame)
{
    const bool carriesData = frame.sid == 0x76 && frame.data.size() > 1;
    if (carriesData)
        ++m_nkmBlocks;
    if (!m_nkmCounterAsked) {
        m_nkmCounterAsked = true;
        status(QStringLiteral("Выгрузка СКЗИ: получено блоков %1; ожидаем общее количество от тахографа")
                   .arg(m_nkmBlocks));
        const RequestResult reply = DownloadWorkflow::sendService(m_client, 0xC7, QByteArray::fromHex("1051"),
                                                                  &m_stop, 1, kTimeoutMs);
        QString why;
        if (!reply.replied)
            why = reply.errorText;
        else if (reply.frame.sid == 0x7F)
            why = QStringLiteral("тахограф отклонил запрос счётчика");
        else if (reply.responseCode != 0x67 ||
                 !DownloadWorkflow::parseNkmDownloadCount(reply.frame.data, m_nkmTotal))
            why = QStringLiteral("ответ имеет неверный формат");
        if (!why.isEmpty()) {
            log(Level::Warning, QStringLiteral("Не удалось получить количество блоков СКЗИ: %1").arg(why),
                QStringLiteral("nkm-download-progress"));
            status(
                QStringLiteral("Выгрузка СКЗИ продолжается без общего счётчика; точный процент недоступен"));
            return;
        }
        m_nkmCounterKnown = true;
        if (m_nkmTotal == 0) {
            status(QStringLiteral(
                "Выгрузка СКЗИ: тахограф сообщил, что блоков к загрузке нет; проверяем архив"));
            return;
        }
    }
    if (carriesData && m_nkmCounterKnown && m_nkmTotal > 0) {
        status(QStringLiteral("Выгрузка СКЗИ: %1 из %2 блоков").arg(m_nkmBlocks).arg(m_nkmTotal));
        if (m_progress)
            m_progress(DownloadWorkflow::nkmDownloadPercent(m_nkmBlocks, m_nkmTotal));
    }
}

int DownloadRun::step(quint8 type)
{
    const bool nkmBlock = type == REQUEST_DATA_NKM || type == REQUEST_ARHIV_NKM;
    const DownloadWorkflow::FrameHook hook = [this, nkmBlock](const ServiceFrame& frame) {
        if (nkmBlock)
            countNkmFrame(frame);
    };
    status(QStringLiteral("Запрашиваем %1").arg(DownloadWorkflow::requestName(type)));
    QByteArray payload;
    if (type == REQUEST_ACTIVITIES) {
        // One 76 02 block a day, as the units' own downloads have it, so that every reader reads every day.
        for (qint64 day = m_begin; day <= m_end; day += 86400) {
            const int code = DownloadWorkflow::transferData(
                m_client, type, protocol::bigEndianBytes(static_cast<quint32>(day), 4), &m_stop, payload,
                hook, m_status);
            if (code != 0)
                return code;
            if (!flush(type, payload))
                return kTempWriteFailed;
        }
        return 0;
    }
    if (type == REQUEST_ARHIV_NKM) {
        int code = 0;
        for (qint64 day = m_begin; day <= m_end; day += 86400) {
            code = DownloadWorkflow::transferData(m_client, type, {}, &m_stop, payload, hook, m_status);
            if (!flush(type, code == 0 ? payload : QByteArray()))
                return kTempWriteFailed;
            if (code != 0 && code != 127)
                return code;
        }
        return code;
    }
    const QByteArray dates = type == REQUEST_DATA_NKM
                                 ? protocol::bigEndianBytes(static_cast<quint32>(m_begin), 4) +
                                       protocol::bigEndianBytes(static_cast<quint32>(m_end), 4)
                                 : QByteArray();
    const int code = DownloadWorkflow::transferData(m_client, type, dates, &m_stop, payload, hook, m_status);
    if (!flush(type, code == 0 ? payload : QByteArray()))
        return kTempWriteFailed;
    return code;
}

bool DownloadRun::stepSucceeds(quint8 type, QString& failure)
{
    if (step(type) == 0)
        return true;
    failure = DownloadWorkflow::requestFailureText(type);
    return false;
}

bool DownloadRun::writeFinalFile(QString& failure)
{
    QString name = m_settings.filePrefix.isEmpty() ? QStringLiteral("download-") : m_settings.filePrefix;
    if (m_options.nkm)
        name += QStringLiteral("[%1]").arg(DownloadWorkflow::hexSafeName(m_result.nkmSerial));
    if (m_options.tachograph)
        name += QStringLiteral("[%1]").arg(DownloadWorkflow::hexSafeName(m_result.registration));
    if (m_options.card)
        name += QStringLiteral("[%1]").arg(DownloadWorkflow::hexSafeName(m_result.cardNumber));
    name += QStringLiteral(".ddd");

    const QDir directory(storage::AppPaths::downloadDirectory());
    directory.mkpath(QStringLiteral("."));
    // The final file appears whole or not at all.
    QSaveFile file(directory.filePath(name));
    if (!file.open(QIODevice::WriteOnly)) {
        failure = file.errorString();
        return false;
    }
    QStringList consumed;
    for (const QString& tempName : std::as_const(m_tempNames)) {
        QFile part(directory.filePath(tempName + QStringLiteral(".tmp")));
        if (!part.open(QIODevice::ReadOnly)) {
            failure = part.errorString();
            return false;
        }
        const QByteArray bytes = part.readAll();
        if (file.write(bytes) != bytes.size()) {
            failure = file.errorString();
            file.cancelWriting();
            return false;
        }
        consumed.append(part.fileName());
    }
    if (!file.commit()) {
        failure = file.errorString();
        return false;
    }
    for (const QString& path : std::as_const(consumed))
        QFile::remove(path);
    m_result.filePath = file.fileName();
    return true;
}

DownloadResult DownloadRun::execute()
{
    log(Level::Info, QStringLiteral("Начата выгрузка: port=%1, tacho=%2, card=%3")
                         .arg(m_settings.useRalona ? m_settings.ralonaPortName : m_settings.portName)
                         .arg(m_options.tachograph)
                         .arg(m_options.card));
    status(QStringLiteral("Открываем соединение с тахографом"));
    m_client.setStopFlag(&m_stop);

    QString failure;
    if (m_options.authenticateCard) {
        status(QStringLiteral("Подключаем внешнюю карту"));
        if (!m_cardAuth.readForAuth(m_settings.cardReaderName, m_settings.cardPin, &failure)) {
            m_cardAuth.disconnect();
            if (!m_cardAuth.readForAuth(m_settings.cardReaderName, m_settings.cardPin, &failure))
                return fail(failure);
        }
    }

    if (m_settings.useRalona) {
        protocol::RalonaClient ralona;
        ralona.configure(m_settings.ralonaPortName, 9600);
        QString error;
        if (!ralona.open(&error) || !ralona.probe(50, &error) || !ralona.setRs232(&error))
            return fail(error.isEmpty() ? QStringLiteral("Не найден Ралона") : error);
    }

    m_rateIndex = static_cast<int>(m_ladder.indexOf(m_settings.startBaud));
    m_maxIndex = static_cast<int>(m_ladder.indexOf(m_settings.maxBaud));
    if (m_rateIndex < 0)
        m_rateIndex = 0;
    if (m_maxIndex < 0)
        m_maxIndex = static_cast<int>(m_ladder.size()) - 1;
    if (m_rateIndex > m_maxIndex)
        std::swap(m_rateIndex, m_maxIndex);
    m_port = m_settings.useRalona ? m_settings.ralonaPortName : m_settings.portName;

    if (!connect(failure))
        return fail(failure);
    const RequestResult session =
        DownloadWorkflow::sendService(m_client, 0x10, QByteArray(1, '\x81'), &m_stop, 1, kTimeoutMs);
    if (!session.replied || session.responseCode != 0x50)
        return fail(QStringLiteral("Не выполнен StartDiagnosticSession"));
    if (m_settings.skipLinkControl)
        log(Level::Info, QStringLiteral("LinkControl пропущен для Bluetooth-выгрузки Android"),
            QStringLiteral("skip-link-control"));
    else if (!raiseBaud(failure))
        return fail(failure);

    if (m_options.authenticateCard) {
        status(QStringLiteral("Авторизуем карту в СКЗИ"));
        if (!m_cardAuth.authenticate(m_client, &failure))
            return fail(failure);
    }

    const RequestResult upload = DownloadWorkflow::sendService(m_client, 0x35,
                                                               QByteArray::fromHex("00000000"
                                                                                   "00FFFFFFFF"),
                                                               &m_stop, kAttempts, kTimeoutMs);
    if (!upload.replied || upload.responseCode != 0x75)
        return fail(QStringLiteral("Не выполнен RequestUpload"));

    QDate begin;
    QDate end;
    DownloadWorkflow::resolveDateRange(m_options, begin, end);
    m_begin = DownloadWorkflow::unixDate(begin);
    m_end = DownloadWorkflow::unixDate(end);

    if (m_options.tachograph) {
        const std::pair<bool, quint8> blocks[] = {{m_options.overview, REQUEST_OVERVIEW},
                                                  {m_options.activities, REQUEST_ACTIVITIES},
                                                  {m_options.eventsFaults, REQUEST_EVENTS_FAULTS},
                                                  {m_options.detailedSpeed, REQUEST_DETAILED_SPEED},
                                                  {m_options.technicalData, REQUEST_TECHNICAL_DATA}};
        for (const auto& [wanted, type] : blocks) {
            if (wanted && !stepSucceeds(type, failure))
                return fail(failure);
        }
        if (!stepSucceeds(REQUEST_SERTIFICAT_KEY_NKM, failure))
            return fail(failure);
        if (!m_options.skipCaCertificate && !stepSucceeds(REQUEST_SERTIFICAT_UC, failure))
            return fail(failure);
    }
    if (m_options.nkm) {
        if (!stepSucceeds(REQUEST_SERTIFICAT_KEY_NKM, failure))
            return fail(failure);
        if (!m_options.skipCaCertificate && !stepSucceeds(REQUEST_SERTIFICAT_UC, failure))
            return fail(failure);
        if (!stepSucceeds(REQUEST_DATA_NKM, failure))
            return fail(failure);
        int code = 0;
        do {
            code = step(REQUEST_ARHIV_NKM);
        } while (code == 0 && !m_stop);
        if (code != 250 && code != 127)
            return fail(DownloadWorkflow::requestFailureText(REQUEST_ARHIV_NKM));
    }
    if (m_options.card && !stepSucceeds(REQUEST_CARD_DOWNLOAD, failure))
        return fail(failure);

    const RequestResult exit =
        DownloadWorkflow::sendService(m_client, 0x37, {}, &m_stop, kAttempts, kTimeoutMs);
    if (!exit.replied || exit.responseCode != 0x77)
        return fail(QStringLiteral("Не выполнен RequestTransferExit"));
    if (!writeFinalFile(failure))
        return fail(failure);

    if (m_options.authenticateCard) {
        m_cardAuth.eject(m_client);
        m_cardAuth.disconnect();
    }
    m_client.stopCommunication();
    m_client.close();
    m_result.success = true;
    status(QStringLiteral("Выгрузка прошла успешно: %1").arg(m_result.filePath));
    log(Level::Info, QStringLiteral("Выгрузка завершена: %1").arg(m_result.filePath));
    return m_result;
}

} // namespace

QList<int> DownloadWorkflow::baudLadder()
{
    return {10400, 9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600};
}

DownloadResult DownloadWorkflow::run(const DownloadSettings& settings, const DownloadOptions& options,
                                     const std::atomic_bool& stop, const StatusCallback& status,
                                     const ProgressCallback& progress)
{
    DownloadRun run(settings, options, stop, status, progress);
    return run.execute();
}

RequestResult DownloadWorkflow::sendService(TachographClient& client, quint8 sid, const QByteArray& data,
                                            const std::atomic_bool* stop, int attempts, int timeoutMs,
                                            bool longStep)
{
    RequestResult result;
    for (int round = 0; round < std::max(attempts, 1); ++round) {
        if (stop && stop->load()) {
            result.errorText = QStringLiteral("Операция остановлена");
            return result;
        }
        ServiceFrame frame;
        QString error;
        if (!client.requestFrame(sid, data, frame, timeoutMs, &error)) {
            result.errorText = error;
            continue;
        }
        bool failedRound = false;
        const auto pending = [](const ServiceFrame& f) {
            return f.sid == 0x7F && f.data.size() >= 2 &&
                   static_cast<quint8>(f.data.at(1)) == kResponsePending;
        };
        while (pending(frame)) {
            if (!client.transport().readService(frame, longStep ? kLongPendingWaitMs : kPendingWaitMs, &error,
                                                stop)) {
                result.errorText = error;
                failedRound = true;
                break;
            }
        }
        if (failedRound)
            continue;
        result.replied = true;
        result.frame = frame;
        result.responseCode = frame.sid == 0x7F
                                  ? (frame.data.size() >= 2 ? static_cast<quint8>(frame.data.at(1)) : 0)
                                  : frame.sid;
        result.errorText.clear();
        return result;
    }
    if (result.errorText.isEmpty())
        result.errorText = QStringLiteral("Нет ответа тахографа");
    return result;
}

int DownloadWorkflow::transferData(TachographClient& client, quint8 type, const QByteArray& dates,
                                   const std::atomic_bool* stop, QByteArray& payload, const FrameHook& hook,
                                   const StatusCallback& status)
{
    payload.clear();
    // The crypto module may take many minutes over an archive block after saying it is busy.
    const bool longStep = type == REQUEST_ARHIV_NKM;
    const QByteArray request = QByteArray(1, static_cast<char>(type)) + dates;
    RequestResult reply = sendService(client, 0x36, request, stop, kAttempts, kTimeoutMs, longStep);
    if (!reply.replied)
        return -1;
    if (hook)
        hook(reply.frame);
    if (reply.frame.sid == 0x7F)
        return type == REQUEST_ARHIV_NKM && reply.responseCode == kArchiveEnd ? 250 : 127;
    if (reply.frame.sid != 0x76)
        return kUnexpectedAnswer;
    ServiceFrame frame = reply.frame;
    quint16 counter = 1;
    bool segmented = false;
    // A long block comes in segments; a length above 254 says another one follows.
    while (frame.length > 254) {
        segmented = true;
        payload.append(frame.data.mid(3));
        const QByteArray next = QByteArray::fromHex("76") + QByteArray(1, static_cast<char>(counter >> 8)) +
                                QByteArray(1, static_cast<char>(counter & 0xFF));
        reply = sendService(client, 0x83, next, stop, kAttempts, kTimeoutMs, longStep);
        if (!reply.replied)
            return -3;
        frame = reply.frame;
        if (frame.sid != 0x76)
            return kUnexpectedAnswer;
        if (hook)
            hook(frame);
        if (status)
            status(QStringLiteral("Получен пакет передачи %1").arg(counter));
        ++counter;
    }
    payload.append(frame.data.mid(segmented ? 3 : 1));
    return 0;
}

bool DownloadWorkflow::appendTemp(const QString& name, const QByteArray& bytes, QString* error)
{
    const QDir directory(storage::AppPaths::downloadDirectory());
    directory.mkpath(QStringLiteral("."));
    QFile file(directory.filePath(name + QStringLiteral(".tmp")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append) || file.write(bytes) != bytes.size()) {
        if (error)
            *error = file.errorString();
        return false;
    }
    return true;
}

void DownloadWorkflow::resolveDateRange(const DownloadOptions& options, QDate& begin, QDate& end, QDate today)
{
    if (!today.isValid())
        today = QDate::currentDate();
    begin = options.periodBegin.isValid() ? options.periodBegin : today.addDays(-7);
    end = options.periodEnd.isValid() ? options.periodEnd : today;
    if (options.periodMode == 0) {
        begin = QDate(2000, 1, 1);
        end = today;
    } else if (options.periodMode == 1 && options.sinceDate.isValid()) {
        begin = options.sinceDate;
        end = today;
    }
    if (begin > end)
        std::swap(begin, end);
}

qint64 DownloadWorkflow::unixDate(const QDate& date)
{
    return QDateTime(date, QTime(0, 0), QTimeZone::utc()).toSecsSinceEpoch();
}

QString DownloadWorkflow::hexSafeName(const QString& text)
{
    QString out = text;
    for (QChar& c : out) {
        if (c == QChar(0) || QStringLiteral("/\\:*?\"<>|").contains(c))
            c = QLatin1Char('_');
    }
    return out;
}

QString DownloadWorkflow::asciiWithQuestionMarks(const QByteArray& bytes)
{
    QString out;
    for (char c : bytes) {
        const auto byte = static_cast<quint8>(c);
        out.append(byte >= 32 && byte <= 126 ? QLatin1Char(c) : QLatin1Char('?'));
    }
    return out;
}

bool DownloadWorkflow::parseNkmDownloadCount(const QByteArray& bytes, quint32& count)
{
    if (bytes.size() != 4)
        return false;
    count = 0;
    for (char c : bytes)
        count = (count << 8) | static_cast<quint8>(c);
    return true;
}

int DownloadWorkflow::nkmDownloadPercent(quint32 done, quint32 total)
{
    if (total == 0)
        return -1;
    return static_cast<int>(std::min<quint64>(99, quint64(done) * 100 / total));
}

QString DownloadWorkflow::requestName(quint8 type)
{
    switch (type) {
    case REQUEST_OVERVIEW:
        return QStringLiteral("REQUEST_OVERVIEW");
    case REQUEST_ACTIVITIES:
        return QStringLiteral("REQUEST_ACTIVITIES");
    case REQUEST_EVENTS_FAULTS:
        return QStringLiteral("REQUEST_EVENTS_FAULTS");
    case REQUEST_DETAILED_SPEED:
        return QStringLiteral("REQUEST_DETAILED_SPEED");
    case REQUEST_TECHNICAL_DATA:
        return QStringLiteral("REQUEST_TECHNICAL_DATA");
    case REQUEST_CARD_DOWNLOAD:
        return QStringLiteral("REQUEST_CARD_DOWNLOAD");
    case REQUEST_SERTIFICAT_KEY_NKM:
        return QStringLiteral("REQUEST_SERTIFICAT_KEY_NKM");
    case REQUEST_SERTIFICAT_UC:
        return QStringLiteral("REQUEST_SERTIFICAT_UC");
    case REQUEST_DATA_NKM:
        return QStringLiteral("REQUEST_DATA_NKM");
    case REQUEST_ARHIV_NKM:
        return QStringLiteral("REQUEST_ARHIV_NKM");
    default:
        return QStringLiteral("REQUEST_%1").arg(protocol::hexDigits(type, 2, true));
    }
}

QString DownloadWorkflow::requestFailureText(quint8 type)
{
    switch (type) {
    case REQUEST_OVERVIEW:
        return QStringLiteral("Ошибка запроса обзора");
    case REQUEST_ACTIVITIES:
        return QStringLiteral("Ошибка запроса деятельности");
    case REQUEST_EVENTS_FAULTS:
        return QStringLiteral("Ошибка запроса событий");
    case REQUEST_DETAILED_SPEED:
        return QStringLiteral("Ошибка запроса скорости");
    case REQUEST_TECHNICAL_DATA:
        return QStringLiteral("Ошибка запроса технических данных");
    case REQUEST_CARD_DOWNLOAD:
        return QStringLiteral("Ошибка выгрузки карты");
    case REQUEST_SERTIFICAT_KEY_NKM:
        return QStringLiteral("Ошибка запроса сертификата НКМ");
    case REQUEST_SERTIFICAT_UC:
        return QStringLiteral("Ошибка запроса сертификата УЦ");
    case REQUEST_DATA_NKM:
        return QStringLiteral("Ошибка запроса данных СКЗИ");
    case REQUEST_ARHIV_NKM:
        return QStringLiteral("Ошибка запроса архива СКЗИ");
    default:
        return QString();
    }
}

QString registrationForFileName(const QByteArray& bytes)
{
    QString text;
    for (char c : bytes) {
        const auto byte = static_cast<quint8>(c);
        if (byte >= 32 && byte <= 126)
            text.append(QLatin1Char(c));
        else if (byte >= 0xC0)
            text.append(QChar(byte + 848)); // Windows-1251 letters А..я
        else if (byte == 0xA8)
            text.append(QChar(0x0401));
        else if (byte == 0xB8)
            text.append(QChar(0x0451));
        else
            text.append(QLatin1Char('_'));
    }
    text = text.trimmed().toUpper();
    static const QString cyrillic = QStringLiteral("АВЕКМНОРСТУХ");
    static const QString latin = QStringLiteral("ABEKMHOPCTYX");
    for (QChar& c : text) {
        const qsizetype at = cyrillic.indexOf(c);
        if (at >= 0)
            c = latin.at(at);
    }
    return text;
}

} // namespace tachoria::download
