#include "installation.h"

#include "storage/app_paths.h"
#include "storage/calibration_repository.h"
#include "storage/certificate_repository.h"
#include "storage/certificate_xml_storage.h"
#include "storage/customer_master_repositories.h"
#include "storage/settings_repository.h"
#include "storage/vehicle_configuration_repository.h"
#include "sync/database_merge.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QUuid>

namespace tachoria::test {

namespace {

// The legacy report database as earlier versions left it: two kinds of report with their rows.
const QStringList kReportSchema = {
    QStringLiteral(
        "CREATE TABLE IF NOT EXISTS DriverCardReports (ReportId INTEGER PRIMARY KEY AUTOINCREMENT, "
        "ReportDate DATETIME DEFAULT CURRENT_TIMESTAMP, CardNumber TEXT, DriverFullName TEXT, "
        "ImportDate DATETIME DEFAULT CURRENT_TIMESTAMP)"),
    QStringLiteral(
        "CREATE TABLE IF NOT EXISTS Events (EventId INTEGER PRIMARY KEY AUTOINCREMENT, ReportId "
        "INTEGER, EventType TEXT, EventBeginTime TEXT, ImportDate DATETIME DEFAULT CURRENT_TIMESTAMP)"),
    QStringLiteral(
        "CREATE TABLE IF NOT EXISTS TachographReports (ReportId INTEGER PRIMARY KEY AUTOINCREMENT, "
        "ReportDate DATETIME DEFAULT CURRENT_TIMESTAMP, VIN TEXT, VehicleRegistration TEXT, "
        "ImportDate DATETIME DEFAULT CURRENT_TIMESTAMP)"),
    QStringLiteral(
        "CREATE TABLE IF NOT EXISTS TachoEvents (EventId INTEGER PRIMARY KEY AUTOINCREMENT, ReportId "
        "INTEGER NOT NULL, EventType TEXT)"),
    QStringLiteral(
        "CREATE TABLE IF NOT EXISTS DddRows (RowId INTEGER PRIMARY KEY AUTOINCREMENT, ReportId INTEGER "
        "NOT NULL, ReportType INTEGER NOT NULL, Dataset TEXT NOT NULL, RowIndex INTEGER NOT NULL, "
        "Json TEXT NOT NULL)"),
    QStringLiteral(
        "CREATE TABLE IF NOT EXISTS DddReportMeta (ReportId INTEGER NOT NULL, ReportType INTEGER NOT "
        "NULL, Json TEXT NOT NULL, PRIMARY KEY(ReportId, ReportType))"),
};

QString text(const QVariant& value)
{
    return value.isNull() ? QStringLiteral("∅") : value.toString();
}

void addFile(QMap<QString, QStringList>& out, const QString& key, const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QByteArray data = file.readAll();
    if (path.endsWith(QLatin1String("/checksums.txt"))) {
        QStringList lines = QString::fromUtf8(data).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        lines.sort();
        out.insert(key, lines);
    } else {
        out.insert(key,
                   {QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex())});
    }
}

void addFiles(QMap<QString, QStringList>& out, const QString& root, const QString& prefix)
{
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        addFile(out, prefix + QDir(root).relativeFilePath(path), path);
    }
}

