#include "pcsc_stand_in.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QThread>

namespace tachoria::test {

namespace {

const QString kDriver = QStringLiteral("/usr/lib/pcsc/drivers/serial/libifdvpcd.so");

QString cardScript()
{
    return QDir(QStringLiteral(TACHORIA_SOURCE_DIR))
        .filePath(QStringLiteral("tests/cards/virtual_tachograph_card.py"));
}

QString pcscdPath()
{
    const QString onPath = QStandardPaths::findExecutable(QStringLiteral("pcscd"));
    return onPath.isEmpty()
               ? QStandardPaths::findExecutable(QStringLiteral("pcscd"), {QStringLiteral("/usr/sbin")})
               : onPath;
}

} // namespace

PcscStandIn::~PcscStandIn()
{
    removeCard();
    stopService();
}

QString PcscStandIn::unavailableReason()
{
    if (pcscdPath().isEmpty())
        return QStringLiteral("pcscd is not installed (package pcscd)");
    if (!QFileInfo::exists(kDriver))
        return QStringLiteral("the virtual reader driver is missing (package vsmartcard-vpcd)");
    if (QStandardPaths::findExecutable(QStringLiteral("python3")).isEmpty())
        return QStringLiteral("python3 is missing");
    return QString();
}

bool PcscStandIn::serviceRunning()
{
    QProcess pgrep;
    pgrep.start(QStringLiteral("pgrep"), {QStringLiteral("-x"), QStringLiteral("pcscd")});
    pgrep.waitForFinished(5000);
    return pgrep.exitCode() == 0;
}

bool PcscStandIn::startService(QString* error)
{
    if (serviceRunning())
        return true;
    m_pcscd.setProcessChannelMode(QProcess::MergedChannels);
    m_pcscd.start(pcscdPath(), {QStringLiteral("--foreground")});
    if (!m_pcscd.waitForStarted(5000)) {
        if (error)
            *error = QStringLiteral("pcscd did not start: ") + m_pcscd.errorString();
        return false;
    }
    // Ready once its socket accepts clients.
    const QDeadlineTimer deadline(10000);
    while (!deadline.hasExpired() && !QFileInfo::exists(QStringLiteral("/run/pcscd/pcscd.comm")))
        QThread::msleep(50);
    QThread::msleep(300);
    return m_pcscd.state() == QProcess::Running;
}

void PcscStandIn::stopService()
{
    if (m_pcscd.state() == QProcess::NotRunning)
        return;
    m_pcscd.terminate();
    if (!m_pcscd.waitForFinished(5000)) {
        m_pcscd.kill();
        m_pcscd.waitForFinished(2000);
    }
}

bool PcscStandIn::insertCard(QString* error)
{
    return insertCard({}, error);
}

bool PcscStandIn::insertCard(const QStringList& cardArguments, QString* error)
{
    m_card.start(QStringLiteral("python3"), QStringList{cardScript(), QStringLiteral("--log"),
                                                        m_dir.filePath(QStringLiteral("card.log"))} +
                                                cardArguments);
    if (!m_card.waitForStarted(5000) || !m_card.waitForReadyRead(10000) ||
        !m_card.readLine().startsWith("CARD READY")) {
        if (error)
            *error = QStringLiteral("the virtual card did not come up: ") +
                     QString::fromUtf8(m_card.readAllStandardError());
        return false;
    }
    return true;
}

void PcscStandIn::removeCard()
{
    if (m_card.state() == QProcess::NotRunning)
        return;
    m_card.kill();
    m_card.waitForFinished(5000);
}

QStringList PcscStandIn::cardLog() const
{
    QFile file(m_dir.filePath(QStringLiteral("card.log")));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromLatin1(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

void PcscStandIn::clearCardLog() const
{
    QFile::remove(m_dir.filePath(QStringLiteral("card.log")));
}

} // namespace tachoria::test
