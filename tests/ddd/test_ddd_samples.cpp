// Three real-structure files (samples/, MIT-licensed public test data) against the values the regulation's
// layout gives for them (samples/NAME.expected.json). The expected files use the standard's field names and
// UTC times; each comparison maps them to the program's datasets.
#include "dataset_columns.h"
#include "ddd/ddd_decoder.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <algorithm>
#include <map>

using namespace tachoria::ddd;
using namespace tachoria::ddd::test;
using namespace Qt::StringLiterals;

namespace {

QString samplePath(const QString& name)
{
    return QStringLiteral(TACHORIA_SOURCE_DIR "/tests/ddd/samples/") + name;
}

QJsonObject expected(const QString& name)
{
    QFile file(samplePath(name + u".expected.json"_s));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("no expected values for %s", qPrintable(name));
    return QJsonDocument::fromJson(file.readAll()).object();
}

// An ISO time of the expected files as the datasets show it.
QString shown(const QJsonValue& iso, const QString& format)
{
    return QDateTime::fromString(iso.toString(), Qt::ISODate).toUTC().toString(format);
}

QString russianDate(const QJsonValue& iso)
{
    static const QStringList months = {u"января"_s,   u"февраля"_s, u"марта"_s,  u"апреля"_s,
                                       u"мая"_s,      u"июня"_s,    u"июля"_s,   u"августа"_s,
                                       u"сентября"_s, u"октября"_s, u"ноября"_s, u"декабря"_s};
    const QDate date = QDateTime::fromString(iso.toString().left(10), u"yyyy-MM-dd"_s).date();
    return u"%1 %2 %3 г."_s.arg(date.day()).arg(months.at(date.month() - 1)).arg(date.year());
}

QString nation(const QJsonValue& code)
{
    static const std::map<QString, QString> names = {{u"FIN"_s, u"Финляндия"_s},
                                                     {u"No information"_s, u"Нет данных"_s}};
    return names.at(code.toString());
}

// The standard's activity names as the card's and the unit's rows have them.
const std::map<QString, QString> kCardActivity = {{u"break/rest"_s, u"Rest"_s},
                                                  {u"availability"_s, u"Availability"_s},
                                                  {u"work"_s, u"Work"_s},
                                                  {u"driving"_s, u"Drive"_s}};
const std::map<QString, QString> kUnitActivity = {{u"break/rest"_s, u"Перерыв/отдых"_s},
                                                  {u"availability"_s, u"Доступность"_s},
                                                  {u"work"_s, u"Работа"_s},
                                                  {u"driving"_s, u"Вождение"_s}};

DatasetRows rowsWhere(const DatasetRows& rows, const QString& key, const QVariant& value)
{
    DatasetRows found;
    for (const QVariantMap& row : rows) {
        if (row.value(key) == value)
            found.append(row);
    }
    return found;
}

} // namespace

