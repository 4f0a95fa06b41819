#include "storage/customer_master_repositories.h"

#include "storage/app_paths.h"

namespace tachoria::storage {

namespace {

QString pathOr(const QString& path, const char* fileName)
{
    return path.isEmpty() ? AppPaths::database(QString::fromLatin1(fileName)) : path;
}

Master masterFrom(const QVariantMap& row)
{
    return {row.value(QStringLiteral("Id")).toInt(), row.value(QStringLiteral("FullName")).toString(),
            row.value(QStringLiteral("CreatedAt")).toDateTime(),
            row.value(QStringLiteral("IsActive")).toInt() != 0};
}

Customer customerFrom(const QVariantMap& row)
{
    return {row.value(QStringLiteral("Id")).toInt(),
            row.value(QStringLiteral("CustomerName")).toString(),
            row.value(QStringLiteral("Address")).toString(),
            row.value(QStringLiteral("Phone")).toString(),
            row.value(QStringLiteral("CreatedAt")).toDateTime(),
            row.value(QStringLiteral("IsActive")).toInt() != 0};
}

// A pick-list keyed by Id; inactive rows, when asked for, say so.
QMap<int, QString> dictionary(SqliteConnection& connection, const QString& statement,
                              const QString& nameColumn)
{
    QMap<int, QString> names;
    for (const QVariantMap& row : connection.records(statement)) {
        QString name = row.value(nameColumn).toString();
        if (row.contains(QStringLiteral("IsActive")) && row.value(QStringLiteral("IsActive")).toInt() == 0)
            name += QStringLiteral(" (неактивный)");
        names.insert(row.value(QStringLiteral("Id")).toInt(), name);
    }
    return names;
}

} // namespace

MasterRepository::MasterRepository(const QString& databasePath)
    : m_connection(QStringLiteral("TachoriaMasters_%1"), pathOr(databasePath, "MasterDB.db"))
{
    if (m_connection.isOpen() &&
        m_connection.exec(
            QStringLiteral("CREATE TABLE IF NOT EXISTS Masters (Id INTEGER PRIMARY KEY AUTOINCREMENT, "
                           "FullName TEXT NOT NULL, CreatedAt DATETIME DEFAULT CURRENT_TIMESTAMP, "
                           "IsActive INTEGER DEFAULT 1)")))
        m_connection.exec(QStringLiteral("CREATE INDEX IF NOT EXISTS IX_Masters_Name ON Masters(FullName)"));
}

int MasterRepository::addMaster(const QString& fullName)
{
    const QString name = fullName.trimmed();
    if (name.isEmpty()) {
        m_connection.setLastError(QStringLiteral("ФИО мастера не может быть пустым"));
        return -1;
    }
    QSqlQuery query(m_connection.database());
    if (!m_connection.exec(query, QStringLiteral("INSERT INTO Masters(FullName) VALUES(?)"), {name}))
        return -1;
    return query.lastInsertId().toInt();
}

bool MasterRepository::updateMaster(int id, const QString& fullName)
{
    const QString name = fullName.trimmed();
    if (name.isEmpty()) {
        m_connection.setLastError(QStringLiteral("ФИО мастера не может быть пустым"));
        return false;
    }
    return m_connection.change(QStringLiteral("UPDATE Masters SET FullName = ? WHERE Id = ?"), {name, id}) >
           0;
}

bool MasterRepository::deleteMaster(int id)
{
    return m_connection.change(QStringLiteral("UPDATE Masters SET IsActive = 0 WHERE Id = ?"), {id}) > 0;
}

bool MasterRepository::restoreMaster(int id)
{
    return m_connection.change(QStringLiteral("UPDATE Masters SET IsActive = 1 WHERE Id = ?"), {id}) > 0;
}

bool MasterRepository::deleteMasterPermanently(int id)
{
    return m_connection.change(QStringLiteral("DELETE FROM Masters WHERE Id = ?"), {id}) > 0;
}

bool MasterRepository::cleanupInactiveMasters()
{
    return m_connection.change(QStringLiteral("DELETE FROM Masters WHERE IsActive = 0"), {}) > 0;
}

QList<Master> MasterRepository::masters(const QString& statement, const QVariantList& values)
{
    QList<Master> list;
    for (const QVariantMap& row : m_connection.records(statement, values))
        list.append(masterFrom(row));
    return list;
}

std::optional<Master> MasterRepository::getMaster(int id)
{
    const auto list = masters(QStringLiteral("SELECT * FROM Masters WHERE Id = ?"), {id});
    return list.isEmpty() ? std::nullopt : std::optional<Master>(list.first());
}

QList<Master> MasterRepository::allMasters()
{
    return masters(QStringLiteral("SELECT * FROM Masters WHERE IsActive = 1 ORDER BY FullName"));
}

QList<Master> MasterRepository::allMastersIncludingInactive()
{
    return masters(QStringLiteral("SELECT * FROM Masters ORDER BY IsActive DESC, FullName"));
}

QString MasterRepository::normalizeMasterSearchText(const QString& text)
{
    QString folded = text.normalized(QString::NormalizationForm_KC).toCaseFolded();
    folded.replace(QChar(0x0451), QChar(0x0435)); // ё
    folded.replace(QChar(0x0401), QChar(0x0435)); // Ё
    QString out;
    for (const QChar c : folded) {
        if (c.isLetterOrNumber())
            out.append(c);
        else if (!out.endsWith(QLatin1Char(' ')))
            out.append(QLatin1Char(' '));
    }
    return out.trimmed();
}

bool MasterRepository::masterMatchesSearch(const QString& fullName, const QStringList& tokens)
{
    if (tokens.isEmpty())
        return true;
    const QString name = normalizeMasterSearchText(fullName);
    for (const QString& token : tokens) {
        if (!name.contains(token))
            return false;
    }
    return true;
}

QList<Master> MasterRepository::searchMasters(const QString& text, bool includeInactive)
{
    const QStringList tokens = normalizeMasterSearchText(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const QList<Master> rows = includeInactive ? allMastersIncludingInactive() : allMasters();
    QList<Master> found;
    for (const Master& master : rows) {
        if (masterMatchesSearch(master.fullName, tokens))
            found.append(master);
    }
    return found;
}

QMap<int, QString> MasterRepository::mastersDictionary(bool includeInactive)
{
    return dictionary(
        m_connection,
        includeInactive
            ? QStringLiteral("SELECT Id, FullName, IsActive FROM Masters ORDER BY IsActive DESC, "
                             "FullName")
            : QStringLiteral("SELECT Id, FullName FROM Masters WHERE IsActive = 1 ORDER BY FullName"),
        QStringLiteral("FullName"));
}

bool MasterRepository::masterExists(const QString& fullName)
{
    return m_connection
               .scalar(QStringLiteral("SELECT COUNT(*) FROM Masters WHERE FullName = ?"), {fullName}, 0)
               .toInt() > 0;
}

bool MasterRepository::activeMasterExists(const QString& fullName)
{
    return m_connection
               .scalar(QStringLiteral("SELECT COUNT(*) FROM Masters WHERE FullName = ? AND IsActive = 1"),
                       {fullName}, 0)
               .toInt() > 0;
}

CustomerRepository::CustomerRepository(const QString& databasePath)
    : m_connection(QStringLiteral("TachoriaCustomers_%1"), pathOr(databasePath, "CustomersDB.db"))
{
    if (m_connection.isOpen() &&
        m_connection.exec(
            QStringLiteral("CREATE TABLE IF NOT EXISTS Customers (Id INTEGER PRIMARY KEY AUTOINCREMENT, "
                           "CustomerName TEXT NOT NULL, Address TEXT, Phone TEXT, CreatedAt DATETIME "
                           "DEFAULT CURRENT_TIMESTAMP, IsActive INTEGER DEFAULT 1)")))
        m_connection.exec(
            QStringLiteral("CREATE INDEX IF NOT EXISTS IX_Customers_Name ON Customers(CustomerName)"));
}

int CustomerRepository::addCustomer(const QString& name, const QString& address, const QString& phone)
{
    if (name.trimmed().isEmpty()) {
        m_connection.setLastError(QStringLiteral("Имя заказчика не может быть пустым"));
        return -1;
    }
    QSqlQuery query(m_connection.database());
    if (!m_connection.exec(
            query, QStringLiteral("INSERT INTO Customers(CustomerName, Address, Phone) VALUES(?, ?, ?)"),
            {name.trimmed(), address.trimmed(), phone.trimmed()}))
        return -1;
    return query.lastInsertId().toInt();
}

bool CustomerRepository::updateCustomer(int id, const QString& name, const QString& address,
                                        const QString& phone)
{
    if (name.trimmed().isEmpty()) {
        m_connection.setLastError(QStringLiteral("Имя заказчика не может быть пустым"));
        return false;
    }
    return m_connection.change(
               QStringLiteral("UPDATE Customers SET CustomerName = ?, Address = ?, Phone = ? WHERE Id = ?"),
               {name.trimmed(), address.trimmed(), phone.trimmed(), id}) > 0;
}

bool CustomerRepository::deleteCustomer(int id)
{
    return m_connection.change(QStringLiteral("UPDATE Customers SET IsActive = 0 WHERE Id = ?"), {id}) > 0;
}

bool CustomerRepository::restoreCustomer(int id)
{
    return m_connection.change(QStringLiteral("UPDATE Customers SET IsActive = 1 WHERE Id = ?"), {id}) > 0;
}

bool CustomerRepository::deleteCustomerPermanently(int id)
{
    return m_connection.change(QStringLiteral("DELETE FROM Customers WHERE Id = ?"), {id}) > 0;
}

bool CustomerRepository::cleanupInactiveCustomers()
{
    return m_connection.change(QStringLiteral("DELETE FROM Customers WHERE IsActive = 0"), {}) > 0;
}

QList<Customer> CustomerRepository::customers(const QString& statement, const QVariantList& values)
{
    QList<Customer> list;
    for (const QVariantMap& row : m_connection.records(statement, values))
        list.append(customerFrom(row));
    return list;
}

std::optional<Customer> CustomerRepository::getCustomer(int id)
{
    const auto list = customers(QStringLiteral("SELECT * FROM Customers WHERE Id = ?"), {id});
    return list.isEmpty() ? std::nullopt : std::optional<Customer>(list.first());
}

QList<Customer> CustomerRepository::allCustomers()
{
    return customers(QStringLiteral("SELECT * FROM Customers WHERE IsActive = 1 ORDER BY CustomerName"));
}

QList<Customer> CustomerRepository::allCustomersIncludingInactive()
{
    return customers(QStringLiteral("SELECT * FROM Customers ORDER BY IsActive DESC, CustomerName"));
}

QList<Customer> CustomerRepository::searchCustomers(const QString& text, bool includeInactive)
{
    const QString pattern = QLatin1Char('%') + text + QLatin1Char('%');
    return customers(
        includeInactive
            ? QStringLiteral("SELECT * FROM Customers WHERE (CustomerName LIKE ? OR Address LIKE ? "
                             "OR Phone LIKE ?) ORDER BY IsActive DESC, CustomerName")
            : QStringLiteral("SELECT * FROM Customers WHERE (CustomerName LIKE ? OR Address LIKE ? "
                             "OR Phone LIKE ?) AND IsActive = 1 ORDER BY CustomerName"),
        {pattern, pattern, pattern});
}

QList<Customer> CustomerRepository::searchByPhone(const QString& text)
{
    return customers(
        QStringLiteral("SELECT * FROM Customers WHERE Phone LIKE ? AND IsActive = 1 ORDER BY CustomerName"),
        {QLatin1Char('%') + text + QLatin1Char('%')});
}

QMap<int, QString> CustomerRepository::customersDictionary(bool includeInactive)
{
    return dictionary(
        m_connection,
        includeInactive ? QStringLiteral("SELECT Id, CustomerName, IsActive FROM Customers ORDER BY IsActive "
                                         "DESC, CustomerName")
                        : QStringLiteral("SELECT Id, CustomerName FROM Customers WHERE IsActive = 1 ORDER BY "
                                         "CustomerName"),
        QStringLiteral("CustomerName"));
}

bool CustomerRepository::customerExists(const QString& name)
{
    return m_connection
               .scalar(QStringLiteral("SELECT COUNT(*) FROM Customers WHERE CustomerName = ?"), {name}, 0)
               .toInt() > 0;
}

std::optional<Customer> CustomerRepository::customerByName(const QString& name)
{
    const auto list = customers(
        QStringLiteral("SELECT * FROM Customers WHERE CustomerName = ? AND IsActive = 1 LIMIT 1"), {name});
    return list.isEmpty() ? std::nullopt : std::optional<Customer>(list.first());
}

} // namespace tachoria::storage
