// The serial transport, the adapter's frames and client, on a real pseudo-terminal whose far end the
// test plays; and what all of it writes into the journal.
#include "../support/process_runner.h"
#include "../support/pty_far_end.h"
#include "logging/application_logger.h"
#include "protocol/ralona_client.h"
#include "protocol/serial_transport.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <thread>

using namespace tachoria::protocol;
using tachoria::logging::ApplicationLogger;
using tachoria::test::FarEnd;
using Status = ServiceFrameCodec::DecodeStatus;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(Status)

namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

const QByteArray kResponse = hex("80F0EE03C1EA8F9B");
const QByteArray kYes = hex("55AA875965732116");

} // namespace

class TestSerialTransport : public QObject
{
    Q_OBJECT

    QTemporaryDir m_journalDir;

    // This process's journal records since the last call, each "level|category|operation|message".
    QStringList records()
    {
        QStringList out;
        for (const QVariantMap& r : tachoria::test::journalRecords(ApplicationLogger::currentFilePath(),
                                                                   QCoreApplication::applicationPid()))
            out << QStringList{r[u"level"_s].toString(), r[u"category"_s].toString(),
                               r[u"operation"_s].toString(), r[u"message"_s].toString()}
                       .join(u'|');
        QFile::remove(ApplicationLogger::currentFilePath());
        return out;
    }

private Q_SLOTS:
    void initTestCase() { ApplicationLogger::initialize(m_journalDir.path(), true); }
    void cleanupTestCase() { ApplicationLogger::shutdown(); }

    void readServiceWire_data()
    {
        QTest::addColumn<QByteArray>("incoming");
        QTest::addColumn<QByteArray>("frame");
        QTest::addColumn<QString>("error"); // a pattern for the time-out text; empty: read
        QTest::newRow("plain frame") << kResponse << kResponse << QString();
        QTest::newRow("noise before") << hex("0055AA1337") + kResponse << kResponse << QString();
        QTest::newRow("echoed request") << hex("80EEF0011675") + kResponse << kResponse << QString();
        QTest::newRow("doubled FMT resynchronises") << hex("80") + kResponse << kResponse << QString();
        QTest::newRow("81 F0 resynchronises") << hex("8181F0EE50AF") << hex("81F0EE50AF") << QString();
        QTest::newRow("zero-length frame dropped") << hex("80F0EE00") + kResponse << kResponse << QString();
        QTest::newRow("long form, zero length dropped")
            << hex("F0F0EE0000") + kResponse << kResponse << QString();
        QTest::newRow("bad checksum leaves the wire")
            << hex("80F0EE03C1EA8F00") << hex("80F0EE03C1EA8F00") << QString();
        QTest::newRow("long form") << hex("F0F0EE0003560102DC") << hex("F0F0EE0003560102DC") << QString();
        QTest::newRow("F1 has one length byte here")
            << hex("F1F0EE0156AB") << hex("F1F0EE0156AB") << QString();
        QTest::newRow("broadcast") << hex("80FFEE0156D4") << hex("80FFEE0156D4") << QString();
        QTest::newRow("silence")
            << QByteArray() << QByteArray()
            << u"^service frame timeout; elapsedMs=\\d+; rawBytes=0; partialFrameBytes=0; rxTail=$"_s;
        QByteArray noise;
        for (int i = 0; i < 40; ++i)
            noise.append(static_cast<char>(i));
        QTest::newRow("noise keeps its last 32 bytes")
            << noise << QByteArray()
            << u"^service frame timeout; elapsedMs=\\d+; rawBytes=40; partialFrameBytes=0; rxTail=%1$"_s.arg(
                   QString::fromLatin1(noise.right(32).toHex(' ').toUpper()));
        QTest::newRow("a frame cut short") << hex("80F0EE05C1") << hex("80F0EE05C1")
                                           << u"rawBytes=5; partialFrameBytes=5; rxTail=80 F0 EE 05 C1$"_s;
        QTest::newRow("a long frame cut short")
            << hex("F0F0EE0005C1") << hex("F0F0EE0005C1")
            << u"rawBytes=6; partialFrameBytes=6; rxTail=F0 F0 EE 00 05 C1$"_s;
    }

