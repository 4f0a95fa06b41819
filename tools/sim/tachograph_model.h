#pragma once

#include "protocol/service_frame.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace tachoria::sim {

enum class CardSlot
{
    None,
    Left,
    Right,
};

// Who the simulated tachograph says it is in its answer to the 0x16 identification request.
struct DeviceIdentity
{
    QString partNumber = QStringLiteral("47.9160000-2");
    QByteArray serialNumber = QByteArray::fromHex("2505001800001234");
    // As shown to the user; the wire carries these four bytes in reverse order.
    QByteArray softwareVersion = QByteArray::fromHex("02050189");
    QByteArray skziFirstHalf = "7800000000000417";
    QByteArray skziSecondHalf = "0000000000009921";
    quint8 skziStatus = 0x0F;
    quint8 mode = 2;
    CardSlot cardSlot = CardSlot::Left;
    quint8 cardType = 2;
    QByteArray cardNumber = "RUM0000012345600";
};

// The tachograph's side of the service protocol: one request in, its answers out.
class TachographModel
{
public:
    static constexpr int kShortIdentityBytes = 276;
    static constexpr int kLongIdentityBytes = 1333;

    explicit TachographModel(DeviceIdentity identity = {});

    const DeviceIdentity& identity() const { return m_identity; }
    void setIdentity(const DeviceIdentity& identity) { m_identity = identity; }

    std::vector<protocol::ServiceFrame> handle(const protocol::ServiceFrame& request, int lineBaud) const;

    // The data block of the 0x56 answer; 9600 and 10400 baud get the short layout.
    QByteArray identityBlock(int lineBaud) const;

    static protocol::ServiceFrame response(quint8 sid, const QByteArray& data);
    static protocol::ServiceFrame negativeResponse(quint8 requestSid, quint8 code);

private:
    DeviceIdentity m_identity;
};

} // namespace tachoria::sim
