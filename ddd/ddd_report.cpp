#include "ddd/ddd_report.h"

namespace tachoria::ddd {

const QStringList& DddReport::datasetNames()
{
    static const QStringList names = {
        QStringLiteral("events"),
        QStringLiteral("faults"),
        QStringLiteral("activities"),
        QStringLiteral("activityChanges"),
        QStringLiteral("vehicles"),
        QStringLiteral("places"),
        QStringLiteral("charts"),
        QStringLiteral("asn1Fields"),
        QStringLiteral("sections"),
        QStringLiteral("tachoChildSections"),
        QStringLiteral("dayInformation"),
        QStringLiteral("cardIwData"),
        QStringLiteral("tachoEvents"),
        QStringLiteral("tachoFaults"),
        QStringLiteral("overSpeedingEvents"),
        QStringLiteral("detailedSpeed"),
        QStringLiteral("calibrationData"),
        QStringLiteral("vehicleIdentification"),
        QStringLiteral("vuIdentification"),
        QStringLiteral("sensorPaired"),
        QStringLiteral("activityDaily"),
        QStringLiteral("placeDailyWorkPeriod"),
        QStringLiteral("specificConditions"),
        QStringLiteral("downloadActivity"),
        QStringLiteral("currentDateTime"),
        QStringLiteral("downloadablePeriod"),
        QStringLiteral("insertedCardType"),
        QStringLiteral("companyLocks"),
        QStringLiteral("controlActivity"),
        QStringLiteral("overSpeedingControl"),
        QStringLiteral("currentUsage"),
        QStringLiteral("timeAdjustments"),
        QStringLiteral("cardIcc"),
        QStringLiteral("cardIc"),
        QStringLiteral("applicationIdentification"),
        QStringLiteral("cardIdentification"),
        QStringLiteral("cardDownload"),
        QStringLiteral("drivingLicence"),
    };
    return names;
}

const DatasetRows* DddReport::dataset(const QString& name) const
{
    const DatasetRows* const all[] = {
        &events,
        &faults,
        &activities,
        &activityChanges,
        &vehicles,
        &places,
        &charts,
        &asn1Fields,
        &sections,
        &tachoChildSections,
        &dayInformation,
        &cardIwData,
        &tachoEvents,
        &tachoFaults,
        &overSpeedingEvents,
        &detailedSpeed,
        &calibrationData,
        &vehicleIdentification,
        &vuIdentification,
        &sensorPaired,
        &activityDaily,
        &placeDailyWorkPeriod,
        &specificConditions,
        &downloadActivity,
        &currentDateTime,
        &downloadablePeriod,
        &insertedCardType,
        &companyLocks,
        &controlActivity,
        &overSpeedingControl,
        &currentUsage,
        &timeAdjustments,
        &cardIcc,
        &cardIc,
        &applicationIdentification,
        &cardIdentification,
        &cardDownload,
        &drivingLicence,
    };
    const qsizetype index = datasetNames().indexOf(name);
    return index < 0 ? nullptr : all[index];
}

QVariantList DddReport::blockRows() const
{
    const bool card = fileType == DddFileType::DriverCard;
    QVariantList rows;
    for (const DddBlock& block : blocks) {
        const QString hex = QString::fromLatin1(block.data.toHex().toUpper());
        QVariantMap row;
        row.insert(QStringLiteral("fileNumber"), block.fileNumber);
        row.insert(QStringLiteral("name"), block.name);
        row.insert(QStringLiteral("occurrence"), card ? 0 : block.occurrence);
        row.insert(QStringLiteral("offset"), block.offset);
        row.insert(QStringLiteral("length"), block.length);
        row.insert(QStringLiteral("recordCount"), card ? 0 : block.recordCount);
        row.insert(QStringLiteral("recordLength"), card ? 0 : block.recordLength);
        row.insert(QStringLiteral("blockStartPosition"), 0);
        row.insert(QStringLiteral("fileType"), block.fileType);
        row.insert(QStringLiteral("description"),
                   card ? QStringLiteral("Найден по структурированному формату") : QString());
        row.insert(QStringLiteral("data"),
                   QVariantMap{{QStringLiteral("length"), block.length}, {QStringLiteral("hex"), hex}});
        row.insert(QStringLiteral("payloadHex"), hex);
        rows.append(row);
    }
    return rows;
}

} // namespace tachoria::ddd
