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
    void commandBytes()
    {
        selectFile(0x0506);
        m_standIn.clearCardLog();
        QStringList seen; // each command's result, what the card got, and what came back
        QByteArray out;
        const auto record = [&](quint32 result, const QByteArray& answer = {}) {
            seen << u"%1 %2 %3"_s.arg(result, 0, 16)
                        .arg(m_standIn.cardLog().join(u','), QString::fromLatin1(answer.toHex()));
            m_standIn.clearCardLog();
        };
        record(m_reader->cardGetFullCardNumber(out), out);
        record(m_reader->cardGetVersionCard(out), out);
        const quint32 challenge = m_reader->cardGetChallenge(out); // random: only its size
        record(challenge, QByteArray::number(out.size()));
        record(m_reader->cardMseSet(QByteArray(16, '\xBB')));
        record(m_reader->cardVerifyPin(pin("1234")));
        record(m_reader->cardUnblockPin(QByteArray::fromHex("0102030405060708"), pin("1234")));
        record(m_reader->cardMutualAuth(QByteArray(0x50, '\x77')));
        record(m_reader->cardGetResponse(4, out), out);
        record(m_reader->cardReadBinary(0x01, 0x02, 3, out), out);
        record(m_reader->cardUpdateBinary(0x01, 0xFE, 2, QByteArray::fromHex("1122")));
        record(m_reader->cardSelectCatalog(QByteArray::fromHex("FF544143484F")));
        record(m_reader->cardSelectFileId(0xC201));
        QCOMPARE(
            seen,
            QStringList({u"9000 00CA004512 024a52555730303030303132333435363738"_s, u"9000 00CADF0602 0102"_s,
                         u"9000 0084000010 3136"_s, u"9000 0022C1B6128310BBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBB "_s,
                         u"9000 002000000831323334FFFFFFFF "_s,
                         // The card does not know RESET RETRY COUNTER: its refusal is the result.
                         u"6d00 002C000010010203040506070831323334FFFFFFFF "_s,
                         u"6180 0082000050"_s + QString(160, u'7') + u' ', u"9000 00C0000004 00030609"_s,
                         u"9000 00B0010203 020304"_s, u"9000 00D601FE021122 "_s,
                         u"9000 00A4040C06FF544143484F "_s, u"9000 00A4020C02C201 "_s}));
    }

    // Long reads and updates go in parts of 240 bytes from a two-byte offset; the first refusal ends them.
    void partsOf240_data()
    {
        QTest::addColumn<int>("offset");
        QTest::addColumn<int>("length");
        QTest::addColumn<QString>("headers"); // of the reads; the updates' are the same with D6 for B0
        QTest::addColumn<quint32>("result");
        QTest::newRow("240 bytes: one part") << 0 << 240 << u"00B00000F0"_s << 0x9000u;
        QTest::newRow("241 bytes: two parts") << 0 << 241 << u"00B00000F0 00B000F001"_s << 0x9000u;
        QTest::newRow("from a 2-byte offset") << 0x100 << 250 << u"00B00100F0 00B001F00A"_s << 0x9000u;
        QTest::newRow("300 bytes from 0x10") << 0x10 << 300 << u"00B00010F0 00B001003C"_s << 0x9000u;
        QTest::newRow("past the end: refused") << 0x100 << 300 << u"00B00100F0 00B001F03C"_s << 0x6282u;
    }

    void partsOf240()
    {
        QFETCH(int, offset);
        QFETCH(int, length);
        QFETCH(QString, headers);
        QFETCH(quint32, result);
        selectFile(0x0506);
        QByteArray data;
        for (int i = 0; i < length; ++i)
            data.append(static_cast<char>(0xA0 + i % 7));
        const auto p1 = static_cast<quint8>(offset >> 8);
        const auto p2 = static_cast<quint8>(offset & 0xFF);
        m_standIn.clearCardLog();
        const quint32 updated = m_reader->cardUpdateBinary2B(p1, p2, length, data);
        QStringList sent;
        for (const QString& command : m_standIn.cardLog())
            sent << command.left(10);
        QCOMPARE(sent.join(u' '), QString(headers).replace(u"00B0"_s, u"00D6"_s));
        QCOMPARE(updated,
                 result == 0x6282u ? 0x6A84u : result); // past the end the card refuses an update too
        m_standIn.clearCardLog();
        QByteArray back = "stale";
        QCOMPARE(m_reader->cardReadBinary2B(p1, p2, length, back), result);
        QCOMPARE(m_standIn.cardLog().join(u' '), headers);
        if (result == PcscCardReader::kSuccess)
            QCOMPARE(back.toHex(), ("stale" + data).toHex());
    }

    void certificateChains_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<QStringList>("card"); // the emulator's options
        QTest::addColumn<quint32>("result");
        QTest::addColumn<QString>("headers");
        QTest::newRow("255 bytes: one chained part, no final one")
            << 255 << QStringList{} << 0u << u"102A00AEFF"_s;
        QTest::newRow("256 bytes") << 256 << QStringList{} << 0u << u"102A00AEFF 002A00AE01"_s;
        QTest::newRow("194 bytes") << 194 << QStringList{} << 0u << u"002A00AEC2"_s;
        QTest::newRow("a refused chained part ends the chain")
            << 600 << QStringList{u"--answer"_s, u"102A00AEFF=6A80"_s} << 0x6A80u << u"102A00AEFF"_s;
        QTest::newRow("a refused last part")
            << 300 << QStringList{u"--answer"_s, u"002A00AE=6A88"_s} << 0x6A88u << u"102A00AEFF 002A00AE2D"_s;
    }

    void certificateChains()
    {
        QFETCH(int, size);
        QFETCH(QStringList, card);
        QFETCH(QString, headers);
        if (!card.isEmpty())
            QVERIFY(reinsertCard(card));
        m_standIn.clearCardLog();
        QTEST(m_reader->cardVerifyCert(QByteArray(size, '\x42')), "result");
        QStringList sent;
        for (const QString& command : m_standIn.cardLog())
            sent << command.left(10);
        QCOMPARE(sent.join(u' '), headers);
        QCOMPARE(m_standIn.cardLog().value(0).mid(10, 4), u"4242"_s);
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
