#pragma once

// Writes first-generation driver-card and vehicle-unit .ddd files from a plain description of a
// driver's or a vehicle's history, and the variants that real files show (little-endian counts, junk
// between card blocks, truncated records, the 7681 layout). Tests decode what it wrote and compare
// with the description; the simulator serves its vehicle-unit files.

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QList>
#include <QString>

namespace tachoria::dddgen {

enum Activity
{
    Rest = 0,
    Availability = 1,
    Work = 2,
    Driving = 3,
};

struct ActivityChange
{
    int minutes = 0; // since midnight
    int activity = Rest;
    bool cardInserted = true;
    bool coDriver = false;
    bool crew = false;
};

struct CardInsertion // a driver's card in the vehicle unit, one a day at most in these descriptions
{
    QString surname;
    QString firstNames;
    QString cardNumber; // 16 characters
    int nation = 0x2B;
    QDate expiry;
    QDateTime inserted;
    QDateTime withdrawn;
    quint32 odometerIn = 0;
    quint32 odometerOut = 0;
    int slot = 0;
    bool manualInput = false;
    int nameCodePage = 5;
};

struct VuPlace
{
    QString cardNumber;
    QDateTime time;
    int entryType = 0;
    int country = 0x2B;
    int region = 0;
    quint32 odometer = 0;
};

struct Day
{
    QDate date;
    quint32 odometerMidnight = 0; // vehicle unit
    int distanceKm = 0;           // card
    QList<ActivityChange> changes;
    QList<CardInsertion> insertions; // vehicle unit
    QList<VuPlace> places;           // vehicle unit; one place a day keeps to the unit's layout
};

struct Vehicle
{
    quint32 odometerBegin = 0;
    quint32 odometerEnd = 0;
    QDateTime firstUse;
    QDateTime lastUse;
    int nation = 0x2B;
    QString registration;
    int blockCounter = 0;
};

struct Place
{
    QDateTime time;
    int entryType = 0;
    int country = 0x2B;
    quint32 odometer = 0;
};

struct Event // events and faults of both kinds of files
{
    int type = 0;
    int purpose = 0;
    QDateTime begin;
    QDateTime end;
    int nation = 0x2B;
    QString registration;
    QString cardNumber;
    int similarEvents = 0;
};

struct SpecificCondition
{
    QDateTime storedTime; // as the card stores it
    int code = 0;
};

struct OverSpeeding
{
    int type = 7;
    int purpose = 1;
    QDateTime begin;
    QDateTime end;
    int maxSpeed = 0;
    int averageSpeed = 0;
    QString cardNumber;
};

struct TimeAdjustment
{
    QDateTime oldTime;
    QDateTime newTime;
    QString workshopName;
    QString workshopAddress;
    QString cardNumber;
};

struct SpeedBlock
{
    QDateTime begin;
    QList<int> speeds; // 60 values, 255 for no reading
};

struct Calibration
{
    int purpose = 4;
    QString workshopName; // the unit's search wants "О..." or "ИП..." at its head
    QString workshopAddress;
    QString cardNumber;
    QDateTime cardExpiry;
    QString vin;
    QString registration;
    int registrationCodePage = 1;
    int w = 0;
    int k = 0;
    int l = 0;
    QString tyreSize;
    int authorisedSpeed = 0;
    int oldOdometer = 0;
    int newOdometer = 0;
    QDateTime oldTime;
    QDateTime newTime;
    QDateTime nextCalibration;
};

// The card's last control, whose times the card keeps little-endian. The default is an empty record.
struct CardControl
{
    int type = 0;
    QDateTime time;
    int cardType = 0;
    int cardNation = 0;
    QString cardNumber; // 16 characters
    int vehicleNation = 0;
    QString registration; // behind code page 1; empty leaves the field zero
    QDateTime periodBegin;
    QDateTime periodEnd;
};

struct DriverCardDescription
{
    QString cardNumber;
    QString surname;
    QString firstNames;
    QString issuingAuthority;
    int nameCodePage = 5; // of the authority and the holder's names
    QString language = QStringLiteral("ru");
    int nation = 0x2B;
    QDate issueDate;
    QDate validityBegin;
    QDate expiryDate;
    QDate birthDate;
    QString licenceAuthority;
    int licenceNation = 0x2B;
    QString licenceNumber;
    QDateTime lastDownload;
    QDateTime sessionOpen;
    QString currentRegistration;
    QList<Day> days;
    QList<Vehicle> vehicles;
    QList<Place> places;
    QList<Event> events;
    QList<Event> faults;
    QList<SpecificCondition> conditions;
    CardControl control;

