// The card reader against a real pcscd, vsmartcard's virtual reader and the project's virtual card.
#include "card_slot.h"
#include "cards/pcsc_card_reader.h"

#include <QTest>

using tachoria::cards::PcscCardReader;
using tachoria::test::PcscStandIn;
using namespace Qt::StringLiterals;

namespace {

const QString kReader = u"Virtual PCD 00 00"_s;
const QString kEmptyReader = u"Virtual PCD 00 01"_s;

QByteArray pin(const QByteArray& digits)
{
    return digits + QByteArray(8 - digits.size(), '\xFF');
}

} // namespace

class TestPcscCardReader : public QObject
{
    Q_OBJECT

    PcscStandIn m_standIn;
    std::unique_ptr<PcscCardReader> m_reader;

    void selectFile(quint16 id)
    {
        QCOMPARE(m_reader->cardSelectCatalog(QByteArray::fromHex("FF544143484F")), PcscCardReader::kSuccess);
        QCOMPARE(m_reader->cardSelectFileId(id), PcscCardReader::kSuccess);
    }

    bool reinsertCard(const QStringList& cardArguments)
    {
        return tachoria::test::reinsertCard(m_standIn, *m_reader, kReader, cardArguments);
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString reason = PcscStandIn::unavailableReason();
        if (!reason.isEmpty())
            QSKIP(qPrintable(u"cannot run the smart-card stand-in here: "_s + reason));
    }

    // Runs first: without the service every call answers "invalid handle".
    void withoutTheService()
    {
        if (PcscStandIn::serviceRunning())
            QSKIP("a pcscd already runs on this machine");
        PcscCardReader reader;
        QVERIFY(!reader.hasContext());
        QStringList readers{u"stale"_s};
        QCOMPARE(reader.cardGetListReaders(readers), PcscCardReader::kInvalidHandle);
        QVERIFY(readers.isEmpty());
        QString atr;
        QCOMPARE(reader.cardConnect(kReader, atr), PcscCardReader::kInvalidHandle);
        QByteArray out;
        QCOMPARE(reader.cardGetChallenge(out), PcscCardReader::kInvalidHandle);
    }

    void readersAndCard()
    {
        QString error;
        QVERIFY2(m_standIn.startService(&error), qPrintable(error));
        QVERIFY2(m_standIn.insertCard(&error), qPrintable(error));
        m_reader = std::make_unique<PcscCardReader>();
        QVERIFY(m_reader->hasContext());
        QStringList readers;
        QCOMPARE(m_reader->cardGetListReaders(readers), 0u);
        QVERIFY2(readers.contains(kReader), qPrintable(readers.join(QLatin1Char(','))));

        QString atr = u"stale"_s;
        QCOMPARE(m_reader->cardConnect(kEmptyReader, atr), 1u); // no card there
        QCOMPARE(atr, QString());
        // The card may need a moment to be seen after it came up.
        quint32 connected = 1;
        for (int attempt = 0; attempt < 100 && connected != 0; ++attempt) {
            connected = m_reader->cardConnect(kReader, atr);
            if (connected != 0)
                QTest::qWait(100);
        }
        QCOMPARE(connected, 0u);
        QCOMPARE(atr, u"3B 9F 96 C0 0A 3F C6 A0 80 31 E0 73 FE 21 1B 63 08 01 14 0F 90 00"_s);
        QVERIFY(m_reader->isConnected());
    }

    void identityAndPin()
    {
        QByteArray number;
        QCOMPARE(m_reader->cardGetFullCardNumber(number), PcscCardReader::kSuccess);
        QCOMPARE(number, QByteArray::fromHex("024A") + "RUW0000012345678");
        QByteArray challenge;
        QCOMPARE(m_reader->cardGetChallenge(challenge), PcscCardReader::kSuccess);
        QCOMPARE(challenge.size(), 16);
        QCOMPARE(m_reader->cardVerifyPin(pin("9999")), 0x63C2u);
        QCOMPARE(m_reader->cardVerifyPin(pin("1234")), PcscCardReader::kSuccess);
        QCOMPARE(m_reader->cardMseSet(QByteArray(16, '\xAA')), PcscCardReader::kSuccess);
        QCOMPARE(m_reader->cardMseSet(QByteArray(16, '\x01')), 0x6A88u);
    }

