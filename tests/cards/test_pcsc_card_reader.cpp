// The card reader against a real pcscd, vsmartcard's virtual reader and the project's virtual card.
#include "../support/pcsc_stand_in.h"
#include "cards/pcsc_card_reader.h"

#include <QTest>

using tachoria::cards::PcscCardReader;
using tachoria::test::PcscStandIn;

namespace {

const QString kReader = QStringLiteral("Virtual PCD 00 00");
const QString kEmptyReader = QStringLiteral("Virtual PCD 00 01");

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

private Q_SLOTS:
    void initTestCase()
    {
        const QString reason = PcscStandIn::unavailableReason();
        if (!reason.isEmpty())
            QSKIP(qPrintable(QStringLiteral("cannot run the smart-card stand-in here: ") + reason));
    }

    // Runs first: without the service every call answers "invalid handle".
    void withoutTheService()
    {
        if (PcscStandIn::serviceRunning())
            QSKIP("a pcscd already runs on this machine");
        PcscCardReader reader;
        QVERIFY(!reader.hasContext());
        QStringList readers{QStringLiteral("stale")};
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

        QString atr = QStringLiteral("stale");
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
        QCOMPARE(atr, QStringLiteral("3B 9F 96 C0 0A 3F C6 A0 80 31 E0 73 FE 21 1B 63 08 01 14 0F 90 00"));
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

    void readsInPartsOf240_data()
    {
        QTest::addColumn<int>("offset");
        QTest::addColumn<int>("length");
        QTest::addColumn<QStringList>("commands");
        QTest::newRow("240 bytes: one read") << 0 << 240 << QStringList{QStringLiteral("00B00000F0")};
        QTest::newRow("241 bytes: two reads")
            << 0 << 241 << QStringList{QStringLiteral("00B00000F0"), QStringLiteral("00B000F001")};
        QTest::newRow("from a 2-byte offset")
            << 0x100 << 250 << QStringList{QStringLiteral("00B00100F0"), QStringLiteral("00B001F00A")};
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

    void updatesInPartsOf240()
    {
        selectFile(0x0506);
        const QByteArray data(300, '\x5A');
        QCOMPARE(m_reader->cardUpdateBinary2B(0x00, 0x10, data.size(), data), PcscCardReader::kSuccess);
        QByteArray back;
        QCOMPARE(m_reader->cardReadBinary2B(0x00, 0x10, data.size(), back), PcscCardReader::kSuccess);
        QCOMPARE(back, data);
        // Past the end of the file the card refuses, and the refusal is the result.
        QCOMPARE(m_reader->cardUpdateBinary2B(0x01, 0xF8, 20, QByteArray(20, '\0')), 0x6A84u);
    }

    void certificateChains_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<QStringList>("headers");
        QTest::newRow("255 bytes: one chained part, no final one")
            << 255 << QStringList{QStringLiteral("102A00AEFF")};
        QTest::newRow("256 bytes") << 256
                                   << QStringList{QStringLiteral("102A00AEFF"), QStringLiteral("002A00AE01")};
        QTest::newRow("194 bytes") << 194 << QStringList{QStringLiteral("002A00AEC2")};
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