    bool littleEndianCounts = false; // 0501 lengths as some cards write them
    bool signatures = true;          // a signature file behind each data file
    int junkBetweenBlocks = 0;       // bytes of 0xFF between blocks
    QList<int> junkBefore;           // the files that get junk before them; empty for all
    bool truncatedRecords = false;   // events and faults end in a partial record
    int daysPerActivityFile = 0;     // above 0: the days spread over several activity files of so many days
    int activityRingSize = 0;        // the activity ring's bytes; at least what the days need
    int activityRingStart = 0;       // where in the ring the oldest day begins; the days wrap at its end
};

struct VehicleUnitDescription
{
    QString vin;
    int nation = 0x2B;
    QString registration;
    QDateTime currentTime;
    QDateTime downloadableFrom;
    QDateTime downloadableTo;
    int driverSlot = 1;
    int coDriverSlot = 0;
    QDateTime downloadTime;
    QString downloadCardNumber;
    QString downloadCompany;
    QList<Day> days;
    QList<Event> faults;
    QList<Event> events;
    QDateTime lastOverspeedControl;
    QDateTime firstOverspeedSince;
    int overspeedCount = 0;
    QList<OverSpeeding> overSpeeding;
    QList<TimeAdjustment> timeAdjustments;
    QList<SpeedBlock> speed;
    QString manufacturerName;
    QString manufacturerAddress;
    QString partNumber;
    quint32 serialNumber = 0;
    QString softwareVersion;
    QDateTime softwareInstalled;
    QDateTime manufactured;
    QString approvalNumber;
    quint32 sensorSerial = 0;
    QString sensorApproval;
    QDateTime sensorPairing;
    QList<Calibration> calibrations;
    int daysPerActivityBlock = 1; // days one behind the other in one 7602 block, each with its signature
};

// The second-generation layout: 7681 with a certificate, then a 7684 span and 7685 records.
struct ExtendedVehicleUnitDescription
{
    int version = 2;
    QString vin;
    QString registration;
    QDateTime firstUse;
    QString surname;
    QString firstName;
    QString cardNumber;
    QDateTime dataStart;
    QDateTime dataEnd;
    int extendedBytes = 40;
    int records = 3;
    int lastRecordBytes = 254; // below 254 leaves a short last record
};

QByteArray writeDriverCard(const DriverCardDescription& description);
QByteArray writeVehicleUnit(const VehicleUnitDescription& description);
// One block as the unit hands it out over the service link, without its 76 xx marker: 0x01 the
// overview, 0x02 the activities of `day` (a day missing from the description is a parked day of rest),
// 0x03 events and faults, 0x04 detailed speed, 0x05 technical data. Other types give nothing.
QByteArray vehicleUnitBlock(const VehicleUnitDescription& description, int type, const QDate& day = {});

QByteArray writeExtendedVehicleUnit(const ExtendedVehicleUnitDescription& description);

// Text in the unit's single-byte Cyrillic code page, and back (other bytes are dropped, the text trimmed).
QByteArray encodeCyrillic(const QString& text, int length, char fill = ' ');
// Text in ISO/IEC 8859 part `codePage`, padded with blanks; a character the part lacks becomes "?".
QByteArray encodeCodePage(const QString& text, int codePage, int length);
QString decodeCyrillic(const QByteArray& bytes);

// Samples with a realistic history: a driver's `days` days from `firstDay`, and a vehicle.
DriverCardDescription sampleDriverCard(int days, const QDate& firstDay = QDate(2024, 3, 4));
VehicleUnitDescription sampleVehicleUnit(int days, const QDate& firstDay = QDate(2024, 3, 4));
ExtendedVehicleUnitDescription sampleExtendedVehicleUnit();

// Files for measuring the decoder: a unit's `days` busy days (40 activity changes and 20 card insertions a
// day) and a day of detailed speed, whose minutes all differ when `variedSpeeds`; and a card whose days
// of 120 activity changes fill `activityFiles` activity files of nearly the largest size a card file has.
QByteArray busyVehicleUnit(int days, bool variedSpeeds);
// A week of the sample unit with a day of detailed speed, about 100 KB.
QByteArray dayOfSpeedVehicleUnit();
QByteArray longActivityCard(int activityFiles);

} // namespace tachoria::dddgen
