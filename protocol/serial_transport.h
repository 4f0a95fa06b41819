#pragma once

#include "protocol/ralona_frame.h"
#include "protocol/service_frame.h"

#include <QByteArray>
#include <QSerialPort>
#include <QString>

#include <atomic>
#include <memory>

namespace tachoria::protocol {

// The one owner of a serial port. Every call blocks the calling worker thread; the port is created
// on first need by the thread that uses it and is never moved between threads.
class SerialTransport
{
public:
    SerialTransport();
    ~SerialTransport();
    SerialTransport(const SerialTransport&) = delete;
    SerialTransport& operator=(const SerialTransport&) = delete;

    bool configure(const QString& portName, int baudRate, QSerialPort::Parity parity,
                   QSerialPort::DataBits dataBits = QSerialPort::Data8,
                   QSerialPort::StopBits stopBits = QSerialPort::OneStop, QString* error = nullptr);
    bool open(QString* error = nullptr);
    void close();
    bool isOpen() const;
    QString portName() const;

    bool writeBytes(const QByteArray& bytes, QString* error = nullptr);
    bool writeRaw(const QByteArray& bytes, QString* error = nullptr);
    bool writeService(const ServiceFrame& frame, QString* error = nullptr);

    bool readByte(quint8& byte, int timeoutMs, QString* error = nullptr,
                  const std::atomic_bool* stop = nullptr);
    bool readServiceWire(QByteArray& out, int timeoutMs, QString* error = nullptr,
                         const std::atomic_bool* stop = nullptr);
    bool readService(ServiceFrame& frame, int timeoutMs, QString* error = nullptr,
                     const std::atomic_bool* stop = nullptr);

    // The adapter takes its bytes one at a time, about a millisecond apart.
    bool writeRalona(const RalonaFrame& frame, QString* error = nullptr);
    bool readRalonaWire(QByteArray& out, int timeoutMs, QString* error = nullptr);
    bool readRalona(RalonaFrame& frame, int timeoutMs, QString* error = nullptr);

    void setLogCategory(const QString& category);
    QString logCategory(const QString& fallback) const;

    static constexpr int kWriteDrainBudgetMs = 10000;
    static constexpr int kInterByteSliceMs = 40;
    static constexpr int kRxTailBytes = 32;

private:
    QSerialPort& ensurePort();

    QString m_logCategory;
    std::unique_ptr<QSerialPort> m_port;
};

} // namespace tachoria::protocol