    void readServiceWire()
    {
        QFETCH(QByteArray, incoming);
        QFETCH(QByteArray, frame);
        QFETCH(QString, error);
        FarEnd end;
        SerialTransport transport;
        QVERIFY(transport.configure(end.path(), 115200, QSerialPort::NoParity));
        end.send(incoming);
        QByteArray out;
        QString reason;
        QCOMPARE(transport.readServiceWire(out, 200, &reason), error.isEmpty());
        QCOMPARE(out.toHex(' '), frame.toHex(' ')); // after a time-out, the frame begun
        QVERIFY2(QRegularExpression(error).match(reason).hasMatch(), qPrintable(reason));
    }

    void readService()
    {
        FarEnd end;
        SerialTransport transport;
        transport.configure(end.path(), 115200, QSerialPort::NoParity);
        end.send(hex("80F0EE03C1EA8F00"));
        ServiceFrame frame;
        QString reason;
        QVERIFY(!transport.readService(frame, 200, &reason));
        QCOMPARE(reason, u"checksum mismatch"_s);
        end.send(kResponse);
        QVERIFY(transport.readService(frame, 200, &reason));
        QCOMPARE(frame.sid, quint8(0xC1));
        QCOMPARE(frame.data, hex("EA8F"));
    }

    // Bytes of a frame more than 40 ms apart lose that frame, not the call.
    void gapInsideFrameLosesOnlyThatFrame()
    {
        FarEnd end;
        SerialTransport transport;
        QVERIFY(transport.configure(end.path(), 115200, QSerialPort::NoParity) && transport.open());
        const QByteArray second = hex("80F0EE0256125A");
        std::thread writer([&] {
            end.send(kResponse.left(3));
            std::this_thread::sleep_for(std::chrono::milliseconds(150));
            end.send(kResponse.mid(3) + second);
        });
        QByteArray out;
        QString reason;
        const bool ok = transport.readServiceWire(out, 2000, &reason);
        writer.join();
        QVERIFY2(ok, qPrintable(reason));
        QCOMPARE(out.toHex(' '), second.toHex(' '));
    }

    void stopFlag()
    {
        FarEnd end;
        SerialTransport transport;
        QVERIFY(transport.configure(end.path(), 115200, QSerialPort::NoParity));
        std::atomic_bool stop{true};
        QByteArray out;
        QString reason;
        quint8 byte = 0;
        QVERIFY(!transport.readByte(byte, 1000, &reason, &stop));
        QCOMPARE(reason, u"serial read stopped"_s);
        QVERIFY(!transport.readServiceWire(out, 1000, &reason, &stop));
        QCOMPARE(reason, u"service read stopped"_s);
        QVERIFY(!transport.isOpen()); // the port was not touched
        // Set during the wait, the flag ends a read long before its time-out, also inside a frame.
        for (const QByteArray& before : {QByteArray(), kResponse.left(2)}) {
            stop = false;
            end.send(before);
            std::thread stopper([&] {
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                stop = true;
            });
            const bool read = transport.readServiceWire(out, 60000, &reason, &stop);
            stopper.join();
            QVERIFY(!read);
            QCOMPARE(reason, u"service read stopped"_s);
        }
        stop = false;
        QVERIFY(!transport.readByte(byte, 50, &reason, &stop));
        QCOMPARE(reason, u"serial read timeout"_s);
    }

    void ralonaCodec_data()
    {
        QTest::addColumn<QByteArray>("wire");
        QTest::addColumn<Status>("status");
        QTest::addColumn<QString>("error");
        QTest::newRow("identification") << kYes << Status::Complete << QString();
        QTest::newRow("two bytes") << hex("55AA") << Status::NeedMoreData << QString();
        QTest::newRow("three bytes") << hex("55AA87") << Status::NeedMoreData << QString();
        QTest::newRow("bad prefix") << hex("55AB8700") << Status::Invalid << u"invalid Ralona prefix"_s;
        QTest::newRow("bad first byte") << hex("54AA8700") << Status::Invalid << u"invalid Ralona prefix"_s;
        QTest::newRow("bit 7 clear") << hex("55AA07F8") << Status::Invalid
                                     << u"Ralona response code must have bit 7 set"_s;
        QTest::newRow("every response carries four bytes")
            << hex("55AA827D") << Status::NeedMoreData << QString();
        QTest::newRow("seven bytes") << kYes.left(7) << Status::NeedMoreData << QString();
        QTest::newRow("trailing byte")
            << kYes + '\0' << Status::Invalid << u"trailing bytes after Ralona frame"_s;
        QTest::newRow("checksum") << hex("55AA875965732117") << Status::Invalid
                                  << u"Ralona checksum mismatch"_s;
    }

