// The card dialogue between the virtual workshop card (real pcscd) and the simulated crypto module.
#include "../support/process_runner.h"
#include "../support/simulator_process.h"
#include "card_slot.h"
#include "cards/external_card_auth.h"
#include "download/download_workflow.h"
#include "logging/application_logger.h"
#include "protocol/byte_order.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

#include <ctime>
#include <utility>

using tachoria::cards::ExternalCardAuth;
using tachoria::cards::PcscCardReader;
using tachoria::download::DownloadWorkflow;
using tachoria::logging::ApplicationLogger;
using tachoria::protocol::TachographClient;
using tachoria::test::PcscStandIn;
using tachoria::test::SimulatorProcess;
using namespace Qt::StringLiterals;

namespace {

const QString kReader = u"Virtual PCD 00 00"_s;
const QByteArray kFullCardNumber = QByteArray::fromHex("024A") + "RUW0000012345678";

bool connectCard(ExternalCardAuth& auth)
{
    return tachoria::test::connectWhenPresent(auth.reader(), kReader);
}

// The data of every crypto-module command (SID 0x01) the simulator received, in order: the length,
// low byte first, the command code and the payload.
QList<QByteArray> nkmRequests(SimulatorProcess& sim)
{
    QList<QByteArray> requests;
    for (const QString& text : sim.requests()) {
        const QByteArray request = QByteArray::fromHex(text.toLatin1());
        if (request.startsWith('\x01'))
            requests << request.mid(1);
    }
    return requests;
}

// The commands in short: the code, and for a certificate the byte that says which.
QStringList nkmCommandNames(const QList<QByteArray>& requests)
{
    QStringList names;
    for (const QByteArray& request : requests) {
        const QByteArray code = request.mid(2, 1).toHex().toUpper();
        names << (code == "42" || code == "49" ? QString::fromLatin1(code + ' ' + request.mid(3, 1).toHex())
                                               : QString::fromLatin1(code));
    }
    return names;
}

QStringList texts(std::initializer_list<const char*> items)
{
    QStringList list;
    for (const char* item : items)
        list << QString::fromLatin1(item);
    return list;
}

// The card's commands cut to the length of the expected ones, so that random or long data need not
// be spelt out.
QStringList cutTo(const QStringList& sent, const QStringList& expected)
{
    QStringList cut;
    for (qsizetype i = 0; i < sent.size(); ++i)
        cut << (i < expected.size() ? sent[i].left(expected[i].size()) : sent[i]);
    return cut;
}

// This process's journal records.
QList<QVariantMap> journal()
{
    return tachoria::test::journalRecords(ApplicationLogger::currentFilePath(),
                                          QCoreApplication::applicationPid());
}

QString recordText(const QVariantMap& record)
{
    return QStringList{record.value(u"level"_s).toString(), record.value(u"category"_s).toString(),
                       record.value(u"operation"_s).toString(), record.value(u"message"_s).toString()}
        .join(QLatin1Char('|'));
}

// The journal's records of the cards since a count of records.
QStringList cardRecordsSince(qsizetype count)
{
    QStringList texts;
    const QList<QVariantMap> records = journal();
    for (qsizetype i = count; i < records.size(); ++i) {
        if (records[i].value(u"category"_s).toString() == QLatin1String("cards"))
            texts << recordText(records[i]);
    }
    return texts;
}

// The simulated unit with its crypto module, and a session opened to it.
struct ModuleSession
{
    SimulatorProcess sim;
    TachographClient client;

    explicit ModuleSession(const QStringList& arguments)
        : sim(arguments)
    {
    }

    bool open(QString* error)
    {
        if (!sim.start(error))
            return false;
        client.configure(sim.link(), 115200, QSerialPort::EvenParity);
        return client.openAndStartCommunication(1, error);
    }
};

QString warning(const QString& text)
{
    return u"warning|cards|card-operation|"_s + text;
}

} // namespace

class TestExternalCardAuth : public QObject
{
    Q_OBJECT

    PcscStandIn m_standIn;
    QTemporaryDir m_journalDir;
    QStringList m_cardArguments; // of the card now in the reader

    // Puts in a card shaped by the emulator's options, unless that card is already there.
    bool useCard(const QStringList& cardArguments)
    {
        if (cardArguments == m_cardArguments)
            return true;
        PcscCardReader probe;
        if (!tachoria::test::reinsertCard(m_standIn, probe, kReader, cardArguments))
            return false;
        m_cardArguments = cardArguments;
        return true;
    }

