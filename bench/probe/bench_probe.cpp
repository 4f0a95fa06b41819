// How long one probe takes against the simulator, and whether a probe that waits for a silent device
// sleeps rather than spins.
#include "../../tests/support/process_runner.h"
#include "../../tests/support/simulator_process.h"
#include "../bench_common.h"
#include "protocol/download_detector.h"

#include <QElapsedTimer>

using tachoria::protocol::DownloadDeviceDetector;
using tachoria::test::SimulatorProcess;

namespace {

void probeRoundTrip(benchmark::State& state)
{
    const int baud = static_cast<int>(state.range(0));
    SimulatorProcess sim;
    if (!sim.start()) {
        state.SkipWithError("simulator did not start");
        return;
    }
    for (auto _ : state) {
        const auto info = DownloadDeviceDetector::probe(sim.link(), baud);
        if (!info.matched) {
            state.SkipWithError(info.diagnostic.toUtf8().constData());
            return;
        }
    }
    // The answer alone needs this long on the wire (8E1: 11 bits, 8N1 at 10400: 10 bits).
    const int answerBytes = (baud == 9600 || baud == 10400) ? 276 + 7 : 1333 + 7;
    state.counters["wire_ms"] = 1000.0 * answerBytes * (baud == 10400 ? 10 : 11) / baud;
}

// In-process: the thread's CPU time while the probe waits out its time-out on a silent line.
void silentProbeThreadCpu(benchmark::State& state)
{
    SimulatorProcess sim({QStringLiteral("--silent")});
    if (!sim.start()) {
        state.SkipWithError("simulator did not start");
        return;
    }
    double cpu = 0;
    double wall = 0;
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        const double before = tachoria::bench::cpuSeconds(RUSAGE_THREAD);
        benchmark::DoNotOptimize(DownloadDeviceDetector::probe(sim.link(), 115200));
        cpu += tachoria::bench::cpuSeconds(RUSAGE_THREAD) - before;
        wall += timer.nsecsElapsed() / 1e9;
    }
    state.counters["cpu_percent_of_core"] = 100.0 * cpu / wall;
}

// The whole `tachoria --probe-port` process against a silent device, start-up included.
void silentProbeProcessCpu(benchmark::State& state)
{
    SimulatorProcess sim({QStringLiteral("--silent")});
    if (!sim.start()) {
        state.SkipWithError("simulator did not start");
        return;
    }
    double cpu = 0;
    double wall = 0;
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        const double before = tachoria::bench::cpuSeconds(RUSAGE_CHILDREN);
        const auto result = tachoria::test::runProcess(tachoria::test::binaryPath(QStringLiteral("tachoria")),
                                                       {QStringLiteral("--probe-port"), sim.link()});
        cpu += tachoria::bench::cpuSeconds(RUSAGE_CHILDREN) - before;
        wall += timer.nsecsElapsed() / 1e9;
        if (result.exitCode != 2) {
            state.SkipWithError("the probe of a silent device must end with exit code 2");
            return;
        }
    }
    state.counters["cpu_percent_of_core"] = 100.0 * cpu / wall;
}

} // namespace

BENCHMARK(probeRoundTrip)->Arg(115200)->Arg(9600)->Arg(10400)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(silentProbeThreadCpu)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(8);
BENCHMARK(silentProbeProcessCpu)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(8);

int main(int argc, char** argv)
{
    return tachoria::bench::runBenchmarks(argc, argv);
}
