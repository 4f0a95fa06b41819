#include "tachograph_model.h"

#include <QTimeZone>

#include <algorithm>
#include <utility>

namespace tachoria::sim {

using protocol::ServiceFrame;

namespace {

constexpr quint8 kIdentifySid = 0x16;
constexpr quint8 kNegativeResponseSid = 0x7F;
constexpr quint8 kPositive = 0x40;

// Negative response codes of the diagnostic protocol.
constexpr quint8 kServiceNotSupported = 0x11;
constexpr quint8 kSubFunctionNotSupported = 0x12;
constexpr quint8 kIncorrectLength = 0x13;
constexpr quint8 kConditionsNotCorrect = 0x22;
constexpr quint8 kRequestOutOfRange = 0x31;
constexpr quint8 kSecurityAccessDenied = 0x33;
constexpr quint8 kResponsePending = 0x78;
constexpr quint8 kArchiveEnd = 0xFA;

constexpr quint16 kClock = 0xF90B;
constexpr quint16 kPulseCounter = 0xFD04;
constexpr quint16 kSpeedSource = 0xFD10;
constexpr quint16 kCanDetection = 0xFD12;

// Identifiers the unit itself owns; a workshop cannot change them.
const QSet<quint16> kReadOnly = {0xF18B, 0xF192, 0xF18A, 0xF18C, 0xF916, 0xFD0A, 0xF195, 0xF193, 0xFD03};

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

void place(QByteArray& block, int offset, const QByteArray& bytes, int width, char fill)
{
    QByteArray field = bytes.left(width);
    field.append(QByteArray(width - field.size(), fill));
    block.replace(offset, width, field);
}

QByteArray be(quint32 value, int bytes)
{
    QByteArray out;
    for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8)
        out.append(static_cast<char>((value >> shift) & 0xFF));
    return out;
}

} // namespace

TachographModel::TachographModel(DeviceIdentity identity, DeviceBehaviour behaviour, CalibrationMemory memory,
                                 std::shared_ptr<const DownloadSource> download)
    : m_identity(std::move(identity))
    , m_behaviour(std::move(behaviour))
    , m_memory(std::move(memory))
    , m_download(std::move(download))
    , m_ownDownload(!m_download)
    , m_firmware(m_behaviour.firmware)
{
    m_memoryBytes.resize(kMemoryBytes);
    for (int address = 0; address < kMemoryBytes; ++address)
        m_memoryBytes[address] = static_cast<char>(factoryMemoryByte(static_cast<quint32>(address)));
    if (!m_behaviour.moduleCard.isEmpty()) {
        m_cardInserted = m_cardKnown = m_cardAuthenticated = true;
        m_cardNumber = m_behaviour.moduleCard;
    }
    // The unit's own history is written at RequestUpload; nothing is transferred before one.
}

void TachographModel::refreshDownload()
{
    // The unit's own history is written anew for each upload, so that it ends now and carries the VIN
    // and registration a calibration may just have written.
    if (m_ownDownload)
        m_download = std::make_shared<GeneratedDownloadSource>(
            m_memory.value(0xF190), m_memory.value(0xF97E), m_identity.skziFirstHalf,
            hostNow().addSecs(m_clockOffsetSecs), m_behaviour.speedBlockBytes);
}

QDateTime TachographModel::hostNow() const
{
    return m_behaviour.frozenClock.isValid() ? m_behaviour.frozenClock : QDateTime::currentDateTimeUtc();
}

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

QByteArray TachographModel::clockBytes() const
{
    const QDateTime now = hostNow().addSecs(m_clockOffsetSecs);
    QByteArray bytes;
    bytes.append(static_cast<char>(now.time().second() * 4));
    bytes.append(static_cast<char>(now.time().minute()));
    bytes.append(static_cast<char>(now.time().hour()));
    bytes.append(static_cast<char>(now.date().month()));
    bytes.append(static_cast<char>(now.date().day() * 4));
    bytes.append(static_cast<char>(now.date().year() - 1985));
    bytes.append(m_clockCorrection);
    return bytes;
}