    void ralonaCodec()
    {
        QFETCH(QByteArray, wire);
        QFETCH(Status, status);
        QFETCH(QString, error);
        RalonaFrame frame;
        QString reason;
        QCOMPARE(RalonaFrameCodec::decode(wire, frame, &reason), status);
        QCOMPARE(reason, error);
        if (status == Status::Complete)
            QCOMPARE(RalonaFrameCodec::encode(frame), wire);
        QCOMPARE(RalonaFrameCodec::encode({0x02, {}, 0}).toHex(), QByteArray("55aa02fd"));
        QCOMPARE(RalonaFrameCodec::dataSizeForCode(5) * 10 + RalonaFrameCodec::dataSizeForCode(6), 4);
    }

    void ralonaWireReader_data()
    {
        QTest::addColumn<QByteArray>("incoming");
        QTest::addColumn<QByteArray>("frame"); // empty: time-out
        QTest::newRow("plain") << kYes << kYes;
        QTest::newRow("55 55 AA is no start, the next frame is") << hex("55") + kYes + kYes << kYes;
        QTest::newRow("noise before") << hex("AA01") + kYes << kYes;
        QTest::newRow("bit 7 clear is skipped") << hex("55AA07F8") + kYes << kYes;
        QTest::newRow("short answer runs into the time-out") << hex("55AA827D") << QByteArray();
    }

    void ralonaWireReader()
    {
        QFETCH(QByteArray, incoming);
        QFETCH(QByteArray, frame);
        FarEnd end;
        SerialTransport transport;
        transport.configure(end.path(), 10400, QSerialPort::NoParity);
        QVERIFY(transport.open());
        end.send(incoming);
        QByteArray out;
        QString reason;
        QCOMPARE(transport.readRalonaWire(out, 300, &reason), !frame.isEmpty());
        QCOMPARE(reason, frame.isEmpty() ? u"Ralona frame timeout"_s : QString());
        QCOMPARE(out.toHex(' '), frame.toHex(' '));
    }

