#include "protocol/serial_port_catalog.h"

#include "platform/serial_devices.h"
#include "storage/app_paths.h"
#include "storage/settings_repository.h"

#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QSerialPortInfo>

#include <algorithm>

namespace tachoria::protocol {

bool SerialPortCatalog::isExcluded(const QString& name, const QStringList& descriptions)
{
    if (name.contains(QLatin1String("rfcomm"), Qt::CaseInsensitive))
        return true;
    for (const QString& text : descriptions) {
        if (text.contains(QLatin1String("bluetooth"), Qt::CaseInsensitive) ||
            text.contains(QLatin1String("atlink"), Qt::CaseInsensitive))
            return true;
    }
    return false;
}

int SerialPortCatalog::trailingNumber(const QString& name)
{
    qsizetype start = name.size();
    while (start > 0 && name.at(start - 1).isDigit())
        --start;
    return start < name.size() ? name.mid(start).toInt() : 0;
}

void SerialPortCatalog::sortAndDeduplicate(QList<SerialPortInfo>& ports)
{
    // COM2 before COM10, ttyUSB2 before ttyUSB10.
    std::stable_sort(ports.begin(), ports.end(), [](const SerialPortInfo& a, const SerialPortInfo& b) {
        const int na = trailingNumber(a.name);
        const int nb = trailingNumber(b.name);
        if (na != nb)
            return na < nb;
        return a.name.toLower() < b.name.toLower();
    });
    const auto last =
        std::unique(ports.begin(), ports.end(), [](const SerialPortInfo& a, const SerialPortInfo& b) {
            return a.name.compare(b.name, Qt::CaseInsensitive) == 0;
        });
    ports.erase(last, ports.end());
}

bool SerialPortCatalog::isDirectTransport(const QString& port)
{
    static const QRegularExpression comName(QStringLiteral("^COM[0-9]+$"),
                                            QRegularExpression::CaseInsensitiveOption);
    if (comName.match(port).hasMatch())
        return true;
    // A path, or a link anywhere, that ends at a device node other than a Bluetooth one.
    if (!port.startsWith(QLatin1Char('/')) || port.contains(QLatin1String("rfcomm")))
        return false;
    const QString target = QFileInfo(port).canonicalFilePath();
    return target.startsWith(QLatin1String("/dev/")) && !target.contains(QLatin1String("rfcomm"));
}

QStringList SerialPortCatalog::configuredPorts()
{
    // Only read settings that exist: asking must not create a database where the program never ran.
    const QString path = storage::AppPaths::database(QStringLiteral("SettingsDB.db"));
    if (!QFileInfo::exists(path))
        return {};
    storage::SettingsRepository settings(path);
    if (!settings.isOpen())
        return {};
    const QString ports = QStringLiteral("Ports");
    return {settings.value(ports, QStringLiteral("CalibrationPortName")),
            settings.value(ports, QStringLiteral("DownloadPortName")),
            settings.value(ports, QStringLiteral("RalonaPortName"))};
}

QList<SerialPortInfo> SerialPortCatalog::available()
{
    return available(configuredPorts());
}

QList<SerialPortInfo> SerialPortCatalog::available(const QStringList& configuredPorts)
{
    QList<SerialPortInfo> ports;
    QList<platform::SerialDeviceRecord> devices;
    const bool known = platform::enumerateSerialDevices(devices);
    QHash<QString, platform::SerialDeviceRecord> byPath;
    for (const auto& device : devices)
        byPath.insert(device.path, device);

    for (const QSerialPortInfo& info : QSerialPortInfo::availablePorts()) {
        // Without the device manager only the names and Qt's own descriptions can tell a port apart.
        const auto device = byPath.value(info.systemLocation());
        if (known && isExcluded(info.systemLocation(), {device.bus, device.vendor, device.model,
                                                        info.description(), info.manufacturer()}))
            continue;
        ports.append({info.systemLocation(), info.description(), info.manufacturer(), info.serialNumber()});
    }
    for (const QString& configured : configuredPorts) {
        const QString path = configured.trimmed();
        if (path.isEmpty() || !QFileInfo::exists(path) || isExcluded(path, {}))
            continue;
        const bool listed = std::any_of(ports.cbegin(), ports.cend(), [&path](const SerialPortInfo& port) {
            return port.name.compare(path, Qt::CaseInsensitive) == 0;
        });
        if (!listed)
            ports.append({path, QString(), QString(), QString()});
    }
    sortAndDeduplicate(ports);
    return ports;
}

} // namespace tachoria::protocol
