#include "protocol/ralona_frame.h"

namespace tachoria::protocol {

quint8 RalonaFrameCodec::checksum(const RalonaFrame& frame)
{
    quint8 sum = static_cast<quint8>(~frame.code);
    for (char byte : frame.data)
        sum ^= static_cast<quint8>(byte);
    return sum;
}

QByteArray RalonaFrameCodec::encode(RalonaFrame frame)
{
    frame.checksum = checksum(frame);
    QByteArray out;
    out.append(static_cast<char>(kPrefix0));
    out.append(static_cast<char>(kPrefix1));
    out.append(static_cast<char>(frame.code));
    out.append(frame.data);
    out.append(static_cast<char>(frame.checksum));
    return out;
}

int RalonaFrameCodec::dataSizeForCode(quint8 code)
{
    return code <= 5 ? 0 : 4;
}

ServiceFrameCodec::DecodeStatus RalonaFrameCodec::decode(const QByteArray& bytes, RalonaFrame& frame,
                                                         QString* error)
{
    using Status = ServiceFrameCodec::DecodeStatus;
    const auto fail = [error](const QString& text) {
        if (error)
            *error = text;
        return Status::Invalid;
    };
    if (bytes.size() < 4)
        return Status::NeedMoreData;
    if (static_cast<quint8>(bytes.at(0)) != kPrefix0 || static_cast<quint8>(bytes.at(1)) != kPrefix1)
        return fail(QStringLiteral("invalid Ralona prefix"));
    const auto code = static_cast<quint8>(bytes.at(2));
    if (!(code & kResponseBit))
        return fail(QStringLiteral("Ralona response code must have bit 7 set"));
    const int size = dataSizeForCode(code);
    const qsizetype expected = size + 4;
    if (bytes.size() < expected)
        return Status::NeedMoreData;
    if (bytes.size() > expected)
        return fail(QStringLiteral("trailing bytes after Ralona frame"));
    frame.code = code;
    frame.data = bytes.mid(3, size);
    frame.checksum = static_cast<quint8>(bytes.back());
    if (frame.checksum != checksum(frame))
        return fail(QStringLiteral("Ralona checksum mismatch"));
    return Status::Complete;
}

} // namespace tachoria::protocol
