#pragma once

#include <QByteArray>
#include <QMetaType>
#include <QString>
#include <QtGlobal>

namespace tachoria::protocol {

constexpr quint8 kTachographAddress = 0xEE;
constexpr quint8 kProgramAddress = 0xF0;

// One frame on the tachograph link. The defaults are a request from this program to the tachograph.
struct ServiceFrame
{
    quint8 format = 0x80;
    quint8 target = kTachographAddress;
    quint8 source = kProgramAddress;
    quint16 length = 0;
    quint8 sid = 0;
    QByteArray data;
    quint8 checksum = 0;
};

class ServiceFrameCodec
{
public:
    enum class DecodeStatus
    {
        Complete,
        NeedMoreData,
        Invalid,
    };

    static bool isFormat(quint8 byte);
    static bool isTarget(quint8 byte);
    static quint8 checksum8(const ServiceFrame& frame);
    static quint8 checksum16(const ServiceFrame& frame);
    static QByteArray encode(ServiceFrame frame);
    // The buffer must hold exactly one frame.
    static DecodeStatus decode(const QByteArray& bytes, ServiceFrame& frame, QString* error = nullptr);

private:
    ServiceFrameCodec() = delete;
};

} // namespace tachoria::protocol

Q_DECLARE_METATYPE(tachoria::protocol::ServiceFrame)
