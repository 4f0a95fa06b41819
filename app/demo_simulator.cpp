#include "app/demo_simulator.h"

#include "platform/child_process.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFileInfo>

namespace tachoria::app {

namespace {

constexpr int kStartTimeoutMs = 10000;

} // namespace

DemoSimulator::~DemoSimulator()
{
    stop();
}

bool DemoSimulator::start(QString* error)
{
    const QString program = QCoreApplication::applicationDirPath() + QStringLiteral("/tachoria-sim");
    if (!QFileInfo(program).isExecutable()) {
        *error = QStringLiteral("Не найден имитатор тахографа: %1").arg(program);
        return false;
    }
    if (!m_folder.isValid()) {
        *error = QStringLiteral("Не удалось создать временную папку для имитатора");
        return false;
    }
    m_link = m_folder.filePath(QStringLiteral("tachograph"));
    platform::endWithParent(m_process);
    m_process.setStandardErrorFile(QProcess::nullDevice());
    m_process.start(program, {QStringLiteral("--link"), m_link});
    if (!m_process.waitForStarted(kStartTimeoutMs)) {
        *error = QStringLiteral("Не удалось запустить имитатор тахографа: %1").arg(m_process.errorString());
        return false;
    }
    // The simulator says "READY <link>" when a client can open its line.
    QByteArray output;
    const QDeadlineTimer deadline(kStartTimeoutMs);
    while (!output.contains("READY ") && !deadline.hasExpired()) {
        if (!m_process.waitForReadyRead(int(deadline.remainingTime())))
            break;
        output.append(m_process.readAllStandardOutput());
    }
    if (!output.contains("READY ")) {
        *error = QStringLiteral("Имитатор тахографа не ответил о готовности");
        stop();
        return false;
    }
    return true;
}

void DemoSimulator::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(3000)) {
        m_process.kill();
        m_process.waitForFinished(1000);
    }
}

} // namespace tachoria::app
