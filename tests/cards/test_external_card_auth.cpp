// The card dialogue between the virtual workshop card (real pcscd) and the simulated crypto module.
#include "../support/pcsc_stand_in.h"
#include "../support/simulator_process.h"
#include "cards/external_card_auth.h"
#include "download/download_workflow.h"

#include <QDateTime>
#include <QTest>
#include <QTimeZone>

using tachoria::cards::ExternalCardAuth;
using tachoria::cards::PcscCardReader;
using tachoria::download::DownloadWorkflow;
using tachoria::protocol::TachographClient;
using tachoria::test::PcscStandIn;
using tachoria::test::SimulatorProcess;

namespace {

const QString kReader = QStringLiteral("Virtual PCD 00 00");

bool connectCard(ExternalCardAuth& auth)
{
    QString atr;
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (auth.reader().cardConnect(kReader, atr) == 0)
            return true;
        QTest::qWait(100);
    }
    return false;
}

} // namespace

class TestExternalCardAuth : public QObject
{
    Q_OBJECT

    PcscStandIn m_standIn;

private Q_SLOTS:
    void initTestCase()
    {
        const QString reason = PcscStandIn::unavailableReason();
        if (!reason.isEmpty())
            QSKIP(qPrintable(QStringLiteral("cannot run the smart-card stand-in here: ") + reason));
        QString error;
        QVERIFY2(m_standIn.startService(&error), qPrintable(error));
        QVERIFY2(m_standIn.insertCard(&error), qPrintable(error));
        ExternalCardAuth probe; // wait until the reader sees the card
        QVERIFY(connectCard(probe));
        probe.disconnect();
    }

    void cleanupTestCase()
    {
        m_standIn.removeCard();
        m_standIn.stopService();
    }

    // The reader reports a connection as 0 and the procedure expects 0x9000: by design the check
    // never passes, and the external-card download stays dormant.
    void readForAuthStopsAtTheConnectionCheck()
    {
        ExternalCardAuth auth;
        QString error;
        QVERIFY(!auth.readForAuth(kReader, QStringLiteral("1234"), &error));
        QCOMPARE(error, QStringLiteral("Не подключена карта: 0x0000"));
        auth.disconnect();
    }

    void recordsFromTheCardFiles()
    {
        ExternalCardAuth auth;
        QVERIFY(connectCard(auth));
        auth.data().connected = true;
        QString error;
        QVERIFY2(auth.readCardFiles(&error), qPrintable(error));
        const auto& data = auth.data();
        QCOMPARE(data.fullCardNumber, QByteArray::fromHex("024A") + "RUW0000012345678");
        QCOMPARE(data.caCertificate.size(), 244); // header 30 82 00 F0 and 240 bytes
        QCOMPARE(data.cardCertificate.size(), 256);
        QCOMPARE(data.keyIdentifier, QByteArray::fromHex("00112233445566778899AABBCCDDEEFF"));
        QCOMPARE(data.cardType, quint8(2));
        QCOMPARE(data.issuingNation, quint8(0x4A));
        QCOMPARE(data.cardNumber, QByteArray("RUW0000012345678"));
        QCOMPARE(data.expiryDate, 1893456000u);
        QCOMPARE(data.lastVehicleUse, 1767225600u);
        QCOMPARE(data.lastVehicle, QByteArray("\x4A"
                                              "A123BC77      "));

        const QDateTime now(QDate(2026, 11, 23), QTime(10, 0), QTimeZone::utc());
        const QByteArray entering = auth.serializeEnteringRecord(now);
        QCOMPARE(entering.size(), 129);
        QCOMPARE(entering.left(36), QByteArray("\xCE\xCE\xCE \xD2\xC0\xD5\xCE\xD1\xC5\xD0\xC2\xC8\xD1 "
                                               "\xCC\xC0\xD1\xD2\xC5\xD0\xD1\xCA\xC0\xDF 7         "));
        QCOMPARE(entering.mid(36, 1), QByteArray(1, '\0'));
        QCOMPARE(entering.mid(37, 35), QByteArray(35, ' '));
        QCOMPARE(entering.mid(72, 18), QByteArray::fromHex("024A") + "RUW0000012345678");
        QCOMPARE(entering.mid(90, 4).toHex(), QByteArray("70dbd880"));
        QCOMPARE(entering.mid(98, 11).toHex(), QByteArray("00000002ffffffffffffff"));
        QCOMPARE(entering.mid(109, 15), QByteArray("\x4A"
                                                   "A123BC77      "));
        QCOMPARE(entering.mid(124, 5).toHex(), QByteArray("6955b90000"));
        const QByteArray taking = auth.serializeTakingRecord(now);
        QCOMPARE(taking.mid(102, 7), entering.mid(94, 4) + QByteArray(3, '\0'));
        auth.disconnect();
    }

