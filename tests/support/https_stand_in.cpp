#include "https_stand_in.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace tachoria::test {

namespace {

bool run(const QString& program, const QStringList& arguments, QString* error)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit &&
        process.exitCode() == 0)
        return true;
    if (error)
        *error = program + QStringLiteral(": ") + QString::fromLocal8Bit(process.readAll());
    return false;
}

QString python()
{
    // The system's interpreter: nothing beyond its standard library is needed.
    return QFileInfo::exists(QStringLiteral("/usr/bin/python3"))
               ? QStringLiteral("/usr/bin/python3")
               : QStandardPaths::findExecutable(QStringLiteral("python3"));
}

} // namespace

HttpsStandIn::~HttpsStandIn()
{
    stop();
}

QString HttpsStandIn::unavailableReason()
{
    if (QStandardPaths::findExecutable(QStringLiteral("openssl")).isEmpty())
        return QStringLiteral("openssl is missing (package openssl)");
    if (python().isEmpty())
        return QStringLiteral("python3 is missing");
    return QString();
}

bool HttpsStandIn::start(QString* error)
{
    const QString keys = m_folder.filePath(QStringLiteral("keys"));
    QDir().mkpath(keys);
    QDir().mkpath(m_folder.filePath(QStringLiteral("site")));
    const auto file = [&keys](const char* name) { return keys + QLatin1Char('/') + QLatin1String(name); };
    QFile extensions(file("server.ext"));
    if (!extensions.open(QIODevice::WriteOnly))
        return false;
    extensions.write("subjectAltName=IP:127.0.0.1,DNS:localhost\nbasicConstraints=CA:FALSE\n");
    extensions.close();
    const QString openssl = QStringLiteral("openssl");
    if (!run(openssl,
             {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"),
              QStringLiteral("rsa:2048"), QStringLiteral("-nodes"), QStringLiteral("-days"),
              QStringLiteral("2"), QStringLiteral("-subj"), QStringLiteral("/CN=Tachoria test authority"),
              QStringLiteral("-keyout"), file("ca.key"), QStringLiteral("-out"), file("ca.pem")},
             error) ||
        !run(openssl,
             {QStringLiteral("req"), QStringLiteral("-newkey"), QStringLiteral("rsa:2048"),
              QStringLiteral("-nodes"), QStringLiteral("-subj"), QStringLiteral("/CN=127.0.0.1"),
              QStringLiteral("-keyout"), file("server.key"), QStringLiteral("-out"), file("server.csr")},
             error) ||
        !run(openssl,
             {QStringLiteral("x509"), QStringLiteral("-req"), QStringLiteral("-in"), file("server.csr"),
              QStringLiteral("-CA"), file("ca.pem"), QStringLiteral("-CAkey"), file("ca.key"),
              QStringLiteral("-CAcreateserial"), QStringLiteral("-days"), QStringLiteral("2"),
              QStringLiteral("-extfile"), file("server.ext"), QStringLiteral("-out"), file("server.pem")},
             error))
        return false;
    m_server.start(python(),
                   {QStringLiteral(TACHORIA_SOURCE_DIR "/tests/support/https_server.py"),
                    m_folder.filePath(QStringLiteral("site")), file("server.pem"), file("server.key")});
    const QDeadlineTimer deadline(15000);
    QByteArray output;
    while (!output.contains('\n') && !deadline.hasExpired() &&
           m_server.waitForReadyRead(int(deadline.remainingTime())))
        output += m_server.readAllStandardOutput();
    if (!output.startsWith("READY ")) {
        if (error)
            *error = QStringLiteral("the HTTPS server did not start: ") +
                     QString::fromLocal8Bit(m_server.readAllStandardError());
        return false;
    }
    m_port = output.mid(6).trimmed().toInt();
    return m_port > 0;
}

void HttpsStandIn::stop()
{
    if (m_server.state() == QProcess::NotRunning)
        return;
    m_server.terminate();
    if (!m_server.waitForFinished(5000)) {
        m_server.kill();
        m_server.waitForFinished(5000);
    }
}

QUrl HttpsStandIn::site() const
{
    return QUrl(QStringLiteral("https://127.0.0.1:%1/").arg(m_port));
}

QString HttpsStandIn::caCertificates() const
{
    return m_folder.filePath(QStringLiteral("keys/ca.pem"));
}

bool HttpsStandIn::serve(const QString& path, const QByteArray& content, bool broken)
{
    const QString target = m_folder.filePath(QStringLiteral("site/") + path);
    QDir().mkpath(QFileInfo(target).absolutePath());
    QFile file(target);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        return false;
    if (broken) {
        QFile marker(target + QStringLiteral(".break"));
        return marker.open(QIODevice::WriteOnly);
    }
    QFile::remove(target + QStringLiteral(".break"));
    return true;
}

} // namespace tachoria::test