    // A connected card whose files are read: what readForAuth would give, were its connection check
    // ever to pass.
    bool readCard(ExternalCardAuth& auth, QString* error)
    {
        if (!connectCard(auth)) {
            *error = u"no card"_s;
            return false;
        }
        auth.data().connected = true;
        if (auth.reader().cardVerifyPin(QByteArray("1234") + QByteArray(4, '\xFF')) !=
            PcscCardReader::kSuccess) {
            *error = u"PIN refused"_s;
            return false;
        }
        return auth.readCardFiles(error);
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString reason = PcscStandIn::unavailableReason();
        if (!reason.isEmpty())
            QSKIP(qPrintable(u"cannot run the smart-card stand-in here: "_s + reason));
        QVERIFY(m_journalDir.isValid());
        ApplicationLogger::initialize(m_journalDir.path(), true);
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
        ApplicationLogger::shutdown();
    }

    // The reader reports a connection as 0 and the procedure expects 0x9000: by design the check
    // never passes, and the external-card download stays dormant. A failed connection shows the
    // reader's own code.
    void readForAuthStopsAtTheConnectionCheck_data()
    {
        QTest::addColumn<QString>("reader");
        QTest::addColumn<QString>("error");
        QTest::newRow("a card in the reader") << kReader << u"Не подключена карта: 0x0000"_s;
        QTest::newRow("a reader without a card")
            << u"Virtual PCD 00 01"_s << u"Не подключена карта: 0x0001"_s;
        QTest::newRow("no such reader") << u"No Such Reader 00 00"_s << u"Не подключена карта: 0x0001"_s;
    }

    void readForAuthStopsAtTheConnectionCheck()
    {
        QFETCH(QString, reader);
        QFETCH(QString, error);
        QVERIFY(useCard({}));
        ExternalCardAuth auth;
        const qsizetype before = journal().size();
        m_standIn.clearCardLog();
        QString failure;
        QVERIFY(!auth.readForAuth(reader, u"1234"_s, &failure));
        QCOMPARE(failure, error);
        QVERIFY(!auth.data().connected);
        QCOMPARE(m_standIn.cardLog(), QStringList()); // neither the PIN nor a file
        QCOMPARE(
            cardRecordsSince(before),
            (QStringList{u"info|cards|read-card|Начато чтение карты для авторизации"_s, warning(error)}));
        auth.disconnect();
    }

    void recordsFromTheCardFiles()
    {
        QVERIFY(useCard({}));
        ExternalCardAuth auth;
        QString error;
        QVERIFY2(readCard(auth, &error), qPrintable(error));
        const auto& data = auth.data();
        QCOMPARE(data.fullCardNumber, kFullCardNumber);
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
        QCOMPARE(entering.mid(72, 18), kFullCardNumber);
        QCOMPARE(entering.mid(90, 4).toHex(), QByteArray("70dbd880"));
        QCOMPARE(entering.mid(94, 4).toHex(), QByteArray("6b040ea0")); // 2026-11-23 10:00
        QCOMPARE(entering.mid(98, 11).toHex(), QByteArray("00000002ffffffffffffff"));
        QCOMPARE(entering.mid(109, 15), QByteArray("\x4A"
                                                   "A123BC77      "));
        QCOMPARE(entering.mid(124, 5).toHex(), QByteArray("6955b90000"));
        const QByteArray taking = auth.serializeTakingRecord(now);
        QCOMPARE(taking.size(), 129);
        QCOMPARE(taking.left(102), entering.left(102));
        QCOMPARE(taking.mid(102, 7).toHex(), QByteArray("6b040ea0000000"));
        QCOMPARE(taking.mid(109), entering.mid(109));
        auth.disconnect();
    }

    // The module keeps local time: the wall clock goes out as if it were UTC.
    void recordsCarryTheLocalWallClock()
    {
        const QByteArray zone = qgetenv("TZ");
        qputenv("TZ", "Asia/Vladivostok"); // UTC+10 all year
        tzset();
        ExternalCardAuth auth;
        const qint64 earliest = QDateTime::currentSecsSinceEpoch() + 10 * 3600;
        const QByteArray entering = auth.serializeEnteringRecord();
        const QByteArray taking = auth.serializeTakingRecord();
        const qint64 latest = QDateTime::currentSecsSinceEpoch() + 10 * 3600;
        if (zone.isNull())
            qunsetenv("TZ");
        else
            qputenv("TZ", zone);
        tzset();
        for (const auto& [record, offset] :
             {std::pair{entering, 94}, std::pair{taking, 94}, std::pair{taking, 102}}) {
            const qint64 stamp = QByteArray(record.mid(offset, 4)).toHex().toLongLong(nullptr, 16);
            QVERIFY2(earliest <= stamp && stamp <= latest, qPrintable(QString::number(stamp - earliest)));
        }
    }

