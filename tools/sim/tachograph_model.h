#pragma once

#include "calibration_memory.h"
#include "download_source.h"
#include "firmware_model.h"
#include "protocol/service_frame.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QString>

#include <deque>
#include <memory>
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

enum class CounterAnswer
{
    Known,     // the number of crypto-module blocks
    Zero,      // "nothing to download"
    Refused,   // a negative response
    Malformed, // a reply of the wrong size
    Silent,    // no answer at all
};

enum class CanOutcome
{
    Found,
    NotFound,
    Refused,
    Garbled, // the result is read back under another identifier
};

// How the device behaves beyond its identity: what it refuses and what its measurements find.
struct DeviceBehaviour
{
    QSet<quint16> refusedReads; // answered with a negative response
    QSet<quint16> refusedWrites;
    QSet<quint8> refusedSessions;
    quint32 pulseCount = 48000; // what the pulse counter shows when read
    quint8 speedSource = 0x02;  // source the speed-source search settles on
    // Sources seen after each read of the search; -1: that read is answered for another identifier.
    QList<int> speedMasks = {0x01, 0x03, 0x07, 0x0F};
    CanOutcome canOutcome = CanOutcome::Found;
    quint8 canSpeedCode = 0x02;
    quint8 canIdentifierCode = 0x00;
    int canReadsBeforeResult = 3; // detection is "in progress" for this many reads
    QString statePath;            // where the calibration memory lives between runs
    QDateTime frozenClock;        // valid: the unit's clock stands still at this moment, so that every
                                  // download of it gives the same bytes

    int maxLinkBaud = 0;          // LinkControl above this speed is refused; 0: no limit
    int pendingReplies = 0;       // "response pending" answers before each block
    int silentAfterRequests = -1; // the unit stops answering after this many requests; -1: never
    int sleepyStarts = 0;         // StartCommunication requests the unit sleeps through before it wakes
    int archiveBlocks = 3;        // blocks of the crypto module's archive before its end
    int archiveBytes = -1;        // each archive block cut to this many bytes; -1: whole
    int pendingPauseMs = 0;       // each block comes this long after a "response pending"
    int archivePendingMs = 0;     // the same for the archive's answers, in its place
    QSet<quint8> refusedServices; // answered with a negative response "conditions not correct"
    QSet<quint8> refusedBlocks;   // TransferData types answered "request out of range"
    QByteArray moduleCard;        // a workshop card the crypto module already holds, authenticated
    CounterAnswer counterAnswer = CounterAnswer::Known;
    int segmentBytes = 1021;    // payload bytes of a full segment of a long block
    int speedBlockBytes = 2400; // size of the detailed-speed block
    // The crypto module's key identifiers: current, authority, previous authority.
    QByteArray nkmKeys = QByteArray(16, '\xAA') + QByteArray(16, '\xBB') + QByteArray(16, '\xCC');
    // Command codes of the crypto module answered with these data bytes (length, status, reply) as they
    // are, for a module that refuses or answers short.
    QHash<quint8, QByteArray> nkmReplies;
    FirmwareBehaviour firmware;
};

// The tachograph's side of the service protocol: one request in, its answers out. It keeps the state a
// real unit keeps: the communication and diagnostic session, security access, the calibration memory,
// the clock, and the measurements under way.
class TachographModel
{
public:
    static constexpr int kShortIdentityBytes = 276;
    static constexpr int kLongIdentityBytes = 1333;
    static constexpr int kMemoryBytes = 0x10000;
    // The memory's factory content: each byte of a 16-bit address is the sum of its two bytes.
    static quint8 factoryMemoryByte(quint32 address) { return static_cast<quint8>((address >> 8) + address); }

    explicit TachographModel(DeviceIdentity identity = {}, DeviceBehaviour behaviour = {},
                             CalibrationMemory memory = CalibrationMemory::factoryDefaults(),
                             std::shared_ptr<const DownloadSource> download = {});

    const DeviceIdentity& identity() const { return m_identity; }
    const CalibrationMemory& memory() const { return m_memory; }

    std::vector<protocol::ServiceFrame> handle(const protocol::ServiceFrame& request, int lineBaud);

    // The data block of the 0x56 answer; 9600 and 10400 baud get the short layout.
    QByteArray identityBlock(int lineBaud) const;
    QByteArray clockBytes() const;

    static protocol::ServiceFrame response(quint8 sid, const QByteArray& data);
    static protocol::ServiceFrame negativeResponse(quint8 requestSid, quint8 code);

    // Set when the last request changed the calibration memory and could not be saved.
    QString lastSaveError() const { return m_saveError; }
    // How long the unit stays quiet after sending `frame` of its last answer: a while after a
    // "response pending" when it plays a slow unit, else not at all.
    int pauseAfter(const protocol::ServiceFrame& frame) const;

private:
    protocol::ServiceFrame readIdentifier(quint16 did);
    protocol::ServiceFrame writeIdentifier(quint16 did, const QByteArray& value);
    bool writeClock(const QByteArray& value);
    std::vector<protocol::ServiceFrame> transfer(const QByteArray& request);
    std::vector<protocol::ServiceFrame> nextSegment(const QByteArray& request);
    // Cuts a block into the frames of the wire: one when it fits, else full segments and a last one.
    void queueBlock(quint8 type, const QByteArray& payload);
    std::vector<protocol::ServiceFrame> withPending(quint8 sid, protocol::ServiceFrame answer) const;
    std::vector<protocol::ServiceFrame> cryptoModuleCommand(const QByteArray& request);
    protocol::ServiceFrame memoryAccess(quint8 sid, const QByteArray& data);
    QDateTime hostNow() const;
    void refreshDownload();

    DeviceIdentity m_identity;
    DeviceBehaviour m_behaviour;
    CalibrationMemory m_memory;

    // What SecurityAccess unlocked: the calibration in the programming session, only the measurements
    // in the adjustment session.
    enum class Access
    {
        Locked,
        Measurements,
        Calibration,
    };

    bool m_communicating = false;
    quint8 m_session = 0x81;
    Access m_access = Access::Locked;
    int m_startsSleptThrough = 0;
    QByteArray m_memoryBytes; // what the memory services read and write
    qint64 m_clockOffsetSecs = 0;
    QByteArray m_clockCorrection = QByteArray::fromHex("7D80"); // minute and hour offsets, +125
    bool m_counting = false;
    int m_speedSearchReads = -1; // -1: no search under way
    int m_canReads = -1;         // -1: no detection under way
    quint8 m_canChannel = 0;
    QString m_saveError;

    std::shared_ptr<const DownloadSource> m_download;
    bool m_ownDownload = false; // no source was handed in: the unit writes its own history
    int m_requests = 0;
    bool m_uploadRequested = false;
    int m_archiveIndex = 0;
    std::deque<protocol::ServiceFrame> m_segments; // frames of a long block not yet asked for
    quint16 m_nextSegment = 0;                     // the counter the next segment request must carry
    int m_pauseAfterPendingMs = 0;

    FirmwareModel m_firmware;

    // The crypto module's view of an external card.
    bool m_cardInserted = false;
    bool m_cardKnown = false;
    bool m_cardAuthenticated = false;
    QByteArray m_cardNumber;
};

} // namespace tachoria::sim
