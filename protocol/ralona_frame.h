#pragma once

#include "protocol/service_frame.h"

#include <QByteArray>
#include <QString>

namespace tachoria::protocol {

// One frame of the external adapter's own protocol: 55 AA, code, data, checksum.
struct RalonaFrame
{
    quint8 code = 0;
    QByteArray data;
    quint8 checksum = 0;
};

class RalonaFrameCodec
{
public:
    static constexpr quint8 kPrefix0 = 0x55;
    static constexpr quint8 kPrefix1 = 0xAA;
    static constexpr quint8 kResponseBit = 0x80;

    static quint8 checksum(const RalonaFrame& frame);
    static QByteArray encode(RalonaFrame frame);
    static ServiceFrameCodec::DecodeStatus decode(const QByteArray& bytes, RalonaFrame& frame,
                                                  QString* error = nullptr);
    // The data size is not on the wire: it follows from the code. Codes up to 5 carry none, all others
    // four; since every response code has bit 7 set, every response carries four.
    static int dataSizeForCode(quint8 code);

private:
    RalonaFrameCodec() = delete;
};

} // namespace tachoria::protocol
