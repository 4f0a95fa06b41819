#include "../support/pty_far_end.h"
#include "../support/simulator_process.h"
#include "protocol/download_detector.h"

#include <QSerialPort>
#include <QTest>

using namespace tachoria::protocol;
using tachoria::test::FarEnd;
using tachoria::test::SimulatorProcess;
using namespace Qt::StringLiterals;

namespace {

// A 0x56 answer with its items at offsets written out by hand, independently of the detector's table.
struct Answer
{
    QByteArray part = "47.9160000-2    ";
    quint8 mode = 2;
    QByteArray status = QByteArray::fromHex("0F000000");
    quint8 left = 0;
    quint8 right = 0;
    QByteArray software = QByteArray::fromHex("89010502");
    int size = -1; // -1: long enough for everything

    ServiceFrame frame(int baud) const
    {
        const bool slow = baud == 9600 || baud == 10400;
        const auto at = [slow](int shortOffset, int longOffset) { return slow ? shortOffset : longOffset; };
        QByteArray data(slow ? 276 : 1333, '\0');
        data.replace(at(0, 76), 16, part.leftJustified(16, ' ', true));
        data.replace(at(16, 92), 8, QByteArray::fromHex("0102030405060708"));
        data[at(24, 146)] = static_cast<char>(mode);
        data.replace(at(25, 160), 4, status);
        data[at(67, 311)] = static_cast<char>(left);
        data.replace(at(69, 313), 16, " RUM0000012345~\x02");
        data[at(85, 329)] = static_cast<char>(right);
        data.replace(at(87, 331), 16, "RUM0000099999900");
        data.replace(at(103, 1329), 4, software);
        data.replace(244, 16, "SECOND-HALF-0042");
        data.replace(260, 16, "FIRST-HALF-00017");
        ServiceFrame f;
        f.sid = 0x56;
        f.data = size < 0 ? data : data.left(size);
        return f;
    }
};

} // namespace

