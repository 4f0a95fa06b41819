#pragma once

#include "protocol/service_frame.h"

#include <QByteArray>
#include <QString>

#include <atomic>

namespace tachoria::protocol {

// What the 0x16 probe learnt about the device behind one port at one speed.
struct DownloadDeviceInfo
{
    bool matched = false;
    QString port;
    int baud = 0;
    int parity = 0; // QSerialPort::Parity
    QString partNumber;
    QString serialNumber;
    QString softwareVersion;
    QString skziNumber;
    QString skziStatus = QStringLiteral("Неизвестен");
    QString cardStatus = QStringLiteral("Неизвестен");
    QString masterCardNumber;
    QString diagnostic;
    bool skziActive = false;
    bool masterCardPresent = false;
    bool calibrationBlocked = false;
    bool downloadBlocked = false;

    bool calibrationPermitted() const { return !calibrationBlocked && (!skziActive || masterCardPresent); }
    bool downloadPermitted() const { return !downloadBlocked && (!skziActive || masterCardPresent); }
};

// Where each item of the 0x16 response lies; the layout depends on the line speed.
struct ProbeResponseLayout
{
    int partNumber;
    int serialNumber;
    int mode;
    int skziStatus;
    int leftSlot;
    int rightSlot;
    int softwareVersion;

    static constexpr int kPartNumberSize = 16;
    static constexpr int kSerialNumberSize = 8;
    static constexpr int kSkziStatusSize = 4;
    static constexpr int kSlotNumberOffset = 2;
    static constexpr int kSlotNumberSize = 16;
    static constexpr int kSoftwareVersionSize = 4;
    static constexpr int kSkziNumberSecondHalf = 244;
    static constexpr int kSkziNumberFirstHalf = 260;
    static constexpr int kSkziNumberHalfSize = 16;

    static ProbeResponseLayout forBaud(int baud);
};

constexpr quint8 kIdentifySid = 0x16;
constexpr quint8 kIdentifyResponseSid = 0x56;

QString displayPortName(const QString& port);

class DownloadDeviceDetector
{
public:
    static DownloadDeviceInfo probe(const QString& port, int baud, const std::atomic_bool* stop = nullptr,
                                    int parityOverride = -1, int expectedResponseSid = -1);
    static DownloadDeviceInfo parseResponse(const QString& port, int baud, const ServiceFrame& frame);

    static QString asciiString(const QByteArray& bytes);
    static QString hexString(const QByteArray& bytes);
    static bool readBytes(const QByteArray& bytes, int offset, int count, QByteArray& out);

    static int defaultParity(int baud);
    static int readTimeoutMs(int baud);

private:
    DownloadDeviceDetector() = delete;
};

} // namespace tachoria::protocol
