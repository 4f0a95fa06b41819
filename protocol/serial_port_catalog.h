#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace tachoria::protocol {

struct SerialPortInfo
{
    QString name;
    QString description;
    QString manufacturer;
    QString serialNumber;
};

// The serial ports that may lead to a tachograph: Bluetooth ports and the ports of the "ATLink" device
// class never do and are left out. A port a user configured by path counts when it exists, even if
// the system does not list it (pseudo-terminals, udev links).
class SerialPortCatalog
{
public:
    // The system's ports and the ports named in the stored settings (calibration, download, adapter).
    static QList<SerialPortInfo> available();
    static QList<SerialPortInfo> available(const QStringList& configuredPorts);
    // The port names the stored settings hold; empty when there are no settings yet.
    static QStringList configuredPorts();

    // The pieces of the above, apart so they can be checked on their own.
    static bool isExcluded(const QString& name, const QStringList& descriptions);
    static void sortAndDeduplicate(QList<SerialPortInfo>& ports);
    static int trailingNumber(const QString& name);
    // A port reached as a serial line of this machine, not through another carrier.
    static bool isDirectTransport(const QString& port);

private:
    SerialPortCatalog() = delete;
};

} // namespace tachoria::protocol