// Each row as text of its columns, without its own number; a row of a report names the report by
// the report's content, since report numbers differ between two machines.
void addDatabase(QMap<QString, QStringList>& out, const QString& path, const QSet<QString>& ignored)
{
    const QString connection = QUuid::createUuid().toString();
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName(path);
        db.open();
        QMap<QString, QString> reports; // "<table>/<id>" to the report's content
        const QList<sync::TableInfo> tables = sync::tables(db);
        for (const sync::TableInfo& table : tables) {
            if (!table.name.endsWith(QLatin1String("Reports")))
                continue;
            QSqlQuery rows(QStringLiteral("SELECT * FROM %1").arg(table.name), db);
            while (rows.next()) {
                QStringList values;
                for (int i = 1; i < rows.record().count(); ++i)
                    if (rows.record().fieldName(i) != QLatin1String("ImportDate"))
                        values.append(text(rows.value(i)));
                reports.insert(table.name + QLatin1Char('/') + rows.value(0).toString(),
                               values.join(QLatin1Char('|')));
            }
        }
        for (const sync::TableInfo& table : tables) {
            QStringList rows;
            QSqlQuery query(QStringLiteral("SELECT * FROM %1").arg(sync::quoteIdentifier(table.name)), db);
            while (query.next()) {
                const QSqlRecord record = query.record();
                const bool unit = record.indexOf(QStringLiteral("ReportType")) >= 0
                                      ? record.value(QStringLiteral("ReportType")).toInt() == 2
                                      : table.name.startsWith(QLatin1String("Tacho"));
                QStringList values;
                for (int i = 0; i < record.count(); ++i) {
                    const QString column = record.fieldName(i);
                    if (ignored.contains(column) ||
                        (table.primaryKeys.size() == 1 && table.primaryKeys.first() == column))
                        continue;
                    values.append(column == QLatin1String("ReportId")
                                      ? reports.value((unit ? QStringLiteral("TachographReports/")
                                                            : QStringLiteral("DriverCardReports/")) +
                                                      record.value(i).toString())
                                      : text(record.value(i)));
                }
                rows.append(values.join(QLatin1Char('|')));
            }
            rows.sort();
            out.insert(QStringLiteral("db/%1/%2").arg(QFileInfo(path).fileName(), table.name), rows);
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(connection);
}

} // namespace

