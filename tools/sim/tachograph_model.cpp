#include "tachograph_model.h"

#include <algorithm>
#include <utility>

namespace tachoria::sim {

using protocol::ServiceFrame;

namespace {

constexpr quint8 kIdentifySid = 0x16;
constexpr quint8 kIdentifyResponseSid = 0x56;

// Where the device puts each item of its identification block. The slow lines of the adapter get a
// short block; every other speed gets the full one.
struct IdentityLayout
{
    int partNumber, serialNumber, mode, skziStatus, leftSlot, rightSlot, softwareVersion, size;
};
constexpr IdentityLayout kShortLayout{0, 16, 24, 25, 67, 85, 103, TachographModel::kShortIdentityBytes};
constexpr IdentityLayout kLongLayout{76, 92, 146, 160, 311, 329, 1329, TachographModel::kLongIdentityBytes};
constexpr int kSkziSecondHalf = 244;
constexpr int kSkziFirstHalf = 260;

constexpr quint8 kNegativeResponseSid = 0x7F;
constexpr quint8 kServiceNotSupported = 0x11;

void place(QByteArray& block, int offset, const QByteArray& bytes, int width, char fill)
{
    QByteArray field = bytes.left(width);
    field.append(QByteArray(width - field.size(), fill));
    block.replace(offset, width, field);
}

} // namespace

TachographModel::TachographModel(DeviceIdentity identity)
    : m_identity(std::move(identity))
{}

ServiceFrame TachographModel::response(quint8 sid, const QByteArray& data)
{
    ServiceFrame frame;
    // The short form carries at most 254 data bytes in its one length byte.
    frame.format = data.size() + 1 > 255 ? 0xF0 : 0x80;
    frame.target = protocol::kProgramAddress;
    frame.source = protocol::kTachographAddress;
    frame.sid = sid;
    frame.data = data;
    return frame;
}

ServiceFrame TachographModel::negativeResponse(quint8 requestSid, quint8 code)
{
    QByteArray data;
    data.append(static_cast<char>(requestSid));
    data.append(static_cast<char>(code));
    return response(kNegativeResponseSid, data);
}

QByteArray TachographModel::identityBlock(int lineBaud) const
{
    const IdentityLayout& layout = (lineBaud == 9600 || lineBaud == 10400) ? kShortLayout : kLongLayout;
    QByteArray block(layout.size, '\0');

    place(block, layout.partNumber, m_identity.partNumber.toLatin1(), 16, ' ');
    place(block, layout.serialNumber, m_identity.serialNumber, 8, '\0');
    block[layout.mode] = static_cast<char>(m_identity.mode);
    block[layout.skziStatus] = static_cast<char>(m_identity.skziStatus);

    if (m_identity.cardSlot != CardSlot::None) {
        const int slot = m_identity.cardSlot == CardSlot::Left ? layout.leftSlot : layout.rightSlot;
        block[slot] = static_cast<char>(m_identity.cardType);
        place(block, slot + 2, m_identity.cardNumber, 16, ' ');
    }

    QByteArray software = m_identity.softwareVersion.left(4);
    std::reverse(software.begin(), software.end());
    place(block, layout.softwareVersion, software, 4, '\0');

    place(block, kSkziSecondHalf, m_identity.skziSecondHalf, 16, ' ');
    place(block, kSkziFirstHalf, m_identity.skziFirstHalf, 16, ' ');
    return block;
}

std::vector<ServiceFrame> TachographModel::handle(const ServiceFrame& request, int lineBaud) const
{
    switch (request.sid) {
    case kIdentifySid:
        return {response(kIdentifyResponseSid, identityBlock(lineBaud))};
    default:
        return {negativeResponse(request.sid, kServiceNotSupported)};
    }
}

} // namespace tachoria::sim
