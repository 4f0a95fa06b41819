#include "storage/vehicle_repository.h"

#include "storage/app_paths.h"

namespace tachoria::storage {

namespace {

struct SeedModel
{
    int id;
    int make;
    const char* name;
    int variant, period, diag, can, protocol;
    const char* ratios;
};

const char* const kSeedMakes[] = {"DAF",     "FIAT/PSA", "FORD",  "HINO", "ISUZU",
                                  "IVECO",   "KAMAZ",    "MAN",   "MAZ",  "MERCEDES-BENZ",
                                  "RENAULT", "SCANIA",   "VOLVO", "VW",   "SITRAC"};

// The names stand as they were shipped, misspelt ones too.
constexpr SeedModel kSeedModels[] = {
    {1, 0, "LF, CF, XF", 3, 1, 1, 1, 1, "8138,8000,6000"},
    {2, 1, "Ducato, Boxer, Jumper", 6, 0, 0, 2, 0, "6000"},
    {3, 2, "Transit (V348/8, mid 2006)", 3, 0, 0, 0, 0, "6000"},
    {4, 2, "Transit (V362/3, 2013)", 3, 0, 0, 0, 0, "6000"},
    {5, 2, "Cargo 1846T", 6, 1, 1, 1, 1, "6000,8000,8140"},
    {6, 2, "Cargo 1848T, F-MAX 1850T", 6, 1, 1, 1, 1, "6000,8000,8140"},
    {7, 3, "FY", 6, 1, 1, 1, 1, "6000"},
    {8, 4, "NQR, NPR", 6, 1, 1, 1, 1, "6000"},
    {9, 5, "Eurocargo, Trakker", 8, 1, 1, 1, 1, "6000"},
    {10, 5, "Irisbus", 8, 1, 1, 1, 1, "6000"},
    {11, 5, "Stralis (2013)", 7, 1, 1, 1, 1, "6000,8000,8143"},
    {12, 5, "Stralis NP (2017)", 7, 1, 1, 1, 1, "6000,8000,8143"},
    {13, 5, "Daili mid 2006", 9, 0, 1, 1, 1, "6000,8000"},
    {14, 5, "Daily MY 2012", 10, 0, 1, 2, 1, "6000,8000"},
    {15, 5, "Daily MY 2014", 8, 0, 1, 2, 1, "6000,8000"},
    {16, 6, "54901", 6, 1, 1, 1, 1, "6000"},
    {17, 7, "TGX, TGX, Neoplan", 3, 1, 1, 1, 1, "6000,8000,8138,8140,8143,10126"},
    {18, 8, "-", 6, 1, 1, 1, 1, "4000,6000"},
    {19, 9, "Sprinter (T1N+NV3) (2010)", 5, 0, 0, 2, 0, "10000"},
    {20, 9, "Vito / Viano (NCV3) (2010)", 5, 0, 0, 2, 0, "10000"},
    {21, 9, "Sprinter (T1N+NV3)", 5, 0, 0, 2, 0, "10000"},
    {22, 9, "Vario (T2W)", 5, 0, 1, 1, 1, "10000"},
    {23, 9, "Actros, Axor, Atego", 5, 0, 1, 1, 1, "1000"},
    {24, 9, "Actros 4, Antos, Arocs", 5, 0, 1, 2, 1, "1000"},
    {25, 10, "Magnim, Kerax, Premium,Midlum", 6, 0, 1, 1, 1, "6000"},
    {26, 10, "C, D series (P155x)", 6, 0, 1, 1, 1, "6000"},
    {27, 10, "T, K, C series (2016-*)", 6, 0, 1, 1, 1, "6000"},
    {28, 11, "R, P series", 3, 0, 1, 1, 1, "6000,8897,10000"},
    {29, 11, "S, R (2016-*)", 3, 0, 1, 2, 1, "6000,8897,10000"},
    {30, 12, "FM / FH", 3, 0, 1, 1, 1, "6000"},
    {31, 12, "FL", 3, 0, 1, 1, 1, "6000"},
    {32, 12, "FE / FL (mid 2006)", 3, 0, 1, 1, 1, "6000"},
    {33, 12, "FH / FM4 (TEA2+)", 8, 0, 1, 1, 1, "6000"},
    {34, 12, "new FE / FL (p155x)", 3, 0, 1, 1, 1, "6000"},
    {35, 12, "FH / FM 4 (TEA2+) ADR", 8, 0, 1, 1, 1, "6000"},
    {36, 13, "T5", 6, 0, 0, 2, 0, "10000"},
    {37, 13, "Crafter", 6, 0, 0, 2, 0, "10000"},
    {38, 13, "Crafter 2 (2017-*)", 6, 0, 0, 2, 0, "10000"},
    {39, 14, "C7H", 3, 1, 1, 1, 1, "8000,10125,12214"},
};

QString defaultPath(const QString& path)
{
    return path.isEmpty() ? AppPaths::database(QStringLiteral("VehicleDB.db")) : path;
}

VehicleModel modelFrom(const QVariantMap& row)
{
    VehicleModel model;
    model.id = row.value(QStringLiteral("Id")).toInt();
    model.name = row.value(QStringLiteral("Name")).toString();
    model.manufacturerId = row.value(QStringLiteral("ManufacturerId")).toInt();
    model.tco1Priority = row.value(QStringLiteral("TCO1priority")).toInt();
    model.tco1Variant = row.value(QStringLiteral("TCO1variant")).toInt();
    model.tco1Period = static_cast<Tco1Period>(row.value(QStringLiteral("TCO1period")).toInt());
    model.diagVar = row.value(QStringLiteral("DiagVar")).toInt();
    model.canSpeed = static_cast<CanSpeed>(row.value(QStringLiteral("CanSpeed")).toInt());
    model.protocol = static_cast<CanIdentifier>(row.value(QStringLiteral("Protocol")).toInt());
    model.speedRatios =
        VehicleRepository::ratiosFromText(row.value(QStringLiteral("SpeedRatioPrimaryShaft")).toString());
    model.createdAt = row.value(QStringLiteral("CreatedAt")).toDateTime();
    return model;
}

QVariantList modelColumns(const VehicleModel& model)
{
    return {model.name,
            model.manufacturerId,
            model.tco1Priority,
            model.tco1Variant,
            static_cast<int>(model.tco1Period),
            model.diagVar,
            static_cast<int>(model.canSpeed),
            static_cast<int>(model.protocol),
            VehicleRepository::ratiosToText(model.speedRatios)};
}

const QString kInsertModel = QStringLiteral("INSERT INTO Models(Name, ManufacturerId, TCO1priority, "
                                            "TCO1variant, TCO1period, DiagVar, CanSpeed, Protocol, "
                                            "SpeedRatioPrimaryShaft) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)");

} // namespace

QString VehicleRepository::ratiosToText(const QList<int>& ratios)
{
    QStringList parts;
    for (int ratio : ratios)
        parts << QString::number(ratio);
    return parts.join(QLatin1Char(','));
}

QList<int> VehicleRepository::ratiosFromText(const QString& text)
{
    QList<int> ratios;
    for (const QString& part : text.split(QLatin1Char(','))) {
        bool ok = false;
        const int value = part.trimmed().toInt(&ok);
        if (ok)
            ratios << value;
    }
    return ratios;
}

QList<Manufacturer> VehicleRepository::defaultManufacturers()
{
    QList<Manufacturer> makes;
    for (int i = 0; i < int(std::size(kSeedMakes)); ++i)
        makes.append({i, QString::fromLatin1(kSeedMakes[i]), {}, {}});
    for (const SeedModel& seed : kSeedModels) {
        VehicleModel model;
        model.id = seed.id;
        model.name = QString::fromLatin1(seed.name);
        model.manufacturerId = seed.make;
        model.tco1Priority = 3;
        model.tco1Variant = seed.variant;
        model.tco1Period = static_cast<Tco1Period>(seed.period);
        model.diagVar = seed.diag;
        model.canSpeed = static_cast<CanSpeed>(seed.can);
        model.protocol = static_cast<CanIdentifier>(seed.protocol);
        model.speedRatios = ratiosFromText(QString::fromLatin1(seed.ratios));
        makes[seed.make].models.append(model);
    }
    return makes;
}

VehicleRepository::VehicleRepository(const QString& databasePath)
    : m_connection(QStringLiteral("TachoriaVehicles_%1"), defaultPath(databasePath))
{
    if (m_connection.isOpen())
        initialize();
}

bool VehicleRepository::initialize()
{
    const QStringList schema = {
        QStringLiteral("PRAGMA foreign_keys = ON"),
        QStringLiteral(
            "CREATE TABLE IF NOT EXISTS Manufacturers (Id INTEGER PRIMARY KEY, Name TEXT UNIQUE NOT NULL, "
            "CreatedAt DATETIME DEFAULT CURRENT_TIMESTAMP)"),
        QStringLiteral(
            "CREATE TABLE IF NOT EXISTS Models (Id INTEGER PRIMARY KEY, Name TEXT NOT NULL, ManufacturerId "
            "INTEGER NOT NULL, TCO1priority INTEGER DEFAULT 3, TCO1variant INTEGER DEFAULT 3, TCO1period "
            "INTEGER DEFAULT 1, DiagVar INTEGER DEFAULT 0, CanSpeed INTEGER DEFAULT 1, Protocol INTEGER "
            "DEFAULT "
            "0, SpeedRatioPrimaryShaft TEXT, CreatedAt DATETIME DEFAULT CURRENT_TIMESTAMP, FOREIGN KEY "
            "(ManufacturerId) REFERENCES Manufacturers(Id) ON DELETE CASCADE, UNIQUE(ManufacturerId, Name))"),
    };
    for (const QString& statement : schema) {
        if (!m_connection.exec(statement))
            return false;
    }
    const QVariant count = m_connection.scalar(QStringLiteral("SELECT COUNT(*) FROM Manufacturers"));
    if (!count.isValid())
        return false;
    if (count.toInt() == 0)
        return seedDefaultCatalog();
    // A catalogue that holds any of the shipped makes came from an earlier seed and gets what is new;
    // one without them is the user's own and stays as it is.
    const QVariant shipped = m_connection.scalar(
        QStringLiteral("SELECT COUNT(*) FROM Manufacturers WHERE Name IN ('DAF', 'FIAT/PSA', 'FORD', 'HINO', "
                       "'ISUZU', 'IVECO', 'KAMAZ', "
                       "'MAN', 'MAZ', 'MERCEDES-BENZ', 'RENAULT', 'SCANIA', 'VOLVO', 'VW', 'SITRAC')"));
    return shipped.toInt() > 0 ? mergeDefaultCatalog() : true;
}

bool VehicleRepository::seedDefaultCatalog()
{
    if (!m_connection.transaction())
        return false;
    for (const Manufacturer& make : defaultManufacturers()) {
        bool ok =
            m_connection.exec(QStringLiteral("INSERT OR REPLACE INTO Manufacturers(Id, Name) VALUES(?, ?)"),
                              {make.id, make.name});
        for (const VehicleModel& model : make.models) {
            ok = ok && m_connection.exec(
                           QStringLiteral("INSERT OR REPLACE INTO Models(Id, Name, ManufacturerId, "
                                          "TCO1priority, TCO1variant, TCO1period, DiagVar, CanSpeed, "
                                          "Protocol, SpeedRatioPrimaryShaft) VALUES(?, ?, ?, ?, ?, ?, ?, ?, "
                                          "?, ?)"),
                           QVariantList{model.id} + modelColumns(model));
        }
        if (!ok) {
            m_connection.rollback();
            return false;
        }
    }
    return m_connection.commit();
}

bool VehicleRepository::mergeDefaultCatalog()
{
    if (!m_connection.transaction())
        return false;
    for (const Manufacturer& make : defaultManufacturers()) {
        QVariant makeId =
            m_connection.scalar(QStringLiteral("SELECT Id FROM Manufacturers WHERE Name = ?"), {make.name});
        if (!makeId.isValid()) {
            QSqlQuery insert(m_connection.database());
            if (!m_connection.exec(insert, QStringLiteral("INSERT INTO Manufacturers(Name) VALUES(?)"),
                                   {make.name})) {
                m_connection.rollback();
                return false;
            }
            makeId = insert.lastInsertId(); // the database's own number, not the seed's
        }
        for (VehicleModel model : make.models) {
            model.manufacturerId = makeId.toInt();
            if (m_connection
                    .scalar(QStringLiteral("SELECT Id FROM Models WHERE ManufacturerId = ? AND Name = ?"),
                            {model.manufacturerId, model.name})
                    .isValid())
                continue; // existing rows keep their parameters
            if (!m_connection.exec(kInsertModel, modelColumns(model))) {
                m_connection.rollback();
                return false;
            }
        }
    }
    return m_connection.commit();
}

int VehicleRepository::addManufacturer(const QString& name)
{
    if (name.trimmed().isEmpty()) {
        m_connection.setLastError(QStringLiteral("Имя производителя не может быть пустым"));
        return -1;
    }
    QSqlQuery query(m_connection.database());
    if (!m_connection.exec(query, QStringLiteral("INSERT INTO Manufacturers(Name) VALUES(?)"),
                           {name.trimmed()}))
        return -1;
    return query.lastInsertId().toInt();
}

bool VehicleRepository::updateManufacturer(int id, const QString& name)
{
    return m_connection.change(QStringLiteral("UPDATE Manufacturers SET Name = ? WHERE Id = ?"), {name, id}) >
           0;
}

bool VehicleRepository::deleteManufacturer(int id)
{
    return m_connection.change(QStringLiteral("DELETE FROM Manufacturers WHERE Id = ?"), {id}) > 0;
}

QList<VehicleModel> VehicleRepository::models(const QString& statement, const QVariantList& values)
{
    QList<VehicleModel> list;
    for (const QVariantMap& row : m_connection.records(statement, values))
        list.append(modelFrom(row));
    return list;
}

QList<Manufacturer> VehicleRepository::manufacturers(const QString& statement, const QVariantList& values,
                                                     bool withModels)
{
    QList<Manufacturer> list;
    for (const QVariantMap& row : m_connection.records(statement, values)) {
        Manufacturer make{row.value(QStringLiteral("Id")).toInt(),
                          row.value(QStringLiteral("Name")).toString(),
                          row.value(QStringLiteral("CreatedAt")).toDateTime(),
                          {}};
        if (withModels)
            make.models = modelsByManufacturer(make.id);
        list.append(make);
    }
    return list;
}

std::optional<Manufacturer> VehicleRepository::getManufacturer(int id, bool withModels)
{
    const auto list =
        manufacturers(QStringLiteral("SELECT * FROM Manufacturers WHERE Id = ?"), {id}, withModels);
    return list.isEmpty() ? std::nullopt : std::optional<Manufacturer>(list.first());
}

QList<Manufacturer> VehicleRepository::allManufacturers(bool withModels)
{
    return manufacturers(QStringLiteral("SELECT * FROM Manufacturers ORDER BY Name"), {}, withModels);
}

int VehicleRepository::addModel(const VehicleModel& model)
{
    QSqlQuery query(m_connection.database());
    if (!m_connection.exec(query, kInsertModel, modelColumns(model)))
        return -1;
    return query.lastInsertId().toInt();
}

bool VehicleRepository::updateModel(const VehicleModel& model)
{
    return m_connection.change(
               QStringLiteral("UPDATE Models SET Name = ?, ManufacturerId = ?, TCO1priority = ?, "
                              "TCO1variant = ?, TCO1period = ?, DiagVar = ?, CanSpeed = ?, Protocol = "
                              "?, SpeedRatioPrimaryShaft = ? WHERE Id = ?"),
               modelColumns(model) + QVariantList{model.id}) > 0;
}

bool VehicleRepository::deleteModel(int id)
{
    return m_connection.change(QStringLiteral("DELETE FROM Models WHERE Id = ?"), {id}) > 0;
}

std::optional<VehicleModel> VehicleRepository::getModel(int id)
{
    const auto list = models(QStringLiteral("SELECT * FROM Models WHERE Id = ?"), {id});
    return list.isEmpty() ? std::nullopt : std::optional<VehicleModel>(list.first());
}

QList<VehicleModel> VehicleRepository::modelsByManufacturer(int id)
{
    return models(QStringLiteral("SELECT * FROM Models WHERE ManufacturerId = ? ORDER BY Name"), {id});
}

QList<VehicleModel> VehicleRepository::allModels()
{
    return models(QStringLiteral("SELECT * FROM Models ORDER BY Name"));
}

bool VehicleRepository::resetToEmpty()
{
    if (!m_connection.transaction())
        return false;
    if (!m_connection.exec(QStringLiteral("DELETE FROM Models")) ||
        !m_connection.exec(QStringLiteral("DELETE FROM Manufacturers"))) {
        m_connection.rollback();
        return false;
    }
    return m_connection.commit();
}

bool VehicleRepository::resetToDefault()
{
    return resetToEmpty() && seedDefaultCatalog();
}

} // namespace tachoria::storage
