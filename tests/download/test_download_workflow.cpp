// Downloads from the simulated unit, request by request: the rate ladder, the blocks each choice of
// options fetches, the file they make and its name, every failure with the session closed, and the run
// folders that keep runs apart.
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
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

#include <utime.h>

using namespace tachoria::download;
using tachoria::logging::ApplicationLogger;
using tachoria::protocol::TachographClient;
using tachoria::test::SimulatorProcess;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(tachoria::download::DownloadOptions)

namespace {

QDir downloadFolder()
{
    return QDir(tachoria::storage::AppPaths::downloadDirectory());
}

QStringList withSid(const QStringList& requests, const QString& sid)
{
    return requests.filter(QRegularExpression(u"^"_s + sid + u"( |$)"_s));
}

QString secondsHex(const QDate& day)
{
    const auto seconds = static_cast<quint32>(day.startOfDay(QTimeZone::utc()).toSecsSinceEpoch());
    return QString::fromLatin1(tachoria::protocol::bigEndianBytes(seconds, 4).toHex(' ').toUpper());
}

QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

struct Run
{
    DownloadResult result;
    QStringList statuses;
    QList<int> percents;
};

DownloadSettings linkSettings(const QString& port, int startBaud = 115200, int maxBaud = 115200)
{
    DownloadSettings settings;
    settings.portName = port;
    settings.startBaud = startBaud;
    settings.maxBaud = maxBaud;
    settings.filePrefix = u"test-"_s;
    return settings;
}

template <typename List>
List tail(const List& list, qsizetype count)
{
    return list.mid(list.size() - count);
}

Run download(const DownloadSettings& settings, const DownloadOptions& options,
             const std::function<void(const QString&)>& onStatus = {})
{
    Run run;
    const std::atomic_bool stop{false};
    run.result = DownloadWorkflow::run(
        settings, options, stop,
        [&](const QString& text) {
            run.statuses << text;
            if (onStatus)
                onStatus(text);
        },
        [&run](int percent) { run.percents << percent; });
    return run;
}

DownloadOptions vehicleUnit(bool all)
{
    DownloadOptions options;
    options.tachograph = options.overview = options.skipCaCertificate = true;
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
QByteArray cryptoModuleBlocks(bool withCaCertificate, int archiveBlocks, int archiveBytes = -1)
{
    const tachoria::sim::BuiltInDownloadSource unit({}, {}, "7800000000000417");
    QByteArray bytes = block(0x81, unit.cryptoCertificate());
    if (withCaCertificate)
        bytes += block(0x82, unit.authorityCertificate());
    bytes += block(0x84, unit.cryptoData(QDate(2026, 11, 20), QDate(2026, 11, 21)));
    for (int index = 0; index < archiveBlocks; ++index)
        bytes += block(0x85, archiveBytes < 0 ? unit.archiveBlock(index)
                                              : unit.archiveBlock(index).left(archiveBytes));
    return bytes;
}

} // namespace

class TestDownloadWorkflow : public QObject
{
    Q_OBJECT

    QTemporaryDir m_journalDir;

    // This process's journal records of the downloads, as "level operation message".
    QStringList journal() const
    {
        QStringList lines;
        for (const QVariantMap& r : tachoria::test::journalRecords(ApplicationLogger::currentFilePath(),
                                                                   QCoreApplication::applicationPid()))
            if (r[u"category"_s] == u"download"_s || r[u"category"_s] == u"serial"_s)
                lines << r[u"level"_s].toString() + u' ' + r[u"operation"_s].toString() + u' ' +
                             r[u"message"_s].toString();
        return lines;
    }

private Q_SLOTS:
    void initTestCase() { ApplicationLogger::initialize(m_journalDir.path(), true); }
    void cleanupTestCase() { ApplicationLogger::shutdown(); }
    void init()
    {
        downloadFolder().removeRecursively();
        QFile::remove(ApplicationLogger::currentFilePath());
    }

