// `tachoria --probe-calibration` and `--probe-can` as a user runs them, against tachoria-sim.
#include "../support/process_runner.h"
#include "../support/simulator_process.h"

#include <QRegularExpression>
#include <QTest>

using tachoria::test::binaryPath;
using tachoria::test::runProcess;
using tachoria::test::SimulatorProcess;

namespace {

QStringList words(std::initializer_list<const char*> list)
{
    QStringList out;
    for (const char* item : list)
        out << QString::fromUtf8(item);
    return out;
}

} // namespace

class TestProbeCalibrationEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void calibrationRead()
    {
        SimulatorProcess sim(words({"--refuse", "F103"}));
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const auto result = runProcess(binaryPath(QStringLiteral("tachoria")),
                                       {QStringLiteral("--probe-calibration"), sim.link()});
        QCOMPARE(result.exitCode, 0);
        const QStringList lines = result.standardOutput.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 40);
        QCOMPARE(lines.first(),
                 QStringLiteral("calibration_read=true port=%1 baud=115200 error=").arg(sim.link()));
        const QStringList expectedNames = words({"TimeDate",
                                                 "vuManufacturingDate",
                                                 "vuPartNumber",
                                                 "vuManufacturerName",
                                                 "vuSerialNumber",
                                                 "Driver1Identification",
                                                 "vuApprovalNumber",
                                                 "SystemSupplierECUSoftwareVersionNumber",
                                                 "SSECUHWVN",
                                                 "ReadTachoriaCodeFBU",
                                                 "VerifyDate",
                                                 "vehicleIdentificationNumber",
                                                 "vehicleRegistrationNation",
                                                 "VehicleRegistrationNumber",
                                                 "kConstantOfRecordingEquipment",
                                                 "wVehicleCharacteristicConstant",
                                                 "lTyreCircumference",
                                                 "tyreSize",
                                                 "SpeedAuthorised",
                                                 "nextCalibrationDate",
                                                 "HighResOdometer",
                                                 "PulsesPerRevolutionOfOutputShaft",
                                                 "CAN1",
                                                 "CAN2",
                                                 "CAN1_NV",
                                                 "CAN2_NV",
                                                 "CANvehicleIdentificationNumber",
                                                 "CAN1_Interval_TCO1",
                                                 "CAN2_Interval_TCO1",
                                                 "Can1Tco1Priority",
                                                 "Can2Tco1Priority",
                                                 "B6",
                                                 "B7",
                                                 "D6",
                                                 "PTO",
                                                 "SourceBacklightBrightnessAdjustment",
                                                 "SourceSpeed",
                                                 "EnableDM1",
                                                 "IlluminationColor"});
        for (int i = 0; i < expectedNames.size(); ++i)
            QVERIFY2(lines.at(i + 1).startsWith(expectedNames.at(i) + QLatin1Char('=')),
                     qPrintable(lines.at(i + 1)));
        QVERIFY(lines.contains(QStringLiteral("vehicleIdentificationNumber=XTA210990Y1234567")));
        QVERIFY(lines.contains(QStringLiteral("kConstantOfRecordingEquipment=8000")));
        QVERIFY(lines.contains(QStringLiteral("VerifyDate=15.01.2025")));
        QVERIFY(lines.contains(QStringLiteral("CAN1=1;2;0")));
        QCOMPARE(lines.last(), QStringLiteral("IlluminationColor=Не поддерживается"));
        QVERIFY(sim.stop());
    }

    void calibrationReadOfASilentDevice()
    {
        SimulatorProcess sim(words({"--silent"}));
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const auto result = runProcess(binaryPath(QStringLiteral("tachoria")),
                                       {QStringLiteral("--probe-calibration"), sim.link(),
                                        QStringLiteral("--baud"), QStringLiteral("9600")});
        QCOMPARE(result.exitCode, 3);
        const QString line = result.standardOutput.trimmed();
        QVERIFY2(line.startsWith(
                     QStringLiteral("calibration_read=false port=%1 baud=9600 error=service frame timeout; ")
                         .arg(sim.link())),
                 qPrintable(line));
        QVERIFY(!line.contains(QLatin1Char('\n')));
        QVERIFY(sim.stop());
    }

    void canDetection_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<QStringList>("probe");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("line");

        QTest::newRow("found on CAN1")
            << words({"--can-speed", "3", "--can-id-type", "1"}) << QStringList{} << 0
            << QStringLiteral("can_probe_read=true session=true detect=true can=0 result=eb error=");
        QTest::newRow("not found on CAN2, channel clamped from 7")
            << words({"--can-result", "not-found"}) << words({"--can", "7"}) << 0
            << QStringLiteral("can_probe_read=true session=true detect=true can=1 result=b0 error=");
        QTest::newRow("channel clamped from -1")
            << QStringList{} << words({"--can", "-1"}) << 0
            << QStringLiteral("can_probe_read=true session=true detect=true can=0 result=e2 error=");
        QTest::newRow("detection refused")
            << words({"--can-result", "refused"}) << QStringList{} << 5
            << QStringLiteral(
                   "can_probe_read=true session=true detect=false can=0 result= error=ОТКАЗ В АВТОМАТИЧЕСКОМ "
                   "ОПРЕДЕЛЕНИИ СКОРОСТИ CAN! (NRC 0X31)");
        QTest::newRow("adjustment session refused")
            << words({"--refuse-session", "87"}) << QStringList{} << 5
            << QStringLiteral(
                   "can_probe_read=true session=false detect=false can=0 result= error=TACHOGRAPH NEGATIVE "
                   "RESPONSE: SID=0X10 NRC=0X12");
    }

    void canDetection()
    {
        QFETCH(QStringList, simulator);
        QFETCH(QStringList, probe);
        SimulatorProcess sim(simulator);
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const auto result = runProcess(binaryPath(QStringLiteral("tachoria")),
                                       QStringList{QStringLiteral("--probe-can"), sim.link()} + probe);
        QTEST(result.exitCode, "exitCode");
        QTEST(result.standardOutput.trimmed(), "line");
        QVERIFY(sim.stop());
    }
};

QTEST_GUILESS_MAIN(TestProbeCalibrationEndToEnd)
#include "test_probe_calibration_e2e.moc"
