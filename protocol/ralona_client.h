#pragma once

#include "protocol/ralona_frame.h"
#include "protocol/serial_transport.h"

namespace tachoria::protocol {

// The external adapter on a port of its own: identification, line switching between RS-232 and
// K-line, calibration mode and the pulse counter.
class RalonaClient
{
public:
    static constexpr int kCommandTimeoutMs = 1000;

    SerialTransport& transport() { return m_transport; }
    const RalonaFrame& lastResponse() const { return m_lastResponse; }

    bool configure(const QString& portName, int baudRate);
    bool open(QString* error = nullptr) { return m_transport.open(error); }
    void close() { m_transport.close(); }
    bool isOpen() const { return m_transport.isOpen(); }

    bool sendCommand(quint8 code, const QByteArray& data, quint8 expectedCode, int timeoutMs,
                     QString* error = nullptr);
    bool probe(int timeoutMs, QString* error = nullptr);
    bool startCalibration(QString* error = nullptr);
    bool setKLine(QString* error = nullptr);
    bool setRs232(QString* error = nullptr);
    bool startCounter(QString* error = nullptr);
    bool stopCounter(QString* error = nullptr);
    bool getCounter(QByteArray& bytes, QString* error = nullptr);

private:
    SerialTransport m_transport;
    RalonaFrame m_lastResponse;
};

} // namespace tachoria::protocol
