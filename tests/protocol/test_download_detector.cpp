#include "../support/simulator_process.h"
#include "protocol/download_detector.h"

#include <QSerialPort>
#include <QTest>

using tachoria::protocol::DownloadDeviceDetector;
using tachoria::protocol::DownloadDeviceInfo;
using tachoria::protocol::ServiceFrame;
using tachoria::test::SimulatorProcess;

namespace {

// Offsets written out by hand, independently of the detector's own table.
struct Offsets
{
    int part, serial, mode, status, left, right, software;
};
constexpr Offsets kShort{0, 16, 24, 25, 67, 85, 103};
constexpr Offsets kLong{76, 92, 146, 160, 311, 329, 1329};

struct Answer
{
    QByteArray part = "47.9160000-2    ";
    quint8 mode = 2;
    quint8 status = 0x0F;
    quint8 leftType = 0;
    QByteArray leftNumber;
    quint8 rightType = 0;
    QByteArray rightNumber;
    QByteArray software = QByteArray::fromHex("89010502");
    int size = -1; // -1: long enough for everything

    ServiceFrame frame(int baud) const
    {
        const Offsets& o = (baud == 9600 || baud == 10400) ? kShort : kLong;
        QByteArray data(o.software + 4 > 276 ? o.software + 4 : 276, '\0');
        data.replace(o.part, 16, part.leftJustified(16, ' ', true));
        data.replace(o.serial, 8, QByteArray::fromHex("0102030405060708"));
        data[o.mode] = static_cast<char>(mode);
        data[o.status] = static_cast<char>(status);
        data[o.left] = static_cast<char>(leftType);
        data.replace(o.left + 2, 16, leftNumber.leftJustified(16, '\0', true));
        data[o.right] = static_cast<char>(rightType);
        data.replace(o.right + 2, 16, rightNumber.leftJustified(16, '\0', true));
        data.replace(o.software, 4, software);
        data.replace(244, 16, "SECOND-HALF-0042");
        data.replace(260, 16, "FIRST-HALF-00017");
        ServiceFrame f;
        f.format = 0xF0;
        f.target = 0xF0;
        f.source = 0xEE;
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
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("leftType");
        QTest::addColumn<int>("rightType");
        QTest::addColumn<QString>("skziStatus");
        QTest::addColumn<QString>("cardStatus");
        QTest::addColumn<bool>("calibration");
        QTest::addColumn<bool>("download");

        const QString unknown = QStringLiteral("Неизвестен");
        const QString insert = QStringLiteral("Вставьте карту мастера");
        const QString active = QStringLiteral("Активированный");
        QTest::newRow("active, master card left")
            << 115200 << 0x0F << 2 << 2 << 0 << active << QStringLiteral("Левый слот. №: RUM00000123456")
            << true << true;
        QTest::newRow("active, left not a master card, right is")
            << 9600 << 0x0F << 2 << 1 << 2 << active << QStringLiteral("Правый слот. №: RUM0000099999900")
            << true << true;
        QTest::newRow("active without card")
            << 10400 << 0x0F << 2 << 0 << 0 << active << insert << false << false;
        QTest::newRow("active, mode other than 2 reads no slot")
            << 115200 << 0x0F << 1 << 2 << 2 << active << insert << false << false;
        QTest::newRow("inactive") << 19200 << 0x01 << 2 << 0 << 0 << QStringLiteral("Неактивированный")
                                  << unknown << true << true;
        QTest::newRow("expired") << 115200 << 0x10 << 2 << 0 << 0 << QStringLiteral("Истек срок") << unknown
                                 << false << true;
        QTest::newRow("0x1F is expired, not active")
            << 115200 << 0x1F << 2 << 0 << 0 << QStringLiteral("Истек срок") << unknown << false << true;
        QTest::newRow("faulty") << 9600 << 0x02 << 2 << 0 << 0
                                << QStringLiteral("Проверьте СКЗИ. Статус: 0x02000000") << unknown << false
                                << false;
        QTest::newRow("unknown status byte")
            << 115200 << 0x05 << 2 << 0 << 0 << unknown << unknown << true << true;
    }

    void parseResponse()
    {
        QFETCH(int, baud);
        QFETCH(int, status);
        QFETCH(int, mode);
        QFETCH(int, leftType);
        QFETCH(int, rightType);
        Answer answer;
        answer.status = static_cast<quint8>(status);
        answer.mode = static_cast<quint8>(mode);
        answer.leftType = static_cast<quint8>(leftType);
        answer.leftNumber = " RUM00000123456\x02";
        answer.rightType = static_cast<quint8>(rightType);
        answer.rightNumber = "RUM0000099999900\x01";
        const DownloadDeviceInfo info =
            DownloadDeviceDetector::parseResponse(QStringLiteral("COM3"), baud, answer.frame(baud));

        QVERIFY(info.matched);
        QCOMPARE(info.diagnostic, QString());
        QCOMPARE(info.port, QStringLiteral("COM3"));
        QCOMPARE(info.baud, baud);
        QCOMPARE(info.parity, baud == 10400 ? int(QSerialPort::NoParity) : int(QSerialPort::EvenParity));
        QCOMPARE(info.partNumber, QStringLiteral("47.9160000-2"));
        QCOMPARE(info.serialNumber, QStringLiteral("0102030405060708"));
        QCOMPARE(info.softwareVersion, QStringLiteral("02050189"));
        QCOMPARE(info.skziNumber, QStringLiteral("FIRST-HALF-00017-SECOND-HALF-0042"));
        QTEST(info.skziStatus, "skziStatus");
        QTEST(info.cardStatus, "cardStatus");
        QTEST(info.calibrationPermitted(), "calibration");
        QTEST(info.downloadPermitted(), "download");
    }

