// A whole firmware transfer at 115200 baud against the simulated unit, which paces its bytes at the
// line's speed: its time against the wire's limit for the bytes that cross it (8E1: 11 bits a byte,
// requests and answers one after the other), and the CPU the transfer's thread spends.
#include "../../tests/support/simulator_process.h"
#include "../bench_common.h"
#include "firmware/tachograph_firmware_workflow.h"
#include "protocol/service_frame.h"

#include <QElapsedTimer>

using tachoria::firmware::TachographFirmwareWorkflow;
using tachoria::protocol::ServiceFrame;
using tachoria::protocol::ServiceFrameCodec;
using tachoria::test::SimulatorProcess;

namespace {

qint64 frameBytes(quint8 sid, int dataBytes, quint8 format = 0x80)
{
    ServiceFrame frame;
    frame.format = dataBytes < 256 ? format : 0xF0;
    frame.sid = sid;
    frame.data = QByteArray(dataBytes, '\0');
    return ServiceFrameCodec::encode(frame).size();
}

// Every byte of the exchange: StartCommunication, the session, the erase and its 52 reports, the 328
// blocks and their confirmations, and the restart's two stages.
qint64 wireBytes()
{
    const int blocks = TachographFirmwareWorkflow::kBlockCount;
    return frameBytes(0x81, 0, 0x81) + frameBytes(0xC1, 2) + frameBytes(0x10, 1) + frameBytes(0x50, 1) +
           frameBytes(0xC7, 2) + 52 * frameBytes(0x67, 3) +
           blocks * (frameBytes(0x3D, 7 + TachographFirmwareWorkflow::kBlockBytes) + frameBytes(0x7D, 6)) +
           frameBytes(0xC7, 7) + frameBytes(0x57, 5) + frameBytes(0xC7, 14) + frameBytes(0x57, 1);
}

void wholeTransfer(benchmark::State& state)
{
    const QByteArray image(TachographFirmwareWorkflow::kImageBytes, '\x5A');
    double wall = 0;
    double cpu = 0;
    for (auto _ : state) {
        SimulatorProcess unit({QStringLiteral("--erase-report-ms"), QStringLiteral("0")});
        if (!unit.start()) {
            state.SkipWithError("simulator did not start");
            return;
        }
        QElapsedTimer timer;
        timer.start();
        const double before = tachoria::bench::cpuSeconds(RUSAGE_THREAD);
        QString error;
        if (!TachographFirmwareWorkflow::writeImage(unit.link(), 115200, image, {}, &error)) {
            state.SkipWithError(error.toUtf8().constData());
            return;
        }
        cpu += tachoria::bench::cpuSeconds(RUSAGE_THREAD) - before;
        wall += timer.nsecsElapsed() / 1e9;
    }
    const double limit = wireBytes() * 11.0 / 115200.0 * state.iterations();
    state.counters["seconds"] = wall / state.iterations();
    state.counters["wire_limit_seconds"] = limit / state.iterations();
    state.counters["percent_of_wire"] = 100.0 * limit / wall;
    state.counters["cpu_percent_of_core"] = 100.0 * cpu / wall;
}

} // namespace

BENCHMARK(wholeTransfer)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

int main(int argc, char** argv)
{
    return tachoria::bench::runBenchmarks(argc, argv);
}
