// The edge cases of the driver-card files and of the ASN.1 reader.
#include "ddd/ddd_decoder.h"
#include "tools/dddgen/ddd_generator.h"

#include <QTest>
#include <QTimeZone>

using namespace tachoria::ddd;
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

QStringList column(const DatasetRows& rows, const QString& key)
{
    QStringList values;
    for (const QVariantMap& row : rows)
        values.append(row.value(key).toString());
    return values;
}

} // namespace

class TestDddCardAndAsn1Edges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eventOfAnUnknownTypeIsSkipped()
    {
        DriverCardDescription description = sampleDriverCard(1);
        Event unknown = description.events.first();
        unknown.type = 11;
        description.events.insert(1, unknown);
        const DddReport report = Decoder::decode(writeDriverCard(description), u"card.ddd"_s);
        QCOMPARE(report.events.size(), 2);
        QCOMPARE(column(report.events, u"eventType"_s).last(), u"Превышение скорости"_s);
    }

    void faultsStopAtAThousand()
    {
        DriverCardDescription description = sampleDriverCard(1);
        const Event fault = description.faults.first();
        description.faults = QList<Event>(1001, fault);
        const DddReport report = Decoder::decode(writeDriverCard(description), u"card.ddd"_s);
        QCOMPARE(report.faults.size(), 1000);
    }

    void birthDateOfZeros()
    {
        DriverCardDescription description = sampleDriverCard(1);
        description.birthDate = QDate();
        const DddReport report = Decoder::decode(writeDriverCard(description), u"card.ddd"_s);
        QCOMPARE(report.birthDate, u"5 октября 1982 г."_s);
        QCOMPARE(identification(report, u"cardHolderBirthDate"_s), report.birthDate);
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
        QTest::newRow("indefinite sequence without its end is no root")
            << hex("00") + hex("3080020105020107") << QStringList() << QStringList();
        QTest::newRow("an object identifier and a time")
            << hex("00") + hex("3017") + hex("06062A864886F70D") + hex("170D3234303330343132303030305A")
            << QStringList({u"0"_s, u"0.0"_s, u"0.1"_s})
            << QStringList({u"04.03.1924 12:00:00"_s, QString(),
                            u"04.03.1924 12:00:00"_s}); // two-digit years read in the 1900s
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

    void boundedOnAFileOfSequenceBytes()
    {
        const DddReport report = Decoder::decode(QByteArray(100000, '\x30'), u"any.bin"_s);
        QVERIFY(report.asn1Fields.size() <= 5000);
        QCOMPARE(report.blocks.size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestDddCardAndAsn1Edges)
#include "test_ddd_card_asn1_edges.moc"
