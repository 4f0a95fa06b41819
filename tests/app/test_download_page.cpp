// The download page as a master uses it, in this process against the simulated tachograph: a whole
// download with its progress and its file in the list, a unit that falls silent, a stop, and a card in
// the PC's reader (the real pcscd with the virtual card).
#include "../support/pcsc_stand_in.h"
#include "../support/process_runner.h"
#include "../support/window_on_simulator.h"
#include "logging/application_logger.h"
#include "qml_controllers/qml_app_controller.h"
#include "storage/app_paths.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSet>
#include <QTest>

using tachoria::qml::QmlDownloadController;
using tachoria::test::PcscStandIn;
using tachoria::test::SimulatorProcess;
using tachoria::test::WindowDriver;
using tachoria::test::words;

namespace {

// The simulator with its log of requests, the window that found it, the download page open.
struct Bench : tachoria::test::WindowOnSimulator
{
    explicit Bench(const QStringList& simulatorArguments)
        : WindowOnSimulator(simulatorArguments + words({"--verbose"}))
        , before(downloadFolder())
    {
    }
    // The download folder lies beside the program and outlives the test: what the test made goes.
    ~Bench()
    {
        const QDir folder(tachoria::storage::AppPaths::downloadDirectory());
        for (const QString& name : downloadFolder() - before) {
            QFile::remove(folder.filePath(name));
            if (name.contains(QLatin1Char('/')))
                folder.rmdir(QFileInfo(name).path()); // a failed run's own folder, once empty
        }
    }
    // Every file of the download folder, a failed run's temporaries in their run folder included.
    static QSet<QString> downloadFolder()
    {
        const QDir folder(tachoria::storage::AppPaths::downloadDirectory());
        QSet<QString> names;
        QDirIterator files(folder.path(), QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext())
            names.insert(folder.relativeFilePath(files.next()));
        return names;
    }
    bool openPage()
    {
        QString error;
        if (!start(&error)) {
            qWarning("%s", qPrintable(error));
            return false;
        }
        return window.click(QStringLiteral("downloadTile")) &&
               QTest::qWaitFor([this] { return window.findVisible(QStringLiteral("downloadPage")); }, 5000) &&
               QTest::qWaitFor(
                   [this] { return window.find(QStringLiteral("downloadStartButton"))->isEnabled(); }, 10000);
    }
    QmlDownloadController& download() { return *window.app().download(); }
    // The files that appeared in the download folder since the test began.
    QStringList newFiles() const
    {
        QStringList names = (downloadFolder() - before).values();
        names.sort();
        return names;
    }

    QSet<QString> before;
};

int scans(const QList<QByteArray>& requests)
{
    return static_cast<int>(std::count_if(requests.cbegin(), requests.cend(), [](const QByteArray& request) {
        return request.startsWith('\x16');
    }));
}

} // namespace

