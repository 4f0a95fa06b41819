// The edge cases of the driver-card files and of the ASN.1 reader.
#include "dataset_columns.h"
#include "ddd/ddd_decoder.h"
#include "tools/dddgen/ddd_generator.h"

#include <QTest>
#include <QTimeZone>

using namespace tachoria::ddd;
using namespace tachoria::ddd::test;
using namespace tachoria::dddgen;
using namespace Qt::StringLiterals;

namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

QString identification(const DddReport& report, const QString& description)
{
    for (const QVariantMap& row : report.cardIdentification) {
        if (row.value(u"description"_s) == description)
            return row.value(u"value"_s).toString();
    }
    return QString();
}

} // namespace

class TestDddCardAndAsn1Edges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eventOfAnUnnamedTypeShowsItsCode()
    {
        DriverCardDescription description = sampleDriverCard(1);
        Event unknown = description.events.first();
        unknown.type = 11;
        description.events.insert(1, unknown);
        const DddReport report = Decoder::decode(writeDriverCard(description), u"card.ddd"_s);
        QCOMPARE(column(report.events, u"eventType"_s),
                 QStringList({u"Вставка карты во время движения"_s, u"НЕИЗВЕСТНОЕ СОБЫТИЕ (0X0B)"_s,
                              u"Превышение скорости"_s}));
    }

    void faultsStopAtAThousand()
    {
        DriverCardDescription description = sampleDriverCard(1);
        const Event fault = description.faults.first();
        description.faults = QList<Event>(1001, fault);
        const DddReport report = Decoder::decode(writeDriverCard(description), u"card.ddd"_s);
        QCOMPARE(report.faults.size(), 1000);
    }

    void birthDateOfZerosIsEmpty()
    {
        DriverCardDescription description = sampleDriverCard(1);
        description.birthDate = QDate();
        const DddReport report = Decoder::decode(writeDriverCard(description), u"card.ddd"_s);
        QCOMPARE(report.birthDate, QString());
        QCOMPARE(identification(report, u"cardHolderBirthDate"_s), QString());
        QCOMPARE(identification(report, u"cardHolderPreferredLanguage"_s), u"ru"_s);
    }

    // A file cut short has the rows of the fields it holds whole.
    void shortApplicationIdentification()
    {
        const DddReport report =
            Decoder::decode(hex("000200000A") + "ICC DATA.." + hex("0501000003 010100"), u"card.ddd"_s);
        QCOMPARE(column(report.applicationIdentification, u"description"_s),
                 QStringList({u"typeOfTachographCardID"_s, u"cardStructureVersion"_s}));
    }

    void shortIccFileGetsOneRow()
    {
        const QByteArray bytes = hex("000200000A") + QByteArray("ICC DATA..");
        const DddReport report = Decoder::decode(bytes, u"card.ddd"_s);
        QCOMPARE(report.cardIcc.size(), 1);
        QCOMPARE(report.cardIcc.first().value(u"name"_s).toString(), u"ICC"_s);
        QCOMPARE(report.cardIcc.first().value(u"decodedText"_s).toString(), u"ICC DATA.."_s);
        QCOMPARE(report.blockRows().first().toMap().value(u"description"_s).toString(),
                 u"Найден по структурированному формату"_s);
    }

    void asn1Structures_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("paths");
        QTest::addColumn<QStringList>("values");
        QTest::newRow("first 0x30 at offset 7")
            << QByteArray("ABCDEFG") + hex("3006020105020107") << QStringList({u"0"_s, u"0.0"_s, u"0.1"_s})
            << QStringList({u"5"_s, u"5"_s, u"7"_s});
        QTest::newRow("a 0x30 inside a root is no second root")
            << hex("00") + hex("30083006020105020107")
            << QStringList({u"0"_s, u"0.0"_s, u"0.0.0"_s, u"0.0.1"_s})
            << QStringList({u"5"_s, u"5"_s, u"5"_s, u"7"_s});
        QTest::newRow("invalid UTF-8 gives no text")
            << hex("00") + hex("30050403FFFEFD") << QStringList({u"0"_s, u"0.0"_s})
            << QStringList({QString(), QString()});
        QTest::newRow("four bytes read as a time")
            << hex("00") + hex("3006040465E50F00") << QStringList({u"0"_s, u"0.0"_s})
            << QStringList({u"04.03.2024 00:00:00"_s, u"04.03.2024 00:00:00"_s});
        QTest::newRow("a long length at offset 0")
            << hex("308106020101020102") << QStringList({u"0"_s, u"0.0"_s, u"0.1"_s})
            << QStringList({u"1"_s, u"1"_s, u"2"_s});
        QTest::newRow("a constructed octet string is no root")
            << hex("00240604044142434400") << QStringList() << QStringList();
        QTest::newRow("indefinite sequence without its end is no root")
            << hex("00") + hex("3080020105020107") << QStringList() << QStringList();
        QTest::newRow("an object identifier and a time")
            << hex("00") + hex("3017") + hex("06062A864886F70D") + hex("170D3234303330343132303030305A")
            << QStringList({u"0"_s, u"0.0"_s, u"0.1"_s})
            << QStringList({u"04.03.2024 12:00:00"_s, QString(), u"04.03.2024 12:00:00"_s});
    }

    void asn1Structures()
    {
        QFETCH(QByteArray, bytes);
        const DddReport report = Decoder::decode(bytes, u"any.bin"_s);
        QCOMPARE(report.fileType, DddFileType::Unknown);
        QTEST(column(report.asn1Fields, u"path"_s), "paths");
        QTEST(column(report.asn1Fields, u"value"_s), "values");
        if (QTest::currentDataTag() == QByteArray("an object identifier and a time"))
            QCOMPARE(column(report.asn1Fields, u"oid"_s).at(1), u"1.2.840.113549"_s);
    }

    // Every element of one structure in full: types, texts, numbers, an object identifier whole and one
    // cut short, a set, a time, and the context tags of an identity with their bounds (a version of 300
    // is none, a surname of 80 letters is one, a tag of 11 names nothing).
    void asn1RowsInFull()
    {
        const DddReport report = Decoder::decode(
            QByteArray::fromHex(
                "003081a10101ff0202ff38040341424306032a864806022a8131020500170d3234303330343132303030305aa104"
                "0202012ca55213505858585858585858585858585858585858585858585858585858585858585858585858585858"
                "585858585858585858585858585858585858585858585858585858585858585858585858585858585858a70c130a"
                "41424331323334353637ab0f170d3234303330343132303030305a"),
            u"any.bin"_s);
        QStringList rows;
        for (const QVariantMap& row : report.asn1Fields) {
            QStringList entries;
            for (auto it = row.cbegin(); it != row.cend(); ++it) {
                if (it.key() != u"hex"_s && it.key() != u"normalizedValue"_s)
                    entries.append(it.key() + u'=' + it.value().toString());
            }
            rows.append(entries.join(u';'));
        }
        QCOMPARE(
            rows,
            QStringList(
                {u"boolean=;class=UNIVERSAL;constructed=Да;integer=;isIndefiniteLength=false;length=161;offset=1;oid=;path=0;rawTagClass=0;signedInteger=;tag=16;type=SEQUENCE;value=true"_s,
                 u"boolean=true;class=UNIVERSAL;constructed=Нет;integer=;isIndefiniteLength=false;length=1;offset=4;oid=;path=0.0;rawTagClass=0;signedInteger=;tag=1;type=BOOLEAN;value=true"_s,
                 u"boolean=;class=UNIVERSAL;constructed=Нет;integer=65336;isIndefiniteLength=false;length=2;offset=7;oid=;path=0.1;rawTagClass=0;signedInteger=-200;tag=2;type=INTEGER;value=65336"_s,
                 u"boolean=;class=UNIVERSAL;constructed=Нет;integer=;isIndefiniteLength=false;length=3;offset=11;oid=;path=0.2;rawTagClass=0;signedInteger=;tag=4;type=OCTET STRING;value=ABC"_s,
                 u"boolean=;class=UNIVERSAL;constructed=Нет;integer=;isIndefiniteLength=false;length=3;offset=16;oid=1.2.840;path=0.3;rawTagClass=0;signedInteger=;tag=6;type=OBJECT IDENTIFIER;value="_s,
                 u"boolean=;class=UNIVERSAL;constructed=Нет;integer=;isIndefiniteLength=false;length=2;offset=21;oid=;path=0.4;rawTagClass=0;signedInteger=;tag=6;type=OBJECT IDENTIFIER;value="_s,
                 u"boolean=;class=UNIVERSAL;constructed=Да;integer=;isIndefiniteLength=false;length=2;offset=25;oid=;path=0.5;rawTagClass=0;signedInteger=;tag=17;type=SET;value="_s,
                 u"boolean=;class=UNIVERSAL;constructed=Нет;integer=;isIndefiniteLength=false;length=0;offset=27;oid=;path=0.5.0;rawTagClass=0;signedInteger=;tag=5;type=NULL;value="_s,
                 u"boolean=;class=UNIVERSAL;constructed=Нет;integer=;isIndefiniteLength=false;length=13;offset=29;oid=;path=0.6;rawTagClass=0;semanticField=candidate.dateTime;signedInteger=;tag=23;type=UTC TIME;value=04.03.2024 12:00:00"_s,
                 u"boolean=;class=CONTEXT[2];constructed=Да;integer=;isIndefiniteLength=false;length=4;offset=44;oid=;path=0.7;rawTagClass=2;semanticField=vendor.context[1];signedInteger=;tag=1;type=context[1];value=300"_s, u"boolean=;class=UNIVERSAL;constructed=Нет;integer=300;isIndefiniteLength=false;length=2;offset=46;oid=;path=0.7.0;rawTagClass=0;signedInteger=300;tag=2;type=INTEGER;value=300"_s, u"boolean=;class=CONTEXT[2];constructed=Да;integer=;isIndefiniteLength=false;length=82;offset=50;oid=;path=0.8;rawTagClass=2;semanticField=vendor.context[5];signedInteger=;tag=5;type=context[5];value=XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX"_s, u"boolean=;class=UNIVERSAL;constructed=Нет;integer=;isIndefiniteLength=false;length=80;offset=52;oid=;path=0.8.0;rawTagClass=0;signedInteger=;tag=19;type=PRINTABLE STRING;value=XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX"_s, u"boolean=;class=CONTEXT[2];constructed=Да;integer=;isIndefiniteLength=false;length=12;offset=134;oid=;path=0.9;rawTagClass=2;semanticField=candidate.identifier;signedInteger=;tag=7;type=context[7];value=ABC1234567"_s, u"boolean=;class=UNIVERSAL;constructed=Нет;integer=;isIndefiniteLength=false;length=10;offset=136;oid=;path=0.9.0;rawTagClass=0;semanticField=candidate.identifier;signedInteger=;tag=19;type=PRINTABLE STRING;value=ABC1234567"_s, u"boolean=;class=CONTEXT[2];constructed=Да;integer=;isIndefiniteLength=false;length=15;offset=148;oid=;path=0.10;rawTagClass=2;semanticField=candidate.dateTime;signedInteger=;tag=11;type=context[11];value=04.03.2024 12:00:00"_s,
                 u"boolean=;class=UNIVERSAL;constructed=Нет;integer=;isIndefiniteLength=false;length=13;offset=150;oid=;path=0.10.0;rawTagClass=0;semanticField=candidate.dateTime;signedInteger=;tag=23;type=UTC TIME;value=04.03.2024 12:00:00"_s,
                 u"class=CONTEXT[2];constructed=Да;path=0.8;semanticField=driverSurname;tag=5;type=ASN.1: driverSurname;value=XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX"_s,
                 u"class=CONTEXT[2];constructed=Да;path=0.9;semanticField=candidate.identifier;tag=7;type=ASN.1: cardNumber;value=ABC1234567"_s}));
        QCOMPARE(column(report.asn1Fields, u"hex"_s).at(1), u"FF"_s);
        QCOMPARE(column(report.asn1Fields, u"hex"_s).last(), u"130A41424331323334353637"_s);
        QCOMPARE(column(report.asn1Fields, u"normalizedValue"_s), column(report.asn1Fields, u"value"_s));
        QCOMPARE(report.asn1Version, 0);
        QCOMPARE(report.driverSurname, QString(80, u'X'));
        QCOMPARE(report.cardNumber, u"ABC1234567"_s);
    }

    void asn1Times_data()
    {
        QTest::addColumn<int>("tag");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("expected");
        // Two-digit years: 00 to 49 are of the 2000s, 50 to 99 of the 1900s.
        QTest::newRow("24 is 2024") << 23 << QByteArray("240304120000Z") << u"04.03.2024 12:00:00"_s;
        QTest::newRow("49 is 2049") << 23 << QByteArray("491231235959Z") << u"31.12.2049 23:59:59"_s;
        QTest::newRow("50 is 1950") << 23 << QByteArray("500101000000Z") << u"01.01.1950 00:00:00"_s;
        QTest::newRow("99 is 1999") << 23 << QByteArray("991231235959Z") << u"31.12.1999 23:59:59"_s;
        QTest::newRow("29 February 2000") << 23 << QByteArray("000229060000Z") << u"29.02.2000 06:00:00"_s;
        QTest::newRow("without Z, first 12 characters")
            << 23 << QByteArray("2403041200003") << u"04.03.2024 12:00:00"_s;
        QTest::newRow("four-digit year") << 24 << QByteArray("19991231235959Z") << u"31.12.1999 23:59:59"_s;
        // The two-digit forms are tried first: a four-digit year that also reads as one is taken so.
        QTest::newRow("four-digit year read as two digits")
            << 24 << QByteArray("20101010101010Z") << u"10.10.2020 10:10:10"_s;
        // No time: the value falls back to the printable bytes.
        QTest::newRow("no valid month") << 23 << QByteArray("241304120000Z") << u"241304120000Z"_s;
        QTest::newRow("letters for a year") << 23 << QByteArray("AB0304120000Z") << u"AB0304120000Z"_s;
    }

    void asn1Times()
    {
        QFETCH(int, tag);
        QFETCH(QByteArray, text);
        const QByteArray time = char(tag) + QByteArray(1, char(text.size())) + text;
        const QByteArray bytes = hex("00") + char(0x30) + char(time.size()) + time;
        const DddReport report = Decoder::decode(bytes, u"any.bin"_s);
        QCOMPARE(column(report.asn1Fields, u"path"_s), QStringList({u"0"_s, u"0.0"_s}));
        QTEST(report.asn1Fields.at(1).value(u"value"_s).toString(), "expected");
    }

    void asn1StartsAreBounded_data()
    {
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<int>("fillers");
        QTest::addColumn<bool>("lastSeen");
        // Each filler is a 0x30 that starts nothing; the last structure needs a place of its own.
        QTest::newRow("64 starts") << hex("00") << 61 << true;
        QTest::newRow("65 starts") << hex("00") << 62 << false;
        // In a 7681 file the offset 2 is the first start and, holding 0x30, is listed once more.
        QTest::newRow("7681, 64 starts with the repeated one") << hex("7681") << 61 << true;
        QTest::newRow("7681, 65 starts with the repeated one") << hex("7681") << 62 << false;
    }

    void asn1StartsAreBounded()
    {
        QFETCH(QByteArray, head);
        QFETCH(int, fillers);
        QByteArray bytes = head + hex("3003020107");
        for (int i = 0; i < fillers; ++i)
            bytes += hex("30FF");
        bytes += hex("3003020109");
        const DddReport report = Decoder::decode(bytes, u"any.bin"_s);
        const QStringList values = column(report.asn1Fields, u"value"_s);
        QVERIFY(values.contains(u"7"_s));
        QTEST(values.contains(u"9"_s), "lastSeen");
    }

    void asn1Identity()
    {
        // [1] version 3, [5] a surname with digits, [2] a VIN, [2] a second VIN, [6] a first name.
        const QByteArray fields = hex("A103020103") + hex("A5051303") + "AB1" + hex("A2131311") +
                                  "XTA210990Y1234567" + hex("A2131311") + "WDB9634031L123456" +
                                  hex("A6061304") + "IVAN";
        const QByteArray bytes = hex("00") + char(0x30) + char(fields.size()) + fields;
        const DddReport report = Decoder::decode(bytes, u"any.bin"_s);
        QCOMPARE(report.asn1Identity.version, 3);
        QCOMPARE(report.asn1Version, 3);
        QCOMPARE(report.asn1Identity.vin, u"XTA210990Y1234567"_s);
        QCOMPARE(report.vin, u"XTA210990Y1234567"_s);
        QCOMPARE(report.asn1Identity.driverSurname, QString()); // listed, but not an identity
        QVERIFY(column(report.asn1Fields, u"value"_s).contains(u"AB1"_s));
        QCOMPARE(report.asn1Identity.driverFirstName, u"IVAN"_s);
        const QStringList types = column(report.asn1Fields, u"type"_s);
        QCOMPARE(types.count(u"ASN.1: vin"_s), 2);
        QCOMPARE(types.count(u"ASN.1: driverSurname"_s), 0);
        QVERIFY(column(report.asn1Fields, u"semanticField"_s).contains(u"candidate.vin"_s));
        QVERIFY(report.printableStrings.contains(u"WDB9634031L123456"_s));
    }

    void identityRowsPassTheBoundOfTheElements()
    {
        // A root of 5000 integers and a VIN behind them: the elements fill the 5000 rows, the VIN's
        // identity row still comes, and no later root is listed.
        QByteArray content;
        for (int i = 0; i < 5000; ++i)
            content += hex("020101");
        content += hex("A2131311") + "XTA210990Y1234567";
        const QByteArray root =
            hex("3082") + char(content.size() >> 8) + char(content.size() & 0xFF) + content;
        const DddReport report = Decoder::decode(hex("00") + root + hex("3003020109"), u"any.bin"_s);
        QCOMPARE(report.asn1Fields.size(), 5001);
        QCOMPARE(report.asn1Fields.at(4999).value(u"path"_s).toString(), u"0.4998"_s);
        QCOMPARE(report.asn1Fields.last().value(u"type"_s).toString(), u"ASN.1: vin"_s);
        QCOMPARE(report.asn1Fields.last().value(u"path"_s).toString(), u"0.5000"_s);
        QCOMPARE(report.asn1Identity.vin, u"XTA210990Y1234567"_s);
    }

    void boundedOnAFileOfSequenceBytes()
    {
        const DddReport report = Decoder::decode(QByteArray(100000, '\x30'), u"any.bin"_s);
        QVERIFY(report.asn1Fields.size() <= 5000);
        QCOMPARE(report.blocks.size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestDddCardAndAsn1Edges)
#include "test_ddd_card_asn1_edges.moc"
