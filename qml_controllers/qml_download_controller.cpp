#include "qml_controllers/qml_download_controller.h"

#include "ddd/ddd_decoder.h"
#include "qml_controllers/qml_settings_controller.h"
#include "storage/app_paths.h"

#include <QDateTime>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QUrl>

#include <algorithm>
#include <utility>

namespace tachoria::qml {

namespace {

const QString kDateFormat = QStringLiteral("dd.MM.yyyy");

} // namespace

DddFileKind dddFileKind(const QByteArray& head)
{
    const quint8 first = head.size() > 0 ? static_cast<quint8>(head.at(0)) : 0xFF;
    const quint8 second = head.size() > 1 ? static_cast<quint8>(head.at(1)) : 0xFF;
    if (head.size() >= 2 && first == 0x00 && second == 0x02)
        return {QStringLiteral("Карта водителя"), true};
    if (head.size() >= 2 && first == 0x76 && second >= 0x01 && second <= 0x05)
        return {QStringLiteral("Данные тахографа"), true};
    if (head.size() >= 2 && first == 0x76 &&
        (second == 0x81 || second == 0x82 || second == 0x84 || second == 0x85))
        return {QStringLiteral("Данные СКЗИ — расшифровка не поддерживается"), false};
    return {QStringLiteral("Неизвестный формат — расшифровка недоступна"), false};
}

QString dddFileSizeText(qint64 bytes)
{
    if (bytes < 1024)
        return QStringLiteral("%1 Байт").arg(bytes);
    return QStringLiteral("%1 КБ").arg(QString::number(static_cast<double>(bytes) / 1024.0, 'f', 1));
}

QmlDownloadController::QmlDownloadController(QmlSettingsController* settings, QObject* parent)
    : QObject(parent)
    , m_settings(settings)
{
    const QDate today = QDate::currentDate();
    m_fromDate = today.addDays(-7).toString(kDateFormat);
    m_toDate = today.toString(kDateFormat);
    if (m_settings) {
        m_port = m_settings->downloadPort();
        m_lastDownloadDate =
            m_settings->persistedValue(QStringLiteral("LastDownloadDate"), QStringLiteral("Main"), QString());
    }
}

QmlDownloadController::~QmlDownloadController()
{
    stop();
    if (m_previewThread) {
        m_previewThread->wait();
        delete m_previewThread;
    }
}

template <typename T>
void QmlDownloadController::assign(T& field, const T& value)
{
    if (field == value)
        return;
    field = value;
    Q_EMIT changed();
}

void QmlDownloadController::setPort(const QString& value)
{
    assign(m_port, value);
}

void QmlDownloadController::setBlocks(bool value)
{
    m_requestActivities = m_requestEvents = m_requestDetailedSpeed = m_requestTechnicalData = value;
}

void QmlDownloadController::chooseKind(bool& flag, bool value)
{
    const bool before[] = {m_needTacho,           m_needNkm,       m_needCard,
                           m_externalCard,        m_onlyCard,      m_requestOverview,
                           m_requestActivities,   m_requestEvents, m_requestDetailedSpeed,
                           m_requestTechnicalData};
    const bool wasOnlyCard = m_onlyCard;
    m_needTacho = m_needNkm = m_needCard = m_externalCard = m_onlyCard = false;
    flag = value;
    m_requestOverview = true;
    if (wasOnlyCard)
        setBlocks(true);
    const bool after[] = {m_needTacho,           m_needNkm,       m_needCard,
                          m_externalCard,        m_onlyCard,      m_requestOverview,
                          m_requestActivities,   m_requestEvents, m_requestDetailedSpeed,
                          m_requestTechnicalData};
    if (!std::equal(std::begin(before), std::end(before), std::begin(after)))
        Q_EMIT changed();
}

void QmlDownloadController::setNeedTacho(bool value)
{
    chooseKind(m_needTacho, value);
}

void QmlDownloadController::setNeedNkm(bool value)
{
    chooseKind(m_needNkm, value);
}

void QmlDownloadController::setNeedCard(bool value)
{
    chooseKind(m_needCard, value);
}

void QmlDownloadController::setExternalCard(bool value)
{
    if (value && !m_needCard)
        return;
    assign(m_externalCard, value);
}

void QmlDownloadController::setOnlyCard(bool value)
{
    if ((value && !m_needCard) || value == m_onlyCard)
        return;
    m_onlyCard = value;
    m_requestOverview = !value;
    setBlocks(!value);
    Q_EMIT changed();
}

void QmlDownloadController::setNewNkm(bool value)
{
    assign(m_newNkm, value);
}

void QmlDownloadController::setCardPin(const QString& value)
{
    assign(m_cardPin, value);
}

void QmlDownloadController::setFromDate(const QString& value)
{
    assign(m_fromDate, value);
}

void QmlDownloadController::setToDate(const QString& value)
{
    assign(m_toDate, value);
}

void QmlDownloadController::setDownloadMode(const QString& value)
{
    const bool known = value == QLatin1String("all") || value == QLatin1String("fromLast");
    assign(m_downloadMode, known ? value : QStringLiteral("range"));
}

void QmlDownloadController::setRequestActivities(bool value)
{
    assign(m_requestActivities, value);
}

void QmlDownloadController::setRequestEvents(bool value)
{
    assign(m_requestEvents, value);
}

void QmlDownloadController::setRequestDetailedSpeed(bool value)
{
    assign(m_requestDetailedSpeed, value);
}

void QmlDownloadController::setRequestTechnicalData(bool value)
{
    assign(m_requestTechnicalData, value);
}

download::DownloadSettings QmlDownloadController::downloadSettings() const
{
    download::DownloadSettings settings;
    settings.portName = m_port;
    if (m_settings) {
        settings.startBaud = m_settings->downloadStartBaud();
        settings.maxBaud = m_settings->downloadMaxBaud();
        settings.useRalona = m_settings->useRalona();
        settings.ralonaPortName = m_settings->ralonaPort();
        settings.cardReaderName = m_settings->cardReader();
    }
    settings.cardPin = m_cardPin;
    // Eight bytes of 0xFF with the PIN over their beginning, as the card takes it.
    settings.cardData = QByteArray(8, '\xFF');
    const QByteArray pin = m_cardPin.toLatin1().left(8);
    settings.cardData.replace(0, pin.size(), pin);
    settings.filePrefix = QDateTime::currentDateTime().toString(QStringLiteral("dd_MM_yy_HH_mm_ss-"));
    return settings;
}

download::DownloadOptions QmlDownloadController::downloadOptions() const
{
    download::DownloadOptions options;
    // A crypto module of 2.10 or newer needs no authority certificate.
    options.skipCaCertificate = m_newNkm;
    options.tachograph = m_needTacho;
    options.nkm = m_needNkm;
    options.card = m_needCard;
    options.authenticateCard = m_externalCard;
    options.spare = m_onlyCard;
    options.overview = m_requestOverview;
    options.activities = m_requestActivities;
    options.eventsFaults = m_requestEvents;
    options.detailedSpeed = m_requestDetailedSpeed;
    options.technicalData = m_requestTechnicalData;
    options.periodMode = m_downloadMode == QLatin1String("all")        ? 0
                         : m_downloadMode == QLatin1String("fromLast") ? 1
                                                                       : 2;
    const QDate today = QDate::currentDate();
    options.periodBegin = QDate::fromString(m_fromDate, kDateFormat);
    if (!options.periodBegin.isValid())
        options.periodBegin = today.addDays(-7);
    options.periodEnd = QDate::fromString(m_toDate, kDateFormat);
    if (!options.periodEnd.isValid())
        options.periodEnd = today;
    if (options.periodMode == 1)
        options.sinceDate = QDate::fromString(m_lastDownloadDate, kDateFormat);
    return options;
}

void QmlDownloadController::start()
{
    if (m_running || !m_settings)
        return;
    // The port of the settings wins over the detected one.
    const QString configured = m_settings->downloadPort().trimmed();
    if (!configured.isEmpty())
        setPort(configured);
    m_stopRequested = false;
    m_running = true;
    m_progress = m_needNkm ? -1 : 0;
    m_outputPath.clear();
    m_lastError.clear();
    m_statusText =
        m_needNkm ? QStringLiteral("Подготовка выгрузки СКЗИ...") : QStringLiteral("Начинаем выгрузку...");
    Q_EMIT stateChanged();

    const download::DownloadSettings settings = downloadSettings();
    const download::DownloadOptions options = downloadOptions();
    // The PIN is held for this run only.
    m_cardPin.clear();
    const quint64 generation = m_runGeneration;
    m_worker = QThread::create([this, settings, options, generation] {
        const auto onLine = [this](const QString& text) {
            QMetaObject::invokeMethod(
                this, [this, text] { Q_EMIT logLine(text); }, Qt::QueuedConnection);
        };
        const auto onProgress = [this, generation](int percent) {
            QMetaObject::invokeMethod(
                this,
                [this, generation, percent] {
                    if (generation != m_runGeneration || !m_running)
                        return;
                    m_progress = percent;
                    Q_EMIT stateChanged();
                },
                Qt::QueuedConnection);
        };
        const download::DownloadResult result =
            download::DownloadWorkflow::run(settings, options, m_stopRequested, onLine, onProgress);
        QMetaObject::invokeMethod(
            this,
            [this, generation, result] {
                if (generation == m_runGeneration)
                    finishRun(result);
            },
            Qt::QueuedConnection);
    });
    m_worker->setObjectName(QStringLiteral("download-worker"));
    QThread* worker = m_worker;
    connect(worker, &QThread::finished, this, [this, worker] {
        if (m_worker == worker) {
            m_worker->deleteLater();
            m_worker = nullptr;
        }
    });
    m_worker->start();
}

void QmlDownloadController::finishRun(const download::DownloadResult& result)
{
    m_running = false;
    m_progress = result.success ? 100 : std::max(0, m_progress);
    m_outputPath = result.filePath;
    m_lastError = result.success ? QString() : result.errorText;
    m_statusText = result.success ? QStringLiteral("Выгрузка завершена")
                                  : QStringLiteral("Ошибка выгрузки: %1").arg(result.errorText);
    if (result.success) {
        m_lastDownloadDate = QDate::currentDate().toString(kDateFormat);
        if (m_settings)
            m_settings->persistValue(QStringLiteral("LastDownloadDate"), QStringLiteral("Main"),
                                     m_lastDownloadDate, QStringLiteral("String"));
    }
    Q_EMIT changed();
    Q_EMIT stateChanged();
}

void QmlDownloadController::stop()
{
    m_stopRequested = true;
    if (m_worker) {
        m_worker->wait();
        delete m_worker;
        m_worker = nullptr;
    }
    ++m_runGeneration;
    if (!m_running)
        return;
    m_running = false;
    m_progress = std::max(0, m_progress);
    m_statusText = QStringLiteral("Выгрузка остановлена");
    Q_EMIT stateChanged();
}

bool QmlDownloadController::openDownloadFolder()
{
    const QString folder = storage::AppPaths::downloadDirectory();
    if (QDir().mkpath(folder) && QDesktopServices::openUrl(QUrl::fromLocalFile(folder)))
        return true;
    m_lastError = QStringLiteral("Не удалось открыть папку выгрузки: %1").arg(folder);
    Q_EMIT stateChanged();
    return false;
}

QVariantList QmlDownloadController::downloadedDddFiles() const
{
    QDir folder(storage::AppPaths::downloadDirectory());
    folder.setNameFilters({QStringLiteral("*.ddd")});
    folder.setFilter(QDir::Files);
    folder.setSorting(QDir::Time | QDir::IgnoreCase);
    QVariantList files;
    for (const QFileInfo& info : folder.entryInfoList()) {
        QFile file(info.absoluteFilePath());
        const QByteArray head = file.open(QIODevice::ReadOnly) ? file.read(2) : QByteArray();
        const DddFileKind kind = dddFileKind(head);
        files.append(QVariantMap{
            {QStringLiteral("name"), info.fileName()},
            {QStringLiteral("path"), info.absoluteFilePath()},
            {QStringLiteral("modified"), info.lastModified().toString(QStringLiteral("dd.MM.yyyy HH:mm:ss"))},
            {QStringLiteral("size"), dddFileSizeText(info.size())},
            {QStringLiteral("sizeBytes"), info.size()},
            {QStringLiteral("decodable"), kind.decodable},
            {QStringLiteral("kind"), kind.kind}});
    }
    return files;
}

bool QmlDownloadController::shareDddFile(const QString&)
{
    m_lastError = QStringLiteral("Общий доступ к файлу доступен в Android-версии.");
    Q_EMIT stateChanged();
    return false;
}

void QmlDownloadController::previewDddFile(const QString& path)
{
    if (m_previewThread) {
        m_pendingPreview = path;
        return;
    }
    startPreview(path);
}

void QmlDownloadController::startPreview(const QString& path)
{
    m_previewThread = QThread::create([this, path] {
        QString error;
        const ddd::DddReport report = ddd::Decoder::decodeFile(path, &error);
        QVariantMap summary{{QStringLiteral("decoded"), report.fileType != ddd::DddFileType::Unknown},
                            {QStringLiteral("error"), error},
                            {QStringLiteral("vin"), report.vin},
                            {QStringLiteral("registrationNumber"), report.registrationNumber},
                            {QStringLiteral("cardNumber"), report.cardNumber},
                            {QStringLiteral("driverName"), report.driverName},
                            {QStringLiteral("dataStartDate"), report.dataStartDate},
                            {QStringLiteral("dataEndDate"), report.dataEndDate},
                            {QStringLiteral("blockCount"), report.blocks.size()}};
        QMetaObject::invokeMethod(
            this, [this, path, summary] { Q_EMIT previewReady(path, summary); }, Qt::QueuedConnection);
    });
    m_previewThread->setObjectName(QStringLiteral("ddd-preview"));
    connect(m_previewThread, &QThread::finished, this, [this] {
        m_previewThread->deleteLater();
        m_previewThread = nullptr;
        if (!m_pendingPreview.isEmpty())
            startPreview(std::exchange(m_pendingPreview, QString()));
    });
    m_previewThread->start();
}

} // namespace tachoria::qml
