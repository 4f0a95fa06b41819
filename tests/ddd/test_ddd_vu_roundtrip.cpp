// Vehicle-unit files written by the generator, decoded and compared with their description.
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

QStringList tags(const DddReport& report)
{
    QStringList result;
    for (const DddBlock& block : report.blocks)
        result.append(block.fileNumber);
    return result;
}

} // namespace

class TestDddVehicleUnitRoundTrip : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void identityAndTechnicalData()
    {
        const VehicleUnitDescription description = sampleVehicleUnit(7);
        const DddReport report = Decoder::decode(writeVehicleUnit(description), u"vu.ddd"_s);
        QCOMPARE(report.fileType, DddFileType::Tachograph);
        QCOMPARE(report.vin, description.vin);
        QCOMPARE(report.registrationNumber, u"A123BC77"_s);
        QCOMPARE(report.vehicleRegistrationNation, u"Российская Федерация"_s);
        QCOMPARE(column(report.vehicleIdentification, u"value"_s),
                 QStringList({description.vin, u"Российская Федерация"_s, u"A123BC77"_s}));
        QCOMPARE(value(report.currentDateTime, u"currentDateTime"_s), u"11.03.2024 10:00:00"_s);
        QCOMPARE(value(report.downloadablePeriod, u"minDownloadableTime"_s), u"04.03.2024 0:00:00"_s);
        QCOMPARE(value(report.insertedCardType, u"driverCardSlot"_s), u"Driver Card"_s);
        QCOMPARE(value(report.insertedCardType, u"co-driverCardSlot"_s), u"No card inserted"_s);
        QCOMPARE(value(report.downloadActivity, u"driverCardNumber"_s), u"RUD0000012345670"_s);
        QCOMPARE(value(report.downloadActivity, u"companyOrTachoriaName"_s), u"ООО ТРАНСЛОГИСТИК"_s);
        QCOMPARE(column(report.companyLocks, u"recordIndex"_s), QStringList{u"0"_s});
        QCOMPARE(report.controlActivity.size(), 0);

        QCOMPARE(value(report.vuIdentification, u"vuManufacturerName"_s), u"ООО ТАХОРИЯ"_s);
        QCOMPARE(value(report.vuIdentification, u"vuPartNumber"_s), u"TCH-3.0"_s);
        QCOMPARE(value(report.vuIdentification, u"vuSerialNumber"_s), u"1234567"_s);
        QCOMPARE(value(report.vuIdentification, u"vuManufacturerAddress"_s), u"МОСКВА"_s);
        QCOMPARE(value(report.vuIdentification, u"monthYear"_s), u"1223"_s);
        QCOMPARE(value(report.vuIdentification, u"type"_s), u"Vehicle Unit"_s);
        QCOMPARE(value(report.vuIdentification, u"vuSoftwareVersion"_s), u"0203"_s);
        QCOMPARE(value(report.vuIdentification, u"vuManufacturingDate"_s), u"14.02.2023"_s);
        QCOMPARE(value(report.sensorPaired, u"sensorSerialNumber"_s), u"7654321"_s);
        QCOMPARE(value(report.sensorPaired, u"type"_s), u"Motion Sensor"_s);
        QCOMPARE(value(report.sensorPaired, u"sensorApprovalNumber"_s), u"e1-0099"_s);
        QCOMPARE(value(report.sensorPaired, u"sensorPairingDateFirst"_s), u"01.03.2023 9:00:00"_s);
        QCOMPARE(column(report.sensorPaired, u"hex"_s).last().size(), 2 * 20);

        QCOMPARE(report.calibrationData.size(), 1);
        const QVariantMap calibration = report.calibrationData.first();
        const QVariantMap expected{{u"calibrationPurpose"_s, u"Периодическая проверка"_s},
                                   {u"calibrationPurposeEnglish"_s, u"Periodic Inspection"_s},
                                   {u"tachoriaName"_s, u"ООО ТАХОСЕРВИС"_s},
                                   {u"tachoriaCardNumber"_s, u"RUW0000000000042"_s},
                                   {u"tachoriaCardExpiryDate"_s, u"31.01.2026 0:00:00"_s},
                                   {u"vehicleIdentificationNumber"_s, description.vin},
                                   {u"vehicleRegistrationNation"_s, u"Российская Федерация"_s},
                                   {u"vehicleRegistrationNumber"_s, u"A123BC77"_s},
                                   {u"wVehicleCharacteristicConstant"_s, u"8000"_s},
                                   {u"iTyreCircumference"_s, u"3200"_s},
                                   {u"tyreSize"_s, u"315/80R22.5"_s},
                                   {u"authorisedSpeed"_s, u"90"_s},
                                   {u"oldOdometerValue"_s, u"11950"_s},
                                   {u"newOdometerValue"_s, u"11950"_s},
                                   {u"oldTimeValue"_s, u"01.02.2024 10:00:00"_s},
                                   {u"newTimeValue"_s, u"01.02.2024 10:10:00"_s},
                                   {u"nextCalibrationDate"_s, u"01.02.2026 0:00:00"_s}};
        for (auto it = expected.cbegin(); it != expected.cend(); ++it)
            QCOMPARE(calibration.value(it.key()).toString(), it.value().toString());
        QCOMPARE(report.totalCalibrations, 1);
        // The next calibration date lives in the calibration rows; no step of the unit's reading copies it
        // into the report's own field.
        QCOMPARE(report.nextCalibrationDate, QString());
        QCOMPARE(report.summary().value(u"nextCalibrationDate"_s).toString(), QString());
        QCOMPARE(report.dataStartDate, u"01.02.2024 10:00:00"_s);
        QCOMPARE(report.dataEndDate, u"10.03.2024 0:00:00"_s);
    }

    void days_data()
    {
        QTest::addColumn<int>("days");
        QTest::newRow("one day") << 1;
        QTest::newRow("a week") << 7;
        QTest::newRow("four weeks") << 28;
    }

    // Days one behind the other in a 7602 block, as a download writes them or a unit's own download does,
    // each read whole: its insertions, its changes on both slots, its places, its day in the analysis.
    void daysInOneActivityBlock_data()
    {
        QTest::addColumn<int>("daysPerBlock");
        QTest::addColumn<int>("blocks");
        QTest::newRow("one day a block") << 1 << 7;
        QTest::newRow("three days a block") << 3 << 3;
        QTest::newRow("the whole week in one block") << 7 << 1;
    }

    void daysInOneActivityBlock()
    {
        QFETCH(int, daysPerBlock);
        VehicleUnitDescription description = sampleVehicleUnit(7);
        description.daysPerActivityBlock = daysPerBlock;
        for (Day& day : description.days)
            day.changes.append({{0, Rest, false, true}, {480, Availability, true, true, true}});
        const DddReport report = Decoder::decode(writeVehicleUnit(description), u"vu.ddd"_s);
        QTEST(int(tags(report).count(u"7602"_s)), "blocks");
        QCOMPARE(column(report.dayInformation, u"timeReal"_s).size(), 7);
        QCOMPARE(column(report.dayInformation, u"timeReal"_s).last(), u"10.03.2024 0:00:00"_s);
        QCOMPARE(report.activityDaily.size(), 7 * 9);
        QCOMPARE(column(report.activityDaily, u"dayNo"_s).last(), u"7"_s);
        QCOMPARE(column(report.activityDaily, u"slot"_s).last(), u"Сопряжённый водитель"_s);
        QCOMPARE(report.cardIwData.size(), 7);
        QCOMPARE(report.placeDailyWorkPeriod.size(), 7);
        QCOMPARE(report.totalDays, 7);
        QCOMPARE(report.analysis.value(u"coDriver"_s)
                     .toMap()
                     .value(u"workingHours"_s)
                     .toMap()
                     .value(u"items"_s)
                     .toList()
                     .size(),
                 7);
    }

    void days()
    {
        QFETCH(int, days);
        const VehicleUnitDescription description = sampleVehicleUnit(days);
        const DddReport report = Decoder::decode(writeVehicleUnit(description), u"vu.ddd"_s);
        QStringList expectedTags{u"7601"_s};
        for (int day = 0; day < days; ++day)
            expectedTags.append(u"7602"_s);
        expectedTags << u"7603"_s << u"7604"_s << u"7605"_s;
        QCOMPARE(tags(report), expectedTags);
        QCOMPARE(report.blocks.at(days).occurrence, days); // one day a 7602 block, counted per tag
        QCOMPARE(report.blocks.at(days + 1).occurrence, 1);

        QCOMPARE(report.dayInformation.size(), days);
        QCOMPARE(column(report.dayInformation, u"timeReal"_s).last(),
                 description.days.last().date.toString(u"dd.MM.yyyy"_s) + u" 0:00:00"_s);
        // The distance the midnight readings span.
        QCOMPARE(report.totalDistanceKm,
                 int(description.days.last().odometerMidnight - description.days.first().odometerMidnight));
        QCOMPARE(column(report.dayInformation, u"odometerValueMidnight"_s).last(),
                 QString::number(description.days.last().odometerMidnight));

        QCOMPARE(report.cardIwData.size(), days);
        const QVariantMap card = report.cardIwData.last();
        QCOMPARE(card.value(u"cardHolderSurname"_s).toString(), u"ИВАНОВ"_s);
        QCOMPARE(card.value(u"cardHolderFirstNames"_s).toString(), u"ПЕТР"_s);
        QCOMPARE(card.value(u"driverCardNumber"_s).toString(), u"RUD0000012345670"_s);
        QCOMPARE(card.value(u"cardExpiryDate"_s).toString(), u"17.05.2027"_s);
        QCOMPARE(card.value(u"cardInsertionDate"_s).toString(),
                 description.days.last().date.toString(u"dd.MM.yyyy"_s) + u" 6:00:00"_s);
        QCOMPARE(card.value(u"cardSlot"_s).toString(), u"Водитель"_s);
        QCOMPARE(card.value(u"manualInputFlag"_s).toString(), u"Нет"_s);
        QCOMPARE(card.value(u"dayNo"_s).toInt(), days);

        QCOMPARE(report.activityDaily.size(), 7 * days);
        QCOMPARE(report.activityChanges.size(), 7 * days);
        QCOMPARE(
            column(report.activityChanges.mid(0, 7), u"activity"_s),
            QStringList({u"Rest"_s, u"Work"_s, u"Drive"_s, u"Rest"_s, u"Drive"_s, u"Work"_s, u"Rest"_s}));
        QCOMPARE(column(report.activityDaily.mid(0, 7), u"timeOfChange"_s),
                 QStringList(
                     {u"00:00"_s, u"06:00"_s, u"06:30"_s, u"10:30"_s, u"11:15"_s, u"14:45"_s, u"15:05"_s}));
        QCOMPARE(column(report.activityChanges.mid(0, 7), u"cardStatus"_s).first(), u"Not Inserted"_s);
        QCOMPARE(column(report.activityChanges, u"activityDailyPresenceCounter1"_s).last(),
                 QString::number(days));

        QCOMPARE(report.placeDailyWorkPeriod.size(), days);
        QCOMPARE(column(report.placeDailyWorkPeriod, u"dailyWorkPeriodRegion"_s).first(), u"Moscow Region"_s);
        QCOMPARE(column(report.placeDailyWorkPeriod, u"entryTypeDailyWorkPeriod"_s).first(), u"Begin"_s);
        QCOMPARE(column(report.placeDailyWorkPeriod, u"driverCardNumber"_s).first(), u"RUD0000012345670"_s);

        QCOMPARE(report.tachoFaults.size(), 1);
        QCOMPARE(report.faults, report.tachoFaults);
        QCOMPARE(column(report.tachoFaults, u"faultType"_s).first(),
                 u"Неисправность оборудования записи: ошибка загрузки"_s);
        QCOMPARE(column(report.tachoFaults, u"faultBeginTime"_s).first(), u"04.03.2024 5:00:00"_s);
        QCOMPARE(column(report.tachoFaults, u"cardNumberDriverSlotBegin"_s).first(), u"+RUD0000012345670"_s);
        QCOMPARE(column(report.tachoFaults, u"cardNumberCoDriverSlotBegin"_s).first(), u" "_s);
        QCOMPARE(report.tachoEvents.size(), 1);
        QCOMPARE(column(report.tachoEvents, u"eventType"_s).first(), u"Прерывание питания"_s);
        QCOMPARE(column(report.tachoEvents, u"eventRecordPurposeEnglish"_s).first(),
                 u"The longest event for one of the last 10 days of occurrence"_s);
        QCOMPARE(column(report.tachoEvents, u"similarEventsNumber"_s).first(), u"2"_s);
        QCOMPARE(value(report.overSpeedingControl, u"numberOfOverspeedSince"_s), u"1"_s);
        QCOMPARE(column(report.overSpeedingEvents, u"maxSpeedValue"_s), QStringList{u"112"_s});
        QCOMPARE(column(report.overSpeedingEvents, u"averageSpeedValue"_s), QStringList{u"97"_s});
        QCOMPARE(column(report.overSpeedingEvents, u"eventEndTime1"_s),
                 QStringList{u"05.03.2024 11:01:30"_s});
        QCOMPARE(column(report.overSpeedingEvents, u"cardNumberDriverSlotBegin11"_s),
                 QStringList{u"RUD0000012345670"_s});
        QCOMPARE(report.totalOverSpeeding, 1);
        QCOMPARE(report.daysWithFaults, 1);
        QCOMPARE(report.daysWithOverSpeeding, 1);
        QCOMPARE(column(report.timeAdjustments, u"tachoriaName"_s), QStringList{u"ООО ТАХОСЕРВИС"_s});
        QCOMPARE(column(report.timeAdjustments, u"newTimeValue"_s), QStringList{u"04.03.2024 4:02:00"_s});
        QVERIFY(
            column(report.timeAdjustments, u"tachoriaCardNumber"_s).first().contains(u"RUW0000000000042"_s));

        // Three speed blocks of 59 readings, 60 + 10 i + (second mod 5), and one missing reading.
        QCOMPARE(report.detailedSpeed.size(), 3);
        QCOMPARE(report.charts.size(), 180);
        QCOMPARE(column(report.detailedSpeed, u"validSpeedCount"_s), QStringList(3, u"59"_s));
        QVERIFY(column(report.detailedSpeed, u"speedsPerSecond"_s)
                    .first()
                    .startsWith(u"60, 61, 62, 63, 64, 60"_s));
        QCOMPARE(column(report.detailedSpeed, u"maxSpeed"_s), QStringList({u"64"_s, u"74"_s, u"84"_s}));
        QCOMPARE(report.detailedSpeed.first().value(u"averageSpeed"_s).toDouble(), 60 + 116.0 / 59);
        QCOMPARE(report.maxSpeed, 84);
        QCOMPARE(report.averageSpeed, 70 + 116.0 / 59);
        QCOMPARE(report.charts.at(59).value(u"value"_s).toInt(), 0);
        QCOMPARE(report.charts.at(61).value(u"activity"_s).toString(), u"Скорость 71 км/ч"_s);

        // 7601: ten parts; each 7602 five (its single count byte of conditions leaves no signature behind);
        // 7603 six; 7604 two; 7605 four.
        QCOMPARE(report.tachoChildSections.size(), 22 + 5 * days);
        QCOMPARE(report.tachoChildSections.first().value(u"offset"_s).toInt(), 2);
        QCOMPARE(report.totalDays, days);
        QCOMPARE(report.summary().value(u"dayInformationCount"_s).toInt(), days);
    }

    void childSections()
    {
        // One day of the sample, laid out by hand from the unit's structures.
        const QByteArray bytes = writeVehicleUnit(sampleVehicleUnit(1));
        QCOMPARE(bytes.size(), 2231);
        DddReport report = Decoder::decode(bytes, u"vu.ddd"_s);
        QStringList found;
        for (const QVariantMap& row : std::as_const(report.tachoChildSections)) {
            found.append(u"%1 %2 @%3+%4 %5x%6"_s
                             .arg(row.value(u"sourceBlock"_s).toString(), row.value(u"name"_s).toString())
                             .arg(row.value(u"offset"_s).toInt())
                             .arg(row.value(u"length"_s).toInt())
                             .arg(row.value(u"recordCount"_s).toInt())
                             .arg(row.value(u"recordLength"_s).toInt()));
        }
        const QStringList expected = {
            u"7601 MemberStateCertificate @2+194 1x194"_s,
            u"7601 VUCertificate @196+194 1x194"_s,
            u"7601 VehicleIdentification @390+32 1x32"_s,
            u"7601 CurrentDateTime @422+4 1x4"_s,
            u"7601 VUDownloadablePeriod @426+8 1x8"_s,
            u"7601 CardSlotsStatus @434+1 1x1"_s,
            u"7601 VUDownloadActivityData @435+58 1x58"_s,
            u"7601 VUCompanyLocksData @493+99 1x98"_s,
            u"7601 VUControlActivityData @592+1 0x31"_s,
            u"7601 Signature @593+128 1x128"_s,
            u"7602 DayInformation @723+7 1x7"_s,
            u"7602 VUCardIWData @730+131 1x129"_s,
            u"7602 VUActivityDailyData @861+16 7x2"_s,
            u"7602 VUPlaceDailyWorkPeriodData @878+28 1x28"_s,
            // One count byte: the second byte of the unit's two-byte count stays in front of the
            // signature, so no signature row follows.
            u"7602 VUSpecificConditionData @906+1 0x5"_s,
            u"7603 VUFaultData @1038+83 1x82"_s,
            u"7603 VUEventData @1121+84 1x83"_s,
            u"7603 VUOverSpedingControlData @1205+9 1x9"_s,
            u"7603 VUOverSpedingEventData @1214+32 1x31"_s,
            u"7603 VUTimeAdjustmentData @1246+99 1x98"_s,
            u"7603 Signature @1345+128 1x128"_s,
            u"7604 VUDetailedSpeedData @1475+194 3x64"_s,
            u"7604 Signature @1669+128 1x128"_s,
            u"7605 VUIdentification @1799+116 1x116"_s,
            u"7605 SensorPaired @1915+20 1x20"_s,
            u"7605 VUCalibrationData @1935+168 1x167"_s,
            u"7605 Signature @2103+128 1x128"_s,
        };
        QCOMPARE(found, expected);
        const QVariantMap first = report.tachoChildSections.first();
        QCOMPARE(first.value(u"fileNumber"_s).toString(), u"7601"_s);
        QCOMPARE(first.value(u"occurrence"_s).toInt(), 1);
        QCOMPARE(first.value(u"fileType"_s).toInt(), 0);
        QCOMPARE(first.value(u"blockStartPosition"_s).toInt(), 0);
        QCOMPARE(first.value(u"payloadHex"_s).toString(), QString(388, u'1'));
        QCOMPARE(first.value(u"data"_s).toMap().value(u"hex"_s).toString(), QString(388, u'1'));

        // The inventory is built afresh: stale rows go, every block has its row with its true values.
        report.sections = {{{u"fileNumber"_s, u"stale"_s}}};
        Decoder::buildSectionInventory(report);
        QCOMPARE(report.sections.size(), report.blocks.size());
        const QVariantMap day = report.sections.at(1);
        QCOMPARE(day.value(u"fileNumber"_s).toString(), u"7602"_s);
        QCOMPARE(day.value(u"name"_s).toString(), u"Данные активности"_s);
        QCOMPARE(day.value(u"offset"_s).toInt(), 721);
        QCOMPARE(day.value(u"length"_s).toInt(), 315);
        QCOMPARE(day.value(u"recordCount"_s).toInt(), -1);
        QCOMPARE(day.value(u"data"_s).toMap().value(u"length"_s).toInt(), 315);
        QCOMPARE(day.value(u"payloadHex"_s).toString(),
                 QString::fromLatin1(bytes.mid(721, 315).toHex().toUpper()));
        QVERIFY(!day.contains(u"records"_s));
    }

    void cardInsertionsSortedAndRenumbered()
    {
        VehicleUnitDescription description = sampleVehicleUnit(3);
        const QDateTime first = description.days.at(0).date.startOfDay(QTimeZone::utc());
        const CardInsertion driver = description.days.at(0).insertions.first();
        CardInsertion coDriver = driver;
        coDriver.surname = u"СИДОРОВ"_s;
        coDriver.cardNumber = u"RUD0000055555550"_s;
        coDriver.slot = 1;
        CardInsertion repeated = driver;
        repeated.slot = 3; // another slot with the same odometer, time, card and names: a record of its own
        description.days[0].insertions = {driver, coDriver, repeated};
        // The second day's block holds an insertion of the first day's evening; the third its own.
        CardInsertion evening = driver;
        evening.inserted = first.addSecs(23 * 3600);
        evening.odometerIn += 1;
        description.days[1].insertions = {evening};
        CardInsertion third = driver;
        third.inserted = first.addDays(2).addSecs(7 * 3600);
        description.days[2].insertions = {third};

        const DddReport report = Decoder::decode(writeVehicleUnit(description), u"vu.ddd"_s);
        QCOMPARE(column(report.cardIwData, u"cardHolderSurname"_s),
                 QStringList({u"СИДОРОВ"_s, u"ИВАНОВ"_s, u"ИВАНОВ"_s, u"ИВАНОВ"_s, u"ИВАНОВ"_s}));
        QCOMPARE(column(report.cardIwData, u"cardSlot"_s),
                 QStringList({u"Сопряжённый водитель"_s, u"Водитель"_s, u"Контроль"_s, u"Водитель"_s,
                              u"Водитель"_s}));
        QCOMPARE(column(report.cardIwData, u"cardInsertionDate"_s),
                 QStringList({u"04.03.2024 6:00:00"_s, u"04.03.2024 6:00:00"_s, u"04.03.2024 6:00:00"_s,
                              u"04.03.2024 23:00:00"_s, u"06.03.2024 7:00:00"_s}));
        QCOMPARE(column(report.cardIwData, u"dayNo"_s),
                 QStringList({u"1"_s, u"1"_s, u"1"_s, u"1"_s, u"2"_s}));
        QCOMPARE(column(report.cardIwData, u"blockNumber"_s),
                 QStringList({u"1"_s, u"1"_s, u"1"_s, u"2"_s, u"3"_s}));
        QCOMPARE(column(report.cardIwData, u"recordInBlock"_s),
                 QStringList({u"1"_s, u"0"_s, u"2"_s, u"0"_s, u"0"_s}));
    }

    void markersInsidePayloads()
    {
        VehicleUnitDescription description = sampleVehicleUnit(2);
        // After 7605 no marker is a start; a second overview never is.
        description.calibrations.first().tyreSize = u"v\x03v\x02v\x01"_s;
        QByteArray bytes = writeVehicleUnit(description);
        bytes += QByteArray::fromHex("7601") + QByteArray(40, '\x01');
        const DddReport report = Decoder::decode(bytes, u"vu.ddd"_s);
        QCOMPARE(tags(report),
                 QStringList({u"7601"_s, u"7602"_s, u"7602"_s, u"7603"_s, u"7604"_s, u"7605"_s}));
        QCOMPARE(report.blocks.last().offset + report.blocks.last().length, bytes.size());
    }

    void secondGenerationLayout_data()
    {
        QTest::addColumn<int>("records");
        QTest::addColumn<int>("lastRecordBytes");
        QTest::newRow("whole records") << 3 << 254;
        QTest::newRow("short last record") << 2 << 100;
        QTest::newRow("no records") << 0 << 254;
    }

    void secondGenerationLayout()
    {
        ExtendedVehicleUnitDescription description = sampleExtendedVehicleUnit();
        QFETCH(int, records);
        QFETCH(int, lastRecordBytes);
        description.records = records;
        description.lastRecordBytes = lastRecordBytes;
        const QByteArray bytes = writeExtendedVehicleUnit(description);
        const DddReport report = Decoder::decode(bytes, u"vu2.ddd"_s);
        QCOMPARE(report.fileType, DddFileType::Tachograph);
        QStringList expected{u"7681"_s, u"ASN1"_s, u"7684"_s};
        for (int record = 0; record < records; ++record)
            expected.append(u"7685"_s);
        QCOMPARE(tags(report), expected);
        QCOMPARE(report.blocks.at(2).length, 2 + description.extendedBytes);
        if (records > 0) {
            QCOMPARE(report.blocks.last().length, lastRecordBytes);
            QCOMPARE(report.blocks.last().occurrence, records);
        }
        QCOMPARE(report.asn1Identity.version, 2);
        QCOMPARE(report.asn1Version, 2);
        QCOMPARE(report.vin, description.vin);
        QCOMPARE(report.asn1Identity.vin, description.vin);
        QCOMPARE(report.registrationNumber, description.registration);
        QCOMPARE(report.driverSurname, description.surname);
        QCOMPARE(report.driverFirstName, description.firstName);
        QCOMPARE(report.cardNumber, description.cardNumber);
        QCOMPARE(report.vehicleFirstUseDate, u"01.06.2023 08:00:00"_s);
        QCOMPARE(report.dataStartDate, u"01.01.2024 00:00:00"_s);
        QCOMPARE(report.dataEndDate, u"28.01.2024 18:30:00"_s);
        QVERIFY(report.asn1Fields.size() > 9);
        QCOMPARE(report.asn1Fields.first().value(u"type"_s).toString(), u"SEQUENCE"_s);
        QVERIFY(report.structureText.contains(u"ASN.1/BER:"_s));
    }
};

QTEST_GUILESS_MAIN(TestDddVehicleUnitRoundTrip)
#include "test_ddd_vu_roundtrip.moc"