    // The whole dialogue, then a card download and the card's removal from the module.
    void wholeDialogueWithTheCryptoModule()
    {
        SimulatorProcess sim({QStringLiteral("--pending"), QStringLiteral("2")});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        ExternalCardAuth auth;
        QVERIFY(connectCard(auth));
        auth.data().connected = true;
        QCOMPARE(auth.reader().cardVerifyPin(QByteArray("1234") + QByteArray(4, '\xFF')),
                 PcscCardReader::kSuccess);
        QVERIFY2(auth.readCardFiles(&error), qPrintable(error));

        TachographClient client;
        client.configure(sim.link(), 115200, QSerialPort::EvenParity);
        QVERIFY2(client.openAndStartCommunication(1, &error), qPrintable(error));
        QVERIFY2(auth.authenticate(client, &error), qPrintable(error));
        QCOMPARE(auth.data().nkmKeyCurrent, QByteArray(16, '\xAA'));
        QVERIFY(auth.data().nkmFlags & 0x20); // the module counts the card as inserted

        QVERIFY(client.requestUpload(QByteArray::fromHex("00000000"
                                                         "00FFFFFFFF"),
                                     nullptr, &error));
        QByteArray card;
        QCOMPARE(DownloadWorkflow::transferData(client, 0x06, {}, nullptr, card), 0);
        QVERIFY(card.contains(QByteArray::fromHex("052000008F2B") + "RUW0000012345678"));

        QVERIFY2(auth.eject(client, &error), qPrintable(error));
        QVERIFY(!(auth.data().nkmFlags & 0x20));
        QVERIFY(!client.requestUpload(QByteArray::fromHex("00000000"
                                                          "00FFFFFFFF"),
                                      nullptr, &error) ||
                DownloadWorkflow::transferData(client, 0x06, {}, nullptr, card) == 127); // no card, no data
        auth.disconnect();
        QVERIFY(sim.stop());
    }

    void cryptoModuleReplies_data()
    {
        QTest::addColumn<QByteArray>("command");
        QTest::addColumn<QString>("error");
        QTest::newRow("unknown command")
            << QByteArray::fromHex("77") << QStringLiteral("СКЗИ: неожиданный SID ответа 0x7F");
    }

    void cryptoModuleReplies()
    {
        QFETCH(QByteArray, command);
        SimulatorProcess sim;
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        TachographClient client;
        client.configure(sim.link(), 115200, QSerialPort::EvenParity);
        QVERIFY(client.openAndStartCommunication(1, &error));
        ExternalCardAuth auth;
        quint8 status = 0;
        QByteArray reply;
        QVERIFY(!auth.sendNkmCommand(client, static_cast<quint8>(command.at(0)), command.mid(1), status,
                                     reply, &error));
        QTEST(error, "error");
        QVERIFY(auth.sendNkmCommand(client, 0x32, {}, status, reply, &error));
        QCOMPARE(reply.size(), 4);
        QVERIFY(sim.stop());
    }

    void downloadWithTheExternalCardFailsClearly()
    {
        SimulatorProcess sim;
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        tachoria::download::DownloadSettings settings;
        settings.portName = sim.link();
        settings.cardReaderName = kReader;
        settings.cardPin = QStringLiteral("1234");
        tachoria::download::DownloadOptions options;
        options.card = true;
        options.authenticateCard = true;
        const std::atomic_bool stop{false};
        const auto result = DownloadWorkflow::run(settings, options, stop);
        QVERIFY(!result.success);
        QCOMPARE(result.errorText, QStringLiteral("Не подключена карта: 0x0000"));
        QVERIFY(sim.stop());
    }
};

QTEST_GUILESS_MAIN(TestExternalCardAuth)
#include "test_external_card_auth.moc"
