#include "sync/usb_sync_session.h"

#include "logging/application_logger.h"
#include "sync/mtp_sync_transport.h"
#include "sync/synchronization_manager.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QThread>
#include <QUuid>

#include <algorithm>

namespace tachoria::sync {

namespace {

using logging::ApplicationLogger;
using logging::Level;

const QString kArea = QStringLiteral("sync.mtp");
const QString kCancelled = QStringLiteral("Синхронизация отменена");
const QString kHostMark = QStringLiteral("TACHORIA_MTP_HOST");
const QString kJoinMark = QStringLiteral("TACHORIA_MTP_JOIN");
constexpr qint64 kFutureToleranceMs = 120000;
constexpr qint64 kStaleAfterMs = 300000;
constexpr int kCancelCheckMs = 50;

bool writeText(const QString& path, const QString& text, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(text.toUtf8()) < 0 ||
        !file.flush()) {
        if (error)
            *error =
                QStringLiteral("Не удалось сохранить результат синхронизации: %1").arg(file.errorString());
        return false;
    }
    return true;
}

QString readText(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// One call of run: the transport, the two ids and the names formed with them.
class SessionRun
{
public:
    SessionRun(bool isPc, SyncTransport& transport, const UsbSyncSession::Timing& timing,
               const std::atomic<bool>& cancel, const ProgressCallback& progress)
        : m_isPc(isPc)
        , m_transport(transport)
        , m_timing(timing)
        , m_cancel(cancel)
        , m_progress(progress)
    {
    }

    UsbSyncResult run()
    {
        ApplicationLogger::write(Level::Info, kArea,
                                 m_isPc ? QStringLiteral("Запуск MTP-синхронизации на ПК")
                                        : QStringLiteral("Запуск MTP-синхронизации на телефоне"),
                                 QStringLiteral("start"));
        QString error;
        if (!m_transport.open(m_cancel, m_progress, &error)) {
            ApplicationLogger::write(Level::Error, kArea, error, QStringLiteral("open-failed"));
            m_result.message = error;
            return m_result;
        }
        m_localId = UsbSyncSession::makeSessionId();
        nameExchangeFiles(m_localId);
        QDir().mkpath(SynchronizationManager::syncDirectory());
        report(QStringLiteral("Подготовка локальной базы к слиянию…"));
        const SyncResult exported = SynchronizationManager::exportPackage(QString());
        if (!exported.success)
            return failure(exported.message);
        return m_isPc ? runPc() : runPhone(exported.packagePath);
    }

private:
    enum class Wait
    {
        Found,
        TimedOut,
        Cancelled,
        Failed,
    };

    void nameExchangeFiles(const QString& id)
    {
        m_request = QStringLiteral("Request_%1.tsync").arg(id);
        m_response = QStringLiteral("Response_%1.tsync").arg(id);
        m_resultName = QStringLiteral("Result_%1.txt").arg(id);
        m_ack = QStringLiteral("Ack_%1.txt").arg(id);
    }

    QString local(const QString& shortName) const
    {
        return SynchronizationManager::syncDirectory() +
               QStringLiteral("/Mtp_%1_%2").arg(m_localId, shortName);
    }

    void report(const QString& text)
    {
        if (m_progress)
            m_progress(text);
    }

    // Sleeps one poll period, looking at cancel meanwhile.
    void pause()
    {
        for (int slept = 0; slept < m_timing.pollMs && !m_cancel; slept += kCancelCheckMs)
            QThread::msleep(unsigned(std::min(kCancelCheckMs, m_timing.pollMs - slept)));
    }

    // Polls the listing until one of the names is there; a negative timeout waits until cancel.
    Wait waitForAny(const QStringList& names, int timeoutMs, const QString& reportText, QStringList* present)
    {
        QElapsedTimer elapsed;
        elapsed.start();
        qint64 nextReport = m_timing.reportMs;
        for (;;) {
            if (m_cancel)
                return Wait::Cancelled;
            QStringList listing;
            if (!m_transport.listFiles(&listing, &m_error))
                return Wait::Failed;
            present->clear();
            for (const QString& name : names) {
                if (listing.contains(name))
                    present->append(name);
            }
            if (!present->isEmpty())
                return Wait::Found;
            if (timeoutMs >= 0 && elapsed.elapsed() >= timeoutMs)
                return Wait::TimedOut;
            if (!reportText.isEmpty() && elapsed.elapsed() >= nextReport) {
                report(reportText);
                nextReport += m_timing.reportMs;
            }
            pause();
        }
    }

    // Found, or the failure's text in m_error.
    bool waitForFile(const QString& name, int timeoutMs, const QString& reportText,
                     const QString& timeoutText)
    {
        QStringList present;
        switch (waitForAny({name}, timeoutMs, reportText, &present)) {
        case Wait::Found:
            return true;
        case Wait::TimedOut:
            m_error = timeoutText;
            return false;
        case Wait::Cancelled:
            m_error = kCancelled;
            return false;
        case Wait::Failed:
            return false;
        }
        return false;
    }

    // Fetches a marker and gives its trimmed line; the local copy goes at once.
    bool fetchText(const QString& remote, const QString& shortName, QString* text)
    {
        const QString path = local(shortName);
        if (!m_transport.download(remote, path, &m_error))
            return false;
        *text = readText(path).trimmed();
        QFile::remove(path);
        return true;
    }

    bool sendText(const QString& text, const QString& shortName, const QString& remote)
    {
        const QString path = local(shortName);
        const bool sent = writeText(path, text, &m_error) && m_transport.upload(path, remote, &m_error);
        QFile::remove(path);
        return sent;
    }

    void removeIfPresent(const QString& remote) { m_transport.remove(remote, nullptr); }

    UsbSyncResult failure(const QString& text)
    {
        ApplicationLogger::write(
            Level::Error, kArea,
            QStringLiteral("failed; host=%1; join=%2; %3").arg(m_hostName, m_joinName, text),
            QStringLiteral("failed"));
        if (m_isPc && !m_hostName.isEmpty()) {
            removeIfPresent(m_hostName);
            removeIfPresent(m_joinName);
        }
        m_transport.close();
        m_result.success = false;
        m_result.message = text;
        return m_result;
    }

    UsbSyncResult success(const QString& importMessage)
    {
        m_transport.close();
        m_result.success = true;
        m_result.message = QStringLiteral("Слияние по MTP завершено. %1").arg(importMessage);
        report(m_result.message);
        return m_result;
    }

    UsbSyncResult runPc()
    {
        const QString host = UsbSyncSession::makeSessionId();
        m_hostName = QStringLiteral("Host_%1.txt").arg(host);
        m_joinName = QStringLiteral("Join_%1.txt").arg(host);
        report(QStringLiteral("Объявление активного сеанса телефонам через MTP…"));
        const QString hostFile = local(QStringLiteral("host.txt"));
        const bool announced = writeText(hostFile, QStringLiteral("%1|%2").arg(kHostMark, host), &m_error) &&
                               m_transport.uploadToAllFolders(hostFile, m_hostName, &m_error);
        QFile::remove(hostFile);
        if (!announced)
            return failure(m_error);

        report(QStringLiteral("Ожидание подтверждения телефона для активного сеанса…"));
        if (!waitForFile(
                m_joinName, m_timing.meetMs,
                QStringLiteral("Телефон подключён. Ожидание подтверждения именно этого сеанса…"),
                QStringLiteral("Истекло время ожидания файла %1 от второго устройства.").arg(m_joinName)))
            return failure(m_error);
        QString join;
        if (!fetchText(m_joinName, QStringLiteral("join.txt"), &join))
            return failure(m_error);
        const QStringList parts = join.split(QLatin1Char('|'), Qt::KeepEmptyParts);
        if (parts.size() != 3 || parts.at(0) != kJoinMark || parts.at(1) != host ||
            !UsbSyncSession::isValidSessionId(parts.at(2)))
            return failure(QStringLiteral("Телефон прислал некорректное подтверждение MTP-сеанса."));
        nameExchangeFiles(parts.at(2));

        report(QStringLiteral("Сеанс подтверждён; ожидание пакета телефона…"));
        if (!waitForFile(
                m_request, m_timing.stepMs, QString(),
                QStringLiteral("Истекло время ожидания файла %1 от второго устройства.").arg(m_request)))
            return failure(m_error);
        report(QStringLiteral("Получение пакета телефона…"));
        const QString phonePackage = local(QStringLiteral("phone.tsync"));
        if (!m_transport.download(m_request, phonePackage, &m_error))
            return failure(m_error);
        report(QStringLiteral("Слияние баз и файлов на компьютере…"));
        const SyncResult merged = SynchronizationManager::importPackage(phonePackage);
        QFile::remove(phonePackage);
        m_result.addedRecords = merged.addedRecords;
        m_result.addedFiles = merged.addedFiles;
        if (!merged.success) {
            sendText(QStringLiteral("ERROR|%1").arg(merged.message), QStringLiteral("error.txt"),
                     m_resultName);
            return failure(merged.message);
        }

        report(QStringLiteral("Подготовка объединённой базы для телефона…"));
        const SyncResult answer = SynchronizationManager::exportPackage(QString());
        if (!answer.success)
            return failure(answer.message);
        // The result announces that the response is whole, so it goes second.
        if (!m_transport.upload(answer.packagePath, m_response, &m_error) ||
            !sendText(QStringLiteral("OK|%1|%2|%3")
                          .arg(merged.addedRecords)
                          .arg(merged.addedFiles)
                          .arg(merged.message),
                      QStringLiteral("result.txt"), m_resultName))
            return failure(m_error);

        report(QStringLiteral("Ожидание подтверждения слияния на телефоне…"));
        if (!waitForFile(m_ack, m_timing.stepMs, QStringLiteral("Ожидание подтверждения телефона…"),
                         QStringLiteral("Телефон не подтвердил завершение слияния.")))
            return failure(m_error);
        QString ack;
        if (!fetchText(m_ack, QStringLiteral("ack.txt"), &ack))
            return failure(m_error);
        if (ack.startsWith(QLatin1String("ERROR|")))
            return failure(QStringLiteral("Телефон не смог объединить базы: %1").arg(ack.mid(6)));
        for (const QString& name : {m_request, m_response, m_resultName, m_ack, m_hostName, m_joinName})
            removeIfPresent(name);
        return success(merged.message);
    }

    // Looks for the newest fresh host marker that reads as it should.
    bool huntForHost(QString* host)
    {
        QElapsedTimer elapsed;
        elapsed.start();
        QSet<QString> loggedStale;
        while (!m_cancel && elapsed.elapsed() < m_timing.meetMs) {
            QStringList listing;
            if (!m_transport.listFiles(&listing, &m_error))
                return false;
            QStringList markers;
            for (const QString& name : std::as_const(listing)) {
                if (name.startsWith(QLatin1String("Host_")) && name.endsWith(QLatin1String(".txt")))
                    markers.append(name);
            }
            markers.removeDuplicates();
            markers.sort();
            QStringList candidates;
            for (const QString& marker : std::as_const(markers)) {
                const QString id = marker.mid(5, marker.size() - 9);
                if (UsbSyncSession::isRecentSessionId(id)) {
                    candidates.append(id);
                } else if (!loggedStale.contains(marker)) {
                    loggedStale.insert(marker);
                    ApplicationLogger::write(
                        Level::Warning, kArea,
                        QStringLiteral("Пропущен устаревший маркер компьютера %1").arg(marker),
                        QStringLiteral("stale-host"));
                }
            }
            if (!candidates.isEmpty()) {
                const QString id = candidates.last();
                QString text;
                if (!fetchText(QStringLiteral("Host_%1.txt").arg(id), QStringLiteral("host.txt"), &text))
                    return false;
                if (text == QStringLiteral("%1|%2").arg(kHostMark, id)) {
                    report(QStringLiteral("Обнаружен актуальный сеанс компьютера %1").arg(id));
                    *host = id;
                    return true;
                }
            }
            if (elapsed.elapsed() % m_timing.reportMs < m_timing.pollMs)
                report(QStringLiteral("Ожидание объявления активного сеанса компьютером…"));
            pause();
        }
        m_error = m_cancel
                      ? kCancelled
                      : QStringLiteral("Компьютер не объявил активный сеанс. Запустите синхронизацию на ПК.");
        return false;
    }

    UsbSyncResult runPhone(const QString& package)
    {
        report(QStringLiteral("Передача данных телефона через MTP…"));
        if (!m_transport.upload(package, m_request, &m_error))
            return failure(m_error);
        report(QStringLiteral("Пакет телефона отправлен. Поиск активного сеанса компьютера…"));
        QString host;
        if (!huntForHost(&host))
            return failure(m_error);
        m_hostName = QStringLiteral("Host_%1.txt").arg(host);
        m_joinName = QStringLiteral("Join_%1.txt").arg(host);
        if (!sendText(QStringLiteral("%1|%2|%3").arg(kJoinMark, host, m_localId), QStringLiteral("join.txt"),
                      m_joinName))
            return failure(m_error);

        report(QStringLiteral("Компьютер подтверждён. Ожидание ответа для текущего сеанса…"));
        QStringList present;
        switch (waitForAny({m_response, m_resultName}, m_timing.stepMs,
                           QStringLiteral("Ожидание ответа второго устройства по MTP…"), &present)) {
        case Wait::Found:
            break;
        case Wait::TimedOut:
            return failure(QStringLiteral(
                "Истекло время ожидания второго устройства. Убедитесь, что обе программы запущены."));
        case Wait::Cancelled:
            return failure(kCancelled);
        case Wait::Failed:
            return failure(m_error);
        }
        bool responseSeen = present.contains(m_response);
        if (!present.contains(m_resultName) && !waitForFile(m_resultName, -1, QString(), QString()))
            return failure(m_error);
        QString result;
        if (!fetchText(m_resultName, QStringLiteral("result.txt"), &result))
            return failure(m_error);
        if (result.startsWith(QLatin1String("ERROR|")))
            return failure(QStringLiteral("Компьютер не смог объединить данные: %1").arg(result.mid(6)));
        if (!result.startsWith(QLatin1String("OK|")))
            return failure(QStringLiteral("Компьютер прислал некорректный результат MTP-синхронизации."));
        if (!responseSeen && !m_transport.fileExists(m_response, &responseSeen, &m_error))
            return failure(m_error);
        if (!responseSeen)
            return failure(QStringLiteral("Компьютер не передал объединённую базу."));

        report(QStringLiteral("Загрузка объединённой базы компьютера…"));
        const QString pcPackage = local(QStringLiteral("pc.tsync"));
        if (!m_transport.download(m_response, pcPackage, &m_error))
            return failure(m_error);
        report(QStringLiteral("Слияние баз и файлов на телефоне…"));
        const SyncResult merged = SynchronizationManager::importPackage(pcPackage);
        QFile::remove(pcPackage);
        m_result.addedRecords = merged.addedRecords;
        m_result.addedFiles = merged.addedFiles;
        if (!merged.success) {
            sendText(QStringLiteral("ERROR|%1").arg(merged.message), QStringLiteral("ack.txt"), m_ack);
            return failure(merged.message);
        }
        if (!sendText(QStringLiteral("OK|%1|%2").arg(merged.addedRecords).arg(merged.addedFiles),
                      QStringLiteral("ack.txt"), m_ack))
            return failure(m_error);
        // The acknowledgement and the two markers stay for the PC to read and clear.
        for (const QString& name : {m_request, m_response, m_resultName})
            removeIfPresent(name);
        return success(merged.message);
    }

    bool m_isPc;
    SyncTransport& m_transport;
    const UsbSyncSession::Timing& m_timing;
    const std::atomic<bool>& m_cancel;
    const ProgressCallback& m_progress;
    UsbSyncResult m_result;
    QString m_error;
    QString m_localId;
    QString m_hostName;
    QString m_joinName;
    QString m_request;
    QString m_response;
    QString m_resultName;
    QString m_ack;
};

} // namespace

UsbSyncSession::UsbSyncSession(TransportFactory factory, Timing timing)
    : m_factory(std::move(factory))
    , m_timing(timing)
{
    if (!m_factory)
        m_factory = [] { return std::make_unique<MtpSyncTransport>(); };
}

UsbSyncResult UsbSyncSession::run(bool isPc, const std::atomic<bool>& cancel,
                                  const ProgressCallback& progress)
{
    const std::unique_ptr<SyncTransport> transport = m_factory();
    return SessionRun(isPc, *transport, m_timing, cancel, progress).run();
}

QString UsbSyncSession::makeSessionId()
{
    return QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd_HHmmss_zzz")) +
           QLatin1Char('_') + QUuid::createUuid().toString(QUuid::Id128);
}

bool UsbSyncSession::isValidSessionId(const QString& id)
{
    static const QRegularExpression pattern(QStringLiteral("^[0-9]{8}_[0-9]{6}_[0-9]{3}_[0-9a-f]{32}$"));
    return pattern.match(id).hasMatch();
}

bool UsbSyncSession::isRecentSessionId(const QString& id, const QDateTime& now)
{
    if (!isValidSessionId(id))
        return false;
    // Read as UTC from the start: a local reading could fall into a gap of summer time.
    const QDateTime stamp(QDate::fromString(id.left(8), QStringLiteral("yyyyMMdd")),
                          QTime::fromString(id.mid(9, 10), QStringLiteral("HHmmss_zzz")), Qt::UTC);
    if (!stamp.isValid())
        return false;
    const qint64 age = stamp.msecsTo(now);
    return age >= -kFutureToleranceMs && age <= kStaleAfterMs;
}

int UsbSyncSession::progressValue(const QString& text, int current)
{
    static const std::pair<const char*, int> steps[] = {
        {"ожидание", 10}, {"соединение", 20}, {"подготовка", 35}, {"передача", 55}, {"слияние", 85}};
    for (const auto& [word, value] : steps) {
        if (text.contains(QString::fromUtf8(word), Qt::CaseInsensitive))
            return value;
    }
    return current;
}

} // namespace tachoria::sync
