// `tachoria --probe-download` as a user runs it against tachoria-sim, alone, two at once from one program
// folder, and after a run that died half-way; every file is read back with `tachoria --probe-ddd`.
#include "../support/process_runner.h"
#include "../support/simulator_process.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

using tachoria::test::binaryPath;
using tachoria::test::runProcess;
using tachoria::test::SimulatorProcess;
using namespace Qt::StringLiterals;

namespace {

const QString kDownloads = binaryPath(u"DATA"_s);

// The simulated unit calls itself by this VIN and registration.
bool writeUnit(const SimulatorProcess& sim, const char* vin, const char* registration)
{
    QFile state(sim.statePath());
    return state.open(QIODevice::WriteOnly) &&
           state.write(QByteArray(R"({"values": {"F190": ")") + QByteArray(vin).toHex() +
                       R"(", "F97E": "05)" + QByteArray(registration).leftJustified(13, ' ').toHex() +
                       "\"}}") > 0;
}

// The file a run reported on its last line, "" when it failed.
QString outputOf(const QString& standardOutput)
{
    static const QRegularExpression last(u"download_success=true output=(\\S+) vehicle="_s);
    return last.match(standardOutput.trimmed().section(u'\n', -1)).captured(1);
}

QJsonObject reportOf(const QString& path)
{
    const auto probe = runProcess(binaryPath(u"tachoria"_s), {u"--probe-ddd"_s, path});
    return QJsonDocument::fromJson(probe.standardOutput.toUtf8()).object();
}

// What the decoder reads in a file: the kind, VIN and registration.
QString decoded(const QString& path)
{
    const QJsonObject summary = reportOf(path).value(u"summary").toObject();
    return QStringList{summary[u"fileType"].toString(), summary[u"vin"].toString(),
                       summary[u"registrationNumber"].toString()}
        .join(u' ');
}

QByteArray bytesOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestProbeDownloadEndToEnd : public QObject
{
    Q_OBJECT

    const QString m_clock = QDateTime::currentDateTimeUtc().toString(Qt::ISODate);

private Q_SLOTS:
    void init() { QDir(kDownloads).removeRecursively(); }

    void download_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("asked");
        QTest::addColumn<QList<int>>("rates");
        const QList<int> ladder{9600, 19200, 38400, 57600, 115200};
        QTest::newRow("every block with --all")
            << QStringList{u"--all"_s}
            << QStringList{u"OVERVIEW"_s,       u"ACTIVITIES"_s,     u"EVENTS_FAULTS"_s,
                           u"DETAILED_SPEED"_s, u"TECHNICAL_DATA"_s, u"SERTIFICAT_KEY_NKM"_s}
            << ladder;
        QTest::newRow("the overview alone")
            << QStringList{} << QStringList{u"OVERVIEW"_s, u"SERTIFICAT_KEY_NKM"_s} << ladder;
        // --baud is both the first and the highest speed: no LinkControl at all.
        QTest::newRow("one speed with --baud")
            << QStringList{u"--baud"_s, u"9600"_s} << QStringList{u"OVERVIEW"_s, u"SERTIFICAT_KEY_NKM"_s}
            << QList<int>{9600};
    }

