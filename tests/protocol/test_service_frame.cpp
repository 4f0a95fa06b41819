#include "protocol/service_frame.h"

#include <QTest>

using tachoria::protocol::ServiceFrame;
using tachoria::protocol::ServiceFrameCodec;
using Status = ServiceFrameCodec::DecodeStatus;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(ServiceFrameCodec::DecodeStatus)
namespace {

ServiceFrame frame(quint8 format, quint8 target, quint8 source, quint8 sid, const QByteArray& data = {})
{
    ServiceFrame f;
    f.format = format;
    f.target = target;
    f.source = source;
    f.sid = sid;
    f.data = data;
    return f;
}

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

} // namespace

class TestServiceFrame : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void encodesWorkedFrames_data()
    {
        QTest::addColumn<ServiceFrame>("frame");
        QTest::addColumn<QByteArray>("wire");

        QTest::newRow("start communication") << frame(0x81, 0xEE, 0xF0, 0x81) << hex("81EEF081E0");
        QTest::newRow("its positive response")
            << frame(0x80, 0xF0, 0xEE, 0xC1, hex("EA8F")) << hex("80F0EE03C1EA8F9B");
        QTest::newRow("session 0x85") << frame(0x80, 0xEE, 0xF0, 0x10, hex("85")) << hex("80EEF0021085F5");
        QTest::newRow("identify") << frame(0x80, 0xEE, 0xF0, 0x16) << hex("80EEF0011675");
        QTest::newRow("300 bytes in the long form")
            << frame(0xF0, 0xEE, 0xF0, 0x2E, QByteArray(300, '\0'))
            << hex("F0EEF0012D2E") + QByteArray(300, '\0') + hex("2A");
        QTest::newRow("0x81 drops its data")
            << frame(0x81, 0xEE, 0xF0, 0x81, hex("0102")) << hex("81EEF081E0");
        QTest::newRow("0xF1 has no length either")
            << frame(0xF1, 0xEE, 0xF0, 0x81, hex("0102")) << hex("F1EEF08150");
        // 255 data bytes make a length of 256, of which only 0x00 reaches the one length byte.
        QTest::newRow("255 bytes truncate the length")
            << frame(0x80, 0xEE, 0xF0, 0x36, QByteArray(255, '\x01'))
            << hex("80EEF00036") + QByteArray(255, '\x01') +
                   QByteArray(1, static_cast<char>((0x80 + 0xEE + 0xF0 + 0x36 + 255) & 0xFF));
    }

    void encodesWorkedFrames()
    {
        QFETCH(ServiceFrame, frame);
        QFETCH(QByteArray, wire);
        QCOMPARE(ServiceFrameCodec::encode(frame).toHex(' '), wire.toHex(' '));
    }

    void decodes_data()
    {
        QTest::addColumn<QByteArray>("wire");
        QTest::addColumn<Status>("status");
        QTest::addColumn<QString>("error");

        QTest::newRow("empty") << QByteArray() << Status::NeedMoreData << QString();
        QTest::newRow("two bytes, bad FMT not yet reported")
            << hex("1234") << Status::NeedMoreData << QString();
        QTest::newRow("unknown FMT") << hex("0AF0EE") << Status::Invalid << u"unknown FMT 0x0a"_s;
        QTest::newRow("echo of a request") << hex("80EEF0011675") << Status::Invalid << u"unexpected TGT"_s;
        QTest::newRow("0x80 without its length") << hex("80F0EE") << Status::NeedMoreData << QString();
        QTest::newRow("0x80 header incomplete") << hex("80F0EE01") << Status::NeedMoreData << QString();
        QTest::newRow("zero length at 5 bytes")
            << hex("80F0EE0056") << Status::Invalid << u"zero payload length"_s;
        QTest::newRow("0xF0 needs 6 bytes") << hex("F0F0EE0000") << Status::NeedMoreData << QString();
        QTest::newRow("0xF0 zero length at 6")
            << hex("F0F0EE000056") << Status::Invalid << u"zero payload length"_s;
        QTest::newRow("body incomplete") << hex("80F0EE03C1EA") << Status::NeedMoreData << QString();
        QTest::newRow("trailing byte")
            << hex("80F0EE03C1EA8F9B00") << Status::Invalid << u"trailing bytes after frame"_s;
        QTest::newRow("checksum mismatch")
            << hex("80F0EE03C1EA8F9C") << Status::Invalid << u"checksum mismatch"_s;
        QTest::newRow("positive response") << hex("80F0EE03C1EA8F9B") << Status::Complete << QString();
        QTest::newRow("broadcast target") << hex("80FFEE03C1EA8FAA") << Status::Complete << QString();
        QTest::newRow("0x81 response") << hex("81F0EE50AF") << Status::Complete << QString();
        QTest::newRow("0xF1 response") << hex("F1F0EE501F") << Status::Complete << QString();
        QTest::newRow("0xF1 with a byte behind")
            << hex("F1F0EE501F00") << Status::Invalid << u"trailing bytes after frame"_s;
    }

    void decodes()
    {
        QFETCH(QByteArray, wire);
        QFETCH(Status, status);
        QFETCH(QString, error);
        ServiceFrame decoded;
        QString reason = u"untouched"_s;
        QCOMPARE(ServiceFrameCodec::decode(wire, decoded, &reason), status);
        QCOMPARE(reason, status == Status::Invalid ? error : u"untouched"_s);
    }

    void decodedFieldsRoundTrip_data()
    {
        QTest::addColumn<ServiceFrame>("frame");
        QTest::newRow("short form") << frame(0x80, 0xF0, 0xEE, 0x56, hex("0102030405"));
        QTest::newRow("254 data bytes, the short form's limit")
            << frame(0x80, 0xF0, 0xEE, 0x76, QByteArray(254, '\x7F'));
        QTest::newRow("long form") << frame(0xF0, 0xF0, 0xEE, 0x76, QByteArray(1333, '\xA5'));
        QTest::newRow("no length") << frame(0x81, 0xF0, 0xEE, 0xC1);
    }

    void decodedFieldsRoundTrip()
    {
        QFETCH(ServiceFrame, frame);
        const QByteArray wire = ServiceFrameCodec::encode(frame);
        ServiceFrame decoded;
        QCOMPARE(ServiceFrameCodec::decode(wire, decoded), Status::Complete);
        QCOMPARE(decoded.format, frame.format);
        QCOMPARE(decoded.target, frame.target);
        QCOMPARE(decoded.source, frame.source);
        QCOMPARE(decoded.sid, frame.sid);
        QCOMPARE(decoded.data, frame.data);
        QCOMPARE(decoded.length, frame.format == 0x81 ? 0 : frame.data.size() + 1);
        QCOMPARE(decoded.checksum, static_cast<quint8>(wire.back()));
    }

    void recognisesFormatsAndTargets()
    {
        for (int byte = 0; byte < 256; ++byte) {
            const auto b = static_cast<quint8>(byte);
            QCOMPARE(ServiceFrameCodec::isFormat(b), b == 0x80 || b == 0x81 || b == 0xF0 || b == 0xF1);
            QCOMPARE(ServiceFrameCodec::isTarget(b), b == 0xF0 || b == 0xFF);
        }
    }
};

QTEST_GUILESS_MAIN(TestServiceFrame)
#include "test_service_frame.moc"
