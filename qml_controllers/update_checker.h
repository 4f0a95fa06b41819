#pragma once

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QSslConfiguration>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>

class QNetworkAccessManager;
class QNetworkReply;
class QSaveFile;

namespace tachoria::qml {

// Where the publisher's product page lies, a setting of the deployment: without one no check runs.
// Read from "Deployment.ini" beside the program or /etc/tachoria/deployment.ini: [Publisher] Site=https://...
// and, for a publisher whose certificate comes from an authority of its own, CaCertificates=<file>.
struct PublisherSource
{
    QUrl site;
    QString caCertificates;

    static PublisherSource fromDeployment();
};

// The publisher's product page, read at start: the newest installer of the program and the newest
// tachograph firmware. An offline shop is normal, so the checks fail silently; downloads fail with words
// for the user. Everything runs on the GUI thread by the replies' signals.
class UpdateChecker : public QObject
{
    Q_OBJECT

public:
    static constexpr int kPageTimeoutMs = 15000;
    static constexpr int kInstallerTimeoutMs = 120000;
    static constexpr int kFirmwareTimeoutMs = 120000;
    static constexpr qint64 kMinimumInstallerBytes = 1048576;
    static constexpr int kFirmwareBytes = 671744;
    static const QString kProductPagePath;
    static const QString kFirmwareFolderPath;

    explicit UpdateChecker(QObject* parent = nullptr);
    ~UpdateChecker() override;

    void setPublisher(const PublisherSource& source);
    void startTachoriaVersionCheck();
    void startFirmwareVersionCheck();
    void inspectTachoriaInstaller(const QString& name);
    void startTachoriaUpdate();
    void downloadTachoriaInstaller(const QUrl& url);
    void launchTachoriaInstaller();
    // Gets the published firmware and hands it on; `done` gets the image, or nothing with the reason.
    void downloadFirmware(std::function<void(const QByteArray& image, const QString& error)> done,
                          std::function<void(qint64 received, qint64 total)> progress);
    void abort();

    QString availableTachoriaVersion() const { return m_availableTachoriaVersion; }
    bool tachoriaUpdateAvailable() const { return m_tachoriaUpdateAvailable; }
    QString tachoriaUpdateState() const { return m_state; }
    double tachoriaUpdateProgress() const { return m_progress; }
    QString installerLocation() const { return m_installerUrl; }
    quint64 publishedFirmwareValue() const { return m_publishedFirmwareValue; }
    QString availableFirmwareVersion() const { return m_availableFirmwareVersion; }
    QUrl firmwareUrl() const;
    QString publisherSite() const { return m_source.site.host(); }
    // The program that installs a package and starts the program again; tests name their own.
    void setInstallHelper(const QString& program) { m_installHelper = program; }

Q_SIGNALS:
    void tachoriaUpdateChanged();
    void firmwareVersionPublished();
    // The installer was started; the program should quit now.
    void installerLaunched();
    // A page check has ended, whatever it found.
    void tachoriaCheckFinished();
    void firmwareCheckFinished();

private:
    QNetworkAccessManager& network();
    QNetworkReply* get(const QUrl& url, int timeoutMs);
    void checkFirmwarePage();
    void readInstallerLink(QNetworkReply* reply);
    void readFirmwareVersion(QNetworkReply* reply);
    void setState(const QString& state, double progress);

    PublisherSource m_source;
    QSslConfiguration m_ssl;
    std::unique_ptr<QNetworkAccessManager> m_network;
    bool m_tachoriaCheckStarted = false;
    bool m_firmwareCheckDone = false;
    QString m_availableTachoriaVersion;
    bool m_tachoriaUpdateAvailable = false;
    QString m_installerUrl;
    QString m_state;
    double m_progress = 0.0;
    quint64 m_publishedFirmwareValue = 0;
    QString m_availableFirmwareVersion;
    QPointer<QNetworkReply> m_installerReply;
    std::unique_ptr<QSaveFile> m_installerFile;
    QPointer<QNetworkReply> m_firmwareReply;
    QString m_installHelper;
};

} // namespace tachoria::qml
