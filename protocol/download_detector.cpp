#include "protocol/download_detector.h"

#include "protocol/byte_order.h"
#include "protocol/serial_transport.h"

#include <QEventLoop>
#include <QSerialPort>
#include <QThread>
#include <QTimer>

#include <algorithm>

namespace tachoria::protocol {

namespace {

bool isShortLayoutBaud(int baud)
{
    return baud == 9600 || baud == 10400;
}

const QString kPartNumberPrefix = QStringLiteral("47.9160000-2");
const QString kPartNumberPrefixSpaced = QStringLiteral("47.9160 000-2");

} // namespace

ProbeResponseLayout ProbeResponseLayout::forBaud(int baud)
{
    if (isShortLayoutBaud(baud))
        return {0, 16, 24, 25, 67, 85, 103};
    return {76, 92, 146, 160, 311, 329, 1329};
}

QString displayPortName(const QString& port)
{
    static const QString prefix = QStringLiteral("\\\\.\\");
    if (port.startsWith(prefix, Qt::CaseInsensitive))
        return port.mid(prefix.size());
    return port;
}

QString DownloadDeviceDetector::asciiString(const QByteArray& bytes)
{
    QString text;
    text.reserve(bytes.size());
    for (char c : bytes) {
        const auto byte = static_cast<quint8>(c);
        const bool keep = (byte >= 32 && byte <= 126) || byte == '\t' || byte == '\n' || byte == '\r';
        text.append(keep ? QLatin1Char(static_cast<char>(byte)) : QLatin1Char('?'));
    }
    return text;
}

QString DownloadDeviceDetector::hexString(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex().toUpper());
}

bool DownloadDeviceDetector::readBytes(const QByteArray& bytes, int offset, int count, QByteArray& out)
{
    if (offset < 0 || count < 0 || static_cast<qint64>(offset) + count > bytes.size())
        return false;
    out = bytes.mid(offset, count);
    return true;
}

int DownloadDeviceDetector::defaultParity(int baud)
{
    return baud == 10400 ? QSerialPort::NoParity : QSerialPort::EvenParity;
}

int DownloadDeviceDetector::readTimeoutMs(int baud)
{
    return isShortLayoutBaud(baud) ? 500 : 250;
}

DownloadDeviceInfo DownloadDeviceDetector::probe(const QString& port, int baud, const std::atomic_bool* stop,
                                                 int parityOverride, int expectedResponseSid)
{
    // The port's blocking waits need an event dispatcher that runs: without a loop, run inside one.
    if (QThread::currentThread()->loopLevel() == 0) {
        DownloadDeviceInfo result;
        QEventLoop loop;
        QTimer::singleShot(0, &loop, [&] {
            result = probe(port, baud, stop, parityOverride, expectedResponseSid);
            loop.quit();
        });
        loop.exec();
        return result;
    }

    DownloadDeviceInfo result;
    result.port = port;
    result.baud = baud;
    if (stop && stop->load()) {
        result.diagnostic = QStringLiteral("probe stopped");
        return result;
    }
    const int parity = parityOverride >= 0 ? parityOverride : defaultParity(baud);
    result.parity = parity;

    SerialTransport transport;
    QString error;
    if (!transport.configure(port, baud, static_cast<QSerialPort::Parity>(parity), QSerialPort::Data8,
                             QSerialPort::OneStop, &error) ||
        !transport.open(&error)) {
        result.diagnostic = QStringLiteral("open: ") + error;
        return result;
    }

    ServiceFrame request;
    request.sid = kIdentifySid;
    if (!transport.writeService(request, &error)) {
        result.diagnostic = QStringLiteral("write: ") + error;
        return result;
    }

    ServiceFrame response;
    if (!transport.readService(response, readTimeoutMs(baud), &error, stop)) {
        result.diagnostic = QStringLiteral("read: ") + error;
        return result;
    }
    if (expectedResponseSid >= 0 && response.sid != expectedResponseSid) {
        result.diagnostic =
            QStringLiteral("unexpected SID in 0x16 response: 0x") + hexDigits(response.sid, 2, true);
        return result;
    }
    if (response.format != 0x80 && response.format != 0x81 && response.format != 0xF0) {
        result.diagnostic = QStringLiteral("unexpected format 0x") + hexDigits(response.format, 2, true);
        return result;
    }
    if (stop && stop->load()) {
        result.diagnostic = QStringLiteral("probe stopped");
        return result;
    }

    result = parseResponse(port, baud, response);
    result.parity = parity;
    if (!result.matched && result.diagnostic.isEmpty()) {
        result.diagnostic =
            QStringLiteral("device signature mismatch; format=0x%1 sid=0x%2 data=%3 bytes first=%4")
                .arg(hexDigits(response.format, 2, true), hexDigits(response.sid, 2, true))
                .arg(response.data.size())
                .arg(hexString(response.data.left(24)));
    }
    return result;
}

