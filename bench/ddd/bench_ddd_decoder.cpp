// The decoder per kind of file: decoding alone, and writing the console export of the report, with the
// peak memory of the process after them. The whole process is measured from outside (hyperfine and
// /usr/bin/time on `tachoria --probe-ddd`, files from `tachoria-dddgen bench-files`).
#include "../bench_common.h"
#include "ddd/ddd_decoder.h"
#include "ddd/ddd_json.h"
#include "tools/dddgen/ddd_generator.h"

#include <QFile>

#include <cstdio>

using namespace tachoria;
using namespace tachoria::dddgen;

namespace {

QByteArray sample(const char* name)
{
    QFile file(QStringLiteral(TACHORIA_SOURCE_DIR "/tests/ddd/samples/") + QLatin1String(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void peakMemory(benchmark::State& state, const QByteArray& bytes)
{
    state.SetBytesProcessed(qint64(state.iterations()) * bytes.size());
    state.counters["fileKiB"] = bytes.size() / 1024.0;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["peakRssMiB"] = usage.ru_maxrss / 1024.0;
}

void decode(benchmark::State& state, const QByteArray& bytes)
{
    for (auto _ : state) {
        const ddd::DddReport report = ddd::Decoder::decode(bytes, QStringLiteral("bench.ddd"));
        benchmark::DoNotOptimize(report.blocks.size());
    }
    peakMemory(state, bytes);
}

void writeExport(benchmark::State& state, const QByteArray& bytes)
{
    const ddd::DddReport report = ddd::Decoder::decode(bytes, QStringLiteral("bench.ddd"));
    FILE* out = std::fopen("/dev/null", "w");
    for (auto _ : state)
        benchmark::DoNotOptimize(ddd::writeReportJson(report, out));
    std::fclose(out);
    peakMemory(state, bytes);
}

const QByteArray& file(int kind)
{
    static const QByteArray files[] = {sample("card_fi_wrapped_ring.ddd"),
                                       sample("card_gen1_gen2_dfs.ddd"),
                                       sample("vu_gen1.ddd"),
                                       dayOfSpeedVehicleUnit(),
                                       writeDriverCard(sampleDriverCard(28)),
                                       busyVehicleUnit(1450, false),
                                       longActivityCard(11)};
    return files[kind];
}

const char* const kNames[] = {"sampleCardWrappedRing", "sampleCardGen1Gen2", "sampleVehicleUnit",
                              "vehicleUnitDayOfSpeed", "cardOf28Days",       "vehicleUnit4MiB",
                              "cardLongActivity0_7MB"};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    for (int kind = 0; kind < 7; ++kind) {
        const int iterations = kind >= 5 ? 3 : 0;
        auto* decoding =
            benchmark::RegisterBenchmark((std::string("decode/") + kNames[kind]).c_str(),
                                         [kind](benchmark::State& state) { decode(state, file(kind)); });
        auto* exporting =
            benchmark::RegisterBenchmark((std::string("export/") + kNames[kind]).c_str(),
                                         [kind](benchmark::State& state) { writeExport(state, file(kind)); });
        for (auto* benchmark : {decoding, exporting}) {
            benchmark->Unit(benchmark::kMillisecond);
            if (iterations > 0)
                benchmark->Iterations(iterations);
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
