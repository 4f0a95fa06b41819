#include "storage/sqlite_connection.h"

#include "storage/app_paths.h"

#include <QSqlDriver>
#include <QSqlError>
#include <QSqlRecord>
#include <QUuid>

#include <sqlite3.h>

namespace tachoria::storage {

namespace {

// LIKE with '%' and '_' that ignores case for every alphabet, not only for ASCII as SQLite's own
// does: a Russian-speaking user expects "ооо" to find "ООО".
bool likeMatches(const QString& pattern, const QString& text, QChar escape)
{
    qsizetype p = 0;
    qsizetype t = 0;
    qsizetype starPattern = -1;
    qsizetype starText = 0;
    while (t < text.size()) {
        if (p < pattern.size()) {
            QChar c = pattern.at(p);
            if (!escape.isNull() && c == escape && p + 1 < pattern.size()) {
                if (pattern.at(p + 1) == text.at(t)) {
                    p += 2;
                    ++t;
                    continue;
                }
            } else if (c == QLatin1Char('%')) {
                starPattern = ++p;
                starText = t;
                continue;
            } else if (c == QLatin1Char('_') || c == text.at(t)) {
                ++p;
                ++t;
                continue;
            }
        }
        if (starPattern < 0)
            return false;
        p = starPattern;
        t = ++starText;
    }
    while (p < pattern.size() && pattern.at(p) == QLatin1Char('%'))
        ++p;
    return p == pattern.size();
}

QString folded(sqlite3_value* value)
{
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
    return text ? QString::fromUtf8(text).toCaseFolded() : QString();
}

void unicodeLike(sqlite3_context* context, int argc, sqlite3_value** argv)
{
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL || sqlite3_value_type(argv[1]) == SQLITE_NULL) {
        sqlite3_result_null(context);
        return;
    }
    QChar escape;
    if (argc == 3) {
        const QString escapeText = folded(argv[2]);
        if (escapeText.size() != 1) {
            sqlite3_result_error(context, "ESCAPE expression must be a single character", -1);
            return;
        }
        escape = escapeText.at(0);
    }
    sqlite3_result_int(context, likeMatches(folded(argv[0]), folded(argv[1]), escape) ? 1 : 0);
}

void installUnicodeLike(const QSqlDatabase& db)
{
    const QVariant handle = db.driver()->handle();
    if (!handle.isValid() || qstrcmp(handle.typeName(), "sqlite3*") != 0)
        return;
    sqlite3* connection = *static_cast<sqlite3* const*>(handle.data());
    if (!connection)
        return;
    for (int arguments : {2, 3})
        sqlite3_create_function(connection, "like", arguments, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr,
                                &unicodeLike, nullptr, nullptr);
}

} // namespace

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
    else
        installUnicodeLike(db);
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

bool SqliteConnection::transaction()
{
    if (!isOpen())
        return false;
    QSqlDatabase db = database();
    if (!db.transaction()) {
        m_lastError = db.lastError().text();
        return false;
    }
    return true;
}

bool SqliteConnection::commit()
{
    QSqlDatabase db = database();
    if (!db.commit()) {
        m_lastError = db.lastError().text();
        return false;
    }
    return true;
}

void SqliteConnection::rollback()
{
    QSqlDatabase db = database();
    if (!db.rollback())
        m_lastError = db.lastError().text();
}

QVariant SqliteConnection::scalar(const QString& statement, const QVariantList& values,
                                  const QVariant& fallback)
{
    QSqlQuery query(database());
    if (!exec(query, statement, values) || !query.next())
        return fallback;
    return query.value(0);
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
