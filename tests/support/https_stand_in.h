#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

namespace tachoria::test {

// A publisher's site on 127.0.0.1 over HTTPS, with a certificate from an authority of the test's own,
// which the program must be told to trust (it never skips the check).
class HttpsStandIn
{
public:
    HttpsStandIn() = default;
    ~HttpsStandIn();
    HttpsStandIn(const HttpsStandIn&) = delete;
    HttpsStandIn& operator=(const HttpsStandIn&) = delete;

    static QString unavailableReason();

    bool start(QString* error = nullptr);
    void stop();
    QUrl site() const;
    QString caCertificates() const;
    // Puts a file at this path of the site; `broken` makes the server send only half of it.
    bool serve(const QString& path, const QByteArray& content, bool broken = false);

private:
    QTemporaryDir m_folder;
    QProcess m_server;
    int m_port = 0;
};

} // namespace tachoria::test
