// Driver-card files written by the generator, decoded and compared with their description.
#include "dataset_columns.h"
#include "ddd/ddd_decoder.h"
#include "ddd/ddd_fields.h"
#include "tools/dddgen/ddd_generator.h"

#include <QTest>
#include <QTimeZone>

#include <iconv.h>

using namespace tachoria::ddd;
using namespace tachoria::ddd::test;
using namespace tachoria::dddgen;
using namespace Qt::StringLiterals;

class TestDddCardRoundTrip : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void identity()
    {
        const DriverCardDescription description = sampleDriverCard(28);
        const DddReport report = Decoder::decode(writeDriverCard(description), u"/tmp/card.ddd"_s);
        QCOMPARE(report.fileType, DddFileType::DriverCard);
        QCOMPARE(report.fileName, u"card.ddd"_s);
        QCOMPARE(report.cardNumber, description.cardNumber);
        QCOMPARE(report.driverSurname, u"ИВАНОВ"_s);
        QCOMPARE(report.driverFirstName, u"ПЕТР СЕРГЕЕВИЧ"_s);
        QCOMPARE(report.driverName, u"ИВАНОВ ПЕТР СЕРГЕЕВИЧ"_s);
        QCOMPARE(report.issuingAuthorityName, u"ФБУ РОСАВТОТРАНС"_s);
        // Written as the standard's BCD date, which no time-stamp reading makes plausible.
        QCOMPARE(report.birthDate, u"23 августа 1979 г."_s);
        QCOMPARE(report.expiryDate, u"17 мая 2027 г."_s);
        QCOMPARE(value(report.cardIdentification, u"cardIssueDate"_s), u"17 мая 2022 г."_s);
        QCOMPARE(report.drivingLicenceNumber, u"7712345678"_s);
        QCOMPARE(report.drivingLicenceIssuingAuthority, u"GIBDD 7701"_s);
        QCOMPARE(report.drivingLicenceIssuingNation, u"Российская Федерация"_s);
        QCOMPARE(report.lastCardDownload, u"01.04.2024 09:15:00"_s);
        QCOMPARE(value(report.currentUsage, u"sessionOpenTime"_s), u"01.04.2024 08:15:00"_s);
        QCOMPARE(value(report.currentUsage, u"vehicleRegistrationNumber"_s), u"A123BC77"_s);
        QCOMPARE(value(report.cardIcc, u"serialNumber"_s), u"12345678"_s);
        QCOMPARE(value(report.cardIcc, u"cardApprovalNumber"_s), u"E1-00042"_s);
        QCOMPARE(value(report.cardIc, u"icSerialNumber"_s), u"01020304"_s);
        QCOMPARE(report.summary().value(u"driverName"_s).toString(), report.driverName);
    }

    void singleFiles_data()
    {
        QTest::addColumn<QString>("dataset");
        QTest::addColumn<QStringList>("descriptions");
        QTest::addColumn<QStringList>("values");
        QTest::newRow("0002") << u"cardIcc"_s
                              << QStringList({u"clockstop"_s, u"serialNumber"_s, u"monthYear"_s, u"type"_s,
                                              u"manufacturerCode"_s, u"cardApprovalNumber"_s,
                                              u"cardPersonaliserID"_s, u"embedderIcAssemblerID"_s,
                                              u"icIdentifier"_s})
                              << QStringList({u"25"_s, u"12345678"_s, u"0324"_s, u"Driver Card"_s, u"128"_s,
                                              u"E1-00042"_s, u"1F"_s, u"EMB01"_s, u"A5C3"_s});
        QTest::newRow("0005") << u"cardIc"_s
                              << QStringList({u"icSerialNumber"_s, u"icManufacturingReferences"_s})
                              << QStringList({u"01020304"_s, u"11121314"_s});
        QTest::newRow("0501") << u"applicationIdentification"_s
                              << QStringList({u"typeOfTachographCardID"_s, u"cardStructureVersion"_s,
                                              u"noOfEventsPerType"_s, u"noOfFaultsPerType"_s,
                                              u"activityStructureLength"_s, u"noOfCardVehicleRecords"_s,
                                              u"noOfCardPlaceRecords"_s})
                              << QStringList({u"Driver Card"_s, u"0100"_s, u"12"_s, u"24"_s, u"13776"_s,
                                              u"200"_s, u"112"_s});
        QTest::newRow("0520") << u"cardIdentification"_s
                              << QStringList({u"cardIssuingMemberState"_s, u"cardNumber"_s,
                                              u"cardIssuingAuthorityName"_s, u"cardIssueDate"_s,
                                              u"cardValidityBegin"_s, u"cardExpiryDate"_s,
                                              u"cardHolderSurname"_s, u"cardHolderFirstNames"_s,
                                              u"cardHolderBirthDate"_s, u"cardHolderPreferredLanguage"_s})
                              << QStringList({u"Российская Федерация"_s, u"RUD0000012345670"_s,
                                              u"ФБУ РОСАВТОТРАНС"_s, u"17 мая 2022 г."_s, u"18 мая 2022 г."_s,
                                              u"17 мая 2027 г."_s, u"ИВАНОВ"_s, u"ПЕТР СЕРГЕЕВИЧ"_s,
                                              u"23 августа 1979 г."_s, u"ru"_s});
        QTest::newRow("0521") << u"drivingLicence"_s
                              << QStringList({u"drivingLicenceIssuingAuthority"_s,
                                              u"drivingLicenceIssuingNation"_s, u"drivingLicenceNumber"_s})
                              << QStringList({u"GIBDD 7701"_s, u"Российская Федерация"_s, u"7712345678"_s});
        QTest::newRow("0507") << u"currentUsage"_s
                              << QStringList({u"sessionOpenTime"_s, u"vehicleRegistrationNation"_s,
                                              u"vehicleRegistrationNumber"_s})
                              << QStringList(
                                     {u"01.04.2024 08:15:00"_s, u"Российская Федерация"_s, u"A123BC77"_s});
        QTest::newRow("050E") << u"cardDownload"_s << QStringList{u"lastCardDownload"_s}
                              << QStringList{u"01.04.2024 09:15:00"_s};
        // Times of the control are little-endian; the test runs in UTC.
        QTest::newRow("0508") << u"controlActivity"_s
                              << QStringList({u"controlType"_s, u"controlTime"_s, u"cardType"_s,
                                              u"cardIssuingMemberState"_s, u"cardNumber"_s,
                                              u"vehicleRegistrationNation"_s, u"vehicleRegistrationNumber"_s,
                                              u"controlDownloadPeriodBegin"_s, u"controlDownloadPeriodEnd"_s})
                              << QStringList({u"Control"_s, u"04.03.2024"_s, u"Control Card"_s,
                                              u"Финляндия"_s, u"RUC0000000000001"_s,
                                              u"Российская Федерация"_s, u"A123BC77"_s,
                                              u"01.03.2024 0:00:00"_s, u"04.03.2024 9:30:00"_s});
    }

    void singleFiles()
    {
        DriverCardDescription description = sampleDriverCard(28);
        const QDateTime march = QDate(2024, 3, 1).startOfDay(QTimeZone::utc());
        description.control = {1,
                               march.addDays(3).addSecs(10 * 3600),
                               3,
                               0x12,
                               u"RUC0000000000001"_s,
                               0x2B,
                               u"A123BC77"_s,
                               march,
                               march.addDays(3).addSecs(9 * 3600 + 30 * 60)};
        const DddReport report = Decoder::decode(writeDriverCard(description), u"card.ddd"_s);
        QFETCH(QString, dataset);
        const DatasetRows* rows = report.dataset(dataset);
        QVERIFY2(rows, qPrintable(dataset));
        QTEST(column(*rows, u"description"_s), "descriptions");
        QTEST(column(*rows, u"value"_s), "values");
    }

    void datasets_data()
    {
        QTest::addColumn<int>("days");
        QTest::addColumn<bool>("littleEndian");
        QTest::addColumn<int>("junk");
        QTest::addColumn<bool>("truncated");
        QTest::addColumn<bool>("signatures");
        QTest::newRow("standard, one day") << 1 << false << 0 << false << true;
        QTest::newRow("standard, 28 days") << 28 << false << 0 << false << true;
        QTest::newRow("little-endian counts") << 7 << true << 0 << false << true;
        QTest::newRow("junk before the last files") << 7 << false << 7 << false << true;
        QTest::newRow("truncated records, no signatures") << 7 << false << 0 << true << false;
        QTest::newRow("all variants") << 14 << true << 1 << true << false;
    }

    void datasets()
    {
        QFETCH(int, days);
        DriverCardDescription description = sampleDriverCard(days);
        QFETCH(bool, littleEndian);
        QFETCH(int, junk);
        QFETCH(bool, truncated);
        QFETCH(bool, signatures);
        description.littleEndianCounts = littleEndian;
        description.junkBetweenBlocks = junk;
        description.truncatedRecords = truncated;
        description.signatures = signatures;
        // Junk in front of a big file can look like a header whose length swallows the next ones; in
        // front of the small files at the end it cannot, and nothing may be lost.
        description.junkBefore = {0x0522, 0x050E};
        const DddReport report = Decoder::decode(writeDriverCard(description), u"card.ddd"_s);

        QCOMPARE(report.blocks.size(), signatures ? 26 : 14);
        QCOMPARE(report.sections.size(), report.blocks.size());
        QCOMPARE(report.activities.size(), days);
        QCOMPARE(report.activityChanges.size(), 7 * days);
        QCOMPARE(report.charts.size(), 7 * days);
        QCOMPARE(report.events.size(), description.events.size());
        QCOMPARE(report.faults.size(), description.faults.size());
        QCOMPARE(report.vehicles.size(), description.vehicles.size());
        QCOMPARE(report.places.size(), description.places.size());
        QCOMPARE(report.specificConditions.size(), description.conditions.size());
        QCOMPARE(report.cardIcc.size(), 9);
        QCOMPARE(report.drivingLicence.size(), 3);
        QCOMPARE(report.tachoChildSections.size(), 0);
        // Both byte orders of the 0501 lengths give the card's real sizes.
        QCOMPARE(value(report.applicationIdentification, u"activityStructureLength"_s), u"13776"_s);
        QCOMPARE(value(report.applicationIdentification, u"noOfCardVehicleRecords"_s), u"200"_s);

        QCOMPARE(column(report.events, u"eventType"_s),
                 QStringList({u"Вставка карты во время движения"_s, u"Превышение скорости"_s}));
        QCOMPARE(column(report.events, u"eventTypeEnglish"_s).last(), u"General event - Over speeding"_s);
        QCOMPARE(column(report.events, u"eventBeginTime"_s).first(), u"04.03.2024 8:00:00"_s);
        QCOMPARE(column(report.events, u"eventEndTime"_s).first(), u"04.03.2024 8:01:00"_s);
        // The code-page byte 0x01 in front of the number is a blank, and falls away.
        QCOMPARE(column(report.events, u"vehicleRegistrationNumber"_s),
                 QStringList({u"A123BC77"_s, u"A123BC77"_s}));
        QCOMPARE(column(report.events, u"vehicleRegistrationNation"_s),
                 QStringList({u"Российская Федерация"_s, u"Российская Федерация"_s}));
        QCOMPARE(column(report.faults, u"faultType"_s),
                 QStringList{u"Неисправность карты: без дополнительных сведений"_s});
        QCOMPARE(column(report.faults, u"faultBeginTime"_s), QStringList{u"06.03.2024 7:02:24"_s});
        QCOMPARE(column(report.vehicles, u"vehicleRegistrationNumber1"_s),
                 QStringList({u"A123BC77"_s, u"K456MO99"_s}));
        QCOMPARE(column(report.vehicles, u"vehicleOdometerBegin"_s), QStringList({u"120000"_s, u"88000"_s}));
        QCOMPARE(column(report.vehicles, u"vuDataBlockCounter"_s), QStringList({u"0001"_s, u"0002"_s}));
        QCOMPARE(column(report.places, u"entryTypeDailyWorkPeriod"_s), QStringList({u"Begin"_s, u"End"_s}));
        QCOMPARE(column(report.places, u"entryTime"_s).first(), u"04.03.2024 06:00:00"_s);
        QCOMPARE(column(report.places, u"dailyWorkPeriodCountry"_s),
                 QStringList(2, u"Российская Федерация"_s));
        QCOMPARE(column(report.places, u"vehicleOdometerValue"_s), QStringList({u"120000"_s, u"120420"_s}));
        QCOMPARE(column(report.drivingLicence, u"hexData"_s).at(1), u"2B"_s);
        // Stored three hours ahead: 12:00 shows as 09:00.
        QCOMPARE(column(report.specificConditions, u"entryTime"_s),
                 QStringList({u"04.03.2024 09:00:00"_s, u"04.03.2024 10:30:00"_s}));
        QCOMPARE(column(report.specificConditions, u"specificConditionType"_s).first(),
                 u"Паром/поезд — начало"_s);

        // The activity changes of each day, as described.
        QCOMPARE(column(report.activities, u"activityDailyPresenceCounter"_s).first(), u"0001"_s);
        QCOMPARE(column(report.activities, u"activityRecordDate"_s).last(),
                 description.days.last().date.toString(u"dd.MM.yyyy"_s));
        QCOMPARE(column(report.activities, u"activityDayDistance"_s).last(),
                 QString::number(description.days.last().distanceKm));
        for (int day = 0; day < days; ++day) {
            const DatasetRows changes = report.activityChanges.mid(day * 7, 7);
            QCOMPARE(column(changes, u"day"_s),
                     QStringList(7, u"%1"_s.arg(day + 1, 4, 10, QLatin1Char('0'))));
            QCOMPARE(column(changes, u"time"_s), QStringList({u"00:00"_s, u"06:00"_s, u"06:30"_s, u"10:30"_s,
                                                              u"11:15"_s, u"14:45"_s, u"15:05"_s}));
            QCOMPARE(column(changes, u"activity"_s), QStringList({QString(), u"Work"_s, u"Drive"_s, u"Rest"_s,
                                                                  u"Drive"_s, u"Work"_s, QString()}));
        }
        QCOMPARE(column(report.charts, u"value"_s).mid(0, 7),
                 QStringList({u"0"_s, u"2"_s, u"3"_s, u"0"_s, u"3"_s, u"2"_s, u"0"_s}));
        QCOMPARE(report.totalDays, days);
    }

    // The activity ring walked by its pointers from the oldest to the newest day, wherever it wraps: five
    // days of 26 bytes in a ring of 200, the third day beginning where the row says.
    void activityRing_data()
    {
        QTest::addColumn<int>("ringStart");
        QTest::addColumn<bool>("damagedPointer");
        QTest::newRow("not wrapped") << 0 << false;
        QTest::newRow("wrap inside the third day's header") << 197 - 52 << false;
        QTest::newRow("wrap inside its changes") << 185 - 52 << false;
        QTest::newRow("the third day at the buffer's last byte") << 199 - 52 << false;
        QTest::newRow("the second day ends at the buffer's last byte") << 200 - 52 << false;
        QTest::newRow("the newest day ends at the buffer's last byte") << 200 - 130 << false;
        QTest::newRow("an oldest pointer into nothing: the forward walk") << 0 << true;
    }

    void activityRing()
    {
        QFETCH(int, ringStart);
        QFETCH(bool, damagedPointer);
        DriverCardDescription description = sampleDriverCard(5);
        description.activityRingSize = 200;
        description.activityRingStart = ringStart;
        QByteArray bytes = writeDriverCard(description);
        if (damagedPointer) {
            const qsizetype ring = bytes.indexOf(QByteArray::fromHex("05040000CC")) + 5;
            QVERIFY(ring > 5);
            bytes[ring + 1] = char(150); // the oldest pointer into the unused bytes
        }
        const DddReport report = Decoder::decode(bytes, u"card.ddd"_s);
        QStringList dates;
        for (const Day& day : std::as_const(description.days))
            dates.append(day.date.toString(u"dd.MM.yyyy"_s));
        QCOMPARE(column(report.activities, u"activityRecordDate"_s), dates);
        QCOMPARE(column(report.activities, u"activityDailyPresenceCounter"_s),
                 QStringList({u"0001"_s, u"0002"_s, u"0003"_s, u"0004"_s, u"0005"_s}));
        QCOMPARE(column(report.activityChanges, u"time"_s).mid(28),
                 QStringList(
                     {u"00:00"_s, u"06:00"_s, u"06:30"_s, u"10:30"_s, u"11:15"_s, u"14:45"_s, u"15:05"_s}));
        QCOMPARE(report.totalDistanceKm, 400 + 401 + 402 + 403 + 404); // the days' distances
        QCOMPARE(report.totalDays, 5);
    }

    // Names in every code page of Europe: a card's own through the generator, and every byte of each part
    // against the C library's tables.
    void namesInEveryCodePage_data()
    {
        QTest::addColumn<int>("codePage");
        QTest::addColumn<QString>("surname");
        const QList<std::pair<int, QString>> names = {{1, u"Ñúñez Müller"_s},  {2, u"Łukasiewicz Dvořák"_s},
                                                      {3, u"Ġużeppi Ħabib"_s}, {4, u"Ķēniņš"_s},
                                                      {5, u"Иванов Ёжиков"_s}, {6, u"عبد الله"_s},
                                                      {7, u"Παπαδόπουλος"_s},  {8, u"כהן"_s},
                                                      {9, u"Öztürk Çağrı"_s},  {10, u"Þórðarson"_s},
                                                      {11, u"สมชาย"_s},        {13, u"Žukauskas Ąžuolas"_s},
                                                      {14, u"Ŵyn Ŷates"_s},    {15, u"Šárka Žák €"_s},
                                                      {16, u"Țăranu Ștefan"_s}};
        for (const auto& [codePage, surname] : names)
            QTest::addRow("%d", codePage) << codePage << surname;
    }

    void namesInEveryCodePage()
    {
        QFETCH(int, codePage);
        QFETCH(QString, surname);
        DriverCardDescription description = sampleDriverCard(1);
        description.nameCodePage = codePage;
        description.surname = surname;
        const DddReport report = Decoder::decode(writeDriverCard(description), u"card.ddd"_s);
        QCOMPARE(report.driverSurname, surname);
        QCOMPARE(value(report.cardIdentification, u"cardHolderSurname"_s), surname);

        iconv_t converter = iconv_open("UTF-8", ("ISO-8859-" + QByteArray::number(codePage)).constData());
        QVERIFY(converter != iconv_t(-1));
        for (int byte = 0xA0; byte <= 0xFF; ++byte) {
            char in = char(byte);
            char out[8] = {};
            char* input = &in;
            char* output = out;
            size_t inputLeft = 1;
            size_t outputLeft = sizeof out;
            const bool defined = iconv(converter, &input, &inputLeft, &output, &outputLeft) != size_t(-1);
            // A byte the part leaves undefined, like the no-break space, parts words as a blank.
            const QString expected = defined && byte != 0xA0 ? QString::fromUtf8(out) : u" "_s;
            QCOMPARE(readName(QByteArray(1, char(codePage)) + "A" + char(byte) + "B", 0, 4),
                     u"A"_s + expected + u"B"_s);
        }
        iconv_close(converter);
    }

    void blockPromisingMoreThanTheFileHolds()
    {
        const QByteArray icc = QByteArray::fromHex("0002000019") + QByteArray(25, '\x01');
        const QByteArray vehicle = QByteArray::fromHex("050500002100") + QByteArray(32, '\x02');
        const QByteArray broken = QByteArray::fromHex("0504001388") + QByteArray(3, '\xFF') + vehicle;
        const DddReport report = Decoder::decode(icc + broken, u"card.ddd"_s);
        QStringList tags;
        for (const DddBlock& block : report.blocks)
            tags.append(block.fileNumber);
        QCOMPARE(tags, QStringList({u"0002"_s, u"0505"_s}));
        QCOMPARE(report.blocks.last().offset, 25 + 5 + 5 + 3);
        QCOMPARE(report.blocks.last().recordCount, 1);
    }

    void junkEverywhereNeverReadsOutside()
    {
        DriverCardDescription description = sampleDriverCard(7);
        description.junkBetweenBlocks = 2;
        const QByteArray bytes = writeDriverCard(description);
        const DddReport report = Decoder::decode(bytes, u"card.ddd"_s);
        QVERIFY(!report.blocks.isEmpty());
        QCOMPARE(report.blocks.first().fileNumber, u"0002"_s);
        for (const DddBlock& block : report.blocks) {
            QVERIFY(block.offset + 5 + block.length <= bytes.size());
            QCOMPARE(block.data, bytes.mid(block.offset + 5, block.length));
        }
    }

    void truncatedFileKeepsWhatIsWhole()
    {
        const QByteArray bytes = writeDriverCard(sampleDriverCard(7));
        for (const qsizetype size :
             {qsizetype(0), qsizetype(1), qsizetype(5), bytes.size() / 3, bytes.size() - 1}) {
            const DddReport report = Decoder::decode(bytes.left(size), u"card.ddd"_s);
            QCOMPARE(report.size, int(size));
            QVERIFY(report.activities.size() <= 7);
        }
    }
};

QTEST_GUILESS_MAIN(TestDddCardRoundTrip)
#include "test_ddd_card_roundtrip.moc"
