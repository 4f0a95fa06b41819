#include "ddd/ddd_decoder.h"

#include <QTemporaryDir>
#include <QTest>

using namespace tachoria::ddd;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(DddFileType)

namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

QByteArray bigEndian(quint32 value)
{
    return QByteArray::fromHex(QByteArray::number(value, 16).rightJustified(8, '0'));
}

// A card block: tag, type, two length bytes, payload.
QByteArray cardBlock(quint16 tag, quint8 type, const QByteArray& payload)
{
    QByteArray block;
    block.append(static_cast<char>(tag >> 8));
    block.append(static_cast<char>(tag & 0xFF));
    block.append(static_cast<char>(type));
    block.append(static_cast<char>(payload.size() >> 8));
    block.append(static_cast<char>(payload.size() & 0xFF));
    return block + payload;
}

QStringList tags(const QList<DddBlock>& blocks)
{
    QStringList out;
    for (const DddBlock& block : blocks)
        out << QStringLiteral("%1@%2#%3").arg(block.fileNumber).arg(block.offset).arg(block.occurrence);
    return out;
}

const QByteArray kDay = bigEndian(1763856000); // 23.11.2025, a plausible time stamp

} // namespace

class TestDddStructure : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recognition_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<DddFileType>("type");
        QTest::newRow("empty") << QByteArray() << DddFileType::Unknown;
        QTest::newRow("one byte") << hex("76") << DddFileType::Unknown;
        QTest::newRow("card") << hex("0002") << DddFileType::DriverCard;
        QTest::newRow("0001") << hex("0001") << DddFileType::Unknown;
        QTest::newRow("overview") << hex("7601") << DddFileType::Tachograph;
        QTest::newRow("activities first") << hex("7602") << DddFileType::Tachograph;
        QTest::newRow("second generation") << hex("7681") << DddFileType::Tachograph;
        QTest::newRow("7606") << hex("7606") << DddFileType::Unknown;
        QTest::newRow("junk before a card header") << hex("0000000000") + hex("0002") << DddFileType::Unknown;
    }

    void recognition()
    {
        QFETCH(QByteArray, bytes);
        QTEST(Decoder::detectType(bytes), "type");
    }

    void vehicleUnitCutting_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("blocks");
        QTest::newRow("two bytes") << hex("7601") << QStringList{QStringLiteral("7601@0#1")};
        QTest::newRow("ascending blocks")
            << hex("7601AAAA") + hex("7602") + kDay + hex("BB") + hex("7603CC") + hex("7604") + hex("7605DD")
            << QStringList{QStringLiteral("7601@0#1"), QStringLiteral("7602@4#1"),
                           QStringLiteral("7603@11#1"), QStringLiteral("7604@14#1"),
                           QStringLiteral("7605@16#1")};
        QTest::newRow("several activity blocks")
            << hex("7601") + hex("7602") + kDay + hex("7602") + kDay + hex("00")
            << QStringList{QStringLiteral("7601@0#1"), QStringLiteral("7602@2#1"),
                           QStringLiteral("7602@8#2")};
        QTest::newRow("second overview is no start")
            << hex("7601AA7601BB") << QStringList{QStringLiteral("7601@0#1")};
        QTest::newRow("7602 without a plausible time stamp")
            << hex("7601") + hex("760200000000") + hex("00") << QStringList{QStringLiteral("7601@0#1")};
        QTest::newRow("7603 inside a later block is ignored")
            << hex("7601") + hex("7605AA") + hex("7603BB")
            << QStringList{QStringLiteral("7601@0#1"), QStringLiteral("7605@2#1")};
        QTest::newRow("7681 only after 7605")
            << hex("7601") + hex("7681") + hex("7605") + hex("7681EE")
            << QStringList{QStringLiteral("7601@0#1"), QStringLiteral("7605@4#1"),
                           QStringLiteral("7681@6#1")};
        QTest::newRow("second generation is one block")
            << hex("76810102") << QStringList{QStringLiteral("7681@0#1")};
        QTest::newRow("starts with 7603") << hex("7603AA") << QStringList{QStringLiteral("RAW@0#1")};
    }

    void vehicleUnitCutting()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, blocks);
        const QList<DddBlock> cut = Decoder::splitTachographBlocks(bytes);
        QCOMPARE(tags(cut), blocks);
        int total = 0;
        for (const DddBlock& block : cut) {
            QCOMPARE(block.data, bytes.mid(block.offset, block.length)); // tag included
            QCOMPARE(block.recordCount, -1);
            total += block.length;
        }
        QCOMPARE(total, bytes.size()); // the blocks cover the file
    }

    void cardCutting_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("blocks");
        const QByteArray icc = cardBlock(0x0002, 0, QByteArray(25, '\x01'));
        const QByteArray places = cardBlock(0x0506, 0, hex("05") + QByteArray(30, '\x02'));
        const QByteArray signature = cardBlock(0x0506, 1, QByteArray(128, '\x03'));
        QTest::newRow("chain") << icc + places + signature
                               << QStringList{QStringLiteral("0002@0#1"), QStringLiteral("0506@30#1"),
                                              QStringLiteral("0506@66#2")};
        QTest::newRow("junk between blocks")
            << icc + hex("FFFFFF") + places
            << QStringList{QStringLiteral("0002@0#1"), QStringLiteral("0506@33#1")};
        QTest::newRow("a block promising more than the file holds")
            << icc + hex("0504 00 7FFF") + places
            << QStringList{QStringLiteral("0002@0#1"), QStringLiteral("0506@35#1")};
        QTest::newRow("nothing valid") << hex("00020000") << QStringList{QStringLiteral("RAW@0#1")};
    }

    void cardCutting()
    {
        QFETCH(QByteArray, bytes);
        QTEST(tags(Decoder::splitDriverCardBlocks(bytes)), "blocks");
    }

    void cardRecordsAndNames()
    {
        const QByteArray bytes = cardBlock(0x0002, 0, QByteArray(25, '\0')) +
                                 cardBlock(0x0505, 0, hex("0001") + QByteArray(62, '\x11')) +
                                 cardBlock(0x0502, 0, QByteArray(48, '\x22')) +
                                 cardBlock(0x0999, 0, hex("01"));
        const QList<DddBlock> blocks = Decoder::splitDriverCardBlocks(bytes);
        QCOMPARE(blocks.size(), 4);
        QCOMPARE(blocks.at(0).name, QStringLiteral("ICC"));
        QCOMPARE(blocks.at(1).name, QStringLiteral("Использованные автомобили"));
        QCOMPARE(blocks.at(1).recordLength, 31);
        QCOMPARE(blocks.at(1).recordCount, 2);
        QCOMPARE(blocks.at(2).recordCount, 2);
        QCOMPARE(blocks.at(3).name, QStringLiteral("Неизвестный блок 0999"));
        QCOMPARE(blocks.at(3).recordCount, 0);
        QCOMPARE(blocks.at(1).data.size(), 64); // the payload without its header

        DddReport report = Decoder::decode(bytes, QStringLiteral("/tmp/card.ddd"));
        QCOMPARE(report.fileType, DddFileType::DriverCard);
        QCOMPARE(report.fileName, QStringLiteral("card.ddd"));
        QCOMPARE(report.sourceFingerprint.size(), 64);
        const QVariantMap row = report.blockRows().at(1).toMap();
        QCOMPARE(row.keys(),
                 QStringList({u"blockStartPosition"_s, u"data"_s, u"description"_s, u"fileNumber"_s,
                              u"fileType"_s, u"length"_s, u"name"_s, u"occurrence"_s, u"offset"_s,
                              u"payloadHex"_s, u"recordCount"_s, u"recordLength"_s}));
        QCOMPARE(row.value(u"name"_s).toString(), u"Использованные автомобили"_s);
        QCOMPARE(row.value(QStringLiteral("recordCount")).toInt(), 0); // a card's rows hide the record fields
        QCOMPARE(row.value(QStringLiteral("description")).toString(),
                 QStringLiteral("Найден по структурированному формату"));
        const QVariantMap section = report.sections.at(1);
        QCOMPARE(section.value(QStringLiteral("recordCount")).toInt(),
                 2); // the inventory keeps the true values
        QCOMPARE(section.value(QStringLiteral("records")).toList().size(), 2);
        // The names under which the page shows the datasets and the repository keeps them, in their order.
        QCOMPARE(DddReport::datasetNames(), QStringList({u"events"_s,
                                                         u"faults"_s,
                                                         u"activities"_s,
                                                         u"activityChanges"_s,
                                                         u"vehicles"_s,
                                                         u"places"_s,
                                                         u"charts"_s,
                                                         u"asn1Fields"_s,
                                                         u"sections"_s,
                                                         u"tachoChildSections"_s,
                                                         u"dayInformation"_s,
                                                         u"cardIwData"_s,
                                                         u"tachoEvents"_s,
                                                         u"tachoFaults"_s,
                                                         u"overSpeedingEvents"_s,
                                                         u"detailedSpeed"_s,
                                                         u"calibrationData"_s,
                                                         u"vehicleIdentification"_s,
                                                         u"vuIdentification"_s,
                                                         u"sensorPaired"_s,
                                                         u"activityDaily"_s,
                                                         u"placeDailyWorkPeriod"_s,
                                                         u"specificConditions"_s,
                                                         u"downloadActivity"_s,
                                                         u"currentDateTime"_s,
                                                         u"downloadablePeriod"_s,
                                                         u"insertedCardType"_s,
                                                         u"companyLocks"_s,
                                                         u"controlActivity"_s,
                                                         u"overSpeedingControl"_s,
                                                         u"currentUsage"_s,
                                                         u"timeAdjustments"_s,
                                                         u"cardIcc"_s,
                                                         u"cardIc"_s,
                                                         u"applicationIdentification"_s,
                                                         u"cardIdentification"_s,
                                                         u"cardDownload"_s,
                                                         u"drivingLicence"_s}));
        // And the summary's keys, which the page and the printed report read.
        QStringList keys{u"fileName"_s,
                         u"filePath"_s,
                         u"fileType"_s,
                         u"size"_s,
                         u"blockCount"_s,
                         u"vin"_s,
                         u"registrationNumber"_s,
                         u"vehicleRegistrationNation"_s,
                         u"cardNumber"_s,
                         u"driverName"_s,
                         u"driverFirstName"_s,
                         u"driverSurname"_s,
                         u"issuingAuthorityName"_s,
                         u"birthDate"_s,
                         u"expiryDate"_s,
                         u"lastCardDownload"_s,
                         u"lastCardDownloadString"_s,
                         u"drivingLicenceNumber"_s,
                         u"drivingLicenceIssuingAuthority"_s,
                         u"drivingLicenceIssuingNation"_s,
                         u"dataStartDate"_s,
                         u"dataEndDate"_s,
                         u"nextCalibrationDate"_s,
                         u"vehicleFirstUseDate"_s,
                         u"cardWithdrawalTime"_s,
                         u"asn1Version"_s,
                         u"asn1Identity"_s,
                         u"eventCount"_s,
                         u"faultCount"_s,
                         u"activityCount"_s,
                         u"activityChangeCount"_s,
                         u"vehicleCount"_s,
                         u"placeCount"_s,
                         u"dayInformationCount"_s,
                         u"cardIwCount"_s,
                         u"tachoEventCount"_s,
                         u"tachoFaultCount"_s,
                         u"overSpeedingCount"_s,
                         u"detailedSpeedCount"_s,
                         u"calibrationCount"_s,
                         u"activityDailyCount"_s,
                         u"placeDailyWorkPeriodCount"_s,
                         u"specificConditionCount"_s,
                         u"companyLockCount"_s,
                         u"controlActivityCount"_s,
                         u"totalOverSpeeding"_s,
                         u"totalCalibrations"_s,
                         u"totalDays"_s,
                         u"totalDistanceKm"_s,
                         u"averageSpeed"_s,
                         u"maxSpeed"_s,
                         u"daysWithOverSpeeding"_s,
                         u"daysWithFaults"_s,
                         u"asn1FieldCount"_s,
                         u"complianceScore"_s,
                         u"formatNote"_s};
        keys.sort();
        QCOMPARE(report.summary().keys(), keys);
        QCOMPARE(report.summary().value(u"asn1Identity"_s).toMap().keys(),
                 QStringList({u"cardNumber"_s, u"cardWithdrawalTime"_s, u"dataEndDate"_s, u"dataStartDate"_s,
                              u"driverFirstName"_s, u"driverSurname"_s, u"registrationNumber"_s,
                              u"vehicleFirstUseDate"_s, u"version"_s, u"vin"_s}));
        QCOMPARE(report.summary().value(u"fileType"_s).toString(), u"Карта водителя"_s);
        QCOMPARE(
            report.summary().value(u"formatNote"_s).toString(),
            u"Разобраны ASN.1/BER и доступные блоки карты ICC/IC, идентификации, событий, неисправностей, "
            u"активности, автомобилей, мест и дополнительных данных; рассчитаны рабочее время, лимиты и "
            u"нарушения."_s);
        DddReport unit;
        unit.fileType = DddFileType::Tachograph;
        QCOMPARE(unit.summary().value(u"fileType"_s).toString(), u"Тахограф"_s);
        QCOMPARE(unit.summary().value(u"formatNote"_s).toString(),
                 u"Разобраны секции тахографа 7601–7605/7681–7685, цифровые подписи, ASN.1/BER и доступные "
                 u"расчёты активности, расстояния, скорости и нарушений."_s);
        QCOMPARE(DddReport().summary().value(u"fileType"_s).toString(), u"Неизвестный формат"_s);
        for (const QString& name : DddReport::datasetNames())
            QVERIFY2(report.dataset(name), qPrintable(name));
    }

    // The titles of the blocks as the structure tab shows them.
    void blockNames()
    {
        QStringList names;
        for (const char* tag : {"0002", "0005", "C209", "0501", "0520", "0521", "0502", "0503", "0504",
                                "0505", "0506", "0508", "0522", "050E", "0507", "0523"})
            names.append(Decoder::cardBlockName(QLatin1String(tag)));
        QCOMPARE(names, QStringList({u"ICC"_s, u"IC"_s, u"Сертификат"_s, u"Идентификация приложения"_s,
                                     u"Идентификация"_s, u"Водительское удостоверение"_s, u"Данные событий"_s,
                                     u"Данные неисправностей"_s, u"Активность водителя"_s,
                                     u"Использованные автомобили"_s, u"Места"_s, u"Контрольная активность"_s,
                                     u"Особые условия"_s, u"Загрузка карты"_s, u"Текущее использование"_s,
                                     u"Неизвестный блок 0523"_s}));
        names.clear();
        for (const char* tag : {"7681", "7601", "7602", "7603", "7604", "7605", "7606"})
            names.append(Decoder::tachographBlockName(QLatin1String(tag)));
        QCOMPARE(names,
                 QStringList({u"Основные данные тахографа"_s, u"Идентификация тахографа"_s,
                              u"Данные активности"_s, u"События и неисправности"_s, u"Детальная скорость"_s,
                              u"Калибровка и технические данные"_s, u"Блок DDD"_s}));
    }

    void printableStrings()
    {
        const QByteArray bytes = QByteArray("ABCD") + hex("00") + "abcd" + hex("01") + "xyz" + hex("02") +
                                 "  ABCD " + hex("FF") + "tail";
        QCOMPARE(Decoder::printableStrings(bytes),
                 (QStringList{QStringLiteral("ABCD"), QStringLiteral("abcd"), QStringLiteral("tail")}));
    }

    void structureTextShowsEightyStrings()
    {
        QByteArray bytes = hex("7601");
        for (int i = 0; i < 81; ++i)
            bytes += QByteArray("TEXT") + QByteArray::number(i) + hex("00");
        const DddReport report = Decoder::decode(bytes, QStringLiteral("vu.ddd"));
        QCOMPARE(report.printableStrings.size(), 81);
        QVERIFY(report.structureText.startsWith(
            QStringLiteral("Файл: vu.ddd\nТип: Тахограф\nРазмер: %1 байт\n\nСекции DDD:\n"
                           "  7601  Идентификация тахографа, смещение 0, размер %1 байт\n")
                .arg(bytes.size())));
        QVERIFY(report.structureText.contains(QStringLiteral("  TEXT79\n")));
        QVERIFY(!report.structureText.contains(QStringLiteral("TEXT80")));
    }

    void metadataFromLooseText_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("vin");
        QTest::addColumn<QString>("registration");
        QTest::addColumn<QString>("card");
        QTest::newRow("vehicle unit")
            << hex("7601") + "WVWZZZ1JZXW000001" + hex("00") + "A123BC77" + hex("00")
            << QStringLiteral("WVWZZZ1JZXW000001") << QStringLiteral("A123BC77") << QString();
        QTest::newRow("registration is no VIN")
            << hex("7601") + "WVWZZZ1JZXW000001" << QStringLiteral("WVWZZZ1JZXW000001") << QString()
            << QString();
        QTest::newRow("card number found in a window")
            << hex("000200001901") + QByteArray(6, '\x01') + "12345678901234" + hex("01") << QString()
            << QString() << QStringLiteral("12345678901234");
        // Only the file's last window holds the number on a word boundary.
        QTest::newRow("card number in the last window")
            << hex("000200000A") + "ICC DATA..ZZ1234567890123456" << QString() << QStringLiteral("ZZ1234")
            << QStringLiteral("1234567890123456");
        QTest::newRow("a loose card number of ten characters")
            << hex("000200000A") + "ICC DATA.." + hex("00") + "ABCDE12345" + hex("00") << QString()
            << QStringLiteral("ABCDE12345") << QStringLiteral("ABCDE12345");
        // A VIN run on by printable bytes is no word: the bytes of an ASN.1 element of 17 still give it.
        QTest::newRow("VIN of an ASN.1 element")
            << hex("00") + hex("30180111") + "WVWZZZ1JZXW000001" + hex("3003020105")
            << QStringLiteral("WVWZZZ1JZXW000001") << QStringLiteral("WVWZZZ1JZXW") << QString();
    }

    void metadataFromLooseText()
    {
        QFETCH(QByteArray, bytes);
        const DddReport report = Decoder::decode(bytes, QStringLiteral("x.ddd"));
        QTEST(report.vin, "vin");
        QTEST(report.registrationNumber, "registration");
        QTEST(report.cardNumber, "card");
    }

    // Every 16-byte window with a printable byte, each text once, none beyond the file's end.
    void windowsOfText()
    {
        QCOMPARE(Decoder::knownHexCandidates("ABCDEFGHIJKLMNOPQ", {}),
                 QStringList({u"ABCDEFGHIJKLMNOP"_s, u"BCDEFGHIJKLMNOPQ"_s}));
        QCOMPARE(Decoder::knownHexCandidates(QByteArray(16, '\x01') + "A", {}),
                 QStringList{QString::fromLatin1(QByteArray(15, '\x01') + "A")});
        QCOMPARE(Decoder::knownHexCandidates("ABCDEFGHIJKLMNOP", {u"ABCDEFGHIJKLMNOP"_s}), QStringList());
    }

    void unknownAndUnreadableFiles()
    {
        QString error;
        const DddReport missing = Decoder::decodeFile(QStringLiteral("/no/such/file.ddd"), &error);
        QVERIFY(!error.isEmpty());
        QCOMPARE(missing.size, 0);

        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("other.bin"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("HELLO WORLD");
        file.close();
        const DddReport unknown = Decoder::decodeFile(path, &error);
        QCOMPARE(error, QStringLiteral("Файл не похож на DDD: неизвестный заголовок"));
        QCOMPARE(unknown.fileType, DddFileType::Unknown);
        QVERIFY(unknown.sourceFingerprint.isEmpty());
        QCOMPARE(tags(unknown.blocks), QStringList{QStringLiteral("RAW@0#1")});
        QCOMPARE(unknown.blocks.first().name, QStringLiteral("Данные"));
        QVERIFY(Decoder::decode({}, QString()).blocks.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestDddStructure)
#include "test_ddd_structure.moc"
