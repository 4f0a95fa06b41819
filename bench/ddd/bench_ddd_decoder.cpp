// Decoding speed of a generated 28-day driver card and of a vehicle-unit file of more than 1 MB, and
// the peak memory of the process after them.
#include "../bench_common.h"
#include "ddd/ddd_decoder.h"
#include "tools/dddgen/ddd_generator.h"

#include <QTimeZone>

using namespace tachoria;
using namespace tachoria::dddgen;

namespace {

// A year of a busy delivery van: 40 activity changes and 20 card insertions a day, and the unit's day of
// detailed speed; a little over 1 MB.
QByteArray largeVehicleUnit(bool variedSpeeds = false)
{
    VehicleUnitDescription description = sampleVehicleUnit(365, QDate(2023, 6, 5));
    for (Day& day : description.days) {
        day.changes.clear();
        for (int change = 0; change < 40; ++change)
            day.changes.append({change * 35, change % 4, change % 7 != 0});
        // Odometer readings without a byte 0x76, which the unit's files would take for a block's start.
        day.odometerMidnight = 100000;
        day.places.first().odometer = day.odometerMidnight;
        const CardInsertion card = day.insertions.first();
        day.insertions.clear();
        for (int insertion = 0; insertion < 20; ++insertion) {
            CardInsertion next = card;
            next.inserted = card.inserted.addSecs(insertion * 1800);
            next.odometerIn = 1000 + quint32(insertion) * 20;
            next.odometerOut = next.odometerIn + 20;
            day.insertions.append(next);
        }
    }
    SpeedBlock block = description.speed.first();
    description.speed.clear();
    for (int minute = 0; minute < 1440; ++minute) {
        block.begin = QDateTime(QDate(2024, 8, 1), QTime(0, 0), QTimeZone::utc()).addSecs(minute * 60);
        // A different minute every time, with a missing reading now and then, so that no two minutes
        // of the day are alike.
        for (int second = 0; variedSpeeds && second < 60; ++second) {
            const int speed = (minute * 7 + second * 13) % 300;
            block.speeds[second] = speed > 255 ? 0xFF : speed;
        }
        description.speed.append(block);
    }
    return writeVehicleUnit(description);
}

void decode(benchmark::State& state, const QByteArray& bytes)
{
    for (auto _ : state) {
        const ddd::DddReport report = ddd::Decoder::decode(bytes, QStringLiteral("bench.ddd"));
        benchmark::DoNotOptimize(report.blocks.size());
    }
    state.SetBytesProcessed(qint64(state.iterations()) * bytes.size());
    state.counters["fileKiB"] = bytes.size() / 1024.0;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["peakRssMiB"] = usage.ru_maxrss / 1024.0;
}

void cardOf28Days(benchmark::State& state)
{
    static const QByteArray bytes = writeDriverCard(sampleDriverCard(28));
    decode(state, bytes);
}

void vehicleUnitOver1MB(benchmark::State& state)
{
    static const QByteArray bytes = largeVehicleUnit();
    decode(state, bytes);
}

// The same year with a day of speeds in which no two minutes are equal.
void vehicleUnitOver1MBVariedSpeeds(benchmark::State& state)
{
    static const QByteArray bytes = largeVehicleUnit(true);
    decode(state, bytes);
}

} // namespace

BENCHMARK(cardOf28Days)->Unit(benchmark::kMillisecond);
BENCHMARK(vehicleUnitOver1MB)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(vehicleUnitOver1MBVariedSpeeds)->Unit(benchmark::kMillisecond)->Iterations(5);

int main(int argc, char** argv)
{
    return tachoria::bench::runBenchmarks(argc, argv);
}