DownloadDeviceInfo DownloadDeviceDetector::parseResponse(const QString& port, int baud,
                                                         const ServiceFrame& frame)
{
    using Layout = ProbeResponseLayout;
    DownloadDeviceInfo result;
    result.port = port;
    result.baud = baud;
    result.parity = defaultParity(baud);
    const Layout layout = Layout::forBaud(baud);
    const QByteArray& data = frame.data;

    QByteArray bytes;
    if (!readBytes(data, layout.partNumber, Layout::kPartNumberSize, bytes)) {
        result.diagnostic = QStringLiteral("response too short for part number: %1 bytes").arg(data.size());
        return result;
    }
    QString partNumber = asciiString(bytes);
    while (partNumber.endsWith(QLatin1Char(' ')))
        partNumber.chop(1);
    result.partNumber = partNumber;
    if (!partNumber.startsWith(kPartNumberPrefix) && !partNumber.startsWith(kPartNumberPrefixSpaced)) {
        result.diagnostic = QStringLiteral("part number: %1").arg(partNumber);
        return result;
    }

    QByteArray serial;
    QByteArray mode;
    if (!readBytes(data, layout.serialNumber, Layout::kSerialNumberSize, serial) ||
        !readBytes(data, layout.mode, 1, mode)) {
        result.diagnostic = QStringLiteral("response too short for serial/mode: %1 bytes").arg(data.size());
        return result;
    }
    result.serialNumber = hexString(serial);

    if (readBytes(data, layout.softwareVersion, Layout::kSoftwareVersionSize, bytes) &&
        bytes != QByteArray(Layout::kSoftwareVersionSize, '\0')) {
        std::reverse(bytes.begin(), bytes.end());
        result.softwareVersion = hexString(bytes);
    }

    QByteArray firstHalf;
    QByteArray secondHalf;
    if (readBytes(data, Layout::kSkziNumberSecondHalf, Layout::kSkziNumberHalfSize, secondHalf) &&
        readBytes(data, Layout::kSkziNumberFirstHalf, Layout::kSkziNumberHalfSize, firstHalf)) {
        result.skziNumber = QString::fromUtf8(firstHalf) + QLatin1Char('-') + QString::fromUtf8(secondHalf);
    }

    QByteArray status;
    if (readBytes(data, layout.skziStatus, Layout::kSkziStatusSize, status)) {
        const auto first = static_cast<quint8>(status.at(0));
        if (first & 0x10) {
            result.skziStatus = QStringLiteral("Истек срок");
            result.calibrationBlocked = true;
        } else if (first == 15) {
            result.skziStatus = QStringLiteral("Активированный");
            result.skziActive = true;
        } else if (first == 1) {
            result.skziStatus = QStringLiteral("Неактивированный");
        } else if (first == 2) {
            result.skziStatus = QStringLiteral("Проверьте СКЗИ. Статус: 0x") + hexString(status);
            result.calibrationBlocked = true;
            result.downloadBlocked = true;
        }
    }

    if (static_cast<quint8>(mode.at(0)) == 2) {
        const auto readSlot = [&](int offset, const QString& label) {
            QByteArray slot;
            QByteArray number;
            if (!readBytes(data, offset, 1, slot) || static_cast<quint8>(slot.at(0)) != 2 ||
                !readBytes(data, offset + Layout::kSlotNumberOffset, Layout::kSlotNumberSize, number))
                return false;
            QString text;
            for (char c : number) {
                const auto byte = static_cast<quint8>(c);
                if (byte >= 32 && byte <= 126)
                    text.append(QLatin1Char(static_cast<char>(byte)));
            }
            result.masterCardNumber = text.trimmed();
            result.cardStatus = label + result.masterCardNumber;
            result.masterCardPresent = true;
            return true;
        };
        if (!readSlot(layout.leftSlot, QStringLiteral("Левый слот. №: ")))
            readSlot(layout.rightSlot, QStringLiteral("Правый слот. №: "));
    }

    if (result.skziActive && !result.masterCardPresent)
        result.cardStatus = QStringLiteral("Вставьте карту мастера");
    result.matched = true;
    return result;
}

} // namespace tachoria::protocol
