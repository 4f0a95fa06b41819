#pragma once

#include "protocol/tachograph_client.h"

#include <QByteArray>
#include <QString>

#include <functional>

namespace tachoria::firmware {

// Writes a whole firmware image into a tachograph: empties its SPI flash, sends the image block by
// block and has it restart with a two-stage command. Once the erase request is out, a failure leaves
// the tachograph without a working image, so nothing here is retried but the connection, and the
// reads have no stop flag: a transfer cannot be interrupted.
class TachographFirmwareWorkflow
{
public:
    static constexpr quint8 kSidNv = 0xC7;
    static constexpr quint8 kSidNvPositive = 0x67;
    static constexpr quint8 kStartEraseSpiCommandHigh = 0x10;
    static constexpr quint8 kStartEraseSpiCommandLow = 0x53;
    static constexpr int kSpiEraseProgressTimeoutMs = 10000;
    static constexpr quint8 kResetTachoCommandHigh = 0x10;
    static constexpr quint8 kResetTachoCommandLow = 0x52;
    static constexpr quint8 kResetTachoPositive = 0x57;
    static constexpr quint8 kResetTimeoutSeconds = 1;
    static constexpr int kImageBytes = 0xA4000;
    static constexpr int kBlockBytes = 2048;
    static constexpr int kBlockCount = kImageBytes / kBlockBytes;
    static constexpr int kFirstBlockIndex = 3072; // the image starts at 0x600000
    static constexpr int kSectorCount = 256;
    static constexpr int kResetReplyTimeoutMs = 2000;
    static const QByteArray kSilentUpdateFlag;

    enum class ProgressStage
    {
        Erasing,
        Writing,
    };
    using Progress = std::function<void(ProgressStage stage, int current, int total)>;

    static bool writeImage(const QString& port, int baud, const QByteArray& image, const Progress& progress,
                           QString* error);
    static bool isDirectTransport(const QString& port);

    // The parts of writeImage, apart so that they can be checked on their own.
    static bool eraseSpi(protocol::TachographClient& client, const QString& port, const Progress& progress,
                         QString* error);
    static bool sendFirmwareReset(protocol::TachographClient& client, const QString& port, QString* error,
                                  quint32 word1);
    static quint32 calcFirmwareHandshakeCrc(quint32 word1, quint32 word2);
    static quint32 blockAddress(int block) { return quint32(block + kFirstBlockIndex) * kBlockBytes; }

private:
    TachographFirmwareWorkflow() = delete;
};

} // namespace tachoria::firmware
