#pragma once

#include "storage/sqlite_connection.h"

#include <QList>
#include <QPair>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace tachoria::storage {

struct VehicleConfiguration
{
    int id = 0;
    QString manufacturer;
    QString model;
    QVariantMap parameters;
    QString updatedAt;
};

// What masters saved themselves: a full set of calibration parameters under a make and a model, in
// "VehicleConfigurations.db". Names compare without regard to case.
class VehicleConfigurationRepository
{
public:
    VehicleConfigurationRepository();

    bool isOpen() const { return m_connection.isOpen(); }
    QString lastError() const { return m_connection.lastError(); }

    QList<VehicleConfiguration> all();
    std::optional<VehicleConfiguration> find(int id);
    std::optional<VehicleConfiguration> find(const QString& manufacturer, const QString& model);
    QStringList manufacturers();
    QList<QPair<int, QString>> models(const QString& manufacturer);
    bool save(int id, const QString& manufacturer, const QString& model, const QVariantMap& parameters,
              int* savedId = nullptr);
    bool remove(int id);

private:
    QList<VehicleConfiguration> configurations(const QString& statement, const QVariantList& values = {});

    SqliteConnection m_connection;
};

} // namespace tachoria::storage
