// What keeping and handing out a report costs: the PDF of a four-week card and of a 1 MiB unit with every
// section and chart (its size as a counter), and saving and loading the unit's report in ReportsDB.db.
#include "ddd/ddd_decoder.h"
#include "ddd/ddd_repository.h"
#include "documents/ddd_report_renderer.h"
#include "tools/dddgen/ddd_generator.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace tachoria;

namespace {

// About 1 MiB: the busy unit grows by some 2.8 KiB a day.
const ddd::DddReport& vehicleUnit()
{
    static const ddd::DddReport report =
        ddd::Decoder::decode(dddgen::busyVehicleUnit(360, false), QStringLiteral("unit-1mib.ddd"));
    return report;
}

const ddd::DddReport& card()
{
    static const ddd::DddReport report = ddd::Decoder::decode(
        dddgen::writeDriverCard(dddgen::sampleDriverCard(28)), QStringLiteral("card-28.ddd"));
    return report;
}

void renderPdf(benchmark::State& state, const ddd::DddReport& report)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("report.pdf"));
    const QVariantMap everything{{QStringLiteral("sections"), QStringList{QStringLiteral("all")}},
                                 {QStringLiteral("graphs"), documents::DddReportRenderer::chartKeys()}};
    for (auto _ : state) {
        QString error;
        if (!documents::DddReportRenderer::writePdf(path, report, everything, &error))
            state.SkipWithError(error.toUtf8().constData());
    }
    state.counters["fileKiB"] = report.size / 1024.0;
    state.counters["pdfKiB"] = QFileInfo(path).size() / 1024.0;
}

void saveReport(benchmark::State& state)
{
    QTemporaryDir folder;
    ddd::DddRepository repository(folder.filePath(QStringLiteral("ReportsDB.db")));
    for (auto _ : state)
        benchmark::DoNotOptimize(repository.save(vehicleUnit()));
    state.counters["fileKiB"] = vehicleUnit().size / 1024.0;
}

void loadReport(benchmark::State& state)
{
    QTemporaryDir folder;
    ddd::DddRepository repository(folder.filePath(QStringLiteral("ReportsDB.db")));
    const qint64 id = repository.save(vehicleUnit());
    for (auto _ : state) {
        const std::optional<ddd::DddReport> report = repository.loadReport(id, ddd::DddFileType::Tachograph);
        if (!report)
            state.SkipWithError("not loaded");
        benchmark::DoNotOptimize(report->activityChanges.size());
    }
}

} // namespace

int main(int argc, char** argv)
{
    // Fonts for the PDF without a display.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    benchmark::RegisterBenchmark("pdf/cardOf28Days", [](benchmark::State& s) {
        renderPdf(s, card());
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("pdf/vehicleUnit1MiB",
                                 [](benchmark::State& s) { renderPdf(s, vehicleUnit()); })
        ->Unit(benchmark::kMillisecond)
        ->Iterations(3);
    benchmark::RegisterBenchmark("repository/save/vehicleUnit1MiB", saveReport)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(5);
    benchmark::RegisterBenchmark("repository/load/vehicleUnit1MiB", loadReport)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(5);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