    // Every command the reader knows, byte for byte as the card receives it, and its result.
    void commandBytes_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("apdu");
        QTest::addColumn<quint32>("result");
        QTest::addColumn<QByteArray>("out");
        QTest::newRow("select the application") << "selectCatalog"
                                                << "00A4040C06FF544143484F" << 0x9000u << QByteArray();
        QTest::newRow("select a file") << "selectFileId"
                                       << "00A4020C02C201" << 0x9000u << QByteArray();
        QTest::newRow("full card number")
            << "fullCardNumber"
            << "00CA004512" << 0x9000u << QByteArray::fromHex("024A") + "RUW0000012345678";
        QTest::newRow("card version") << "version"
                                      << "00CADF0602" << 0x9000u << QByteArray::fromHex("0102");
        QTest::newRow("challenge") << "challenge"
                                   << "0084000010" << 0x9000u << QByteArray();
        QTest::newRow("MSE SET") << "mseSet"
                                 << "0022C1B6128310BBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBB" << 0x9000u
                                 << QByteArray();
        QTest::newRow("VERIFY") << "verifyPin"
                                << "002000000831323334FFFFFFFF" << 0x9000u << QByteArray();
        // The card does not know RESET RETRY COUNTER: its refusal is the result.
        QTest::newRow("unblock the PIN")
            << "unblockPin"
            << "002C000010010203040506070831323334FFFFFFFF" << 0x6D00u << QByteArray();
        QTest::newRow("MUTUAL AUTHENTICATE")
            << "mutualAuth" << u"0082000050"_s + QString(160, QLatin1Char('7')) << 0x6180u << QByteArray();
        QTest::newRow("GET RESPONSE") << "getResponse"
                                      << "00C0000004" << 0x9000u << QByteArray::fromHex("00030609");
        QTest::newRow("READ BINARY") << "readBinary"
                                     << "00B0010203" << 0x9000u << QByteArray::fromHex("020304");
        QTest::newRow("UPDATE BINARY") << "updateBinary"
                                       << "00D601FE021122" << 0x9000u << QByteArray();
    }

    void commandBytes()
    {
        QFETCH(QString, operation);
        QFETCH(QString, apdu);
        QFETCH(quint32, result);
        QFETCH(QByteArray, out);
        selectFile(0x0506);
        if (operation == QLatin1String("getResponse"))
            m_reader->cardMutualAuth(QByteArray(0x50, '\x77'));
        m_standIn.clearCardLog();
        QByteArray answer;
        quint32 status = 0;
        if (operation == QLatin1String("selectCatalog"))
            status = m_reader->cardSelectCatalog(QByteArray::fromHex("FF544143484F"));
        else if (operation == QLatin1String("selectFileId"))
            status = m_reader->cardSelectFileId(0xC201);
        else if (operation == QLatin1String("fullCardNumber"))
            status = m_reader->cardGetFullCardNumber(answer);
        else if (operation == QLatin1String("version"))
            status = m_reader->cardGetVersionCard(answer);
        else if (operation == QLatin1String("challenge"))
            status = m_reader->cardGetChallenge(answer);
        else if (operation == QLatin1String("mseSet"))
            status = m_reader->cardMseSet(QByteArray(16, '\xBB'));
        else if (operation == QLatin1String("verifyPin"))
            status = m_reader->cardVerifyPin(pin("1234"));
        else if (operation == QLatin1String("unblockPin"))
            status = m_reader->cardUnblockPin(QByteArray::fromHex("0102030405060708"), pin("1234"));
        else if (operation == QLatin1String("mutualAuth"))
            status = m_reader->cardMutualAuth(QByteArray(0x50, '\x77'));
        else if (operation == QLatin1String("getResponse"))
            status = m_reader->cardGetResponse(4, answer);
        else if (operation == QLatin1String("readBinary"))
            status = m_reader->cardReadBinary(0x01, 0x02, 3, answer);
        else if (operation == QLatin1String("updateBinary"))
            status = m_reader->cardUpdateBinary(0x01, 0xFE, 2, QByteArray::fromHex("1122"));
        else
            QFAIL("unknown operation");
        QCOMPARE(m_standIn.cardLog(), QStringList{apdu});
        QCOMPARE(status, result);
        if (operation == QLatin1String("challenge"))
            QCOMPARE(answer.size(), 16);
        else
            QCOMPARE(answer.toHex(), out.toHex());
    }

    void readsInPartsOf240_data()
    {
        QTest::addColumn<int>("offset");
        QTest::addColumn<int>("length");
        QTest::addColumn<QStringList>("commands");
        QTest::newRow("240 bytes: one read") << 0 << 240 << QStringList{u"00B00000F0"_s};
        QTest::newRow("241 bytes: two reads") << 0 << 241 << QStringList{u"00B00000F0"_s, u"00B000F001"_s};
        QTest::newRow("from a 2-byte offset")
            << 0x100 << 250 << QStringList{u"00B00100F0"_s, u"00B001F00A"_s};
    }

    void readsInPartsOf240()
    {
        QFETCH(int, offset);
        QFETCH(int, length);
        QFETCH(QStringList, commands);
        selectFile(0x0506);
        m_standIn.clearCardLog();
        QByteArray out;
        QCOMPARE(m_reader->cardReadBinary2B(static_cast<quint8>(offset >> 8),
                                            static_cast<quint8>(offset & 0xFF), length, out),
                 PcscCardReader::kSuccess);
        QByteArray expected;
        for (int i = offset; i < offset + length; ++i)
            expected.append(static_cast<char>(i & 0xFF));
        QCOMPARE(out.toHex(), expected.toHex());
        QCOMPARE(m_standIn.cardLog(), commands);
    }

    // The first refused part ends a read, and the refusal is the result.
    void readStopsAtTheFirstRefusal()
    {
        selectFile(0x0506);
        m_standIn.clearCardLog();
        QByteArray out;
        QCOMPARE(m_reader->cardReadBinary2B(0x01, 0x00, 300, out), 0x6282u);
        QCOMPARE(m_standIn.cardLog(), (QStringList{u"00B00100F0"_s, u"00B001F03C"_s}));
    }

    void updatesInPartsOf240_data()
    {
        QTest::addColumn<int>("offset");
        QTest::addColumn<int>("length");
        QTest::addColumn<QStringList>("headers");
        QTest::newRow("240 bytes: one update") << 0 << 240 << QStringList{u"00D60000F0"_s};
        QTest::newRow("241 bytes: two updates") << 0 << 241 << QStringList{u"00D60000F0"_s, u"00D600F001"_s};
        QTest::newRow("300 bytes from 0x10") << 0x10 << 300 << QStringList{u"00D60010F0"_s, u"00D601003C"_s};
    }

    void updatesInPartsOf240()
    {
        QFETCH(int, offset);
        QFETCH(int, length);
        QFETCH(QStringList, headers);
        selectFile(0x0506);
        QByteArray data;
        for (int i = 0; i < length; ++i)
            data.append(static_cast<char>(0xA0 + i % 7));
        m_standIn.clearCardLog();
        QCOMPARE(m_reader->cardUpdateBinary2B(static_cast<quint8>(offset >> 8),
                                              static_cast<quint8>(offset & 0xFF), length, data),
                 PcscCardReader::kSuccess);
        QStringList sent;
        QByteArray carried;
        for (const QString& command : m_standIn.cardLog()) {
            sent << command.left(10);
            carried += QByteArray::fromHex(command.mid(10).toLatin1());
        }
        QCOMPARE(sent, headers);
        QCOMPARE(carried.toHex(), data.toHex());
        QByteArray back;
        QCOMPARE(m_reader->cardReadBinary2B(static_cast<quint8>(offset >> 8),
                                            static_cast<quint8>(offset & 0xFF), length, back),
                 PcscCardReader::kSuccess);
        QCOMPARE(back.toHex(), data.toHex());
    }

    void updatePastTheEndIsRefused()
    {
        selectFile(0x0506);
        // Past the end of the file the card refuses, and the refusal is the result.
        QCOMPARE(m_reader->cardUpdateBinary2B(0x01, 0xF8, 20, QByteArray(20, '\0')), 0x6A84u);
    }

    void certificateChains_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<QStringList>("headers");
        QTest::newRow("255 bytes: one chained part, no final one") << 255 << QStringList{u"102A00AEFF"_s};
        QTest::newRow("256 bytes") << 256 << QStringList{u"102A00AEFF"_s, u"002A00AE01"_s};
        QTest::newRow("194 bytes") << 194 << QStringList{u"002A00AEC2"_s};
    }

    void certificateChains()
    {
        QFETCH(int, size);
        QFETCH(QStringList, headers);
        m_standIn.clearCardLog();
        QCOMPARE(m_reader->cardVerifyCert(QByteArray(size, '\x42')), 0u);
        QStringList sent;
        for (const QString& command : m_standIn.cardLog())
            sent << command.left(10);
        QCOMPARE(sent, headers);
    }

    // The connection is exclusive: a second reader gets no card until the first lets it go, and a
    // reader that is destroyed lets it go.
    void connectionIsExclusive()
    {
        QString atr;
        {
            PcscCardReader other;
            QCOMPARE(other.cardConnect(kReader, atr), 1u);
            QVERIFY(!other.isConnected());
            m_reader->cardDisconnect();
            QCOMPARE(other.cardConnect(kReader, atr), 0u);
            QCOMPARE(m_reader->cardConnect(kReader, atr), 1u);
        }
        QCOMPARE(m_reader->cardConnect(kReader, atr), 0u);
    }

    void mutualAuthentication()
    {
        const quint32 status = m_reader->cardMutualAuth(QByteArray(0x50, '\x01'));
        QCOMPARE(status >> 8, 0x61u);
        QByteArray cryptogram;
        QCOMPARE(m_reader->cardGetResponse(static_cast<quint8>(status & 0xFF), cryptogram),
                 PcscCardReader::kSuccess);
        QCOMPARE(cryptogram.size(), 128);
    }

    void statusWordNeedsTwoBytes()
    {
        QCOMPARE(PcscCardReader::statusWord(QByteArray(1, '\x90')), PcscCardReader::kShortAnswer);
        QByteArray data;
        QCOMPARE(PcscCardReader::statusWord(QByteArray::fromHex("0102039000"), &data),
                 PcscCardReader::kSuccess);
        QCOMPARE(data, QByteArray::fromHex("010203"));
    }

    void certificateRefused_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<quint32>("result");
        QTest::addColumn<QStringList>("headers");
        QTest::newRow("a refused chained part ends the chain")
            << 600 << "102A00AEFF=6A80" << 0x6A80u << QStringList{u"102A00AEFF"_s};
        QTest::newRow("a refused last part")
            << 300 << "002A00AE=6A88" << 0x6A88u << QStringList{u"102A00AEFF"_s, u"002A00AE2D"_s};
    }

    void certificateRefused()
    {
        QFETCH(int, size);
        QFETCH(QString, answer);
        QFETCH(quint32, result);
        QFETCH(QStringList, headers);
        QVERIFY(reinsertCard({u"--answer"_s, answer}));
        m_standIn.clearCardLog();
        QCOMPARE(m_reader->cardVerifyCert(QByteArray(size, '\x42')), result);
        QStringList sent;
        for (const QString& command : m_standIn.cardLog())
            sent << command.left(10);
        QCOMPARE(sent, headers);
    }

    // An answer without a whole status word is the reader's own code, not a status.
    void oneByteAnswer()
    {
        QVERIFY(reinsertCard({u"--answer"_s, u"00CADF06=90"_s}));
        QByteArray out;
        QCOMPARE(m_reader->cardGetVersionCard(out), PcscCardReader::kShortAnswer);
        QVERIFY(reinsertCard({}));
    }

    void afterDisconnect()
    {
        m_reader->cardDisconnect();
        QVERIFY(!m_reader->isConnected());
        QByteArray out;
        QCOMPARE(m_reader->cardGetChallenge(out), PcscCardReader::kInvalidHandle);
    }

    void missingCard()
    {
        m_standIn.removeCard();
        QString atr;
        QTRY_COMPARE_WITH_TIMEOUT(m_reader->cardConnect(kReader, atr), 1u, 10000);
    }

    void cleanupTestCase()
    {
        m_reader.reset();
        m_standIn.removeCard();
        m_standIn.stopService();
    }
};

QTEST_GUILESS_MAIN(TestPcscCardReader)
#include "test_pcsc_card_reader.moc"
