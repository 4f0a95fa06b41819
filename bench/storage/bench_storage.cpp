// Opening every database of the program, cold (schema and seeds on a new profile) and warm, and the
// stream of field updates a calibration makes on its journal row.
#include "../bench_common.h"
#include "storage/calibration_repository.h"
#include "storage/certificate_repository.h"
#include "storage/customer_master_repositories.h"
#include "storage/settings_repository.h"
#include "storage/vehicle_configuration_repository.h"
#include "storage/vehicle_repository.h"

#include <QTemporaryDir>

using namespace tachoria::storage;

namespace {

bool openAll()
{
    SettingsRepository settings;
    MasterRepository masters;
    CustomerRepository customers;
    VehicleRepository vehicles;
    VehicleConfigurationRepository configurations;
    CalibrationRepository calibrations;
    CertificateRepository certificates;
    return settings.isOpen() && masters.isOpen() && customers.isOpen() && vehicles.isOpen() &&
           configurations.isOpen() && calibrations.isOpen() && certificates.isOpen();
}

void coldStart(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        QTemporaryDir profile;
        qputenv("LOCALAPPDATA", profile.path().toUtf8());
        state.ResumeTiming();
        if (!openAll()) {
            state.SkipWithError("a database did not open");
            return;
        }
    }
}

void warmStart(benchmark::State& state)
{
    QTemporaryDir profile;
    qputenv("LOCALAPPDATA", profile.path().toUtf8());
    openAll();
    for (auto _ : state) {
        if (!openAll()) {
            state.SkipWithError("a database did not open");
            return;
        }
    }
}

void fieldUpdates(benchmark::State& state)
{
    QTemporaryDir profile;
    qputenv("LOCALAPPDATA", profile.path().toUtf8());
    CalibrationRepository journal;
    const int id = journal.startCalibrationRecord(QStringLiteral("2505001800001234"), 19, 4, {}, {}, 0);
    for (auto _ : state) {
        for (int i = 0; i < 10000; ++i)
            journal.updateCalibrationFields(id, {{QStringLiteral("KConstantOfRecordingEquipment"), i}});
    }
}

} // namespace

BENCHMARK(coldStart)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(warmStart)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(fieldUpdates)->Unit(benchmark::kMillisecond)->Iterations(1);

int main(int argc, char** argv)
{
    return tachoria::bench::runBenchmarks(argc, argv);
}
