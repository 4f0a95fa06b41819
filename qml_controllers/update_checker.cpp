#include "qml_controllers/update_checker.h"

#include "logging/application_logger.h"
#include "storage/app_paths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QNetworkAccessManager>
#include <QNetworkInformation>
#include <QNetworkReply>
#include <QProcess>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSettings>
#include <QSslCertificate>
#include <QTimer>
#include <QVersionNumber>

namespace tachoria::qml {

const QString UpdateChecker::kProductPagePath = QStringLiteral("/tachographs/orvian-479160000-1h-re/");
const QString UpdateChecker::kFirmwareFolderPath = QStringLiteral("/userfiles/tachographs/");

namespace {

// On this system the program is published as a Debian package.
const QString kInstallerLink =
    QStringLiteral("href\\s*=\\s*[\"']([^\"']*tachoria_[0-9]+(?:\\.[0-9]+){3}_amd64\\.deb)[\"']");
const QString kInstallerName = QStringLiteral("^tachoria_([0-9]+(?:\\.[0-9]+){3})_amd64\\.deb$");
const QByteArray kPackageMagic = "!<arch>\n";

QString megabytes(double bytes)
{
    return QLocale(QLocale::Russian, QLocale::Russia).toString(bytes / (1024.0 * 1024.0), 'f', 1);
}

} // namespace

PublisherSource PublisherSource::fromDeployment()
{
    const QStringList files = {QCoreApplication::applicationDirPath() + QStringLiteral("/Deployment.ini"),
                               QStringLiteral("/etc/tachoria/deployment.ini")};
    for (const QString& file : files) {
        if (!QFileInfo::exists(file))
            continue;
        const QSettings settings(file, QSettings::IniFormat);
        PublisherSource source;
        source.site = QUrl(settings.value(QStringLiteral("Publisher/Site")).toString().trimmed());
        source.caCertificates =
            settings.value(QStringLiteral("Publisher/CaCertificates")).toString().trimmed();
        return source;
    }
    return {};
}

UpdateChecker::UpdateChecker(QObject* parent)
    : QObject(parent)
    , m_ssl(QSslConfiguration::defaultConfiguration())
    , m_installHelper(QCoreApplication::applicationDirPath() + QStringLiteral("/tachoria-install-update"))
{
}

UpdateChecker::~UpdateChecker()
{
    abort();
}

void UpdateChecker::abort()
{
    for (const QPointer<QNetworkReply>& reply : {m_installerReply, m_firmwareReply}) {
        if (reply)
            reply->abort();
    }
}

void UpdateChecker::setPublisher(const PublisherSource& source)
{
    m_source = source;
    m_ssl = QSslConfiguration::defaultConfiguration();
    // A publisher with an authority of its own is trusted by naming it, never by skipping the check.
    if (!source.caCertificates.isEmpty())
        m_ssl.addCaCertificates(QSslCertificate::fromPath(source.caCertificates));
}

QNetworkAccessManager& UpdateChecker::network()
{
    if (!m_network)
        m_network = std::make_unique<QNetworkAccessManager>();
    return *m_network;
}

QNetworkReply* UpdateChecker::get(const QUrl& url, int timeoutMs)
{
    QNetworkRequest request(url);
    request.setSslConfiguration(m_ssl);
    request.setTransferTimeout(timeoutMs);
    request.setHeader(QNetworkRequest::UserAgentHeader,
                      QStringLiteral("Tachoria/%1").arg(QCoreApplication::applicationVersion()));
    return network().get(request);
}

void UpdateChecker::startTachoriaVersionCheck()
{
    if (m_tachoriaCheckStarted || !m_source.site.isValid() || m_source.site.isEmpty())
        return;
    m_tachoriaCheckStarted = true;
    QNetworkReply* reply = get(m_source.site.resolved(QUrl(kProductPagePath)), kPageTimeoutMs);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        reply->deleteLater();
        readInstallerLink(reply);
        Q_EMIT tachoriaCheckFinished();
    });
}

