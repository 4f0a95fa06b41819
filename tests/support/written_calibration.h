#pragma once

#include "calibration/calibration_workflow.h"
#include "simulator_process.h"

#include <QString>

namespace tachoria::test {

// A calibration as the calibration page writes it: read from the simulated tachograph, the vehicle's
// VIN, registration and tyre circumference entered, written back, with the journal row in the profile's
// "CalibrationDB.db". Its Id, or -1 with the reason in error; withRefusal makes the tachograph refuse
// the tyre circumference, which leaves a failed row.
inline int writeCalibration(const QString& vin, const QString& registration, QString* error,
                            bool withRefusal = false)
{
    SimulatorProcess simulator(
        withRefusal ? QStringList{QStringLiteral("--refuse-write"), QStringLiteral("F91C")} : QStringList{});
    if (!simulator.start(error))
        return -1;
    calibration::CalibrationSettings settings;
    settings.port = simulator.link();
    settings.tachoriaName = QStringLiteral("ООО «Тахосервис-Поволжье»");
    settings.tachoriaAddress = QStringLiteral("Самара, Московское шоссе, 17");
    settings.tachoriaCodeFbu = 4711;
    settings.masterCardNumber = QStringLiteral("RUM0000012345600");
    settings.skziNumber = QStringLiteral("7800000000000417");
    calibration::CalibrationWorkflow workflow;
    workflow.configure(settings);
    if (!workflow.readCalibration(error))
        return -1;
    const std::pair<int, QString> entries[] = {{11, vin}, {13, registration}, {16, QStringLiteral("3150")}};
    for (const auto& [index, text] : entries) {
        if (!workflow.setDisplayValue(index, text, error))
            return -1;
    }
    const bool written = workflow.writeCalibration(error);
    return written != withRefusal ? workflow.calibrationRecordId() : -1;
}

} // namespace tachoria::test