    // Every command the card gets while its files are read, and the selections kept between reads.
    void cardFilesCommands()
    {
        QVERIFY(useCard({}));
        ExternalCardAuth auth;
        QVERIFY(connectCard(auth));
        auth.data().connected = true;
        m_standIn.clearCardLog();
        QString error;
        QVERIFY2(auth.readCardFiles(&error), qPrintable(error));
        const QStringList whole{
            u"00CA004512"_s,     u"00A4040C06FF544143484F"_s,
            u"00A4020C02C208"_s, u"00B0000004"_s,
            u"00B00000F0"_s,
            u"00B000F004"_s, // 244 bytes: the header and 240
            u"00A4020C02C200"_s, u"00B0000004"_s,
            u"00B00000F0"_s,
            u"00B000F010"_s, // 256 bytes
            u"00A4020C02C201"_s, u"00B0000010"_s,
            u"00A4020C020501"_s, u"00B000000B"_s,
            u"00A4020C020520"_s, u"00B00000D3"_s,
            u"00A4020C020505"_s,
            u"00B0000021"_s, // one vehicle record of 31 bytes and the pointer
        };
        QCOMPARE(m_standIn.cardLog(), whole);

        // The application stays selected; a file is selected again only when another was selected last.
        m_standIn.clearCardLog();
        QVERIFY2(auth.readCardFiles(&error), qPrintable(error));
        QStringList again = whole;
        again.removeAt(1);
        QCOMPARE(m_standIn.cardLog(), again);

        // After a disconnect both are chosen again.
        auth.disconnect();
        QVERIFY(!auth.data().connected);
        QVERIFY(connectCard(auth));
        m_standIn.clearCardLog();
        QVERIFY2(auth.readCardFiles(&error), qPrintable(error));
        QCOMPARE(m_standIn.cardLog(), whole);
        auth.disconnect();
    }

