#include "protocol/ralona_client.h"

#include "protocol/byte_order.h"

namespace tachoria::protocol {

bool RalonaClient::configure(const QString& portName, int baudRate)
{
    return m_transport.configure(portName, baudRate, QSerialPort::NoParity, QSerialPort::Data8,
                                 QSerialPort::OneStop);
}

bool RalonaClient::sendCommand(quint8 code, const QByteArray& data, quint8 expectedCode, int timeoutMs,
                               QString* error)
{
    RalonaFrame frame;
    frame.code = code;
    frame.data = data;
    if (!m_transport.writeRalona(frame, error))
        return false;
    if (!m_transport.readRalona(m_lastResponse, timeoutMs, error))
        return false;
    if (m_lastResponse.code != expectedCode) {
        if (error)
            *error = QStringLiteral("unexpected Ralona response: 0x%1, expected 0x%2")
                         .arg(hexDigits(m_lastResponse.code, 2, false), hexDigits(expectedCode, 2, false));
        return false;
    }
    return true;
}

bool RalonaClient::probe(int timeoutMs, QString* error)
{
    if (!sendCommand(0x07, {}, 0x87, timeoutMs, error))
        return false;
    if (m_lastResponse.data != QByteArray("Yes!")) {
        if (error)
            *error = QStringLiteral("Ralona returned an unexpected identification payload");
        return false;
    }
    return true;
}

bool RalonaClient::startCalibration(QString* error)
{
    RalonaFrame frame;
    frame.code = 0x01;
    return m_transport.writeRalona(frame, error);
}

bool RalonaClient::setKLine(QString* error)
{
    return sendCommand(0x02, {}, 0x82, kCommandTimeoutMs, error);
}

bool RalonaClient::setRs232(QString* error)
{
    if (!sendCommand(0x03, {}, 0x83, kCommandTimeoutMs, error))
        return false;
    m_transport.close();
    return true;
}

bool RalonaClient::startCounter(QString* error)
{
    return sendCommand(0x04, {}, 0x84, kCommandTimeoutMs, error);
}

bool RalonaClient::stopCounter(QString* error)
{
    return sendCommand(0x05, {}, 0x85, kCommandTimeoutMs, error);
}

bool RalonaClient::getCounter(QByteArray& bytes, QString* error)
{
    if (!sendCommand(0x06, {}, 0x86, kCommandTimeoutMs, error))
        return false;
    bytes = m_lastResponse.data;
    return true;
}

} // namespace tachoria::protocol