    void helpers()
    {
        for (const auto& [bytes, text] :
             {std::pair("\xC0\xC2\xC5\xCA\xCC\xCD\xCE\xD0\xD1\xD2\xD3\xD5", u"ABEKMHOPCTYX"_s),
              std::pair("\xE0\x31\x32\x33\xE2\xF1 77 ", u"A123BC 77"_s),
              std::pair("\xC4\xE6\xDF\xA8\xB8", u"ДЖЯЁЁ"_s), std::pair("  \x01z\x7F\x80\xBF ", u"_Z___"_s),
              std::pair("", u""_s)})
            QCOMPARE(registrationForFileName(bytes), text);
        QCOMPARE(DownloadWorkflow::hexSafeName(QString(QChar(0)) + u"a/b\\c:d*e?f\"g<h>i|j-1 [б]._~"_s),
                 u"_a_b_c_d_e_f_g_h_i_j-1 [б]._~"_s);
        QCOMPARE(DownloadWorkflow::asciiWithQuestionMarks(QByteArray(" A~\x1F\x7F\x80\xFF\x00", 8)),
                 u" A~?????"_s);
        for (const auto& [bytes, parsed, count] :
             {std::tuple("00000104", true, 260u), std::tuple("FFFFFFFF", true, 4294967295u),
              std::tuple("000104", false, 7u), std::tuple("0000000104", false, 7u)}) {
            quint32 value = 7;
            QCOMPARE(DownloadWorkflow::parseNkmDownloadCount(QByteArray::fromHex(bytes), value), parsed);
            QCOMPARE(value, count);
        }
        QList<int> percents;
        for (const auto& [done, total] :
             {std::pair(0u, 4u), std::pair(2u, 3u), std::pair(4u, 4u), std::pair(5u, 4u),
              std::pair(4294967295u, 4294967295u), std::pair(1u, 0u)})
            percents << DownloadWorkflow::nkmDownloadPercent(done, total);
        QCOMPARE(percents, (QList<int>{0, 66, 99, 99, 99, -1}));
        QCOMPARE(DownloadWorkflow::unixDate(QDate(1970, 1, 2)) +
                     DownloadWorkflow::unixDate(QDate(2000, 1, 1)),
                 86400 + 946684800);
        QCOMPARE(DownloadWorkflow::requestName(0x07) + DownloadWorkflow::requestFailureText(0x07),
                 u"REQUEST_07"_s);
        QCOMPARE(DownloadWorkflow::baudLadder(),
                 (QList<int>{10400, 9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600}));
    }

    void dateRange_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QList<QDate>>("given"); // begin, end, since
        QTest::addColumn<QList<QDate>>("range");
        const QDate today(2026, 11, 23);
        const auto d = [](int month, int day) { return QDate(2026, month, day); };
        QTest::newRow("defaults") << 2 << QList<QDate>{{}, {}, {}} << QList<QDate>{d(11, 16), today};
        QTest::newRow("given") << 2 << QList<QDate>{d(1, 5), d(1, 9), {}} << QList<QDate>{d(1, 5), d(1, 9)};
        QTest::newRow("reversed") << 2 << QList<QDate>{d(1, 9), d(1, 5), {}}
                                  << QList<QDate>{d(1, 5), d(1, 9)};
        QTest::newRow("begin after today")
            << 2 << QList<QDate>{d(12, 1), {}, {}} << QList<QDate>{today, d(12, 1)};
        QTest::newRow("everything") << 0 << QList<QDate>{d(1, 9), d(1, 10), {}}
                                    << QList<QDate>{QDate(2000, 1, 1), today};
        QTest::newRow("since") << 1 << QList<QDate>{d(1, 9), d(1, 10), d(10, 1)}
                               << QList<QDate>{d(10, 1), today};
        QTest::newRow("since a later day")
            << 1 << QList<QDate>{{}, {}, d(12, 24)} << QList<QDate>{today, d(12, 24)};
        QTest::newRow("since without a date")
            << 1 << QList<QDate>{{}, d(11, 20), {}} << QList<QDate>{d(11, 16), d(11, 20)};
        QTest::newRow("another mode")
            << 7 << QList<QDate>{d(1, 5), d(1, 9), d(1, 1)} << QList<QDate>{d(1, 5), d(1, 9)};
    }

    void dateRange()
    {
        QFETCH(int, mode);
        QFETCH(QList<QDate>, given);
        DownloadOptions options;
        options.periodMode = mode;
        options.periodBegin = given[0];
        options.periodEnd = given[1];
        options.sinceDate = given[2];
        QDate begin;
        QDate end;
        DownloadWorkflow::resolveDateRange(options, begin, end, QDate(2026, 11, 23));
        QTEST((QList<QDate>{begin, end}), "range");
        DownloadWorkflow::resolveDateRange(DownloadOptions{}, begin, end); // today by default
        QCOMPARE(end, QDate::currentDate());
    }

