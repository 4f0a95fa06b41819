#pragma once

#include "storage/sqlite_connection.h"

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>

namespace tachoria::storage {

struct Master
{
    int id = 0;
    QString fullName;
    QDateTime createdAt;
    bool isActive = true;
};

struct Customer
{
    int id = 0;
    QString customerName;
    QString address;
    QString phone;
    QDateTime createdAt;
    bool isActive = true;
};

// The service shop's masters in "MasterDB.db". A row that served a document must stay readable, so
// deleting makes it inactive; removing it for good is a separate step.
class MasterRepository
{
public:
    explicit MasterRepository(const QString& databasePath = QString());

    bool isOpen() const { return m_connection.isOpen(); }
    QString lastError() const { return m_connection.lastError(); }

    int addMaster(const QString& fullName);
    bool updateMaster(int id, const QString& fullName);
    bool deleteMaster(int id);
    bool restoreMaster(int id);
    bool deleteMasterPermanently(int id);
    bool cleanupInactiveMasters();
    std::optional<Master> getMaster(int id);
    QList<Master> allMasters();
    QList<Master> allMastersIncludingInactive();
    QList<Master> searchMasters(const QString& text, bool includeInactive = false);
    QMap<int, QString> mastersDictionary(bool includeInactive = false);
    bool masterExists(const QString& fullName);
    bool activeMasterExists(const QString& fullName);

    // Compatibility form NFKC, case folding, "ё" as "е", every run of other characters one space.
    static QString normalizeMasterSearchText(const QString& text);
    static bool masterMatchesSearch(const QString& fullName, const QStringList& tokens);

private:
    QList<Master> masters(const QString& statement, const QVariantList& values = {});

    SqliteConnection m_connection;
};

// The service shop's customers in "CustomersDB.db", searched in SQL (LIKE that ignores case in any
// alphabet).
class CustomerRepository
{
public:
    explicit CustomerRepository(const QString& databasePath = QString());

    bool isOpen() const { return m_connection.isOpen(); }
    QString lastError() const { return m_connection.lastError(); }

    int addCustomer(const QString& name, const QString& address, const QString& phone);
    bool updateCustomer(int id, const QString& name, const QString& address, const QString& phone);
    bool deleteCustomer(int id);
    bool restoreCustomer(int id);
    bool deleteCustomerPermanently(int id);
    bool cleanupInactiveCustomers();
    std::optional<Customer> getCustomer(int id);
    QList<Customer> allCustomers();
    QList<Customer> allCustomersIncludingInactive();
    QList<Customer> searchCustomers(const QString& text, bool includeInactive = false);
    QList<Customer> searchByPhone(const QString& text);
    QMap<int, QString> customersDictionary(bool includeInactive = false);
    bool customerExists(const QString& name);
    std::optional<Customer> customerByName(const QString& name);

private:
    QList<Customer> customers(const QString& statement, const QVariantList& values = {});

    SqliteConnection m_connection;
};

} // namespace tachoria::storage
