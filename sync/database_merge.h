#pragma once

#include <QList>
#include <QSqlDatabase>
#include <QString>
#include <QStringList>

namespace tachoria::sync {

// What the file itself says of one table, so that two versions of the program meet on what both have.
struct TableInfo
{
    QString name;
    QStringList columns;     // in PRAGMA table_info order
    QStringList primaryKeys; // columns whose pk is 1 or more
};

QList<TableInfo> tables(const QSqlDatabase& database);
// Found without regard to case; an unknown name gives an empty name.
TableInfo tableInfo(const QSqlDatabase& database, const QString& name);
// Columns of a that b has too, without regard to case, in a's order.
QStringList commonColumns(const TableInfo& a, const TableInfo& b);
// Carried along on insert, never compared: they differ between two imports of the same data.
bool isGeneratedColumn(const QString& name);
QString quoteIdentifier(const QString& name);

// Adds to the target what the source has and the target lacks, in one transaction, by the rule of the
// target's file name. Never deletes; the only row it changes is a setting changed later elsewhere.
bool mergeDatabase(const QString& sourcePath, const QString& targetPath, int* added, QString* error);

// Whether a file is a sound SQLite database ("ok" from PRAGMA quick_check); the reason otherwise.
bool isSoundDatabase(const QString& path, QString* reason);

} // namespace tachoria::sync