    // Cards that differ from the usual workshop card, or are damaged: what is read from them, or
    // where the reading stops and with which words.
    void cardFilesOfOtherCards_data()
    {
        QTest::addColumn<QStringList>("card");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QString>("field");
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<QString>("lastCommand");

        const auto answer = [](const char* text) {
            return QStringList{u"--answer"_s, QString::fromLatin1(text)};
        };
        const auto file = [](const char* fid, const QByteArray& content) {
            return QStringList{u"--file"_s, QString::fromLatin1(fid) + QLatin1Char('=') +
                                                QString::fromLatin1(content.toHex())};
        };
        const QByteArray record0 = QByteArray(10, '\0') + QByteArray::fromHex("11223344") +
                                   "\x4A"
                                   "X001XX99      " +
                                   QByteArray(2, '\0');
        const QByteArray record1 = QByteArray(10, '\0') + QByteArray::fromHex("55667788") +
                                   "\x2B"
                                   "Y002YY50      " +
                                   QByteArray(2, '\0');
        const auto applicationFile = [](int records) {
            return QByteArray::fromHex("02000000000000") + QByteArray(1, static_cast<char>(records >> 8)) +
                   QByteArray(1, static_cast<char>(records & 0xFF)) + QByteArray(2, '\0');
        };
        const QByteArray authority = QByteArray("SERVICE AUTHORITY").leftJustified(36, ' ');
        const QByteArray identification = QByteArray(1, '\x4A') + "RUW0000012345678" + authority +
                                          QByteArray(8, '\0') + QByteArray::fromHex("70dbd880");

        QTest::newRow("a certificate whose header gives a length below 5")
            << file("C208", QByteArray::fromHex("3082000311223344")) << QString() << "caCertificate"
            << QByteArray::fromHex("308200") << "00B0000021";
        QTest::newRow("a certificate header of 5 takes the header with it")
            << file("C208", QByteArray::fromHex("308200051122334455")) << QString() << "caCertificate"
            << QByteArray::fromHex("308200051122334455") << "00B0000021";
        QTest::newRow("a certificate without the 30 82 header is 4 bytes")
            << file("C200", QByteArray::fromHex("3081F0AABBCCDD")) << QString() << "cardCertificate"
            << QByteArray::fromHex("3081F0AA") << "00B0000021";
        QTest::newRow("not a workshop card: stops after the key identifier")
            << answer("00CA004512=014A52555730303030303132333435363738399000") << QString() << "codeString"
            << QByteArray() << "00B0000010";
        QTest::newRow("the full number refused")
            << answer("00CA004512=6A88") << u"Не прочитан полный номер карты: 0x6A88"_s << QString()
            << QByteArray() << "00CA004512";
        QTest::newRow("the full number too short")
            << answer("00CA004512=024A9000") << u"Не прочитан полный номер карты: 0x9000"_s << QString()
            << QByteArray() << "00CA004512";
        QTest::newRow("no tachograph application")
            << answer("00A4040C=6A82") << u"Не выбран каталог карты: 0x6A82"_s << QString() << QByteArray()
            << "00A4040C06FF544143484F";
        QTest::newRow("a file missing")
            << answer("00A4020C02C201=6A82") << u"Не выбран файл карты 0xC201: 0x6A82"_s << QString()
            << QByteArray() << "00A4020C02C201";
        QTest::newRow("a read failing twice")
            << answer("00B0000010=6581@2") << u"Не прочитан файл карты 0xC201: 0x6581"_s << QString()
            << QByteArray() << "00B0000010";
        QTest::newRow("a read failing once is tried again")
            << answer("00B0000010=6581@1") << QString() << "keyIdentifier"
            << QByteArray::fromHex("00112233445566778899AABBCCDDEEFF") << "00B0000021";
        QTest::newRow("0501 of 8 bytes")
            << answer("00B000000B=02000000000000009000") << u"Файл 0501 карты имеет неверную длину"_s
            << QString() << QByteArray() << "00B000000B";
        QTest::newRow("0501 of 9 bytes is enough")
            << answer("00B000000B=0200000000000000019000") << QString() << "lastVehicleUse"
            << QByteArray::fromHex("6955b900") << "00B0000021";
        QTest::newRow("0520 of 64 bytes")
            << answer(QByteArray("00B00000D3=" + identification.left(64).toHex() + "9000").constData())
            << u"Файл 0520 карты имеет неверную длину"_s << QString() << QByteArray() << "00B00000D3";
        QTest::newRow("0520 of 65 bytes is enough")
            << answer(QByteArray("00B00000D3=" + identification.toHex() + "9000").constData()) << QString()
            << "codeString" << authority << "00B0000021";
        QTest::newRow("the pointer equal to the record count")
            << file("0505", QByteArray::fromHex("0001") + record0)
            << u"Указатель последней записи карты выходит за границы"_s << QString() << QByteArray()
            << "00B0000021";
        QTest::newRow("the pointer to the second of two records")
            << file("0501", applicationFile(2)) +
                   file("0505", QByteArray::fromHex("0001") + record0 + record1)
            << QString() << "lastVehicle"
            << QByteArray("\x2B"
                          "Y002YY50      ")
            << "00B0000040";
        QTest::newRow("the time of the newest record")
            << file("0501", applicationFile(2)) +
                   file("0505", QByteArray::fromHex("0001") + record0 + record1)
            << QString() << "lastVehicleUse" << QByteArray::fromHex("55667788") << "00B0000040";
        QTest::newRow("a history shorter than its records")
            << answer("00B0000021=00000000000000000000000000000000000000000000009000")
            << u"Повреждена история транспортных средств карты"_s << QString() << QByteArray()
            << "00B0000021";
        QTest::newRow("no vehicle records")
            << file("0501", applicationFile(0)) + file("0505", QByteArray(2, '\0')) << QString()
            << "lastVehicle" << QByteArray(15, ' ') << "00B0000002";
        QTest::newRow("no vehicle records: no time of use")
            << file("0501", applicationFile(0)) + file("0505", QByteArray(2, '\0')) << QString()
            << "lastVehicleUse" << QByteArray::fromHex("FFFFFFFF") << "00B0000002";
        QTest::newRow("the record's card number")
            << QStringList() << QString() << "cardFullNumberForRecord" << kFullCardNumber << "00B0000021";
    }

