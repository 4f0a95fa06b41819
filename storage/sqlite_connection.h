#pragma once

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

namespace tachoria::storage {

// The connection every repository owns: one per instance, named by a prefix and a fresh UUID so that
// several instances (one per thread) may live at once, opened with a busy time-out so that two
// writers on one file wait for each other instead of failing.
class SqliteConnection
{
public:
    static constexpr int kBusyTimeoutMs = 5000;

    // namePattern holds %1 for the UUID, e.g. "TachoriaCalibration_%1".
    SqliteConnection(const QString& namePattern, const QString& databasePath);
    ~SqliteConnection();
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    bool isOpen() const;
    QString lastError() const { return m_lastError; }
    QString databasePath() const { return m_path; }
    QSqlDatabase database() const;

    // Prepares, binds in order, executes; a failure is kept as lastError.
    bool exec(QSqlQuery& query, const QString& statement, const QVariantList& values = {});
    bool exec(const QString& statement, const QVariantList& values = {});
    // Runs an UPDATE or DELETE; the number of affected rows, or -1 when it did not run.
    int change(const QString& statement, const QVariantList& values);
    QList<QVariantMap> records(const QString& statement, const QVariantList& values = {});
    // The first column of the first row, or the fallback.
    QVariant scalar(const QString& statement, const QVariantList& values = {}, const QVariant& fallback = {});
    bool transaction();
    bool commit();
    void rollback();
    void setLastError(const QString& text) { m_lastError = text; }

    static QVariantMap readRecord(const QSqlQuery& query);

private:
    QString m_name;
    QString m_path;
    QString m_lastError;
};

} // namespace tachoria::storage
