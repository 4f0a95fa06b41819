// The console probes of the calibration: a full read, and a CAN speed detection after it.
#include "app/probes.h"
#include "calibration/calibration_workflow.h"

#include <QTextStream>
#include <QThread>

#include <algorithm>

namespace tachoria::app {

namespace {

constexpr int kDefaultBaud = 115200;

QString yesNo(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

calibration::CalibrationSettings settingsFor(const QString& port, const CommandLine& commandLine)
{
    calibration::CalibrationSettings settings;
    settings.port = port;
    settings.baud = commandLine.number(QStringLiteral("--baud"), kDefaultBaud);
    return settings;
}

} // namespace

int runCalibrationProbe(const CommandLine& commandLine)
{
    const QString port = commandLine.value(QStringLiteral("--probe-calibration"));
    const calibration::CalibrationSettings settings = settingsFor(port, commandLine);
    calibration::CalibrationWorkflow workflow;
    workflow.configure(settings);
    QString error;
    const bool read = workflow.readCalibration(&error);

    QTextStream out(stdout);
    out << "calibration_read=" << yesNo(read) << " port=" << port << " baud=" << settings.baud
        << " error=" << error << '\n';
    if (read) {
        for (const calibration::CalibrationParameter& parameter : workflow.parameters()) {
            out << parameter.name << '='
                << (parameter.available ? calibration::CalibrationParameterCodec::displayValue(parameter)
                                        : QStringLiteral("Не поддерживается"))
                << '\n';
        }
    }
    out.flush();
    workflow.stopCommunication();
    return read ? 0 : 3;
}

int runCanProbe(const CommandLine& commandLine)
{
    const QString port = commandLine.value(QStringLiteral("--probe-can"));
    const calibration::CalibrationSettings settings = settingsFor(port, commandLine);
    const int channel = std::clamp(commandLine.number(QStringLiteral("--can"), 0), 0, 1);
    calibration::CalibrationWorkflow workflow;
    workflow.configure(settings);
    QString error;
    const bool read = workflow.readCalibration(&error);
    bool session = false;
    bool detected = false;
    QByteArray result;
    if (read) {
        session = workflow.startAdjustmentSession(&error);
        if (session) {
            QThread::msleep(1000);
            detected = workflow.detectCanSpeed(channel, result, &error);
        }
    }
    QTextStream out(stdout);
    out << "can_probe_read=" << yesNo(read) << " session=" << yesNo(session) << " detect=" << yesNo(detected)
        << " can=" << channel << " result=" << QString::fromLatin1(result.toHex()) << " error=" << error
        << '\n';
    out.flush();
    workflow.stopCommunication();
    return detected ? 0 : 5;
}

} // namespace tachoria::app
