// The console probe of a download: a whole run against the port, with its status and progress lines.
#include "app/probes.h"
#include "download/download_workflow.h"

#include <QDateTime>
#include <QTextStream>

namespace tachoria::app {

int runDownloadProbe(const CommandLine& commandLine)
{
    download::DownloadSettings settings;
    settings.portName = commandLine.value(QStringLiteral("--probe-download"));
    settings.startBaud = 9600;
    settings.maxBaud = 115200;
    if (commandLine.hasValue(QStringLiteral("--baud")))
        settings.startBaud = settings.maxBaud = commandLine.number(QStringLiteral("--baud"), 0);
    settings.filePrefix = QDateTime::currentDateTime().toString(QStringLiteral("dd_MM_yy_HH_mm_ss-"));

    const bool all = commandLine.has(QStringLiteral("--all"));
    download::DownloadOptions options;
    options.skipCaCertificate = true;
    options.tachograph = true;
    options.overview = true;
    options.periodMode = 2;
    options.periodBegin = QDate::currentDate().addDays(-7);
    options.periodEnd = QDate::currentDate();
    options.activities = options.eventsFaults = options.detailedSpeed = options.technicalData = all;

    QTextStream out(stdout);
    const std::atomic_bool stop{false};
    const download::DownloadResult result = download::DownloadWorkflow::run(
        settings, options, stop,
        [&out](const QString& text) {
            out << "status=" << text << '\n';
            out.flush();
        },
        [&out](int percent) {
            out << "progress=" << percent << '\n';
            out.flush();
        });
    out << "download_success=" << (result.success ? "true" : "false") << " output=" << result.filePath
        << " vehicle=" << result.registration << " nkm=" << result.nkmSerial << " card=" << result.cardNumber
        << " error=" << result.errorText << '\n';
    out.flush();
    return result.success ? 0 : 4;
}

} // namespace tachoria::app