    // Each of the adapter's commands, its bytes, the answer it waits for and the texts of a wrong one.
    void ralonaClient_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QByteArray>("sent");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("error");
        QTest::newRow("probe") << u"probe"_s << hex("55AA07F8") << kYes << QString();
        QTest::newRow("probe, other payload") << u"probe"_s << hex("55AA07F8") << hex("55AA875965732215")
                                              << u"Ralona returned an unexpected identification payload"_s;
        QTest::newRow("probe, wrong code") << u"probe"_s << hex("55AA07F8") << hex("55AA885965732119")
                                           << u"unexpected Ralona response: 0x88, expected 0x87"_s;
        QTest::newRow("K-line") << u"kline"_s << hex("55AA02FD") << hex("55AA82000000007D") << QString();
        QTest::newRow("RS-232") << u"rs232"_s << hex("55AA03FC") << hex("55AA83000000007C") << QString();
        QTest::newRow("RS-232 refused") << u"rs232"_s << hex("55AA03FC") << hex("55AA82000000007D")
                                        << u"unexpected Ralona response: 0x82, expected 0x83"_s;
        QTest::newRow("counter on") << u"start"_s << hex("55AA04FB") << hex("55AA84000000007B") << QString();
        QTest::newRow("counter off") << u"stop"_s << hex("55AA05FA") << hex("55AA85000000007A") << QString();
        QTest::newRow("counter") << u"count"_s << hex("55AA06F9") << hex("55AA8600007D0004") << QString();
        QTest::newRow("calibration") << u"calibrate"_s << hex("55AA01FE") << QByteArray() << QString();
        QTest::newRow("counter, no answer")
            << u"count"_s << hex("55AA06F9") << QByteArray() << u"Ralona frame timeout"_s;
        QTest::newRow("no answer") << u"kline"_s << hex("55AA02FD") << QByteArray()
                                   << u"Ralona frame timeout"_s;
    }

    void ralonaClient()
    {
        QFETCH(QString, command);
        QFETCH(QByteArray, answer);
        QFETCH(QString, error);
        FarEnd end;
        RalonaClient client;
        QVERIFY(client.configure(end.path(), 10400));
        end.send(answer);
        QString reason;
        QByteArray count;
        const bool ok = command == u"probe"   ? client.probe(300, &reason)
                        : command == u"kline" ? client.setKLine(&reason)
                        : command == u"rs232" ? client.setRs232(&reason)
                        : command == u"start" ? client.startCounter(&reason)
                        : command == u"stop"  ? client.stopCounter(&reason)
                        : command == u"count" ? client.getCounter(count, &reason)
                                              : client.startCalibration(&reason);
        QCOMPARE(reason, error);
        QCOMPARE(ok, error.isEmpty());
        QTEST(end.receive(500), "sent");
        QCOMPARE(count, command == u"count" && ok ? hex("00007D00") : QByteArray());
        QCOMPARE(client.isOpen(), command != u"rs232" || !ok); // RS-232 hands the port back
    }

    // What the journal shows of a port's life: its settings, opening, every frame each way, a time-out
    // and the closing; a category of the owner's choice replaces the transport's own.
    void journal()
    {
        records();
        FarEnd end;
        const QString port = end.path();
        const QString name = port.mid(5); // what the port calls itself, without /dev/
        {
            SerialTransport transport;
            QVERIFY(transport.configure(port, 10400, QSerialPort::EvenParity));
            ServiceFrame identify;
            identify.sid = 0x16;
            QVERIFY(transport.writeService(identify));
            end.send(kResponse);
            QByteArray out;
            QVERIFY(transport.readServiceWire(out, 500));
            QVERIFY(!transport.readServiceWire(out, 50));
            QVERIFY(transport.writeRalona({0x07, {}, 0}));
            end.send(kYes);
            QVERIFY(transport.readRalonaWire(out, 500));
            transport.setLogCategory(u"firmware.update"_s);
            QCOMPARE(transport.logCategory(u"serial"_s), u"firmware.update"_s);
            QVERIFY(transport.writeBytes(hex("01")));
            QVERIFY(!transport.readServiceWire(out, 50));
            QVERIFY(transport.configure(port, 9600, QSerialPort::NoParity)); // closes the port
        }
        QStringList logged = records();
        for (QString& record : logged)
            record.replace(QRegularExpression(u"elapsedMs=\\d+"_s), u"elapsedMs=N"_s);
        const QString timeout =
            u"|service-frame-timeout; endpoint=%1|service frame timeout; elapsedMs=N; rawBytes=0; "
            u"partialFrameBytes=0; rxTail="_s.arg(name);
        QCOMPARE(logged,
                 QStringList({
                     u"info|serial|configure|Порт настроен: %1, baud=10400, parity=2"_s.arg(port),
                     u"info|serial|open; port=%1|Порт открыт"_s.arg(name),
                     u"debug|protocol|write; port=%1|TX 6 bytes: 80 EE F0 01 16 75"_s.arg(name),
                     u"debug|protocol|read; port=%1|RX 8 bytes: 80 F0 EE 03 C1 EA 8F 9B"_s.arg(name),
                     u"warning|serial.io"_s + timeout,
                     u"debug|protocol|write; port=%1|TX-RALONA 4 bytes: 55 AA 07 F8"_s.arg(name),
                     u"debug|protocol|read; port=%1|RX-RALONA 8 bytes: 55 AA 87 59 65 73 21 16"_s.arg(name),
                     u"debug|firmware.update|write; port=%1|TX 1 bytes: 01"_s.arg(name),
                     u"warning|firmware.update"_s + timeout,
                     u"info|firmware.update|close; port=%1|Порт закрыт"_s.arg(name),
                     u"info|firmware.update|configure|Порт настроен: %1, baud=9600, parity=0"_s.arg(port),
                 }));
    }

    void missingPortFailsWithTheReason()
    {
        records();
        SerialTransport transport;
        const QString port = u"/dev/tachoria-no-such-port"_s;
        QVERIFY(transport.configure(port, 115200, QSerialPort::EvenParity));
        QString reason;
        QVERIFY(!transport.open(&reason));
        QVERIFY(!reason.isEmpty());
        QByteArray out;
        quint8 byte = 0;
        QString again;
        for (const bool ok :
             {transport.writeBytes(hex("00"), &again), transport.readServiceWire(out, 100, &again),
              transport.readByte(byte, 100, &again), transport.writeRalona({}, &again)})
            QVERIFY(!ok && again == reason);
        QCOMPARE(records().mid(0, 3),
                 QStringList({u"info|serial|configure|Порт настроен: %1, baud=115200, parity=2"_s.arg(port),
                              u"error|serial|open; port=%1|%2"_s.arg(port.mid(5), reason),
                              u"error|serial|open; port=%1|%2"_s.arg(port.mid(5), reason)}));
    }
};

QTEST_GUILESS_MAIN(TestSerialTransport)
#include "test_serial_transport.moc"