    void parseResponseFailures_data()
    {
        QTest::addColumn<QByteArray>("part");
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("matched");
        QTest::addColumn<QString>("diagnostic");

        QTest::newRow("too short for part number")
            << QByteArray("47.9160000-2") << 10 << false
            << QStringLiteral("response too short for part number: 10 bytes");
        QTest::newRow("wrong part number")
            << QByteArray("47.1234567-1 X") << -1 << false << QStringLiteral("part number: 47.1234567-1 X");
        QTest::newRow("unprintable bytes shown as ?")
            << QByteArray("47.9\x01\x7f") << -1 << false << QStringLiteral("part number: 47.9??");
        QTest::newRow("16 bytes: no serial or mode")
            << QByteArray("47.9160000-2") << 16 << false
            << QStringLiteral("response too short for serial/mode: 16 bytes");
        QTest::newRow("spaced part number accepted")
            << QByteArray("47.9160 000-2 03") << -1 << true << QString();
    }

    void parseResponseFailures()
    {
        QFETCH(QByteArray, part);
        QFETCH(int, size);
        Answer answer;
        answer.part = part;
        answer.size = size;
        const DownloadDeviceInfo info =
            DownloadDeviceDetector::parseResponse(QStringLiteral("COM1"), 9600, answer.frame(9600));
        QTEST(info.matched, "matched");
        QTEST(info.diagnostic, "diagnostic");
    }

    void softwareVersionOfZeroesIsEmpty()
    {
        Answer answer;
        answer.software = QByteArray(4, '\0');
        QCOMPARE(DownloadDeviceDetector::parseResponse({}, 115200, answer.frame(115200)).softwareVersion,
                 QString());
    }

    void helpers()
    {
        QCOMPARE(DownloadDeviceDetector::asciiString(QByteArray("a\tb\n\r\x1f\x7f~", 8)),
                 QStringLiteral("a\tb\n\r??~"));
        QCOMPARE(DownloadDeviceDetector::hexString(QByteArray::fromHex("00ab10")), QStringLiteral("00AB10"));
        QByteArray out;
        QVERIFY(DownloadDeviceDetector::readBytes("abcd", 2, 2, out));
        QCOMPARE(out, QByteArray("cd"));
        QVERIFY(!DownloadDeviceDetector::readBytes("abcd", 3, 2, out));
        QCOMPARE(tachoria::protocol::displayPortName(QStringLiteral("\\\\.\\COM12")),
                 QStringLiteral("COM12"));
        QCOMPARE(tachoria::protocol::displayPortName(QStringLiteral("/dev/ttyUSB0")),
                 QStringLiteral("/dev/ttyUSB0"));
    }

    // The whole road through a real pseudo-terminal to the simulated tachograph.
    void probeAgainstSimulator_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<int>("baud");
        QTest::addColumn<bool>("matched");
        QTest::addColumn<QString>("skziStatus");
        QTest::addColumn<QString>("cardStatus");
        QTest::addColumn<bool>("permitted");

        const QString active = QStringLiteral("Активированный");
        QTest::newRow("115200, master card left")
            << QStringList{} << 115200 << true << active << QStringLiteral("Левый слот. №: RUM0000012345600")
            << true;
        QTest::newRow("9600, card right")
            << QStringList{QStringLiteral("--card"), QStringLiteral("right")} << 9600 << true << active
            << QStringLiteral("Правый слот. №: RUM0000012345600") << true;
        QTest::newRow("10400 without card")
            << QStringList{QStringLiteral("--card"), QStringLiteral("none")} << 10400 << true << active
            << QStringLiteral("Вставьте карту мастера") << false;
        QTest::newRow("inactive crypto module")
            << QStringList{QStringLiteral("--skzi-status"), QStringLiteral("inactive"),
                           QStringLiteral("--card"), QStringLiteral("none")}
            << 115200 << true << QStringLiteral("Неактивированный") << QStringLiteral("Неизвестен") << true;
    }

    void probeAgainstSimulator()
    {
        QFETCH(QStringList, simulator);
        QFETCH(int, baud);
        SimulatorProcess sim(simulator);
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const DownloadDeviceInfo info = DownloadDeviceDetector::probe(sim.link(), baud);
        QVERIFY2(info.diagnostic.isEmpty(), qPrintable(info.diagnostic));
        QTEST(info.matched, "matched");
        QCOMPARE(info.serialNumber, QStringLiteral("2505001800001234"));
        QCOMPARE(info.softwareVersion, QStringLiteral("02050189"));
        QCOMPARE(info.skziNumber, QStringLiteral("7800000000000417-0000000000009921"));
        QTEST(info.skziStatus, "skziStatus");
        QTEST(info.cardStatus, "cardStatus");
        QTEST(info.calibrationPermitted(), "permitted");
        QVERIFY(sim.stop());
        QVERIFY(!QFile::exists(sim.link())); // the simulator removes its link on SIGTERM
    }

    void probeHonoursStopFlag()
    {
        std::atomic_bool stop{true};
        const DownloadDeviceInfo info =
            DownloadDeviceDetector::probe(QStringLiteral("/dev/null"), 115200, &stop);
        QVERIFY(!info.matched);
        QCOMPARE(info.diagnostic, QStringLiteral("probe stopped"));
    }
};

QTEST_GUILESS_MAIN(TestDownloadDeviceDetector)
#include "test_download_detector.moc"