class TestDddSamples : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cards_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("Finnish card, wrapped activity ring") << u"card_fi_wrapped_ring"_s;
        QTest::newRow("first-generation part of a second-generation card") << u"card_gen1_gen2_dfs"_s;
    }

    void cards()
    {
        QFETCH(QString, name);
        const QJsonObject gen1 = expected(name).value(u"gen1"_s).toObject();
        QString error;
        const DddReport report = Decoder::decodeFile(samplePath(name + u".ddd"_s), &error);
        QCOMPARE(report.fileType, DddFileType::DriverCard);

        const QJsonObject id = gen1.value(u"identification"_s).toObject();
        const QStringList identification = {nation(id.value(u"cardIssuingMemberState"_s)),
                                            id.value(u"cardNumber"_s).toString(),
                                            id.value(u"cardIssuingAuthorityName"_s).toString(),
                                            russianDate(id.value(u"cardIssueDate"_s)),
                                            russianDate(id.value(u"cardValidityBegin"_s)),
                                            russianDate(id.value(u"cardExpiryDate"_s)),
                                            id.value(u"cardHolderSurname"_s).toString(),
                                            id.value(u"cardHolderFirstNames"_s).toString(),
                                            russianDate(id.value(u"cardHolderBirthDate"_s)),
                                            id.value(u"cardHolderPreferredLanguage"_s).toString()};
        QCOMPARE(column(report.cardIdentification, u"value"_s), identification);
        QCOMPARE(report.driverName, identification.at(6) + u' ' + identification.at(7));
        QCOMPARE(report.birthDate, identification.at(8));
        QCOMPARE(report.expiryDate, identification.at(5));
        const QJsonObject licence = gen1.value(u"drivingLicence"_s).toObject();
        QCOMPARE(
            column(report.drivingLicence, u"value"_s),
            QStringList({licence.value(u"issuingAuthority"_s).toString(),
                         nation(licence.value(u"issuingNation"_s)), licence.value(u"number"_s).toString()}));
        const QJsonObject icc = gen1.value(u"icc"_s).toObject();
        QCOMPARE(value(report.cardIcc, u"serialNumber"_s),
                 QString::number(icc.value(u"serialNumber"_s).toInt()));
        QCOMPARE(value(report.cardIcc, u"monthYear"_s), icc.value(u"monthYear"_s).toString());
        QCOMPARE(value(report.cardIcc, u"cardApprovalNumber"_s),
                 icc.value(u"cardApprovalNumber"_s).toString());
        const QJsonObject application = gen1.value(u"applicationIdentification"_s).toObject();
        for (const QString& key :
             {u"noOfEventsPerType"_s, u"noOfFaultsPerType"_s, u"activityStructureLength"_s,
              u"noOfCardVehicleRecords"_s, u"noOfCardPlaceRecords"_s})
            QCOMPARE(value(report.applicationIdentification, key),
                     QString::number(application.value(key).toInt()));

        QCOMPARE(report.events.size(), gen1.value(u"eventRecordsUsed"_s).toInt());
        QCOMPARE(report.faults.size(), gen1.value(u"faultRecordsUsed"_s).toInt());
        QCOMPARE(report.places.size(),
                 gen1.value(u"placesUsed"_s).toObject().value(u"nonEmptyRecords"_s).toInt());
        QCOMPARE(report.specificConditions.size(), gen1.value(u"specificConditionsUsed"_s).toInt());
        const QJsonObject usage = gen1.value(u"currentUsage"_s).toObject();
        QCOMPARE(column(report.currentUsage, u"value"_s),
                 QStringList({shown(usage.value(u"sessionOpenTime"_s), u"dd.MM.yyyy HH:mm:ss"_s),
                              nation(usage.value(u"vehicle"_s)[u"nation"_s]),
                              usage.value(u"vehicle"_s)[u"number"_s].toString()}));

        // Every vehicle record, in the file's order.
        const QJsonObject used = gen1.value(u"vehiclesUsed"_s).toObject();
        const QJsonArray vehicles = used.value(u"records"_s).toArray();
        QCOMPARE(report.vehicles.size(), used.value(u"nonEmptyRecords"_s).toInt());
        for (qsizetype i = 0; i < vehicles.size(); ++i) {
            const QJsonObject record = vehicles.at(i).toObject();
            const QVariantMap row = report.vehicles.at(i);
            QCOMPARE(row.value(u"vehicleOdometerBegin"_s).toInt(), record.value(u"odometerBegin"_s).toInt());
            QCOMPARE(row.value(u"vehicleOdometerEnd"_s).toInt(), record.value(u"odometerEnd"_s).toInt());
            QCOMPARE(row.value(u"vehicleFirstUsed"_s).toString(),
                     shown(record.value(u"firstUse"_s), u"dd.MM.yyyy HH:mm:ss"_s));
            QCOMPARE(row.value(u"vehicleLastUsed"_s).toString(),
                     shown(record.value(u"lastUse"_s), u"dd.MM.yyyy HH:mm:ss"_s));
            QCOMPARE(row.value(u"vehicleRegistrationNation1"_s).toString(),
                     nation(record.value(u"registration"_s)[u"nation"_s]));
            QCOMPARE(row.value(u"vehicleRegistrationNumber1"_s).toString(),
                     record.value(u"registration"_s)[u"number"_s].toString());
            QCOMPARE(row.value(u"vuDataBlockCounter"_s).toString(),
                     record.value(u"vuDataBlockCounter"_s).toString());
        }

        // Every day of the ring from the oldest to the newest, with its changes.
        const QJsonObject activity = gen1.value(u"activity"_s).toObject();
        const QJsonArray days = activity.value(u"days"_s).toArray();
        QCOMPARE(report.activities.size(), activity.value(u"numberOfDays"_s).toInt());
        QCOMPARE(report.totalDays, days.size());
        QCOMPARE(column(report.activities, u"activityRecordDate"_s).first(),
                 shown(activity.value(u"firstDay"_s), u"dd.MM.yyyy"_s));
        QCOMPARE(column(report.activities, u"activityRecordDate"_s).last(),
                 shown(activity.value(u"lastDay"_s), u"dd.MM.yyyy"_s));
        int distance = 0;
        for (qsizetype i = 0; i < days.size(); ++i) {
            const QJsonObject day = days.at(i).toObject();
            const QVariantMap row = report.activities.at(i);
            QCOMPARE(row.value(u"activityRecordDate"_s).toString(),
                     shown(day.value(u"date"_s), u"dd.MM.yyyy"_s));
            QCOMPARE(row.value(u"activityChangeCount"_s).toInt(), day.value(u"activityChanges"_s).toInt());
            QCOMPARE(row.value(u"activityDayDistance"_s).toInt(), day.value(u"distanceKm"_s).toInt());
            QCOMPARE(row.value(u"activityDailyPresenceCounter"_s).toString(),
                     day.value(u"presenceCounter"_s).toString());
            distance += day.value(u"distanceKm"_s).toInt();
            const DatasetRows changes =
                rowsWhere(report.activityChanges, u"day"_s, day.value(u"presenceCounter"_s).toString());
            QCOMPARE(changes.size(), day.value(u"activityChanges"_s).toInt());
            if (!day.value(u"monotonic"_s).toBool())
                continue; // the minutes of a day that runs back in time allow more than one sum
            int driving = 0;
            for (qsizetype c = 0; c < changes.size(); ++c) {
                const int end = c + 1 < changes.size() ? changes.at(c + 1).value(u"minutes"_s).toInt() : 1440;
                if (changes.at(c).value(u"activity"_s) == u"Drive"_s)
                    driving += end - changes.at(c).value(u"minutes"_s).toInt();
            }
            QCOMPARE(driving, day.value(u"derivedMinutes"_s)[u"driving"_s].toInt());
        }
        QCOMPARE(report.totalDistanceKm, distance);
        const auto compareChanges = [&](const QString& key, const QVariantMap& day) {
            const DatasetRows changes =
                rowsWhere(report.activityChanges, u"day"_s, day.value(u"activityDailyPresenceCounter"_s));
            // The rows of a day are in the order of their minutes; the file's order may run back in time.
            QVariantList list = activity.value(key).toArray().toVariantList();
            std::stable_sort(list.begin(), list.end(), [](const QVariant& a, const QVariant& b) {
                return a.toList().at(0).toInt() < b.toList().at(0).toInt();
            });
            QCOMPARE(changes.size(), list.size());
            for (qsizetype c = 0; c < list.size(); ++c) {
                const QVariantList change = list.at(c).toList();
                QCOMPARE(changes.at(c).value(u"minutes"_s).toInt(), change.at(0).toInt());
                QCOMPARE(changes.at(c).value(u"slot"_s).toString(),
                         change.at(2).toString() == u"driver"_s ? u"Driver"_s : u"Co-Driver"_s);
                if (changes.at(c).value(u"cardStatus"_s) == u"Inserted"_s)
                    QCOMPARE(changes.at(c).value(u"activity"_s).toString(),
                             kCardActivity.at(change.at(1).toString()));
            }
        };
        compareChanges(u"firstDayChanges"_s, report.activities.first());
        compareChanges(u"lastDayChanges"_s, report.activities.last());
    }

    void vehicleUnit()
    {
        const QJsonObject all = expected(u"vu_gen1"_s);
        const DddReport report = Decoder::decodeFile(samplePath(u"vu_gen1.ddd"_s));
        QCOMPARE(report.fileType, DddFileType::Tachograph);
        QStringList blocks;
        for (const DddBlock& block : report.blocks)
            blocks.append(u"%1@%2+%3"_s.arg(block.fileNumber).arg(block.offset).arg(block.length));
        QCOMPARE(blocks, QVariant(all.value(u"blocks"_s).toArray().toVariantList()).toStringList());

        const QJsonObject overview = all.value(u"overview"_s).toObject();
        QCOMPARE(report.vin, overview.value(u"vin"_s).toString());
        QCOMPARE(report.registrationNumber, overview.value(u"registration"_s)[u"number"_s].toString());
        QCOMPARE(report.vehicleRegistrationNation, nation(overview.value(u"registration"_s)[u"nation"_s]));
        const QString time = u"dd.MM.yyyy H:mm:ss"_s;
        QCOMPARE(value(report.currentDateTime, u"currentDateTime"_s),
                 shown(overview.value(u"currentDateTime"_s), time));
        QCOMPARE(column(report.downloadablePeriod, u"value"_s),
                 QStringList({shown(overview.value(u"downloadablePeriod"_s)[0], time),
                              shown(overview.value(u"downloadablePeriod"_s)[1], time)}));
        QCOMPARE(column(report.insertedCardType, u"hexData"_s).first(),
                 overview.value(u"cardSlotsStatus"_s).toString());
        QCOMPARE(value(report.downloadActivity, u"downloadingTime"_s),
                 shown(overview.value(u"lastDownloadTime"_s), time));
        QCOMPARE(value(report.downloadActivity, u"cardType"_s), u"Company Card"_s);
        QCOMPARE(value(report.downloadActivity, u"companyOrTachoriaName"_s),
                 overview.value(u"lastDownloadCompany"_s).toString());
        QCOMPARE(report.companyLocks.size(), overview.value(u"noOfLocks"_s).toInt());
        QCOMPARE(report.controlActivity.size(), overview.value(u"noOfControls"_s).toInt());

        // Events and faults: type and purpose are the record's first bytes.
        const QJsonObject eventsFaults = all.value(u"eventsFaults"_s).toObject();
        QCOMPARE(report.tachoFaults.size(), eventsFaults.value(u"noOfFaults"_s).toInt());
        const QJsonArray events = eventsFaults.value(u"events"_s).toArray();
        QCOMPARE(report.tachoEvents.size(), eventsFaults.value(u"noOfEvents"_s).toInt());
        for (qsizetype i = 0; i < events.size(); ++i) {
            const QJsonObject event = events.at(i).toObject();
            const QString hex = report.tachoEvents.at(i).value(u"hex"_s).toString();
            QCOMPARE(hex.left(4), u"%1%2"_s.arg(event.value(u"type"_s).toInt(), 2, 16, QLatin1Char('0'))
                                      .arg(event.value(u"purpose"_s).toInt(), 2, 16, QLatin1Char('0')));
            QCOMPARE(report.tachoEvents.at(i).value(u"eventBeginTime"_s).toString(),
                     shown(event.value(u"begin"_s), time));
        }
        QCOMPARE(report.overSpeedingEvents.size(), eventsFaults.value(u"noOfOverSpeedingEvents"_s).toInt());
        QCOMPARE(report.timeAdjustments.size(), eventsFaults.value(u"noOfTimeAdjustments"_s).toInt());
        const QJsonObject speed = all.value(u"detailedSpeed"_s).toObject();
        QCOMPARE(report.detailedSpeed.size(), speed.value(u"noOfSpeedBlocks"_s).toInt());
        QCOMPARE(report.detailedSpeed.first().value(u"speedBlockBeginDate"_s).toString(),
                 shown(speed.value(u"firstBlock"_s), time));
        QCOMPARE(report.detailedSpeed.last().value(u"speedBlockBeginDate"_s).toString(),
                 shown(speed.value(u"lastBlock"_s), time));

        const QJsonObject technical = all.value(u"technical"_s).toObject();
        QCOMPARE(value(report.vuIdentification, u"vuApprovalNumber"_s),
                 technical.value(u"vuApprovalNumber"_s).toString());
        QCOMPARE(value(report.vuIdentification, u"manufacturerCode"_s),
                 QString::number(technical.value(u"vuSerialNumber"_s)[u"manufacturerCode"_s].toInt()));
        QCOMPARE(value(report.vuIdentification, u"vuSoftInstallationDate"_s),
                 shown(technical.value(u"vuSoftwareInstallationDate"_s), time));
        QCOMPARE(value(report.sensorPaired, u"sensorApprovalNumber"_s),
                 technical.value(u"sensorApprovalNumber"_s).toString());
        QCOMPARE(value(report.sensorPaired, u"sensorPairingDateFirst"_s),
                 shown(technical.value(u"sensorPairingDateFirst"_s), time));
        const QJsonArray calibrations = technical.value(u"calibrations"_s).toArray();
        QCOMPARE(report.calibrationData.size(), technical.value(u"noOfCalibrations"_s).toInt());
        QCOMPARE(report.totalCalibrations, calibrations.size());
        for (qsizetype i = 0; i < calibrations.size(); ++i) {
            const QJsonObject calibration = calibrations.at(i).toObject();
            const QVariantMap row = report.calibrationData.at(i);
            const std::map<QString, QString> fields = {{u"wVehicleCharacteristicConstant"_s, u"w"_s},
                                                       {u"kConstantOfRecordingEquipment"_s, u"k"_s},
                                                       {u"iTyreCircumference"_s, u"l"_s},
                                                       {u"authorisedSpeed"_s, u"authorisedSpeed"_s},
                                                       {u"oldOdometerValue"_s, u"oldOdometer"_s},
                                                       {u"newOdometerValue"_s, u"newOdometer"_s}};
            for (const auto& [key, standard] : fields)
                QCOMPARE(row.value(key).toString(), QString::number(calibration.value(standard).toInt()));
            QCOMPARE(row.value(u"hexData"_s).toString().left(2),
                     u"%1"_s.arg(calibration.value(u"purpose"_s).toInt(), 2, 10, QLatin1Char('0')));
            QCOMPARE(row.value(u"tyreSize"_s).toString(), calibration.value(u"tyreSize"_s).toString());
            QCOMPARE(row.value(u"tachoriaName"_s).toString(),
                     calibration.value(u"workshopName"_s).toString());
            QCOMPARE(row.value(u"vehicleIdentificationNumber"_s).toString(),
                     calibration.value(u"vin"_s).toString());
            QCOMPARE(row.value(u"vehicleRegistrationNumber"_s).toString(),
                     calibration.value(u"registration"_s)[u"number"_s].toString());
            QCOMPARE(row.value(u"nextCalibrationDate"_s).toString(),
                     shown(calibration.value(u"nextCalibrationDate"_s), time));
        }

        // Every day with its card insertions, its changes on both slots and its places.
        const QJsonArray days = all.value(u"activityDays"_s).toArray();
        QCOMPARE(report.dayInformation.size(), all.value(u"numberOfActivityDays"_s).toInt());
        for (qsizetype i = 0; i < days.size(); ++i) {
            const QJsonObject day = days.at(i).toObject();
            const int dayNo = int(i + 1);
            QCOMPARE(report.dayInformation.at(i).value(u"timeReal"_s).toString(),
                     shown(day.value(u"dateOfDayTimeReal"_s), time));
            QCOMPARE(report.dayInformation.at(i).value(u"odometerValueMidnight"_s).toInt(),
                     day.value(u"odometerMidnightKm"_s).toInt());
            const DatasetRows cards = rowsWhere(report.cardIwData, u"blockNumber"_s, dayNo);
            const QJsonArray cardIw = day.value(u"cardIW"_s).toArray();
            QCOMPARE(cards.size(), day.value(u"noOfCardIWRecords"_s).toInt());
            for (qsizetype c = 0; c < cardIw.size(); ++c) {
                const QJsonObject card = cardIw.at(c).toObject();
                QCOMPARE(cards.at(c).value(u"cardHolderSurname"_s).toString(),
                         card.value(u"surname"_s).toString());
                QCOMPARE(cards.at(c).value(u"driverCardNumber"_s).toString(),
                         card.value(u"cardNumber"_s).toString());
                QCOMPARE(cards.at(c).value(u"cardInsertionDate"_s).toString(),
                         shown(card.value(u"insertion"_s), time));
                QCOMPARE(cards.at(c).value(u"cardWithdrawalTime"_s).toString(),
                         shown(card.value(u"withdrawal"_s), time));
                QCOMPARE(cards.at(c).value(u"cardSlotNumber"_s).toInt(), card.value(u"slot"_s).toInt());
            }
            const DatasetRows changes = rowsWhere(report.activityDaily, u"dayNo"_s, dayNo);
            QCOMPARE(changes.size(), day.value(u"noOfActivityChanges"_s).toInt());
            const QJsonArray first = day.value(u"firstChanges"_s).toArray();
            for (qsizetype c = 0; c < first.size(); ++c) {
                const QJsonArray change = first.at(c).toArray();
                QCOMPARE(changes.at(c).value(u"minutes"_s).toInt(), change.at(0).toInt());
                QCOMPARE(changes.at(c).value(u"activity"_s).toString(),
                         kUnitActivity.at(change.at(1).toString()));
                QCOMPARE(changes.at(c).value(u"slot"_s).toString(),
                         change.at(2).toString() == u"driver"_s ? u"Водитель"_s : u"Сопряжённый водитель"_s);
                QCOMPARE(changes.at(c).value(u"cardStatus"_s).toString(),
                         change.at(3).toBool() ? u"Не вставлена"_s : u"Вставлена"_s);
            }
            QCOMPARE(rowsWhere(report.placeDailyWorkPeriod, u"dayNo"_s, dayNo).size(),
                     day.value(u"noOfPlaceRecords"_s).toInt());
        }
        QCOMPARE(report.totalDays, days.size());
        QCOMPARE(report.totalDistanceKm, days.last()[u"odometerMidnightKm"_s].toInt() -
                                             days.first()[u"odometerMidnightKm"_s].toInt());
    }
};

QTEST_GUILESS_MAIN(TestDddSamples)
#include "test_ddd_samples.moc"
