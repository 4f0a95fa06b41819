#include "../support/simulator_process.h"
#include "../support/vu_activity_days.h"
#include "ddd/ddd_decoder.h"
#include "download/download_workflow.h"
#include "storage/app_paths.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace tachoria::download;
using tachoria::test::daysOfActivitiesBlock;
using tachoria::test::SimulatorProcess;
using namespace Qt::StringLiterals;
namespace ddd = tachoria::ddd;

namespace {

QDir downloadFolder()
{
    return QDir(tachoria::storage::AppPaths::downloadDirectory());
}

void clearDownloadFolder()
{
    QDir folder = downloadFolder();
    for (const QString& name :
         folder.entryList({QStringLiteral("*.tmp"), QStringLiteral("*.ddd")}, QDir::Files))
        folder.remove(name);
}

struct Run
{
    DownloadResult result;
    QStringList statuses;
    QList<int> percents;
};

Run download(const QString& port, const DownloadOptions& options, int startBaud = 9600, int maxBaud = 115200)
{
    DownloadSettings settings;
    settings.portName = port;
    settings.startBaud = startBaud;
    settings.maxBaud = maxBaud;
    settings.filePrefix = QStringLiteral("test-");
    Run run;
    const std::atomic_bool stop{false};
    run.result = DownloadWorkflow::run(
        settings, options, stop, [&run](const QString& text) { run.statuses << text; },
        [&run](int percent) { run.percents << percent; });
    return run;
}

DownloadOptions vehicleUnit(bool all)
{
    DownloadOptions options;
    options.tachograph = true;
    options.overview = true;
    options.skipCaCertificate = true;
    options.activities = options.eventsFaults = options.detailedSpeed = options.technicalData = all;
    options.periodBegin = QDate(2026, 11, 1);
    options.periodEnd = QDate(2026, 11, 8);
    return options;
}

} // namespace

