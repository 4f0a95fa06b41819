// A long TransferData sequence at 115200 baud against the simulator, which paces its bytes at the
// line's speed: the effective throughput against the wire's limit (8E1: 11 bits a byte), and the
// CPU the reading thread spends meanwhile.
#include "../../tests/support/simulator_process.h"
#include "../bench_common.h"
#include "download/download_workflow.h"

#include <QElapsedTimer>

using tachoria::download::DownloadWorkflow;
using tachoria::protocol::TachographClient;
using tachoria::test::SimulatorProcess;

namespace {

void longTransfer(benchmark::State& state)
{
    const int bytes = static_cast<int>(state.range(0));
    SimulatorProcess sim({QStringLiteral("--speed-block-bytes"), QString::number(bytes)});
    if (!sim.start()) {
        state.SkipWithError("simulator did not start");
        return;
    }
    TachographClient client;
    client.configure(sim.link(), 115200, QSerialPort::EvenParity);
    QString error;
    if (!client.openAndStartCommunication(1, &error) ||
        !client.requestUpload(QByteArray::fromHex("0000000000FFFFFFFF"), nullptr, &error)) {
        state.SkipWithError(error.toUtf8().constData());
        return;
    }
    double cpu = 0;
    double wall = 0;
    qint64 received = 0;
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        const double before = tachoria::bench::cpuSeconds(RUSAGE_THREAD);
        QByteArray payload;
        if (DownloadWorkflow::transferData(client, 0x04, {}, nullptr, payload) != 0) {
            state.SkipWithError("transfer failed");
            return;
        }
        cpu += tachoria::bench::cpuSeconds(RUSAGE_THREAD) - before;
        wall += timer.nsecsElapsed() / 1e9;
        received += payload.size();
    }
    const double limit = 115200.0 / 11.0;
    state.counters["bytes_per_s"] = received / wall;
    state.counters["percent_of_wire"] = 100.0 * (received / wall) / limit;
    state.counters["cpu_percent_of_core"] = 100.0 * cpu / wall;
}

} // namespace

BENCHMARK(longTransfer)->Arg(64 * 1024)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

int main(int argc, char** argv)
{
    return tachoria::bench::runBenchmarks(argc, argv);
}