bool TachographModel::writeClock(const QByteArray& value)
{
    if (value.size() != 8)
        return false;
    const auto at = [&value](int i) { return static_cast<quint8>(value.at(i)); };
    const QDateTime written(QDate(1985 + at(5), at(3), std::max(1, at(4) / 4)),
                            QTime(at(2), at(1), at(0) / 4), QTimeZone::utc());
    if (!written.isValid())
        return false;
    m_clockOffsetSecs = hostNow().secsTo(written);
    m_clockCorrection = value.mid(6, 2);
    return true;
}

ServiceFrame TachographModel::readIdentifier(quint16 did)
{
    constexpr quint8 sid = 0x22;
    if (m_behaviour.refusedReads.contains(did))
        return negativeResponse(sid, kRequestOutOfRange);
    QByteArray value;
    if (did == kClock) {
        value = clockBytes();
    } else if (did == kPulseCounter) {
        value = be(m_counting ? m_behaviour.pulseCount : 0, 4);
    } else if (did == kSpeedSource && m_speedSearchReads >= 0) {
        // The mask of sources seen so far grows read by read, and stays at its last.
        const auto& masks = m_behaviour.speedMasks;
        const int seen =
            masks.isEmpty() ? 0 : masks.at(std::min<qsizetype>(m_speedSearchReads++, masks.size() - 1));
        if (seen < 0)
            return response(sid + kPositive, be(did + 1, 2) + QByteArray(2, '\0')); // a garbled answer
        value = QByteArray(1, static_cast<char>(m_behaviour.speedSource)) +
                QByteArray(1, static_cast<char>(seen));
        m_memory.setValue(kSpeedSource, value);
    } else if (did == kCanDetection) {
        if (m_canReads < 0)
            return negativeResponse(sid, kConditionsNotCorrect);
        if (++m_canReads <= m_behaviour.canReadsBeforeResult) {
            value = QByteArray(1, '\0'); // still listening on the bus
        } else if (m_behaviour.canOutcome == CanOutcome::Garbled) {
            return response(sid + kPositive, be(did + 1, 2) + QByteArray(1, '\0'));
        } else {
            const quint8 channel = static_cast<quint8>((m_canChannel & 1) << 4);
            const quint8 found = m_behaviour.canOutcome == CanOutcome::Found;
            // A unit that found nothing may still report the codes it tried last.
            const auto byte = static_cast<quint8>((found ? 0xE0 : 0xA0) | channel |
                                                  ((m_behaviour.canIdentifierCode & 1) << 3) |
                                                  (m_behaviour.canSpeedCode & 7));
            value = QByteArray(1, static_cast<char>(byte));
        }
    } else if (m_memory.contains(did)) {
        value = m_memory.value(did);
    } else {
        return negativeResponse(sid, kRequestOutOfRange);
    }
    return response(sid + kPositive, be(did, 2) + value);
}

ServiceFrame TachographModel::writeIdentifier(quint16 did, const QByteArray& value)
{
    constexpr quint8 sid = 0x2E;
    // The measurements open with security in the adjustment session; the calibration itself only in
    // the programming session.
    const bool measurement = did == kPulseCounter || did == kSpeedSource || did == kCanDetection;
    if (m_access == Access::Locked || (!measurement && m_access != Access::Calibration))
        return negativeResponse(sid, kSecurityAccessDenied);
    if (m_behaviour.refusedWrites.contains(did))
        return negativeResponse(sid, kConditionsNotCorrect);
    if (kReadOnly.contains(did))
        return negativeResponse(sid, kRequestOutOfRange);

    if (did == kPulseCounter) {
        m_counting = true;
    } else if (did == kCanDetection) {
        if (m_behaviour.canOutcome == CanOutcome::Refused)
            return negativeResponse(sid, kRequestOutOfRange);
        m_canChannel = value.isEmpty() ? 0 : static_cast<quint8>(value.at(0));
        m_canReads = 0;
    } else if (did == kSpeedSource && value == QByteArray::fromHex("00AA")) {
        m_speedSearchReads = 0;
    } else if (did == kClock) {
        if (!writeClock(value))
            return negativeResponse(sid, kIncorrectLength);
        m_memory.recordWrite(did);
    } else if (m_memory.contains(did)) {
        m_memory.setValue(did, value);
        m_memory.recordWrite(did);
    } else {
        return negativeResponse(sid, kRequestOutOfRange);
    }
    m_saveError.clear();
    if (!m_behaviour.statePath.isEmpty())
        m_memory.save(m_behaviour.statePath, &m_saveError);
    return response(sid + kPositive, be(did, 2));
}

