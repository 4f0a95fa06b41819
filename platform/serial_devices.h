#pragma once

#include <QList>
#include <QString>

namespace tachoria::platform {

// What the operating system knows of one serial device, beyond what QSerialPortInfo gives.
struct SerialDeviceRecord
{
    QString path; // device node, e.g. /dev/ttyUSB0
    QString bus;  // e.g. "usb", "bluetooth"
    QString vendor;
    QString model;
};

// The machine's own serial port that another system calls "COM<number>": /dev/ttyS<number - 1> here.
QString defaultSerialPortName(int comNumber);

// Serial devices known to the device manager (udev on Linux). False when it cannot be asked at all.
bool enumerateSerialDevices(QList<SerialDeviceRecord>& devices);

} // namespace tachoria::platform
