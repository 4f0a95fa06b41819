#pragma once

#include "protocol/service_frame.h"

#include <QByteArray>
#include <QCommandLineParser>
#include <QDeadlineTimer>
#include <QString>

#include <optional>
#include <vector>

namespace tachoria::sim {

// How the simulated unit takes a new firmware, faults included.
struct FirmwareBehaviour
{
    enum class EraseFault
    {
        None,
        Missing, // the report of `eraseFaultSector` never goes out, the next ones do
        Order,   // that report carries a sector off the sequence
        Stall,   // no report after that sector
    };
    int eraseReportMs = 20; // the flash erases five sectors per report, this long each
    EraseFault eraseFault = EraseFault::None;
    int eraseFaultSector = 0;
    int refusedBlock = -1; // this block (from 0) is answered negatively
    bool refuseResetStage1 = false;
    bool refuseResetStage2 = false;
    int restartSilenceMs = 3000;    // quiet after the restart command
    QByteArray versionAfterRestart; // the software version then; empty: unchanged
    QString imagePath;              // where the received image is written at the restart
};

// The unit's firmware loader: the SPI erase with its progress reports, the image blocks written by
// address, and the challenge of the two-stage restart, whose CRC it checks itself.
class FirmwareModel
{
public:
    static constexpr quint32 kImageStart = 0x600000;
    static constexpr int kImageBytes = 0xA4000;

    explicit FirmwareModel(FirmwareBehaviour behaviour = {});

    // The answers to the manufacturer's service (SID 0xC7) when it is a firmware command.
    std::optional<std::vector<protocol::ServiceFrame>> command(const QByteArray& data,
                                                               bool programmingSession);
    // The answer to WriteMemoryByAddress when it falls into the image; nothing for other addresses.
    std::optional<protocol::ServiceFrame> writeMemory(const QByteArray& data, bool programmingSession);

    // Quiet while restarting; true once, when the restart is over and the unit starts afresh.
    bool restarting();
    bool restartCompleted();
    QByteArray versionAfterRestart() const { return m_behaviour.versionAfterRestart; }
    int pauseAfter(const protocol::ServiceFrame& frame) const;
    const QByteArray& image() const { return m_image; }

    static quint32 handshakeCrc(quint32 word1, quint32 word2);
    static void addOptions(QCommandLineParser& parser);
    static bool parseOptions(const QCommandLineParser& parser, FirmwareBehaviour& behaviour, QString* error);

private:
    std::vector<protocol::ServiceFrame> erase();

    FirmwareBehaviour m_behaviour;
    QByteArray m_image;
    bool m_erased = false;
    quint32 m_word1 = 0;
    quint32 m_word2 = 0;
    bool m_challenged = false;
    std::optional<QDeadlineTimer> m_restart;
};

} // namespace tachoria::sim