void UpdateChecker::readInstallerLink(QNetworkReply* reply)
{
    if (reply->error() != QNetworkReply::NoError)
        return;
    static const QRegularExpression link(kInstallerLink, QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = link.match(QString::fromUtf8(reply->readAll()));
    if (!match.hasMatch())
        return;
    const QUrl url = reply->url().resolved(QUrl(match.captured(1)));
    if (url.scheme() != QLatin1String("https"))
        return;
    inspectTachoriaInstaller(QFileInfo(url.path()).fileName());
    if (!m_availableTachoriaVersion.isEmpty())
        m_installerUrl = url.toString();
}

void UpdateChecker::inspectTachoriaInstaller(const QString& name)
{
    static const QRegularExpression pattern(kInstallerName, QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = pattern.match(QFileInfo(name).fileName());
    if (!match.hasMatch())
        return;
    const QVersionNumber published = QVersionNumber::fromString(match.captured(1));
    const QVersionNumber running = QVersionNumber::fromString(QCoreApplication::applicationVersion());
    if (published.isNull() || running.isNull())
        return;
    m_availableTachoriaVersion = match.captured(1);
    m_tachoriaUpdateAvailable = QVersionNumber::compare(published, running) > 0;
    m_installerUrl = name;
    m_state.clear();
    m_progress = 0.0;
    Q_EMIT tachoriaUpdateChanged();
    logging::ApplicationLogger::write(
        logging::Level::Info, QStringLiteral("update"),
        QStringLiteral("Обнаружена версия Tachoria %1 (установлена %2)")
            .arg(m_availableTachoriaVersion, QCoreApplication::applicationVersion()));
}

void UpdateChecker::startFirmwareVersionCheck()
{
    if (m_firmwareCheckDone || !m_source.site.isValid() || m_source.site.isEmpty())
        return;
    // The system's default backend, or GLib's, which sees the routes where no network manager runs.
    if (!QNetworkInformation::instance() && !QNetworkInformation::loadDefaultBackend())
        QNetworkInformation::loadBackendByName(QStringLiteral("glib"));
    QNetworkInformation* information = QNetworkInformation::instance();
    if (!information || !information->supports(QNetworkInformation::Feature::Reachability))
        return;
    const auto reachable = [information] {
        const auto reachability = information->reachability();
        return reachability == QNetworkInformation::Reachability::Site ||
               reachability == QNetworkInformation::Reachability::Online;
    };
    if (reachable()) {
        checkFirmwarePage();
        return;
    }
    // Offline now: the check waits as long as it takes for the network to come.
    connect(information, &QNetworkInformation::reachabilityChanged, this, [this, reachable] {
        if (!m_firmwareCheckDone && reachable())
            checkFirmwarePage();
    });
}

void UpdateChecker::checkFirmwarePage()
{
    m_firmwareCheckDone = true;
    QNetworkReply* reply = get(m_source.site.resolved(QUrl(kProductPagePath)), kPageTimeoutMs);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        reply->deleteLater();
        readFirmwareVersion(reply);
        Q_EMIT firmwareCheckFinished();
    });
}

