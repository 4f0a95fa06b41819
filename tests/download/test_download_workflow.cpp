#include "../support/process_runner.h"
#include "../support/simulator_process.h"
#include "../support/vu_activity_days.h"
#include "ddd/ddd_decoder.h"
#include "download/download_workflow.h"
#include "logging/application_logger.h"
#include "protocol/byte_order.h"
#include "storage/app_paths.h"
#include "tools/sim/download_source.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

using namespace tachoria::download;
using tachoria::logging::ApplicationLogger;
using tachoria::protocol::TachographClient;
using tachoria::sim::BuiltInDownloadSource;
using tachoria::test::daysOfActivitiesBlock;
using tachoria::test::journalRecords;
using tachoria::test::SimulatorProcess;
using namespace Qt::StringLiterals;
namespace ddd = tachoria::ddd;

Q_DECLARE_METATYPE(tachoria::download::DownloadOptions)

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
    // Folders that stand in the way of a file, left by a test that failed.
    for (const QString& name : folder.entryList({QStringLiteral("*.tmp"), QStringLiteral("*.ddd")},
                                                QDir::Dirs | QDir::NoDotAndDotDot))
        folder.rmdir(name);
}

QString hexText(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

QString secondsHex(const QDate& day)
{
    const auto seconds = static_cast<quint32>(day.startOfDay(QTimeZone::utc()).toSecsSinceEpoch());
    return hexText(tachoria::protocol::bigEndianBytes(seconds, 4));
}

// What the simulated unit was asked, each request as its SID and data in hex ("87 01 01 02").
QStringList requestsSeen(SimulatorProcess& sim, const QString& line = QStringLiteral("tachograph"))
{
    QStringList requests;
    for (const QByteArray& request : sim.receivedRequests(line))
        requests.append(hexText(request));
    return requests;
}

QStringList withSid(const QStringList& requests, const QString& sid)
{
    QStringList matching;
    for (const QString& request : requests) {
        if (request == sid || request.startsWith(sid + QLatin1Char(' ')))
            matching.append(request);
    }
    return matching;
}

// The speeds at which the unit answered, in the order they came.
QList<int> answeringRates(const QString& log)
{
    static const QRegularExpression rate(QStringLiteral("^tachograph: TX .* at (\\d+) baud\\)$"));
    QList<int> rates;
    for (const QString& line : log.split(QLatin1Char('\n'))) {
        const auto match = rate.match(line);
        if (match.hasMatch() && (rates.isEmpty() || rates.last() != match.captured(1).toInt()))
            rates.append(match.captured(1).toInt());
    }
    return rates;
}

struct Run
{
    DownloadResult result;
    QStringList statuses;
    QList<int> percents;
};

DownloadSettings linkSettings(const QString& port, int startBaud = 9600, int maxBaud = 115200)
{
    DownloadSettings settings;
    settings.portName = port;
    settings.startBaud = startBaud;
    settings.maxBaud = maxBaud;
    settings.filePrefix = QStringLiteral("test-");
    return settings;
}

Run download(const DownloadSettings& settings, const DownloadOptions& options, bool stopped = false)
{
    Run run;
    const std::atomic_bool stop{stopped};
    run.result = DownloadWorkflow::run(
        settings, options, stop, [&run](const QString& text) { run.statuses << text; },
        [&run](int percent) { run.percents << percent; });
    return run;
}

Run download(const QString& port, const DownloadOptions& options, int startBaud = 9600, int maxBaud = 115200)
{
    return download(linkSettings(port, startBaud, maxBaud), options);
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

DownloadOptions cryptoModule(bool withCaCertificate)
{
    DownloadOptions options;
    options.nkm = true;
    options.skipCaCertificate = !withCaCertificate;
    options.periodBegin = QDate(2026, 11, 20);
    options.periodEnd = QDate(2026, 11, 21);
    return options;
}

QByteArray block(quint8 type, const QByteArray& payload)
{
    return QByteArray(1, '\x76') + QByteArray(1, static_cast<char>(type)) + payload;
}

// The crypto module's blocks as the simulated unit serves them for the period of cryptoModule().
QByteArray cryptoModuleBlocks(bool withCaCertificate, int archiveBlocks)
{
    const BuiltInDownloadSource unit({}, {}, "7800000000000417");
    QByteArray bytes = block(0x81, unit.cryptoCertificate());
    if (withCaCertificate)
        bytes += block(0x82, unit.authorityCertificate());
    bytes += block(0x84, unit.cryptoData(QDate(2026, 11, 20), QDate(2026, 11, 21)));
    for (int index = 0; index < archiveBlocks; ++index)
        bytes += block(0x85, unit.archiveBlock(index));
    return bytes;
}

} // namespace

class TestDownloadWorkflow : public QObject
{
    Q_OBJECT

    QTemporaryDir m_journalDir;

    QString journalPath() const { return m_journalDir.filePath(QStringLiteral("Tachoria.log")); }

    // This process's journal records of one category and operation, as "level message".
    QStringList journal(const QString& category, const QString& operation) const
    {
        QStringList lines;
        for (const QVariantMap& record : journalRecords(journalPath(), QCoreApplication::applicationPid())) {
            if (record.value(u"category"_s) == category && record.value(u"operation"_s) == operation)
                lines.append(record.value(u"level"_s).toString() + u' ' +
                             record.value(u"message"_s).toString());
        }
        return lines;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_journalDir.isValid());
        ApplicationLogger::initialize(m_journalDir.path(), true);
    }

    void init()
    {
        clearDownloadFolder();
        QFile::remove(journalPath());
    }

    void cleanupTestCase()
    {
        clearDownloadFolder();
        ApplicationLogger::shutdown();
    }

    void registrationForFileName_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("Cyrillic look-alikes become Latin")
            << QByteArray("\xC0\xC2\xC5\xCA\xCC\xCD\xCE\xD0\xD1\xD2\xD3\xD5") << u"ABEKMHOPCTYX"_s;
        QTest::newRow("small letters too, after upper case")
            << QByteArray("\xE0\x31\x32\x33\xE2\xF1 77 ") << u"A123BC 77"_s;
        QTest::newRow("other Cyrillic letters stay") << QByteArray("\xC4\xE6\xDF") << u"ДЖЯ"_s;
        QTest::newRow("Yo in both cases") << QByteArray("\xA8\xB8") << u"ЁЁ"_s;
        QTest::newRow("bytes without a letter") << QByteArray("\x01z\x7F\x80\xBF", 5) << u"_Z___"_s;
        QTest::newRow("only blanks are trimmed") << QByteArray("  \x01 a \x1F  ") << u"_ A _"_s;
        QTest::newRow("empty") << QByteArray() << QString();
    }

    void registrationForFileName()
    {
        QFETCH(QByteArray, bytes);
        QTEST(tachoria::download::registrationForFileName(bytes), "text");
    }

    void hexSafeName_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("safe");
        QTest::newRow("every forbidden character") << u"a/b\\c:d*e?f\"g<h>i|j"_s << u"a_b_c_d_e_f_g_h_i_j"_s;
        QTest::newRow("NUL") << QString(QChar(0)) + u"x"_s << u"_x"_s;
        QTest::newRow("the rest stands") << u"A-1 [б]._~"_s << u"A-1 [б]._~"_s;
    }

    void hexSafeName()
    {
        QFETCH(QString, text);
        QTEST(DownloadWorkflow::hexSafeName(text), "safe");
    }

    void asciiWithQuestionMarks_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("printable range") << QByteArray(" A~") << u" A~"_s;
        QTest::newRow("outside it") << QByteArray("\x1F\x7F\x80\xFF\x00", 5) << u"?????"_s;
    }

    void asciiWithQuestionMarks()
    {
        QFETCH(QByteArray, bytes);
        QTEST(DownloadWorkflow::asciiWithQuestionMarks(bytes), "text");
    }

    void nkmCounter_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("parsed");
        QTest::addColumn<quint32>("count");
        QTest::newRow("big-endian") << QByteArray::fromHex("00000104") << true << 260u;
        QTest::newRow("largest") << QByteArray::fromHex("FFFFFFFF") << true << 4294967295u;
        QTest::newRow("three bytes") << QByteArray::fromHex("000104") << false << 0u;
        QTest::newRow("five bytes") << QByteArray::fromHex("0000000104") << false << 0u;
        QTest::newRow("none") << QByteArray() << false << 0u;
    }

    void nkmCounter()
    {
        QFETCH(QByteArray, bytes);
        quint32 count = 0;
        QTEST(DownloadWorkflow::parseNkmDownloadCount(bytes, count), "parsed");
        QTEST(count, "count");
    }

    void nkmPercent_data()
    {
        QTest::addColumn<quint32>("done");
        QTest::addColumn<quint32>("total");
        QTest::addColumn<int>("percent");
        QTest::newRow("none yet") << 0u << 4u << 0;
        QTest::newRow("rounded down") << 2u << 3u << 66;
        QTest::newRow("all done shows 99") << 4u << 4u << 99;
        QTest::newRow("more than announced") << 5u << 4u << 99;
        QTest::newRow("no overflow") << 4294967295u << 4294967295u << 99;
        QTest::newRow("nothing announced") << 1u << 0u << -1;
    }

    void nkmPercent()
    {
        QFETCH(quint32, done);
        QFETCH(quint32, total);
        QTEST(DownloadWorkflow::nkmDownloadPercent(done, total), "percent");
    }

    void unixDate()
    {
        QCOMPARE(DownloadWorkflow::unixDate(QDate(1970, 1, 2)), 86400);
        QCOMPARE(DownloadWorkflow::unixDate(QDate(2000, 1, 1)), 946684800);
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
        QTest::newRow("begin after the default end")
            << 2 << QDate(2026, 12, 1) << QDate() << QDate() << today << QDate(2026, 12, 1);
        QTest::newRow("everything") << 0 << QDate(2026, 1, 9) << QDate() << QDate() << QDate(2000, 1, 1)
                                    << today;
        QTest::newRow("since") << 1 << QDate() << QDate() << QDate(2026, 10, 1) << QDate(2026, 10, 1)
                               << today;
        QTest::newRow("since a later day")
            << 1 << QDate() << QDate() << QDate(2026, 12, 24) << today << QDate(2026, 12, 24);
        QTest::newRow("since without a date")
            << 1 << QDate() << QDate(2026, 11, 20) << QDate() << QDate(2026, 11, 16) << QDate(2026, 11, 20);
        QTest::newRow("another mode reads as a period")
            << 7 << QDate(2026, 1, 5) << QDate(2026, 1, 9) << QDate(2026, 1, 1) << QDate(2026, 1, 5)
            << QDate(2026, 1, 9);
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

    void sendService_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<int>("sid");
        QTest::addColumn<int>("attempts");
        QTest::addColumn<bool>("stopped");
        QTest::addColumn<bool>("replied");
        QTest::addColumn<int>("responseCode");
        QTest::addColumn<QString>("error");
        QTest::addColumn<int>("requests");
        const QStringList silent{u"--silent"_s};
        QTest::newRow("a positive reply gives its SID")
            << QStringList{} << 0x81 << 3 << false << true << 0xC1 << QString() << 1;
        QTest::newRow("a negative reply gives its code")
            << QStringList{} << 0x3E << 3 << false << true << 0x22 << QString() << 1;
        QTest::newRow("no attempts still make one round")
            << silent << 0x3E << 0 << false << false << 0 << u"service frame timeout; "_s << 1;
        QTest::newRow("every attempt is a round")
            << silent << 0x3E << 3 << false << false << 0 << u"service frame timeout; "_s << 3;
        QTest::newRow("stopped before the first round")
            << QStringList{} << 0x81 << 3 << true << false << 0 << u"Операция остановлена"_s << 0;
    }

    void sendService()
    {
        QFETCH(QStringList, simulator);
        QFETCH(int, sid);
        QFETCH(int, attempts);
        QFETCH(bool, stopped);
        QFETCH(QString, error);
        SimulatorProcess sim(simulator + QStringList{u"--verbose"_s});
        QString startError;
        QVERIFY2(sim.start(&startError), qPrintable(startError));
        TachographClient client;
        client.configure(sim.link(), 115200, QSerialPort::EvenParity);
        QVERIFY(client.open(&startError));
        const std::atomic_bool stop{stopped};
        const RequestResult result =
            DownloadWorkflow::sendService(client, static_cast<quint8>(sid), {}, &stop, attempts, 300);
        client.close();
        QTEST(result.replied, "replied");
        QTEST(int(result.responseCode), "responseCode");
        QVERIFY2(error.isEmpty() ? result.errorText.isEmpty() : result.errorText.startsWith(error),
                 qPrintable(result.errorText));
        QVERIFY(sim.stop());
        QTEST(int(requestsSeen(sim).size()), "requests");
    }

    // The climb of the link rate: where it starts, which LinkControl requests go out, at which speeds
    // the unit answers and how the port is set up for each.
    void linkRate_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<int>("startBaud");
        QTest::addColumn<int>("maxBaud");
        QTest::addColumn<bool>("skipLinkControl");
        QTest::addColumn<QStringList>("linkControl");
        QTest::addColumn<QList<int>>("configured");
        QTest::addColumn<QList<int>>("rates");
        QTest::addColumn<QStringList>("warnings");

        const QStringList wholeLadder{u"87 01 01 02"_s, u"87 02 03"_s, u"87 01 01 03"_s, u"87 02 03"_s,
                                      u"87 01 01 04"_s, u"87 02 03"_s, u"87 01 01 05"_s, u"87 02 03"_s};
        const QList<int> upTo115200{9600, 19200, 38400, 57600, 115200};
        QTest::newRow("up the ladder") << QStringList{} << 9600 << 115200 << false << wholeLadder
                                       << upTo115200 << upTo115200 << QStringList{};
        QTest::newRow("reversed limits are swapped")
            << QStringList{} << 115200 << 9600 << false << wholeLadder << upTo115200 << upTo115200
            << QStringList{};
        QTest::newRow("refused above 57600")
            << QStringList{u"--max-link-baud"_s, u"57600"_s} << 9600 << 115200 << false
            << wholeLadder.mid(0, 7) << upTo115200.mid(0, 4) << upTo115200.mid(0, 4)
            << QStringList{u"warning Тахограф не разрешил повышение скорости до 115200 бод (ответ 0x31); "
                           u"продолжаем на текущей скорости 57600 бод"_s};
        QTest::newRow("a maximum not on the ladder is its top")
            << QStringList{u"--max-link-baud"_s, u"115200"_s} << 9600 << 5 << false
            << wholeLadder + QStringList{u"87 01 01 06"_s} << upTo115200 << upTo115200
            << QStringList{u"warning Тахограф не разрешил повышение скорости до 230400 бод (ответ 0x31); "
                           u"продолжаем на текущей скорости 115200 бод"_s};
        QTest::newRow("a start not on the ladder is 10400")
            << QStringList{u"--bauds"_s, u"10400"_s} << 12345 << 10400 << false << QStringList{}
            << QList<int>{10400} << QList<int>{10400} << QStringList{};
        // The port's close between two rates may put the pseudo-terminal back at 38400 for a moment,
        // and the unit must understand that speed to read a switch that arrives just then.
        QTest::newRow("first contact at the next rate")
            << QStringList{u"--bauds"_s, u"9600,19200,38400"_s} << 10400 << 19200 << false
            << QStringList{u"87 01 01 02"_s, u"87 02 03"_s} << QList<int>{10400, 9600, 19200}
            << QList<int>{9600, 19200} << QStringList{};
        QTest::newRow("no LinkControl over Bluetooth")
            << QStringList{} << 9600 << 115200 << true << QStringList{} << QList<int>{9600}
            << QList<int>{9600} << QStringList{u"info LinkControl пропущен для Bluetooth-выгрузки Android"_s};
    }

    void linkRate()
    {
        QFETCH(QStringList, simulator);
        QFETCH(int, startBaud);
        QFETCH(int, maxBaud);
        QFETCH(bool, skipLinkControl);
        QFETCH(QList<int>, configured);
        QFETCH(QStringList, warnings);
        SimulatorProcess sim(simulator + QStringList{u"--verbose"_s});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        DownloadSettings settings = linkSettings(sim.link(), startBaud, maxBaud);
        settings.skipLinkControl = skipLinkControl;
        const Run run = download(settings, DownloadOptions{});
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QVERIFY(sim.stop());

        const QStringList requests = requestsSeen(sim);
        QTEST(withSid(requests, u"87"_s), "linkControl");
        QTEST(answeringRates(sim.standardError()), "rates");
        // A pseudo-terminal drops the parity bit: the journal shows what the port was set to.
        QStringList expectedPort;
        for (int baud : configured)
            expectedPort.append(u"info Порт настроен: %1, baud=%2, parity=2"_s.arg(sim.link()).arg(baud));
        QCOMPARE(journal(u"serial"_s, u"configure"_s), expectedPort);
        const QString operation = skipLinkControl ? u"skip-link-control"_s : u"run"_s;
        QStringList logged = journal(u"download"_s, operation);
        logged.removeIf([](const QString& line) {
            return !line.contains(u"LinkControl"_s) && !line.contains(u"повышение скорости"_s);
        });
        QCOMPARE(logged, warnings);
    }

    // A run that asks for nothing still opens the session, raises the rate, asks for the upload, ends
    // it, closes the session, and leaves an empty file.
    void nothingAskedStillClosesTheSession()
    {
        SimulatorProcess sim({u"--verbose"_s});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const Run run = download(sim.link(), DownloadOptions{});
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QCOMPARE(QFileInfo(run.result.filePath).fileName(), QStringLiteral("test-.ddd"));
        QCOMPARE(QFileInfo(run.result.filePath).size(), 0);
        QCOMPARE(run.statuses, QStringList({u"Открываем соединение с тахографом"_s,
                                            u"Выгрузка прошла успешно: "_s + run.result.filePath}));
        QVERIFY(sim.stop());
        QCOMPARE(requestsSeen(sim),
                 QStringList({u"81"_s, u"10 81"_s, u"87 01 01 02"_s, u"87 02 03"_s, u"87 01 01 03"_s,
                              u"87 02 03"_s, u"87 01 01 04"_s, u"87 02 03"_s, u"87 01 01 05"_s, u"87 02 03"_s,
                              u"35 00 00 00 00 00 FF FF FF FF"_s, u"37"_s, u"82"_s}));
        QCOMPARE(journal(u"download"_s, u"run"_s),
                 QStringList({u"info Начата выгрузка: port=%1, tacho=0, card=0"_s.arg(sim.link()),
                              u"info Выгрузка завершена: "_s + run.result.filePath}));
    }

    void stoppedBeforeTheStart()
    {
        SimulatorProcess sim({u"--verbose"_s});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const Run run = download(linkSettings(sim.link()), vehicleUnit(false), true);
        QVERIFY(!run.result.success);
        QCOMPARE(run.result.errorText, u"Операция остановлена"_s);
        QCOMPARE(run.statuses,
                 QStringList({u"Открываем соединение с тахографом"_s, u"Операция остановлена"_s}));
        QVERIFY(sim.stop());
        QCOMPARE(requestsSeen(sim), QStringList());
        QCOMPARE(downloadFolder().entryList({QStringLiteral("*.ddd")}), QStringList());
    }

    void vehicleUnitDownload_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::newRow("straight") << QStringList{};
        QTest::newRow("a reply pending twice just waits") << QStringList{u"--pending"_s, u"2"_s};
    }

    void vehicleUnitDownload()
    {
        QFETCH(QStringList, simulator);
        SimulatorProcess sim(simulator + QStringList{QStringLiteral("--verbose")});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const Run run = download(sim.link(), vehicleUnit(true));
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QCOMPARE(run.result.registration, QStringLiteral("A123BC77"));
        QCOMPARE(QFileInfo(run.result.filePath).fileName(), QStringLiteral("test-[A123BC77].ddd"));
        QCOMPARE(QFileInfo(run.result.filePath).absolutePath(), downloadFolder().absolutePath());
        QVERIFY(downloadFolder().entryList({QStringLiteral("*.tmp")}).isEmpty());

        QFile file(run.result.filePath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        // Eight days of activities, a 7602 block each, among the unit's other blocks; all read back.
        QStringList tags;
        QList<QDate> days;
        for (const ddd::DddBlock& block : ddd::Decoder::splitTachographBlocks(bytes)) {
            tags.append(block.fileNumber);
            if (block.fileNumber == u"7602")
                days += daysOfActivitiesBlock(block.data);
        }
        QCOMPARE(tags, QStringList({u"7601"_s}) + QStringList(8, u"7602"_s) +
                           QStringList({u"7603"_s, u"7604"_s, u"7605"_s, u"7681"_s}));
        QList<QDate> requested;
        for (int day = 1; day <= 8; ++day)
            requested.append(QDate(2026, 11, day));
        QCOMPARE(days, requested);
        const ddd::DddReport report = ddd::Decoder::decode(bytes, run.result.filePath);
        QCOMPARE(report.dayInformation.size(), 8);
        QCOMPARE(report.totalDays, 8);

        // The blocks in their order, one request a day for the activities, each at midnight UTC.
        QVERIFY(sim.stop());
        const QStringList requests = requestsSeen(sim);
        QStringList transfers{u"36 01"_s};
        for (const QDate& day : requested)
            transfers.append(u"36 02 "_s + secondsHex(day));
        transfers << u"36 03"_s << u"36 04"_s << u"36 05"_s << u"36 81"_s;
        QCOMPARE(withSid(requests, u"36"_s), transfers);
        // Long blocks come segment by segment, each asked for by its number from 1.
        const QStringList segments = withSid(requests, u"83"_s);
        QVERIFY(segments.contains(u"83 76 00 01"_s) && segments.contains(u"83 76 00 02"_s));
        QVERIFY(run.statuses.contains(u"Получен пакет передачи 1"_s));
        QVERIFY(run.statuses.contains(u"Получен пакет передачи 2"_s));
        QCOMPARE(run.statuses.first(), u"Открываем соединение с тахографом"_s);
        QCOMPARE(run.statuses.last(), u"Выгрузка прошла успешно: "_s + run.result.filePath);
        for (const char* name :
             {"REQUEST_OVERVIEW", "REQUEST_ACTIVITIES", "REQUEST_EVENTS_FAULTS", "REQUEST_DETAILED_SPEED",
              "REQUEST_TECHNICAL_DATA", "REQUEST_SERTIFICAT_KEY_NKM"})
            QVERIFY2(run.statuses.contains(u"Запрашиваем "_s + QLatin1String(name)), name);
        QCOMPARE(journal(u"download"_s, u"run"_s).first(),
                 u"info Начата выгрузка: port=%1, tacho=1, card=0"_s.arg(sim.link()));
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

    // Which blocks a choice of options fetches, in which order they land in the file, and how the file
    // is named after what they held.
    void blocksAndName_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<DownloadOptions>("options");
        QTest::addColumn<QString>("prefix");
        QTest::addColumn<QStringList>("transfers");
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<QByteArray>("tail");

        DownloadOptions noOverview = vehicleUnit(false);
        noOverview.overview = false;
        QTest::newRow("no overview, no registration")
            << QStringList{} << noOverview << u"test-"_s << QStringList{u"36 81"_s} << u"test-[].ddd"_s
            << QByteArray("\x76\x81") << QByteArray();
        QTest::newRow("no prefix") << QStringList{} << vehicleUnit(false) << QString()
                                   << QStringList{u"36 01"_s, u"36 81"_s} << u"download-[A123BC77].ddd"_s
                                   << QByteArray("\x76\x01") << QByteArray();
        DownloadOptions withCa = vehicleUnit(false);
        withCa.skipCaCertificate = false;
        QTest::newRow("with the authority's certificate")
            << QStringList{} << withCa << u"test-"_s << QStringList{u"36 01"_s, u"36 81"_s, u"36 82"_s}
            << u"test-[A123BC77].ddd"_s << QByteArray("\x76\x01") << QByteArray();

        const QString period = secondsHex(QDate(2026, 11, 20)) + u' ' + secondsHex(QDate(2026, 11, 21));
        QTest::newRow("the crypto module")
            << QStringList{} << cryptoModule(true) << u"test-"_s
            << QStringList{u"36 81"_s, u"36 82"_s, u"36 84 "_s + period, u"36 85"_s, u"36 85"_s,
                           u"36 85"_s, u"36 85"_s}
            << u"test-[7800000000000417].ddd"_s << cryptoModuleBlocks(true, 3) << QByteArray();

        // The card's block goes into the file as the unit sends it, without 76 06 in front.
        const QByteArray card =
            QByteArray::fromHex("052000008F2B") + "RUM0000012345600" + QByteArray(126, '\0');
        DownloadOptions everything = cryptoModule(false);
        everything.tachograph = everything.overview = everything.card = true;
        QTest::newRow("everything") << QStringList{u"--module-card"_s, u"RUM0000012345600"_s} << everything
                                    << u"test-"_s << QStringList{u"36 01"_s,           u"36 81"_s, u"36 81"_s,
                                                                 u"36 84 "_s + period, u"36 85"_s, u"36 85"_s,
                                                                 u"36 85"_s,           u"36 85"_s, u"36 06"_s}
                                    << u"test-[7800000000000417][A123BC77][RUM0000012345600].ddd"_s
                                    << QByteArray("\x76\x01")
                                    << block(0x81, BuiltInDownloadSource({}, {}, {}).cryptoCertificate()) +
                                           cryptoModuleBlocks(false, 3) +
                                           QByteArray::fromHex("000200001900") + QByteArray(25, '\x01') +
                                           card;

        DownloadOptions unsafe = cryptoModule(false);
        unsafe.card = true;
        QTest::newRow("characters a file name cannot hold")
            << QStringList{u"--module-card"_s, u"RU/00:00*1\x01<3>|"_s, u"--skzi-number"_s,
                           u"78\\00?00\"000417-0000000000009921"_s}
            << unsafe << u"test-"_s << QStringList{u"36 81"_s, u"36 84 "_s + period, u"36 85"_s, u"36 85"_s,
                                                   u"36 85"_s, u"36 85"_s,           u"36 06"_s}
            << u"test-[78_00_00_000417 ][RU_00_00_1__3__ ].ddd"_s << QByteArray("\x76\x81") << QByteArray();
    }

    void blocksAndName()
    {
        QFETCH(QStringList, simulator);
        QFETCH(DownloadOptions, options);
        QFETCH(QString, prefix);
        QFETCH(QByteArray, head);
        QFETCH(QByteArray, tail);
        SimulatorProcess sim(simulator + QStringList{u"--verbose"_s});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        DownloadSettings settings = linkSettings(sim.link(), 115200, 115200);
        settings.filePrefix = prefix;
        const Run run = download(settings, options);
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QVERIFY(sim.stop());
        QTEST(withSid(requestsSeen(sim), u"36"_s), "transfers");
        QTEST(QFileInfo(run.result.filePath).fileName(), "fileName");
        QFile file(run.result.filePath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        QVERIFY2(bytes.startsWith(head), qPrintable(hexText(bytes.left(16))));
        QVERIFY2(bytes.endsWith(tail), qPrintable(hexText(bytes.right(16))));
        QVERIFY(downloadFolder().entryList({QStringLiteral("*.tmp")}).isEmpty());
    }

    void cardNumberAndSerialAsFound()
    {
        SimulatorProcess sim({u"--module-card"_s, u"RU/00?00*1"_s, u"--skzi-number"_s,
                              u"78\\00?00\"000417-0000000000009921"_s});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        DownloadOptions options = cryptoModule(false);
        options.card = true;
        const Run run = download(sim.link(), options, 115200, 115200);
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        // Question marks, and bytes that print as one, become "_" already in the identifiers.
        QCOMPARE(run.result.nkmSerial, u"78\\00_00\"000417 "_s);
        QCOMPARE(run.result.cardNumber, u"RU/00_00*1      "_s);
        QVERIFY(sim.stop());
    }

    void cryptoModuleCounter_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<QStringList>("counterStatuses");
        QTest::addColumn<QList<int>>("percents");
        QTest::addColumn<int>("archiveBlocks");
        QTest::addColumn<int>("archiveRequests");
        QTest::addColumn<QString>("warning");

        const QString waiting = u"Выгрузка СКЗИ: получено блоков 1; ожидаем общее количество от тахографа"_s;
        const QString withoutCounter =
            u"Выгрузка СКЗИ продолжается без общего счётчика; точный процент недоступен"_s;
        QTest::newRow("counter known")
            << QStringList{}
            << QStringList{waiting, u"Выгрузка СКЗИ: 1 из 4 блоков"_s, u"Выгрузка СКЗИ: 2 из 4 блоков"_s,
                           u"Выгрузка СКЗИ: 3 из 4 блоков"_s, u"Выгрузка СКЗИ: 4 из 4 блоков"_s}
            << QList<int>{25, 50, 75, 99} << 3 << 4 << QString();
        QTest::newRow("counter zero")
            << QStringList{u"--nkm-counter"_s, u"zero"_s}
            << QStringList{waiting,
                           u"Выгрузка СКЗИ: тахограф сообщил, что блоков к загрузке нет; проверяем архив"_s}
            << QList<int>{} << 3 << 4 << QString();
        QTest::newRow("counter refused")
            << QStringList{u"--nkm-counter"_s, u"refused"_s} << QStringList{waiting, withoutCounter}
            << QList<int>{} << 3 << 4
            << u"warning Не удалось получить количество блоков СКЗИ: тахограф отклонил запрос счётчика"_s;
        QTest::newRow("counter malformed")
            << QStringList{u"--nkm-counter"_s, u"malformed"_s} << QStringList{waiting, withoutCounter}
            << QList<int>{} << 3 << 4
            << u"warning Не удалось получить количество блоков СКЗИ: ответ имеет неверный формат"_s;
        QTest::newRow("counter silent")
            << QStringList{u"--nkm-counter"_s, u"silent"_s} << QStringList{waiting, withoutCounter}
            << QList<int>{} << 3 << 4
            << u"warning Не удалось получить количество блоков СКЗИ: service frame timeout; "_s;
        QTest::newRow("archive ends at once") << QStringList{u"--archive-blocks"_s, u"0"_s}
                                              << QStringList{waiting, u"Выгрузка СКЗИ: 1 из 1 блоков"_s}
                                              << QList<int>{99} << 0 << 1 << QString();
        // A refused day goes on to the next; a step that ends refused ends the archive without error.
        QTest::newRow("archive refused") << QStringList{u"--refuse-block"_s, u"85"_s}
                                         << QStringList{waiting, u"Выгрузка СКЗИ: 1 из 4 блоков"_s}
                                         << QList<int>{25} << 0 << 2 << QString();
    }

    void cryptoModuleCounter()
    {
        QFETCH(QStringList, simulator);
        QFETCH(int, archiveBlocks);
        QFETCH(QString, warning);
        SimulatorProcess sim(simulator + QStringList{u"--verbose"_s});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const Run run = download(sim.link(), cryptoModule(false), 115200, 115200);
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QCOMPARE(run.result.nkmSerial, QStringLiteral("7800000000000417"));
        QStringList counterStatuses = run.statuses;
        counterStatuses.removeIf([](const QString& text) { return !text.startsWith(u"Выгрузка СКЗИ"_s); });
        QTEST(counterStatuses, "counterStatuses");
        QTEST(run.percents, "percents");
        QFile file(run.result.filePath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(hexText(file.readAll()), hexText(cryptoModuleBlocks(false, archiveBlocks)));
        QVERIFY(sim.stop());
        QTEST(int(withSid(requestsSeen(sim), u"36 85"_s).size()), "archiveRequests");
        QVERIFY(withSid(requestsSeen(sim), u"C7"_s) == QStringList{u"C7 10 51"_s});
        const QStringList logged = journal(u"download"_s, u"nkm-download-progress"_s);
        if (warning.isEmpty()) {
            QCOMPARE(logged, QStringList());
        } else {
            QCOMPARE(logged.size(), 1);
            QVERIFY2(logged.first().startsWith(warning), qPrintable(logged.first()));
        }
    }

    // A block that comes some seconds after its "response pending" is waited for longer than a request.
    void slowBlock()
    {
        SimulatorProcess sim({u"--pending-pause-ms"_s, u"3000"_s, u"--verbose"_s});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        DownloadOptions options = vehicleUnit(false);
        options.overview = false;
        const Run run = download(sim.link(), options, 115200, 115200);
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QVERIFY(sim.stop());
        QCOMPARE(withSid(requestsSeen(sim), u"36"_s), QStringList{u"36 81"_s});
    }

    // An archive answer may take the unit long after its "response pending"; the download waits for it.
    void slowArchive()
    {
        SimulatorProcess sim(
            {u"--archive-pending-ms"_s, u"6500"_s, u"--archive-blocks"_s, u"0"_s, u"--verbose"_s});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const Run run = download(sim.link(), cryptoModule(false), 115200, 115200);
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QVERIFY(sim.stop());
        QCOMPARE(withSid(requestsSeen(sim), u"36 85"_s), QStringList{u"36 85"_s});
    }

    // Every way a run can fail, with its text; a session that was opened is always closed.
    void failures_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<DownloadOptions>("options");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QString>("lastRequest");

        DownloadOptions all = vehicleUnit(true);
        all.skipCaCertificate = false;
        all.nkm = all.card = true;
        all.periodBegin = all.periodEnd = QDate(2026, 11, 20);
        const auto refused = [](const QString& what) { return QStringList{u"--refuse-block"_s, what}; };
        QTest::newRow("no start") << QStringList{u"--refuse-service"_s, u"81"_s} << all
                                  << u"Нет ответа тахографа"_s << u"81"_s;
        QTest::newRow("no session") << QStringList{u"--refuse-session"_s, u"81"_s} << all
                                    << u"Не выполнен StartDiagnosticSession"_s << u"82"_s;
        QTest::newRow("no upload") << QStringList{u"--refuse-service"_s, u"35"_s} << all
                                   << u"Не выполнен RequestUpload"_s << u"82"_s;
        QTest::newRow("overview") << refused(u"01"_s) << all << u"Ошибка запроса обзора"_s << u"82"_s;
        QTest::newRow("activities") << refused(u"02"_s) << all << u"Ошибка запроса деятельности"_s << u"82"_s;
        QTest::newRow("events") << refused(u"03"_s) << all << u"Ошибка запроса событий"_s << u"82"_s;
        QTest::newRow("speed") << refused(u"04"_s) << all << u"Ошибка запроса скорости"_s << u"82"_s;
        QTest::newRow("technical data")
            << refused(u"05"_s) << all << u"Ошибка запроса технических данных"_s << u"82"_s;
        QTest::newRow("module certificate")
            << refused(u"81"_s) << all << u"Ошибка запроса сертификата НКМ"_s << u"82"_s;
        QTest::newRow("authority certificate")
            << refused(u"82"_s) << all << u"Ошибка запроса сертификата УЦ"_s << u"82"_s;
        QTest::newRow("module data") << refused(u"84"_s) << all << u"Ошибка запроса данных СКЗИ"_s << u"82"_s;
        // Start, session, upload, the module's two certificates, its data and counter, and silence.
        DownloadOptions nkm = cryptoModule(true);
        QTest::newRow("module archive")
            << QStringList{u"--silent-after"_s, u"7"_s} << nkm << u"Ошибка запроса архива СКЗИ"_s << u"82"_s;
        QTest::newRow("card without an authenticated card")
            << QStringList{} << all << u"Ошибка выгрузки карты"_s << u"82"_s;
        QTest::newRow("no transfer exit") << QStringList{u"--refuse-service"_s, u"37"_s} << DownloadOptions{}
                                          << u"Не выполнен RequestTransferExit"_s << u"82"_s;
    }

    void failures()
    {
        QFETCH(QStringList, simulator);
        QFETCH(DownloadOptions, options);
        QFETCH(QString, error);
        SimulatorProcess sim(simulator + QStringList{u"--verbose"_s});
        QString startError;
        QVERIFY2(sim.start(&startError), qPrintable(startError));
        const Run run = download(sim.link(), options, 115200, 115200);
        QVERIFY(!run.result.success);
        QCOMPARE(run.result.errorText, error);
        QCOMPARE(run.statuses.last(), error);
        QCOMPARE(run.result.filePath, QString());
        QCOMPARE(downloadFolder().entryList({QStringLiteral("*.ddd")}), QStringList());
        QVERIFY(sim.stop());
        QTEST(requestsSeen(sim).last(), "lastRequest");
    }

    void linkControlFailures_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QStringList>("requests");
        QTest::newRow("refused otherwise than with 0x31")
            << QStringList{u"--refuse-service"_s, u"87"_s}
            << u"Не выполнен LinkControlService1 (ответ 0x22)"_s
            << QStringList{u"81"_s, u"10 81"_s, u"87 01 01 05"_s, u"82"_s};
        QTest::newRow("no answer") << QStringList{u"--silent-after"_s, u"2"_s}
                                   << u"Не выполнен LinkControlService1"_s
                                   << QStringList{u"81"_s,          u"10 81"_s,       u"87 01 01 05"_s,
                                                  u"87 01 01 05"_s, u"87 01 01 05"_s, u"82"_s};
    }

    void linkControlFailures()
    {
        QFETCH(QStringList, simulator);
        QFETCH(QString, error);
        SimulatorProcess sim(simulator + QStringList{u"--verbose"_s});
        QString startError;
        QVERIFY2(sim.start(&startError), qPrintable(startError));
        const Run run = download(sim.link(), vehicleUnit(false), 57600, 115200);
        QVERIFY(!run.result.success);
        QCOMPARE(run.result.errorText, error);
        QCOMPARE(run.statuses.last(), error);
        QVERIFY(sim.stop());
        QTEST(requestsSeen(sim), "requests");
    }

    // Through the external adapter: it is found and switched to RS-232 on its own port, and the whole
    // download then runs on that port.
    void throughTheAdapter()
    {
        SimulatorProcess sim({u"--verbose"_s}, true);
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        DownloadSettings settings = linkSettings(u"/nonexistent/tachograph"_s, 9600, 19200);
        settings.useRalona = true;
        settings.ralonaPortName = sim.adapterLink();
        const Run run = download(settings, vehicleUnit(false));
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QCOMPARE(run.result.registration, u"A123BC77"_s);
        QVERIFY(sim.stop());
        const QString log = sim.standardError();
        QVERIFY2(log.contains(u"adapter: adapter command 07\nadapter: TX 55 AA 87"_s), qPrintable(log));
        QVERIFY2(log.contains(u"adapter: adapter command 03\nadapter: TX 55 AA 83"_s), qPrintable(log));
        QCOMPARE(requestsSeen(sim, u"tachograph"_s), QStringList());
        const QStringList requests = requestsSeen(sim, u"adapter"_s);
        QCOMPARE(requests.mid(0, 4), QStringList({u"81"_s, u"10 81"_s, u"87 01 01 02"_s, u"87 02 03"_s}));
        QCOMPARE(requests.last(), u"82"_s);
        QCOMPARE(journal(u"download"_s, u"run"_s).first(),
                 u"info Начата выгрузка: port=%1, tacho=1, card=0"_s.arg(sim.adapterLink()));
    }

    void adapterMissing()
    {
        DownloadSettings settings = linkSettings(u"/nonexistent/tachograph"_s);
        settings.useRalona = true;
        settings.ralonaPortName = u"/nonexistent/adapter"_s;
        const Run run = download(settings, vehicleUnit(false));
        QVERIFY(!run.result.success);
        QVERIFY(!run.result.errorText.isEmpty());
        QCOMPARE(run.statuses, QStringList({u"Открываем соединение с тахографом"_s, run.result.errorText}));
    }

    // A file that cannot be written ends the run with the step's text, or with the file's own reason for
    // the final file; the session is closed either way.
    void unwritableFiles_data()
    {
        QTest::addColumn<QString>("inTheWay");
        QTest::addColumn<QString>("error");
        QTest::newRow("a temporary file") << u"REQUEST_OVERVIEW.tmp"_s << u"Ошибка запроса обзора"_s;
        QTest::newRow("the final file") << u"test-[A123BC77].ddd"_s << u"Filename refers to a directory"_s;
    }

    void unwritableFiles()
    {
        QFETCH(QString, inTheWay);
        QFETCH(QString, error);
        QVERIFY(downloadFolder().mkpath(inTheWay));
        SimulatorProcess sim({u"--verbose"_s});
        QString startError;
        QVERIFY2(sim.start(&startError), qPrintable(startError));
        const Run run = download(sim.link(), vehicleUnit(false), 115200, 115200);
        QVERIFY(downloadFolder().rmdir(inTheWay));
        QVERIFY(!run.result.success);
        QCOMPARE(run.result.errorText, error);
        QCOMPARE(run.statuses.last(), error);
        QVERIFY(sim.stop());
        QCOMPARE(requestsSeen(sim).last(), u"82"_s);
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

        // The next run of the same blocks appends to what was left, and nothing else removes it.
        QFile leftOver(downloadFolder().filePath(u"REQUEST_OVERVIEW.tmp"_s));
        QVERIFY(leftOver.open(QIODevice::ReadOnly));
        const QByteArray overview = leftOver.readAll();
        leftOver.close();
        QVERIFY(overview.startsWith("\x76\x01"));
        SimulatorProcess again;
        QVERIFY2(again.start(&error), qPrintable(error));
        const Run next = download(again.link(), vehicleUnit(false));
        QVERIFY2(next.result.success, qPrintable(next.result.errorText));
        QFile file(next.result.filePath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        QVERIFY(bytes.startsWith(overview + QByteArray("\x76\x01")));
        QCOMPARE(downloadFolder().entryList({QStringLiteral("*.tmp")}),
                 QStringList{QStringLiteral("REQUEST_ACTIVITIES.tmp")});
        QVERIFY(again.stop());
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
};

QTEST_GUILESS_MAIN(TestDownloadWorkflow)
#include "test_download_workflow.moc"
