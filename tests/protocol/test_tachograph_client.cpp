// The tachograph's services: their bytes on the wire against the strict simulated unit, and the checks
// of answers it never gives, played on a bare pseudo-terminal.
#include "../support/pty_far_end.h"
#include "../support/simulator_process.h"
#include "protocol/ralona_client.h"
#include "protocol/tachograph_client.h"

#include <QElapsedTimer>
#include <QTest>

using namespace tachoria::protocol;
using tachoria::test::FarEnd;
using tachoria::test::SimulatorProcess;
using namespace Qt::StringLiterals;

namespace {

ServiceFrame answer(quint8 sid, const QByteArray& data, quint8 target = 0xF0, quint8 source = 0xEE)
{
    ServiceFrame frame;
    frame.target = target;
    frame.source = source;
    frame.sid = sid;
    frame.data = data;
    return frame;
}

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

} // namespace

class TestTachographClient : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void expectPositive_data()
    {
        QTest::addColumn<ServiceFrame>("frame");
        QTest::addColumn<QString>("error"); // empty: positive
        QTest::newRow("positive") << answer(0x62, hex("F190")) << QString();
        QTest::newRow("wrong source")
            << answer(0x62, {}, 0xF0, 0x11) << u"unexpected tachograph frame address"_s;
        QTest::newRow("wrong target") << answer(0x62, {}, 0xFF) << u"unexpected tachograph frame address"_s;
        QTest::newRow("negative with explanation")
            << answer(0x7F, hex("2E13"))
            << u"TACHOGRAPH NEGATIVE RESPONSE: SID=0X2E NRC=0X13 (INCORRECT MESSAGE LENGTH/FORMAT)"_s;
        QTest::newRow("negative") << answer(0x7F, hex("22AB33"))
                                  << u"TACHOGRAPH NEGATIVE RESPONSE: SID=0X22 NRC=0X33"_s;
        QTest::newRow("only the code")
            << answer(0x7F, hex("31")) << u"TACHOGRAPH NEGATIVE RESPONSE: SID=0X00 NRC=0X31"_s;
        QTest::newRow("no data") << answer(0x7F, {}) << u"TACHOGRAPH NEGATIVE RESPONSE: SID=0X00 NRC=0X00"_s;
        QTest::newRow("other service")
            << answer(0x6E, {}) << u"unexpected response SID: 0x6e, expected 0x62"_s;
    }

    void expectPositive()
    {
        QFETCH(ServiceFrame, frame);
        QFETCH(QString, error);
        TachographClient client;
        QString reason;
        QCOMPARE(client.expectPositive(frame, 0x62, &reason), error.isEmpty());
        QCOMPARE(reason, error);
        QCOMPARE(client.expectPositive(frame, 0x62, nullptr), error.isEmpty()); // no text, same verdict
    }

    void checksOfTheAnswer_data()
    {
        QTest::addColumn<ServiceFrame>("wire");
        QTest::addColumn<QString>("service");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QByteArray>("value");
        QTest::newRow("RDBI with one data byte")
            << answer(0x62, hex("F1")) << u"rdbi"_s << u"RDBI response identifier mismatch"_s
            << QByteArray("untouched");
        QTest::newRow("RDBI of another identifier")
            << answer(0x62, hex("F19100")) << u"rdbi"_s << u"RDBI response identifier mismatch"_s
            << QByteArray("untouched");
        QTest::newRow("RDBI of another first byte")
            << answer(0x62, hex("F29000")) << u"rdbi"_s << u"RDBI response identifier mismatch"_s
            << QByteArray("untouched");
        QTest::newRow("RDBI with just the identifier")
            << answer(0x62, hex("F190")) << u"rdbi"_s << QString() << QByteArray();
        QTest::newRow("start") << answer(0xC1, hex("EA8F")) << u"start"_s << QString() << hex("EA8F");
        QTest::newRow("start with another payload")
            << answer(0xC1, hex("EA8E")) << u"start"_s << u"unexpected StartCommunication payload"_s
            << QByteArray("untouched");
        QTest::newRow("stop with 21") << answer(0xC2, hex("21")) << u"stop"_s << QString() << hex("21");
        QTest::newRow("stop with nothing") << answer(0xC2, {}) << u"stop"_s << QString() << QByteArray();
        QTest::newRow("stop with 22") << answer(0xC2, hex("22")) << u"stop"_s
                                      << u"unexpected StopCommunication payload"_s << QByteArray("untouched");
        QTest::newRow("stop refused")
            << answer(0x7F, hex("8222")) << u"stop"_s << u"TACHOGRAPH NEGATIVE RESPONSE: SID=0X82 NRC=0X22"_s
            << QByteArray("untouched");
        QTest::newRow("session") << answer(0x50, hex("81")) << u"session"_s << QString() << hex("81");
        QTest::newRow("session echo differs")
            << answer(0x50, hex("85")) << u"session"_s << u"unexpected diagnostic session payload"_s
            << QByteArray("untouched");
        QTest::newRow("seed") << answer(0x67, hex("7D01")) << u"security"_s << QString() << hex("7D01");
        QTest::newRow("seed refused")
            << answer(0x7F, hex("2733")) << u"security"_s
            << u"TACHOGRAPH NEGATIVE RESPONSE: SID=0X27 NRC=0X33"_s << QByteArray("untouched");
    }

    void checksOfTheAnswer()
    {
        QFETCH(ServiceFrame, wire);
        QFETCH(QString, service);
        QFETCH(QString, error);
        FarEnd end;
        TachographClient client;
        client.configure(end.path(), 115200, QSerialPort::EvenParity);
        end.send(ServiceFrameCodec::encode(wire));
        QString reason;
        QByteArray value = "untouched";
        const bool ok = service == u"rdbi"      ? client.readDataByIdentifier(0xF190, value, &reason)
                        : service == u"start"   ? client.startCommunication(&value, &reason)
                        : service == u"stop"    ? client.stopCommunication(&value, &reason)
                        : service == u"session" ? client.startDiagnosticSession(0x81, &value, &reason)
                                                : client.securityAccess(0x7D, &value, &reason);
        QCOMPARE(ok, error.isEmpty());
        QCOMPARE(reason, error);
        QTEST(value, "value"); // outputs only on full success
        QCOMPARE(client.lastResponse().sid, wire.sid);
        QVERIFY(client.lastRequestAnswered());
    }

    void requestFormsOnTheWire()
    {
        FarEnd end;
        TachographClient client;
        client.configure(end.path(), 115200, QSerialPort::EvenParity);
        ServiceFrame response;
        QString reason;
        end.send(ServiceFrameCodec::encode(answer(0xC1, hex("EA8F"))));
        QVERIFY(client.request(0x82, {}, response, 200, &reason));
        QVERIFY(client.lastRequestAnswered());
        QCOMPARE(end.receive(500).toHex(' '), QByteArray("80 ee f0 01 82 e1"));
        QVERIFY(!client.requestFrame(0x81, hex("00"), response, 50)); // nobody answers
        QVERIFY(!client.lastRequestAnswered());
        QCOMPARE(client.lastResponse().sid, quint8(0xC1)); // a silence leaves the last answer
        QCOMPARE(end.receive(500).toHex(' '), QByteArray("81 ee f0 81 e0"));
        for (int size : {255, 256}) {
            QVERIFY(!client.request(0x36, QByteArray(size, '\0'), response, 50));
            QCOMPARE(end.receive(500).left(6).toHex(' '),
                     size < 256 ? "80 ee f0 00 36 00" : "f0 ee f0 01 01 36");
        }
        QVERIFY(!client.writeMemoryByAddress(4, 0x1000, hex("0102"), &reason));
        QCOMPARE(reason, u"Размер данных записи памяти не совпадает с длиной запроса"_s);
        QCOMPARE(end.receive(100), QByteArray()); // refused before anything was sent
        std::atomic_bool stop{true};
        client.setStopFlag(&stop);
        QVERIFY(!client.testerPresent(nullptr, &reason));
        QCOMPARE(reason, u"service read stopped"_s);
    }

    // A session as the calibration and the download run it, byte for byte as the simulated unit
    // checks every request.
    void sessionAgainstSimulator()
    {
        SimulatorProcess sim(
            {u"--refuse"_s, u"F103"_s, u"--sleepy-starts"_s, u"1"_s, u"--slow-service"_s, u"22=2500"_s});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        TachographClient client;
        client.configure(sim.link(), 115200, QSerialPort::EvenParity);
        QVERIFY(!client.openAndStartCommunication(0, &error)); // no attempts still make one
        QVERIFY2(client.openAndStartCommunication(1, &error), qPrintable(error));
        QCOMPARE(error, QString());
        QVERIFY(client.startDiagnosticSession(0x81, nullptr, &error));
        QVERIFY(client.testerPresent(nullptr, &error));
        QByteArray value;
        QElapsedTimer slow;
        slow.start();
        QVERIFY2(client.readDataByIdentifier(0xF190, value, &error),
                 qPrintable(error)); // waits beyond 2000 ms
        QVERIFY(slow.elapsed() >= 2500);
        QCOMPARE(value, QByteArray("XTA210990Y1234567"));
        QVERIFY(!client.readDataByIdentifier(0xF103, value, &error));
        QCOMPARE(error, u"TACHOGRAPH NEGATIVE RESPONSE: SID=0X22 NRC=0X31"_s);
        QVERIFY(client.readMemoryByAddress(4, 0x02FF, value, &error));
        QCOMPARE(value, hex("01030405"));
        QVERIFY(!client.writeMemoryByAddress(2, 0x10, hex("AABB"), &error)); // not before SecurityAccess
        QCOMPARE(error, u"TACHOGRAPH NEGATIVE RESPONSE: SID=0X3D NRC=0X33"_s);
        QVERIFY(client.startDiagnosticSession(0x85, nullptr, &error));
        QByteArray seed;
        QVERIFY(client.securityAccess(0x7D, &seed, &error));
        QCOMPARE(seed, hex("7D0000"));
        QVERIFY2(client.writeDataByIdentifier(0xF190, "XTA000000000000001", &error), qPrintable(error));
        QVERIFY(client.writeMemoryByAddress(2, 0x10, hex("AABB"), &error));
        QVERIFY(client.readMemoryByAddress(3, 0x10, value, &error));
        QCOMPARE(value, hex("AABB12"));
        QVERIFY(client.requestUpload(hex("0000000000FFFFFFFF"), &value, &error));
        QCOMPARE(value, hex("FF"));
        QVERIFY(client.transferData(hex("01"), &value, &error));
        QVERIFY(value.startsWith('\x01'));
        QVERIFY(client.requestTransferExit({}, nullptr, &error));
        QVERIFY(client.externalNkmCommand(hex("010032"), &value, &error));
        QCOMPARE(value, hex("05000000000000"));
        QVERIFY(client.stopCommunication(nullptr, &error));
        QCOMPARE(
            sim.requests(),
            QStringList(
                {u"81"_s, u"81"_s, u"10 81"_s, u"3E 01"_s, u"22 F1 90"_s, u"22 F1 03"_s,
                 u"23 24 00 00 02 FF 00 04"_s, u"3D 24 00 00 00 10 00 02 AA BB"_s, u"10 85"_s, u"27 7D"_s,
                 u"2E F1 90 "_s + QString::fromLatin1(QByteArray("XTA000000000000001").toHex(' ').toUpper()),
                 u"3D 24 00 00 00 10 00 02 AA BB"_s, u"23 24 00 00 00 10 00 03"_s,
                 u"35 00 00 00 00 00 FF FF FF FF"_s, u"36 01"_s, u"37"_s, u"01 01 00 32"_s, u"82"_s}));
    }

    // After the adapter's switch to K-line the tachograph answers on the adapter's own line, with the
    // echo of every request; any frame at all counts as a started session.
    void throughTheAdapter()
    {
        SimulatorProcess sim({u"--refuse-service"_s, u"81"_s}, true);
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        RalonaClient adapter;
        adapter.configure(sim.adapterLink(), 10400);
        QVERIFY(adapter.probe(100, &error) && adapter.setKLine(&error) && adapter.startCalibration(&error));
        adapter.close();
        TachographClient client;
        client.configure(sim.adapterLink(), 10400, QSerialPort::NoParity);
        QVERIFY2(client.openAndStartCommunicationViaRalona(&error), qPrintable(error));
        QCOMPARE(client.lastResponse().sid, quint8(0x7F)); // even a refusal
        QCOMPARE(sim.requests(u"adapter"_s), QStringList{u"81"_s});
        QVERIFY(sim.stop());
        QVERIFY(!client.openAndStartCommunicationViaRalona(&error));
        QVERIFY(!error.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestTachographClient)
#include "test_tachograph_client.moc"
