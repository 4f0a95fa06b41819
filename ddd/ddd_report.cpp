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

QVariantMap DddReport::summary() const
{
    const QString typeText = fileType == DddFileType::DriverCard ? QStringLiteral("Карта водителя")
                             : fileType == DddFileType::Tachograph ? QStringLiteral("Тахограф")
                                                                   : QStringLiteral("Неизвестный формат");
    QVariantMap map{
        {QStringLiteral("fileName"), fileName},
        {QStringLiteral("filePath"), filePath},
        {QStringLiteral("fileType"), typeText},
        {QStringLiteral("size"), size},
        {QStringLiteral("blockCount"), blocks.size()},
        {QStringLiteral("vin"), vin},
        {QStringLiteral("registrationNumber"), registrationNumber},
        {QStringLiteral("vehicleRegistrationNation"), vehicleRegistrationNation},
        {QStringLiteral("cardNumber"), cardNumber},
        {QStringLiteral("driverName"), driverName},
        {QStringLiteral("driverFirstName"), driverFirstName},
        {QStringLiteral("driverSurname"), driverSurname},
        {QStringLiteral("issuingAuthorityName"), issuingAuthorityName},
        {QStringLiteral("birthDate"), birthDate},
        {QStringLiteral("expiryDate"), expiryDate},
        {QStringLiteral("lastCardDownload"), lastCardDownload},
        {QStringLiteral("lastCardDownloadString"), lastCardDownloadString},
        {QStringLiteral("drivingLicenceNumber"), drivingLicenceNumber},
        {QStringLiteral("drivingLicenceIssuingAuthority"), drivingLicenceIssuingAuthority},
        {QStringLiteral("drivingLicenceIssuingNation"), drivingLicenceIssuingNation},
        {QStringLiteral("dataStartDate"), dataStartDate},
        {QStringLiteral("dataEndDate"), dataEndDate},
        {QStringLiteral("nextCalibrationDate"), nextCalibrationDate},
        {QStringLiteral("vehicleFirstUseDate"), vehicleFirstUseDate},
        {QStringLiteral("cardWithdrawalTime"), cardWithdrawalTime},
        {QStringLiteral("asn1Version"), asn1Version},
        {QStringLiteral("asn1Identity"),
         QVariantMap{{QStringLiteral("version"), asn1Identity.version},
                     {QStringLiteral("vin"), asn1Identity.vin},
                     {QStringLiteral("registrationNumber"), asn1Identity.registrationNumber},
                     {QStringLiteral("vehicleFirstUseDate"), asn1Identity.vehicleFirstUseDate},
                     {QStringLiteral("driverSurname"), asn1Identity.driverSurname},
                     {QStringLiteral("driverFirstName"), asn1Identity.driverFirstName},
                     {QStringLiteral("cardNumber"), asn1Identity.cardNumber},
                     {QStringLiteral("dataStartDate"), asn1Identity.dataStartDate},
                     {QStringLiteral("dataEndDate"), asn1Identity.dataEndDate},
                     {QStringLiteral("cardWithdrawalTime"), asn1Identity.cardWithdrawalTime}}},
        {QStringLiteral("eventCount"), events.size()},
        {QStringLiteral("faultCount"), faults.size()},
        {QStringLiteral("activityCount"), activities.size()},
        {QStringLiteral("activityChangeCount"), activityChanges.size()},
        {QStringLiteral("vehicleCount"), vehicles.size()},
        {QStringLiteral("placeCount"), places.size()},
        {QStringLiteral("dayInformationCount"), dayInformation.size()},
        {QStringLiteral("cardIwCount"), cardIwData.size()},
        {QStringLiteral("tachoEventCount"), tachoEvents.size()},
        {QStringLiteral("tachoFaultCount"), tachoFaults.size()},
        {QStringLiteral("overSpeedingCount"), overSpeedingEvents.size()},
        {QStringLiteral("detailedSpeedCount"), detailedSpeed.size()},
        {QStringLiteral("calibrationCount"), calibrationData.size()},
        {QStringLiteral("activityDailyCount"), activityDaily.size()},
        {QStringLiteral("placeDailyWorkPeriodCount"), placeDailyWorkPeriod.size()},
        {QStringLiteral("specificConditionCount"), specificConditions.size()},
        {QStringLiteral("companyLockCount"), companyLocks.size()},
        {QStringLiteral("controlActivityCount"), controlActivity.size()},
        {QStringLiteral("totalOverSpeeding"), totalOverSpeeding},
        {QStringLiteral("totalCalibrations"), totalCalibrations},
        {QStringLiteral("totalDays"), totalDays},
        {QStringLiteral("totalDistanceKm"), totalDistanceKm},
        {QStringLiteral("averageSpeed"), averageSpeed},
        {QStringLiteral("maxSpeed"), maxSpeed},
        {QStringLiteral("daysWithOverSpeeding"), daysWithOverSpeeding},
        {QStringLiteral("daysWithFaults"), daysWithFaults},
        {QStringLiteral("asn1FieldCount"), asn1Fields.size()},
        {QStringLiteral("complianceScore"),
         analysis.value(QStringLiteral("compliance")).toMap().value(QStringLiteral("overallScore"))},
    };
    map.insert(
        QStringLiteral("formatNote"),
        fileType == DddFileType::Tachograph
            ? QStringLiteral("Разобраны секции тахографа 7601–7605/7681–7685, цифровые подписи, ASN.1/BER и "
                             "доступные расчёты активности, расстояния, скорости и нарушений.")
            : QStringLiteral(
                  "Разобраны ASN.1/BER и доступные блоки карты ICC/IC, идентификации, событий, "
                  "неисправностей, активности, автомобилей, мест и дополнительных данных; рассчитаны "
                  "рабочее время, лимиты и нарушения."));
    return map;
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
