#include "storage/vehicle_configuration_repository.h"

#include "storage/app_paths.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace tachoria::storage {

namespace {

const QString kSelect =
    QStringLiteral("SELECT Id, Manufacturer, Model, ParametersJson, UpdatedAt FROM VehicleConfigurations");

VehicleConfiguration configurationFrom(const QVariantMap& row)
{
    const QJsonDocument json =
        QJsonDocument::fromJson(row.value(QStringLiteral("ParametersJson")).toString().toUtf8());
    return {row.value(QStringLiteral("Id")).toInt(), row.value(QStringLiteral("Manufacturer")).toString(),
            row.value(QStringLiteral("Model")).toString(),
            json.isObject() ? json.object().toVariantMap() : QVariantMap(),
            row.value(QStringLiteral("UpdatedAt")).toString()};
}

} // namespace

VehicleConfigurationRepository::VehicleConfigurationRepository()
    : m_connection(QStringLiteral("TachoriaVehicleConfigs_%1"),
                   AppPaths::database(QStringLiteral("VehicleConfigurations.db")))
{
    if (m_connection.isOpen())
        m_connection.exec(QStringLiteral("CREATE TABLE IF NOT EXISTS VehicleConfigurations (Id INTEGER "
                                         "PRIMARY KEY AUTOINCREMENT,Manufacturer TEXT NOT "
                                         "NULL COLLATE NOCASE,Model TEXT NOT NULL COLLATE "
                                         "NOCASE,ParametersJson TEXT NOT NULL,UpdatedAt TEXT NOT NULL "
                                         "DEFAULT CURRENT_TIMESTAMP,UNIQUE(Manufacturer, Model))"));
}

QList<VehicleConfiguration> VehicleConfigurationRepository::configurations(const QString& statement,
                                                                           const QVariantList& values)
{
    QList<VehicleConfiguration> list;
    for (const QVariantMap& row : m_connection.records(statement, values))
        list.append(configurationFrom(row));
    return list;
}

QList<VehicleConfiguration> VehicleConfigurationRepository::all()
{
    return configurations(kSelect + QStringLiteral(" ORDER BY Manufacturer, Model"));
}

std::optional<VehicleConfiguration> VehicleConfigurationRepository::find(int id)
{
    const auto list = configurations(kSelect + QStringLiteral(" WHERE Id = ?"), {id});
    return list.isEmpty() ? std::nullopt : std::optional<VehicleConfiguration>(list.first());
}

std::optional<VehicleConfiguration> VehicleConfigurationRepository::find(const QString& manufacturer,
                                                                         const QString& model)
{
    const auto list = configurations(
        kSelect + QStringLiteral(" WHERE Manufacturer = ? COLLATE NOCASE AND Model = ? COLLATE NOCASE"),
        {manufacturer, model});
    return list.isEmpty() ? std::nullopt : std::optional<VehicleConfiguration>(list.first());
}

QStringList VehicleConfigurationRepository::manufacturers()
{
    QStringList names;
    for (const QVariantMap& row : m_connection.records(
             QStringLiteral("SELECT DISTINCT Manufacturer FROM VehicleConfigurations ORDER BY Manufacturer")))
        names << row.value(QStringLiteral("Manufacturer")).toString();
    return names;
}

QList<QPair<int, QString>> VehicleConfigurationRepository::models(const QString& manufacturer)
{
    QList<QPair<int, QString>> list;
    for (const QVariantMap& row : m_connection.records(
             QStringLiteral("SELECT Id, Model FROM VehicleConfigurations WHERE Manufacturer = ? COLLATE "
                            "NOCASE ORDER BY Model"),
             {manufacturer}))
        list.append({row.value(QStringLiteral("Id")).toInt(), row.value(QStringLiteral("Model")).toString()});
    return list;
}

bool VehicleConfigurationRepository::save(int id, const QString& manufacturer, const QString& model,
                                          const QVariantMap& parameters, int* savedId)
{
    const QString make = manufacturer.trimmed();
    const QString name = model.trimmed();
    if (make.isEmpty() || name.isEmpty() || parameters.isEmpty()) {
        m_connection.setLastError(
            QStringLiteral("Укажите производителя, модель и хотя бы один параметр конфигурации."));
        return false;
    }
    const QString json = QString::fromUtf8(
        QJsonDocument(QJsonObject::fromVariantMap(parameters)).toJson(QJsonDocument::Compact));
    if (id > 0) {
        if (!m_connection.exec(
                QStringLiteral("UPDATE VehicleConfigurations SET Manufacturer = ?, Model = ?, "
                               "ParametersJson = ?, UpdatedAt = CURRENT_TIMESTAMP WHERE Id = ?"),
                {make, name, json, id}))
            return false;
        if (savedId)
            *savedId = id;
        return true;
    }
    // A name that differs from a stored one only by case meets that row: only its parameters change.
    if (!m_connection.exec(
            QStringLiteral("INSERT INTO VehicleConfigurations(Manufacturer, Model, ParametersJson) "
                           "VALUES(?, ?, ?) ON CONFLICT(Manufacturer, Model) DO UPDATE SET ParametersJson "
                           "= excluded.ParametersJson, UpdatedAt = CURRENT_TIMESTAMP"),
            {make, name, json}))
        return false;
    const QVariant stored =
        m_connection.scalar(QStringLiteral("SELECT Id FROM VehicleConfigurations WHERE Manufacturer = ? "
                                           "COLLATE NOCASE AND Model = ? COLLATE "
                                           "NOCASE"),
                            {make, name});
    if (savedId)
        *savedId = stored.toInt();
    return stored.isValid();
}

bool VehicleConfigurationRepository::remove(int id)
{
    return m_connection.change(QStringLiteral("DELETE FROM VehicleConfigurations WHERE Id = ?"), {id}) > 0;
}

} // namespace tachoria::storage
