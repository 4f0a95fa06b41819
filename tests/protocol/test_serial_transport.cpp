#include "../support/pty_far_end.h"
#include "protocol/serial_transport.h"

#include <QRegularExpression>
#include <QTest>

#include <atomic>
#include <chrono>
#include <thread>

using tachoria::protocol::SerialTransport;
using tachoria::protocol::ServiceFrame;
using tachoria::test::FarEnd;

namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

const QByteArray kResponse = hex("80F0EE03C1EA8F9B");

} // namespace

class TestSerialTransport : public QObject
{
    Q_OBJECT

private:
    bool configured(SerialTransport& transport, const FarEnd& end)
    {
        return transport.configure(end.path(), 115200, QSerialPort::NoParity) && transport.open();
    }

private Q_SLOTS:
    void readServiceWire_data()
    {
        QTest::addColumn<QByteArray>("incoming");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QByteArray>("frame");
        QTest::addColumn<QString>("error"); // a pattern for the time-out text

        QTest::newRow("plain frame") << kResponse << true << kResponse << QString();
        QTest::newRow("noise before") << hex("0055AA1337") + kResponse << true << kResponse << QString();
        QTest::newRow("echoed request before")
            << hex("80EEF0011675") + kResponse << true << kResponse << QString();
        QTest::newRow("doubled FMT resynchronises")
            << hex("80") + kResponse << true << kResponse << QString();
        QTest::newRow("zero-length frame dropped")
            << hex("80F0EE00") + kResponse << true << kResponse << QString();
        QTest::newRow("bad checksum still leaves the wire")
            << hex("80F0EE03C1EA8F00") << true << hex("80F0EE03C1EA8F00") << QString();
        QTest::newRow("long form") << hex("F0F0EE0003560102") + QByteArray(1, '\x8C') << true
                                   << hex("F0F0EE0003560102") + QByteArray(1, '\x8C') << QString();
        QTest::newRow("silence") << QByteArray() << false << QByteArray()
                                 << QStringLiteral("^service frame timeout; elapsedMs=\\d+; rawBytes=0; "
                                                   "partialFrameBytes=0; rxTail=$");
        QByteArray noise;
        for (int i = 0; i < 40; ++i)
            noise.append(static_cast<char>(i));
        QTest::newRow("noise only keeps the last 32 bytes")
            << noise << false << QByteArray()
            << QStringLiteral(
                   "^service frame timeout; elapsedMs=\\d+; rawBytes=40; partialFrameBytes=0; rxTail=%1$")
                   .arg(QString::fromLatin1(noise.right(32).toHex(' ').toUpper()));
        QTest::newRow("a frame cut short")
            << hex("80F0EE05C1") << false << QByteArray()
            << QStringLiteral("^service frame timeout; elapsedMs=\\d+; rawBytes=5; partialFrameBytes=5; "
                              "rxTail=80 F0 EE 05 C1$");
    }

    void readServiceWire()
    {
        QFETCH(QByteArray, incoming);
        QFETCH(bool, ok);
        QFETCH(QByteArray, frame);
        QFETCH(QString, error);

        FarEnd end;
        SerialTransport transport;
        QVERIFY(configured(transport, end));
        end.send(incoming);
        QByteArray out;
        QString reason;
        QCOMPARE(transport.readServiceWire(out, 200, &reason), ok);
        if (ok) {
            QCOMPARE(out.toHex(' '), frame.toHex(' '));
        } else {
            QVERIFY2(QRegularExpression(error).match(reason).hasMatch(), qPrintable(reason));
        }
    }

    void readServiceRejectsBadChecksum()
    {
        FarEnd end;
        SerialTransport transport;
        QVERIFY(configured(transport, end));
        end.send(hex("80F0EE03C1EA8F00"));
        ServiceFrame frame;
        QString reason;
        QVERIFY(!transport.readService(frame, 200, &reason));
        QCOMPARE(reason, QStringLiteral("checksum mismatch"));

        end.send(kResponse);
        QVERIFY(transport.readService(frame, 200, &reason));
        QCOMPARE(frame.sid, quint8(0xC1));
        QCOMPARE(frame.data, hex("EA8F"));
    }

    void gapInsideFrameLosesOnlyThatFrame()
    {
        FarEnd end;
        SerialTransport transport;
        QVERIFY(configured(transport, end));
        const QByteArray second =
            hex("80F0EE025612") + QByteArray(1, static_cast<char>(0x80 + 0xF0 + 0xEE + 0x02 + 0x56 + 0x12));
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
        QVERIFY(!transport.readServiceWire(out, 1000, &reason, &stop));
        QCOMPARE(reason, QStringLiteral("service read stopped"));
        QVERIFY(!transport.isOpen()); // the port was not touched

        // Set during the wait, the flag ends the read long before its time-out.
        stop = false;
        std::thread stopper([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            stop = true;
        });
        QVERIFY(!transport.readServiceWire(out, 60000, &reason, &stop));
        stopper.join();
        QCOMPARE(reason, QStringLiteral("service read stopped"));
    }

    void writeServicePutsFrameOnTheWire()
    {
        FarEnd end;
        SerialTransport transport;
        QVERIFY(transport.configure(end.path(), 115200, QSerialPort::EvenParity));
        QVERIFY(!transport.isOpen()); // configure never opens
        ServiceFrame identify;
        identify.sid = 0x16;
        QString reason;
        QVERIFY2(transport.writeService(identify, &reason), qPrintable(reason)); // opens implicitly
        QVERIFY(transport.isOpen());
        QCOMPARE(end.receive(1000).toHex(' '), QByteArray("80 ee f0 01 16 75"));
    }

    void missingPortFailsWithTheReason()
    {
        SerialTransport transport;
        QVERIFY(transport.configure(QStringLiteral("/dev/tachoria-no-such-port"), 115200,
                                    QSerialPort::EvenParity));
        QString reason;
        QVERIFY(!transport.open(&reason));
        QVERIFY(!reason.isEmpty());
        QByteArray out;
        QVERIFY(!transport.writeBytes(hex("00"), &reason));
        QVERIFY(!transport.readServiceWire(out, 100, &reason));
    }
};

QTEST_GUILESS_MAIN(TestSerialTransport)
#include "test_serial_transport.moc"