class TestDownloadDeviceDetector : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parseResponse_data()
    {
        QTest::addColumn<int>("baud");
        QTest::addColumn<QByteArray>("status");
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("left");
        QTest::addColumn<int>("right");
        QTest::addColumn<QString>("shown"); // the crypto module's status, then the card slots
        QTest::addColumn<QString>("permits");
        const auto status = [](const char* hex) { return QByteArray::fromHex(hex); };
        const QString left = u"|Левый слот. №: RUM0000012345~"_s;
        const QString insert = u"|Вставьте карту мастера"_s;
        const QString active = u"Активированный"_s;
        QTest::newRow("active, master card left")
            << 115200 << status("0F000000") << 2 << 2 << 0 << active + left << u"11"_s;
        QTest::newRow("active, card left at 9600")
            << 9600 << status("0F000000") << 2 << 2 << 2 << active + left << u"11"_s;
        QTest::newRow("active, left no master card, right is")
            << 10400 << status("0F000000") << 2 << 1 << 2 << active + u"|Правый слот. №: RUM0000099999900"_s
            << u"11"_s;
        QTest::newRow("active without card")
            << 10400 << status("0F000000") << 2 << 0 << 3 << active + insert << u"00"_s;
        QTest::newRow("mode other than 2 reads no slot")
            << 115200 << status("0F000000") << 3 << 2 << 2 << active + insert << u"00"_s;
        QTest::newRow("inactive") << 19200 << status("01000000") << 2 << 0 << 0
                                  << u"Неактивированный|Неизвестен"_s << u"11"_s;
        QTest::newRow("expired") << 115200 << status("10000000") << 2 << 0 << 0 << u"Истек срок|Неизвестен"_s
                                 << u"01"_s;
        QTest::newRow("0x1F is expired, not active")
            << 115200 << status("1F000000") << 2 << 0 << 0 << u"Истек срок|Неизвестен"_s << u"01"_s;
        QTest::newRow("faulty") << 9600 << status("02AB00FF") << 2 << 2 << 0
                                << u"Проверьте СКЗИ. Статус: 0x02AB00FF|Левый слот. №: RUM0000012345~"_s
                                << u"00"_s;
        QTest::newRow("unknown status byte")
            << 115200 << status("05000000") << 2 << 0 << 0 << u"Неизвестен|Неизвестен"_s << u"11"_s;
    }

    void parseResponse()
    {
        QFETCH(int, baud);
        Answer answer;
        QFETCH(QByteArray, status);
        answer.status = status;
        QFETCH(int, mode);
        answer.mode = static_cast<quint8>(mode);
        QFETCH(int, left);
        answer.left = static_cast<quint8>(left);
        QFETCH(int, right);
        answer.right = static_cast<quint8>(right);
        const DownloadDeviceInfo info =
            DownloadDeviceDetector::parseResponse(u"COM3"_s, baud, answer.frame(baud));
        QVERIFY(info.matched);
        QCOMPARE(info.diagnostic, QString());
        QCOMPARE(
            info.port + u' ' + QString::number(info.baud) + u' ' + QString::number(info.parity),
            u"COM3 %1 %2"_s.arg(baud).arg(baud == 10400 ? QSerialPort::NoParity : QSerialPort::EvenParity));
        QCOMPARE(info.partNumber + u' ' + info.serialNumber + u' ' + info.softwareVersion,
                 u"47.9160000-2 0102030405060708 02050189"_s);
        QCOMPARE(info.skziNumber, u"FIRST-HALF-00017-SECOND-HALF-0042"_s);
        QTEST(info.skziStatus + u'|' + info.cardStatus, "shown");
        QCOMPARE(info.masterCardPresent, info.cardStatus.contains(u"слот"_s));
        QCOMPARE(info.masterCardNumber,
                 info.masterCardPresent ? info.cardStatus.section(u": "_s, 1) : QString());
        QTEST(QString::number(info.calibrationPermitted()) + QString::number(info.downloadPermitted()),
              "permits");
    }

    void parseResponseFailures_data()
    {
        QTest::addColumn<QByteArray>("part");
        QTest::addColumn<int>("size");
        QTest::addColumn<QString>("diagnostic"); // empty: matched
        QTest::newRow("too short for part number")
            << QByteArray("47.9160000-2") << 15 << u"response too short for part number: 15 bytes"_s;
        QTest::newRow("wrong part number")
            << QByteArray("47.1234567-1 X") << -1 << u"part number: 47.1234567-1 X"_s;
        QTest::newRow("unprintable bytes shown as ?")
            << QByteArray("47.9\x01\x7f\t") << -1 << u"part number: 47.9??\t"_s;
        QTest::newRow("16 bytes: no serial or mode")
            << QByteArray("47.9160000-2") << 16 << u"response too short for serial/mode: 16 bytes"_s;
        QTest::newRow("24 bytes: no mode")
            << QByteArray("47.9160000-2") << 24 << u"response too short for serial/mode: 24 bytes"_s;
        QTest::newRow("25 bytes: no status, no card") << QByteArray("47.9160000-2") << 25 << QString();
        QTest::newRow("spaced part number accepted") << QByteArray("47.9160 000-2 03") << -1 << QString();
    }

    void parseResponseFailures()
    {
        QFETCH(QByteArray, part);
        QFETCH(int, size);
        QFETCH(QString, diagnostic);
        Answer answer;
        answer.part = part;
        answer.size = size;
        answer.left = 2;
        const DownloadDeviceInfo info =
            DownloadDeviceDetector::parseResponse(u"COM1"_s, 9600, answer.frame(9600));
        QCOMPARE(info.matched, diagnostic.isEmpty());
        QCOMPARE(info.diagnostic, diagnostic);
        QCOMPARE(info.partNumber,
                 size == 15 ? QString()
                            : QString::fromLatin1(part).replace(u'\x01', u'?').replace(u'\x7f', u'?'));
        if (size == 25) // what did not fit stays unknown
            QCOMPARE(info.skziStatus + info.cardStatus + info.softwareVersion + info.skziNumber,
                     u"НеизвестенНеизвестен"_s);
    }

    void helpers()
    {
        Answer zeros;
        zeros.software = QByteArray(4, '\0');
        QCOMPARE(DownloadDeviceDetector::parseResponse({}, 115200, zeros.frame(115200)).softwareVersion,
                 QString());
        QCOMPARE(DownloadDeviceDetector::asciiString(QByteArray("a\tb\n\r\x1f\x7f~ ", 9)), u"a\tb\n\r??~ "_s);
        QCOMPARE(DownloadDeviceDetector::hexString(QByteArray::fromHex("00ab10")), u"00AB10"_s);
        QByteArray out;
        QVERIFY(DownloadDeviceDetector::readBytes("abcd", 2, 2, out) && out == "cd");
        for (const auto& [offset, count] : {std::pair(3, 2), std::pair(-1, 1), std::pair(0, -1)})
            QVERIFY(!DownloadDeviceDetector::readBytes("abcd", offset, count, out));
        QCOMPARE(displayPortName(u"\\\\.\\COM12"_s) + displayPortName(u"\\\\.\\com3"_s), u"COM12com3"_s);
        QCOMPARE(displayPortName(u"/dev/ttyUSB0"_s), u"/dev/ttyUSB0"_s);
    }

    // The whole road through a real pseudo-terminal to the simulated tachograph.
    void probe_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<int>("baud");
        QTest::addColumn<int>("parity");
        QTest::addColumn<QString>("shown");
        QTest::newRow("115200, master card left")
            << QStringList{} << 115200 << -1 << u"Активированный|Левый слот. №: RUM0000012345600|11"_s;
        QTest::newRow("9600, card right") << QStringList{u"--card"_s, u"right"_s} << 9600 << -1
                                          << u"Активированный|Правый слот. №: RUM0000012345600|11"_s;
        QTest::newRow("10400 without card") << QStringList{u"--card"_s, u"none"_s} << 10400 << -1
                                            << u"Активированный|Вставьте карту мастера|00"_s;
        QTest::newRow("odd parity asked for") << QStringList{u"--skzi-status"_s, u"inactive"_s} << 115200 << 3
                                              << u"Неактивированный|Левый слот. №: RUM0000012345600|11"_s;
        QTest::newRow("silent") << QStringList{u"--silent"_s} << 9600 << -1
                                << u"read: service frame timeout; "_s;
        QTest::newRow("wrong part") << QStringList{u"--part-number"_s, u"47.1234-1"_s} << 115200 << -1
                                    << u"part number: 47.1234-1"_s;
        QTest::newRow("not our SID") << QStringList{} << 115200 << 0x57
                                     << u"unexpected SID in 0x16 response: 0x56"_s;
    }

    void probe()
    {
        QFETCH(QStringList, simulator);
        QFETCH(int, baud);
        QFETCH(int, parity);
        QFETCH(QString, shown);
        SimulatorProcess sim(simulator);
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const int sid = parity == 0x57 ? 0x57 : 0x56;
        const DownloadDeviceInfo info =
            DownloadDeviceDetector::probe(sim.link(), baud, nullptr, sid == 0x57 ? -1 : parity, sid);
        QCOMPARE(info.port + u' ' + QString::number(info.baud), sim.link() + u' ' + QString::number(baud));
        QCOMPARE(info.parity, parity >= 0 && sid == 0x56 ? parity : (baud == 10400 ? 0 : 2));
        const QString result = !info.matched ? info.diagnostic
                                             : u"%1|%2|%3%4"_s.arg(info.skziStatus, info.cardStatus)
                                                   .arg(info.calibrationPermitted())
                                                   .arg(info.downloadPermitted());
        QVERIFY2(result.startsWith(shown), qPrintable(result));
        if (info.matched)
            QCOMPARE(info.serialNumber + info.softwareVersion + info.skziNumber,
                     u"250500180000123402050189"
                     u"7800000000000417-0000000000009921"_s);
        QCOMPARE(sim.requests(), QStringList{u"16"_s});
    }

    // Answers the simulator never gives.
    void probeOnABareLine()
    {
        FarEnd end;
        const auto answered = [&end](const QByteArray& wire) {
            end.send(wire);
            return DownloadDeviceDetector::probe(end.path(), 115200).diagnostic;
        };
        QCOMPARE(answered(QByteArray::fromHex("80F0EE0156AA")), u"read: checksum mismatch"_s);
        QCOMPARE(answered(QByteArray::fromHex("81F0EE56B5")),
                 u"response too short for part number: 0 bytes"_s);
        end.send(QByteArray::fromHex("80F0EE010564"));
        QCOMPARE(DownloadDeviceDetector::probe(end.path(), 115200, nullptr, -1, 0x56).diagnostic,
                 u"unexpected SID in 0x16 response: 0x05"_s);
        QCOMPARE(end.receive(100).toHex(), QByteArray("80eef0011675").repeated(3));
        std::atomic_bool stop{true};
        QCOMPARE(DownloadDeviceDetector::probe(end.path(), 115200, &stop).diagnostic, u"probe stopped"_s);
        QCOMPARE(DownloadDeviceDetector::probe(u"/dev/tachoria-none"_s, 9600).diagnostic.left(6),
                 u"open: "_s);
    }
};

QTEST_GUILESS_MAIN(TestDownloadDeviceDetector)
#include "test_download_detector.moc"
