#pragma once

#include "ddd/ddd_report.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>

#include <memory>
#include <optional>

class QSqlQuery;

namespace tachoria::storage {
class SqliteConnection;
}

namespace tachoria::ddd {

// Decoded reports in "ReportsDB.db", kept so that a report can be listed, opened, printed and deleted
// without its .ddd file. Each report is stored three ways at once: the flat tables that earlier versions
// wrote and the list reads, every dataset row by row as JSON (without loss), and the file's blocks with
// every scalar field as JSON. Loading takes the JSON first and the flat tables only for what has none.
//
// A driver-card report and a tachograph report count their numbers apart: only the pair (number, type)
// names a report. One connection, used on the thread that made the repository.
class DddRepository
{
public:
    // An empty path is the catalogue's "ReportsDB.db", moved from an old reports database if there is one.
    explicit DddRepository(const QString& path = QString());
    ~DddRepository();
    DddRepository(const DddRepository&) = delete;
    DddRepository& operator=(const DddRepository&) = delete;

    bool isOpen() const;
    QString lastError() const { return m_lastError; }

    // The number of a stored report of the same file: 0 when there is none, -1 on failure.
    qint64 findDuplicateReport(const DddReport& report) const;
    // The new report's number, or -1.
    qint64 save(const DddReport& report);
    std::optional<DddReport> loadReport(qint64 id, DddFileType type) const;
    // The report as the page shows it: the summary with the number, the analysis and the datasets.
    QVariantMap load(qint64 id, DddFileType type) const;
    // reportId, reportDate, keyValue, description, eventCount, faultCount, reportType; newest first.
    QVariantList listReports() const;
    bool remove(qint64 id, DddFileType type);

    static int reportTypeCode(DddFileType type);
    static QString reportTable(DddFileType type);
    static QString reportTypeName(DddFileType type);
    // Every scalar field of a report, as the meta JSON holds it.
    static QVariantMap scalarMap(const DddReport& report);
    // A stored date in any of the forms earlier versions wrote; invalid when none fits.
    static QDateTime storedDateTime(const QVariant& value);
    // The value of the first key the row holds, exactly or else without regard to case; null if none.
    static QVariant rowValue(const QVariantMap& row, const QStringList& keys);
    // A value as a flat table's text: empty for nothing, compact JSON for a list or a map.
    static QString jsonText(const QVariant& value);

private:
    bool initialize();
    bool exec(const QString& statement, const QVariantList& values = {}) const;
    bool ensureColumn(const QString& table, const QString& column, const QString& type);
    qint64 saveDriverCard(const DddReport& report);
    qint64 saveTachograph(const DddReport& report);
    bool saveChildren(qint64 id, const DddReport& report);
    bool saveRows(qint64 id, int type, const QString& name, const DatasetRows& rows);
    bool saveSections(qint64 id, int type, const DddReport& report);
    QList<QVariantMap> loadRows(qint64 id, int type, const QString& name) const;
    QList<QVariantMap> loadLegacyRows(qint64 id, const QString& table) const;
    bool fail(const QSqlQuery& query) const;

    std::unique_ptr<storage::SqliteConnection> m_connection;
    mutable QString m_lastError;
};

} // namespace tachoria::ddd
