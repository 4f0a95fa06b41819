// `tachoria --probe-download` as a user runs it, against tachoria-sim.
#include "../support/process_runner.h"
#include "../support/simulator_process.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

using tachoria::test::binaryPath;
using tachoria::test::runProcess;
using tachoria::test::SimulatorProcess;

class TestProbeDownloadEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wholeDownload()
    {
        SimulatorProcess sim;
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const auto result =
            runProcess(binaryPath(QStringLiteral("tachoria")),
                       {QStringLiteral("--probe-download"), sim.link(), QStringLiteral("--all")});
        QCOMPARE(result.exitCode, 0);
        const QStringList lines = result.standardOutput.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.first(), QStringLiteral("status=Открываем соединение с тахографом"));
        for (const char* block :
             {"REQUEST_OVERVIEW", "REQUEST_ACTIVITIES", "REQUEST_EVENTS_FAULTS", "REQUEST_DETAILED_SPEED",
              "REQUEST_TECHNICAL_DATA", "REQUEST_SERTIFICAT_KEY_NKM"})
            QVERIFY2(lines.contains(QStringLiteral("status=Запрашиваем ") + QLatin1String(block)), block);
        QVERIFY(!lines.contains(QStringLiteral("status=Запрашиваем REQUEST_SERTIFICAT_UC")));

        static const QRegularExpression last(
            QStringLiteral("^download_success=true "
                           "output=(.*/DATA/\\d\\d_\\d\\d_\\d\\d_\\d\\d_\\d\\d_\\d\\d-\\[A123BC77\\]\\.ddd) "
                           "vehicle=A123BC77 nkm= card= error=$"));
        const auto match = last.match(lines.last());
        QVERIFY2(match.hasMatch(), qPrintable(lines.last()));
        const QString path = match.captured(1);
        QVERIFY(QFileInfo(path).size() > 0);
        QFile::remove(path);
        QVERIFY(sim.stop());
    }

    void silentDevice()
    {
        SimulatorProcess sim({QStringLiteral("--silent")});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const auto result = runProcess(binaryPath(QStringLiteral("tachoria")),
                                       {QStringLiteral("--probe-download"), sim.link(),
                                        QStringLiteral("--baud"), QStringLiteral("115200")});
        QCOMPARE(result.exitCode, 4);
        QVERIFY2(result.standardOutput.contains(
                     QStringLiteral("download_success=false output= vehicle= nkm= card= "
                                    "error=Нет ответа тахографа: service frame timeout;")),
                 qPrintable(result.standardOutput));
        QVERIFY(sim.stop());
    }
};

QTEST_GUILESS_MAIN(TestProbeDownloadEndToEnd)
#include "test_probe_download_e2e.moc"