    void cardFilesOfOtherCards()
    {
        QFETCH(QStringList, card);
        QFETCH(QString, error);
        QFETCH(QString, field);
        QFETCH(QByteArray, value);
        QFETCH(QString, lastCommand);
        QVERIFY(useCard(card));
        ExternalCardAuth auth;
        QVERIFY(connectCard(auth));
        auth.data().connected = true;
        const qsizetype before = journal().size();
        m_standIn.clearCardLog();
        QString failure;
        QCOMPARE(auth.readCardFiles(&failure), error.isEmpty());
        QCOMPARE(failure, error);
        QCOMPARE(m_standIn.cardLog().last(), lastCommand);
        if (!error.isEmpty())
            QCOMPARE(cardRecordsSince(before), QStringList{warning(error)});
        const auto& data = auth.data();
        const QHash<QString, QByteArray> fields{
            {u"caCertificate"_s, data.caCertificate},
            {u"cardCertificate"_s, data.cardCertificate},
            {u"keyIdentifier"_s, data.keyIdentifier},
            {u"codeString"_s, data.codeString},
            {u"cardFullNumberForRecord"_s, data.cardFullNumberForRecord},
            {u"lastVehicle"_s, data.lastVehicle},
            {u"lastVehicleUse"_s, tachoria::protocol::bigEndianBytes(data.lastVehicleUse, 4)},
        };
        if (!field.isEmpty())
            QCOMPARE(fields.value(field).toHex(), value.toHex());
        auth.disconnect();
    }

    // A failed read is tried once more at once, and no more.
    void aFailedReadIsTriedOnceMore()
    {
        QVERIFY(useCard({u"--answer"_s, u"00B0000010=6581@2"_s}));
        ExternalCardAuth auth;
        QVERIFY(connectCard(auth));
        m_standIn.clearCardLog();
        QString error;
        QVERIFY(!auth.readCardFiles(&error));
        QCOMPARE(m_standIn.cardLog().mid(10),
                 (QStringList{u"00A4020C02C201"_s, u"00B0000010"_s, u"00B0000010"_s}));
        auth.disconnect();
    }

    void withoutACardConnection()
    {
        ExternalCardAuth auth;
        QString error;
        QVERIFY(!auth.readCardFiles(&error));
        QCOMPARE(error, u"Не прочитан полный номер карты: 0x80100003"_s);
    }

    // The whole dialogue, then a card download and the card's removal from the module: every command
    // to the module and to the card, with its bytes.
    void wholeDialogueWithTheCryptoModule()
    {
        QVERIFY(useCard({}));
        ModuleSession session({u"--pending"_s, u"2"_s, u"--verbose"_s});
        QString error;
        QVERIFY2(session.open(&error), qPrintable(error));
        SimulatorProcess& sim = session.sim;
        TachographClient& client = session.client;
        ExternalCardAuth auth;
        QVERIFY2(readCard(auth, &error), qPrintable(error));
        const qsizetype before = journal().size();
        m_standIn.clearCardLog();
        QVERIFY2(auth.authenticate(client, &error), qPrintable(error));
        QCOMPARE(auth.data().nkmKeyCurrent, QByteArray(16, '\xAA'));
        QCOMPARE(auth.data().nkmKeyCa, QByteArray(16, '\xBB'));
        QCOMPARE(auth.data().nkmKeyPreviousCa, QByteArray(16, '\xCC'));
        QVERIFY(auth.data().nkmFlags & 0x20); // the module counts the card as inserted
        QCOMPARE(cardRecordsSince(before),
                 (QStringList{u"info|cards|authenticate-card|Начата авторизация карты в СКЗИ"_s,
                              u"info|cards|authenticate-card|Авторизация карты в СКЗИ завершена"_s}));
        const QStringList cardCommands = m_standIn.cardLog();
        QCOMPARE(cardCommands.size(), 4);
        QCOMPARE(cardCommands[0], u"0022C1B6128310"_s + QString(32, QLatin1Char('A')));
        QCOMPARE(cardCommands[1], u"0084000010"_s);
        QCOMPARE(cardCommands[2], u"0082000050"_s + u"5C"_s.repeated(0x50));
        QCOMPARE(cardCommands[3], u"00C0000080"_s);

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
        const QByteArray entering = auth.serializeEnteringRecord();
        const QByteArray taking = auth.serializeTakingRecord();
        auth.disconnect();
        QVERIFY(sim.stop());

        const QList<QByteArray> requests = nkmRequests(sim);
        QCOMPARE(nkmCommandNames(requests),
                 (texts({"32", "40", "4A", "42 00", "42 01", "4B", "43", "44", "32", "41", "32"})));
        // Each carries its length, low byte first, before the code.
        for (const QByteArray& request : requests)
            QCOMPARE(static_cast<quint8>(request.at(0)) | static_cast<quint8>(request.at(1)) << 8,
                     request.size() - 2);
        const auto payload = [&requests](int index) { return requests[index].mid(3); };
        QCOMPARE(payload(0), QByteArray());
        QCOMPARE(payload(1).size(), 129);
        QCOMPARE(payload(1).left(94), entering.left(94)); // all but the time of insertion
        QCOMPARE(payload(1).mid(98), entering.mid(98));
        QCOMPARE(payload(2).toHex(), (QByteArray::fromHex("80") + kFullCardNumber +
                                      QByteArray::fromHex("00112233445566778899AABBCCDDEEFF"))
                                         .toHex());
        QCOMPARE(payload(3), QByteArray(1, '\0') + kFullCardNumber + auth.data().caCertificate);
        QCOMPARE(payload(4), QByteArray(1, '\x01') + kFullCardNumber + auth.data().cardCertificate);
        QCOMPARE(payload(5), QByteArray());
        QCOMPARE(payload(6).size(), 18 + 16);
        QCOMPARE(payload(6).left(18), kFullCardNumber);
        QByteArray cryptogram;
        for (int i = 0; i < 128; ++i)
            cryptogram.append(static_cast<char>(i * 3));
        QCOMPARE(payload(7).toHex(), (kFullCardNumber + cryptogram).toHex());
        QCOMPARE(payload(9).left(102), taking.left(102));
        QCOMPARE(payload(9).mid(106), taking.mid(106)); // all but the time of removal
        QCOMPARE(payload(9).mid(106, 3), QByteArray(3, '\0'));
        // The frame itself: FMT 0x80, the tachograph, the program, SID 0x01.
        QVERIFY(sim.standardError().contains(u"tachograph: RX 80 EE F0 04 01 01 00 32 96"_s));
    }