void UpdateChecker::readFirmwareVersion(QNetworkReply* reply)
{
    if (reply->error() != QNetworkReply::NoError)
        return;
    static const QRegularExpression firmware(
        QStringLiteral("Актуальная\\s+прошивка\\s+тахографа[\\s\\S]{0,8000}?tacho_101_([0-9a-f]{8})\\.bin"),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = firmware.match(QString::fromUtf8(reply->readAll()));
    if (!match.hasMatch())
        return;
    bool ok = false;
    const quint64 value = match.captured(1).toULongLong(&ok, 16);
    if (!ok || value == 0)
        return;
    m_publishedFirmwareValue = value;
    m_availableFirmwareVersion = match.captured(1).toUpper();
    Q_EMIT firmwareVersionPublished();
}

void UpdateChecker::setState(const QString& state, double progress)
{
    m_state = state;
    m_progress = progress;
    Q_EMIT tachoriaUpdateChanged();
}

void UpdateChecker::startTachoriaUpdate()
{
    if (!m_tachoriaUpdateAvailable || !m_state.isEmpty())
        return;
    const QUrl url(m_installerUrl);
    if (!url.isValid() || url.scheme() != QLatin1String("https"))
        return;
    downloadTachoriaInstaller(url);
}

void UpdateChecker::downloadTachoriaInstaller(const QUrl& url)
{
    const QString folder = storage::AppPaths::data() + QStringLiteral("/Updates");
    if (!QDir().mkpath(folder)) {
        setState(QStringLiteral("Не удалось создать папку для загрузки обновления"), 0.0);
        return;
    }
    // A broken download never leaves a file: nothing is there until the whole package is.
    m_installerFile = std::make_unique<QSaveFile>(
        folder + QStringLiteral("/tachoria_%1_amd64.deb").arg(m_availableTachoriaVersion));
    if (!m_installerFile->open(QIODevice::WriteOnly)) {
        m_installerFile.reset();
        setState(QStringLiteral("Не удалось сохранить установщик обновления"), 0.0);
        return;
    }
    setState(QStringLiteral("Загрузка обновления..."), 0.0);
    QNetworkReply* reply = get(url, kInstallerTimeoutMs);
    m_installerReply = reply;
    connect(reply, &QNetworkReply::downloadProgress, this, [this](qint64 received, qint64 total) {
        if (total > 0)
            setState(QStringLiteral("Загружено %1 МБ из %2 МБ").arg(megabytes(received), megabytes(total)),
                     std::clamp(double(received) / double(total), 0.0, 1.0));
        else
            setState(QStringLiteral("Загружено %1 МБ").arg(megabytes(received)), m_progress);
    });
    connect(reply, &QNetworkReply::readyRead, this, [this, reply] {
        const QByteArray bytes = reply->readAll();
        if (m_installerFile && m_installerFile->write(bytes) != bytes.size())
            reply->abort();
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        reply->deleteLater();
        m_installerReply = nullptr;
        if (reply->error() != QNetworkReply::NoError || !m_installerFile) {
            if (m_installerFile)
                m_installerFile->cancelWriting();
            m_installerFile.reset();
            const QString reason =
                reply->errorString().isEmpty() ? QStringLiteral("неизвестная ошибка") : reply->errorString();
            setState(QStringLiteral("Ошибка загрузки обновления: %1").arg(reason), m_progress);
            return;
        }
        const QByteArray rest = reply->readAll();
        const bool written = m_installerFile->write(rest) == rest.size() && m_installerFile->commit();
        const QString path = m_installerFile->fileName();
        m_installerFile.reset();
        if (!written) {
            setState(QStringLiteral("Не удалось сохранить загруженный установщик"), m_progress);
            return;
        }
        m_installerUrl = path;
        setState(QStringLiteral("Загрузка завершена. Подготовка установки..."), 1.0);
        QTimer::singleShot(500, this, &UpdateChecker::launchTachoriaInstaller);
    });
}

void UpdateChecker::launchTachoriaInstaller()
{
    QFile file(m_installerUrl);
    if (m_installerUrl.isEmpty() || !QFileInfo(m_installerUrl).isFile()) {
        setState(QStringLiteral("Файл установщика не найден"), m_progress);
        return;
    }
    // Only the package's size and its archive header are looked at; nothing is verified beyond that.
    if (file.size() < kMinimumInstallerBytes || !file.open(QIODevice::ReadOnly) ||
        file.read(kPackageMagic.size()) != kPackageMagic) {
        setState(QStringLiteral("Файл не похож на установщик Tachoria или повреждён"), m_progress);
        return;
    }
    setState(QStringLiteral("Установка обновления..."), m_progress);
    const QStringList arguments = {
        QStringLiteral("--package"),  QFileInfo(m_installerUrl).absoluteFilePath(),
        QStringLiteral("--wait-pid"), QString::number(QCoreApplication::applicationPid()),
        QStringLiteral("--restart"),  QCoreApplication::applicationFilePath()};
    if (!QProcess::startDetached(m_installHelper, arguments)) {
        setState(QStringLiteral("Не удалось запустить установщик"), m_progress);
        return;
    }
    Q_EMIT installerLaunched();
}

QUrl UpdateChecker::firmwareUrl() const
{
    return m_source.site.resolved(QUrl(
        kFirmwareFolderPath + QStringLiteral("tacho_101_%1.bin").arg(m_availableFirmwareVersion.toLower())));
}

void UpdateChecker::downloadFirmware(std::function<void(const QByteArray&, const QString&)> done,
                                     std::function<void(qint64, qint64)> progress)
{
    QNetworkReply* reply = get(firmwareUrl(), kFirmwareTimeoutMs);
    m_firmwareReply = reply;
    connect(reply, &QNetworkReply::downloadProgress, this, [progress](qint64 received, qint64 total) {
        if (progress)
            progress(received, total);
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply, done] {
        reply->deleteLater();
        m_firmwareReply = nullptr;
        if (reply->error() != QNetworkReply::NoError)
            done({}, reply->errorString());
        else
            done(reply->readAll(), {});
    });
}

} // namespace tachoria::qml
