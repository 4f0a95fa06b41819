#include "simulator_process.h"

#include "process_runner.h"
#include "tools/sim/request_reader.h"

#include <QDeadlineTimer>

#include <utility>

namespace tachoria::test {

SimulatorProcess::SimulatorProcess(QStringList arguments, bool withAdapter, bool withState)
    : m_arguments(std::move(arguments))
{
    m_link = m_dir.filePath(QStringLiteral("tacho"));
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
    QStringList arguments{QStringLiteral("--link"), m_link};
    arguments += m_arguments;
    m_process.start(binaryPath(QStringLiteral("tachoria-sim")), arguments);
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

QList<QByteArray> SimulatorProcess::receivedRequests(const QString& line)
{
    const QString marker = line + QStringLiteral(": RX ");
    // The simulator logs one whole request per line; its own reader takes it apart again.
    sim::RequestReader reader;
    QList<QByteArray> requests;
    for (const QString& text : standardError().split(QLatin1Char('\n'))) {
        const qsizetype at = text.indexOf(marker);
        if (at < 0)
            continue;
        reader.append(QByteArray::fromHex(text.mid(at + marker.size()).toLatin1()));
        while (const auto request = reader.next())
            requests.append(QByteArray(1, static_cast<char>(request->frame.sid)) + request->frame.data);
    }
    return requests;
}

} // namespace tachoria::test