int TachographModel::pauseAfter(const ServiceFrame& frame) const
{
    const bool pending = frame.sid == 0x7F && frame.data.size() == 2 &&
                         static_cast<quint8>(frame.data.at(1)) == kResponsePending;
    return std::max(pending ? m_pauseAfterPendingMs : 0, m_firmware.pauseAfter(frame));
}

std::vector<ServiceFrame> TachographModel::withPending(quint8 sid, ServiceFrame answer) const
{
    // A slow answer is announced at least once.
    const int pending = std::max(m_behaviour.pendingReplies, m_pauseAfterPendingMs > 0 ? 1 : 0);
    std::vector<ServiceFrame> frames(static_cast<size_t>(pending), negativeResponse(sid, kResponsePending));
    frames.push_back(std::move(answer));
    return frames;
}

void TachographModel::queueBlock(quint8 type, const QByteArray& payload)
{
    m_segments.clear();
    m_nextSegment = 1;
    const QByteArray typeByte(1, static_cast<char>(type));
    // One frame carries at most 254 in its length: the SID, the type and 252 payload bytes.
    if (payload.size() <= 252) {
        m_segments.push_back(response(0x76, typeByte + payload));
        return;
    }
    // Segments carry the type and a counter; a length above 254 tells the client another follows,
    // so every segment but the last is full and the last holds at most 250 bytes (maybe none).
    QByteArray rest = payload;
    quint16 counter = 0;
    const auto header = [&] {
        return typeByte + QByteArray(1, static_cast<char>(counter >> 8)) +
               QByteArray(1, static_cast<char>(counter & 0xFF));
    };
    while (rest.size() > 250) {
        const qsizetype take = std::min<qsizetype>(std::max(251, m_behaviour.segmentBytes), rest.size());
        m_segments.push_back(response(0x76, header() + rest.left(take)));
        rest.remove(0, take);
        ++counter;
    }
    m_segments.push_back(response(0x76, header() + rest));
}

std::vector<ServiceFrame> TachographModel::transfer(const QByteArray& request)
{
    constexpr quint8 sid = 0x36;
    if (!m_uploadRequested || request.isEmpty())
        return {negativeResponse(sid, kConditionsNotCorrect)};
    const auto type = static_cast<quint8>(request.at(0));
    const auto date = [&request](int offset) {
        quint32 seconds = 0;
        for (int i = 0; i < 4; ++i)
            seconds = (seconds << 8) | static_cast<quint8>(request.at(offset + i));
        return QDateTime::fromSecsSinceEpoch(seconds, QTimeZone::utc()).date();
    };
    if (m_behaviour.refusedBlocks.contains(type))
        return {negativeResponse(sid, kRequestOutOfRange)};
    m_pauseAfterPendingMs = (type == 0x85 && m_behaviour.archivePendingMs > 0) ? m_behaviour.archivePendingMs
                                                                               : m_behaviour.pendingPauseMs;
    QByteArray payload;
    switch (type) {
    case 0x01:
        payload = m_download->overview();
        break;
    case 0x02:
        if (request.size() != 5)
            return {negativeResponse(sid, kIncorrectLength)};
        payload = m_download->activities(date(1));
        break;
    case 0x03:
        payload = m_download->eventsAndFaults();
        break;
    case 0x04:
        payload = m_download->detailedSpeed();
        break;
    case 0x05:
        payload = m_download->technicalData();
        break;
    case 0x81:
        payload = m_download->cryptoCertificate();
        break;
    case 0x82:
        payload = m_download->authorityCertificate();
        break;
    case 0x84:
        if (request.size() != 9)
            return {negativeResponse(sid, kIncorrectLength)};
        payload = m_download->cryptoData(date(1), date(5));
        break;
    case 0x06: {
        // A card's data goes out only to an authenticated workshop card.
        if (!m_cardAuthenticated)
            return {negativeResponse(sid, kSecurityAccessDenied)};
        QByteArray identification =
            QByteArray::fromHex("052000008F2B") + m_cardNumber.leftJustified(16, ' ', true);
        identification += QByteArray(143 - 17, '\0');
        payload = QByteArray::fromHex("000200001900") + QByteArray(25, '\x01') + identification;
        break;
    }
    case 0x85:
        if (m_archiveIndex >= m_behaviour.archiveBlocks)
            return withPending(sid, negativeResponse(sid, kArchiveEnd));
        payload = m_download->archiveBlock(m_archiveIndex++);
        if (m_behaviour.archiveBytes >= 0)
            payload.truncate(m_behaviour.archiveBytes);
        break;
    default:
        return {negativeResponse(sid, kRequestOutOfRange)};
    }
    queueBlock(type, payload);
    ServiceFrame first = m_segments.front();
    m_segments.pop_front();
    return withPending(sid, first);
}

