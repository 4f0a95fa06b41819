#include "protocol/tachograph_client.h"

#include "protocol/byte_order.h"

#include <algorithm>

namespace tachoria::protocol {

namespace {

constexpr quint8 kNegativeResponse = 0x7F;
constexpr quint8 kPositiveOffset = 0x40;
constexpr quint8 kAddressAndLengthFormat = 0x24;

void setError(QString* error, const QString& text)
{
    if (error)
        *error = text;
}

} // namespace

bool TachographClient::configure(const QString& portName, int baudRate, QSerialPort::Parity parity,
                                 QSerialPort::DataBits dataBits, QSerialPort::StopBits stopBits)
{
    return m_transport.configure(portName, baudRate, parity, dataBits, stopBits);
}

bool TachographClient::openAndStartCommunication(int attempts, QString* error)
{
    if (!m_transport.open(error))
        return false;
    for (int attempt = 0; attempt < std::max(1, attempts); ++attempt) {
        if (startCommunication(nullptr, error)) {
            if (error)
                error->clear();
            return true;
        }
    }
    return false;
}

bool TachographClient::openAndStartCommunicationViaRalona(QString* error)
{
    if (!m_transport.open(error))
        return false;
    // After the adapter's switch to K-line any well-formed answer counts as a started session.
    if (!m_transport.writeRaw(QByteArray::fromHex("81EEF081E0"), error))
        return false;
    ServiceFrame response;
    if (!m_transport.readService(response, kDefaultTimeoutMs, error, nullptr))
        return false;
    m_lastResponse = response;
    return true;
}

bool TachographClient::requestFrame(quint8 sid, const QByteArray& data, ServiceFrame& response, int timeoutMs,
                                    QString* error)
{
    return request(sid, data, response, timeoutMs, error);
}

bool TachographClient::request(quint8 sid, const QByteArray& data, ServiceFrame& response, int timeoutMs,
                               QString* error)
{
    // One request and its response own the wire, whichever thread asks.
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lastRequestAnswered = false;
    ServiceFrame frame;
    frame.sid = sid;
    frame.data = data;
    if (sid == 0x81)
        frame.format = 0x81;
    else
        frame.format = data.size() < 256 ? 0x80 : 0xF0;
    if (!m_transport.writeService(frame, error))
        return false;
    if (!m_transport.readService(response, timeoutMs, error, m_stopFlag))
        return false;
    m_lastResponse = response;
    m_lastRequestAnswered = true;
    return true;
}

bool TachographClient::expectPositive(const ServiceFrame& frame, quint8 expectedSid, QString* error) const
{
    if (frame.target != kProgramAddress || frame.source != kTachographAddress) {
        setError(error, QStringLiteral("unexpected tachograph frame address"));
        return false;
    }
    if (frame.sid == kNegativeResponse) {
        if (error) {
            const quint8 rejected = frame.data.size() >= 2 ? static_cast<quint8>(frame.data.at(0)) : 0;
            const quint8 code = frame.data.isEmpty() ? 0 : static_cast<quint8>(frame.data.back());
            const QString explanation =
                code == 0x13 ? QStringLiteral(" (incorrect message length/format)") : QString();
            *error = QStringLiteral("TACHOGRAPH NEGATIVE RESPONSE: SID=0x%1 NRC=0x%2%3")
                         .arg(hexDigits(rejected, 2, false), hexDigits(code, 2, false), explanation)
                         .toUpper();
        }
        return false;
    }
    if (frame.sid == expectedSid)
        return true;
    setError(error, QStringLiteral("unexpected response SID: 0x%1, expected 0x%2")
                        .arg(hexDigits(frame.sid, 2, false), hexDigits(expectedSid, 2, false)));
    return false;
}

bool TachographClient::requestPayload(quint8 sid, const QByteArray& data, quint8 expectedSid,
                                      QByteArray& payload, int timeoutMs, QString* error)
{
    ServiceFrame response;
    if (!request(sid, data, response, timeoutMs, error) || !expectPositive(response, expectedSid, error))
        return false;
    payload = response.data;
    return true;
}

bool TachographClient::service(quint8 sid, const QByteArray& data, int timeoutMs, QByteArray* payload,
                               QString* error)
{
    QByteArray received;
    if (!requestPayload(sid, data, static_cast<quint8>(sid + kPositiveOffset), received, timeoutMs, error))
        return false;
    if (payload)
        *payload = received;
    return true;
}

bool TachographClient::startCommunication(QByteArray* response, QString* error)
{
    QByteArray payload;
    if (!service(0x81, {}, kDefaultTimeoutMs, &payload, error))
        return false;
    if (payload != QByteArray::fromHex("EA8F")) {
        setError(error, QStringLiteral("unexpected StartCommunication payload"));
        return false;
    }
    if (response)
        *response = payload;
    return true;
}

bool TachographClient::stopCommunication(QByteArray* response, QString* error)
{
    QByteArray payload;
    if (!service(0x82, {}, kDefaultTimeoutMs, &payload, error))
        return false;
    if (!payload.isEmpty() && payload != QByteArray::fromHex("21")) {
        setError(error, QStringLiteral("unexpected StopCommunication payload"));
        return false;
    }
    if (response)
        *response = payload;
    return true;
}

bool TachographClient::startDiagnosticSession(quint8 mode, QByteArray* response, QString* error)
{
    QByteArray payload;
    const QByteArray data(1, static_cast<char>(mode));
    if (!service(0x10, data, kDefaultTimeoutMs, &payload, error))
        return false;
    if (payload != data) {
        setError(error, QStringLiteral("unexpected diagnostic session payload"));
        return false;
    }
    if (response)
        *response = payload;
    return true;
}

bool TachographClient::testerPresent(QByteArray* response, QString* error)
{
    return service(0x3E, QByteArray::fromHex("01"), kDefaultTimeoutMs, response, error);
}

bool TachographClient::securityAccess(quint8 subFunction, QByteArray* payload, QString* error)
{
    return service(0x27, QByteArray(1, static_cast<char>(subFunction)), kDefaultTimeoutMs, payload, error);
}

bool TachographClient::readDataByIdentifier(quint16 identifier, QByteArray& value, QString* error)
{
    const QByteArray id = bigEndianBytes(identifier, 2);
    QByteArray payload;
    if (!service(0x22, id, kReadIdentifierTimeoutMs, &payload, error))
        return false;
    if (payload.size() < 2 || payload.left(2) != id) {
        setError(error, QStringLiteral("RDBI response identifier mismatch"));
        return false;
    }
    value = payload.mid(2);
    return true;
}

bool TachographClient::writeDataByIdentifier(quint16 identifier, const QByteArray& value, QString* error)
{
    const QByteArray data = bigEndianBytes(identifier, 2) + value;
    return service(0x2E, data, kDefaultTimeoutMs, nullptr, error);
}

bool TachographClient::readMemoryByAddress(quint16 length, quint32 address, QByteArray& value, QString* error)
{
    QByteArray data(1, static_cast<char>(kAddressAndLengthFormat));
    data += bigEndianBytes(address, 4) + bigEndianBytes(length, 2);
    return service(0x23, data, kDefaultTimeoutMs, &value, error);
}

bool TachographClient::writeMemoryByAddress(quint16 length, quint32 address, const QByteArray& value,
                                            QString* error)
{
    if (value.size() != length) {
        setError(error, QStringLiteral("Размер данных записи памяти не совпадает с длиной запроса"));
        return false;
    }
    QByteArray data(1, static_cast<char>(kAddressAndLengthFormat));
    data += bigEndianBytes(address, 4) + bigEndianBytes(length, 2);
    data.append(value);
    return service(0x3D, data, kDefaultTimeoutMs, nullptr, error);
}

bool TachographClient::requestUpload(const QByteArray& data, QByteArray* payload, QString* error)
{
    return service(0x35, data, kDefaultTimeoutMs, payload, error);
}

bool TachographClient::transferData(const QByteArray& data, QByteArray* payload, QString* error)
{
    return service(0x36, data, kDefaultTimeoutMs, payload, error);
}

bool TachographClient::requestTransferExit(const QByteArray& data, QByteArray* payload, QString* error)
{
    return service(0x37, data, kDefaultTimeoutMs, payload, error);
}

bool TachographClient::externalNkmCommand(const QByteArray& data, QByteArray* payload, QString* error)
{
    return service(0x01, data, kDefaultTimeoutMs, payload, error);
}

} // namespace tachoria::protocol
