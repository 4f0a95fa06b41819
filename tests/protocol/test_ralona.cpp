#include "../support/pty_far_end.h"
#include "protocol/ralona_frame.h"
#include "protocol/serial_transport.h"

#include <QTest>

using tachoria::protocol::RalonaFrame;
using tachoria::protocol::RalonaFrameCodec;
using tachoria::protocol::SerialTransport;
using tachoria::test::FarEnd;
using Status = tachoria::protocol::ServiceFrameCodec::DecodeStatus;

Q_DECLARE_METATYPE(Status)

class TestRalona : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void encodesWorkedFrames()
    {
        RalonaFrame identify;
        identify.code = 0x07;
        QCOMPARE(RalonaFrameCodec::encode(identify).toHex(' '), QByteArray("55 aa 07 f8"));
        RalonaFrame kLine;
        kLine.code = 0x02;
        QCOMPARE(RalonaFrameCodec::encode(kLine).toHex(' '), QByteArray("55 aa 02 fd"));
        RalonaFrame yes;
        yes.code = 0x87;
        yes.data = "Yes!";
        QCOMPARE(RalonaFrameCodec::encode(yes).toHex(' '), QByteArray("55 aa 87 59 65 73 21 16"));
    }

    void decodes_data()
    {
        QTest::addColumn<QByteArray>("wire");
        QTest::addColumn<Status>("status");
        QTest::addColumn<QString>("error");
        const auto hex = [](const char* text) { return QByteArray::fromHex(text); };
        QTest::newRow("identification") << hex("55AA8759657321 16") << Status::Complete << QString();
        QTest::newRow("three bytes") << hex("55AA87") << Status::NeedMoreData << QString();
        QTest::newRow("bad prefix") << hex("55AB8700") << Status::Invalid
                                    << QStringLiteral("invalid Ralona prefix");
        QTest::newRow("bit 7 clear") << hex("55AA07F8") << Status::Invalid
                                     << QStringLiteral("Ralona response code must have bit 7 set");
        QTest::newRow("every response carries four bytes")
            << hex("55AA827D") << Status::NeedMoreData << QString();
        QTest::newRow("trailing byte") << hex("55AA87596573211600") << Status::Invalid
                                       << QStringLiteral("trailing bytes after Ralona frame");
        QTest::newRow("checksum") << hex("55AA8759657321 17") << Status::Invalid
                                  << QStringLiteral("Ralona checksum mismatch");
    }

    void decodes()
    {
        QFETCH(QByteArray, wire);
        QFETCH(Status, status);
        QFETCH(QString, error);
        RalonaFrame frame;
        QString reason;
        QCOMPARE(RalonaFrameCodec::decode(wire, frame, &reason), status);
        QCOMPARE(reason, error);
    }

    void wireReader_data()
    {
        QTest::addColumn<QByteArray>("incoming");
        QTest::addColumn<QByteArray>("frame"); // empty: time-out
        const QByteArray yes = QByteArray::fromHex("55AA875965732116");
        QTest::newRow("plain") << yes << yes;
        QTest::newRow("55 55 AA is no start, the next frame is")
            << QByteArray::fromHex("55") + yes + yes << yes;
        QTest::newRow("bit 7 clear is skipped") << QByteArray::fromHex("55AA07F8") + yes << yes;
        QTest::newRow("short answer runs into the time-out")
            << QByteArray::fromHex("55AA827D") << QByteArray();
    }

    void wireReader()
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
        if (frame.isEmpty())
            QCOMPARE(reason, QStringLiteral("Ralona frame timeout"));
        else
            QCOMPARE(out.toHex(' '), frame.toHex(' '));
    }

    void writerSendsTheWholeFrame()
    {
        FarEnd end;
        SerialTransport transport;
        transport.configure(end.path(), 10400, QSerialPort::NoParity);
        RalonaFrame identify;
        identify.code = 0x07;
        QVERIFY(transport.writeRalona(identify));
        QCOMPARE(end.receive(500).toHex(' '), QByteArray("55 aa 07 f8"));
    }
};

QTEST_GUILESS_MAIN(TestRalona)
#include "test_ralona.moc"