std::vector<ServiceFrame> TachographModel::cryptoModuleCommand(const QByteArray& request)
{
    constexpr quint8 sid = 0x01;
    if (request.size() < 3)
        return {negativeResponse(sid, kIncorrectLength)};
    const int length = static_cast<quint8>(request.at(0)) | (static_cast<quint8>(request.at(1)) << 8);
    if (length != request.size() - 2)
        return {negativeResponse(sid, kIncorrectLength)};
    const auto code = static_cast<quint8>(request.at(2));
    const QByteArray payload = request.mid(3);
    if (m_behaviour.nkmReplies.contains(code))
        return withPending(sid, response(0x41, m_behaviour.nkmReplies.value(code)));
    // Payloads: a record of 129 bytes; the full card number of 18 bytes before a key identifier, a
    // certificate, a challenge of 16 bytes or a cryptogram; 0x00 or 0x01 for which certificate.
    const auto which = [&payload](int at) {
        return payload.size() > at && (payload.at(at) == 0x00 || payload.at(at) == 0x01);
    };
    const bool wellFormed = [&] {
        switch (code) {
        case 0x40:
        case 0x41:
            return payload.size() == 129;
        case 0x4A:
            return payload.size() == 1 + 18 + 16 && static_cast<quint8>(payload.at(0)) == 0x80;
        case 0x42:
            return payload.size() > 1 + 18 && which(0);
        case 0x49:
            return payload.size() == 1 && which(0);
        case 0x43:
            return payload.size() == 18 + 16;
        case 0x44:
            return payload.size() > 18;
        default:
            return payload.isEmpty();
        }
    }();
    if (!wellFormed)
        return {negativeResponse(sid, kIncorrectLength)};
    quint8 status = 0x00;
    QByteArray reply;
    switch (code) {
    case 0x32: // state; byte 3 bit 0x20: a card counts as inserted
        reply = QByteArray(3, '\0') + QByteArray(1, static_cast<char>(m_cardInserted ? 0x20 : 0x00));
        break;
    case 0x40:
        m_cardInserted = true;
        m_cardNumber = payload.mid(74, 16);
        break;
    case 0x41:
        m_cardInserted = false;
        m_cardAuthenticated = false;
        break;
    case 0x4A:
        status = m_cardKnown ? 0x00 : 0x70;
        break;
    case 0x42:
        if (payload.at(0) == 0x01)
            m_cardKnown = true;
        break;
    case 0x4B:
        reply = m_behaviour.nkmKeys;
        break;
    case 0x49:
        reply = QByteArray(194, payload.at(0) == 0x00 ? '\x31' : '\x32');
        break;
    case 0x43:
        reply = QByteArray(0x50, '\x5C');
        break;
    case 0x44:
        m_cardAuthenticated = m_cardInserted;
        break;
    default:
        return {negativeResponse(sid, kRequestOutOfRange)};
    }
    const int replyLength = static_cast<int>(reply.size()) + 1;
    QByteArray data;
    data.append(static_cast<char>(replyLength & 0xFF));
    data.append(static_cast<char>((replyLength >> 8) & 0xFF));
    data.append(static_cast<char>(status));
    data.append(reply);
    return withPending(sid, response(0x41, data));
}

