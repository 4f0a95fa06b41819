#pragma once

#include "storage/sqlite_connection.h"

#include <QString>
#include <QVariant>

namespace tachoria::storage {

// The single door to "SettingsDB.db": every setting as text under (section, key), with its declared
// type and the time of its last change, which decides between two machines when they merge.
class SettingsRepository
{
public:
    explicit SettingsRepository(const QString& databasePath = QString());

    bool isOpen() const { return m_connection.isOpen(); }
    QString lastError() const { return m_connection.lastError(); }

    QString value(const QString& section, const QString& key, const QString& defaultValue = QString());
    int intValue(const QString& section, const QString& key, int defaultValue);
    bool boolValue(const QString& section, const QString& key, bool defaultValue);
    bool setValue(const QString& section, const QString& key, const QVariant& value,
                  const QString& valueType = QStringLiteral("String"));

    bool beginTransaction();
    bool commitTransaction();
    void rollbackTransaction();

    // The appearance lives in "Settings.ini" beside the program, apart from what is synchronised.
    static QString theme();
    static void setTheme(const QString& theme);
    static QString appearanceFile();

private:
    bool initialize();

    SqliteConnection m_connection;
};

} // namespace tachoria::storage
