#pragma once

#include "download/download_workflow.h"

#include <QObject>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <atomic>

class QThread;

namespace tachoria::qml {

class QmlSettingsController;

// What a .ddd file is, told from its first two bytes, for the file list.
struct DddFileKind
{
    QString kind;
    bool decodable = false;
};
DddFileKind dddFileKind(const QByteArray& head);
// A file's size as the list shows it: bytes below 1024, else kilobytes with one decimal.
QString dddFileSizeText(qint64 bytes);

// The download page's object: the form's choices, one run of the download workflow on a worker thread
// with its progress, and the .ddd files of the download folder.
class QmlDownloadController : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool running READ running NOTIFY stateChanged)
    Q_PROPERTY(int progress READ progress NOTIFY stateChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY stateChanged)
    Q_PROPERTY(QString outputPath READ outputPath NOTIFY stateChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY stateChanged)
    Q_PROPERTY(QString port READ port WRITE setPort NOTIFY changed)
    Q_PROPERTY(bool needTacho READ needTacho WRITE setNeedTacho NOTIFY changed)
    Q_PROPERTY(bool needNkm READ needNkm WRITE setNeedNkm NOTIFY changed)
    Q_PROPERTY(bool needCard READ needCard WRITE setNeedCard NOTIFY changed)
    Q_PROPERTY(bool externalCard READ externalCard WRITE setExternalCard NOTIFY changed)
    Q_PROPERTY(bool onlyCard READ onlyCard WRITE setOnlyCard NOTIFY changed)
    Q_PROPERTY(bool newNkm READ newNkm WRITE setNewNkm NOTIFY changed)
    Q_PROPERTY(bool requestOverview READ requestOverview NOTIFY changed)
    Q_PROPERTY(bool needTachoEnabled READ needTachoEnabled NOTIFY changed)
    Q_PROPERTY(bool needNkmEnabled READ needNkmEnabled NOTIFY changed)
    Q_PROPERTY(bool needCardEnabled READ needCardEnabled NOTIFY changed)
    Q_PROPERTY(bool externalCardEnabled READ externalCardEnabled NOTIFY changed)
    Q_PROPERTY(bool onlyCardVisible READ onlyCardVisible NOTIFY changed)
    Q_PROPERTY(bool requestBlocksEnabled READ requestBlocksEnabled NOTIFY changed)
    Q_PROPERTY(QString cardPin READ cardPin WRITE setCardPin NOTIFY changed)
    Q_PROPERTY(QString fromDate READ fromDate WRITE setFromDate NOTIFY changed)
    Q_PROPERTY(QString toDate READ toDate WRITE setToDate NOTIFY changed)
    Q_PROPERTY(QString downloadMode READ downloadMode WRITE setDownloadMode NOTIFY changed)
    Q_PROPERTY(QString lastDownloadDate READ lastDownloadDate NOTIFY changed)
    Q_PROPERTY(bool requestActivities READ requestActivities WRITE setRequestActivities NOTIFY changed)
    Q_PROPERTY(bool requestEvents READ requestEvents WRITE setRequestEvents NOTIFY changed)
    Q_PROPERTY(
        bool requestDetailedSpeed READ requestDetailedSpeed WRITE setRequestDetailedSpeed NOTIFY changed)
    Q_PROPERTY(
        bool requestTechnicalData READ requestTechnicalData WRITE setRequestTechnicalData NOTIFY changed)

