// `tachoria --probe-calibration` and `--probe-can` as a user runs them, against tachoria-sim.
#include "../support/process_runner.h"
#include "../support/simulator_process.h"
#include "calibration/calibration_parameter_codec.h"

#include <QRegularExpression>
#include <QTest>

using tachoria::test::binaryPath;
using tachoria::test::runProcess;
using tachoria::test::SimulatorProcess;
using namespace Qt::StringLiterals;

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
        const auto result = runProcess(binaryPath(u"tachoria"_s), {u"--probe-calibration"_s, sim.link()});
        QCOMPARE(result.exitCode, 0);
        const QStringList lines = result.standardOutput.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 40);
        QCOMPARE(lines.first(), u"calibration_read=true port=%1 baud=115200 error="_s.arg(sim.link()));
        // One line per parameter in catalogue order: its display, or the word for one the unit refused.
        const auto catalogue = tachoria::calibration::CalibrationParameterCodec::descriptors();
        for (int i = 0; i < catalogue.size(); ++i)
            QVERIFY2(lines.at(i + 1).startsWith(catalogue.at(i).name + QLatin1Char('=')),
                     qPrintable(lines.at(i + 1)));
        QVERIFY(lines.contains(u"vehicleIdentificationNumber=XTA210990Y1234567"_s));
        QVERIFY(lines.contains(u"kConstantOfRecordingEquipment=8000"_s));
        QVERIFY(lines.contains(u"VerifyDate=15.01.2025"_s));
        QVERIFY(lines.contains(u"CAN1=1;2;0"_s));
        QCOMPARE(lines.last(), u"IlluminationColor=Не поддерживается"_s);
        QVERIFY(sim.stop());
    }

    void calibrationReadOfASilentDevice()
    {
        SimulatorProcess sim(words({"--silent"}));
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const auto result = runProcess(binaryPath(u"tachoria"_s),
                                       {u"--probe-calibration"_s, sim.link(), u"--baud"_s, u"9600"_s});
        QCOMPARE(result.exitCode, 3);
        const QString line = result.standardOutput.trimmed();
        QVERIFY2(
            line.startsWith(
                u"calibration_read=false port=%1 baud=9600 error=service frame timeout; "_s.arg(sim.link())),
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
            << u"can_probe_read=true session=true detect=true can=0 result=eb error="_s;
        QTest::newRow("not found on CAN2, channel clamped from 7")
            << words({"--can-result", "not-found", "--can-speed", "3"}) << words({"--can", "7"}) << 0
            << u"can_probe_read=true session=true detect=true can=1 result=b3 error="_s;
        QTest::newRow("channel clamped from -1")
            << QStringList{} << words({"--can", "-1"}) << 0
            << u"can_probe_read=true session=true detect=true can=0 result=e2 error="_s;
        QTest::newRow("detection refused")
            << words({"--can-result", "refused"}) << QStringList{} << 5
            << QStringLiteral(
                   "can_probe_read=true session=true detect=false can=0 result= error=ОТКАЗ В АВТОМАТИЧЕСКОМ "
                   "ОПРЕДЕЛЕНИИ СКОРОСТИ CAN! (NRC 0X31)");
        QTest::newRow("a result read for another identifier")
            << words({"--can-result", "garbled"}) << QStringList{} << 5
            << u"can_probe_read=true session=true detect=false can=0 result= error=ReadDetectCanSpeed: RDBI "
               u"response identifier mismatch"_s;
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
        const auto result =
            runProcess(binaryPath(u"tachoria"_s), QStringList{u"--probe-can"_s, sim.link()} + probe);
        QTEST(result.exitCode, "exitCode");
        QTEST(result.standardOutput.trimmed(), "line");
        QVERIFY(sim.stop());
    }
};

QTEST_GUILESS_MAIN(TestProbeCalibrationEndToEnd)
#include "test_probe_calibration_e2e.moc"
