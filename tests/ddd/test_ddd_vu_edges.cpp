// The edge cases of the vehicle-unit readers, on hand-made blocks and on generated files.
#include "dataset_columns.h"
#include "ddd/ddd_decoder.h"
#include "ddd/ddd_fields.h"
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

    void cardRecordAtTheStandardLayout()
    {
        // Names in their own code pages, the card, a BCD expiry, insertion, slot 1, withdrawal, the
        // previous vehicle and a manual entry.
        const QByteArray record = hex("02") + "KOWALSKI" + QByteArray(27, ' ') + hex("07") + "\xC1\xD3\xC7" +
                                  QByteArray(32, ' ') + hex("011C") + "I123456789012345" + hex("20261130") +
                                  hex("65E59CA0 0186A0 01 65E5D4E0 0186F0 11 01") + "AB-1234" +
                                  QByteArray(6, ' ') + hex("65E50F00 01");
        QCOMPARE(record.size(), 129);
        const DddReport report = activityBlock(hex("0001") + record + hex("0000 00 0000"));
        QCOMPARE(report.cardIwData.size(), 1);
        const QVariantMap row = report.cardIwData.first();
        const QVariantMap expected{{u"cardHolderSurname"_s, u"KOWALSKI"_s},
                                   {u"cardHolderFirstNames"_s, u"ΑΣΗ"_s},
                                   {u"cardType"_s, u"Водитель"_s},
                                   {u"cardIssuingMemberState"_s, u"Исландия"_s},
                                   {u"driverCardNumber"_s, u"I123456789012345"_s},
                                   {u"cardExpiryDate"_s, u"30.11.2026"_s},
                                   {u"cardInsertionDate"_s, u"04.03.2024 10:04:16"_s},
                                   {u"vehicleOdometerValueAtInsertion"_s, 100000},
                                   {u"cardSlot"_s, u"Сопряжённый водитель"_s},
                                   {u"cardWithdrawalTime"_s, u"04.03.2024 14:04:16"_s},
                                   {u"vehicleOdometerValueAtWithdrawal"_s, 100080},
                                   {u"prevVehicleRegistrationNation"_s, u"Франция"_s},
                                   {u"prevVehicleRegistrationNumber"_s, u"AB-1234"_s},
                                   {u"prevCardWithdrawalTime"_s, u"04.03.2024 0:00:00"_s},
                                   {u"manualInputFlag"_s, u"Да"_s}};
        for (auto it = expected.cbegin(); it != expected.cend(); ++it)
            QCOMPARE(row.value(it.key()).toString(), it.value().toString());
    }

    // A day the layout does not fit is read as before: its places follow a count of one, 28 bytes each.
    void placesOfADamagedDay()
    {
        const QByteArray place = hex("012B") + "RUD0000012345670" + hex("65E51D10 00 2B 00 000010");
        const DddReport report = activityBlock(hex("0000") + changes(1) + hex("01") + place + place);
        QCOMPARE(column(report.placeDailyWorkPeriod, u"entryTime"_s),
                 QStringList(2, u"04.03.2024 1:00:00"_s));
    }

    // An events block that ends behind its over-speed control: the control is read.
    void overSpeedControlAtTheBlocksEnd()
    {
        DddReport report;
        report.fileType = DddFileType::Tachograph;
        DddBlock block;
        block.fileNumber = u"7603"_s;
        block.data = hex("7603 00 00 65E50F00 00000000 01") + QByteArray(128, '\x5A');
        report.blocks.append(block);
        Decoder::parseTachographData(report);
        QCOMPARE(column(report.overSpeedingControl, u"value"_s),
                 QStringList({u"04.03.2024 0:00:00"_s, u"01.01.1970 0:00:00"_s, u"1"_s}));
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
        // The number is read in its own code page; the nation is the byte before it.
        QTest::newRow("Latin number") << 1 << u"A123BC77"_s << u"Российская Федерация"_s << u"A123BC77"_s;
        QTest::newRow("Russian plate in code page 5")
            << 5 << u"А123ВС177"_s << u"Российская Федерация"_s << u"А123ВС177"_s;
        QTest::newRow("a word in code page 5 is a number too")
            << 5 << u"МОСКВА"_s << u"Российская Федерация"_s << u"МОСКВА"_s;
        QTest::newRow("Greek in code page 7")
            << 7 << u"ΑΒΕ-1234"_s << u"Российская Федерация"_s << u"ΑΒΕ-1234"_s;
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

    void calibrationsBehindTheirCount()
    {
        VehicleUnitDescription description = sampleVehicleUnit(1);
        Calibration other = description.calibrations.first();
        other.workshopName = u"АВТОСЕРВИС"_s;
        other.purpose = 3;
        description.calibrations.prepend(other);
        QByteArray bytes = writeVehicleUnit(description);
        QCOMPARE(column(Decoder::decode(bytes, u"vu.ddd"_s).calibrationData, u"tachoriaName"_s),
                 QStringList({u"АВТОСЕРВИС"_s, u"ООО ТАХОСЕРВИС"_s}));
        // A count that promises more than the block holds: the records are searched by the legal form.
        const qsizetype count = bytes.size() - 128 - 2 * 167 - 1;
        QCOMPARE(bytes.at(count), char(2));
        bytes[count] = char(9);
        QCOMPARE(column(Decoder::decode(bytes, u"vu.ddd"_s).calibrationData, u"tachoriaName"_s),
                 QStringList{u"ООО ТАХОСЕРВИС"_s});
    }

    void fieldReaders()
    {
        // ISO-8859-5 as these units write it, with the one-off upper range.
        QCOMPARE(readCalibrationText(hex("B0BFEF A1 F0 20 41 7F 80"), 0, 9), u"АПяЁр A\x7F?"_s);
        QCOMPARE(readWindows1251Text(hex("C0E0A8B8002099"), 0, 7), u"АаЁё  ?"_s);
        QCOMPARE(byteAt(hex("01"), 1), 0);
        QCOMPARE(byteAt(hex("01"), -1), 0);
        QCOMPARE(hexText(hex("0102"), 3, 2), QString());
        QCOMPARE(formatUnix(946684800), u"01.01.2000 00:00:00"_s);
        QCOMPARE(readFixedText(hex("0041054200"), 0, 5), u"A B"_s);
        QCOMPARE(readFixedText(hex("4142"), 1, 2), QString());
        QCOMPARE(readAsciiWithReplacement(hex("41004207"), 0, 4), u"AB?"_s);
        QCOMPARE(readName(hex("0D 4DFC6C6C6572 2020 00FF"), 0, 11), u"Müller"_s);
        QCOMPARE(readName(hex("05 B8B2B0BD 01 1F 20"), 0, 8), u"ИВАН"_s); // control characters never show
        QCOMPARE(readName(hex("00 41C1"), 0, 3), u"A"_s);                 // no code page: no upper half
        QCOMPARE(readBcdDate(hex("19790823"), 0), QDate(1979, 8, 23));
        QCOMPARE(readBcdDate(hex("1979082A"), 0), QDate());
        QCOMPARE(readBcdDate(hex("00000000"), 0), QDate());
        QCOMPARE(eventName(0x90), u"СОБЫТИЕ ПРОИЗВОДИТЕЛЯ (0X90)"_s);
        QCOMPARE(faultName(55), u"Неисправность тахографа: Неисправность дисплея"_s);
        QCOMPARE(formatMinutes(-5), u"00:00"_s);
        QCOMPARE(formatUnix(0), QString());
        QCOMPARE(formatUnix(946684799), QString()); // 1999 is out of range here
        QCOMPARE(formatUnixCSharp(946684799), u"31.12.1999 23:59:59"_s);
        // Big-endian as the standard has it, when that reading is no moment in the future; little-endian
        // then, or when the big-endian reading is no time at all.
        QCOMPARE(vuTime(hex("3A000068"), 0), u"01.11.2000 11:37:12"_s);
        QCOMPARE(vuTime(hex("65E50F00"), 0), u"04.03.2024 0:00:00"_s);
        QCOMPARE(vuTime(hex("000FE565"), 0), u"04.03.2024 0:00:00"_s);
        QCOMPARE(vuTime(hex("A09CE565"), 0), u"04.03.2024 10:04:16"_s);
        QCOMPARE(vuTime(hex("000000"), 0), u"01.01.0001 0:00:00"_s);
        QCOMPARE(vuBeTime(hex("000FE565"), 0, u"dd.MM.yyyy"_s), u"04.03.2024"_s);
    }
};

QTEST_GUILESS_MAIN(TestDddVehicleUnitEdges)
#include "test_ddd_vu_edges.moc"
