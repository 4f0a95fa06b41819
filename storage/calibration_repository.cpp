#include "storage/calibration_repository.h"

#include "storage/app_paths.h"

#include <QSet>
#include <QSqlQuery>

namespace tachoria::storage {

namespace {

const QString kCreateTable = QStringLiteral(
    "CREATE TABLE IF NOT EXISTS Calibrations ("
    "Id INTEGER PRIMARY KEY AUTOINCREMENT, RecordDateTime DATETIME DEFAULT CURRENT_TIMESTAMP, VuSerialNumber "
    "TEXT, "
    "TachoriaCodeFBU INTEGER, CalibrationPurpose INTEGER, TachoriaName TEXT, TachoriaAddress TEXT, "
    "TachoriaCardExpiryDate INTEGER, TimeDate DATETIME, VuManufacturingDate TEXT, VuPartNumber TEXT, "
    "VuManufacturerName TEXT, VuApprovalNumber TEXT, SystemSupplierECUSoftwareVersionNumber TEXT, SSECUHWVN "
    "TEXT, "
    "VerifyDate INTEGER, VehicleIdentificationNumber TEXT, VehicleRegistrationNation TEXT, "
    "VehicleRegistrationNumber TEXT, KConstantOfRecordingEquipment INTEGER, WVehicleCharacteristicConstant "
    "INTEGER, "
    "LTyreCircumference INTEGER, TyreSize TEXT, SpeedAuthorised REAL, NextCalibrationDate DATETIME, "
    "HighResOdometer REAL, PulsesPerRevolutionOfOutputShaft INTEGER, CAN1_Enabled INTEGER, CAN1_Speed "
    "INTEGER, "
    "CAN1_IdentifierType INTEGER, CAN2_Enabled INTEGER, CAN2_Speed INTEGER, CAN2_IdentifierType INTEGER, "
    "CAN1_TCO2Enabled INTEGER, CAN1_TCO3Enabled INTEGER, CAN1_TCO4Enabled INTEGER, CAN1_RezEnabled INTEGER, "
    "CAN2_TCO2Enabled INTEGER, CAN2_TCO3Enabled INTEGER, CAN2_TCO4Enabled INTEGER, CAN2_RezEnabled INTEGER, "
    "CANVehicleIdentificationNumber TEXT, CAN1_Interval_TCO1 INTEGER, CAN2_Interval_TCO1 INTEGER, "
    "CAN1_Priority_TCO1 INTEGER, CAN2_Priority_TCO1 INTEGER, EnableDM1 INTEGER, B6_Enabled INTEGER, "
    "B6_ActivLevel INTEGER, B6_K INTEGER, B7_Enabled INTEGER, B7_ActivLevel INTEGER, B7_K INTEGER, "
    "D6_Enabled INTEGER, D6_ActivLevel INTEGER, D6_K INTEGER, PTO_PreBreakWarning INTEGER, PTO_BreakWarning "
    "INTEGER, "
    "PTO_PreRestWarning INTEGER, PTO_RestWarning INTEGER, PTO_MinBreakValue INTEGER, PTO_BreakValue INTEGER, "
    "PTO_RestValue INTEGER, MasterCardNumber TEXT, SkziNumber TEXT, CustomerName TEXT, OrderNumber INTEGER, "
    "WriteResult INTEGER, WriteError TEXT, WriteTimestamp DATETIME DEFAULT CURRENT_TIMESTAMP)");

// Columns that older databases lack; a "duplicate column name" answer is the normal case.
const QStringList kColumnAdditions = {
    QStringLiteral("ALTER TABLE Calibrations ADD COLUMN CAN2_Interval_TCO1 INTEGER"),
    QStringLiteral("ALTER TABLE Calibrations ADD COLUMN CAN1_Priority_TCO1 INTEGER"),
    QStringLiteral("ALTER TABLE Calibrations ADD COLUMN CAN2_Priority_TCO1 INTEGER"),
    QStringLiteral("ALTER TABLE Calibrations ADD COLUMN EnableDM1 INTEGER"),
};

QString defaultPath(const QString& path)
{
    return path.isEmpty() ? AppPaths::database(QStringLiteral("CalibrationDB.db")) : path;
}

} // namespace

const QSet<QString>& CalibrationRepository::updatableFields()
{
    static const QSet<QString> fields = [] {
        QSet<QString> set;
        for (const char* name : {"TimeDate",
                                 "VuManufacturingDate",
                                 "VuPartNumber",
                                 "VuManufacturerName",
                                 "VuSerialNumber",
                                 "VuApprovalNumber",
                                 "SystemSupplierECUSoftwareVersionNumber",
                                 "SSECUHWVN",
                                 "TachoriaCodeFBU",
                                 "VerifyDate",
                                 "VehicleIdentificationNumber",
                                 "VehicleRegistrationNation",
                                 "VehicleRegistrationNumber",
                                 "KConstantOfRecordingEquipment",
                                 "WVehicleCharacteristicConstant",
                                 "LTyreCircumference",
                                 "TyreSize",
                                 "SpeedAuthorised",
                                 "NextCalibrationDate",
                                 "HighResOdometer",
                                 "PulsesPerRevolutionOfOutputShaft",
                                 "CANVehicleIdentificationNumber",
                                 "CAN1_Interval_TCO1",
                                 "CAN2_Interval_TCO1",
                                 "CAN1_Priority_TCO1",
                                 "CAN2_Priority_TCO1",
                                 "EnableDM1",
                                 "CAN1_Enabled",
                                 "CAN1_Speed",
                                 "CAN1_IdentifierType",
                                 "CAN2_Enabled",
                                 "CAN2_Speed",
                                 "CAN2_IdentifierType",
                                 "CAN1_TCO2Enabled",
                                 "CAN1_TCO3Enabled",
                                 "CAN1_TCO4Enabled",
                                 "CAN1_RezEnabled",
                                 "CAN2_TCO2Enabled",
                                 "CAN2_TCO3Enabled",
                                 "CAN2_TCO4Enabled",
                                 "CAN2_RezEnabled",
                                 "B6_Enabled",
                                 "B6_ActivLevel",
                                 "B6_K",
                                 "B7_Enabled",
                                 "B7_ActivLevel",
                                 "B7_K",
                                 "D6_Enabled",
                                 "D6_ActivLevel",
                                 "D6_K",
                                 "PTO_PreBreakWarning",
                                 "PTO_BreakWarning",
                                 "PTO_PreRestWarning",
                                 "PTO_RestWarning",
                                 "PTO_MinBreakValue",
                                 "PTO_BreakValue",
                                 "PTO_RestValue"})
            set.insert(QString::fromLatin1(name));
        return set;
    }();
    return fields;
}

CalibrationRepository::CalibrationRepository(const QString& databasePath)
    : m_connection(QStringLiteral("TachoriaCalibration_%1"), defaultPath(databasePath))
{
    if (m_connection.isOpen())
        initialize();
}

bool CalibrationRepository::initialize()
{
    if (!m_connection.exec(kCreateTable))
        return false;
    for (const QString& statement : kColumnAdditions) {
        const QString before = m_connection.lastError();
        if (m_connection.exec(statement))
            continue;
        if (!m_connection.lastError().contains(QLatin1String("duplicate column name"), Qt::CaseInsensitive))
            return false;
        m_connection.setLastError(before); // the column is there already: nothing went wrong
    }
    return true;
}

bool CalibrationRepository::changed(const QString& statement, const QVariantList& values)
{
    return m_connection.change(statement, values) > 0;
}

int CalibrationRepository::startCalibrationRecord(const QString& vuSerialNumber, int codeFbu,
                                                  int calibrationPurpose, const QString& name,
                                                  const QString& address, quint32 cardExpiryDate)
{
    QSqlQuery query(m_connection.database());
    if (!m_connection.exec(
            query,
            QStringLiteral("INSERT INTO Calibrations(VuSerialNumber, TachoriaCodeFBU, CalibrationPurpose, "
                           "TachoriaName, TachoriaAddress, TachoriaCardExpiryDate, MasterCardNumber, "
                           "SkziNumber, WriteResult, WriteTimestamp) VALUES(?, ?, ?, ?, ?, ?, ?, ?, 0, "
                           "CURRENT_TIMESTAMP)"),
            {vuSerialNumber, codeFbu, calibrationPurpose, name, address, cardExpiryDate, QStringLiteral(""),
             QStringLiteral("")}))
        return -1;
    return query.lastInsertId().toInt();
}

bool CalibrationRepository::updateMasterCardNumber(int id, const QString& number)
{
    return changed(QStringLiteral("UPDATE Calibrations SET MasterCardNumber = ? WHERE Id = ?"), {number, id});
}

bool CalibrationRepository::updateSkziNumber(int id, const QString& number)
{
    return changed(QStringLiteral("UPDATE Calibrations SET SkziNumber = ? WHERE Id = ?"), {number, id});
}

bool CalibrationRepository::updateCardNumbers(int id, const QString& masterCardNumber,
                                              const QString& skziNumber)
{
    return changed(
        QStringLiteral("UPDATE Calibrations SET MasterCardNumber = ?, SkziNumber = ? WHERE Id = ?"),
        {masterCardNumber, skziNumber, id});
}

bool CalibrationRepository::finishCalibrationRecord(int id, bool success, const QString& error)
{
    return changed(QStringLiteral("UPDATE Calibrations SET WriteResult = ?, WriteError = ?, "
                                  "WriteTimestamp = CURRENT_TIMESTAMP WHERE Id = ?"),
                   {success ? 1 : 0, error, id});
}

bool CalibrationRepository::updateCustomerAndOrder(int id, const QString& customerName, int orderNumber)
{
    return changed(QStringLiteral("UPDATE Calibrations SET CustomerName = ?, OrderNumber = ? WHERE Id = ?"),
                   {customerName, orderNumber, id});
}

bool CalibrationRepository::updateCalibrationFields(int id, const QVariantMap& fields)
{
    QStringList assignments;
    QVariantList values;
    for (auto it = fields.cbegin(); it != fields.cend(); ++it) {
        if (!updatableFields().contains(it.key()))
            continue;
        assignments << QStringLiteral("%1 = ?").arg(it.key());
        values << it.value();
    }
    if (assignments.isEmpty())
        return true;
    values << id;
    return m_connection.exec(
        QStringLiteral("UPDATE Calibrations SET %1 WHERE Id = ?").arg(assignments.join(QStringLiteral(", "))),
        values);
}

QVariantMap CalibrationRepository::calibration(int id)
{
    const auto list = m_connection.records(QStringLiteral("SELECT * FROM Calibrations WHERE Id = ?"), {id});
    return list.isEmpty() ? QVariantMap() : list.first();
}

QList<QVariantMap> CalibrationRepository::allCalibrations()
{
    return m_connection.records(QStringLiteral("SELECT * FROM Calibrations ORDER BY WriteTimestamp DESC"));
}

QList<QVariantMap> CalibrationRepository::calibrationsBySerialNumber(const QString& serial)
{
    return m_connection.records(
        QStringLiteral("SELECT * FROM Calibrations WHERE VuSerialNumber = ? ORDER BY WriteTimestamp DESC"),
        {serial});
}

QList<QVariantMap> CalibrationRepository::successfulCalibrations()
{
    return m_connection.records(
        QStringLiteral("SELECT * FROM Calibrations WHERE WriteResult = 1 ORDER BY WriteTimestamp DESC"));
}

QList<QVariantMap> CalibrationRepository::searchSuccessfulCalibrations(const QString& vehicleText,
                                                                       const QString& customerText)
{
    const QString vehicle = vehicleText.trimmed();
    const QString customer = customerText.trimmed();
    QList<QVariantMap> found;
    for (const QVariantMap& record : successfulCalibrations()) {
        const bool vehicleMatches =
            vehicle.isEmpty() || record.value(QStringLiteral("VehicleRegistrationNumber"))
                                     .toString()
                                     .contains(vehicle, Qt::CaseInsensitive);
        const bool customerMatches =
            customer.isEmpty() ||
            record.value(QStringLiteral("CustomerName")).toString().contains(customer, Qt::CaseInsensitive);
        if (vehicleMatches && customerMatches)
            found.append(record);
    }
    return found;
}

int CalibrationRepository::calibrationId(const QString& vuSerialNumber, const QDateTime& dateTime)
{
    const auto list = m_connection.records(
        QStringLiteral("SELECT Id FROM Calibrations WHERE VuSerialNumber = ? AND datetime(RecordDateTime) = "
                       "datetime(?) LIMIT 1"),
        {vuSerialNumber, dateTime.toString(Qt::ISODate)});
    return list.isEmpty() ? -1 : list.first().value(QStringLiteral("Id")).toInt();
}

int CalibrationRepository::maxSuccessfulOrderNumber()
{
    const auto list = m_connection.records(
        QStringLiteral("SELECT MAX(OrderNumber) AS MaxOrderNumber FROM Calibrations WHERE WriteResult = 1"));
    return list.isEmpty() ? 0 : list.first().value(QStringLiteral("MaxOrderNumber")).toInt();
}

bool CalibrationRepository::deleteCalibration(int id)
{
    return changed(QStringLiteral("DELETE FROM Calibrations WHERE Id = ?"), {id});
}

} // namespace tachoria::storage
