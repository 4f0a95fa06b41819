#include "request_reader.h"

namespace tachoria::sim {

using protocol::ServiceFrame;
using protocol::ServiceFrameCodec;

std::optional<Request> RequestReader::next()
{
    while (!m_buffer.isEmpty()) {
        const auto at = [this](qsizetype i) { return static_cast<quint8>(m_buffer.at(i)); };
        const quint8 format = at(0);
        if (!ServiceFrameCodec::isFormat(format)) {
            m_buffer.remove(0, 1);
            continue;
        }
        if (m_buffer.size() < 2)
            return std::nullopt;
        if (at(1) != protocol::kTachographAddress) {
            m_buffer.remove(0, 1);
            continue;
        }
        const bool noLength = format == 0x81 || format == 0xF1;
        const qsizetype lengthBytes = noLength ? 0 : (format == 0xF0 ? 2 : 1);
        const qsizetype header = 3 + lengthBytes;
        if (m_buffer.size() < header + 1)
            return std::nullopt;
        quint16 length = 0;
        if (format == 0xF0)
            length = static_cast<quint16>((at(3) << 8) | at(4));
        else if (!noLength)
            length = at(3);
        if (!noLength && length == 0) {
            m_buffer.remove(0, 1);
            continue;
        }
        const qsizetype total = noLength ? header + 2 : header + length + 1;
        if (m_buffer.size() < total)
            return std::nullopt;

        ServiceFrame frame;
        frame.format = format;
        frame.target = at(1);
        frame.source = at(2);
        frame.length = length;
        frame.sid = at(header);
        if (!noLength)
            frame.data = m_buffer.mid(header + 1, length - 1);
        frame.checksum = at(total - 1);
        const bool wide = format == 0xF0 || format == 0xF1;
        const quint8 expected =
            wide ? ServiceFrameCodec::checksum16(frame) : ServiceFrameCodec::checksum8(frame);
        if (expected != frame.checksum) {
            m_buffer.remove(0, 1);
            continue;
        }
        Request request{frame, m_buffer.left(total)};
        m_buffer.remove(0, total);
        return request;
    }
    return std::nullopt;
}

} // namespace tachoria::sim
