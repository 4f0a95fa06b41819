// The console export of the decoder: one JSON document of a .ddd file's report, for scripts and tools.
#include "app/probes.h"
#include "ddd/ddd_decoder.h"
#include "ddd/ddd_json.h"

#include <QTextStream>

namespace tachoria::app {

int runDddProbe(const CommandLine& commandLine)
{
    QString error;
    const ddd::DddReport report =
        ddd::Decoder::decodeFile(commandLine.value(QStringLiteral("--probe-ddd")), &error);
    if (report.fileType == ddd::DddFileType::Unknown) {
        QTextStream(stderr) << error << '\n';
        return 9;
    }
    return ddd::writeReportJson(report, stdout) ? 0 : 9;
}

} // namespace tachoria::app
