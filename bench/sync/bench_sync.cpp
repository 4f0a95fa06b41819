// A package and a merge at a shop's full size: 10,000 calibration records and 1,000 certificates with
// their XML files. Export; import into a shop that has nothing yet; import into a shop of the same
// size with other rows (every row added); the same package again (every row looked up and found).
#include "../bench_common.h"
#include "storage/app_paths.h"
#include "storage/calibration_repository.h"
#include "storage/certificate_repository.h"
#include "storage/certificate_xml_storage.h"
#include "storage/customer_master_repositories.h"
#include "storage/settings_repository.h"
#include "sync/synchronization_manager.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QUuid>

using namespace tachoria;

namespace {

constexpr int kCalibrations = 10000;
constexpr int kCertificates = 1000;

void use(const QString& profile)
{
    qputenv("LOCALAPPDATA", QFile::encodeName(profile));
}

// Copies row 1 of a table count-1 times in one statement, with the serial column made unique.
void repeatFirstRow(const QString& path, const QString& table, const QString& serialColumn,
                    const QString& tag, int count)
{
    const QString name = QUuid::createUuid().toString();
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(path);
        db.open();
        QStringList columns;
        QSqlQuery info(QStringLiteral("PRAGMA table_info(%1)").arg(table), db);
        while (info.next())
            if (info.value(5).toInt() == 0)
                columns.append(info.value(1).toString());
        QStringList values = columns;
        values.replaceInStrings(QRegularExpression(QStringLiteral("^%1$").arg(serialColumn)),
                                QStringLiteral("'%1-' || n.i").arg(tag));
        QSqlQuery(
            QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
                           "INSERT INTO %2 (%3) SELECT %4 FROM %2, n WHERE %2.Id = 1")
                .arg(count - 1)
                .arg(table, columns.join(QLatin1Char(',')), values.join(QLatin1Char(','))),
            db);
        db.close();
    }
    QSqlDatabase::removeDatabase(name);
}

// A shop at full size, made through the repositories for the first row of each kind.
void makeShop(const QString& profile, const QString& tag)
{
    use(profile);
    storage::SettingsRepository settings;
    storage::MasterRepository().addMaster(QStringLiteral("Мастер ") + tag);
    {
        storage::CalibrationRepository journal;
        const int id = journal.startCalibrationRecord(tag, 1234, 4, QStringLiteral("Мастерская"),
                                                      QStringLiteral("Самара"), 0);
        QVariantMap fields;
        for (const QString& field : storage::CalibrationRepository::updatableFields())
            fields.insert(field, field.contains(QLatin1String("Date"))
                                     ? QVariant(QStringLiteral("2024-05-06"))
                                     : QVariant(7));
        journal.updateCalibrationFields(id, fields);
        journal.finishCalibrationRecord(id, true, QString());
    }
    repeatFirstRow(storage::AppPaths::database(QStringLiteral("CalibrationDB.db")),
                   QStringLiteral("Calibrations"), QStringLiteral("VuSerialNumber"), tag, kCalibrations);
    storage::CertificateXmlStorage xml;
    QVariantMap certificate;
    for (const QString& field : storage::CertificateRepository::fields())
        certificate.insert(field, field + QStringLiteral(" значение"));
    for (int i = 0; i < kCertificates; ++i) {
        certificate.insert(QStringLiteral("TachographSerialNumber"),
                           QStringLiteral("%1-%2").arg(tag).arg(i + 1));
        xml.saveCertificate(certificate);
    }
    storage::CertificateRepository().saveCertificate(certificate, QString(), QString(), true);
    repeatFirstRow(storage::AppPaths::database(QStringLiteral("CertificateDB.db")),
                   QStringLiteral("CertificateData"), QStringLiteral("TachographSerialNumber"), tag,
                   kCertificates);
}

void copyTree(const QString& from, const QString& to)
{
    QDir(to).removeRecursively();
    QDirIterator it(from, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString target = to + QLatin1Char('/') + QDir(from).relativeFilePath(path);
        QDir().mkpath(QFileInfo(target).absolutePath());
        QFile::copy(path, target);
    }
}

struct Shops
{
    QTemporaryDir root;
    QString package;
    Shops()
    {
        makeShop(root.filePath(QStringLiteral("a")), QStringLiteral("А"));
        makeShop(root.filePath(QStringLiteral("b")), QStringLiteral("Б"));
        use(root.filePath(QStringLiteral("a")));
        package = root.filePath(QStringLiteral("a.tsync"));
        sync::SynchronizationManager::exportPackage(package);
    }
};

Shops& shops()
{
    static Shops made;
    return made;
}

void exportPackage(benchmark::State& state)
{
    use(shops().root.filePath(QStringLiteral("a")));
    const QString path = shops().root.filePath(QStringLiteral("export.tsync"));
    sync::SyncResult result;
    for (auto _ : state)
        result = sync::SynchronizationManager::exportPackage(path);
    if (!result.success)
        state.SkipWithError(qPrintable(result.message));
    state.counters["bytes"] = double(QFileInfo(path).size());
    state.counters["entries"] = result.addedFiles;
}

// target: "" (a shop without data), "b" (the other full shop) or "a" (the shop the package came from).
void importPackage(benchmark::State& state, const char* target)
{
    const QString profile = shops().root.filePath(QStringLiteral("target"));
    const QString source = shops().root.filePath(QString::fromLatin1(target));
    sync::SyncResult result;
    for (auto _ : state) {
        state.PauseTiming();
        if (*target)
            copyTree(source, profile);
        else
            QDir(profile).removeRecursively();
        use(profile);
        storage::AppPaths::ensureDirectories();
        state.ResumeTiming();
        result = sync::SynchronizationManager::importPackage(shops().package);
    }
    if (!result.success)
        state.SkipWithError(qPrintable(result.message));
    state.counters["records"] = result.addedRecords;
    state.counters["files"] = result.addedFiles;
}

} // namespace

BENCHMARK(exportPackage)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK_CAPTURE(importPackage, intoAnEmptyShop, "")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK_CAPTURE(importPackage, intoAnotherFullShop, "b")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(importPackage, intoTheSameShop, "a")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1);

int main(int argc, char** argv)
{
    return tachoria::bench::runBenchmarks(argc, argv);
}