    // The dialogue's turns: which commands go to the module and the card, and the words where it stops.
    void authenticationPaths_data()
    {
        QTest::addColumn<QStringList>("sim");
        QTest::addColumn<QStringList>("card");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QStringList>("nkmCommands");
        QTest::addColumn<QStringList>("cardCommands");

        const QStringList upToKeys = texts({"32", "40", "4A", "42 00", "42 01", "4B"});
        const QStringList all = upToKeys + texts({"43", "44", "32"});
        const auto key = [](char byte) { return u"0022C1B6128310"_s + QString(32, QLatin1Char(byte)); };
        const QStringList ownKey{key('A'), u"0084000010"_s, u"0082000050"_s, u"00C0000080"_s};
        const auto keys = [](const char* hex) {
            return QStringList{u"--nkm-keys"_s, QString::fromLatin1(hex).repeated(1)};
        };

        QTest::newRow("the module does not know the card")
            << QStringList() << QStringList() << QString() << all << ownKey;
        QTest::newRow("the module knows the card: no authority certificate")
            << QStringList{u"--nkm-reply"_s, u"4A=010000"_s} << QStringList() << QString()
            << texts({"32", "40", "4A", "42 01", "4B", "43", "44", "32"}) << ownKey;
        QTest::newRow("the key identifier refused")
            << QStringList{u"--nkm-reply"_s, u"4A=010033"_s} << QStringList()
            << u"СКЗИ не принял идентификатор ключа карты: 0x33"_s << texts({"32", "40", "4A"})
            << QStringList();
        QTest::newRow("an incomplete key list")
            << QStringList{u"--nkm-reply"_s, u"4B=300000"_s + QString(94, QLatin1Char('A'))} << QStringList()
            << u"СКЗИ вернул неполный список идентификаторов ключей"_s << upToKeys << QStringList();
        // The card accepts a certificate as 0 and the procedure expects 0x9000: by design an accepted
        // certificate is reported as refused.
        QTest::newRow("only the authority's key known to the card")
            << keys("DDDDDDDDDDDDDDDDDDDDDDDDDDDDDDDDBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBCCCCCCCCCCCCCCCCCCCCCCCC"
                    "CCCCCCCC")
            << QStringList() << u"Карта не приняла сертификат CA НКМ"_s << upToKeys + texts({"49 00"})
            << QStringList{key('D'), key('B'), u"002A00AEC2"_s};
        QTest::newRow("only the previous authority's key known to the card")
            << keys("DDDDDDDDDDDDDDDDDDDDDDDDDDDDDDDDEEEEEEEEEEEEEEEEEEEEEEEEEEEEEEEEAAAAAAAAAAAAAAAAAAAAAAAA"
                    "AAAAAAAA")
            << QStringList() << u"Карта не приняла предыдущий сертификат CA НКМ"_s
            << upToKeys + texts({"49 00"}) << QStringList{key('D'), key('E'), key('A'), u"002A00AEC2"_s};
        QTest::newRow("no key known to the card")
            << keys("DDDDDDDDDDDDDDDDDDDDDDDDDDDDDDDDEEEEEEEEEEEEEEEEEEEEEEEEEEEEEEEEFFFFFFFFFFFFFFFFFFFFFFFF"
                    "FFFFFFFF")
            << QStringList() << u"Идентификаторы СКЗИ не приняты картой"_s << upToKeys
            << QStringList{key('D'), key('E'), key('F')};
        QTest::newRow("no challenge")
            << QStringList() << QStringList{u"--answer"_s, u"0084000010=6985"_s}
            << u"Не получено случайное число карты"_s << upToKeys << QStringList{key('A'), u"0084000010"_s};
        QTest::newRow("a short challenge")
            << QStringList() << QStringList{u"--answer"_s, u"0084000010=0102039000"_s}
            << u"Не получено случайное число карты"_s << upToKeys << QStringList{key('A'), u"0084000010"_s};
        QTest::newRow("mutual authentication without 61xx: the cryptogram asked as 6 bytes")
            << QStringList() << QStringList{u"--answer"_s, u"0082000050=9000"_s}
            << u"Не получена криптограмма карты"_s << upToKeys + texts({"43"})
            << QStringList{key('A'), u"0084000010"_s, u"0082000050"_s, u"00C0000006"_s};
        QTest::newRow("a short reply of the module ends the dialogue")
            << QStringList{u"--nkm-reply"_s, u"40=0100"_s} << QStringList()
            << u"СКЗИ вернул короткий ответ на 0x40"_s << texts({"32", "40"}) << QStringList();
    }

