#pragma once

#include "protocol/service_frame.h"

#include <QByteArray>

#include <optional>

namespace tachoria::sim {

struct Request
{
    protocol::ServiceFrame frame;
    QByteArray wire; // the bytes as they came, for an echoing line
};

// Cuts requests addressed to the tachograph out of the byte stream from the client. Bytes that do not
// begin a well-formed request are skipped one by one, as a device would ignore line noise.
class RequestReader
{
public:
    void append(const QByteArray& bytes) { m_buffer.append(bytes); }
    std::optional<Request> next();
    void clear() { m_buffer.clear(); }
    qsizetype pendingBytes() const { return m_buffer.size(); }

private:
    QByteArray m_buffer;
};

} // namespace tachoria::sim
