#include "cups_stand_in.h"

#include <QFileInfo>
#include <QStandardPaths>
#include <QTest>

namespace tachoria::test {

namespace {

const QString kPdfModel = QStringLiteral("lsb/usr/cups-pdf/CUPS-PDF_opt.ppd");

QString program(const QString& name)
{
    const QString onPath = QStandardPaths::findExecutable(name);
    return onPath.isEmpty() ? QStandardPaths::findExecutable(name, {QStringLiteral("/usr/sbin")}) : onPath;
}

int runTool(const QString& name, const QStringList& arguments, QString* output = nullptr)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program(name), arguments);
    if (!process.waitForFinished(15000))
        return -1;
    if (output)
        *output = QString::fromLocal8Bit(process.readAll());
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

bool schedulerRunning()
{
    QString state;
    return runTool(QStringLiteral("lpstat"), {QStringLiteral("-r")}, &state) == 0 &&
           state.contains(QLatin1String("is running"));
}

} // namespace

CupsStandIn::~CupsStandIn()
{
    for (const QString& name : std::as_const(m_printers))
        runTool(QStringLiteral("lpadmin"), {QStringLiteral("-x"), name});
    stop();
}

QString CupsStandIn::unavailableReason()
{
    if (program(QStringLiteral("cupsd")).isEmpty() || program(QStringLiteral("lpadmin")).isEmpty())
        return QStringLiteral("CUPS is not installed (packages cups, cups-client)");
    if (!QFileInfo::exists(QStringLiteral("/usr/lib/cups/backend/cups-pdf")))
        return QStringLiteral("the PDF printer is missing (package printer-driver-cups-pdf)");
    return QString();
}

bool CupsStandIn::start(QString* error)
{
    if (schedulerRunning())
        return true;
    m_cupsd.start(program(QStringLiteral("cupsd")), {QStringLiteral("-f")});
    if (!m_cupsd.waitForStarted(10000) || !QTest::qWaitFor(schedulerRunning, 15000)) {
        if (error)
            *error = QStringLiteral("cupsd did not start: ") + QString::fromLocal8Bit(m_cupsd.readAll());
        stop();
        return false;
    }
    return true;
}

void CupsStandIn::stop()
{
    if (m_cupsd.state() == QProcess::NotRunning)
        return;
    m_cupsd.terminate();
    if (!m_cupsd.waitForFinished(10000)) {
        m_cupsd.kill();
        m_cupsd.waitForFinished(5000);
    }
}

bool CupsStandIn::addPdfPrinter(const QString& name, QString* error)
{
    QString output;
    if (runTool(QStringLiteral("lpadmin"),
                {QStringLiteral("-p"), name, QStringLiteral("-v"), QStringLiteral("cups-pdf:/"),
                 QStringLiteral("-E"), QStringLiteral("-m"), kPdfModel},
                &output) != 0) {
        if (error)
            *error = QStringLiteral("lpadmin could not add %1: %2").arg(name, output);
        return false;
    }
    m_printers.append(name);
    return true;
}

bool CupsStandIn::removePrinter(const QString& name)
{
    m_printers.removeAll(name);
    return runTool(QStringLiteral("lpadmin"), {QStringLiteral("-x"), name}) == 0;
}

} // namespace tachoria::test
