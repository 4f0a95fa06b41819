#pragma once

#include "storage/sqlite_connection.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QVariantMap>

namespace tachoria::storage {

// The journal of calibrations in "CalibrationDB.db": a row is opened before anything goes to the
// tachograph, filled as the parameters are written, and closed with the outcome. Records are maps
// from column name to value.
class CalibrationRepository
{
public:
    explicit CalibrationRepository(const QString& databasePath = QString());

    bool isOpen() const { return m_connection.isOpen(); }
    bool testConnection() const { return isOpen(); }
    QString lastError() const { return m_connection.lastError(); }
    QString databasePath() const { return m_connection.databasePath(); }

    int startCalibrationRecord(const QString& vuSerialNumber, int codeFbu, int calibrationPurpose,
                               const QString& name, const QString& address, quint32 cardExpiryDate);
    bool updateMasterCardNumber(int id, const QString& number);
    bool updateSkziNumber(int id, const QString& number);
    bool updateCardNumbers(int id, const QString& masterCardNumber, const QString& skziNumber);
    bool finishCalibrationRecord(int id, bool success, const QString& error);
    bool updateCustomerAndOrder(int id, const QString& customerName, int orderNumber);
    bool updateCalibrationFields(int id, const QVariantMap& fields);

    QVariantMap calibration(int id);
    QList<QVariantMap> allCalibrations();
    QList<QVariantMap> calibrationsBySerialNumber(const QString& serial);
    QList<QVariantMap> successfulCalibrations();
    QList<QVariantMap> searchSuccessfulCalibrations(const QString& vehicleText, const QString& customerText);
    int calibrationId(const QString& vuSerialNumber, const QDateTime& dateTime);
    int maxSuccessfulOrderNumber();
    bool deleteCalibration(int id);

    // The columns a calibration may fill in, the only names that ever reach an UPDATE's text.
    static const QSet<QString>& updatableFields();

private:
    bool initialize();
    bool changed(const QString& statement, const QVariantList& values);

    SqliteConnection m_connection;
};

} // namespace tachoria::storage
