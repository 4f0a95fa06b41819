#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

namespace tachoria::ddd {

enum class DddFileType
{
    Unknown = 0,
    DriverCard = 1,
    Tachograph = 2,
};

// One cut-out piece of a .ddd file.
struct DddBlock
{
    QString fileNumber; // tag in upper-case hexadecimal ("7601", "0505"), or "RAW", "ASN1"
    QString name;
    int occurrence = 0;
    int offset = 0;
    int length = 0;
    int recordCount = -1;
    int recordLength = -1;
    QByteArray data;
    int fileType = 0; // third byte of a card header: 0 data, 1 signature
};

struct DddAsn1Identity
{
    int version = 0;
    QString vin;
    QString registrationNumber;
    QString vehicleFirstUseDate;
    QString driverSurname;
    QString driverFirstName;
    QString cardNumber;
    QString dataStartDate;
    QString dataEndDate;
    QString cardWithdrawalTime;
};

using DatasetRows = QList<QVariantMap>;

// Everything the decoding of one file found. Rows are maps with stable English keys: the same key is
// the column on the page and in storage.
struct DddReport
{
    QString filePath;
    QString fileName;
    QString sourceFingerprint;
    DddFileType fileType = DddFileType::Unknown;
    int size = 0;
    QString vin;
    QString registrationNumber;
    QString vehicleRegistrationNation;
    QString cardNumber;
    QString driverName;
    QString driverFirstName;
    QString driverSurname;
    QString issuingAuthorityName;
    QString birthDate;
    QString expiryDate;
    QString lastCardDownload;
    QString lastCardDownloadString;
    QString drivingLicenceNumber;
    QString drivingLicenceIssuingAuthority;
    QString drivingLicenceIssuingNation;
    QString dataStartDate;
    QString dataEndDate;
    QString nextCalibrationDate;
    QString vehicleFirstUseDate;
    QString cardWithdrawalTime;
    int asn1Version = 0;
    int totalOverSpeeding = 0;
    int totalCalibrations = 0;
    int totalDays = 0;
    int totalDistanceKm = 0;
    double averageSpeed = 0;
    int maxSpeed = 0;
    int daysWithOverSpeeding = 0;
    int daysWithFaults = 0;
    QStringList printableStrings;
    QList<DddBlock> blocks;
    QString structureText;

    DatasetRows events, faults, activities, activityChanges, vehicles, places, charts, asn1Fields, sections,
        tachoChildSections, dayInformation, cardIwData, tachoEvents, tachoFaults, overSpeedingEvents,
        detailedSpeed, calibrationData, vehicleIdentification, vuIdentification, sensorPaired, activityDaily,
        placeDailyWorkPeriod, specificConditions, downloadActivity, currentDateTime, downloadablePeriod,
        insertedCardType, companyLocks, controlActivity, overSpeedingControl, currentUsage, timeAdjustments,
        cardIcc, cardIc, applicationIdentification, cardIdentification, cardDownload, drivingLicence;

    DddAsn1Identity asn1Identity;
    QVariantMap analysis;

    // The 38 dataset names in their fixed order, and each name's rows.
    static const QStringList& datasetNames();
    const DatasetRows* dataset(const QString& name) const;

    QVariantList blockRows() const;
    QVariantMap summary() const;
};

} // namespace tachoria::ddd