class TestDownloadWorkflow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearDownloadFolder(); }
    void cleanupTestCase() { clearDownloadFolder(); }

    void helpers()
    {
        QCOMPARE(registrationForFileName(QByteArray("\xC0\x31\x32\x33\xC2\xD1 77 ")),
                 QStringLiteral("A123BC 77"));
        QCOMPARE(registrationForFileName(QByteArray("\xE0\xA8\xB8\x01z")), QStringLiteral("AЁЁ_Z"));
        QCOMPARE(DownloadWorkflow::hexSafeName(QStringLiteral("a/b\\c:d*e?f\"g<h>i|j")),
                 QStringLiteral("a_b_c_d_e_f_g_h_i_j"));
        QCOMPARE(DownloadWorkflow::asciiWithQuestionMarks(QByteArray("A\x01~\x7f", 4)),
                 QStringLiteral("A?~?"));
        quint32 count = 0;
        QVERIFY(DownloadWorkflow::parseNkmDownloadCount(QByteArray::fromHex("00000104"), count));
        QCOMPARE(count, 260u);
        QVERIFY(!DownloadWorkflow::parseNkmDownloadCount(QByteArray::fromHex("000104"), count));
        QCOMPARE(DownloadWorkflow::nkmDownloadPercent(3, 4), 75);
        QCOMPARE(DownloadWorkflow::nkmDownloadPercent(5, 4), 99);
        QCOMPARE(DownloadWorkflow::nkmDownloadPercent(1, 0), -1);
        QCOMPARE(DownloadWorkflow::unixDate(QDate(1970, 1, 2)), 86400);
    }

    void dateRange_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QDate>("begin");
        QTest::addColumn<QDate>("end");
        QTest::addColumn<QDate>("since");
        QTest::addColumn<QDate>("expectedBegin");
        QTest::addColumn<QDate>("expectedEnd");
        const QDate today(2026, 11, 23);
        QTest::newRow("defaults") << 2 << QDate() << QDate() << QDate() << QDate(2026, 11, 16) << today;
        QTest::newRow("given") << 2 << QDate(2026, 1, 5) << QDate(2026, 1, 9) << QDate() << QDate(2026, 1, 5)
                               << QDate(2026, 1, 9);
        QTest::newRow("reversed") << 2 << QDate(2026, 1, 9) << QDate(2026, 1, 5) << QDate()
                                  << QDate(2026, 1, 5) << QDate(2026, 1, 9);
        QTest::newRow("everything") << 0 << QDate(2026, 1, 9) << QDate() << QDate() << QDate(2000, 1, 1)
                                    << today;
        QTest::newRow("since") << 1 << QDate() << QDate() << QDate(2026, 10, 1) << QDate(2026, 10, 1)
                               << today;
        QTest::newRow("since without a date")
            << 1 << QDate() << QDate(2026, 11, 20) << QDate() << QDate(2026, 11, 16) << QDate(2026, 11, 20);
    }

    void dateRange()
    {
        QFETCH(int, mode);
        DownloadOptions options;
        options.periodMode = mode;
        QFETCH(QDate, begin);
        QFETCH(QDate, end);
        QFETCH(QDate, since);
        options.periodBegin = begin;
        options.periodEnd = end;
        options.sinceDate = since;
        QDate b;
        QDate e;
        DownloadWorkflow::resolveDateRange(options, b, e, QDate(2026, 11, 23));
        QTEST(b, "expectedBegin");
        QTEST(e, "expectedEnd");
    }

    void vehicleUnitDownload_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<int>("startBaud");
        QTest::addColumn<int>("maxBaud");
        QTest::addColumn<int>("finalBaud");

        QTest::newRow("up the whole ladder") << QStringList{} << 9600 << 115200 << 115200;
        QTest::newRow("refused above 57600")
            << QStringList{QStringLiteral("--max-link-baud"), QStringLiteral("57600")} << 9600 << 115200
            << 57600;
        QTest::newRow("start speed not on the ladder starts at 10400")
            << QStringList{QStringLiteral("--bauds"), QStringLiteral("10400")} << 12345 << 10400 << 10400;
        QTest::newRow("reversed limits are swapped") << QStringList{} << 115200 << 9600 << 115200;
        QTest::newRow("a reply pending twice just waits")
            << QStringList{QStringLiteral("--pending"), QStringLiteral("2")} << 9600 << 115200 << 115200;
    }

    void vehicleUnitDownload()
    {
        QFETCH(QStringList, simulator);
        QFETCH(int, startBaud);
        QFETCH(int, maxBaud);
        QFETCH(int, finalBaud);
        SimulatorProcess sim(simulator + QStringList{QStringLiteral("--verbose")});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const Run run = download(sim.link(), vehicleUnit(true), startBaud, maxBaud);
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QCOMPARE(run.result.registration, QStringLiteral("A123BC77"));
        QCOMPARE(QFileInfo(run.result.filePath).fileName(), QStringLiteral("test-[A123BC77].ddd"));
        QCOMPARE(QFileInfo(run.result.filePath).absolutePath(), downloadFolder().absolutePath());
        QVERIFY(downloadFolder().entryList({QStringLiteral("*.tmp")}).isEmpty());

        QFile file(run.result.filePath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        // Eight days of activities in one 7602 block, day after day, among the unit's other blocks.
        QStringList tags;
        QList<QDate> days;
        for (const ddd::DddBlock& block : ddd::Decoder::splitTachographBlocks(bytes)) {
            tags.append(block.fileNumber);
            if (block.fileNumber == u"7602")
                days = daysOfActivitiesBlock(block.data);
        }
        QCOMPARE(tags, QStringList({u"7601"_s, u"7602"_s, u"7603"_s, u"7604"_s, u"7605"_s, u"7681"_s}));
        QList<QDate> requested;
        for (int day = 1; day <= 8; ++day)
            requested.append(QDate(2026, 11, day));
        QCOMPARE(days, requested);
        QVERIFY(sim.stop());
        // The simulator logs the speed of every answer; the last ones went at the top of the climb.
        QVERIFY2(sim.standardError().trimmed().endsWith(QStringLiteral("at %1 baud)").arg(finalBaud)),
                 qPrintable(sim.standardError().right(200)));
    }

    void identityFromTheUnitsMemory()
    {
        // A unit calibrated with another vehicle hands out that vehicle in its overview.
        SimulatorProcess sim({}, false, true);
        QFile state(sim.statePath());
        QVERIFY(state.open(QIODevice::WriteOnly));
        state.write(R"({"values": {"F190": "5744423933343033323154313233343536",
                                   "F97E": "054B3535354B4B373720202020202020"}})");
        state.close();
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const Run run = download(sim.link(), vehicleUnit(false));
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QCOMPARE(run.result.registration, QStringLiteral("K555KK77"));
        QCOMPARE(QFileInfo(run.result.filePath).fileName(), QStringLiteral("test-[K555KK77].ddd"));
        const ddd::DddReport report = ddd::Decoder::decodeFile(run.result.filePath);
        QCOMPARE(report.vin, QStringLiteral("WDB9340321T123456"));
        QCOMPARE(report.registrationNumber, QStringLiteral("K555KK77"));
        QVERIFY(sim.stop());
    }

    void silenceInTheMiddle()
    {
        // Start, session, four rises of the rate (two frames each), upload, the overview in two
        // frames, the first day of activities in two: the second day's second frame never comes.
        SimulatorProcess sim(
            {QStringLiteral("--silent-after"), QStringLiteral("16"), QStringLiteral("--verbose")});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const Run run = download(sim.link(), vehicleUnit(true));
        QVERIFY(!run.result.success);
        QCOMPARE(run.result.errorText, QStringLiteral("Ошибка запроса деятельности"));
        QCOMPARE(run.statuses.last(), run.result.errorText);
        QCOMPARE(downloadFolder().entryList({QStringLiteral("*.ddd")}), QStringList());
        // What arrived stays in its temporary file for the next run to append to.
        QCOMPARE(
            downloadFolder().entryList({QStringLiteral("*.tmp")}, QDir::Files, QDir::Name),
            (QStringList{QStringLiteral("REQUEST_ACTIVITIES.tmp"), QStringLiteral("REQUEST_OVERVIEW.tmp")}));
        QVERIFY(sim.stop());
        // The session was closed all the same: StopCommunication went out.
        QVERIFY(sim.standardError().trimmed().endsWith(QStringLiteral("RX 80 EE F0 01 82 E1")));
    }

    void noDevice()
    {
        SimulatorProcess sim({QStringLiteral("--silent")});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const Run run = download(sim.link(), vehicleUnit(false), 57600, 115200);
        QVERIFY(!run.result.success);
        QVERIFY(
            run.result.errorText.startsWith(QStringLiteral("Нет ответа тахографа: service frame timeout; ")));
        QVERIFY(sim.stop());
    }

    void cryptoModule_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<QString>("counterStatus");
        QTest::addColumn<QList<int>>("percents");
        QTest::newRow("counter known")
            << QStringList{} << QStringLiteral("Выгрузка СКЗИ: 4 из 4 блоков") << QList<int>{25, 50, 75, 99};
        QTest::newRow("counter zero")
            << QStringList{QStringLiteral("--nkm-counter"), QStringLiteral("zero")}
            << QStringLiteral("Выгрузка СКЗИ: тахограф сообщил, что блоков к загрузке нет; проверяем архив")
            << QList<int>{};
        QTest::newRow("counter refused")
            << QStringList{QStringLiteral("--nkm-counter"), QStringLiteral("refused")}
            << QStringLiteral("Выгрузка СКЗИ продолжается без общего счётчика; точный процент недоступен")
            << QList<int>{};
        QTest::newRow("archive ends at once")
            << QStringList{QStringLiteral("--archive-blocks"), QStringLiteral("0")}
            << QStringLiteral("Выгрузка СКЗИ: 1 из 1 блоков") << QList<int>{99};
    }

    void cryptoModule()
    {
        QFETCH(QStringList, simulator);
        QFETCH(QString, counterStatus);
        SimulatorProcess sim(simulator);
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        DownloadOptions options;
        options.nkm = true;
        options.periodBegin = QDate(2026, 11, 20);
        options.periodEnd = QDate(2026, 11, 21);
        const Run run = download(sim.link(), options);
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QCOMPARE(run.result.nkmSerial, QStringLiteral("7800000000000417"));
        QCOMPARE(QFileInfo(run.result.filePath).fileName(), QStringLiteral("test-[7800000000000417].ddd"));
        QVERIFY2(run.statuses.contains(counterStatus), qPrintable(run.statuses.join(QLatin1Char('\n'))));
        QTEST(run.percents, "percents");
        QVERIFY(sim.stop());
    }

    void nothingAskedStillClosesTheSession()
    {
        SimulatorProcess sim;
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const Run run = download(sim.link(), DownloadOptions{});
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QCOMPARE(QFileInfo(run.result.filePath).fileName(), QStringLiteral("test-.ddd"));
        QCOMPARE(QFileInfo(run.result.filePath).size(), 0);
        QVERIFY(sim.stop());
    }
};

QTEST_GUILESS_MAIN(TestDownloadWorkflow)
#include "test_download_workflow.moc"
