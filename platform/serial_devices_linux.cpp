#include "platform/serial_devices.h"

#include <libudev.h>

namespace tachoria::platform {

QString defaultSerialPortName(int comNumber)
{
    return QStringLiteral("/dev/ttyS%1").arg(comNumber - 1);
}

namespace {

QString property(udev_device* device, const char* name)
{
    const char* value = udev_device_get_property_value(device, name);
    return value ? QString::fromUtf8(value) : QString();
}

} // namespace

bool enumerateSerialDevices(QList<SerialDeviceRecord>& devices)
{
    udev* context = udev_new();
    if (!context)
        return false;
    udev_enumerate* enumerate = udev_enumerate_new(context);
    if (!enumerate) {
        udev_unref(context);
        return false;
    }
    udev_enumerate_add_match_subsystem(enumerate, "tty");
    udev_enumerate_scan_devices(enumerate);
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate))
    {
        udev_device* device = udev_device_new_from_syspath(context, udev_list_entry_get_name(entry));
        if (!device)
            continue;
        const char* node = udev_device_get_devnode(device);
        if (node) {
            SerialDeviceRecord record;
            record.path = QString::fromUtf8(node);
            record.bus = property(device, "ID_BUS");
            record.vendor = property(device, "ID_VENDOR_FROM_DATABASE");
            if (record.vendor.isEmpty())
                record.vendor = property(device, "ID_VENDOR");
            record.model = property(device, "ID_MODEL_FROM_DATABASE");
            if (record.model.isEmpty())
                record.model = property(device, "ID_MODEL");
            devices.append(record);
        }
        udev_device_unref(device);
    }
    udev_enumerate_unref(enumerate);
    udev_unref(context);
    return true;
}

} // namespace tachoria::platform
