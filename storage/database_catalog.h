#pragma once

#include <QString>

namespace tachoria::storage {

enum class KnownDatabase
{
    Settings = 0,
    Masters = 1,
    Customers = 2,
    Vehicles = 3,
    Calibration = 4,
    Certificates = 5,
    DriverCards = 6,
    Reports = 7,
};

// File names and paths of the databases, and the move of the reports database from its legacy
// name "driver_cards.db", which is copied, checked and renamed into place, never changed itself.
class DatabaseCatalog
{
public:
    static QString fileName(KnownDatabase database);
    static QString path(KnownDatabase database);
    static bool prepareReportsDatabase(QString* error = nullptr);
    static bool migrateReportsDatabase(const QString& source, const QString& target,
                                       QString* error = nullptr);

private:
    DatabaseCatalog() = delete;
};

} // namespace tachoria::storage