    void authenticationPaths()
    {
        QFETCH(QStringList, sim);
        QFETCH(QStringList, card);
        QFETCH(QString, error);
        QFETCH(QStringList, nkmCommands);
        QFETCH(QStringList, cardCommands);
        QVERIFY(useCard(card));
        ModuleSession session(sim + QStringList{u"--verbose"_s});
        QString failure;
        QVERIFY2(session.open(&failure), qPrintable(failure));
        ExternalCardAuth auth;
        QVERIFY2(readCard(auth, &failure), qPrintable(failure));
        const qsizetype before = journal().size();
        m_standIn.clearCardLog();
        QCOMPARE(auth.authenticate(session.client, &failure), error.isEmpty());
        QCOMPARE(failure, error);
        QCOMPARE(cutTo(m_standIn.cardLog(), cardCommands), cardCommands);
        if (!error.isEmpty())
            QCOMPARE(cardRecordsSince(before).last(), warning(error));
        auth.disconnect();
        QVERIFY(session.sim.stop());
        QCOMPARE(nkmCommandNames(nkmRequests(session.sim)), nkmCommands);
    }

    void authenticateWithoutACard()
    {
        ModuleSession session({u"--verbose"_s});
        QString error;
        QVERIFY2(session.open(&error), qPrintable(error));
        ExternalCardAuth auth;
        QVERIFY(!auth.authenticate(session.client, &error));
        QCOMPARE(error, u"Карта не подключена"_s);
        QVERIFY(session.sim.stop());
        QCOMPARE(nkmRequests(session.sim), QList<QByteArray>());
    }

    // Only a card that the module counts as inserted is taken out of it.
    void ejectOnlyAnInsertedCard_data()
    {
        QTest::addColumn<bool>("connected");
        QTest::addColumn<int>("flags");
        QTest::addColumn<QStringList>("nkmCommands");
        QTest::newRow("inserted") << true << 0x20 << texts({"41", "32"});
        QTest::newRow("flags without 0x20") << true << 0xDF << QStringList();
        QTest::newRow("not connected") << false << 0x20 << QStringList();
    }

