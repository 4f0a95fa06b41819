#include "cups_stand_in.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <QTest>

namespace tachoria::test {

namespace {

const QString kPdfPpd = QStringLiteral("/usr/share/ppd/cups-pdf/CUPS-PDF_opt.ppd");
// The tape of a label printer, 100 × 18,6 mm, in points as a PPD gives sizes.
const QString kTapeKey = QStringLiteral("Tape100x18.6mm");
const QString kTapePoints = QStringLiteral("283.46 52.72");

QString instanceConfig(const QString& name)
{
    return QStringLiteral("/etc/cups/cups-pdf-%1.conf").arg(name);
}

QString program(const QString& name)
{
    const QString onPath = QStandardPaths::findExecutable(name);
    return onPath.isEmpty() ? QStandardPaths::findExecutable(name, {QStringLiteral("/usr/sbin")}) : onPath;
}

int runTool(const QString& name, const QStringList& arguments, QString* output = nullptr)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    // The tools' answers are read as words: they must not come translated.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    process.setProcessEnvironment(environment);
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
    if (!m_previousDefault.isEmpty())
        runTool(QStringLiteral("lpadmin"), {QStringLiteral("-d"), m_previousDefault});
    for (const QString& name : QStringList(m_printers))
        removePrinter(name);
    stop();
}

QString CupsStandIn::unavailableReason()
{
    if (program(QStringLiteral("cupsd")).isEmpty() || program(QStringLiteral("lpadmin")).isEmpty())
        return QStringLiteral("CUPS is not installed (packages cups, cups-client)");
    if (!QFileInfo::exists(QStringLiteral("/usr/lib/cups/backend/cups-pdf")) || !QFileInfo::exists(kPdfPpd))
        return QStringLiteral("the PDF printer is missing (package printer-driver-cups-pdf)");
    if (program(QStringLiteral("ipptool")).isEmpty())
        return QStringLiteral("ipptool is missing (package cups-ipp-utils)");
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

bool CupsStandIn::addQueue(const QString& name, bool label, QString* error)
{
    const QString ppd = writeDriver(name, label, error);
    if (ppd.isEmpty())
        return false;
    // cups-pdf reads the configuration of its instance, named in the device URI: this queue's files
    // land in a folder of this stand-in, apart from any other queue's and any other user's.
    const QString folder = m_output.filePath(name);
    QFile config(instanceConfig(name));
    if (!QDir().mkpath(folder) || !config.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        if (error)
            *error = QStringLiteral("cannot prepare the output of %1: %2").arg(name, config.errorString());
        return false;
    }
    config.write(QStringLiteral("Out %1\nLabel 1\n").arg(folder).toLocal8Bit());
    config.close();
    const QStringList arguments = {QStringLiteral("-p"),
                                   name,
                                   QStringLiteral("-v"),
                                   QStringLiteral("cups-pdf:/") + name,
                                   QStringLiteral("-E"),
                                   QStringLiteral("-P"),
                                   ppd};
    QString output;
    if (runTool(QStringLiteral("lpadmin"), arguments, &output) != 0) {
        if (error)
            *error = QStringLiteral("lpadmin could not add %1: %2").arg(name, output);
        QFile::remove(instanceConfig(name));
        return false;
    }
    m_printers.append(name);
    return true;
}

bool CupsStandIn::addPdfPrinter(const QString& name, QString* error)
{
    return addQueue(name, false, error);
}

bool CupsStandIn::addLabelPrinter(const QString& name, QString* error)
{
    return addQueue(name, true, error);
}

QString CupsStandIn::writeDriver(const QString& name, bool label, QString* error)
{
    QFile source(kPdfPpd);
    if (!source.open(QIODevice::ReadOnly)) {
        if (error)
            *error = source.errorString();
        return {};
    }
    QStringList ppd;
    const QStringList lines = QString::fromLatin1(source.readAll()).split(QLatin1Char('\n'));
    if (label) {
        // A label printer's driver offers only the tapes it takes: the PDF printer's sheets give way
        // to the tape.
        const QString tape = QStringLiteral("%1/Tape 18.6 x 100 mm").arg(kTapeKey);
        const QString pageSize =
            QStringLiteral("\"<</PageSize[%1]/ImagingBBox null>>setpagedevice\"").arg(kTapePoints);
        const std::pair<const char*, QString> entries[] = {
            {"PageSize", pageSize},
            {"PageRegion", pageSize},
            {"ImageableArea", QStringLiteral("\"0 0 %1\"").arg(kTapePoints)},
            {"PaperDimension", QStringLiteral("\"%1\"").arg(kTapePoints)},
        };
        for (const QString& line : lines) {
            bool sheet = false;
            for (const auto& [keyword, value] : entries) {
                const QString key = QString::fromLatin1(keyword);
                if (line.startsWith(QStringLiteral("*Default%1:").arg(key))) {
                    ppd << QStringLiteral("*Default%1: %2").arg(key, kTapeKey);
                    sheet = true;
                } else if (line.startsWith(QStringLiteral("*%1 A4/").arg(key))) {
                    ppd << QStringLiteral("*%1 %2: %3").arg(key, tape, value);
                    sheet = true;
                } else if (line.startsWith(QStringLiteral("*%1 ").arg(key))) {
                    sheet = true;
                }
            }
            if (!sheet)
                ppd << line;
        }
    } else {
        // An office printer prints on both sides.
        ppd = lines;
        ppd << QStringLiteral("*OpenUI *Duplex/2-Sided Printing: PickOne")
            << QStringLiteral("*OrderDependency: 10 AnySetup *Duplex")
            << QStringLiteral("*DefaultDuplex: None")
            << QStringLiteral("*Duplex None/Off: \"<</Duplex false>>setpagedevice\"")
            << QStringLiteral(
                   "*Duplex DuplexNoTumble/Long Edge: \"<</Duplex true/Tumble false>>setpagedevice\"")
            << QStringLiteral(
                   "*Duplex DuplexTumble/Short Edge: \"<</Duplex true/Tumble true>>setpagedevice\"")
            << QStringLiteral("*CloseUI: *Duplex") << QString();
    }
    const QString path = m_output.filePath(name + QStringLiteral(".ppd"));
    QFile file(path);
    const QByteArray text = ppd.join(QLatin1Char('\n')).toLatin1();
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
        if (error)
            *error = file.errorString();
        return {};
    }
    return path;
}

bool CupsStandIn::removePrinter(const QString& name)
{
    m_printers.removeAll(name);
    QFile::remove(instanceConfig(name));
    return runTool(QStringLiteral("lpadmin"), {QStringLiteral("-x"), name}) == 0;
}

bool CupsStandIn::setDefaultPrinter(const QString& name)
{
    if (m_previousDefault.isEmpty()) {
        QString current;
        runTool(QStringLiteral("lpstat"), {QStringLiteral("-d")}, &current);
        const int colon = current.indexOf(QLatin1Char(':'));
        if (current.startsWith(QLatin1String("system default destination")) && colon > 0)
            m_previousDefault = current.mid(colon + 1).trimmed();
    }
    return runTool(QStringLiteral("lpadmin"), {QStringLiteral("-d"), name}) == 0;
}

QStringList CupsStandIn::printedFiles(const QString& name) const
{
    QStringList files;
    const QDir folder(m_output.filePath(name));
    for (const QFileInfo& file :
         folder.entryInfoList({QStringLiteral("*.pdf")}, QDir::Files, QDir::Time | QDir::Reversed))
        files << file.absoluteFilePath();
    return files;
}

QMap<QString, QString> CupsStandIn::lastJobAttributes(const QString& name,
                                                      const QStringList& attributes) const
{
    QTemporaryFile request;
    if (!request.open())
        return {};
    request.write(QStringLiteral("{\n OPERATION Get-Jobs\n GROUP operation-attributes-tag\n"
                                 " ATTR charset attributes-charset utf-8\n"
                                 " ATTR naturalLanguage attributes-natural-language en\n"
                                 " ATTR uri printer-uri $uri\n ATTR keyword which-jobs all\n"
                                 " ATTR keyword requested-attributes job-id,%1\n}\n")
                      .arg(attributes.join(QLatin1Char(',')))
                      .toLatin1());
    request.close();
    QString output;
    runTool(QStringLiteral("ipptool"),
            {QStringLiteral("-tv"), QStringLiteral("ipp://localhost/printers/") + name, request.fileName()},
            &output);
    // The response lists the jobs one group after the other; the highest job-id is the latest job.
    static const QRegularExpression line(QStringLiteral("^\\s*([a-z0-9-]+) \\([^)]*\\) = (.*)$"));
    QMap<QString, QString> latest;
    QMap<QString, QString> current;
    int latestId = -1;
    const auto finish = [&] {
        const int id = current.value(QStringLiteral("job-id"), QStringLiteral("-1")).toInt();
        if (id > latestId) {
            latestId = id;
            latest = current;
        }
        current.clear();
    };
    const QString response = output.section(QStringLiteral("status-code ="), 1);
    for (const QString& text : response.split(QLatin1Char('\n'))) {
        if (text.contains(QLatin1String("-- separator --"))) {
            finish();
            continue;
        }
        const QRegularExpressionMatch match = line.match(text);
        if (match.hasMatch() &&
            (match.captured(1) == QLatin1String("job-id") || attributes.contains(match.captured(1))))
            current.insert(match.captured(1), match.captured(2).trimmed());
    }
    finish();
    latest.remove(QStringLiteral("job-id"));
    return latest;
}

} // namespace tachoria::test
