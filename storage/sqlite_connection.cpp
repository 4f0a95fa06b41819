#include "storage/sqlite_connection.h"

#include "storage/app_paths.h"

#include <QSqlError>
#include <QSqlRecord>
#include <QUuid>

namespace tachoria::storage {

SqliteConnection::SqliteConnection(const QString& namePattern, const QString& databasePath)
    : m_name(namePattern.arg(QUuid::createUuid().toString(QUuid::WithoutBraces)))
    , m_path(databasePath)
{
    AppPaths::ensureDirectories();
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
    db.setDatabaseName(m_path);
    db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(kBusyTimeoutMs));
    if (!db.open())
        m_lastError = db.lastError().text();
}

SqliteConnection::~SqliteConnection()
{
    {
        QSqlDatabase db = QSqlDatabase::database(m_name, false);
        if (db.isValid())
            db.close();
    }
    QSqlDatabase::removeDatabase(m_name);
}

QSqlDatabase SqliteConnection::database() const
{
    return QSqlDatabase::database(m_name, false);
}

bool SqliteConnection::isOpen() const
{
    return database().isOpen();
}

bool SqliteConnection::exec(QSqlQuery& query, const QString& statement, const QVariantList& values)
{
    if (!isOpen())
        return false;
    if (!query.prepare(statement)) {
        m_lastError = query.lastError().text();
        return false;
    }
    for (const QVariant& value : values)
        query.addBindValue(value);
    if (!query.exec()) {
        m_lastError = query.lastError().text();
        return false;
    }
    return true;
}

bool SqliteConnection::exec(const QString& statement, const QVariantList& values)
{
    QSqlQuery query(database());
    return exec(query, statement, values);
}

int SqliteConnection::change(const QString& statement, const QVariantList& values)
{
    QSqlQuery query(database());
    if (!exec(query, statement, values))
        return -1;
    return query.numRowsAffected();
}

QList<QVariantMap> SqliteConnection::records(const QString& statement, const QVariantList& values)
{
    QList<QVariantMap> list;
    QSqlQuery query(database());
    if (!exec(query, statement, values))
        return list;
    while (query.next())
        list.append(readRecord(query));
    return list;
}

QVariantMap SqliteConnection::readRecord(const QSqlQuery& query)
{
    QVariantMap record;
    const QSqlRecord fields = query.record();
    for (int i = 0; i < fields.count(); ++i)
        record.insert(fields.fieldName(i), query.value(i));
    return record;
}

} // namespace tachoria::storage
