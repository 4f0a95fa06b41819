// The PDF report of a .ddd file from the console, with every section: reports made in batch and checked
// without a window.
#include "app/probes.h"
#include "ddd/ddd_decoder.h"
#include "documents/ddd_report_renderer.h"

#include <QTextStream>

namespace tachoria::app {

int runReportProbe(const CommandLine& commandLine)
{
    constexpr int kFailed = 9;
    const QStringList& arguments = commandLine.arguments();
    const qsizetype at = arguments.indexOf(QStringLiteral("--probe-report"));
    QTextStream errors(stderr);
    if (at + 2 >= arguments.size()) {
        errors << "Не задан путь для сохранения отчёта\n";
        return kFailed;
    }
    QString error;
    const ddd::DddReport report = ddd::Decoder::decodeFile(arguments.at(at + 1), &error);
    if (report.fileType == ddd::DddFileType::Unknown) {
        errors << error << '\n';
        return kFailed;
    }
    if (!documents::DddReportRenderer::writePdf(arguments.at(at + 2), report, &error)) {
        errors << QStringLiteral("PDF не создан: %1").arg(error) << '\n';
        return kFailed;
    }
    return 0;
}

} // namespace tachoria::app