    void sendService_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<int>("sid");
        QTest::addColumn<int>("attempts");
        QTest::addColumn<bool>("stopped");
        QTest::addColumn<QString>("result"); // replied, code, error
        QTest::addColumn<int>("requests");
        const QStringList silent{u"--silent"_s};
        QTest::newRow("a positive reply gives its SID")
            << QStringList{} << 0x81 << 3 << false << u"1 c1 "_s << 1;
        QTest::newRow("a negative reply gives its code")
            << QStringList{} << 0x3E << 3 << false << u"1 22 "_s << 1;
        QTest::newRow("no attempts make one round")
            << silent << 0x3E << 0 << false << u"0 0 service frame timeout; "_s << 1;
        QTest::newRow("every attempt is a round")
            << silent << 0x3E << 3 << false << u"0 0 service frame timeout; "_s << 3;
        QTest::newRow("stopped before the first round")
            << QStringList{} << 0x81 << 3 << true << u"0 0 Операция остановлена"_s << 0;
    }

    void sendService()
    {
        QFETCH(QStringList, simulator);
        QFETCH(int, sid);
        QFETCH(int, attempts);
        QFETCH(bool, stopped);
        QFETCH(QString, result);
        SimulatorProcess sim(simulator);
        QVERIFY(sim.start());
        TachographClient client;
        client.configure(sim.link(), 115200, QSerialPort::EvenParity);
        QVERIFY(client.open());
        const std::atomic_bool stop{stopped};
        const RequestResult reply =
            DownloadWorkflow::sendService(client, static_cast<quint8>(sid), {}, &stop, attempts, 300);
        const QString shown =
            u"%1 %2 %3"_s.arg(reply.replied).arg(reply.responseCode, 0, 16).arg(reply.errorText);
        QVERIFY2(shown.startsWith(result), qPrintable(shown));
        QCOMPARE(int(reply.frame.sid), reply.replied ? (reply.responseCode == 0xC1 ? 0xC1 : 0x7F) : 0);
        QTEST(int(sim.requests().size()), "requests");
    }

    // The climb of the link rate: where it starts, which LinkControl requests go out, at which speeds
    // the unit answers and how the port is set up for each.
    void linkRate_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<int>("startBaud");
        QTest::addColumn<int>("maxBaud");
        QTest::addColumn<QStringList>("linkControl");
        QTest::addColumn<QList<int>>("configured");
        QTest::addColumn<QList<int>>("rates");
        QTest::addColumn<QString>("logged");
        QStringList ladder;
        for (int index : {2, 3, 4, 5})
            ladder << u"87 01 01 0%1"_s.arg(index) << u"87 02 03"_s;
        const QList<int> upTo115200{9600, 19200, 38400, 57600, 115200};
        const QString refused =
            u"warning run Тахограф не разрешил повышение скорости до %1 бод (ответ 0x31); продолжаем "
            u"на текущей скорости %2 бод"_s;
        QTest::newRow("up the ladder")
            << QStringList{} << 9600 << 115200 << ladder << upTo115200 << upTo115200 << QString();
        QTest::newRow("reversed limits are swapped")
            << QStringList{} << 115200 << 9600 << ladder << upTo115200 << upTo115200 << QString();
        QTest::newRow("refused above 57600")
            << QStringList{u"--max-link-baud"_s, u"57600"_s} << 9600 << 115200 << ladder.mid(0, 7)
            << upTo115200.mid(0, 4) << upTo115200.mid(0, 4) << refused.arg(115200).arg(57600);
        QTest::newRow("a maximum not on the ladder is its top")
            << QStringList{u"--max-link-baud"_s, u"115200"_s} << 9600 << 5
            << ladder + QStringList{u"87 01 01 06"_s} << upTo115200 << upTo115200
            << refused.arg(230400).arg(115200);
        QTest::newRow("a start not on the ladder is 10400")
            << QStringList{u"--bauds"_s, u"10400"_s} << 12345 << 10400 << QStringList{} << QList<int>{10400}
            << QList<int>{10400} << QString();
        QTest::newRow("first contact at the next rate")
            << QStringList{u"--bauds"_s, u"9600,19200,38400"_s} << 10400 << 19200 << ladder.mid(0, 2)
            << QList<int>{10400, 9600, 19200} << QList<int>{9600, 19200} << QString();
        QTest::newRow("no LinkControl over Bluetooth")
            << QStringList{} << -9600 << 115200 << QStringList{} << QList<int>{9600} << QList<int>{9600}
            << u"info skip-link-control LinkControl пропущен для Bluetooth-выгрузки Android"_s;
    }

    void linkRate()
    {
        QFETCH(QStringList, simulator);
        QFETCH(int, startBaud);
        QFETCH(int, maxBaud);
        QFETCH(QList<int>, configured);
        QFETCH(QString, logged);
        SimulatorProcess sim(simulator);
        QVERIFY(sim.start());
        DownloadSettings settings = linkSettings(sim.link(), std::abs(startBaud), maxBaud);
        settings.skipLinkControl = startBaud < 0;
        const Run run = download(settings, DownloadOptions{});
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QTEST(withSid(sim.requests(), u"87"_s), "linkControl");
        QList<int> rates;
        for (const auto& e : sim.exchanges())
            if (e.kind == u"tx" && (rates.isEmpty() || rates.last() != e.baud))
                rates << e.baud;
        QTEST(rates, "rates");
        // A pseudo-terminal drops the parity bit: the journal shows what the port was set to.
        QStringList expected;
        for (int baud : configured)
            expected << u"info configure Порт настроен: %1, baud=%2, parity=2"_s.arg(sim.link()).arg(baud);
        if (!logged.isEmpty())
            expected << logged;
        QCOMPARE(journal().filter(QRegularExpression(u"configure|LinkControl|скорости"_s)), expected);
    }

    // Every block of the unit with each day of the period asked for at midnight UTC, long blocks segment
    // by segment, a pending reply waited out; a file with the unit's blocks in order, named after its
    // registration, and no temporary left.
    void wholeVehicleUnit()
    {
        SimulatorProcess sim({u"--pending"_s, u"2"_s});
        QVERIFY(sim.start());
        const Run run = download(linkSettings(sim.link(), 9600), vehicleUnit(true));
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QCOMPARE(run.result.registration, u"A123BC77"_s);
        QCOMPARE(run.result.filePath, downloadFolder().filePath(u"test-[A123BC77].ddd"_s));
        QCOMPARE(downloadFolder().entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 QStringList({u"runs"_s, u"test-[A123BC77].ddd"_s}));
        QCOMPARE(QDir(DownloadWorkflow::runsDirectory()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 QStringList());
        QStringList tags;
        QList<QDate> days;
        const QByteArray bytes = fileBytes(run.result.filePath);
        for (const auto& b : tachoria::ddd::Decoder::splitTachographBlocks(bytes)) {
            tags << b.fileNumber;
            if (b.fileNumber == u"7602")
                days += tachoria::test::daysOfActivitiesBlock(b.data);
        }
        // One 7602 block a day, every day read back by the decoder.
        QCOMPARE(tags, QStringList({u"7601"_s}) + QStringList(8, u"7602"_s) +
                           QStringList({u"7603"_s, u"7604"_s, u"7605"_s, u"7681"_s}));
        QCOMPARE(tachoria::ddd::Decoder::decode(bytes, run.result.filePath).totalDays, 8);
        QStringList transfers{u"36 01"_s};
        for (int day = 1; day <= 8; ++day) {
            QCOMPARE(days.value(day - 1), QDate(2026, 11, day));
            transfers << u"36 02 "_s + secondsHex(QDate(2026, 11, day));
        }
        transfers << u"36 03"_s << u"36 04"_s << u"36 05"_s << u"36 81"_s;
        QCOMPARE(withSid(sim.requests(), u"36"_s), transfers);
        QVERIFY(withSid(sim.requests(), u"83"_s).join(u',').contains(u"83 76 00 01,83 76 00 02"_s));
        QVERIFY(run.statuses.contains(u"Получен пакет передачи 1"_s) &&
                run.statuses.contains(u"Получен пакет передачи 2"_s));
        QStringList asked;
        for (const QString& status : run.statuses.filter(u"Запрашиваем "_s))
            asked << status.mid(12);
        QCOMPARE(asked, QStringList({u"REQUEST_OVERVIEW"_s, u"REQUEST_ACTIVITIES"_s,
                                     u"REQUEST_EVENTS_FAULTS"_s, u"REQUEST_DETAILED_SPEED"_s,
                                     u"REQUEST_TECHNICAL_DATA"_s, u"REQUEST_SERTIFICAT_KEY_NKM"_s}));
        QCOMPARE(run.statuses.first() + u'|' + run.statuses.last(),
                 u"Открываем соединение с тахографом|Выгрузка прошла успешно: "_s + run.result.filePath);
        QVERIFY(journal()
                    .mid(journal().size() - 2, 1)
                    .value(0)
                    .startsWith(u"info close; port="_s)); // before the end
        QCOMPARE(journal().filter(u" run "_s),
                 QStringList({u"info run Начата выгрузка: port=%1, tacho=1, card=0"_s.arg(sim.link()),
                              u"info run Выгрузка завершена: "_s + run.result.filePath}));
        QCOMPARE(sim.requests().mid(0, 2) + sim.requests().mid(10, 1) + tail(sim.requests(), 2),
                 QStringList({u"81"_s, u"10 81"_s, u"35 00 00 00 00 00 FF FF FF FF"_s, u"37"_s, u"82"_s}));
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
        QTest::newRow("nothing asked") << QStringList{} << DownloadOptions{} << u"test-"_s << QStringList{}
                                       << u"test-.ddd"_s << QByteArray() << QByteArray();
        QTest::newRow("no overview, no registration")
            << QStringList{} << noOverview << u"test-"_s << QStringList{u"36 81"_s} << u"test-[].ddd"_s
            << QByteArray("\x76\x81") << QByteArray();
        DownloadOptions withCa = vehicleUnit(false);
        withCa.skipCaCertificate = false;
        QTest::newRow("a block after a pending reply and 3 s")
            << QStringList{u"--pending-pause-ms"_s, u"3000"_s} << noOverview << u"test-"_s
            << QStringList{u"36 81"_s} << u"test-[].ddd"_s << QByteArray("\x76\x81") << QByteArray();
        // A full segment of 251 bytes makes a length of 255: one above the last frame's limit.
        QTest::newRow("segments of 251 bytes")
            << QStringList{u"--segment-bytes"_s, u"251"_s} << vehicleUnit(false) << u"test-"_s
            << QStringList{u"36 01"_s, u"36 81"_s} << u"test-[A123BC77].ddd"_s << QByteArray("\x76\x01")
            << QByteArray();
        QTest::newRow("no prefix, the authority's certificate")
            << QStringList{} << withCa << QString() << QStringList{u"36 01"_s, u"36 81"_s, u"36 82"_s}
            << u"download-[A123BC77].ddd"_s << QByteArray("\x76\x01") << QByteArray();
        const QString period =
            u"36 84 "_s + secondsHex(QDate(2026, 11, 20)) + u' ' + secondsHex(QDate(2026, 11, 21));
        QTest::newRow("the crypto module")
            << QStringList{} << cryptoModule(true) << u"test-"_s
            << QStringList{u"36 81"_s, u"36 82"_s, period, u"36 85"_s, u"36 85"_s, u"36 85"_s, u"36 85"_s}
            << u"test-[7800000000000417].ddd"_s << cryptoModuleBlocks(true, 3) << QByteArray();
        // The card's block goes into the file as the unit sends it, without 76 06 in front.
        DownloadOptions everything = cryptoModule(false);
        everything.tachograph = everything.overview = everything.card = true;
        QTest::newRow("everything") << QStringList{u"--module-card"_s, u"RUM0000012345600"_s} << everything
                                    << u"test-"_s
                                    << QStringList{u"36 01"_s, u"36 81"_s, u"36 81"_s, period,    u"36 85"_s,
                                                   u"36 85"_s, u"36 85"_s, u"36 85"_s, u"36 06"_s}
                                    << u"test-[7800000000000417][A123BC77][RUM0000012345600].ddd"_s
                                    << QByteArray("\x76\x01")
                                    << cryptoModuleBlocks(false, 3) + QByteArray::fromHex("000200001900") +
                                           QByteArray(25, '\x01') + QByteArray::fromHex("052000008F2B") +
                                           "RUM0000012345600" + QByteArray(126, '\0');
        DownloadOptions unsafe = cryptoModule(false);
        unsafe.card = true;
        QTest::newRow("characters a file name cannot hold")
            << QStringList{u"--module-card"_s, u"RU/00:00*1\x01<3>|"_s, u"--skzi-number"_s,
                           u"78\\00?00\"000417-0000000000009921"_s}
            << unsafe << u"test-"_s
            << QStringList{u"36 81"_s, period, u"36 85"_s, u"36 85"_s, u"36 85"_s, u"36 85"_s, u"36 06"_s}
            << u"test-[78_00_00_000417 ][RU_00_00_1__3__ ].ddd"_s << QByteArray("\x76\x81") << QByteArray();
    }

    void blocksAndName()
    {
        QFETCH(QStringList, simulator);
        QFETCH(DownloadOptions, options);
        QFETCH(QString, prefix);
        QFETCH(QByteArray, head);
        QFETCH(QByteArray, tail);
        SimulatorProcess sim(simulator);
        QVERIFY(sim.start());
        DownloadSettings settings = linkSettings(sim.link());
        settings.filePrefix = prefix;
        const Run run = download(settings, options);
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QTEST(withSid(sim.requests(), u"36"_s), "transfers");
        QTEST(QFileInfo(run.result.filePath).fileName(), "fileName");
        const QByteArray bytes = fileBytes(run.result.filePath);
        QVERIFY(bytes.startsWith(head) && bytes.endsWith(tail));
        QCOMPARE(bytes.isEmpty(), head.isEmpty());
        if (options.card) // question marks and what prints as one become "_" already in the identifiers
            QVERIFY(run.result.cardNumber.startsWith(u"RU"_s) && !run.result.cardNumber.contains(u'?'));
    }

    void cryptoModuleCounter_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<QStringList>("statuses");
        QTest::addColumn<QList<int>>("percents");
        QTest::addColumn<int>("archiveBlocks");
        QTest::addColumn<QString>("warning");
        QTest::addColumn<int>("archiveRequests");
        const QString waiting = u"Выгрузка СКЗИ: получено блоков 1; ожидаем общее количество от тахографа"_s;
        const QStringList without{
            waiting, u"Выгрузка СКЗИ продолжается без общего счётчика; точный процент недоступен"_s};
        const QString failed =
            u"warning nkm-download-progress Не удалось получить количество блоков СКЗИ: "_s;
        QTest::newRow("counter known")
            << QStringList{}
            << QStringList{waiting, u"Выгрузка СКЗИ: 1 из 4 блоков"_s, u"Выгрузка СКЗИ: 2 из 4 блоков"_s,
                           u"Выгрузка СКЗИ: 3 из 4 блоков"_s, u"Выгрузка СКЗИ: 4 из 4 блоков"_s}
            << QList<int>{25, 50, 75, 99} << 3 << QString() << 4;
        QTest::newRow("archive blocks of one byte")
            << QStringList{u"--archive-bytes"_s, u"1"_s}
            << QStringList{waiting, u"Выгрузка СКЗИ: 1 из 4 блоков"_s, u"Выгрузка СКЗИ: 2 из 4 блоков"_s,
                           u"Выгрузка СКЗИ: 3 из 4 блоков"_s, u"Выгрузка СКЗИ: 4 из 4 блоков"_s}
            << QList<int>{25, 50, 75, 99} << 3 << QString() << 4;
        QTest::newRow("counter zero")
            << QStringList{u"--nkm-counter"_s, u"zero"_s}
            << QStringList{waiting,
                           u"Выгрузка СКЗИ: тахограф сообщил, что блоков к загрузке нет; проверяем архив"_s}
            << QList<int>{} << 3 << QString() << 4;
        QTest::newRow("counter refused")
            << QStringList{u"--nkm-counter"_s, u"refused"_s} << without << QList<int>{} << 3
            << failed + u"тахограф отклонил запрос счётчика"_s << 4;
        QTest::newRow("counter malformed")
            << QStringList{u"--nkm-counter"_s, u"malformed"_s} << without << QList<int>{} << 3
            << failed + u"ответ имеет неверный формат"_s << 4;
        QTest::newRow("counter silent") << QStringList{u"--nkm-counter"_s, u"silent"_s} << without
                                        << QList<int>{} << 3 << failed + u"service frame timeout; "_s << 4;
        QTest::newRow("archive ends at once") << QStringList{u"--archive-blocks"_s, u"0"_s}
                                              << QStringList{waiting, u"Выгрузка СКЗИ: 1 из 1 блоков"_s}
                                              << QList<int>{99} << 0 << QString() << 1;
        // A refused day goes on to the next; a step that ends refused ends the archive without error.
        QTest::newRow("archive refused") << QStringList{u"--refuse-block"_s, u"85"_s}
                                         << QStringList{waiting, u"Выгрузка СКЗИ: 1 из 4 блоков"_s}
                                         << QList<int>{25} << 0 << QString() << 2;
        // The unit takes longer than the usual pending wait over its archive.
        QTest::newRow("slow archive")
            << QStringList{u"--archive-pending-ms"_s, u"6500"_s, u"--archive-blocks"_s, u"0"_s}
            << QStringList{waiting, u"Выгрузка СКЗИ: 1 из 1 блоков"_s} << QList<int>{99} << 0 << QString()
            << 1;
    }

    void cryptoModuleCounter()
    {
        QFETCH(QStringList, simulator);
        QFETCH(int, archiveBlocks);
        QFETCH(QString, warning);
        SimulatorProcess sim(simulator);
        QVERIFY(sim.start());
        const Run run = download(linkSettings(sim.link()), cryptoModule(false));
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QCOMPARE(run.result.nkmSerial, u"7800000000000417"_s);
        QTEST(run.statuses.filter(QRegularExpression(u"^Выгрузка СКЗИ"_s)), "statuses");
        QTEST(run.percents, "percents");
        QCOMPARE(fileBytes(run.result.filePath).toHex(),
                 cryptoModuleBlocks(false, archiveBlocks, simulator.contains(u"--archive-bytes"_s) ? 1 : -1)
                     .toHex());
        QTEST(int(withSid(sim.requests(), u"36 85"_s).size()), "archiveRequests");
        QCOMPARE(withSid(sim.requests(), u"C7"_s), QStringList{u"C7 10 51"_s});
        const QStringList logged = journal().filter(u"nkm-download-progress"_s);
        QCOMPARE(logged.size(), warning.isEmpty() ? 0 : 1);
        QVERIFY(warning.isEmpty() || logged.first().startsWith(warning));
    }

    // Every way a run can fail, with its text; a session that was opened is always closed, and no file
    // is made.
    void failures_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<DownloadOptions>("options");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QString>("requests"); // the last ones
        DownloadOptions all = vehicleUnit(true);
        all.skipCaCertificate = false;
        all.nkm = all.card = true;
        all.periodBegin = all.periodEnd = QDate(2026, 11, 20);
        const auto refused = [](const QString& what) { return QStringList{u"--refuse-block"_s, what}; };
        QTest::newRow("silent") << QStringList{u"--silent"_s} << all
                                << u"Нет ответа тахографа: service frame timeout; "_s << u"81"_s;
        QTest::newRow("no start") << QStringList{u"--refuse-service"_s, u"81"_s} << all
                                  << u"Нет ответа тахографа"_s << u"81"_s;
        QTest::newRow("no session") << QStringList{u"--refuse-session"_s, u"81"_s} << all
                                    << u"Не выполнен StartDiagnosticSession"_s << u"10 81|82"_s;
        QTest::newRow("no upload") << QStringList{u"--refuse-service"_s, u"35"_s} << all
                                   << u"Не выполнен RequestUpload"_s << u"35 00 00 00 00 00 FF FF FF FF|82"_s;
        QTest::newRow("overview") << refused(u"01"_s) << all << u"Ошибка запроса обзора"_s << u"36 01|82"_s;
        QTest::newRow("activities") << refused(u"02"_s) << all << u"Ошибка запроса деятельности"_s << u"82"_s;
        QTest::newRow("events") << refused(u"03"_s) << all << u"Ошибка запроса событий"_s << u"36 03|82"_s;
        QTest::newRow("speed") << refused(u"04"_s) << all << u"Ошибка запроса скорости"_s << u"36 04|82"_s;
        QTest::newRow("technical data")
            << refused(u"05"_s) << all << u"Ошибка запроса технических данных"_s << u"82"_s;
        QTest::newRow("module certificate")
            << refused(u"81"_s) << all << u"Ошибка запроса сертификата НКМ"_s << u"82"_s;
        QTest::newRow("authority certificate")
            << refused(u"82"_s) << all << u"Ошибка запроса сертификата УЦ"_s << u"36 82|82"_s;
        QTest::newRow("module data") << refused(u"84"_s) << all << u"Ошибка запроса данных СКЗИ"_s << u"82"_s;
        // Start, session, upload, the module's two certificates, its data and counter, and silence.
        QTest::newRow("module archive") << QStringList{u"--silent-after"_s, u"9"_s} << cryptoModule(true)
                                        << u"Ошибка запроса архива СКЗИ"_s << u"36 85|36 85|36 85|82"_s;
        QTest::newRow("card without an authenticated card")
            << QStringList{} << all << u"Ошибка выгрузки карты"_s << u"36 06|82"_s;
        QTest::newRow("no transfer exit") << QStringList{u"--refuse-service"_s, u"37"_s} << DownloadOptions{}
                                          << u"Не выполнен RequestTransferExit"_s << u"37|82"_s;
        QTest::newRow("LinkControl refused otherwise than with 0x31")
            << QStringList{u"--refuse-service"_s, u"87"_s} << DownloadOptions{}
            << u"Не выполнен LinkControlService1 (ответ 0x22)"_s << u"10 81|87 01 01 05|82"_s;
        QTest::newRow("no answer to LinkControl")
            << QStringList{u"--silent-after"_s, u"2"_s} << DownloadOptions{}
            << u"Не выполнен LinkControlService1"_s << u"10 81|87 01 01 05|87 01 01 05|87 01 01 05|82"_s;
    }

    void failures()
    {
        QFETCH(QStringList, simulator);
        QFETCH(DownloadOptions, options);
        QFETCH(QString, error);
        QFETCH(QString, requests);
        SimulatorProcess sim(simulator);
        QVERIFY(sim.start());
        const Run run = download(linkSettings(sim.link(), 57600), options);
        QVERIFY(!run.result.success && run.result.filePath.isEmpty());
        QVERIFY2(run.result.errorText.startsWith(error), qPrintable(run.result.errorText));
        QCOMPARE(run.statuses.last(), run.result.errorText);
        QVERIFY(journal().contains(u"error run "_s + run.result.errorText));
        QCOMPARE(downloadFolder().entryList({u"*.ddd"_s}), QStringList());
        const QStringList seen = requests.split(u'|');
        QCOMPARE(tail(sim.requests(), seen.size()), seen);
    }

    // Through the external adapter: found and switched to RS-232 on its own port at 9600, and the whole
    // download then runs on that port.
    void throughTheAdapter()
    {
        SimulatorProcess sim({}, true);
        QVERIFY(sim.start());
        DownloadSettings settings = linkSettings(u"/nonexistent/tachograph"_s, 9600, 19200);
        settings.useRalona = true;
        settings.ralonaPortName = sim.adapterLink();
        const Run run = download(settings, vehicleUnit(false));
        QVERIFY2(run.result.success, qPrintable(run.result.errorText));
        QStringList adapter;
        for (const auto& e : sim.exchanges())
            if (e.kind == u"cmd")
                adapter << e.bytes + u'@' + QString::number(e.baud);
        QCOMPARE(adapter, QStringList({u"07@9600"_s, u"03@9600"_s}));
        QCOMPARE(sim.requests(), QStringList());
        QCOMPARE(sim.requests(u"adapter"_s).mid(0, 4),
                 QStringList({u"81"_s, u"10 81"_s, u"87 01 01 02"_s, u"87 02 03"_s}));
        QCOMPARE(journal().filter(u"Начата"_s),
                 QStringList{u"info run Начата выгрузка: port=%1, tacho=1, card=0"_s.arg(sim.adapterLink())});

        settings.ralonaPortName = sim.link(); // a tachograph, no adapter, on that port
        QCOMPARE(download(settings, vehicleUnit(false)).result.errorText, u"Ralona frame timeout"_s);
        settings.ralonaPortName = u"/nonexistent/adapter"_s;
        const Run missing = download(settings, vehicleUnit(false));
        QCOMPARE(missing.statuses,
                 QStringList({u"Открываем соединение с тахографом"_s, missing.result.errorText}));
        QVERIFY(!missing.result.errorText.isEmpty());
    }

    // A file that cannot be written ends the run with the step's text, or with the file's own reason;
    // the session is closed either way.
    void unwritableFiles()
    {
        SimulatorProcess sim;
        QVERIFY(sim.start());
        const auto blockTemporary = [](const QString& status) {
            if (status == u"Запрашиваем REQUEST_OVERVIEW")
                for (const QString& run :
                     QDir(DownloadWorkflow::runsDirectory()).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
                    QDir(DownloadWorkflow::runsDirectory()).mkpath(run + u"/REQUEST_OVERVIEW.tmp"_s);
        };
        QCOMPARE(download(linkSettings(sim.link()), vehicleUnit(false), blockTemporary).result.errorText,
                 u"Ошибка запроса обзора"_s);
        QVERIFY(downloadFolder().mkpath(u"test-[A123BC77].ddd"_s));
        QCOMPARE(download(linkSettings(sim.link()), vehicleUnit(false)).result.errorText,
                 u"Filename refers to a directory"_s);
        QCOMPARE(sim.requests().count(u"82"_s), 2);
        QVERIFY(QDir(DownloadWorkflow::runsDirectory()).removeRecursively());
        QFile inTheWay(DownloadWorkflow::runsDirectory()); // a file where the run folders belong
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
        const Run noFolder = download(linkSettings(sim.link()), vehicleUnit(false));
        QVERIFY(!noFolder.result.success && !noFolder.result.errorText.isEmpty());
        QCOMPARE(sim.requests().count(u"81"_s), 2); // nothing was asked of the unit
    }

    // Each run keeps its temporaries in a folder of its own: what a failed run fetched stays there,
    // named by the run, for a week, and never enters a later run's file; a file already there is
    // replaced only by a complete new one.
    void runFolders()
    {
        QVERIFY(downloadFolder().mkpath(u"runs/2026-11-01_10-00-00-77-aaaaaa"_s));
        QVERIFY(downloadFolder().mkpath(u"runs/recent"_s));
        const QDateTime now = QDateTime::currentDateTime();
        for (const auto& [name, age] :
             {std::pair(u"2026-11-01_10-00-00-77-aaaaaa"_s, 8), std::pair(u"recent"_s, 6)}) {
            const auto then = static_cast<time_t>(now.addDays(-age).toSecsSinceEpoch());
            const utimbuf times{then, then};
            QCOMPARE(
                ::utime(QFile::encodeName(downloadFolder().filePath(u"runs/"_s + name)).constData(), &times),
                0);
        }
        QFile old(downloadFolder().filePath(u"test-[A123BC77].ddd"_s));
        QVERIFY(old.open(QIODevice::WriteOnly) && old.write("earlier") == 7);
        old.close();

        // Start, session, four rises of the rate, upload, the overview in two frames, the first day of
        // activities in two: the second day's second frame never comes.
        SimulatorProcess silent({u"--silent-after"_s, u"16"_s});
        QVERIFY(silent.start());
        const Run failed = download(linkSettings(silent.link(), 9600), vehicleUnit(true));
        QCOMPARE(failed.result.errorText, u"Ошибка запроса деятельности"_s);
        QCOMPARE(fileBytes(old.fileName()), QByteArray("earlier"));
        const QStringList folders =
            QDir(DownloadWorkflow::runsDirectory()).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        QCOMPARE(folders.size(), 2);
        QVERIFY(folders.contains(u"recent"_s));
        const QString kept = folders.filter(u"-%1-"_s.arg(QCoreApplication::applicationPid())).value(0);
        QVERIFY2(QRegularExpression(u"^\\d{4}-\\d\\d-\\d\\d_\\d\\d-\\d\\d-\\d\\d-%1-\\w{6}$"_s.arg(
                                        QCoreApplication::applicationPid()))
                     .match(kept)
                     .hasMatch(),
                 qPrintable(folders.join(u',')));
        const QDir leftOver(DownloadWorkflow::runsDirectory() + u'/' + kept);
        QCOMPARE(leftOver.entryList(QDir::Files, QDir::Name),
                 QStringList({u"REQUEST_ACTIVITIES.tmp"_s, u"REQUEST_OVERVIEW.tmp"_s}));
        QVERIFY(fileBytes(leftOver.filePath(u"REQUEST_OVERVIEW.tmp"_s)).startsWith("\x76\x01"));
        QCOMPARE(
            journal().filter(u"warning"_s),
            QStringList{u"warning run Временные файлы неудачной выгрузки оставлены в "_s + leftOver.path()});

        // A later run of the same blocks gives what a run alone gives: the unit's clock stands still.
        SimulatorProcess good({u"--frozen-clock"_s, QDateTime::currentDateTimeUtc().toString(Qt::ISODate)});
        QVERIFY(good.start());
        const Run next = download(linkSettings(good.link()), vehicleUnit(false));
        QVERIFY2(next.result.success, qPrintable(next.result.errorText));
        QVERIFY(fileBytes(next.result.filePath).startsWith("\x76\x01"));
        DownloadSettings alone = linkSettings(good.link());
        alone.filePrefix = u"alone-"_s;
        QCOMPARE(fileBytes(download(alone, vehicleUnit(false)).result.filePath).toHex(),
                 fileBytes(next.result.filePath).toHex());
        QCOMPARE(QDir(DownloadWorkflow::runsDirectory()).entryList(QDir::Dirs | QDir::NoDotAndDotDot),
                 folders);
        QVERIFY(leftOver.exists(u"REQUEST_OVERVIEW.tmp"_s));
    }
};

QTEST_GUILESS_MAIN(TestDownloadWorkflow)
#include "test_download_workflow.moc"
