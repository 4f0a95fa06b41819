#pragma once

#include <QByteArray>
#include <QString>

#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace tachoria::test {

// The far end of a real pseudo-terminal: whatever the test writes here, the transport reads.
class FarEnd
{
public:
    FarEnd()
    {
        char name[256] = {};
        if (::openpty(&m_master, &m_slave, name, nullptr, nullptr) == 0) {
            m_path = QString::fromLocal8Bit(name);
            for (int fd : {m_master, m_slave}) {
                termios tio{};
                ::tcgetattr(fd, &tio);
                ::cfmakeraw(&tio);
                ::tcsetattr(fd, TCSANOW, &tio);
            }
        }
    }
    ~FarEnd()
    {
        ::close(m_master);
        ::close(m_slave);
    }
    QString path() const { return m_path; }
    void send(const QByteArray& bytes) const
    {
        if (!bytes.isEmpty())
            (void)!::write(m_master, bytes.constData(), static_cast<size_t>(bytes.size()));
    }
    QByteArray receive(int timeoutMs) const
    {
        QByteArray bytes;
        pollfd pfd{m_master, POLLIN, 0};
        while (::poll(&pfd, 1, timeoutMs) > 0) {
            char buffer[512];
            const ssize_t n = ::read(m_master, buffer, sizeof buffer);
            if (n <= 0)
                break;
            bytes.append(buffer, n);
            timeoutMs = 50;
        }
        return bytes;
    }

private:
    int m_master = -1;
    int m_slave = -1;
    QString m_path;
};

} // namespace tachoria::test
