#include "app/probes.h"

#include "logging/application_logger.h"
#include "protocol/download_detector.h"
#include "storage/app_paths.h"

#include <QCoreApplication>
#include <QSerialPort>
#include <QTextStream>

#include <cstdio>

namespace tachoria::app {

namespace {

const QString kProbePort = QStringLiteral("--probe-port");
const QString kBaud = QStringLiteral("--baud");
const QString kParity = QStringLiteral("--parity");
constexpr int kDefaultBaud = 115200;
constexpr int kPortProbeFailed = 2;

void startProbe(bool setOrganisation)
{
    if (setOrganisation)
        QCoreApplication::setOrganizationName(QStringLiteral("Norvelika"));
    QCoreApplication::setApplicationName(QStringLiteral("Tachoria"));
    storage::AppPaths::ensureDirectories();
    logging::ApplicationLogger::initialize(storage::AppPaths::logDirectory(), true);
}

int parityFromWord(const QString& word)
{
    const QString lower = word.toLower();
    if (lower == QLatin1String("none"))
        return QSerialPort::NoParity;
    if (lower == QLatin1String("even"))
        return QSerialPort::EvenParity;
    if (lower == QLatin1String("odd"))
        return QSerialPort::OddParity;
    return -1; // the detector's own default for the speed
}

QString yesNo(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

} // namespace

int runPortProbe(const CommandLine& commandLine)
{
    const QString port = commandLine.value(kProbePort);
    const int baud = commandLine.number(kBaud, kDefaultBaud);
    const int parity = parityFromWord(commandLine.value(kParity));

    const protocol::DownloadDeviceInfo info =
        protocol::DownloadDeviceDetector::probe(port, baud, nullptr, parity);

    QTextStream out(stdout);
    out << "matched=" << yesNo(info.matched) << " port=" << protocol::displayPortName(port)
        << " baud=" << baud << " diagnostic=" << info.diagnostic << " serial=" << info.serialNumber
        << " skzi=" << info.skziStatus << '\n';
    out.flush();
    return info.matched ? 0 : kPortProbeFailed;
}

std::optional<int> runRequestedProbe(int& argc, char** argv, const CommandLine& commandLine)
{
    struct Probe
    {
        QString name;
        bool setsOrganisation;
        int (*run)(const CommandLine&);
    };
    // Checked in this order; the first present runs and nothing else of the program does.
    const Probe probes[] = {
        {QStringLiteral("--probe-calibration"), false, &runCalibrationProbe},
        {QStringLiteral("--probe-can"), false, &runCanProbe},
        {QStringLiteral("--probe-download"), true, &runDownloadProbe},
        {kProbePort, false, &runPortProbe},
        {QStringLiteral("--probe-ddd"), false, &runDddProbe},
        {QStringLiteral("--probe-firmware"), false, &runFirmwareProbe},
    };
    for (const Probe& probe : probes) {
        if (!commandLine.hasValue(probe.name))
            continue;
        QCoreApplication application(argc, argv);
        startProbe(probe.setsOrganisation);
        const int code = probe.run(commandLine);
        logging::ApplicationLogger::shutdown();
        return code;
    }
    return std::nullopt;
}

} // namespace tachoria::app
