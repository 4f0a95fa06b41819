#include "simulator_process.h"

#include "process_runner.h"

#include <QDeadlineTimer>
#include <QFile>

#include <csignal>
#include <sys/prctl.h>
#include <utility>

namespace tachoria::test {

SimulatorProcess::SimulatorProcess(QStringList arguments, bool withAdapter, bool withState)
    : m_arguments(std::move(arguments))
{
    m_link = m_dir.filePath(QStringLiteral("tacho"));
    m_arguments << QStringLiteral("--record") << m_dir.filePath(QStringLiteral("record.txt"));
    if (withAdapter)
        m_arguments << QStringLiteral("--adapter-link") << adapterLink();
    if (withState)
        m_arguments << QStringLiteral("--state") << statePath();
}

SimulatorProcess::~SimulatorProcess()
{
    stop();
}

bool SimulatorProcess::start(QString* error)
{
    // A test that crashes takes its simulator along instead of leaving it running.
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_process.start(binaryPath(QStringLiteral("tachoria-sim")),
                    QStringList{QStringLiteral("--link"), m_link} + m_arguments);
    const auto fail = [&](const QString& why) {
        if (error)
            *error = why + QStringLiteral(" ") + standardError();
        return false;
    };
    if (!m_process.waitForStarted(10000))
        return fail(QStringLiteral("tachoria-sim did not start: ") + m_process.errorString());
    const QDeadlineTimer deadline(15000);
    QByteArray output;
    while (!deadline.hasExpired()) {
        if (m_process.canReadLine() ||
            m_process.waitForReadyRead(static_cast<int>(deadline.remainingTime()))) {
            output += m_process.readLine();
            if (output.startsWith("READY ") && output.endsWith('\n') &&
                (!m_arguments.contains(QStringLiteral("--adapter-link")) || output.contains("\nADAPTER ")))
                return true;
        }
        if (m_process.state() != QProcess::Running)
            return fail(QStringLiteral("tachoria-sim ended early"));
    }
    return fail(QStringLiteral("tachoria-sim never became ready"));
}

bool SimulatorProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
    m_process.terminate();
    if (!m_process.waitForFinished(10000)) {
        m_process.kill();
        m_process.waitForFinished(5000);
        return false;
    }
    standardError();
    return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
}

QString SimulatorProcess::standardError()
{
    m_stderr += QString::fromUtf8(m_process.readAllStandardError());
    return m_stderr;
}

QList<Exchange> SimulatorProcess::exchanges() const
{
    QList<Exchange> out;
    QFile file(m_dir.filePath(QStringLiteral("record.txt")));
    if (!file.open(QIODevice::ReadOnly))
        return out;
    for (const QByteArray& line : file.readAll().split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() >= 4)
            out.append({fields[0].toLongLong(), QString::fromLatin1(fields[1]),
                        QString::fromLatin1(fields[2]), fields[3].toInt(),
                        QString::fromLatin1(fields.mid(4).join(' '))});
    }
    return out;
}

QStringList SimulatorProcess::requests(const QString& line) const
{
    QStringList out;
    for (const Exchange& exchange : exchanges()) {
        if (exchange.line == line && exchange.kind == QLatin1String("rx"))
            out.append(exchange.bytes);
    }
    return out;
}

QList<QByteArray> SimulatorProcess::receivedRequests(const QString& line) const
{
    QList<QByteArray> out;
    for (const QString& request : requests(line))
        out.append(QByteArray::fromHex(request.toLatin1()));
    return out;
}

} // namespace tachoria::test