public:
    explicit QmlDownloadController(QmlSettingsController* settings, QObject* parent = nullptr);
    ~QmlDownloadController() override;

    bool running() const { return m_running; }
    int progress() const { return m_progress; }
    QString statusText() const { return m_statusText; }
    QString outputPath() const { return m_outputPath; }
    QString lastError() const { return m_lastError; }
    QString port() const { return m_port; }
    bool needTacho() const { return m_needTacho; }
    bool needNkm() const { return m_needNkm; }
    bool needCard() const { return m_needCard; }
    bool externalCard() const { return m_externalCard; }
    bool onlyCard() const { return m_onlyCard; }
    bool newNkm() const { return m_newNkm; }
    bool requestOverview() const { return m_requestOverview; }
    bool needTachoEnabled() const { return !m_needNkm && !m_needCard; }
    bool needNkmEnabled() const { return !m_needTacho && !m_needCard; }
    bool needCardEnabled() const { return !m_needTacho && !m_needNkm; }
    bool externalCardEnabled() const { return needCardEnabled(); }
    bool onlyCardVisible() const { return m_needCard; }
    bool requestBlocksEnabled() const { return !m_needCard && !m_needNkm; }
    QString cardPin() const { return m_cardPin; }
    QString fromDate() const { return m_fromDate; }
    QString toDate() const { return m_toDate; }
    QString downloadMode() const { return m_downloadMode; }
    QString lastDownloadDate() const { return m_lastDownloadDate; }
    bool requestActivities() const { return m_requestActivities; }
    bool requestEvents() const { return m_requestEvents; }
    bool requestDetailedSpeed() const { return m_requestDetailedSpeed; }
    bool requestTechnicalData() const { return m_requestTechnicalData; }

    void setPort(const QString& value);
    void setNeedTacho(bool value);
    void setNeedNkm(bool value);
    void setNeedCard(bool value);
    void setExternalCard(bool value);
    void setOnlyCard(bool value);
    void setNewNkm(bool value);
    void setCardPin(const QString& value);
    void setFromDate(const QString& value);
    void setToDate(const QString& value);
    void setDownloadMode(const QString& value);
    void setRequestActivities(bool value);
    void setRequestEvents(bool value);
    void setRequestDetailedSpeed(bool value);
    void setRequestTechnicalData(bool value);

    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();
    Q_INVOKABLE bool openDownloadFolder();
    Q_INVOKABLE QVariantList downloadedDddFiles() const;
    Q_INVOKABLE bool shareDddFile(const QString& path);
    // Decodes a file on a thread of its own; previewReady brings its summary.
    Q_INVOKABLE void previewDddFile(const QString& path);

    // What a run gets from the form and the settings, as start() hands it to the workflow.
    download::DownloadSettings downloadSettings() const;
    download::DownloadOptions downloadOptions() const;

Q_SIGNALS:
    void stateChanged();
    void changed();
    void logLine(const QString& text);
    void previewReady(const QString& path, const QVariantMap& summary);

private:
    // One of the three kinds that exclude each other; the others go off.
    void chooseKind(bool& flag, bool value);
    void setBlocks(bool value);
    template <typename T>
    void assign(T& field, const T& value);
    void finishRun(const download::DownloadResult& result);
    void startPreview(const QString& path);

    QmlSettingsController* m_settings;
    QString m_port;
    bool m_needTacho = false;
    bool m_needNkm = false;
    bool m_needCard = false;
    bool m_externalCard = false;
    bool m_onlyCard = false;
    bool m_newNkm = true;
    bool m_requestOverview = true;
    QString m_cardPin;
    QString m_fromDate;
    QString m_toDate;
    QString m_downloadMode = QStringLiteral("range");
    QString m_lastDownloadDate;
    bool m_requestActivities = true;
    bool m_requestEvents = true;
    bool m_requestDetailedSpeed = true;
    bool m_requestTechnicalData = true;
    bool m_running = false;
    int m_progress = 0;
    QString m_statusText;
    QString m_outputPath;
    QString m_lastError;
    std::atomic_bool m_stopRequested{false};
    QThread* m_worker = nullptr;
    // Bumped by stop(): the ending of a run stopped meanwhile is void.
    quint64 m_runGeneration = 0;
    QThread* m_previewThread = nullptr;
    QString m_pendingPreview;
};

} // namespace tachoria::qml
