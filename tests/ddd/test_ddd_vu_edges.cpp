// The edge cases of the vehicle-unit readers, on hand-made blocks and on generated files.
#include "ddd/ddd_decoder.h"
#include "ddd/ddd_fields.h"
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

// A 7602 block: a day header of 4 March 2024 (or `time`), then what follows.
DddReport activityBlock(const QByteArray& body, const QByteArray& time = hex("65E50F00"),
                        const QByteArray& odometer = hex("01D4C0"))
{
    DddReport report;
    report.fileType = DddFileType::Tachograph;
    DddBlock block;
    block.fileNumber = u"7602"_s;
    block.occurrence = 1;
    block.data = hex("7602") + time + odometer + body + QByteArray(128, '\x5A'); // and its signature
    block.length = int(block.data.size());
    report.blocks.append(block);
    Decoder::parseTachographData(report);
    return report;
}

QByteArray changes(int count, int minutes = 60)
{
    QByteArray bytes = QByteArray(1, '\0') + char(count);
    for (int i = 0; i < count; ++i)
        bytes += char(0x18 | ((minutes + i) >> 8)) + QByteArray(1, char((minutes + i) & 0xFF));
    return bytes;
}

QByteArray cardRecord(char surnameLetter)
{
    return char(0x05) + QByteArray(35, surnameLetter) + char(0x05) + QByteArray(35, 'B') + char(0x01) +
           char(0x2B) + QByteArray(16, '7') + QByteArray(129 - 90, '\0');
}

} // namespace