ServiceFrame TachographModel::memoryAccess(quint8 sid, const QByteArray& data)
{
    // 24 (two length bytes, four address bytes), the address, the length, and for a write the bytes.
    if (data.size() < 7)
        return negativeResponse(sid, kIncorrectLength);
    if (static_cast<quint8>(data.at(0)) != 0x24)
        return negativeResponse(sid, kRequestOutOfRange);
    const auto at = [&data](int i) { return static_cast<quint32>(static_cast<quint8>(data.at(i))); };
    const quint32 address = (at(1) << 24) | (at(2) << 16) | (at(3) << 8) | at(4);
    const quint32 length = (at(5) << 8) | at(6);
    const QByteArray value = data.mid(7);
    if ((sid == 0x23 && !value.isEmpty()) || (sid == 0x3D && value.size() != static_cast<qsizetype>(length)))
        return negativeResponse(sid, kIncorrectLength);
    if (length == 0 || length > 0x400 || address + length > static_cast<quint32>(kMemoryBytes))
        return negativeResponse(sid, kRequestOutOfRange);
    if (sid == 0x23)
        return response(0x63, m_memoryBytes.mid(address, length));
    if (m_access != Access::Calibration)
        return negativeResponse(sid, kSecurityAccessDenied);
    m_memoryBytes.replace(address, length, value);
    return response(0x7D, {});
}

std::vector<ServiceFrame> TachographModel::nextSegment(const QByteArray& request)
{
    if (request.size() != 3 || static_cast<quint8>(request.at(0)) != 0x76 || m_segments.empty())
        return {negativeResponse(0x83, kConditionsNotCorrect)};
    // Segments are asked for by their number, one after the other from 1.
    const auto counter =
        static_cast<quint16>((static_cast<quint8>(request.at(1)) << 8) | static_cast<quint8>(request.at(2)));
    if (counter != m_nextSegment)
        return {negativeResponse(0x83, kRequestOutOfRange)};
    ++m_nextSegment;
    ServiceFrame frame = m_segments.front();
    m_segments.pop_front();
    return {frame};
}

