// A full read of the 39 parameters and a full write, against the simulator at 115200 baud. The
// workflow pauses 25 ms after every identifier, about a second per run; the rest is the link.
#include "../../tests/support/simulator_process.h"
#include "../bench_common.h"
#include "calibration/calibration_workflow.h"

#include <QTemporaryDir>

using tachoria::calibration::CalibrationSettings;
using tachoria::calibration::CalibrationWorkflow;
using tachoria::test::SimulatorProcess;

namespace {

CalibrationSettings settingsFor(const QString& port)
{
    CalibrationSettings settings;
    settings.port = port;
    settings.tachoriaCodeFbu = 19;
    return settings;
}

void fullRead(benchmark::State& state)
{
    SimulatorProcess sim;
    if (!sim.start()) {
        state.SkipWithError("simulator did not start");
        return;
    }
    CalibrationWorkflow workflow;
    workflow.configure(settingsFor(sim.link()));
    for (auto _ : state) {
        QString error;
        if (!workflow.readCalibration(&error)) {
            state.SkipWithError(error.toUtf8().constData());
            return;
        }
        state.PauseTiming();
        workflow.stopCommunication();
        state.ResumeTiming();
    }
    state.counters["pauses_ms"] = 39 * CalibrationWorkflow::kPauseBetweenIdentifiersMs;
}

void fullWrite(benchmark::State& state)
{
    QTemporaryDir profile;
    qputenv("LOCALAPPDATA", profile.path().toUtf8());
    SimulatorProcess sim({}, false, true);
    if (!sim.start()) {
        state.SkipWithError("simulator did not start");
        return;
    }
    CalibrationWorkflow workflow;
    workflow.configure(settingsFor(sim.link()));
    for (auto _ : state) {
        QString error;
        state.PauseTiming();
        const bool read = workflow.readCalibration(&error);
        state.ResumeTiming();
        if (!read || !workflow.writeCalibration(&error)) {
            state.SkipWithError(error.toUtf8().constData());
            return;
        }
    }
}

} // namespace

BENCHMARK(fullRead)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(fullWrite)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

int main(int argc, char** argv)
{
    return tachoria::bench::runBenchmarks(argc, argv);
}
