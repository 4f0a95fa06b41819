#pragma once

#include <QByteArray>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

namespace tachoria::test {

// One installation of the program for the synchronisation tests: a per-user folder (LOCALAPPDATA)
// and a program folder (downloads and the legacy report database beside the executable).
struct Installation
{
    QString profile;
    QString programFolder;

    // Makes this installation the one AppPaths and the repositories work on in this process.
    void use() const;
    QString data() const { return profile + QStringLiteral("/Tachoria/Data"); }

    // A shop's own work, made through the repositories: masters, customers, calibrations, certificates
    // with their XML files, a setting, a vehicle configuration, a download, a document, and two reports
    // in the legacy report database. `tag` makes every row and file of this shop its own.
    void fill(const QString& tag, int calibrations = 3, int certificates = 2) const;

    // Every table row (without its own number; a report's row names its report by content) and every
    // file, keyed "db/<file>/<table>" and "file/<folder>/<name>"; checksum lists as sorted lines.
    QMap<QString, QStringList> contents(const QSet<QString>& ignoredColumns = {}) const;
    // SHA-256 over the databases and files that a merge may touch: all of Data but the packages and
    // the backups, the downloads, the legacy report database.
    QByteArray dataHash() const;
};

// The rows a statement gives, columns joined by "|" (NULL as "∅"), rows by ";".
QString queryRows(const QString& path, const QString& statement);

// Runs SQL on a database file through a connection of its own; false with the reason on failure.
bool runSql(const QString& path, const QStringList& statements, QString* error = nullptr);

} // namespace tachoria::test