class TestDddVehicleUnitEdges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void activityBlocks_data()
    {
        QTest::addColumn<QByteArray>("time");
        QTest::addColumn<QByteArray>("odometer");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("days");
        QTest::addColumn<int>("cards");
        QTest::addColumn<QStringList>("times");
        QTest::newRow("day header of time 0 still has its changes")
            << hex("00000000") << hex("000010") << hex("0000") + changes(2) << 0 << 0
            << QStringList({u"01:00"_s, u"01:01"_s});
        QTest::newRow("1439 minutes kept, 1440 dropped")
            << hex("65E50F00") << hex("000010") << hex("0000") + hex("0002") + hex("1DA01D9F") << 1 << 0
            << QStringList{u"23:59"_s};
        QTest::newRow("120 changes are a count")
            << hex("65E50F00") << hex("000010") << hex("0000") + changes(120) << 1 << 0
            << QStringList(120, QString()).mid(0, 0);
        QTest::newRow("121 changes are not")
            << hex("65E50F00") << hex("000010") << hex("0000") + changes(121) << 1 << 0 << QStringList();
        QTest::newRow("count bytes 0x20 0x03 read three card records")
            << hex("65E50F00") << hex("000010")
            << hex("2003") + cardRecord('X') + cardRecord('Y') + cardRecord('Z') << 1 << 3 << QStringList();
    }

    void activityBlocks()
    {
        QFETCH(QByteArray, time);
        QFETCH(QByteArray, odometer);
        QFETCH(QByteArray, body);
        const DddReport report = activityBlock(body, time, odometer);
        QTEST(int(report.dayInformation.size()), "days");
        QTEST(int(report.cardIwData.size()), "cards");
        QFETCH(QStringList, times);
        QStringList found;
        for (const QVariantMap& row : report.activityDaily)
            found.append(row.value(u"timeOfChange"_s).toString());
        if (QTest::currentDataTag() == QByteArray("120 changes are a count")) {
            QCOMPARE(found.size(), 120);
            QCOMPARE(found.first(), u"01:00"_s);
        } else {
            QCOMPARE(found, times);
        }
        QCOMPARE(report.activityChanges.size(), report.activityDaily.size());
    }

    void cardRecordWithoutSurnameMarker()
    {
        // Ten junk bytes and no 0x05 among the first eleven: they stay skipped, and the first names,
        // the card type and the nation are read behind them.
        const QByteArray record = QByteArray(10, '\x11') + char(0x00) + char(0x05) + QByteArray(35, 'B') +
                                  char(0x02) + char(0x2B) + QByteArray(16, '7') + QByteArray(129 - 65, '\0');
        QCOMPARE(record.size(), 129);
        const DddReport report = activityBlock(hex("0001") + record);
        QCOMPARE(report.cardIwData.size(), 1);
        const QVariantMap row = report.cardIwData.first();
        QVERIFY(!row.contains(u"cardHolderSurname"_s));
        QCOMPARE(row.value(u"cardHolderFirstNames"_s).toString(), QString(35, u'B'));
        QCOMPARE(row.value(u"cardType"_s).toString(), u"Мастерская"_s);
        QCOMPARE(row.value(u"cardIssuingMemberState"_s).toString(), u"Российская Федерация"_s);
        QCOMPARE(row.value(u"driverCardNumber"_s).toString(), u"7777777777777777"_s);
    }

    void cardInsertionWithoutOdometer()
    {
        VehicleUnitDescription description = sampleVehicleUnit(1);
        description.days.first().insertions.first().odometerIn = 0xFFFFFF;
        description.days.first().insertions.first().odometerOut = 0xFFFFFF;
        const DddReport report = Decoder::decode(writeVehicleUnit(description), u"vu.ddd"_s);
        QCOMPARE(report.cardIwData.size(), 1);
        const QVariantMap row = report.cardIwData.first();
        QCOMPARE(row.value(u"vehicleOdometerValueAtInsertion"_s).toInt(), 0);
        QCOMPARE(row.value(u"vehicleOdometerValueAtWithdrawal"_s).toInt(), 0);
        QCOMPARE(row.value(u"cardSlot"_s).toString(), u"Водитель"_s); // the fields behind are still in place
    }

    void missingOdometerCountsAsZero()
    {
        const DddReport report = activityBlock(hex("0000"), hex("65E50F00"), hex("FFFFFF"));
        QCOMPARE(report.dayInformation.size(), 1);
        QCOMPARE(report.dayInformation.first().value(u"odometerValueMidnight"_s).toInt(), 0);
        QCOMPARE(report.dayInformation.first().value(u"timeReal"_s).toString(), u"04.03.2024 0:00:00"_s);
    }

    void speedRecordWithoutReadings()
    {
        VehicleUnitDescription description = sampleVehicleUnit(1);
        description.speed = {
            {QDateTime(QDate(2024, 3, 4), QTime(7, 0), QTimeZone::utc()), QList<int>(60, 0xFF)}};
        const DddReport report = Decoder::decode(writeVehicleUnit(description), u"vu.ddd"_s);
        QCOMPARE(report.detailedSpeed.size(), 1);
        const QVariantMap row = report.detailedSpeed.first();
        QCOMPARE(row.value(u"validSpeedCount"_s).toInt(), 0);
        QCOMPARE(row.value(u"averageSpeed"_s).toDouble(), 0.0);
        QCOMPARE(row.value(u"maxSpeed"_s).toInt(), 0);
        QCOMPARE(report.charts.size(), 60);
        QCOMPARE(report.charts.last().value(u"value"_s).toInt(), 0);
        QCOMPARE(report.maxSpeed, 0);
    }

    void calibrationRegistration_data()
    {
        QTest::addColumn<int>("codePage");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("nation");
        QTest::addColumn<QString>("number");
        QTest::newRow("Latin number") << 1 << u"A123BC77"_s << u"Российская Федерация"_s << u"A123BC77"_s;
        QTest::newRow("Russian plate in code page 5")
            << 5 << u"А123ВС177"_s << u"Российская Федерация"_s << u"А123ВС177"_s;
        QTest::newRow("a word in code page 5 names the region")
            << 5 << u"МОСКВА"_s << u"МОСКВА"_s << u"?????????????"_s;
        QTest::newRow("question marks keep the defaults")
            << 1 << u"?????????????"_s << u"Российская Федерация"_s << u"?????????????"_s;
    }

    void calibrationRegistration()
    {
        VehicleUnitDescription description = sampleVehicleUnit(1);
        QFETCH(int, codePage);
        QFETCH(QString, text);
        description.calibrations.first().registrationCodePage = codePage;
        description.calibrations.first().registration = text;
        const DddReport report = Decoder::decode(writeVehicleUnit(description), u"vu.ddd"_s);
        QCOMPARE(report.calibrationData.size(), 1);
        QTEST(report.calibrationData.first().value(u"vehicleRegistrationNation"_s).toString(), "nation");
        QTEST(report.calibrationData.first().value(u"vehicleRegistrationNumber"_s).toString(), "number");
    }

    void calibrationsStartAtTheLegalForm()
    {
        VehicleUnitDescription description = sampleVehicleUnit(1);
        Calibration other = description.calibrations.first();
        other.workshopName = u"АВТОСЕРВИС"_s;
        other.purpose = 3;
        description.calibrations.prepend(other);
        const DddReport report = Decoder::decode(writeVehicleUnit(description), u"vu.ddd"_s);
        QCOMPARE(report.calibrationData.size(), 1);
        QCOMPARE(report.calibrationData.first().value(u"tachoriaName"_s).toString(), u"ООО ТАХОСЕРВИС"_s);
        description.calibrations.swapItemsAt(0, 1); // now the legal form leads and both are read
        QCOMPARE(Decoder::decode(writeVehicleUnit(description), u"vu.ddd"_s).calibrationData.size(), 2);
    }

    void fieldReaders()
    {
        // ISO-8859-5 as these units write it, with the one-off upper range.
        QCOMPARE(readCalibrationText(hex("B0BFEF A1 F0 20 41 7F 80"), 0, 9), u"АПяЁр A\x7F?"_s);
        QCOMPARE(readWindows1251Text(hex("C0E0A8B80020"), 0, 6), u"АаЁё  "_s);
        QCOMPARE(readFixedText(hex("0041054200"), 0, 5), u"A B"_s);
        QCOMPARE(readFixedText(hex("4142"), 1, 2), QString());
        QCOMPARE(readAsciiWithReplacement(hex("41004207"), 0, 4), u"AB?"_s);
        QCOMPARE(countryName(5), u"Российская Федерация"_s);
        QCOMPARE(countryName(0x2B), u"Российская Федерация"_s);
        QCOMPARE(countryName(0x2C), u"0X2C"_s);
        QCOMPARE(eventName(0x90), u"СОБЫТИЕ ПРОИЗВОДИТЕЛЯ (0X90)"_s);
        QCOMPARE(faultName(55), u"Неисправность тахографа: Неисправность дисплея"_s);
        QCOMPARE(formatMinutes(-5), u"00:00"_s);
        QCOMPARE(formatUnix(0), QString());
        QCOMPARE(formatUnix(946684799), QString()); // 1999 is out of range here
        QCOMPARE(formatUnixCSharp(946684799), u"31.12.1999 23:59:59"_s);
        // Plausible in both byte orders: big-endian 2000, little-endian 2025; the nearer to today wins.
        QCOMPARE(vuTime(hex("3A000068"), 0), u"16.04.2025 19:08:42"_s);
        QCOMPARE(vuTime(hex("65E50F00"), 0), u"04.03.2024 0:00:00"_s);
        QCOMPARE(vuTime(hex("000000"), 0), u"01.01.0001 0:00:00"_s);
        QCOMPARE(vuBeTime(hex("000FE565"), 0, u"dd.MM.yyyy"_s), u"04.03.2024"_s);
    }
};

QTEST_GUILESS_MAIN(TestDddVehicleUnitEdges)
#include "test_ddd_vu_edges.moc"
