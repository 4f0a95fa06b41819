#include "storage/settings_repository.h"

#include "platform/serial_devices.h"
#include "storage/app_paths.h"

#include <QCoreApplication>
#include <QSettings>

namespace tachoria::storage {

namespace {

struct DefaultRow
{
    const char* section;
    const char* key;
    const char* value;
    const char* type;
};

// Written once, into an empty table, in this order.
constexpr DefaultRow kDefaults[] = {
    {"Ports", "DownloadPortName", nullptr, "String"}, // the machine's first serial port
    {"Ports", "DownloadPortMaxBitrate", "115200", "Int"},
    {"Ports", "DownloadPortStartBitrate", "9600", "Int"},
    {"Ports", "CalibrationPortName", nullptr, "String"}, // its second
    {"Ports", "CalibrationPortBitrate", "115200", "Int"},
    {"Ports", "RalonaPortName", nullptr, "String"}, // its third
    {"Main", "UseRalona", "0", "Bool"},
    {"Main", "CardReader", "", "String"},
    {"Main", "LogEnable", "1", "Bool"},
    {"Main", "PrinterAct", "", "String"},
    {"Main", "PrinterLabel", "", "String"},
    {"Main", "Act", "", "String"},
    {"Main", "Label", "", "String"},
    {"Program", "ScanPorts", "1", "Bool"},
    {"Program", "FullScreenMode", "0", "Bool"},
    {"Program", "FontSize", "12", "Int"},
    {"TACHORIA", "name", "", "String"},
    {"TACHORIA", "post", "", "String"},
    {"TACHORIA", "city", "", "String"},
    {"TACHORIA", "street", "", "String"},
    {"TACHORIA", "phone", "", "String"},
    {"TACHORIA", "mark", "", "String"},
    {"TACHORIA", "NumberInList", "", "String"},
};

// The three ports are the machine's own serial ports, named as this system names them.
QString defaultValue(const DefaultRow& row)
{
    if (row.value)
        return QString::fromLatin1(row.value);
    const QLatin1String key(row.key);
    const int number = key == QLatin1String("DownloadPortName")      ? 1
                       : key == QLatin1String("CalibrationPortName") ? 2
                                                                     : 3;
    return platform::defaultSerialPortName(number);
}

QString defaultPath(const QString& path)
{
    return path.isEmpty() ? AppPaths::database(QStringLiteral("SettingsDB.db")) : path;
}

} // namespace

SettingsRepository::SettingsRepository(const QString& databasePath)
    : m_connection(QStringLiteral("TachoriaSettings_%1"), defaultPath(databasePath))
{
    if (m_connection.isOpen())
        initialize();
}

bool SettingsRepository::initialize()
{
    const QStringList schema = {
        QStringLiteral("CREATE TABLE IF NOT EXISTS Settings (Id INTEGER PRIMARY KEY AUTOINCREMENT, Section "
                       "TEXT NOT NULL, "
                       "Key TEXT NOT NULL, Value TEXT, ValueType TEXT DEFAULT 'String', Description TEXT, "
                       "LastModified DATETIME DEFAULT CURRENT_TIMESTAMP, UNIQUE(Section, Key))"),
        QStringLiteral("CREATE INDEX IF NOT EXISTS idx_settings_section ON Settings(Section)"),
        QStringLiteral("CREATE INDEX IF NOT EXISTS idx_settings_key ON Settings(Key)"),
    };
    for (const QString& statement : schema) {
        if (!m_connection.exec(statement))
            return false;
    }
    const QVariant count = m_connection.scalar(QStringLiteral("SELECT COUNT(*) FROM Settings"));
    if (!count.isValid() || count.toInt() != 0)
        return count.isValid();
    if (!m_connection.transaction())
        return false;
    for (const DefaultRow& row : kDefaults) {
        if (!m_connection.exec(
                QStringLiteral("INSERT OR IGNORE INTO Settings(Section, Key, Value, ValueType) "
                               "VALUES(?, ?, ?, ?)"),
                {QString::fromLatin1(row.section), QString::fromLatin1(row.key), defaultValue(row),
                 QString::fromLatin1(row.type)})) {
            m_connection.rollback();
            return false;
        }
    }
    return m_connection.commit();
}

QString SettingsRepository::value(const QString& section, const QString& key, const QString& defaultValue)
{
    const QVariant stored = m_connection.scalar(
        QStringLiteral("SELECT Value FROM Settings WHERE Section = ? AND Key = ?"), {section, key});
    return stored.isValid() ? stored.toString() : defaultValue;
}

int SettingsRepository::intValue(const QString& section, const QString& key, int defaultValue)
{
    bool ok = false;
    const int number = value(section, key).toInt(&ok, 10);
    return ok ? number : defaultValue;
}

bool SettingsRepository::boolValue(const QString& section, const QString& key, bool defaultValue)
{
    const QString text = value(section, key).trimmed().toLower();
    if (text == QLatin1String("1") || text == QLatin1String("true"))
        return true;
    if (text == QLatin1String("0") || text == QLatin1String("false"))
        return false;
    return defaultValue;
}

bool SettingsRepository::setValue(const QString& section, const QString& key, const QVariant& value,
                                  const QString& valueType)
{
    if (!isOpen())
        return false;
    // Every call stamps LastModified, also for an unchanged value.
    return m_connection.exec(
               QStringLiteral(
                   "INSERT OR IGNORE INTO Settings(Section, Key, Value, ValueType) VALUES(?, ?, ?, ?)"),
               {section, key, value, valueType}) &&
           m_connection.exec(QStringLiteral("UPDATE Settings SET Value = ?, ValueType = ?, LastModified = "
                                            "CURRENT_TIMESTAMP WHERE Section = ? AND Key = ?"),
                             {value, valueType, section, key});
}

bool SettingsRepository::beginTransaction()
{
    if (!isOpen()) {
        m_connection.setLastError(QStringLiteral("База настроек недоступна"));
        return false;
    }
    return m_connection.transaction();
}

bool SettingsRepository::commitTransaction()
{
    return m_connection.commit();
}

void SettingsRepository::rollbackTransaction()
{
    m_connection.rollback();
}

QString SettingsRepository::appearanceFile()
{
    return AppPaths::programDirectory() + QStringLiteral("/Settings.ini");
}

QString SettingsRepository::theme()
{
    const QSettings settings(appearanceFile(), QSettings::IniFormat);
    return settings.value(QStringLiteral("Appearance/Theme"), QStringLiteral("Light")).toString() ==
                   QLatin1String("Dark")
               ? QStringLiteral("Dark")
               : QStringLiteral("Light");
}

void SettingsRepository::setTheme(const QString& theme)
{
    QSettings settings(appearanceFile(), QSettings::IniFormat);
    settings.setValue(QStringLiteral("Appearance/Theme"),
                      theme == QLatin1String("Dark") ? QStringLiteral("Dark") : QStringLiteral("Light"));
}

} // namespace tachoria::storage