    void ejectOnlyAnInsertedCard()
    {
        QFETCH(bool, connected);
        QFETCH(int, flags);
        QFETCH(QStringList, nkmCommands);
        ModuleSession session({u"--verbose"_s});
        QString error;
        QVERIFY2(session.open(&error), qPrintable(error));
        ExternalCardAuth auth;
        auth.data().connected = connected;
        auth.data().nkmFlags = static_cast<quint8>(flags);
        QVERIFY2(auth.eject(session.client, &error), qPrintable(error));
        QVERIFY(session.sim.stop());
        QCOMPARE(nkmCommandNames(nkmRequests(session.sim)), nkmCommands);
    }

    void cryptoModuleReplies_data()
    {
        QTest::addColumn<QStringList>("sim");
        QTest::addColumn<QByteArray>("command");
        QTest::addColumn<QString>("error");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("reply");
        QTest::newRow("unknown command") << QStringList() << QByteArray::fromHex("77")
                                         << u"СКЗИ: неожиданный SID ответа 0x7F"_s << 0 << QByteArray();
        QTest::newRow("the state") << QStringList() << QByteArray::fromHex("32") << QString() << 0
                                   << QByteArray(4, '\0');
        QTest::newRow("two pending replies just prolong the wait")
            << QStringList{u"--pending"_s, u"2"_s} << QByteArray::fromHex("32") << QString() << 0
            << QByteArray(4, '\0');
        QTest::newRow("fewer than three data bytes")
            << QStringList{u"--nkm-reply"_s, u"32=0100"_s} << QByteArray::fromHex("32")
            << u"СКЗИ вернул короткий ответ на 0x32"_s << 0 << QByteArray();
        QTest::newRow("a length of 0")
            << QStringList{u"--nkm-reply"_s, u"4B=000000"_s} << QByteArray::fromHex("4B")
            << u"СКЗИ вернул повреждённый ответ на 0x4B"_s << 0 << QByteArray();
        QTest::newRow("less data than the length")
            << QStringList{u"--nkm-reply"_s, u"4B=030000AA"_s} << QByteArray::fromHex("4B")
            << u"СКЗИ вернул повреждённый ответ на 0x4B"_s << 0 << QByteArray();
        QTest::newRow("the reply is the length less the status")
            << QStringList{u"--nkm-reply"_s, u"4B=0200113344"_s} << QByteArray::fromHex("4B") << QString()
            << 0x11 << QByteArray::fromHex("33");
        QTest::newRow("the length low byte first")
            << QStringList{u"--nkm-reply"_s, u"49=010100"_s + QString(512, QLatin1Char('E'))}
            << QByteArray::fromHex("4900") << QString() << 0 << QByteArray(256, '\xEE');
    }

    void cryptoModuleReplies()
    {
        QFETCH(QStringList, sim);
        QFETCH(QByteArray, command);
        QFETCH(QString, error);
        QFETCH(int, status);
        QFETCH(QByteArray, reply);
        ModuleSession session(sim);
        QString failure;
        QVERIFY2(session.open(&failure), qPrintable(failure));
        ExternalCardAuth auth;
        quint8 replyStatus = 0xFF;
        QByteArray replyBytes;
        const qsizetype before = journal().size();
        QCOMPARE(auth.sendNkmCommand(session.client, static_cast<quint8>(command.at(0)), command.mid(1),
                                     replyStatus, replyBytes, &failure),
                 error.isEmpty());
        if (error.isEmpty()) {
            QCOMPARE(replyStatus, quint8(status));
            QCOMPARE(replyBytes.toHex(), reply.toHex());
        } else {
            QCOMPARE(failure, error);
            QCOMPARE(cardRecordsSince(before), QStringList{warning(error)});
        }
        QVERIFY(session.sim.stop());
    }

    void downloadWithTheExternalCardFailsClearly()
    {
        SimulatorProcess sim;
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        tachoria::download::DownloadSettings settings;
        settings.portName = sim.link();
        settings.cardReaderName = kReader;
        settings.cardPin = u"1234"_s;
        tachoria::download::DownloadOptions options;
        options.card = true;
        options.authenticateCard = true;
        const std::atomic_bool stop{false};
        const auto result = DownloadWorkflow::run(settings, options, stop);
        QVERIFY(!result.success);
        QCOMPARE(result.errorText, u"Не подключена карта: 0x0000"_s);
        QVERIFY(sim.stop());
    }
};

QTEST_GUILESS_MAIN(TestExternalCardAuth)
#include "test_external_card_auth.moc"
