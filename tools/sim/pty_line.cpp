#include "pty_line.h"

#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace tachoria::sim {

namespace {

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

} // namespace

PtyLine::~PtyLine()
{
    close();
}

bool PtyLine::open(const QString& linkPath, QString* error)
{
    char name[256] = {};
    if (::openpty(&m_master, &m_slave, name, nullptr, nullptr) != 0) {
        if (error)
            *error = QStringLiteral("openpty: ") + systemError();
        return false;
    }
    m_slavePath = QString::fromLocal8Bit(name);
    // Raw on both sides until the client configures its own: an echoing slave would bounce our
    // answers straight back to us.
    for (int fd : {m_master, m_slave}) {
        struct termios tio
        {
        };
        if (::tcgetattr(fd, &tio) == 0) {
            ::cfmakeraw(&tio);
            ::tcsetattr(fd, TCSANOW, &tio);
        }
    }
    ::fcntl(m_master, F_SETFL, ::fcntl(m_master, F_GETFL) | O_NONBLOCK);

    const QByteArray link = QFile::encodeName(linkPath);
    ::unlink(link.constData());
    if (::symlink(name, link.constData()) != 0) {
        if (error)
            *error = QStringLiteral("symlink %1: %2").arg(linkPath, systemError());
        close();
        return false;
    }
    m_linkPath = linkPath;
    return true;
}

void PtyLine::close()
{
    if (!m_linkPath.isEmpty()) {
        ::unlink(QFile::encodeName(m_linkPath).constData());
        m_linkPath.clear();
    }
    if (m_master >= 0)
        ::close(m_master);
    if (m_slave >= 0)
        ::close(m_slave);
    m_master = m_slave = -1;
}

LineSettings PtyLine::settings() const
{
    LineSettings settings;
    readLineSettings(m_slave, settings, nullptr);
    return settings;
}

bool PtyLine::read(QByteArray& into, int timeoutMs)
{
    struct pollfd pfd = {m_master, POLLIN, 0};
    const int ready = ::poll(&pfd, 1, timeoutMs);
    if (ready < 0)
        return errno == EINTR;
    if (ready == 0)
        return true;
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(m_master, buffer, sizeof buffer);
        if (n > 0) {
            into.append(buffer, n);
            continue;
        }
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
            return true;
        // EIO: no one holds the slave; cannot happen while we keep it open, but do not spin on it.
        return n == 0 || errno == EIO;
    }
}

bool PtyLine::write(const QByteArray& bytes, bool paced)
{
    const LineSettings line = settings();
    const bool pacing = paced && line.baud > 0;
    const double usPerByte = pacing ? 1e6 * line.deviceBitsPerByte() / line.baud : 0.0;
    // Hand over about 5 ms of line time at once: close to a UART's pace, well inside any
    // inter-byte time-out.
    const qsizetype chunk =
        pacing ? std::max<qsizetype>(1, static_cast<qsizetype>(5000.0 / usPerByte)) : bytes.size();

    QElapsedTimer clock;
    clock.start();
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        const qsizetype want = std::min(chunk, bytes.size() - sent);
        const ssize_t n = ::write(m_master, bytes.constData() + sent, static_cast<size_t>(want));
        if (n < 0) {
            if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) {
                struct pollfd pfd = {m_master, POLLOUT, 0};
                ::poll(&pfd, 1, 20);
                continue;
            }
            return false;
        }
        sent += n;
        if (pacing) {
            const qint64 dueUs = static_cast<qint64>(sent * usPerByte);
            const qint64 aheadUs = dueUs - clock.nsecsElapsed() / 1000;
            if (aheadUs > 0)
                QThread::usleep(static_cast<unsigned long>(aheadUs));
        }
    }
    return true;
}

void PtyLine::discardPendingOutput()
{
    ::tcflush(m_slave, TCIFLUSH);
}

} // namespace tachoria::sim
