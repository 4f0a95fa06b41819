// `tachoria --probe-port` as a user runs it, against tachoria-sim on a pseudo-terminal.
#include "../support/process_runner.h"
#include "../support/simulator_process.h"

#include <QDir>
#include <QRegularExpression>
#include <QTest>

using tachoria::test::binaryPath;
using tachoria::test::journalRecords;
using tachoria::test::runProcess;
using tachoria::test::SimulatorProcess;
using namespace Qt::StringLiterals;

class TestProbePortEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void probe_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<QStringList>("probe");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("line"); // pattern; LINK stands for the simulator's link
        QTest::addColumn<int>("parity");   // as configured on the port, from the journal; -1: not checked

        const QString sn = u"2505001800001234"_s;
        const auto args = [](const char* words) {
            return QString::fromUtf8(words).split(u' ', Qt::SkipEmptyParts);
        };
        QTest::newRow("115200, even parity by default")
            << QStringList{} << QStringList{} << 0
            << QStringLiteral(
                   "^matched=true port=LINK baud=115200 diagnostic= serial=%1 skzi=Активированный$")
                   .arg(sn)
            << 2;
        QTest::newRow("9600, even parity, short layout")
            << QStringList{} << args("--baud 9600") << 0
            << u"^matched=true port=LINK baud=9600 diagnostic= serial=%1 skzi=Активированный$"_s.arg(sn) << 2;
        QTest::newRow("10400, no parity")
            << QStringList{} << args("--baud 10400") << 0
            << u"^matched=true port=LINK baud=10400 diagnostic= serial=%1 skzi=Активированный$"_s.arg(sn)
            << 0;
        QTest::newRow("parity word overrides, in any case")
            << QStringList{} << args("--parity ODD") << 0 << u"^matched=true port=LINK baud=115200 "_s << 3;
        QTest::newRow("unknown parity word keeps the default")
            << QStringList{} << args("--baud 10400 --parity mark") << 0
            << u"^matched=true port=LINK baud=10400 "_s << 0;
        QTest::newRow("wrong part number")
            << args("--part-number 47.1234567-1") << QStringList{} << 2
            << QStringLiteral(
                   "^matched=false port=LINK baud=115200 diagnostic=part number: 47.1234567-1 serial= "
                   "skzi=Неизвестен$")
            << -1;
        QTest::newRow("expired crypto module still matches")
            << args("--skzi-status expired") << QStringList{} << 0 << u"^matched=true .* skzi=Истек срок$"_s
            << -1;
        QTest::newRow("faulty crypto module")
            << args("--skzi-status faulty") << args("--baud 9600") << 0
            << u"^matched=true .* skzi=Проверьте СКЗИ. Статус: 0x02000000$"_s << -1;
        QTest::newRow("active crypto module without a card")
            << args("--card none") << QStringList{} << 0 << u"^matched=true .* skzi=Активированный$"_s << -1;
        QTest::newRow("silent device")
            << args("--silent") << QStringList{} << 2
            << QStringLiteral(
                   "^matched=false port=LINK baud=115200 diagnostic=read: service frame timeout; "
                   "elapsedMs=\\d+; rawBytes=0; partialFrameBytes=0; rxTail= serial= skzi=Неизвестен$")
            << -1;
        QTest::newRow("noise and echo before the answer")
            << args("--noise 0055AA1337 --echo") << QStringList{} << 0
            << u"^matched=true port=LINK baud=115200 diagnostic= serial=%1 "_s.arg(sn) << -1;
        QTest::newRow("zero-length frame before the answer")
            << args("--zero-length-frame") << args("--baud 9600") << 0 << u"^matched=true "_s << -1;
        QTest::newRow("slow answer inside the time-out")
            << args("--delay 100") << QStringList{} << 0 << u"^matched=true "_s << -1;
        QTest::newRow("bad checksum")
            << args("--bad-checksum") << QStringList{} << 2
            << QStringLiteral(
                   "^matched=false port=LINK baud=115200 diagnostic=read: checksum mismatch serial= ")
            << -1;
        QTest::newRow("speed the device does not use")
            << QStringList{} << args("--baud 4800") << 2
            << u"^matched=false port=LINK baud=4800 diagnostic=read: service frame timeout; "_s << -1;
        QTest::newRow("bad speed argument")
            << QStringList{} << args("--baud x") << 2
            << u"^matched=false port=LINK baud=0 diagnostic=open: \\S"_s << -1;
    }

    void probe()
    {
        QFETCH(QStringList, simulator);
        QFETCH(QStringList, probe);
        QFETCH(int, exitCode);
        QFETCH(QString, line);
        QFETCH(int, parity);

        SimulatorProcess sim(simulator);
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const auto result =
            runProcess(binaryPath(u"tachoria"_s), QStringList{u"--probe-port"_s, sim.link()} + probe);
        QVERIFY(result.finished);
        const QString output = result.standardOutput;
        QVERIFY2(output.endsWith(QLatin1Char('\n')) && output.count(QLatin1Char('\n')) == 1,
                 qPrintable(output));
        const QString pattern = line.replace(u"LINK"_s, QRegularExpression::escape(sim.link()));
        QVERIFY2(QRegularExpression(pattern).match(output.trimmed()).hasMatch(),
                 qPrintable(output + u"\nexpected: "_s + pattern));
        QCOMPARE(result.exitCode, exitCode);

        if (parity >= 0) {
            // A pseudo-terminal drops the parity bit, so the journal is where the chosen parity shows.
            const auto records = journalRecords(QDir(binaryPath({})).filePath(u"Tachoria.log"_s), result.pid);
            QStringList configured;
            for (const auto& record : records) {
                if (record.value(u"operation"_s) == QLatin1String("configure"))
                    configured << record.value(u"message"_s).toString();
            }
            QCOMPARE(configured.size(), 1);
            QVERIFY2(configured.first().endsWith(u", parity=%1"_s.arg(parity)),
                     qPrintable(configured.first()));
        }
        QVERIFY(sim.stop());
    }

    // "--probe-port" as the last argument has no port: no probe runs, the window starts (here its
    // navigation test, which needs no earlier instance to leave and ends by itself).
    void withoutPortTheProbeIsAbsent()
    {
        const auto result =
            runProcess(binaryPath(u"tachoria"_s), {u"--qml-navigation-test"_s, u"--probe-port"_s});
        QVERIFY(result.finished);
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.standardOutput, QString());
    }
};

QTEST_GUILESS_MAIN(TestProbePortEndToEnd)
#include "test_probe_port_e2e.moc"