std::vector<ServiceFrame> TachographModel::handle(const ServiceFrame& request, int lineBaud)
{
    const quint8 sid = request.sid;
    const QByteArray& data = request.data;
    m_pauseAfterPendingMs = 0;
    if (m_firmware.restartCompleted()) {
        // A new start with the new firmware: no session, and perhaps another version.
        m_communicating = false;
        m_session = 0x81;
        m_access = Access::Locked;
        if (!m_firmware.versionAfterRestart().isEmpty())
            m_identity.softwareVersion = m_firmware.versionAfterRestart();
    }
    if (m_firmware.restarting())
        return {}; // restarting: nothing answers
    if (m_behaviour.silentAfterRequests >= 0 && ++m_requests > m_behaviour.silentAfterRequests)
        return {}; // the unit has gone quiet
    if (m_behaviour.refusedServices.contains(sid))
        return {negativeResponse(sid, kConditionsNotCorrect)};
    if (sid == kIdentifySid)
        return {response(0x56, identityBlock(lineBaud))};
    if (sid == 0x81) {
        if (m_startsSleptThrough < m_behaviour.sleepyStarts) {
            ++m_startsSleptThrough; // still waking up
            return {};
        }
        m_communicating = true;
        m_session = 0x81;
        m_access = Access::Locked;
        return {response(0xC1, QByteArray::fromHex("EA8F"))};
    }
    if (!m_communicating)
        return {negativeResponse(sid, kConditionsNotCorrect)};

    switch (sid) {
    case 0x82:
        m_communicating = false;
        m_access = Access::Locked;
        m_counting = false;
        m_speedSearchReads = m_canReads = -1;
        m_uploadRequested = false;
        m_segments.clear();
        return {response(0xC2, {})};
    case 0x10: {
        if (data.size() != 1)
            return {negativeResponse(sid, kIncorrectLength)};
        const auto mode = static_cast<quint8>(data.at(0));
        if ((mode != 0x81 && mode != 0x85 && mode != 0x87) || m_behaviour.refusedSessions.contains(mode))
            return {negativeResponse(sid, kSubFunctionNotSupported)};
        m_session = mode;
        m_access = Access::Locked; // a new session starts locked
        return {response(0x50, data)};
    }
    case 0x3E:
        // The one form of the service: "a response is wanted".
        if (data.size() != 1)
            return {negativeResponse(sid, kIncorrectLength)};
        if (data.at(0) != 0x01)
            return {negativeResponse(sid, kSubFunctionNotSupported)};
        return {response(0x7E, {})};
    case 0x23:
        return {memoryAccess(sid, data)};
    case 0x87: {
        // LinkControl: 01 01 <index> asks whether a rate is possible, 02 03 switches to it silently.
        if (data == QByteArray::fromHex("0203"))
            return {};
        static const QList<int> ladder = {10400, 9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600};
        if (data.size() != 3 || !data.startsWith(QByteArray::fromHex("0101")))
            return {negativeResponse(sid, kSubFunctionNotSupported)};
        const int index = static_cast<quint8>(data.at(2));
        const int rate = index < ladder.size() ? ladder.at(index) : 0;
        if (rate == 0 || (m_behaviour.maxLinkBaud > 0 && rate > m_behaviour.maxLinkBaud))
            return {negativeResponse(sid, kRequestOutOfRange)};
        return {response(0xC7, {})};
    }
    case 0x35:
        m_uploadRequested = true;
        m_archiveIndex = 0;
        refreshDownload();
        return {response(0x75, QByteArray::fromHex("FF"))};
    case 0x36:
        return transfer(data);
    case 0x83:
        return nextSegment(data);
    case 0x01:
        return cryptoModuleCommand(data);
    case 0x37:
        m_uploadRequested = false;
        m_segments.clear();
        return {response(0x77, {})};
    case 0x3D:
        // The firmware image's addresses belong to the loader, the rest is the calibration memory.
        if (auto answer = m_firmware.writeMemory(data, m_session == 0x85))
            return {*answer};
        return {memoryAccess(sid, data)};
    case 0xC7:
        if (auto answers = m_firmware.command(data, m_session == 0x85))
            return *answers;
        if (data != QByteArray::fromHex("1051"))
            return {negativeResponse(sid, kSubFunctionNotSupported)};
        switch (m_behaviour.counterAnswer) {
        case CounterAnswer::Known:
            // The data block and every archive block, one frame each.
            return {response(0x67, be(static_cast<quint32>(m_behaviour.archiveBlocks + 1), 4))};
        case CounterAnswer::Zero:
            return {response(0x67, QByteArray(4, '\0'))};
        case CounterAnswer::Refused:
            return {negativeResponse(sid, kConditionsNotCorrect)};
        case CounterAnswer::Malformed:
            return {response(0x67, QByteArray::fromHex("0001"))};
        case CounterAnswer::Silent:
            return {};
        }
        return {};
    case 0x27:
        if (data.size() != 1 || static_cast<quint8>(data.at(0)) != 0x7D)
            return {negativeResponse(sid, kSubFunctionNotSupported)};
        if (m_session == 0x81)
            return {negativeResponse(sid, kConditionsNotCorrect)};
        m_access = m_session == 0x85 ? Access::Calibration : Access::Measurements;
        return {response(0x67, QByteArray::fromHex("7D0000"))};
    case 0x22:
        if (data.size() != 2)
            return {negativeResponse(sid, kIncorrectLength)};
        return {readIdentifier(
            static_cast<quint16>((static_cast<quint8>(data.at(0)) << 8) | static_cast<quint8>(data.at(1))))};
    case 0x2E:
        if (data.size() < 3)
            return {negativeResponse(sid, kIncorrectLength)};
        return {writeIdentifier(
            static_cast<quint16>((static_cast<quint8>(data.at(0)) << 8) | static_cast<quint8>(data.at(1))),
            data.mid(2))};
    default:
        return {negativeResponse(sid, kServiceNotSupported)};
    }
}

} // namespace tachoria::sim
