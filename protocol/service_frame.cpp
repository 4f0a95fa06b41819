#include "protocol/service_frame.h"

namespace tachoria::protocol {

namespace {

bool hasNoLength(quint8 format)
{
    return format == 0x81 || format == 0xF1;
}

bool usesChecksum16(quint8 format)
{
    return format == 0xF0 || format == 0xF1;
}

quint8 sumData(const QByteArray& data)
{
    quint8 sum = 0;
    for (char byte : data)
        sum = static_cast<quint8>(sum + static_cast<quint8>(byte));
    return sum;
}

ServiceFrameCodec::DecodeStatus fail(QString* error, const QString& text)
{
    if (error)
        *error = text;
    return ServiceFrameCodec::DecodeStatus::Invalid;
}

} // namespace

bool ServiceFrameCodec::isFormat(quint8 byte)
{
    return byte == 0x80 || byte == 0x81 || byte == 0xF0 || byte == 0xF1;
}

bool ServiceFrameCodec::isTarget(quint8 byte)
{
    // The tachograph's own address is no valid target: an echoed request must never pass as a response.
    return byte == kProgramAddress || byte == 0xFF;
}

quint8 ServiceFrameCodec::checksum8(const ServiceFrame& frame)
{
    quint8 sum =
        static_cast<quint8>(frame.format + frame.target + frame.source + (frame.length & 0xFF) + frame.sid);
    if (frame.format != 0x81)
        sum = static_cast<quint8>(sum + sumData(frame.data));
    return sum;
}

quint8 ServiceFrameCodec::checksum16(const ServiceFrame& frame)
{
    quint8 sum = static_cast<quint8>(frame.format + frame.target + frame.source + (frame.length & 0xFF) +
                                     (frame.length >> 8) + frame.sid);
    if (frame.format != 0xF1)
        sum = static_cast<quint8>(sum + sumData(frame.data));
    return sum;
}

QByteArray ServiceFrameCodec::encode(ServiceFrame frame)
{
    frame.length = hasNoLength(frame.format) ? 0 : static_cast<quint16>(frame.data.size() + 1);
    frame.checksum = usesChecksum16(frame.format) ? checksum16(frame) : checksum8(frame);

    QByteArray out;
    out.reserve(frame.data.size() + 6);
    out.append(static_cast<char>(frame.format));
    out.append(static_cast<char>(frame.target));
    out.append(static_cast<char>(frame.source));
    if (frame.format == 0xF0) {
        out.append(static_cast<char>(frame.length >> 8));
        out.append(static_cast<char>(frame.length & 0xFF));
    } else if (!hasNoLength(frame.format)) {
        out.append(static_cast<char>(frame.length & 0xFF));
    }
    out.append(static_cast<char>(frame.sid));
    if (!hasNoLength(frame.format))
        out.append(frame.data);
    out.append(static_cast<char>(frame.checksum));
    return out;
}

ServiceFrameCodec::DecodeStatus ServiceFrameCodec::decode(const QByteArray& bytes, ServiceFrame& frame,
                                                          QString* error)
{
    if (bytes.size() < 3)
        return DecodeStatus::NeedMoreData;
    const auto at = [&bytes](qsizetype index) { return static_cast<quint8>(bytes.at(index)); };
    const quint8 format = at(0);
    if (!isFormat(format))
        return fail(error, QStringLiteral("unknown FMT 0x%1").arg(format, 2, 16, QLatin1Char('0')));
    if (!isTarget(at(1)))
        return fail(error, QStringLiteral("unexpected TGT"));

    qsizetype headerSize = 0; // up to and including the SID
    quint16 length = 0;
    if (hasNoLength(format)) {
        headerSize = 4;
    } else if (format == 0x80) {
        if (bytes.size() < 5)
            return DecodeStatus::NeedMoreData;
        headerSize = 5;
        length = at(3);
    } else {
        if (bytes.size() < 6)
            return DecodeStatus::NeedMoreData;
        headerSize = 6;
        length = static_cast<quint16>((at(3) << 8) | at(4));
    }
    if (!hasNoLength(format) && length == 0)
        return fail(error, QStringLiteral("zero payload length"));

    const qsizetype total = hasNoLength(format) ? headerSize + 1 : headerSize + length;
    if (bytes.size() < total)
        return DecodeStatus::NeedMoreData;
    if (bytes.size() > total)
        return fail(error, QStringLiteral("trailing bytes after frame"));

    frame.format = format;
    frame.target = at(1);
    frame.source = at(2);
    frame.length = length;
    const qsizetype sidOffset = format == 0xF0 ? 5 : (hasNoLength(format) ? 3 : 4);
    frame.sid = at(sidOffset);
    frame.data = hasNoLength(format) ? QByteArray() : bytes.mid(sidOffset + 1, length - 1);
    frame.checksum = at(total - 1);

    const quint8 expected = usesChecksum16(format) ? checksum16(frame) : checksum8(frame);
    if (expected != frame.checksum)
        return fail(error, QStringLiteral("checksum mismatch"));
    return DecodeStatus::Complete;
}

} // namespace tachoria::protocol
