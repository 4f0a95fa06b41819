#include "protocol/serial_transport.h"

#include "logging/application_logger.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>

namespace tachoria::protocol {

using logging::ApplicationLogger;
using logging::Level;

namespace {

bool isStopped(const std::atomic_bool* stop)
{
    return stop && stop->load();
}

void setError(QString* error, const QString& text)
{
    if (error)
        *error = text;
}

} // namespace

SerialTransport::SerialTransport() = default;

SerialTransport::~SerialTransport()
{
    close();
}

QSerialPort& SerialTransport::ensurePort()
{
    if (!m_port)
        m_port = std::make_unique<QSerialPort>();
    return *m_port;
}

bool SerialTransport::configure(const QString& portName, int baudRate, QSerialPort::Parity parity,
                                QSerialPort::DataBits dataBits, QSerialPort::StopBits stopBits,
                                QString* error)
{
    close();
    QSerialPort& port = ensurePort();
    port.setPortName(portName);
    // Settings on a closed port are only stored; a bad speed shows when the port opens.
    const bool ok = port.setBaudRate(baudRate, QSerialPort::AllDirections) && port.setParity(parity) &&
                    port.setDataBits(dataBits) && port.setStopBits(stopBits) &&
                    port.setFlowControl(QSerialPort::NoFlowControl);
    ApplicationLogger::write(Level::Info, logCategory(QStringLiteral("serial")),
                             QStringLiteral("Порт настроен: %1, baud=%2, parity=%3")
                                 .arg(portName)
                                 .arg(baudRate)
                                 .arg(static_cast<int>(parity)),
                             QStringLiteral("configure"));
    if (!ok)
        setError(error, port.errorString());
    return ok;
}

bool SerialTransport::open(QString* error)
{
    QSerialPort& port = ensurePort();
    if (port.isOpen())
        return true;
    const QString detail = QStringLiteral("open; port=") + port.portName();
    if (!port.open(QIODevice::ReadWrite)) {
        const QString reason = port.errorString();
        setError(error, reason);
        ApplicationLogger::write(Level::Error, logCategory(QStringLiteral("serial")), reason, detail);
        return false;
    }
    ApplicationLogger::write(Level::Info, logCategory(QStringLiteral("serial")),
                             QStringLiteral("Порт открыт"), detail);
    return true;
}

void SerialTransport::close()
{
    if (!m_port || !m_port->isOpen())
        return;
    ApplicationLogger::write(Level::Info, logCategory(QStringLiteral("serial")),
                             QStringLiteral("Порт закрыт"),
                             QStringLiteral("close; port=") + m_port->portName());
    m_port->close();
}

bool SerialTransport::isOpen() const
{
    return m_port && m_port->isOpen();
}

QString SerialTransport::portName() const
{
    return m_port ? m_port->portName() : QString();
}

bool SerialTransport::writeBytes(const QByteArray& bytes, QString* error)
{
    return writeRaw(bytes, error);
}

bool SerialTransport::writeRaw(const QByteArray& bytes, QString* error)
{
    if (!open(error))
        return false;
    QSerialPort& port = *m_port;
    const qint64 accepted = port.write(bytes);
    if (accepted < bytes.size()) {
        QString reason = port.errorString();
        if (reason.isEmpty() || port.error() == QSerialPort::NoError)
            reason = QStringLiteral("COM-порт принял только %1 из %2 байт кадра")
                         .arg(std::max<qint64>(accepted, 0))
                         .arg(bytes.size());
        setError(error, reason);
        return false;
    }
    QElapsedTimer budget;
    budget.start();
    while (port.bytesToWrite() > 0) {
        const qint64 left = kWriteDrainBudgetMs - budget.elapsed();
        if (left <= 0 || !port.waitForBytesWritten(static_cast<int>(left))) {
            setError(error, QStringLiteral("Тайм-аут отправки кадра через COM-порт: осталось %1 байт")
                                .arg(port.bytesToWrite()));
            return false;
        }
    }
    ApplicationLogger::protocol(QStringLiteral("TX"), QStringLiteral("write"), bytes, port.portName(),
                                logCategory(QStringLiteral("protocol")));
    return true;
}

bool SerialTransport::writeService(const ServiceFrame& frame, QString* error)
{
    return writeBytes(ServiceFrameCodec::encode(frame), error);
}

bool SerialTransport::readByte(quint8& byte, int timeoutMs, QString* error, const std::atomic_bool* stop)
{
    if (isStopped(stop)) {
        setError(error, QStringLiteral("serial read stopped"));
        return false;
    }
    if (!open(error))
        return false;
    QSerialPort& port = *m_port;
    QElapsedTimer timer;
    timer.start();
    while (port.bytesAvailable() == 0) {
        if (isStopped(stop)) {
            setError(error, QStringLiteral("serial read stopped"));
            return false;
        }
        const int wait = static_cast<int>(std::max<qint64>(1, timeoutMs - timer.elapsed()));
        const bool arrived = port.waitForReadyRead(wait);
        if (port.bytesAvailable() > 0)
            break;
        if (!arrived || timer.elapsed() >= timeoutMs) {
            setError(error, QStringLiteral("serial read timeout"));
            return false;
        }
    }
    char c = 0;
    if (port.read(&c, 1) != 1) {
        setError(error, port.errorString());
        return false;
    }
    byte = static_cast<quint8>(c);
    return true;
}

bool SerialTransport::readServiceWire(QByteArray& out, int timeoutMs, QString* error,
                                      const std::atomic_bool* stop)
{
    out.clear();
    if (isStopped(stop)) {
        setError(error, QStringLiteral("service read stopped"));
        return false;
    }
    if (!open(error))
        return false;

    QElapsedTimer timer;
    timer.start();
    qint64 rawBytes = 0;
    QByteArray rxTail;
    bool havePending = false;
    quint8 pending = 0;

    const auto remainingMs = [&] { return timeoutMs - timer.elapsed(); };
    const auto received = [&](quint8 byte) {
        ++rawBytes;
        rxTail.append(static_cast<char>(byte));
        if (rxTail.size() > kRxTailBytes)
            rxTail.remove(0, rxTail.size() - kRxTailBytes);
    };
    // Bytes inside one frame may be at most one slice apart.
    const auto fetch = [&](quint8& byte) {
        if (timer.elapsed() >= timeoutMs || isStopped(stop))
            return false;
        const int wait =
            static_cast<int>(std::min<qint64>(kInterByteSliceMs, std::max<qint64>(1, remainingMs())));
        if (!readByte(byte, wait, nullptr, stop))
            return false;
        received(byte);
        return true;
    };
    const auto fetchInto = [&](qsizetype count) {
        for (qsizetype i = 0; i < count; ++i) {
            quint8 byte = 0;
            if (!fetch(byte))
                return false;
            out.append(static_cast<char>(byte));
        }
        return true;
    };

    while (timer.elapsed() < timeoutMs) {
        if (isStopped(stop)) {
            setError(error, QStringLiteral("service read stopped"));
            return false;
        }
        quint8 format = 0;
        if (havePending) {
            format = pending;
            havePending = false;
        } else {
            const int wait =
                static_cast<int>(std::max<qint64>(1, std::min<qint64>(remainingMs(), kInterByteSliceMs)));
            if (!readByte(format, wait, nullptr, stop))
                continue;
            received(format);
            if (!ServiceFrameCodec::isFormat(format))
                continue; // hunting for a frame start
        }
        out = QByteArray(1, static_cast<char>(format));

        bool complete = false;
        quint8 target = 0;
        if (fetch(target)) {
            if (!ServiceFrameCodec::isTarget(target)) {
                // 80 80 F0 ...: the second byte may itself start the real frame.
                if (ServiceFrameCodec::isFormat(target)) {
                    pending = target;
                    havePending = true;
                }
                continue;
            }
            out.append(static_cast<char>(target));
            const qsizetype lengthBytes = format == 0xF0 ? 2 : (format == 0x81 ? 0 : 1);
            if (fetchInto(1 + lengthBytes)) {
                quint16 length = 0;
                if (format == 0xF0)
                    length = static_cast<quint16>((static_cast<quint8>(out.at(3)) << 8) |
                                                  static_cast<quint8>(out.at(4)));
                else if (format != 0x81)
                    length = static_cast<quint8>(out.at(3));
                if (length == 0 && format != 0x81) {
                    out.clear();
                    continue;
                }
                complete = fetchInto(format == 0x81 ? 2 : length + 1);
            }
        }
        if (complete) {
            ApplicationLogger::protocol(QStringLiteral("RX"), QStringLiteral("read"), out, m_port->portName(),
                                        logCategory(QStringLiteral("protocol")));
            return true;
        }
        if (isStopped(stop)) {
            setError(error, QStringLiteral("service read stopped"));
            return false;
        }
        // A gap inside a frame loses that frame, not the call: hunt again until the time-out.
    }

    const QString text =
        QStringLiteral("service frame timeout; elapsedMs=%1; rawBytes=%2; partialFrameBytes=%3; rxTail=%4")
            .arg(timer.elapsed())
            .arg(rawBytes)
            .arg(out.size())
            .arg(QString::fromLatin1(rxTail.toHex(' ').toUpper()));
    setError(error, text);
    ApplicationLogger::write(Level::Warning, logCategory(QStringLiteral("serial.io")), text,
                             QStringLiteral("service-frame-timeout; endpoint=") + portName());
    return false;
}

bool SerialTransport::readService(ServiceFrame& frame, int timeoutMs, QString* error,
                                  const std::atomic_bool* stop)
{
    QByteArray wire;
    if (!readServiceWire(wire, timeoutMs, error, stop))
        return false;
    return ServiceFrameCodec::decode(wire, frame, error) == ServiceFrameCodec::DecodeStatus::Complete;
}

bool SerialTransport::writeRalona(const RalonaFrame& frame, QString* error)
{
    const QByteArray bytes = RalonaFrameCodec::encode(frame);
    if (!open(error))
        return false;
    QSerialPort& port = *m_port;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        if (i > 0) {
            QElapsedTimer pause;
            pause.start();
            while (pause.elapsed() < 1)
                QCoreApplication::processEvents();
        }
        if (port.write(bytes.constData() + i, 1) != 1 || !port.waitForBytesWritten(1000)) {
            setError(error, port.errorString());
            return false;
        }
    }
    ApplicationLogger::protocol(QStringLiteral("TX-RALONA"), QStringLiteral("write"), bytes, port.portName(),
                                QStringLiteral("protocol"));
    return true;
}

