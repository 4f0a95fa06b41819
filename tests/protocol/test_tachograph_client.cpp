#include "../support/pty_far_end.h"
#include "../support/simulator_process.h"
#include "protocol/ralona_client.h"
#include "protocol/tachograph_client.h"

#include <QTest>

using tachoria::protocol::RalonaClient;
using tachoria::protocol::ServiceFrame;
using tachoria::protocol::TachographClient;
using tachoria::test::FarEnd;
using tachoria::test::SimulatorProcess;

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
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("error");

        QTest::newRow("positive") << answer(0x62, hex("F190")) << true << QString();
        QTest::newRow("wrong source")
            << answer(0x62, {}, 0xF0, 0x11) << false << QStringLiteral("unexpected tachograph frame address");
        QTest::newRow("wrong target")
            << answer(0x62, {}, 0xFF) << false << QStringLiteral("unexpected tachograph frame address");
        QTest::newRow("negative with explanation")
            << answer(0x7F, hex("2E13")) << false
            << QStringLiteral("TACHOGRAPH NEGATIVE RESPONSE: SID=0X2E NRC=0X13 "
                              "(INCORRECT MESSAGE LENGTH/FORMAT)");
        QTest::newRow("negative") << answer(0x7F, hex("2233")) << false
                                  << QStringLiteral("TACHOGRAPH NEGATIVE RESPONSE: SID=0X22 NRC=0X33");
        QTest::newRow("negative with only the code")
            << answer(0x7F, hex("31")) << false
            << QStringLiteral("TACHOGRAPH NEGATIVE RESPONSE: SID=0X00 NRC=0X31");
        QTest::newRow("negative without data")
            << answer(0x7F, {}) << false << QStringLiteral("TACHOGRAPH NEGATIVE RESPONSE: SID=0X00 NRC=0X00");
        QTest::newRow("other service")
            << answer(0x6E, {}) << false << QStringLiteral("unexpected response SID: 0x6e, expected 0x62");
    }

    void expectPositive()
    {
        QFETCH(ServiceFrame, frame);
        QFETCH(bool, ok);
        QFETCH(QString, error);
        TachographClient client;
        QString reason;
        QCOMPARE(client.expectPositive(frame, 0x62, &reason), ok);
        QCOMPARE(reason, error);
        QCOMPARE(client.expectPositive(frame, 0x62, nullptr), ok); // no text, same verdict
    }

    // Answers the simulator never gives, played on a bare pseudo-terminal.
    void checksOfTheResponseData_data()
    {
        QTest::addColumn<ServiceFrame>("wire");
        QTest::addColumn<QString>("service");
        QTest::addColumn<QString>("error");
        QTest::newRow("RDBI with one data byte") << answer(0x62, hex("F1")) << QStringLiteral("rdbi")
                                                 << QStringLiteral("RDBI response identifier mismatch");
        QTest::newRow("RDBI of another identifier") << answer(0x62, hex("F19100")) << QStringLiteral("rdbi")
                                                    << QStringLiteral("RDBI response identifier mismatch");
        QTest::newRow("RDBI with just the identifier")
            << answer(0x62, hex("F190")) << QStringLiteral("rdbi") << QString();
        QTest::newRow("start with another payload")
            << answer(0xC1, hex("EA8E")) << QStringLiteral("start")
            << QStringLiteral("unexpected StartCommunication payload");
        QTest::newRow("stop with 21") << answer(0xC2, hex("21")) << QStringLiteral("stop") << QString();
        QTest::newRow("stop with nothing") << answer(0xC2, {}) << QStringLiteral("stop") << QString();
        QTest::newRow("stop with 22") << answer(0xC2, hex("22")) << QStringLiteral("stop")
                                      << QStringLiteral("unexpected StopCommunication payload");
        QTest::newRow("session echo differs") << answer(0x50, hex("85")) << QStringLiteral("session")
                                              << QStringLiteral("unexpected diagnostic session payload");
    }

    void checksOfTheResponseData()
    {
        QFETCH(ServiceFrame, wire);
        QFETCH(QString, service);
        QFETCH(QString, error);
        FarEnd end;
        TachographClient client;
        client.configure(end.path(), 115200, QSerialPort::EvenParity);
        end.send(tachoria::protocol::ServiceFrameCodec::encode(wire));
        QString reason;
        QByteArray value = "untouched";
        bool ok = false;
        if (service == QLatin1String("rdbi"))
            ok = client.readDataByIdentifier(0xF190, value, &reason);
        else if (service == QLatin1String("start"))
            ok = client.startCommunication(&value, &reason);
        else if (service == QLatin1String("stop"))
            ok = client.stopCommunication(&value, &reason);
        else
            ok = client.startDiagnosticSession(0x81, &value, &reason);
        QCOMPARE(ok, error.isEmpty());
        QCOMPARE(reason, error);
        if (!ok)
            QCOMPARE(value, QByteArray("untouched")); // outputs only on full success
        else if (service == QLatin1String("rdbi") || wire.data.isEmpty())
            QCOMPARE(value, QByteArray());
    }

    void requestFormsOnTheWire()
    {
        FarEnd end;
        TachographClient client;
        client.configure(end.path(), 115200, QSerialPort::EvenParity);
        ServiceFrame response;
        QVERIFY(!client.request(0x82, {}, response, 50)); // nobody answers
        QCOMPARE(end.receive(500).toHex(' '), QByteArray("80 ee f0 01 82 e1"));
        QVERIFY(!client.request(0x81, hex("00"), response, 50));
        QCOMPARE(end.receive(500).toHex(' '), QByteArray("81 ee f0 81 e0"));
        QVERIFY(!client.request(0x36, QByteArray(256, '\0'), response, 50));
        QCOMPARE(end.receive(500).left(6).toHex(' '), QByteArray("f0 ee f0 01 01 36"));
        QString reason;
        QVERIFY(!client.writeMemoryByAddress(4, 0x1000, hex("0102"), &reason));
        QCOMPARE(reason, QStringLiteral("Размер данных записи памяти не совпадает с длиной запроса"));
        QCOMPARE(end.receive(100), QByteArray()); // refused before anything was sent
    }

    // A session as the calibration runs it, against the simulated tachograph.
    void sessionAgainstSimulator()
    {
        SimulatorProcess sim({QStringLiteral("--refuse"), QStringLiteral("F103")});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        TachographClient client;
        client.configure(sim.link(), 115200, QSerialPort::EvenParity);
        QVERIFY2(client.openAndStartCommunication(0, &error), qPrintable(error));
        QVERIFY(error.isEmpty());
        QVERIFY(client.startDiagnosticSession(0x81, nullptr, &error));
        QVERIFY(client.testerPresent(nullptr, &error));

        QByteArray value;
        QVERIFY(client.readDataByIdentifier(0xF190, value, &error));
        QCOMPARE(value, QByteArray("XTA210990Y1234567"));
        QVERIFY(!client.readDataByIdentifier(0xF103, value, &error));
        QCOMPARE(error, QStringLiteral("TACHOGRAPH NEGATIVE RESPONSE: SID=0X22 NRC=0X31"));
        QCOMPARE(client.lastResponse().sid, quint8(0x7F)); // a refusal, not a silence

        QVERIFY(!client.writeDataByIdentifier(0xF190, "XTA000000000000001", &error));
        QCOMPARE(error, QStringLiteral("TACHOGRAPH NEGATIVE RESPONSE: SID=0X2E NRC=0X33"));
        QVERIFY(client.startDiagnosticSession(0x85, nullptr, &error));
        QByteArray seed;
        QVERIFY(client.securityAccess(0x7D, &seed, &error));
        QCOMPARE(seed.left(1), hex("7D"));
        QVERIFY2(client.writeDataByIdentifier(0xF190, "XTA000000000000001", &error), qPrintable(error));
        QVERIFY(client.readDataByIdentifier(0xF190, value, &error));
        QCOMPARE(value, QByteArray("XTA000000000000001"));
        QVERIFY(client.stopCommunication(nullptr, &error));
        QVERIFY(sim.stop());
    }

    // The adapter on its own line switches to K-line; then the tachograph answers on that line, with
    // the K-line's echo of every request.
    void throughTheAdapter()
    {
        SimulatorProcess sim({}, true);
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        RalonaClient adapter;
        adapter.configure(sim.adapterLink(), 10400);
        QVERIFY2(adapter.open(&error), qPrintable(error));
        QVERIFY2(adapter.probe(100, &error), qPrintable(error));
        QCOMPARE(adapter.lastResponse().data, QByteArray("Yes!"));
        QVERIFY2(adapter.setKLine(&error), qPrintable(error));
        QVERIFY(adapter.startCalibration(&error));
        QVERIFY(adapter.startCounter(&error));
        QByteArray count;
        QVERIFY(adapter.getCounter(count, &error));
        QCOMPARE(count, hex("00007D00"));
        adapter.close();

        TachographClient client;
        client.configure(sim.adapterLink(), 10400, QSerialPort::NoParity);
        QVERIFY(client.open(&error));
        QVERIFY2(client.openAndStartCommunicationViaRalona(&error), qPrintable(error));
        QCOMPARE(client.lastResponse().sid, quint8(0xC1));
        QVERIFY(client.startDiagnosticSession(0x81, nullptr, &error));
        QByteArray value;
        QVERIFY2(client.readDataByIdentifier(0xF18C, value, &error), qPrintable(error));
        QCOMPARE(value, QByteArray("2505001800001234"));
        client.close();

        // Back to RS-232: the adapter closes its port on success.
        QVERIFY(adapter.setRs232(&error));
        QVERIFY(!adapter.isOpen());
        QVERIFY(sim.stop());
    }
};

QTEST_GUILESS_MAIN(TestTachographClient)
#include "test_tachograph_client.moc"
