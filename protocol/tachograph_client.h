#pragma once

#include "protocol/serial_transport.h"
#include "protocol/service_frame.h"

#include <QByteArray>
#include <QString>

#include <atomic>
#include <mutex>

namespace tachoria::protocol {

// The tachograph's services as blocking calls over one transport: a request out, one response in, and
// the check that it is the positive answer of that service.
class TachographClient
{
public:
    static constexpr int kDefaultTimeoutMs = 2000;
    static constexpr int kReadIdentifierTimeoutMs = 20000;

    SerialTransport& transport() { return m_transport; }
    const ServiceFrame& lastResponse() const { return m_lastResponse; }
    // Whether the last request got a frame back: a silence leaves lastResponse() as it was.
    bool lastRequestAnswered() const { return m_lastRequestAnswered; }
    void setStopFlag(const std::atomic_bool* stop) { m_stopFlag = stop; }

    bool configure(const QString& portName, int baudRate, QSerialPort::Parity parity,
                   QSerialPort::DataBits dataBits = QSerialPort::Data8,
                   QSerialPort::StopBits stopBits = QSerialPort::OneStop);
    bool open(QString* error = nullptr) { return m_transport.open(error); }
    void close() { m_transport.close(); }
    bool isOpen() const { return m_transport.isOpen(); }

    bool openAndStartCommunication(int attempts, QString* error = nullptr);
    bool openAndStartCommunicationViaRalona(QString* error = nullptr);

    bool requestFrame(quint8 sid, const QByteArray& data, ServiceFrame& response, int timeoutMs,
                      QString* error = nullptr);
    bool request(quint8 sid, const QByteArray& data, ServiceFrame& response, int timeoutMs,
                 QString* error = nullptr);
    bool expectPositive(const ServiceFrame& frame, quint8 expectedSid, QString* error = nullptr) const;
    bool requestPayload(quint8 sid, const QByteArray& data, quint8 expectedSid, QByteArray& payload,
                        int timeoutMs, QString* error = nullptr);

    bool startCommunication(QByteArray* response = nullptr, QString* error = nullptr);
    bool stopCommunication(QByteArray* response = nullptr, QString* error = nullptr);
    bool startDiagnosticSession(quint8 mode, QByteArray* response = nullptr, QString* error = nullptr);
    bool testerPresent(QByteArray* response = nullptr, QString* error = nullptr);
    bool securityAccess(quint8 subFunction, QByteArray* payload = nullptr, QString* error = nullptr);
    bool readDataByIdentifier(quint16 identifier, QByteArray& value, QString* error = nullptr);
    bool writeDataByIdentifier(quint16 identifier, const QByteArray& value, QString* error = nullptr);
    bool readMemoryByAddress(quint16 length, quint32 address, QByteArray& value, QString* error = nullptr);
    bool writeMemoryByAddress(quint16 length, quint32 address, const QByteArray& value,
                              QString* error = nullptr);
    bool requestUpload(const QByteArray& data, QByteArray* payload = nullptr, QString* error = nullptr);
    bool transferData(const QByteArray& data, QByteArray* payload = nullptr, QString* error = nullptr);
    bool requestTransferExit(const QByteArray& data, QByteArray* payload = nullptr, QString* error = nullptr);
    bool externalNkmCommand(const QByteArray& data, QByteArray* payload = nullptr, QString* error = nullptr);

private:
    // request + expectPositive; the payload output is written only on full success.
    bool service(quint8 sid, const QByteArray& data, int timeoutMs, QByteArray* payload, QString* error);

    SerialTransport m_transport;
    ServiceFrame m_lastResponse;
    bool m_lastRequestAnswered = false;
    const std::atomic_bool* m_stopFlag = nullptr;
    std::mutex m_mutex;
};

} // namespace tachoria::protocol