bool SerialTransport::readRalonaWire(QByteArray& out, int timeoutMs, QString* error)
{
    constexpr int kByteWaitMs = 50;
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < timeoutMs) {
        out.clear();
        quint8 byte = 0;
        const int wait =
            static_cast<int>(std::max<qint64>(1, std::min<qint64>(kByteWaitMs, timeoutMs - timer.elapsed())));
        if (!readByte(byte, wait) || byte != RalonaFrameCodec::kPrefix0)
            continue;
        out.append(static_cast<char>(byte));
        if (!readByte(byte, kByteWaitMs) || byte != RalonaFrameCodec::kPrefix1)
            continue; // 55 55 AA: the second 55 is consumed here, and the hunt goes on with AA
        out.append(static_cast<char>(byte));
        if (!readByte(byte, kByteWaitMs) || !(byte & RalonaFrameCodec::kResponseBit))
            continue;
        out.append(static_cast<char>(byte));
        const int rest = RalonaFrameCodec::dataSizeForCode(byte) + 1;
        bool complete = true;
        for (int i = 0; i < rest && complete; ++i) {
            complete = readByte(byte, kByteWaitMs);
            if (complete)
                out.append(static_cast<char>(byte));
        }
        if (!complete)
            continue;
        ApplicationLogger::protocol(QStringLiteral("RX-RALONA"), QStringLiteral("read"), out, portName(),
                                    QStringLiteral("protocol"));
        return true;
    }
    out.clear();
    setError(error, QStringLiteral("Ralona frame timeout"));
    return false;
}

bool SerialTransport::readRalona(RalonaFrame& frame, int timeoutMs, QString* error)
{
    QByteArray wire;
    if (!readRalonaWire(wire, timeoutMs, error))
        return false;
    return RalonaFrameCodec::decode(wire, frame, error) == ServiceFrameCodec::DecodeStatus::Complete;
}

void SerialTransport::setLogCategory(const QString& category)
{
    m_logCategory = category;
}

QString SerialTransport::logCategory(const QString& fallback) const
{
    return m_logCategory.isEmpty() ? fallback : m_logCategory;
}

} // namespace tachoria::protocol