    void download()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, asked);
        SimulatorProcess sim;
        QVERIFY(sim.start());
        const auto run =
            runProcess(binaryPath(u"tachoria"_s), QStringList{u"--probe-download"_s, sim.link()} + arguments);
        QCOMPARE(run.exitCode, 0);
        const QStringList lines = run.standardOutput.split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.first(), u"status=Открываем соединение с тахографом"_s);
        QStringList requested;
        for (const QString& line : lines.mid(0, lines.size() - 1)) {
            QVERIFY2(line.startsWith(u"status="_s) || line.startsWith(u"progress="_s), qPrintable(line));
            if (line.startsWith(u"status=Запрашиваем REQUEST_"_s))
                requested << line.mid(27);
        }
        QCOMPARE(requested, asked);
        const QString path = outputOf(run.standardOutput);
        QVERIFY2(QRegularExpression(
                     u"^%1/\\d\\d_\\d\\d_\\d\\d_\\d\\d_\\d\\d_\\d\\d-\\[A123BC77\\]\\.ddd$"_s.arg(kDownloads))
                     .match(path)
                     .hasMatch(),
                 qPrintable(lines.last()));
        QCOMPARE(lines.last(),
                 u"download_success=true output=%1 vehicle=A123BC77 nkm= card= error="_s.arg(path));
        QCOMPARE(lines.at(lines.size() - 2), u"status=Выгрузка прошла успешно: "_s + path);
        QCOMPARE(decoded(path), u"Тахограф XTA210990Y1234567 A123BC77"_s);
        QList<int> rates;
        for (const auto& e : sim.exchanges())
            if (e.kind == u"tx" && (rates.isEmpty() || rates.last() != e.baud))
                rates << e.baud;
        QTEST(rates, "rates");
        // The probe asks for today and the seven days before (a run across midnight starts a day later).
        const QStringList days = sim.requests().filter(QRegularExpression(u"^36 02 "_s));
        QCOMPARE(days.size(), arguments.contains(u"--all"_s) ? 8 : 0);
        if (days.isEmpty())
            return;
        // One 7602 block a day, and every day in the analysis.
        const QJsonObject report = reportOf(path);
        QStringList tags;
        for (const QJsonValue& block : report[u"blocks"].toArray())
            tags << block[u"fileNumber"].toString();
        QCOMPARE(tags, QStringList({u"7601"_s}) + QStringList(8, u"7602"_s) +
                           QStringList({u"7603"_s, u"7604"_s, u"7605"_s, u"7681"_s}));
        QCOMPARE(report[u"summary"][u"totalDays"].toInt(), 8);
        QCOMPARE(report[u"analysis"][u"workingHours"][u"items"].toArray().size(), 8);
    }

    void failure_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("error");
        QTest::newRow("silent device") << QStringList{u"--silent"_s} << QStringList{u"--baud"_s, u"115200"_s}
                                       << u"Нет ответа тахографа: service frame timeout;"_s;
        QTest::newRow("overview refused")
            << QStringList{u"--refuse-block"_s, u"01"_s} << QStringList{} << u"Ошибка запроса обзора"_s;
    }

    void failure()
    {
        QFETCH(QStringList, simulator);
        QFETCH(QStringList, arguments);
        QFETCH(QString, error);
        SimulatorProcess sim(simulator);
        QVERIFY(sim.start());
        const auto run =
            runProcess(binaryPath(u"tachoria"_s), QStringList{u"--probe-download"_s, sim.link()} + arguments);
        QCOMPARE(run.exitCode, 4);
        const QStringList lines = run.standardOutput.split(u'\n', Qt::SkipEmptyParts);
        QVERIFY2(
            lines.last().startsWith(u"download_success=false output= vehicle= nkm= card= error="_s + error),
            qPrintable(lines.last()));
        QCOMPARE(lines.at(lines.size() - 2), u"status="_s + lines.last().section(u"error="_s, 1));
    }

    // Two runs at once from one program folder, each against its own unit, each write their own file.
    void twoAtOnce()
    {
        SimulatorProcess first({}, false, true);
        SimulatorProcess second({}, false, true);
        QVERIFY(writeUnit(first, "WDB9340321T123456", "K555KK77") &&
                writeUnit(second, "XTA210990Y7654321", "P777OP99"));
        QVERIFY(first.start() && second.start());
        QProcess runs[2];
        runs[0].start(binaryPath(u"tachoria"_s), {u"--probe-download"_s, first.link(), u"--all"_s});
        runs[1].start(binaryPath(u"tachoria"_s), {u"--probe-download"_s, second.link(), u"--all"_s});
        for (QProcess& run : runs)
            QVERIFY(run.waitForFinished(120000) && run.exitCode() == 0);
        const QString firstFile = outputOf(QString::fromUtf8(runs[0].readAllStandardOutput()));
        const QString secondFile = outputOf(QString::fromUtf8(runs[1].readAllStandardOutput()));
        QVERIFY(firstFile.endsWith(u"-[K555KK77].ddd"_s) && secondFile.endsWith(u"-[P777OP99].ddd"_s));
        QCOMPARE(decoded(firstFile), u"Тахограф WDB9340321T123456 K555KK77"_s);
        QCOMPARE(decoded(secondFile), u"Тахограф XTA210990Y7654321 P777OP99"_s);
        QCOMPARE(QDir(kDownloads + u"/runs"_s).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 QStringList());
    }

    // A run killed in the middle of the activities leaves its temporaries in its own folder; the next
    // run's file is the one a run alone gives.
    void runThatDiedHalfWay()
    {
        QByteArray files[3];
        QProcess dying;
        qint64 pid = 0;
        for (int run = 0; run < 3; ++run) {
            SimulatorProcess sim(
                {u"--frozen-clock"_s, m_clock, u"--pending-pause-ms"_s, run == 0 ? u"1000"_s : u"0"_s});
            QVERIFY(sim.start());
            if (run == 0) {
                dying.start(binaryPath(u"tachoria"_s), {u"--probe-download"_s, sim.link(), u"--all"_s});
                QVERIFY(dying.waitForStarted());
                pid = dying.processId();
                QTRY_VERIFY_WITH_TIMEOUT(!sim.requests().filter(u"36 02 "_s).isEmpty(), 60000);
                dying.kill();
                QVERIFY(dying.waitForFinished(10000));
                continue;
            }
            const auto good = runProcess(binaryPath(u"tachoria"_s),
                                         {u"--probe-download"_s, sim.link(), u"--all"_s}, 120000);
            QCOMPARE(good.exitCode, 0);
            files[run] = bytesOf(outputOf(good.standardOutput));
            QCOMPARE(decoded(outputOf(good.standardOutput)), u"Тахограф XTA210990Y1234567 A123BC77"_s);
        }
        QCOMPARE(files[1].size(), files[2].size());
        QVERIFY(files[1] == files[2]);
        const QStringList left = QDir(kDownloads + u"/runs"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        QCOMPARE(left.size(), 1);
        QVERIFY2(left.first().contains(u"-%1-"_s.arg(pid)), qPrintable(left.first()));
        QVERIFY(QDir(kDownloads + u"/runs/"_s + left.first())
                    .entryList(QDir::Files)
                    .contains(u"REQUEST_OVERVIEW.tmp"_s));
    }
};

QTEST_GUILESS_MAIN(TestProbeDownloadEndToEnd)
#include "test_probe_download_e2e.moc"