class TestDownloadPage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        tachoria::logging::ApplicationLogger::initialize(tachoria::storage::AppPaths::logDirectory(), true);
    }

    // Everything the unit has: the bar moves and ends full, the file is the newest of the list, its
    // summary and the decoder's console name the simulator's vehicle; no scan touched the port.
    void wholeDownload()
    {
        Bench bench({});
        QVERIFY(bench.openPage());
        WindowDriver& window = bench.window;
        const int scansBefore = scans(bench.simulator.receivedRequests());
        QVERIFY(window.click(QStringLiteral("needTacho")));
        QVERIFY(bench.download().needTacho());
        QVERIFY(!window.find(QStringLiteral("needNkm"))->isEnabled());
        for (const char* block : {"blockActivities", "blockEvents", "blockSpeed", "blockTechnical"})
            QVERIFY2(window.find(QString::fromLatin1(block))->property("checked").toBool(), block);

        QList<int> seen;
        QObject::connect(&bench.download(), &QmlDownloadController::stateChanged, &bench.download(),
                         [&] { seen.append(bench.download().progress()); });
        QVERIFY(window.click(QStringLiteral("downloadStartButton")));
        QVERIFY(bench.download().running());
        QVERIFY(window.findVisible(QStringLiteral("downloadStatus")));
        QTRY_VERIFY_WITH_TIMEOUT(!bench.download().running(), 60000);
        QVERIFY2(bench.download().lastError().isEmpty(), qPrintable(bench.download().lastError()));
        QCOMPARE(seen.last(), 100);
        QVERIFY(std::is_sorted(seen.cbegin(), seen.cend()));
        QVERIFY(std::any_of(seen.cbegin(), seen.cend(),
                            [](int percent) { return percent > 0 && percent < 100; }));
        QCOMPARE(window.find(QStringLiteral("downloadProgress"))->property("value").toDouble(), 100.0);
        const QString path = bench.download().outputPath();
        QVERIFY(QFile::exists(path));
        QCOMPARE(window.text(QStringLiteral("downloadResult")),
                 QStringLiteral("Выгрузка завершена. Файл: ") + QFileInfo(path).fileName());
        QVERIFY(QFileInfo(path).fileName().endsWith(QStringLiteral("[A123BC77].ddd")));
        QCOMPARE(scans(bench.simulator.receivedRequests()), scansBefore);

        // The finished file goes to the decoding page in one click, and back.
        QVERIFY(window.click(QStringLiteral("downloadDecodeButton")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("dddPage")));
        QCOMPARE(window.app().ddd()->filePath(), path);
        QTRY_COMPARE(window.text(QStringLiteral("dddStatus")), QStringLiteral("Разбор завершён"));
        QVERIFY(window.click(QStringLiteral("pageBackButton")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("downloadPage")));

        QVERIFY(window.click(QStringLiteral("downloadFilesButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("dddFilesDialog")));
        // The newest file comes first.
        QObject* files = window.window()->findChild<QObject*>(QStringLiteral("dddFilesDialog"));
        QTRY_VERIFY(!files->property("files").toList().isEmpty());
        QCOMPARE(files->property("files").toList().first().toMap().value(QStringLiteral("path")).toString(),
                 path);
        QTRY_VERIFY_WITH_TIMEOUT(
            window.text(QStringLiteral("dddFilePreview"))
                .startsWith(QStringLiteral("VIN: XTA210990Y1234567\nРег. номер: A123BC77")),
            15000);
        // Straight to the decoding page; the download page below keeps the port until it closes.
        QVERIFY(window.click(QStringLiteral("dddFilesDecode")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("dddPage")));
        QCOMPARE(window.app().ddd()->filePath(), path);
        QTRY_COMPARE(window.text(QStringLiteral("dddStatus")), QStringLiteral("Разбор завершён"));
        QTRY_VERIFY(!window.dialogOpen(QStringLiteral("dddFilesDialog")));
        QVERIFY(window.click(QStringLiteral("pageBackButton")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("downloadPage")));
        QVERIFY(window.app().monitoringPaused());
        QVERIFY(!window.sawQmlWarnings());

        const auto probe = tachoria::test::runProcess(tachoria::test::binaryPath(QStringLiteral("tachoria")),
                                                      {QStringLiteral("--probe-ddd"), path});
        QCOMPARE(probe.exitCode, 0);
        const QJsonObject summary =
            QJsonDocument::fromJson(probe.standardOutput.toUtf8()).object().value(u"summary").toObject();
        QCOMPARE(summary.value(u"vin").toString(), QStringLiteral("XTA210990Y1234567"));
    }

    // A unit that stops answering halfway: its failure is shown and no final file appears.
    void silentUnit()
    {
        // Silent in the middle of the days of activities (the scan that found the unit counts too).
        Bench bench(words({"--silent-after", "20"}));
        QVERIFY(bench.openPage());
        QVERIFY(bench.window.click(QStringLiteral("needTacho")));
        QVERIFY(bench.window.click(QStringLiteral("downloadStartButton")));
        QTRY_VERIFY_WITH_TIMEOUT(!bench.download().running(), 60000);
        QCOMPARE(bench.download().lastError(), QStringLiteral("Ошибка запроса деятельности"));
        QCOMPARE(bench.window.text(QStringLiteral("downloadStatus")),
                 QStringLiteral("Ошибка выгрузки: Ошибка запроса деятельности"));
        QVERIFY(bench.window.findVisible(QStringLiteral("downloadStatus")));
        QVERIFY(!bench.window.findVisible(QStringLiteral("downloadResult")));
        QVERIFY(bench.download().outputPath().isEmpty());
        // What came before the silence waits in temporary files of the run's own folder; no .ddd appears.
        const QStringList left = bench.newFiles();
        QCOMPARE(left.size(), 2);
        QCOMPARE(QFileInfo(left.at(0)).path(), QFileInfo(left.at(1)).path());
        QVERIFY(left.at(0).startsWith(QStringLiteral("runs/")));
        QCOMPARE(QFileInfo(left.at(0)).fileName(), QStringLiteral("REQUEST_ACTIVITIES.tmp"));
        QCOMPARE(QFileInfo(left.at(1)).fileName(), QStringLiteral("REQUEST_OVERVIEW.tmp"));
    }

    // Stop during a block: the run ends, the page says so and no final file appears.
    void stopDuringABlock()
    {
        Bench bench(words({"--pending", "1", "--pending-pause-ms", "4000"}));
        QVERIFY(bench.openPage());
        QVERIFY(bench.window.click(QStringLiteral("needTacho")));
        QVERIFY(bench.window.click(QStringLiteral("downloadStartButton")));
        QTRY_VERIFY_WITH_TIMEOUT(bench.simulator.receivedRequests().contains(QByteArray::fromHex("3601")),
                                 30000);
        QElapsedTimer stopping;
        stopping.start();
        QVERIFY(bench.window.click(QStringLiteral("downloadStopButton")));
        qInfo("the run ended %lld ms after Stop", static_cast<long long>(stopping.elapsed()));
        QVERIFY(!bench.download().running());
        QCOMPARE(bench.download().statusText(), QStringLiteral("Выгрузка остановлена"));
        QCOMPARE(bench.download().progress(), 0);
        QCOMPARE(bench.newFiles(), QStringList());
        QVERIFY(bench.window.find(QStringLiteral("downloadStartButton"))->isEnabled());
    }

    // A workshop card in the PC's reader: the page asks for its PIN; the card check of the run then
    // refuses the connection by its own rule (0 is compared with the card's 0x9000), so the PIN never
    // reaches the card and nothing reaches the unit. The form keeps this path hidden for that reason.
    void externalCardInThePcReader()
    {
        const QString missing = PcscStandIn::unavailableReason();
        if (!missing.isEmpty())
            QSKIP(qPrintable(missing));
        PcscStandIn pcsc;
        QString error;
        QVERIFY2(pcsc.startService(&error), qPrintable(error));
        QVERIFY2(pcsc.insertCard(&error), qPrintable(error));
        Bench bench({});
        QVERIFY(bench.openPage());
        bench.window.app().settings()->setCardReader(QStringLiteral("Virtual PCD 00 00"));
        bench.download().setNeedCard(true);
        bench.download().setExternalCard(true);
        const int requestsBefore = bench.simulator.receivedRequests().size();
        QVERIFY(bench.window.click(QStringLiteral("downloadStartButton")));
        QTRY_VERIFY(bench.window.dialogOpen(QStringLiteral("downloadPinDialog")));
        QVERIFY(!bench.download().running());
        QVERIFY(bench.window.type(QStringLiteral("pinField"), QStringLiteral("12ab34")));
        QCOMPARE(bench.window.text(QStringLiteral("pinField")), QStringLiteral("1234"));
        QVERIFY(bench.window.click(QStringLiteral("pinAcceptButton")));
        QTRY_VERIFY_WITH_TIMEOUT(!bench.download().running(), 30000);
        QCOMPARE(bench.window.text(QStringLiteral("downloadStatus")),
                 QStringLiteral("Ошибка выгрузки: Не подключена карта: 0x0000"));
        QVERIFY(bench.download().cardPin().isEmpty()); // held for the run only
        QCOMPARE(bench.simulator.receivedRequests().size(), requestsBefore);
        for (const QString& apdu : pcsc.cardLog())
            QVERIFY2(!apdu.startsWith(QStringLiteral("0020")), qPrintable(apdu));
        QCOMPARE(bench.newFiles(), QStringList());
    }
};

QTEST_MAIN(TestDownloadPage)
#include "test_download_page.moc"
