#pragma once

#include "storage/sqlite_connection.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

namespace tachoria::storage {

enum class Tco1Period
{
    Ms20 = 0,
    Ms50 = 1,
};

enum class CanSpeed
{
    Kbit125 = 0,
    Kbit250 = 1,
    Kbit500 = 2,
};

enum class CanIdentifier
{
    Standard = 0,
    Extended = 1,
};

struct VehicleModel
{
    int id = 0;
    QString name;
    int manufacturerId = 0;
    int tco1Priority = 3;
    int tco1Variant = 3;
    Tco1Period tco1Period = Tco1Period::Ms50;
    int diagVar = 0;
    CanSpeed canSpeed = CanSpeed::Kbit250;
    CanIdentifier protocol = CanIdentifier::Standard;
    QList<int> speedRatios;
    QDateTime createdAt;
};

struct Manufacturer
{
    int id = 0;
    QString name;
    QDateTime createdAt;
    QList<VehicleModel> models;
};

// The catalogue of makes and models with the CAN parameters a master needs, in "VehicleDB.db",
// shipped with a fixed seed that later versions extend without touching what exists.
class VehicleRepository
{
public:
    explicit VehicleRepository(const QString& databasePath = QString());

    bool isOpen() const { return m_connection.isOpen(); }
    QString lastError() const { return m_connection.lastError(); }

    static QList<Manufacturer> defaultManufacturers();
    static QString ratiosToText(const QList<int>& ratios);
    static QList<int> ratiosFromText(const QString& text);

    int addManufacturer(const QString& name);
    bool updateManufacturer(int id, const QString& name);
    bool deleteManufacturer(int id);
    std::optional<Manufacturer> getManufacturer(int id, bool withModels = false);
    QList<Manufacturer> allManufacturers(bool withModels = false);
    int addModel(const VehicleModel& model);
    bool updateModel(const VehicleModel& model);
    bool deleteModel(int id);
    std::optional<VehicleModel> getModel(int id);
    QList<VehicleModel> modelsByManufacturer(int id);
    QList<VehicleModel> allModels();
    bool resetToEmpty();
    bool resetToDefault();

private:
    bool initialize();
    bool seedDefaultCatalog();
    bool mergeDefaultCatalog();
    QList<VehicleModel> models(const QString& statement, const QVariantList& values = {});
    QList<Manufacturer> manufacturers(const QString& statement, const QVariantList& values, bool withModels);

    SqliteConnection m_connection;
};

} // namespace tachoria::storage