QString queryRows(const QString& path, const QString& statement)
{
    QStringList rows;
    const QString connection = QUuid::createUuid().toString();
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName(path);
        db.open();
        QSqlQuery query(statement, db);
        while (query.next()) {
            QStringList values;
            for (int i = 0; i < query.record().count(); ++i)
                values.append(text(query.value(i)));
            rows.append(values.join(QLatin1Char('|')));
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(connection);
    return rows.join(QLatin1Char(';'));
}

bool runSql(const QString& path, const QStringList& statements, QString* error)
{
    const QString connection = QUuid::createUuid().toString();
    bool done = true;
    {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName(path);
        done = db.open();
        for (const QString& statement : statements) {
            QSqlQuery query(db);
            if (done && !query.exec(statement)) {
                done = false;
                if (error)
                    *error = query.lastError().text() + QStringLiteral(": ") + statement;
            }
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(connection);
    return done;
}

void Installation::use() const
{
    qputenv("LOCALAPPDATA", QFile::encodeName(profile));
}

void Installation::fill(const QString& tag, int calibrations, int certificates) const
{
    use();
    storage::MasterRepository masters;
    masters.addMaster(QStringLiteral("Мастер ") + tag);
    masters.addMaster(QStringLiteral("Общий мастер"));
    storage::CustomerRepository customers;
    customers.addCustomer(QStringLiteral("Клиент ") + tag, QStringLiteral("Самара, ") + tag,
                          QStringLiteral("+7 846 000-00-0") + QString::number(tag.size()));
    storage::SettingsRepository settings;
    settings.setValue(QStringLiteral("TACHORIA"), QStringLiteral("city"), QStringLiteral("Город ") + tag);

    storage::CalibrationRepository journal;
    for (int i = 0; i < calibrations; ++i) {
        const int id =
            journal.startCalibrationRecord(QStringLiteral("%1-%2").arg(tag).arg(i), 1234, 4,
                                           QStringLiteral("Мастерская ") + tag, QStringLiteral("Адрес"), 0);
        journal.updateCalibrationFields(
            id, {{QStringLiteral("VehicleIdentificationNumber"), tag + QString::number(i)},
                 {QStringLiteral("KConstantOfRecordingEquipment"), 8000 + i}});
        journal.finishCalibrationRecord(id, true, QString());
    }
    storage::CertificateRepository issued;
    storage::CertificateXmlStorage xml;
    for (int i = 0; i < certificates; ++i) {
        const QVariantMap certificate = {
            {QStringLiteral("TachographSerialNumber"), QStringLiteral("%1-%2").arg(tag).arg(i)},
            {QStringLiteral("OrderDate"), QStringLiteral("01.02.2024")},
            {QStringLiteral("OrderNumber"), QString::number(i + 1)},
            {QStringLiteral("CustomerName"), QStringLiteral("Клиент ") + tag}};
        xml.saveCertificate(certificate);
        issued.saveCertificate(certificate, data() + QStringLiteral("/Сертификаты/") + tag, QString(), true);
    }
    storage::VehicleConfigurationRepository configurations;
    configurations.save(0, QStringLiteral("DAF"), QStringLiteral("XF ") + tag, {{QStringLiteral("k"), 8000}});

    for (const auto& [path, content] :
         {std::pair{programFolder + QStringLiteral("/DATA/") + tag + QStringLiteral(".ddd"),
                    tag.toUtf8().repeated(64)},
          std::pair{data() + QStringLiteral("/Documents/") + tag + QStringLiteral("/заметка.txt"),
                    QByteArray("note")}}) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(content);
    }
    // Report numbers 1 on both sides, so that the merge has to renumber them.
    QStringList reports = kReportSchema;
    reports
        << QStringLiteral("INSERT INTO DriverCardReports (CardNumber, DriverFullName, ReportDate) VALUES "
                          "('RUD%1', 'Водитель %1', '2024-03-01 10:00:00')")
               .arg(tag)
        << QStringLiteral(
               "INSERT INTO Events (ReportId, EventType, EventBeginTime) VALUES (last_insert_rowid(), "
               "'Превышение %1', '2024-03-01')")
               .arg(tag)
        << QStringLiteral("INSERT INTO TachographReports (VIN, VehicleRegistration, ReportDate) VALUES "
                          "('VIN%1', 'А%1', '2024-03-02 11:00:00')")
               .arg(tag)
        << QStringLiteral("INSERT INTO TachoEvents (ReportId, EventType) VALUES (1, 'Вскрытие %1')").arg(tag)
        << QStringLiteral("INSERT INTO DddRows (ReportId, ReportType, Dataset, RowIndex, Json) VALUES "
                          "(1, 2, 'events', 0, '{\"tag\":\"%1\"}'), (1, 1, 'events', 0, '{\"card\":\"%1\"}')")
               .arg(tag)
        << QStringLiteral(
               "INSERT INTO DddReportMeta (ReportId, ReportType, Json) VALUES (1, 2, '{\"vin\":\"%1\"}')")
               .arg(tag);
    runSql(programFolder + QStringLiteral("/Data/driver_cards.db"), reports);
}

QMap<QString, QStringList> Installation::contents(const QSet<QString>& ignoredColumns) const
{
    QMap<QString, QStringList> out;
    const QFileInfoList databases =
        QDir(data() + QStringLiteral("/DB")).entryInfoList({QStringLiteral("*.db")});
    for (const QFileInfo& database : databases)
        addDatabase(out, database.absoluteFilePath(), ignoredColumns);
    const QString reports = programFolder + QStringLiteral("/Data/driver_cards.db");
    if (QFile::exists(reports))
        addDatabase(out, reports, ignoredColumns);
    addFiles(out, data() + QStringLiteral("/XML"), QStringLiteral("file/XML/"));
    addFiles(out, data() + QStringLiteral("/Documents"), QStringLiteral("file/Documents/"));
    addFiles(out, programFolder + QStringLiteral("/DATA"), QStringLiteral("file/DATA/"));
    return out;
}

QByteArray Installation::dataHash() const
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    QStringList paths;
    for (const QString& root : {data(), programFolder + QStringLiteral("/DATA")}) {
        QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            const QString inner = QDir(data()).relativeFilePath(path);
            if (!inner.startsWith(QLatin1String("Sync/")) && !inner.startsWith(QLatin1String("Backups/")))
                paths.append(path);
        }
    }
    paths.append(programFolder + QStringLiteral("/Data/driver_cards.db"));
    paths.sort();
    for (const QString& path : std::as_const(paths)) {
        QFile file(path);
        hash.addData(path.toUtf8());
        if (file.open(QIODevice::ReadOnly))
            hash.addData(file.readAll());
    }
    return hash.result();
}

} // namespace tachoria::test
