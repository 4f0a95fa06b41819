#include "adapter_model.h"

#include "protocol/ralona_frame.h"

namespace tachoria::sim {

using protocol::RalonaFrame;
using protocol::RalonaFrameCodec;

std::optional<quint8> AdapterModel::takeCommand(QByteArray& buffer)
{
    for (;;) {
        const qsizetype start = buffer.indexOf("\x55\xAA");
        if (start < 0) {
            // Keep a trailing 55 that may begin the next command.
            buffer = buffer.endsWith('\x55') ? QByteArray("\x55") : QByteArray();
            return std::nullopt;
        }
        buffer.remove(0, start);
        if (buffer.size() < 4)
            return std::nullopt;
        RalonaFrame frame;
        frame.code = static_cast<quint8>(buffer.at(2));
        const auto checksum = static_cast<quint8>(buffer.at(3));
        if (checksum == RalonaFrameCodec::checksum(frame)) {
            buffer.remove(0, 4);
            return frame.code;
        }
        buffer.remove(0, 1);
    }
}

QByteArray AdapterModel::handle(quint8 code)
{
    QByteArray data(4, '\0');
    switch (code) {
    case 0x01:
        m_calibrationMode = true;
        return {}; // the adapter takes this one silently
    case 0x02:
        m_kLine = true;
        m_rs232 = false;
        break;
    case 0x03:
        m_kLine = false;
        m_rs232 = true;
        break;
    case 0x04:
        m_counting = true;
        break;
    case 0x05:
        m_counting = false;
        break;
    case 0x06:
        for (int i = 0; i < 4; ++i)
            data[i] = static_cast<char>((m_pulseCount >> (24 - 8 * i)) & 0xFF);
        break;
    case 0x07:
        data = "Yes!";
        break;
    default:
        return {};
    }
    RalonaFrame frame;
    frame.code = static_cast<quint8>(code | RalonaFrameCodec::kResponseBit);
    frame.data = data;
    return RalonaFrameCodec::encode(frame);
}

} // namespace tachoria::sim
