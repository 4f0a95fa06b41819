#include "ddd/ddd_repository.h"

#include "ddd/ddd_decoder.h"
#include "ddd/ddd_json.h"
#include "storage/database_catalog.h"
#include "storage/sqlite_connection.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>

#include <algorithm>
#include <limits>

namespace tachoria::ddd {

using namespace Qt::StringLiterals;

namespace {

// A column of a flat child table and the keys of the row it is written from (none: left empty).
struct ChildColumn
{
    QString name;
    QString type;
    QStringList keys;
};

struct ChildTable
{
    QString table;
    QString keyColumn;
    QString dataset;
    bool card; // a child of DriverCardReports, else of TachographReports
    QList<ChildColumn> columns;
};

QString lowerFirst(const QString& name)
{
    return name.isEmpty() ? name : name.at(0).toLower() + name.mid(1);
}

// "Name[:TYPE][=key|key]" per column; without keys the column's name with a small first letter, with
// "=-" none.
ChildTable childTable(const QString& table, const QString& keyColumn, const QString& dataset, bool card,
                      const QString& columns)
{
    ChildTable result{table, keyColumn, dataset, card, {}};
    for (const QString& token : columns.split(u' ', Qt::SkipEmptyParts)) {
        const QString declaration = token.section(u'=', 0, 0);
        const QString name = declaration.section(u':', 0, 0);
        const QString type = declaration.contains(u':') ? declaration.section(u':', 1) : u"TEXT"_s;
        QStringList keys{lowerFirst(name)};
        if (token.contains(u'='))
            keys = token.section(u'=', 1) == u"-"_s ? QStringList() : token.section(u'=', 1).split(u'|');
        result.columns.append({name, type, keys});
    }
    return result;
}

// The flat tables of earlier versions, each filled from one dataset, in the order they are written.
const QList<ChildTable>& childTables()
{
    static const QList<ChildTable> tables = {
        childTable(
            u"Events"_s, u"EventId"_s, u"events"_s, true,
            u"EventType EventBeginTime EventEndTime VehicleRegistrationNumber VehicleRegistrationNation"_s),
        childTable(
            u"Faults"_s, u"FaultId"_s, u"faults"_s, true,
            u"FaultType FaultBeginTime FaultEndTime VehicleRegistrationNumber=faultVehicleRegistrationNumber "
            "VehicleRegistrationNation=faultVehicleRegistrationNation"_s),
        childTable(u"Vehicles"_s, u"VehicleId"_s, u"vehicles"_s, true,
                   u"VehicleRegistrationNumber1 VehicleRegistrationNation1 VehicleRegistrationNumber2=- "
                   "VehicleRegistrationNation2=- VehicleFirstUsed VehicleLastUsed VehicleOdometerBegin "
                   "VehicleOdometerEnd"_s),
        childTable(u"ActivityChanges"_s, u"ActivityChangeId"_s, u"activityChanges"_s, true,
                   u"ActivityDailyPresenceCounter1 Slot DrivingStatus CardStatus Activity Time"_s),
        childTable(u"DriverActivities"_s, u"ActivityId"_s, u"activities"_s, true,
                   u"ActivityRecordDate ActivityDayDistance ActivityDailyPresenceCounter"_s),
        childTable(u"Places"_s, u"PlaceId"_s, u"places"_s, true,
                   u"VehicleOdometerValue EntryTime EntryTypeDailyWorkPeriod DailyWorkPeriodRegion "
                   "DailyWorkPeriodCountry"_s),
        childTable(u"TachoEvents"_s, u"EventId"_s, u"tachoEvents"_s, false,
                   u"EventType EventRecordPurpose EventBeginTime EventEndTime CardNumberDriverSlotBegin "
                   "CardNumberCoDriverSlotBegin CardNumberDriverSlotEnd CardNumberCoDriverSlotEnd "
                   "SimilarEventsNumber"_s),
        childTable(u"TachoFaults"_s, u"FaultId"_s, u"tachoFaults"_s, false,
                   u"FaultType FaultRecordPurpose FaultBeginTime FaultEndTime CardNumberDriverSlotBegin "
                   "CardNumberCoDriverSlotBegin CardNumberDriverSlotEnd CardNumberCoDriverSlotEnd"_s),
        childTable(
            u"TachoOverSpeedingEvents"_s, u"OverSpeedingId"_s, u"overSpeedingEvents"_s, false,
            u"EventType=eventType1|eventType EventRecordPurpose=eventRecordPurpose1|eventRecordPurpose "
            "EventBeginTime=eventBeginTime1|eventBeginTime EventEndTime=eventEndTime1|eventEndTime "
            "MaxSpeedValue AverageSpeedValue "
            "CardNumberDriverSlotBegin=cardNumberDriverSlotBegin11|cardNumberDriverSlotBegin "
            "SimilarEventsNumber=similarEventsNumber1|similarEventsNumber"_s),
        childTable(
            u"TachoCalibrationData"_s, u"CalibrationId"_s, u"calibrationData"_s, false,
            u"CalibrationPurpose TachoriaName TachoriaAddress TachoriaCardNumber TachoriaCardExpiryDate "
            "VehicleIdentificationNumber VehicleRegistrationNation VehicleRegistrationNumber "
            "WVehicleCharacteristicConstant KConstantOfRecordingEquipment ITyreCircumference TyreSize "
            "AuthorisedSpeed OldOdometerValue NewOdometerValue OldTimeValue NewTimeValue "
            "NextCalibrationDate"_s),
        childTable(u"TachoDayInformation"_s, u"DayInfoId"_s, u"dayInformation"_s, false,
                   u"DayNo:INTEGER TimeReal:DATETIME OdometerValueMidnight:INTEGER"_s),
        childTable(
            u"TachoCardIWData"_s, u"CardIWId"_s, u"cardIwData"_s, false,
            u"DayNo:INTEGER CardHolderSurname CardHolderFirstNames CardType CardIssuingMemberState "
            "DriverCardNumber CardExpiryDate CardInsertionDate VehicleOdometerValueAtInsertion:INTEGER "
            "CardSlot CardWithdrawalTime VehicleOdometerValueAtWithdrawal:INTEGER "
            "PrevVehicleRegistrationNation PrevVehicleRegistrationNumber PrevCardWithdrawalTime "
            "ManualInputFlag"_s),
        childTable(u"TachoActivityDaily"_s, u"ActivityId"_s, u"activityDaily"_s, false,
                   u"DayNo:INTEGER Slot DrivingStatus CardStatus Activity TimeOfChange=timeOfChange|time"_s),
        childTable(
            u"TachoPlaceDailyWorkPeriod"_s, u"PlaceId"_s, u"placeDailyWorkPeriod"_s, false,
            u"DayNo:INTEGER CardType CardIssuingMemberState DriverCardNumber EntryTime "
            "EntryTypeDailyWorkPeriod DailyWorkPeriodCountry DailyWorkPeriodRegion VehicleOdometerValue"_s),
        childTable(u"TachoSpecificConditionData"_s, u"ConditionId"_s, u"specificConditions"_s, false,
                   u"DayNo:INTEGER EntryTime SpecificConditionType"_s),
        childTable(u"TachoDetailedSpeedData"_s, u"SpeedId"_s, u"detailedSpeed"_s, false,
                   u"SpeedBlockBeginDate SpeedsPerSecond SpeedValuesJson=speedValues"_s),
        childTable(u"TachoVUIdentification"_s, u"IdentificationId"_s, u"vuIdentification"_s, false,
                   u"Description Value"_s),
        childTable(u"TachoSensorPaired"_s, u"SensorId"_s, u"sensorPaired"_s, false, u"Description Value"_s),
    };
    return tables;
}

QString createChildTable(const ChildTable& child)
{
    QString statement =
        u"CREATE TABLE IF NOT EXISTS %1 (%2 INTEGER PRIMARY KEY AUTOINCREMENT, ReportId %3"_s.arg(
            child.table, child.keyColumn, child.card ? u"INTEGER"_s : u"INTEGER NOT NULL"_s);
    for (const ChildColumn& column : child.columns)
        statement += u", %1 %2"_s.arg(column.name, column.type);
    if (child.card)
        statement += u", ImportDate DATETIME DEFAULT CURRENT_TIMESTAMP"_s;
    return statement + u", FOREIGN KEY(ReportId) REFERENCES %1(ReportId) ON DELETE CASCADE)"_s.arg(
                           child.card ? u"DriverCardReports"_s : u"TachographReports"_s);
}

const QString kCreateDriverCardReports =
    u"CREATE TABLE IF NOT EXISTS DriverCardReports (ReportId INTEGER PRIMARY KEY AUTOINCREMENT, ReportDate "
    "DATETIME DEFAULT CURRENT_TIMESTAMP, CardNumber TEXT, DriverFirstName TEXT, DriverSurname TEXT, "
    "DriverFullName TEXT, IssuingAuthorityName TEXT, BirthDate TEXT, ExpiryDate TEXT, LastCardDownload TEXT, "
    "LastCardDownloadString TEXT, DrivingLicenceNumber TEXT, DrivingLicenceIssuingAuthority TEXT, "
    "DrivingLicenceIssuingNation TEXT, TotalEvents INTEGER, TotalFaults INTEGER, TotalVehiclesUsed INTEGER, "
    "TotalActivityRecords INTEGER, TotalActivityChanges INTEGER, DataStartDate TEXT, DataEndDate TEXT, "
    "TotalDrivingHours INTEGER, TotalRestHours INTEGER, TotalDistanceKm INTEGER, ImportDate DATETIME DEFAULT "
    "CURRENT_TIMESTAMP)"_s;
const QString kCreateTachographReports =
    u"CREATE TABLE IF NOT EXISTS TachographReports (ReportId INTEGER PRIMARY KEY AUTOINCREMENT, ReportDate "
    "DATETIME DEFAULT CURRENT_TIMESTAMP, VIN TEXT, VehicleRegistration TEXT, TotalEvents INTEGER, "
    "TotalFaults "
    "INTEGER, TotalOverSpeeding INTEGER, TotalCalibrations INTEGER, TotalDays INTEGER, TotalDistanceKm "
    "INTEGER, "
    "DataStartDate TEXT, DataEndDate TEXT, AverageSpeed REAL, MaxSpeed INTEGER, DaysWithOverSpeeding "
    "INTEGER, "
    "DaysWithFaults INTEGER, NextCalibrationDate TEXT, ImportDate DATETIME DEFAULT CURRENT_TIMESTAMP)"_s;

// Columns that earlier versions' tables lack, added when missing, in this order.
struct AddedColumn
{
    const char* table;
    const char* column;
    const char* type;
};
constexpr AddedColumn kAddedColumns[] = {
    {"DriverCardReports", "DriverFirstName", "TEXT"},
    {"DriverCardReports", "DriverSurname", "TEXT"},
    {"DriverCardReports", "IssuingAuthorityName", "TEXT"},
    {"DriverCardReports", "BirthDate", "TEXT"},
    {"DriverCardReports", "ExpiryDate", "TEXT"},
    {"DriverCardReports", "LastCardDownload", "TEXT"},
    {"DriverCardReports", "LastCardDownloadString", "TEXT"},
    {"DriverCardReports", "DrivingLicenceNumber", "TEXT"},
    {"DriverCardReports", "DrivingLicenceIssuingAuthority", "TEXT"},
    {"DriverCardReports", "DrivingLicenceIssuingNation", "TEXT"},
    {"DriverCardReports", "DataStartDate", "TEXT"},
    {"DriverCardReports", "DataEndDate", "TEXT"},
    {"DriverCardReports", "TotalDrivingHours", "INTEGER"},
    {"DriverCardReports", "TotalRestHours", "INTEGER"},
    {"DriverCardReports", "TotalDistanceKm", "INTEGER"},
    {"TachographReports", "VehicleRegistrationNation", "TEXT"},
    {"TachographReports", "TotalOverSpeeding", "INTEGER"},
    {"TachographReports", "TotalCalibrations", "INTEGER"},
    {"TachographReports", "DataStartDate", "TEXT"},
    {"TachographReports", "DataEndDate", "TEXT"},
    {"TachographReports", "AverageSpeed", "REAL"},
    {"TachographReports", "MaxSpeed", "INTEGER"},
    {"TachographReports", "DaysWithOverSpeeding", "INTEGER"},
    {"TachographReports", "DaysWithFaults", "INTEGER"},
    {"TachographReports", "NextCalibrationDate", "TEXT"},
    {"TachoDetailedSpeedData", "SpeedValuesJson", "TEXT"},
};

QByteArray compactJson(const QVariant& value)
{
    JsonWriter json;
    json.value(value);
    return json.take();
}

// A JSON value as the decoder would have made it: whole numbers that fit are ints, null is nothing.
QVariant variantOf(const QJsonValue& value)
{
    switch (value.type()) {
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        return QVariant();
    case QJsonValue::Object: {
        QVariantMap map;
        const QJsonObject object = value.toObject();
        for (auto it = object.constBegin(); it != object.constEnd(); ++it)
            map.insert(it.key(), variantOf(it.value()));
        return map;
    }
    case QJsonValue::Array: {
        QVariantList list;
        const QJsonArray array = value.toArray();
        list.reserve(array.size());
        for (const QJsonValue& item : array)
            list.append(variantOf(item));
        return list;
    }
    default: {
        QVariant plain = value.toVariant();
        if (plain.typeId() == QMetaType::LongLong) {
            const qint64 number = plain.toLongLong();
            if (number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max())
                return int(number);
        }
        return plain;
    }
    }
}

// A stored JSON object, or nothing when the text holds none.
std::optional<QVariantMap> jsonObject(const QVariant& text)
{
    const QJsonDocument document = QJsonDocument::fromJson(text.toString().toUtf8());
    if (!document.isObject())
        return std::nullopt;
    return variantOf(document.object()).toMap();
}

QVariant fieldOf(const QVariantMap& record, const QString& column)
{
    return record.value(column);
}

DddAsn1Identity identityFrom(const QVariantMap& map)
{
    DddAsn1Identity identity;
    identity.version = map.value(u"version"_s).toInt();
    identity.vin = map.value(u"vin"_s).toString();
    identity.registrationNumber = map.value(u"registrationNumber"_s).toString();
    identity.vehicleFirstUseDate = map.value(u"vehicleFirstUseDate"_s).toString();
    identity.driverSurname = map.value(u"driverSurname"_s).toString();
    identity.driverFirstName = map.value(u"driverFirstName"_s).toString();
    identity.cardNumber = map.value(u"cardNumber"_s).toString();
    identity.dataStartDate = map.value(u"dataStartDate"_s).toString();
    identity.dataEndDate = map.value(u"dataEndDate"_s).toString();
    identity.cardWithdrawalTime = map.value(u"cardWithdrawalTime"_s).toString();
    return identity;
}

// The text fields of a report by the meta JSON's keys.
QList<std::pair<QString, QString DddReport::*>> textFields()
{
    return {{u"filePath"_s, &DddReport::filePath},
            {u"fileName"_s, &DddReport::fileName},
            {u"sourceFingerprint"_s, &DddReport::sourceFingerprint},
            {u"vin"_s, &DddReport::vin},
            {u"registrationNumber"_s, &DddReport::registrationNumber},
            {u"vehicleRegistrationNation"_s, &DddReport::vehicleRegistrationNation},
            {u"cardNumber"_s, &DddReport::cardNumber},
            {u"driverName"_s, &DddReport::driverName},
            {u"driverFirstName"_s, &DddReport::driverFirstName},
            {u"driverSurname"_s, &DddReport::driverSurname},
            {u"issuingAuthorityName"_s, &DddReport::issuingAuthorityName},
            {u"birthDate"_s, &DddReport::birthDate},
            {u"expiryDate"_s, &DddReport::expiryDate},
            {u"lastCardDownload"_s, &DddReport::lastCardDownload},
            {u"lastCardDownloadString"_s, &DddReport::lastCardDownloadString},
            {u"drivingLicenceNumber"_s, &DddReport::drivingLicenceNumber},
            {u"drivingLicenceIssuingAuthority"_s, &DddReport::drivingLicenceIssuingAuthority},
            {u"drivingLicenceIssuingNation"_s, &DddReport::drivingLicenceIssuingNation},
            {u"dataStartDate"_s, &DddReport::dataStartDate},
            {u"dataEndDate"_s, &DddReport::dataEndDate},
            {u"nextCalibrationDate"_s, &DddReport::nextCalibrationDate},
            {u"vehicleFirstUseDate"_s, &DddReport::vehicleFirstUseDate},
            {u"cardWithdrawalTime"_s, &DddReport::cardWithdrawalTime}};
}

QList<std::pair<QString, int DddReport::*>> numberFields()
{
    return {{u"size"_s, &DddReport::size},
            {u"asn1Version"_s, &DddReport::asn1Version},
            {u"totalOverSpeeding"_s, &DddReport::totalOverSpeeding},
            {u"totalCalibrations"_s, &DddReport::totalCalibrations},
            {u"totalDays"_s, &DddReport::totalDays},
            {u"totalDistanceKm"_s, &DddReport::totalDistanceKm},
            {u"maxSpeed"_s, &DddReport::maxSpeed},
            {u"daysWithOverSpeeding"_s, &DddReport::daysWithOverSpeeding},
            {u"daysWithFaults"_s, &DddReport::daysWithFaults}};
}

} // namespace

DddRepository::DddRepository(const QString& path)
{
    QString target = path;
    if (target.isEmpty()) {
        if (!storage::DatabaseCatalog::prepareReportsDatabase(&m_lastError))
            return;
        target = storage::DatabaseCatalog::path(storage::KnownDatabase::Reports);
    }
    m_connection = std::make_unique<storage::SqliteConnection>(u"TachoriaDdd_%1"_s, target);
    if (!m_connection->isOpen()) {
        m_lastError = m_connection->lastError();
        return;
    }
    // The flat children go with their report only when the connection enforces the keys.
    exec(u"PRAGMA foreign_keys = ON"_s);
    initialize();
}

DddRepository::~DddRepository() = default;

bool DddRepository::isOpen() const
{
    return m_connection && m_connection->isOpen();
}

int DddRepository::reportTypeCode(DddFileType type)
{
    return type == DddFileType::Tachograph ? 2 : 1;
}

QString DddRepository::reportTable(DddFileType type)
{
    return type == DddFileType::Tachograph ? u"TachographReports"_s : u"DriverCardReports"_s;
}

QString DddRepository::reportTypeName(DddFileType type)
{
    return type == DddFileType::Tachograph ? u"Тахограф"_s : u"Карта водителя"_s;
}

bool DddRepository::fail(const QSqlQuery& query) const
{
    m_lastError = query.lastError().text();
    return false;
}

bool DddRepository::exec(const QString& statement, const QVariantList& values) const
{
    if (!isOpen())
        return false;
    QSqlQuery query(m_connection->database());
    if (!query.prepare(statement))
        return fail(query);
    for (const QVariant& value : values)
        query.addBindValue(value);
    return query.exec() || fail(query);
}

bool DddRepository::initialize()
{
    QStringList statements{kCreateDriverCardReports};
    for (const ChildTable& child : childTables()) {
        if (child.table == u"TachoEvents"_s)
            statements.append(kCreateTachographReports);
        statements.append(createChildTable(child));
    }
    statements += {
        u"CREATE TABLE IF NOT EXISTS DddRows (RowId INTEGER PRIMARY KEY AUTOINCREMENT, ReportId INTEGER NOT "
        u"NULL, "
        "ReportType INTEGER NOT NULL, Dataset TEXT NOT NULL, RowIndex INTEGER NOT NULL, Json TEXT NOT NULL)"_s,
        u"CREATE INDEX IF NOT EXISTS idx_ddd_rows_report ON DddRows(ReportId, ReportType, Dataset, RowIndex)"_s,
        u"CREATE TABLE IF NOT EXISTS DddSections (SectionId INTEGER PRIMARY KEY AUTOINCREMENT, ReportId "
        u"INTEGER "
        "NOT NULL, ReportType INTEGER NOT NULL, FileNumber TEXT, Name TEXT, Occurrence INTEGER, Offset "
        "INTEGER, "
        "Length INTEGER, RecordCount INTEGER, RecordLength INTEGER, PayloadHex TEXT, RecordsJson TEXT)"_s,
        u"CREATE INDEX IF NOT EXISTS idx_ddd_sections_report ON DddSections(ReportId, ReportType)"_s,
        u"CREATE TABLE IF NOT EXISTS DddReportMeta (ReportId INTEGER NOT NULL, ReportType INTEGER NOT NULL, "
        "Json TEXT NOT NULL, PRIMARY KEY(ReportId, ReportType))"_s,
        u"CREATE INDEX IF NOT EXISTS idx_driver_reports_date ON DriverCardReports(ReportDate)"_s,
        u"CREATE INDEX IF NOT EXISTS idx_tacho_reports_date ON TachographReports(ReportDate)"_s,
    };
    for (const QString& statement : std::as_const(statements)) {
        if (!exec(statement))
            return false;
    }
    for (const AddedColumn& added : kAddedColumns) {
        if (!ensureColumn(QLatin1String(added.table), QLatin1String(added.column), QLatin1String(added.type)))
            return false;
    }
    return true;
}

bool DddRepository::ensureColumn(const QString& table, const QString& column, const QString& type)
{
    QSqlQuery query(m_connection->database());
    if (!query.exec(u"PRAGMA table_info(%1)"_s.arg(table)))
        return fail(query);
    while (query.next()) {
        if (query.value(1).toString().compare(column, Qt::CaseInsensitive) == 0)
            return true;
    }
    return exec(u"ALTER TABLE %1 ADD COLUMN %2 %3"_s.arg(table, column, type));
}

QVariant DddRepository::rowValue(const QVariantMap& row, const QStringList& keys)
{
    for (const QString& key : keys) {
        const auto exact = row.constFind(key);
        if (exact != row.cend())
            return exact.value();
        for (auto it = row.cbegin(); it != row.cend(); ++it) {
            if (it.key().compare(key, Qt::CaseInsensitive) == 0)
                return it.value();
        }
    }
    return QVariant();
}

QString DddRepository::jsonText(const QVariant& value)
{
    if (!value.isValid() || value.isNull())
        return QString();
    switch (value.typeId()) {
    case QMetaType::QVariantList:
    case QMetaType::QVariantMap:
    case QMetaType::QStringList:
        return QString::fromUtf8(compactJson(value));
    default:
        return value.toString();
    }
}

QVariantMap DddRepository::scalarMap(const DddReport& report)
{
    QVariantMap map;
    for (const auto& [key, field] : textFields())
        map.insert(key, report.*field);
    for (const auto& [key, field] : numberFields())
        map.insert(key, report.*field);
    map.insert(u"fileType"_s, int(report.fileType));
    map.insert(u"averageSpeed"_s, report.averageSpeed);
    const DddAsn1Identity& identity = report.asn1Identity;
    map.insert(u"asn1Identity"_s, QVariantMap{{u"version"_s, identity.version},
                                              {u"vin"_s, identity.vin},
                                              {u"registrationNumber"_s, identity.registrationNumber},
                                              {u"vehicleFirstUseDate"_s, identity.vehicleFirstUseDate},
                                              {u"driverSurname"_s, identity.driverSurname},
                                              {u"driverFirstName"_s, identity.driverFirstName},
                                              {u"cardNumber"_s, identity.cardNumber},
                                              {u"dataStartDate"_s, identity.dataStartDate},
                                              {u"dataEndDate"_s, identity.dataEndDate},
                                              {u"cardWithdrawalTime"_s, identity.cardWithdrawalTime}});
    map.insert(u"printableStrings"_s, report.printableStrings);
    map.insert(u"analysis"_s, report.analysis);
    return map;
}

qint64 DddRepository::findDuplicateReport(const DddReport& report) const
{
    if (!isOpen() || report.fileType == DddFileType::Unknown) {
        m_lastError = u"DDD report database is not open"_s;
        return -1;
    }
    QSqlQuery query(m_connection->database());
    query.prepare(u"SELECT ReportId, Json FROM DddReportMeta WHERE ReportType = ? ORDER BY ReportId DESC"_s);
    query.addBindValue(reportTypeCode(report.fileType));
    if (!query.exec()) {
        fail(query);
        return -1;
    }
    while (query.next()) {
        const std::optional<QVariantMap> stored = jsonObject(query.value(1));
        if (!stored)
            continue;
        const QString fingerprint = stored->value(u"sourceFingerprint"_s).toString();
        if (!report.sourceFingerprint.isEmpty() && !fingerprint.isEmpty()) {
            if (fingerprint == report.sourceFingerprint)
                return query.value(0).toLongLong();
            continue;
        }
        if (!report.filePath.isEmpty() && report.filePath == stored->value(u"filePath"_s).toString())
            return query.value(0).toLongLong();
    }
    return 0;
}

qint64 DddRepository::save(const DddReport& report)
{
    if (!isOpen()) {
        m_lastError = u"DDD report database is not open"_s;
        return -1;
    }
    if (!m_connection->transaction()) {
        m_lastError = m_connection->lastError();
        return -1;
    }
    const qint64 id =
        report.fileType == DddFileType::Tachograph ? saveTachograph(report) : saveDriverCard(report);
    if (id < 0 || !saveChildren(id, report) || !m_connection->commit()) {
        if (id >= 0 && m_lastError.isEmpty())
            m_lastError = m_connection->lastError();
        m_connection->rollback();
        return -1;
    }
    return id;
}

qint64 DddRepository::saveDriverCard(const DddReport& report)
{
    const QVariantMap efficiency = report.analysis.value(u"efficiency"_s).toMap();
    qint64 distance = 0;
    for (qsizetype row = 0; row < report.vehicles.size(); ++row) {
        const qint64 begin = report.vehicles.value(row, u"vehicleOdometerBegin").toLongLong();
        const qint64 end = report.vehicles.value(row, u"vehicleOdometerEnd").toLongLong();
        distance += std::max<qint64>(end - begin, 0);
    }
    QSqlQuery query(m_connection->database());
    query.prepare(
        u"INSERT INTO DriverCardReports (ReportDate, CardNumber, DriverFirstName, DriverSurname, "
        u"DriverFullName, "
        "IssuingAuthorityName, BirthDate, ExpiryDate, LastCardDownload, LastCardDownloadString, "
        "DrivingLicenceNumber, DrivingLicenceIssuingAuthority, DrivingLicenceIssuingNation, TotalEvents, "
        "TotalFaults, TotalVehiclesUsed, TotalActivityRecords, TotalActivityChanges, DataStartDate, "
        "DataEndDate, "
        "TotalDrivingHours, TotalRestHours, TotalDistanceKm) VALUES (CURRENT_TIMESTAMP, ?, ?, ?, ?, ?, ?, ?, "
        "?, "
        "?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"_s);
    for (const QVariant& value : QVariantList{report.cardNumber,
                                              report.driverFirstName,
                                              report.driverSurname,
                                              report.driverName,
                                              report.issuingAuthorityName,
                                              report.birthDate,
                                              report.expiryDate,
                                              report.lastCardDownload,
                                              report.lastCardDownloadString,
                                              report.drivingLicenceNumber,
                                              report.drivingLicenceIssuingAuthority,
                                              report.drivingLicenceIssuingNation,
                                              report.events.size(),
                                              report.faults.size(),
                                              report.vehicles.size(),
                                              report.activities.size(),
                                              report.activityChanges.size(),
                                              report.dataStartDate,
                                              report.dataEndDate,
                                              efficiency.value(u"totalWorkMinutes"_s, 0),
                                              efficiency.value(u"totalRestMinutes"_s, 0),
                                              distance})
        query.addBindValue(value);
    if (!query.exec()) {
        fail(query);
        return -1;
    }
    return query.lastInsertId().toLongLong();
}

qint64 DddRepository::saveTachograph(const DddReport& report)
{
    const qsizetype workingDays =
        report.analysis.value(u"workingHours"_s).toMap().value(u"items"_s).toList().size();
    QSqlQuery query(m_connection->database());
    query.prepare(
        u"INSERT INTO TachographReports (ReportDate, VIN, VehicleRegistration, VehicleRegistrationNation, "
        "TotalEvents, TotalFaults, TotalOverSpeeding, TotalCalibrations, TotalDays, TotalDistanceKm, "
        "DataStartDate, DataEndDate, AverageSpeed, MaxSpeed, DaysWithOverSpeeding, DaysWithFaults, "
        "NextCalibrationDate) VALUES (CURRENT_TIMESTAMP, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"_s);
    for (const QVariant& value : QVariantList{
             report.vin, report.registrationNumber, report.vehicleRegistrationNation,
             (report.events.isEmpty() ? report.tachoEvents : report.events).size(),
             (report.faults.isEmpty() ? report.tachoFaults : report.faults).size(),
             report.totalOverSpeeding >= 1 ? report.totalOverSpeeding : report.overSpeedingEvents.size(),
             report.totalCalibrations >= 1 ? report.totalCalibrations : report.calibrationData.size(),
             report.totalDays >= 1 ? qsizetype(report.totalDays) : workingDays, report.totalDistanceKm,
             report.dataStartDate, report.dataEndDate, report.averageSpeed, report.maxSpeed,
             report.daysWithOverSpeeding, report.daysWithFaults, report.nextCalibrationDate})
        query.addBindValue(value);
    if (!query.exec()) {
        fail(query);
        return -1;
    }
    return query.lastInsertId().toLongLong();
}

bool DddRepository::saveChildren(qint64 id, const DddReport& report)
{
    const bool card = report.fileType != DddFileType::Tachograph;
    for (const ChildTable& child : childTables()) {
        const DatasetRows& rows = *report.dataset(child.dataset);
        if (child.card != card || rows.isEmpty())
            continue;
        QStringList columns{u"ReportId"_s};
        QList<const ChildColumn*> written;
        for (const ChildColumn& column : child.columns) {
            if (!column.keys.isEmpty()) {
                columns.append(column.name);
                written.append(&column);
            }
        }
        QSqlQuery query(m_connection->database());
        if (!query.prepare(u"INSERT INTO %1 (%2) VALUES (?%3)"_s.arg(child.table, columns.join(u", "),
                                                                     u", ?"_s.repeated(written.size()))))
            return fail(query);
        for (qsizetype row = 0; row < rows.size(); ++row) {
            const QVariantMap map = rows.at(row);
            query.bindValue(0, id);
            for (qsizetype i = 0; i < written.size(); ++i)
                query.bindValue(int(i + 1), jsonText(rowValue(map, written.at(i)->keys)));
            if (!query.exec())
                return fail(query);
        }
    }
    const int type = reportTypeCode(report.fileType);
    for (const QString& name : DddReport::datasetNames()) {
        if (!saveRows(id, type, name, *report.dataset(name)))
            return false;
    }
    return saveSections(id, type, report);
}

bool DddRepository::saveRows(qint64 id, int type, const QString& name, const DatasetRows& rows)
{
    if (rows.isEmpty())
        return true;
    QSqlQuery query(m_connection->database());
    if (!query.prepare(
            u"INSERT INTO DddRows (ReportId, ReportType, Dataset, RowIndex, Json) VALUES (?, ?, ?, ?, ?)"_s))
        return fail(query);
    query.bindValue(0, id);
    query.bindValue(1, type);
    query.bindValue(2, name);
    JsonWriter json;
    for (qsizetype row = 0; row < rows.size(); ++row) {
        json.row(rows, row);
        query.bindValue(3, row);
        query.bindValue(4, QString::fromUtf8(json.take()));
        if (!query.exec())
            return fail(query);
    }
    return true;
}

bool DddRepository::saveSections(qint64 id, int type, const DddReport& report)
{
    if (!exec(u"DELETE FROM DddSections WHERE ReportId = ? AND ReportType = ?"_s, {id, type}))
        return false;
    QSqlQuery query(m_connection->database());
    if (!query.prepare(
            u"INSERT INTO DddSections (ReportId, ReportType, FileNumber, Name, Occurrence, Offset, Length, "
            "RecordCount, RecordLength, PayloadHex, RecordsJson) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"_s))
        return fail(query);
    const DatasetRows& sections = report.sections;
    for (qsizetype row = 0; row < sections.size(); ++row) {
        int column = 0;
        for (const QVariant& value :
             QVariantList{id, type, sections.value(row, u"fileNumber"), sections.value(row, u"name"),
                          sections.value(row, u"occurrence"), sections.value(row, u"offset"),
                          sections.value(row, u"length"), sections.value(row, u"recordCount"),
                          sections.value(row, u"recordLength"), sections.value(row, u"payloadHex"),
                          jsonText(sections.value(row, u"records"))})
            query.bindValue(column++, value);
        if (!query.exec())
            return fail(query);
    }
    return exec(u"INSERT OR REPLACE INTO DddReportMeta (ReportId, ReportType, Json) VALUES (?, ?, ?)"_s,
                {id, type, QString::fromUtf8(compactJson(scalarMap(report)))});
}

QList<QVariantMap> DddRepository::loadRows(qint64 id, int type, const QString& name) const
{
    QList<QVariantMap> rows;
    QSqlQuery query(m_connection->database());
    query.setForwardOnly(true);
    query.prepare(
        u"SELECT Json FROM DddRows WHERE ReportId = ? AND ReportType = ? AND Dataset = ? ORDER BY RowIndex"_s);
    query.addBindValue(id);
    query.addBindValue(type);
    query.addBindValue(name);
    if (!query.exec()) {
        fail(query);
        return rows;
    }
    while (query.next()) {
        if (std::optional<QVariantMap> row = jsonObject(query.value(0)))
            rows.append(std::move(*row));
    }
    return rows;
}

QList<QVariantMap> DddRepository::loadLegacyRows(qint64 id, const QString& table) const
{
    QList<QVariantMap> rows;
    QSqlQuery query(m_connection->database());
    query.prepare(u"SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ? LIMIT 1"_s);
    query.addBindValue(table);
    if (!query.exec() || !query.next())
        return rows;
    query.prepare(u"SELECT * FROM %1 WHERE ReportId = ?"_s.arg(table));
    query.addBindValue(id);
    if (!query.exec()) {
        fail(query);
        return rows;
    }
    while (query.next()) {
        // Earlier versions' columns, also under the row keys' spelling with a small first letter.
        QVariantMap row;
        const QSqlRecord record = query.record();
        for (int i = 0; i < record.count(); ++i)
            row.insert(record.fieldName(i), query.value(i));
        for (int i = 0; i < record.count(); ++i) {
            const QString key = lowerFirst(record.fieldName(i));
            if (!row.contains(key))
                row.insert(key, query.value(i));
        }
        rows.append(row);
    }
    return rows;
}

std::optional<DddReport> DddRepository::loadReport(qint64 id, DddFileType type) const
{
    if (!isOpen())
        return std::nullopt;
    const bool tachograph = type == DddFileType::Tachograph;
    const int typeCode = reportTypeCode(type);
    QSqlQuery query(m_connection->database());
    query.prepare(u"SELECT * FROM %1 WHERE ReportId = ?"_s.arg(reportTable(type)));
    query.addBindValue(id);
    if (!query.exec()) {
        fail(query);
        return std::nullopt;
    }
    if (!query.next())
        return std::nullopt;
    const QVariantMap record = storage::SqliteConnection::readRecord(query);

    DddReport report;
    report.fileType = tachograph ? DddFileType::Tachograph : DddFileType::DriverCard;
    if (tachograph) {
        report.vin = fieldOf(record, u"VIN"_s).toString();
        report.registrationNumber = fieldOf(record, u"VehicleRegistration"_s).toString();
        report.vehicleRegistrationNation = fieldOf(record, u"VehicleRegistrationNation"_s).toString();
        report.totalOverSpeeding = fieldOf(record, u"TotalOverSpeeding"_s).toInt();
        report.totalCalibrations = fieldOf(record, u"TotalCalibrations"_s).toInt();
        report.totalDays = fieldOf(record, u"TotalDays"_s).toInt();
        report.totalDistanceKm = fieldOf(record, u"TotalDistanceKm"_s).toInt();
        report.averageSpeed = fieldOf(record, u"AverageSpeed"_s).toDouble();
        report.maxSpeed = fieldOf(record, u"MaxSpeed"_s).toInt();
        report.daysWithOverSpeeding = fieldOf(record, u"DaysWithOverSpeeding"_s).toInt();
        report.daysWithFaults = fieldOf(record, u"DaysWithFaults"_s).toInt();
        report.nextCalibrationDate = fieldOf(record, u"NextCalibrationDate"_s).toString();
    } else {
        report.cardNumber = fieldOf(record, u"CardNumber"_s).toString();
        report.driverFirstName = fieldOf(record, u"DriverFirstName"_s).toString();
        report.driverSurname = fieldOf(record, u"DriverSurname"_s).toString();
        report.driverName = fieldOf(record, u"DriverFullName"_s).toString();
        report.issuingAuthorityName = fieldOf(record, u"IssuingAuthorityName"_s).toString();
        report.birthDate = fieldOf(record, u"BirthDate"_s).toString();
        report.expiryDate = fieldOf(record, u"ExpiryDate"_s).toString();
        report.lastCardDownload = fieldOf(record, u"LastCardDownload"_s).toString();
        report.lastCardDownloadString = fieldOf(record, u"LastCardDownloadString"_s).toString();
        report.drivingLicenceNumber = fieldOf(record, u"DrivingLicenceNumber"_s).toString();
        report.drivingLicenceIssuingAuthority =
            fieldOf(record, u"DrivingLicenceIssuingAuthority"_s).toString();
        report.drivingLicenceIssuingNation = fieldOf(record, u"DrivingLicenceIssuingNation"_s).toString();
    }
    report.dataStartDate = fieldOf(record, u"DataStartDate"_s).toString();
    report.dataEndDate = fieldOf(record, u"DataEndDate"_s).toString();

    // The meta JSON holds every scalar as it was decoded: it wins over the flat row.
    query.prepare(u"SELECT Json FROM DddReportMeta WHERE ReportId = ? AND ReportType = ?"_s);
    query.addBindValue(id);
    query.addBindValue(typeCode);
    if (query.exec() && query.next()) {
        if (const std::optional<QVariantMap> meta = jsonObject(query.value(0))) {
            for (const auto& [key, field] : textFields()) {
                if (meta->contains(key))
                    report.*field = meta->value(key).toString();
            }
            for (const auto& [key, field] : numberFields()) {
                if (meta->contains(key))
                    report.*field = meta->value(key).toInt();
            }
            if (meta->contains(u"averageSpeed"_s))
                report.averageSpeed = meta->value(u"averageSpeed"_s).toDouble();
            report.printableStrings = meta->value(u"printableStrings"_s).toStringList();
            report.asn1Identity = identityFrom(meta->value(u"asn1Identity"_s).toMap());
            report.analysis = meta->value(u"analysis"_s).toMap();
        }
    }

    for (const QString& name : DddReport::datasetNames())
        *report.dataset(name) = DatasetRows(loadRows(id, typeCode, name));
    for (const ChildTable& child : childTables()) {
        DatasetRows& rows = *report.dataset(child.dataset);
        if (child.card != !tachograph || !rows.isEmpty())
            continue;
        rows = DatasetRows(loadLegacyRows(id, child.table));
        if (child.dataset != u"detailedSpeed"_s)
            continue;
        for (qsizetype row = 0; row < rows.size(); ++row) {
            const QVariant json = rows.value(row, u"speedValuesJson");
            if (!rows.value(row, u"speedValues").isValid() && json.isValid())
                rows.setValue(row, u"speedValues"_s,
                              variantOf(QJsonDocument::fromJson(json.toString().toUtf8()).array()));
        }
    }
    if (tachograph && report.events.isEmpty())
        report.events = report.tachoEvents;
    if (tachograph && report.faults.isEmpty())
        report.faults = report.tachoFaults;
    if (report.analysis.isEmpty())
        Decoder::analyze(report);

    query.prepare(
        u"SELECT FileNumber, Name, Occurrence, Offset, Length, RecordCount, RecordLength, PayloadHex, "
        "RecordsJson FROM DddSections WHERE ReportId = ? AND ReportType = ? ORDER BY SectionId"_s);
    query.addBindValue(id);
    query.addBindValue(typeCode);
    if (query.exec()) {
        const bool sectionsStored = !report.sections.isEmpty();
        while (query.next()) {
            DddBlock block;
            block.fileNumber = query.value(0).toString();
            block.name = query.value(1).toString();
            block.occurrence = query.value(2).toInt();
            block.offset = query.value(3).toInt();
            block.length = query.value(4).toInt();
            block.recordCount = query.value(5).toInt();
            block.recordLength = query.value(6).toInt();
            block.data = QByteArray::fromHex(query.value(7).toString().toLatin1());
            // The signature mark of a card block is kept only by the section's own row.
            if (sectionsStored && report.blocks.size() < report.sections.size())
                block.fileType = report.sections.value(report.blocks.size(), u"fileType").toInt();
            report.blocks.append(block);
            if (sectionsStored)
                continue;
            QVariantMap row{{u"fileNumber"_s, block.fileNumber},
                            {u"name"_s, block.name},
                            {u"occurrence"_s, block.occurrence},
                            {u"offset"_s, block.offset},
                            {u"length"_s, block.length},
                            {u"recordCount"_s, block.recordCount},
                            {u"recordLength"_s, block.recordLength},
                            {u"payloadHex"_s, query.value(7).toString()}};
            const QJsonDocument records = QJsonDocument::fromJson(query.value(8).toString().toUtf8());
            if (records.isArray())
                row.insert(u"records"_s, variantOf(records.array()));
            report.sections.append(row);
        }
    } else {
        fail(query);
    }
    report.structureText =
        u"Сохранённый отчёт: %1, разделов: %2"_s.arg(reportTypeName(type)).arg(report.blocks.size());
    return report;
}

QVariantMap DddRepository::load(qint64 id, DddFileType type) const
{
    const std::optional<DddReport> report = loadReport(id, type);
    if (!report)
        return {};
    QVariantMap map = report->summary();
    map.insert(u"reportId"_s, id);
    map.insert(u"analysis"_s, report->analysis);
    // Every dataset up to the card's own files; the per-second charts and the ASN.1 fields are left out.
    const QStringList& names = DddReport::datasetNames();
    for (const QString& name : names.mid(0, names.indexOf(u"timeAdjustments"_s) + 1)) {
        if (name == u"charts"_s || name == u"asn1Fields"_s)
            continue;
        QVariantList rows;
        for (const QVariantMap& row : report->dataset(name)->toList())
            rows.append(row);
        map.insert(name, rows);
    }
    return map;
}

QDateTime DddRepository::storedDateTime(const QVariant& value)
{
    if (value.typeId() == QMetaType::QDateTime && value.toDateTime().isValid())
        return value.toDateTime();
    const QString text = value.toString().trimmed();
    if (text.isEmpty())
        return QDateTime();
    const QDateTime direct = value.toDateTime();
    if (direct.isValid())
        return direct;
    for (const QString& format :
         {u"yyyy-MM-dd HH:mm:ss.zzz"_s, u"yyyy-MM-dd HH:mm:ss"_s, u"yyyy-MM-ddTHH:mm:ss.zzz"_s,
          u"yyyy-MM-ddTHH:mm:ss"_s, u"dd.MM.yyyy HH:mm:ss"_s, u"dd.MM.yyyy H:mm:ss"_s, u"dd.MM.yyyy HH:mm"_s,
          u"yyyy-MM-dd"_s}) {
        const QDateTime parsed = QDateTime::fromString(text, format);
        if (parsed.isValid())
            return parsed;
    }
    const QDateTime withMilliseconds = QDateTime::fromString(text, Qt::ISODateWithMs);
    return withMilliseconds.isValid() ? withMilliseconds : QDateTime::fromString(text, Qt::ISODate);
}

QVariantList DddRepository::listReports() const
{
    QVariantList reports;
    if (!isOpen())
        return reports;
    QSqlQuery query(m_connection->database());
    if (!query.exec(
            u"SELECT ReportId, ReportDate, CardNumber AS KeyValue, DriverFullName AS Description, "
            u"TotalEvents, "
            "TotalFaults, 'Карта водителя' AS ReportType FROM DriverCardReports UNION ALL SELECT ReportId, "
            "ReportDate, VIN AS KeyValue, VehicleRegistration AS Description, TotalEvents, TotalFaults, "
            "'Тахограф' AS ReportType FROM TachographReports"_s)) {
        fail(query);
        return reports;
    }
    struct Listed
    {
        QDateTime date;
        qint64 id;
        QVariantMap row;
    };
    QList<Listed> listed;
    while (query.next()) {
        const QVariantMap row{{u"reportId"_s, query.value(0)},   {u"reportDate"_s, query.value(1)},
                              {u"keyValue"_s, query.value(2)},   {u"description"_s, query.value(3)},
                              {u"eventCount"_s, query.value(4)}, {u"faultCount"_s, query.value(5)},
                              {u"reportType"_s, query.value(6)}};
        listed.append({storedDateTime(query.value(1)), query.value(0).toLongLong(), row});
    }
    std::stable_sort(listed.begin(), listed.end(), [](const Listed& a, const Listed& b) {
        if (a.date.isValid() != b.date.isValid())
            return a.date.isValid();
        if (a.date != b.date)
            return a.date > b.date;
        return a.id > b.id;
    });
    for (const Listed& item : std::as_const(listed))
        reports.append(item.row);
    return reports;
}

bool DddRepository::remove(qint64 id, DddFileType type)
{
    if (!isOpen()) {
        m_lastError = u"DDD report database is not open"_s;
        return false;
    }
    if (!m_connection->transaction()) {
        m_lastError = m_connection->lastError();
        return false;
    }
    const int code = reportTypeCode(type);
    // The rows are matched by type too: a card report and a tachograph report may share a number.
    const bool removed =
        exec(u"DELETE FROM DddRows WHERE ReportId = ? AND ReportType = ?"_s, {id, code}) &&
        exec(u"DELETE FROM DddSections WHERE ReportId = ? AND ReportType = ?"_s, {id, code}) &&
        exec(u"DELETE FROM DddReportMeta WHERE ReportId = ? AND ReportType = ?"_s, {id, code}) &&
        exec(u"DELETE FROM %1 WHERE ReportId = ?"_s.arg(reportTable(type)), {id});
    if (!removed || !m_connection->commit()) {
        if (removed)
            m_lastError = m_connection->lastError();
        m_connection->rollback();
        return false;
    }
    return true;
}

} // namespace tachoria::ddd
