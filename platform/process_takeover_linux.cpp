#include "platform/process_takeover.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace tachoria::platform {

namespace {

// The name of a process's executable: the file behind /proc/PID/exe, or, where that link cannot be
// read, the command name the kernel keeps (cut at 15 characters, which "tachoria" fits).
QString executableName(const QString& procEntry)
{
    const QString target = QFile::symLinkTarget(procEntry + QStringLiteral("/exe"));
    if (!target.isEmpty())
        return QFileInfo(target.endsWith(QLatin1String(" (deleted)")) ? target.chopped(10) : target)
            .fileName();
    QFile comm(procEntry + QStringLiteral("/comm"));
    if (!comm.open(QIODevice::ReadOnly))
        return {};
    return QString::fromLocal8Bit(comm.readAll()).trimmed();
}

// A process counts as gone once it has ended, also while its parent has not yet collected it.
bool processRunning(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = stat.readAll();
    const qsizetype close = line.lastIndexOf(')');
    return close < 0 || line.mid(close + 2, 1) != "Z";
}

// A console probe has no window to close: like a windowless process elsewhere it is not asked to
// leave, and a transfer it runs is never cut. The takeover waits for it all the same.
bool runsWindow(qint64 pid)
{
    QFile commandLine(QStringLiteral("/proc/%1/cmdline").arg(pid));
    if (!commandLine.open(QIODevice::ReadOnly))
        return true;
    const QList<QByteArray> arguments = commandLine.readAll().split('\0');
    return std::none_of(arguments.cbegin(), arguments.cend(),
                        [](const QByteArray& argument) { return argument.startsWith("--probe-"); });
}

} // namespace

QStringList tachoriaExecutableNames()
{
    return {QStringLiteral("tachoria"), QStringLiteral("Tachoria.exe"), QStringLiteral("TachoriaQt.exe")};
}

QList<qint64> runningInstances(const QStringList& names)
{
    QList<qint64> pids;
    const qint64 self = QCoreApplication::applicationPid();
    const uid_t user = ::getuid();
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        bool number = false;
        const qint64 pid = entry.toLongLong(&number);
        if (!number || pid == self)
            continue;
        const QString path = QStringLiteral("/proc/") + entry;
        struct stat info
        {
        };
        if (::stat(QFile::encodeName(path).constData(), &info) != 0 || info.st_uid != user)
            continue;
        const QString name = executableName(path);
        const bool ours = std::any_of(names.cbegin(), names.cend(), [&name](const QString& candidate) {
            return name.compare(candidate, Qt::CaseInsensitive) == 0;
        });
        if (ours && processRunning(pid))
            pids.append(pid);
    }
    return pids;
}

bool takeOverProcesses(const QList<qint64>& pids, const TakeoverLimits& limits, QString* error)
{
    for (const qint64 pid : pids) {
        if (!processRunning(pid))
            continue;
        // The program turns SIGTERM into an orderly end of its event loop, which closes the port.
        if (runsWindow(pid))
            ::kill(pid_t(pid), SIGTERM);
        QElapsedTimer waited;
        waited.start();
        while (processRunning(pid) && waited.elapsed() < limits.gracefulWaitMs)
            QThread::msleep(limits.pollIntervalMs);
        if (processRunning(pid)) {
            if (error)
                *error = QStringLiteral("Старый процесс Tachoria (PID %1) не закрылся штатно. Закройте его "
                                        "вручную и повторите запуск.")
                             .arg(pid);
            return false;
        }
    }
    return true;
}

bool takeOverTachoriaProcesses(QString* error)
{
    if (!QFileInfo(QStringLiteral("/proc/self")).exists()) {
        if (error)
            *error = QStringLiteral("Не удалось получить список процессов: %1")
                         .arg(QString::fromLocal8Bit(std::strerror(ENOENT)));
        return false;
    }
    return takeOverProcesses(runningInstances(tachoriaExecutableNames()), TakeoverLimits{}, error);
}

} // namespace tachoria::platform
