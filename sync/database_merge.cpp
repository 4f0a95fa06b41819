#include "sync/database_merge.h"

#include "storage/sqlite_connection.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QUuid>

#include <functional>
#include <optional>

namespace tachoria::sync {

namespace {

using IdMap = QHash<qint64, qint64>;

bool fail(QString* error, const QString& text)
{
    if (error)
        *error = text;
    return false;
}

bool failed(const QSqlQuery& query, QString* error)
{
    return fail(error, query.lastError().text());
}

qsizetype indexOf(const QStringList& list, const QString& name)
{
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (list.at(i).compare(name, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

bool hasColumn(const QStringList& list, const QString& name)
{
    return indexOf(list, name) >= 0;
}

// The columns a row goes in with: the shared ones, without the target's own number when it has one.
QStringList insertColumnsFor(const QStringList& common, const TableInfo& target)
{
    QStringList columns = common;
    if (target.primaryKeys.size() == 1) {
        const qsizetype key = indexOf(columns, target.primaryKeys.first());
        if (key >= 0)
            columns.removeAt(key);
    }
    return columns;
}

// A column that the source's row lacks is null.
QVariantList rowValues(const QSqlRecord& record, const QStringList& columns)
{
    QVariantList values;
    values.reserve(columns.size());
    for (const QString& column : columns) {
        const int index = record.indexOf(column);
        values.append(index >= 0 ? record.value(index) : QVariant());
    }
    return values;
}

QString joinedQuoted(const QStringList& columns)
{
    QStringList quoted;
    for (const QString& column : columns)
        quoted.append(quoteIdentifier(column));
    return quoted.join(QLatin1Char(','));
}

// One prepared insert, and the look-up that decides whether a row is there already.
class RowWriter
{
public:
    enum class Mode
    {
        CompareFirst, // look for an equal row, insert when there is none
        OrIgnore,     // the table's own unique constraints decide
        Plain,
    };

    RowWriter(const QSqlDatabase& target, const QString& table, const QStringList& insertColumns, Mode mode)
        : m_target(target)
        , m_lookup(target)
        , m_insert(target)
        , m_mode(mode)
    {
        QStringList marks;
        for (qsizetype i = 0; i < insertColumns.size(); ++i)
            marks.append(QStringLiteral("?"));
        m_insertReady = m_insert.prepare(
            QStringLiteral("INSERT %1 INTO %2 (%3) VALUES (%4)")
                .arg(mode == Mode::OrIgnore ? QStringLiteral("OR IGNORE") : QString(), quoteIdentifier(table),
                     joinedQuoted(insertColumns), marks.join(QLatin1Char(','))));
    }

    // The look-up of an equal row by the compared columns, over a transient index on them.
    bool lookUpSameRow(const QString& key, const QString& table, const QStringList& compareColumns)
    {
        indexLookup(table, compareColumns);
        return prepareSameValue(quoteIdentifier(key), table, compareColumns);
    }

    // "SELECT <key> FROM <table> WHERE <c1> IS ? AND ... LIMIT 1": NULL equals NULL.
    bool prepareSameValue(const QString& key, const QString& table, const QStringList& compareColumns)
    {
        QStringList conditions;
        for (const QString& column : compareColumns)
            conditions.append(quoteIdentifier(column) + QStringLiteral(" IS ?"));
        if (conditions.isEmpty())
            conditions.append(QStringLiteral("1"));
        return prepareLookup(QStringLiteral("SELECT %1 FROM %2 WHERE %3 LIMIT 1")
                                 .arg(key, quoteIdentifier(table), conditions.join(QStringLiteral(" AND "))));
    }

    bool prepareLookup(const QString& statement)
    {
        m_lookupReady = m_lookup.prepare(statement);
        return m_lookupReady;
    }

    // Without an index each look-up reads the whole table, and a merge of two full shops costs the
    // product of their sizes. A transient index on the first compared columns, made and dropped
    // within the merge's transaction, leaves the schema as it was and decides nothing: the look-up
    // compares the same columns the same way. A table that takes no index is scanned as before.
    void indexLookup(const QString& table, const QStringList& compareColumns)
    {
        if (compareColumns.isEmpty())
            return;
        const QString name = QStringLiteral("merge_lookup_") + QUuid::createUuid().toString(QUuid::Id128);
        QSqlQuery query(m_target);
        if (query.exec(QStringLiteral("CREATE INDEX %1 ON %2 (%3)")
                           .arg(quoteIdentifier(name), quoteIdentifier(table),
                                joinedQuoted(compareColumns.mid(0, kIndexedColumns)))))
            m_index = name;
    }

    // Ends the statements and drops the transient index; a failure fails the merge, which rolls back.
    bool finish(QString* error)
    {
        m_lookup.finish();
        m_insert.finish();
        if (m_index.isEmpty())
            return true;
        QSqlQuery query(m_target);
        const bool dropped = query.exec(QStringLiteral("DROP INDEX %1").arg(quoteIdentifier(m_index)));
        m_index.clear();
        return dropped || failed(query, error);
    }

    bool ready(QString* error) const
    {
        if (!m_insertReady)
            return failed(m_insert, error);
        if (m_mode == Mode::CompareFirst && !m_lookupReady)
            return failed(m_lookup, error);
        return true;
    }

    // The first column of an equal row, or nothing; false when the statement fails.
    bool find(const QVariantList& keys, std::optional<QVariant>* found, QString* error)
    {
        for (int i = 0; i < keys.size(); ++i)
            m_lookup.bindValue(i, keys.at(i));
        if (!m_lookup.exec())
            return failed(m_lookup, error);
        *found = m_lookup.next() ? std::optional<QVariant>(m_lookup.value(0)) : std::nullopt;
        m_lookup.finish();
        return true;
    }

    bool insert(const QVariantList& values, bool* inserted, QString* error, QVariant* newKey = nullptr)
    {
        for (int i = 0; i < values.size(); ++i)
            m_insert.bindValue(i, values.at(i));
        if (!m_insert.exec())
            return failed(m_insert, error);
        *inserted = m_insert.numRowsAffected() > 0;
        if (newKey)
            *newKey = m_insert.lastInsertId();
        return true;
    }

    // Compares first when the mode says so; counts what went in.
    bool put(const QVariantList& values, const QVariantList& compareValues, int* added, QString* error,
             QVariant* key = nullptr)
    {
        if (m_mode == Mode::CompareFirst) {
            std::optional<QVariant> found;
            if (!find(compareValues, &found, error))
                return false;
            if (found) {
                if (key)
                    *key = *found;
                return true;
            }
        }
        bool inserted = false;
        if (!insert(values, &inserted, error, key))
            return false;
        if (inserted && added)
            ++*added;
        return true;
    }

private:
    // Enough to tell rows apart in practice: a date and a serial number lead the journal's columns.
    static constexpr qsizetype kIndexedColumns = 4;

    QSqlDatabase m_target;
    QSqlQuery m_lookup;
    QSqlQuery m_insert;
    QString m_index;
    Mode m_mode;
    bool m_insertReady = false;
    bool m_lookupReady = false;
};

struct Databases
{
    QSqlDatabase source;
    QSqlDatabase target;
};

// The shared columns of one table, split into those a row goes in with and those that decide
// whether it is there already.
struct RowShape
{
    QStringList insertColumns;
    QStringList compareColumns;
    QList<int> compareIndexes; // positions of compareColumns within insertColumns

    RowShape(const QStringList& common, const TableInfo& target)
        : insertColumns(insertColumnsFor(common, target))
    {
        for (int i = 0; i < insertColumns.size(); ++i) {
            if (!isGeneratedColumn(insertColumns.at(i))) {
                compareColumns.append(insertColumns.at(i));
                compareIndexes.append(i);
            }
        }
    }

    QVariantList compareValues(const QVariantList& values) const
    {
        QVariantList out;
        out.reserve(compareIndexes.size());
        for (int index : compareIndexes)
            out.append(values.at(index));
        return out;
    }
};

RowWriter::Mode modeFor(const TableInfo& target, bool plainWithoutKey)
{
    if (target.primaryKeys.size() == 1)
        return RowWriter::Mode::CompareFirst;
    if (target.primaryKeys.isEmpty() && plainWithoutKey)
        return RowWriter::Mode::Plain;
    return RowWriter::Mode::OrIgnore;
}

bool selectAll(QSqlQuery& query, const QString& table, QString* error)
{
    query.setForwardOnly(true);
    if (!query.exec(QStringLiteral("SELECT * FROM %1").arg(quoteIdentifier(table))))
        return failed(query, error);
    return true;
}

// The general rule: a row is there already when every shared column but the generated ones and the
// target's own number agrees. With a map, a row's ReportId is the number its report has here; a row
// of a report that did not come across is skipped. With mapFor, the map is chosen row by row.
bool mergeRows(const Databases& db, const TableInfo& sourceInfo, const TableInfo& targetInfo,
               const std::function<const IdMap*(const QSqlRecord&)>& mapFor, bool plainWithoutKey, int* added,
               QString* error)
{
    const QStringList common = commonColumns(sourceInfo, targetInfo);
    if (common.isEmpty())
        return true;
    const RowShape shape(common, targetInfo);
    if (shape.insertColumns.isEmpty())
        return true;
    const qsizetype reportColumn = mapFor ? indexOf(shape.insertColumns, QStringLiteral("ReportId")) : -1;

    const RowWriter::Mode mode = modeFor(targetInfo, plainWithoutKey);
    RowWriter writer(db.target, targetInfo.name, shape.insertColumns, mode);
    if (mode == RowWriter::Mode::CompareFirst)
        writer.lookUpSameRow(targetInfo.primaryKeys.first(), targetInfo.name, shape.compareColumns);
    if (!writer.ready(error))
        return false;

    QSqlQuery rows(db.source);
    if (!selectAll(rows, sourceInfo.name, error))
        return false;
    while (rows.next()) {
        const QSqlRecord record = rows.record();
        QVariantList values = rowValues(record, shape.insertColumns);
        if (reportColumn >= 0) {
            const IdMap* map = mapFor(record);
            const auto mapped = map->constFind(values.at(reportColumn).toLongLong());
            if (mapped == map->cend())
                continue;
            values[reportColumn] = *mapped;
        }
        if (!writer.put(values, shape.compareValues(values), added, error))
            return false;
    }
    if (rows.lastError().type() != QSqlError::NoError)
        return failed(rows, error);
    return writer.finish(error);
}

bool mergeSimpleTable(const Databases& db, const TableInfo& sourceInfo, const TableInfo& targetInfo,
                      const IdMap* idMap, int* added, QString* error)
{
    std::function<const IdMap*(const QSqlRecord&)> mapFor;
    if (idMap)
        mapFor = [idMap](const QSqlRecord&) { return idMap; };
    return mergeRows(db, sourceInfo, targetInfo, mapFor, false, added, error);
}

// Masters and customers meet by name alone; a name that is there keeps everything it has.
bool mergeNamedList(const Databases& db, const QString& table, const QString& keyColumn, int* added,
                    QString* error)
{
    const TableInfo sourceInfo = tableInfo(db.source, table);
    const TableInfo targetInfo = tableInfo(db.target, table);
    if (sourceInfo.name.isEmpty() || targetInfo.name.isEmpty())
        return true;
    const QStringList common = commonColumns(sourceInfo, targetInfo);
    if (!hasColumn(common, keyColumn))
        return true;
    const QStringList insertColumns = insertColumnsFor(common, targetInfo);
    RowWriter writer(db.target, targetInfo.name, insertColumns, RowWriter::Mode::CompareFirst);
    const QString key = targetInfo.primaryKeys.isEmpty() ? QStringLiteral("1")
                                                         : quoteIdentifier(targetInfo.primaryKeys.first());
    writer.prepareLookup(QStringLiteral("SELECT %1 FROM %2 WHERE %3 IS ? LIMIT 1")
                             .arg(key, quoteIdentifier(targetInfo.name), quoteIdentifier(keyColumn)));
    if (!writer.ready(error))
        return false;
    QSqlQuery rows(db.source);
    if (!selectAll(rows, sourceInfo.name, error))
        return false;
    while (rows.next()) {
        const QSqlRecord record = rows.record();
        if (!writer.put(rowValues(record, insertColumns), {record.value(record.indexOf(keyColumn))}, added,
                        error))
            return false;
    }
    return true;
}

// (Section, Key) is a setting's identity; the later LastModified wins, compared as text, and on a
// tie the incoming row. An update counts as an added row, as does a tie on equal values.
bool mergeSettings(const Databases& db, int* added, QString* error)
{
    const QString table = QStringLiteral("Settings");
    if (tableInfo(db.source, table).name.isEmpty() || tableInfo(db.target, table).name.isEmpty())
        return true;
    QSqlQuery rows(db.source);
    rows.setForwardOnly(true);
    if (!rows.exec(
            QStringLiteral("SELECT Section, Key, Value, ValueType, Description, LastModified FROM Settings")))
        return failed(rows, error);
    QSqlQuery upsert(db.target);
    if (!upsert.prepare(QStringLiteral(
            "INSERT INTO Settings(Section,Key,Value,ValueType,Description,LastModified) "
            "VALUES(?,?,?,?,?,?) ON CONFLICT(Section,Key) DO UPDATE SET "
            "Value=excluded.Value,ValueType=excluded.ValueType,Description=excluded.Description,"
            "LastModified=excluded.LastModified WHERE excluded.LastModified >= Settings.LastModified")))
        return failed(upsert, error);
    while (rows.next()) {
        for (int i = 0; i < 6; ++i)
            upsert.bindValue(i, rows.value(i));
        if (!upsert.exec())
            return failed(upsert, error);
        if (upsert.numRowsAffected() > 0)
            ++*added;
    }
    return true;
}

// Makes meet by name, models by make and name: the fixed seed numbers of two machines may differ in
// meaning, and a model that exists keeps its own parameters.
bool mergeVehicles(const Databases& db, int* added, QString* error)
{
    if (tableInfo(db.source, QStringLiteral("Manufacturers")).name.isEmpty() ||
        tableInfo(db.target, QStringLiteral("Manufacturers")).name.isEmpty())
        return true;
    IdMap makes;
    {
        RowWriter writer(db.target, QStringLiteral("Manufacturers"),
                         {QStringLiteral("Name"), QStringLiteral("CreatedAt")},
                         RowWriter::Mode::CompareFirst);
        writer.prepareLookup(QStringLiteral("SELECT Id FROM Manufacturers WHERE Name IS ? LIMIT 1"));
        if (!writer.ready(error))
            return false;
        QSqlQuery rows(db.source);
        rows.setForwardOnly(true);
        if (!rows.exec(QStringLiteral("SELECT Id, Name, CreatedAt FROM Manufacturers")))
            return failed(rows, error);
        while (rows.next()) {
            QVariant key;
            if (!writer.put({rows.value(1), rows.value(2)}, {rows.value(1)}, added, error, &key))
                return false;
            makes.insert(rows.value(0).toLongLong(), key.toLongLong());
        }
    }

    const TableInfo sourceModels = tableInfo(db.source, QStringLiteral("Models"));
    const TableInfo targetModels = tableInfo(db.target, QStringLiteral("Models"));
    if (sourceModels.name.isEmpty() || targetModels.name.isEmpty())
        return true;
    const QStringList insertColumns =
        insertColumnsFor(commonColumns(sourceModels, targetModels), targetModels);
    const qsizetype makeColumn = indexOf(insertColumns, QStringLiteral("ManufacturerId"));
    RowWriter writer(db.target, targetModels.name, insertColumns, RowWriter::Mode::CompareFirst);
    writer.prepareLookup(QStringLiteral("SELECT Id FROM Models WHERE ManufacturerId=? AND Name=? LIMIT 1"));
    if (!writer.ready(error))
        return false;
    QSqlQuery rows(db.source);
    if (!selectAll(rows, sourceModels.name, error))
        return false;
    while (rows.next()) {
        const QSqlRecord record = rows.record();
        const int make = record.indexOf(QStringLiteral("ManufacturerId"));
        const int name = record.indexOf(QStringLiteral("Name"));
        if (make < 0 || name < 0)
            continue;
        const auto mapped = makes.constFind(record.value(make).toLongLong());
        if (mapped == makes.cend())
            continue;
        QVariantList values = rowValues(record, insertColumns);
        if (makeColumn >= 0)
            values[makeColumn] = *mapped;
        if (!writer.put(values, {*mapped, record.value(name)}, added, error))
            return false;
    }
    return true;
}

// A configuration that the target has under that make and model, in any case of letters, stays as
// it is whatever its UpdatedAt: here the later change does not win.
bool mergeVehicleConfigurations(const Databases& db, int* added, QString* error)
{
    const QString table = QStringLiteral("VehicleConfigurations");
    const TableInfo sourceInfo = tableInfo(db.source, table);
    const TableInfo targetInfo = tableInfo(db.target, table);
    if (sourceInfo.name.isEmpty() || targetInfo.name.isEmpty())
        return true;
    const QStringList common = commonColumns(sourceInfo, targetInfo);
    if (!hasColumn(common, QStringLiteral("Manufacturer")) || !hasColumn(common, QStringLiteral("Model")))
        return true;
    const QStringList insertColumns = insertColumnsFor(common, targetInfo);
    RowWriter writer(db.target, targetInfo.name, insertColumns, RowWriter::Mode::CompareFirst);
    writer.prepareLookup(QStringLiteral("SELECT 1 FROM %1 WHERE %2 = ? COLLATE NOCASE AND %3 = ? COLLATE "
                                        "NOCASE LIMIT 1")
                             .arg(quoteIdentifier(targetInfo.name),
                                  quoteIdentifier(QStringLiteral("Manufacturer")),
                                  quoteIdentifier(QStringLiteral("Model"))));
    if (!writer.ready(error))
        return false;
    QSqlQuery rows(db.source);
    if (!selectAll(rows, sourceInfo.name, error))
        return false;
    while (rows.next()) {
        const QSqlRecord record = rows.record();
        const QVariantList keys = {record.value(QStringLiteral("Manufacturer")).toString().trimmed(),
                                   record.value(QStringLiteral("Model")).toString().trimmed()};
        if (!writer.put(rowValues(record, insertColumns), keys, added, error))
            return false;
    }
    return true;
}

// Reports meet by every column of their row but ImportDate; the map tells which number each source
// report has here, found or new, for the rows that belong to it.
bool mergeReportParents(const Databases& db, const QString& table, IdMap* map, int* added, QString* error)
{
    const TableInfo sourceInfo = tableInfo(db.source, table);
    const TableInfo targetInfo = tableInfo(db.target, table);
    if (sourceInfo.name.isEmpty() || targetInfo.name.isEmpty() || sourceInfo.primaryKeys.size() != 1 ||
        targetInfo.primaryKeys.size() != 1)
        return true;
    const RowShape shape(commonColumns(sourceInfo, targetInfo), targetInfo);
    RowWriter writer(db.target, targetInfo.name, shape.insertColumns, RowWriter::Mode::CompareFirst);
    writer.lookUpSameRow(targetInfo.primaryKeys.first(), targetInfo.name, shape.compareColumns);
    if (!writer.ready(error))
        return false;
    QSqlQuery rows(db.source);
    if (!selectAll(rows, sourceInfo.name, error))
        return false;
    while (rows.next()) {
        const QSqlRecord record = rows.record();
        const QVariantList values = rowValues(record, shape.insertColumns);
        QVariant key;
        if (!writer.put(values, shape.compareValues(values), added, error, &key))
            return false;
        map->insert(record.value(sourceInfo.primaryKeys.first()).toLongLong(), key.toLongLong());
    }
    return writer.finish(error);
}

bool mergeDriverCards(const Databases& db, int* added, QString* error)
{
    const QString cards = QStringLiteral("DriverCardReports");
    const QString units = QStringLiteral("TachographReports");
    IdMap cardMap;
    IdMap unitMap;
    if (!mergeReportParents(db, cards, &cardMap, added, error) ||
        !mergeReportParents(db, units, &unitMap, added, error))
        return false;
    const QList<TableInfo> sourceTables = tables(db.source);
    for (const TableInfo& sourceInfo : sourceTables) {
        if (sourceInfo.name.compare(cards, Qt::CaseInsensitive) == 0 ||
            sourceInfo.name.compare(units, Qt::CaseInsensitive) == 0)
            continue;
        const TableInfo targetInfo = tableInfo(db.target, sourceInfo.name);
        if (targetInfo.name.isEmpty())
            continue;
        bool done = true;
        const bool json = sourceInfo.name.startsWith(QLatin1String("Ddd"), Qt::CaseInsensitive);
        if (!hasColumn(sourceInfo.columns, QStringLiteral("ReportId"))) {
            done = mergeSimpleTable(db, sourceInfo, targetInfo, nullptr, added, error);
        } else if (json && hasColumn(sourceInfo.columns, QStringLiteral("ReportType"))) {
            // The JSON tables hold both kinds of report; the row's type says whose number it carries.
            const auto mapFor = [&](const QSqlRecord& record) {
                return record.value(QStringLiteral("ReportType")).toInt() == 2 ? &unitMap : &cardMap;
            };
            done = mergeRows(db, sourceInfo, targetInfo, mapFor, true, added, error);
        } else {
            const bool unit = sourceInfo.name.startsWith(QLatin1String("Tacho"), Qt::CaseInsensitive);
            done = mergeSimpleTable(db, sourceInfo, targetInfo, unit ? &unitMap : &cardMap, added, error);
        }
        if (!done)
            return false;
    }
    return true;
}

bool mergeOpen(const Databases& db, const QString& targetName, int* added, QString* error)
{
    if (targetName == QLatin1String("VehicleConfigurations.db"))
        return mergeVehicleConfigurations(db, added, error);
    if (targetName == QLatin1String("SettingsDB.db"))
        return mergeSettings(db, added, error);
    if (targetName == QLatin1String("MasterDB.db"))
        return mergeNamedList(db, QStringLiteral("Masters"), QStringLiteral("FullName"), added, error);
    if (targetName == QLatin1String("CustomersDB.db"))
        return mergeNamedList(db, QStringLiteral("Customers"), QStringLiteral("CustomerName"), added, error);
    if (targetName == QLatin1String("VehicleDB.db"))
        return mergeVehicles(db, added, error);
    if (targetName == QLatin1String("driver_cards.db"))
        return mergeDriverCards(db, added, error);
    // Calibrations, certificates and any other: each table both sides have, row by row.
    for (const TableInfo& sourceInfo : tables(db.source)) {
        const TableInfo targetInfo = tableInfo(db.target, sourceInfo.name);
        if (!targetInfo.name.isEmpty() &&
            !mergeSimpleTable(db, sourceInfo, targetInfo, nullptr, added, error))
            return false;
    }
    return true;
}

} // namespace

QString quoteIdentifier(const QString& name)
{
    QString quoted = name;
    quoted.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

QList<TableInfo> tables(const QSqlDatabase& database)
{
    QList<TableInfo> list;
    QSqlQuery names(database);
    if (!names.exec(QStringLiteral(
            "SELECT name FROM sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite_%' ORDER BY name")))
        return list;
    QStringList found;
    while (names.next())
        found.append(names.value(0).toString());
    for (const QString& name : std::as_const(found)) {
        QSqlQuery columns(database);
        if (!columns.exec(QStringLiteral("PRAGMA table_info(%1)").arg(quoteIdentifier(name))))
            continue;
        TableInfo info{name, {}, {}};
        while (columns.next()) {
            const QString column = columns.value(1).toString();
            info.columns.append(column);
            if (columns.value(5).toInt() >= 1)
                info.primaryKeys.append(column);
        }
        if (!info.columns.isEmpty())
            list.append(info);
    }
    return list;
}

TableInfo tableInfo(const QSqlDatabase& database, const QString& name)
{
    for (const TableInfo& info : tables(database)) {
        if (info.name.compare(name, Qt::CaseInsensitive) == 0)
            return info;
    }
    return {};
}

QStringList commonColumns(const TableInfo& a, const TableInfo& b)
{
    QStringList common;
    for (const QString& column : a.columns) {
        if (hasColumn(b.columns, column))
            common.append(column);
    }
    return common;
}

bool isGeneratedColumn(const QString& name)
{
    return name.compare(QLatin1String("ImportDate"), Qt::CaseInsensitive) == 0 ||
           name.compare(QLatin1String("CreationTimestamp"), Qt::CaseInsensitive) == 0;
}

bool isSoundDatabase(const QString& path, QString* reason)
{
    const QString name =
        QStringLiteral("SyncCheck_%1").arg(QUuid::createUuid().toString(QUuid::WithoutBraces));
    bool sound = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(path);
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (!db.open()) {
            fail(reason, db.lastError().text());
        } else {
            QSqlQuery query(db);
            if (!query.exec(QStringLiteral("PRAGMA quick_check")))
                fail(reason, query.lastError().text());
            else if (!query.next())
                fail(reason, QStringLiteral("PRAGMA quick_check returned nothing"));
            else if (query.value(0).toString() != QLatin1String("ok"))
                fail(reason, query.value(0).toString());
            else
                sound = true;
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(name);
    return sound;
}

bool mergeDatabase(const QString& sourcePath, const QString& targetPath, int* added, QString* error)
{
    int ignored = 0;
    if (!added)
        added = &ignored;
    if (!QFileInfo::exists(sourcePath))
        return true;
    if (!QFileInfo::exists(targetPath)) {
        // A database this side never had comes over whole; its rows are not counted.
        if (!QDir().mkpath(QFileInfo(targetPath).absolutePath()) || !QFile::copy(sourcePath, targetPath))
            return fail(error, QStringLiteral("Не удалось перенести новую базу: %1").arg(targetPath));
        return true;
    }
    const storage::SqliteConnection source(QStringLiteral("%1"), sourcePath);
    storage::SqliteConnection target(QStringLiteral("%1"), targetPath);
    if (!source.isOpen())
        return fail(error, source.lastError());
    if (!target.isOpen())
        return fail(error, target.lastError());
    if (!target.transaction())
        return fail(error, target.lastError());
    QString reason;
    int count = 0;
    bool merged = false;
    {
        const Databases db{source.database(), target.database()};
        merged = mergeOpen(db, QFileInfo(targetPath).fileName(), &count, &reason);
    }
    // Rows of a merge that is rolled back were never added.
    if (merged && target.commit()) {
        *added += count;
        return true;
    }
    if (merged)
        reason = target.lastError();
    target.rollback();
    return fail(error, reason);
}

} // namespace tachoria::sync
