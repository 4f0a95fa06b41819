#include "firmware_model.h"

#include <QFile>
#include <QRandomGenerator>

namespace tachoria::sim {

using protocol::ServiceFrame;

namespace {

constexpr quint8 kNegative = 0x7F;
constexpr quint8 kNv = 0xC7;
constexpr quint8 kWriteMemory = 0x3D;
constexpr quint8 kConditionsNotCorrect = 0x22;
constexpr quint8 kRequestOutOfRange = 0x31;
constexpr quint8 kIncorrectLength = 0x13;
constexpr quint8 kGeneralProgrammingFailure = 0x72;
constexpr quint8 kInvalidKey = 0x35;

ServiceFrame frame(quint8 sid, const QByteArray& data)
{
    ServiceFrame answer;
    answer.target = protocol::kProgramAddress;
    answer.source = protocol::kTachographAddress;
    answer.sid = sid;
    answer.data = data;
    return answer;
}

ServiceFrame refusal(quint8 sid, quint8 code)
{
    return frame(kNegative, QByteArray(1, char(sid)) + QByteArray(1, char(code)));
}

quint32 bigEndian(const QByteArray& bytes, int offset, int size)
{
    quint32 value = 0;
    for (int i = 0; i < size; ++i)
        value = (value << 8) | quint8(bytes.at(offset + i));
    return value;
}

QByteArray bigEndianBytes(quint32 value)
{
    return QByteArray(1, char(value >> 24)) + char(value >> 16) + char(value >> 8) + char(value);
}

} // namespace

FirmwareModel::FirmwareModel(FirmwareBehaviour behaviour)
    : m_behaviour(std::move(behaviour))
    , m_image(kImageBytes, char(0xFF))
{
}

quint32 FirmwareModel::handshakeCrc(quint32 word1, quint32 word2)
{
    // The loader's CRC-32: polynomial 04C11DB7, register preset to all ones, shifted out high bit first,
    // over both words' bytes low byte first.
    QByteArray input;
    for (const quint32 word : {word1, word2})
        for (int shift = 0; shift < 32; shift += 8)
            input.append(char(word >> shift));
    quint32 crc = 0xFFFFFFFFu;
    for (const char byte : input) {
        for (int bit = 7; bit >= 0; --bit) {
            const bool top = (crc >> 31) != ((quint8(byte) >> bit) & 1);
            crc <<= 1;
            if (top)
                crc ^= 0x04C11DB7u;
        }
    }
    return crc;
}

std::vector<ServiceFrame> FirmwareModel::erase()
{
    m_image.fill(char(0xFF));
    m_erased = true;
    std::vector<ServiceFrame> reports;
    for (int sector = 0;; sector = std::min(255, sector + 5)) {
        const bool faulty = m_behaviour.eraseFault != FirmwareBehaviour::EraseFault::None &&
                            sector == m_behaviour.eraseFaultSector;
        if (faulty && m_behaviour.eraseFault == FirmwareBehaviour::EraseFault::Order)
            reports.push_back(frame(0x67, QByteArray::fromHex("1053") + char(sector + 2)));
        else if (!faulty || m_behaviour.eraseFault != FirmwareBehaviour::EraseFault::Missing)
            reports.push_back(frame(0x67, QByteArray::fromHex("1053") + char(sector)));
        if (faulty && m_behaviour.eraseFault == FirmwareBehaviour::EraseFault::Stall)
            break;
        if (sector == 255)
            break;
    }
    return reports;
}

std::optional<std::vector<ServiceFrame>> FirmwareModel::command(const QByteArray& data,
                                                                bool programmingSession)
{
    if (data == QByteArray::fromHex("1053")) {
        if (!programmingSession)
            return std::vector<ServiceFrame>{refusal(kNv, kConditionsNotCorrect)};
        return erase();
    }
    if (!data.startsWith(QByteArray::fromHex("1052")))
        return std::nullopt;
    if (data.size() == 7 && quint8(data.at(2)) == 1) {
        if (m_behaviour.refuseResetStage1)
            return std::vector<ServiceFrame>{refusal(kNv, kConditionsNotCorrect)};
        m_word1 = bigEndian(data, 3, 4);
        m_word2 = QRandomGenerator::global()->generate();
        m_challenged = true;
        return std::vector<ServiceFrame>{frame(0x57, QByteArray(1, '\x01') + bigEndianBytes(m_word2))};
    }
    // Stage 2: 10 52 02, the restart delay, the CRC, the silent-update flag and two more bytes.
    if (data.size() == 14 && quint8(data.at(2)) == 2) {
        if (!m_challenged || m_behaviour.refuseResetStage2)
            return std::vector<ServiceFrame>{refusal(kNv, kConditionsNotCorrect)};
        if (bigEndian(data, 4, 4) != handshakeCrc(m_word1, m_word2) ||
            data.mid(8, 4) != QByteArray::fromHex("A4C29B36"))
            return std::vector<ServiceFrame>{refusal(kNv, kInvalidKey)};
        m_challenged = false;
        if (!m_behaviour.imagePath.isEmpty()) {
            QFile file(m_behaviour.imagePath);
            if (file.open(QIODevice::WriteOnly))
                file.write(m_image);
        }
        m_restart = QDeadlineTimer(quint8(data.at(3)) * 1000 + m_behaviour.restartSilenceMs);
        return std::vector<ServiceFrame>{frame(0x57, QByteArray(1, '\x02'))};
    }
    return std::vector<ServiceFrame>{refusal(kNv, kIncorrectLength)};
}

std::optional<ServiceFrame> FirmwareModel::writeMemory(const QByteArray& data, bool programmingSession)
{
    // 24, four address bytes, two length bytes, the data.
    if (data.size() < 7 || quint8(data.at(0)) != 0x24)
        return std::nullopt;
    const quint32 address = bigEndian(data, 1, 4);
    const quint32 length = bigEndian(data, 5, 2);
    if (address < kImageStart || address >= kImageStart + kImageBytes)
        return std::nullopt;
    if (quint32(data.size()) != 7 + length || address + length > kImageStart + kImageBytes)
        return refusal(kWriteMemory, kIncorrectLength);
    if (!programmingSession || !m_erased)
        return refusal(kWriteMemory, kConditionsNotCorrect);
    const int block = int((address - kImageStart) / 2048);
    if (block == m_behaviour.refusedBlock)
        return refusal(kWriteMemory, kGeneralProgrammingFailure);
    if (length == 0)
        return refusal(kWriteMemory, kRequestOutOfRange);
    m_image.replace(int(address - kImageStart), int(length), data.mid(7));
    return frame(kWriteMemory + 0x40, data.mid(1, 6));
}

bool FirmwareModel::restarting()
{
    return m_restart && !m_restart->hasExpired();
}

bool FirmwareModel::restartCompleted()
{
    if (!m_restart || !m_restart->hasExpired())
        return false;
    m_restart.reset();
    m_erased = false;
    return true;
}

int FirmwareModel::pauseAfter(const ServiceFrame& answer) const
{
    const bool report =
        answer.sid == 0x67 && answer.data.size() == 3 && answer.data.startsWith(QByteArray::fromHex("1053"));
    return report ? m_behaviour.eraseReportMs : 0;
}

void FirmwareModel::addOptions(QCommandLineParser& parser)
{
    parser.addOptions({
        {QStringLiteral("erase-report-ms"), QStringLiteral("Firmware: pause between the 52 erase reports."),
         QStringLiteral("ms"), QStringLiteral("20")},
        {QStringLiteral("erase-fault"),
         QStringLiteral("Firmware fault: missing:N (report of sector N left out), order:N (a wrong sector "
                        "instead of N) or stall:N (no report after sector N)."),
         QStringLiteral("kind:sector")},
        {QStringLiteral("refuse-firmware-block"),
         QStringLiteral("Firmware fault: this block (from 0) is answered negatively."), QStringLiteral("n")},
        {QStringLiteral("refuse-reset"), QStringLiteral("Firmware fault: refuse the restart's stage 1 or 2."),
         QStringLiteral("stage")},
        {QStringLiteral("restart-silence-ms"),
         QStringLiteral("Firmware: how long the unit is quiet after the restart command, beyond its delay."),
         QStringLiteral("ms"), QStringLiteral("3000")},
        {QStringLiteral("version-after-restart"),
         QStringLiteral(
             "Firmware: the software version (4 bytes hex) after a restart; unchanged if not given."),
         QStringLiteral("hex")},
        {QStringLiteral("firmware-image"),
         QStringLiteral("Firmware: write the received image to this file at the restart."),
         QStringLiteral("path")},
    });
}

bool FirmwareModel::parseOptions(const QCommandLineParser& parser, FirmwareBehaviour& behaviour,
                                 QString* error)
{
    const auto fail = [error](const QString& text) {
        if (error)
            *error = text;
        return false;
    };
    const auto number = [&parser](const QString& name, int& value) {
        if (!parser.isSet(name))
            return true;
        bool ok = false;
        value = parser.value(name).toInt(&ok);
        return ok && value >= 0;
    };
    if (!number(QStringLiteral("erase-report-ms"), behaviour.eraseReportMs))
        return fail(QStringLiteral("--erase-report-ms: expected milliseconds"));
    if (!number(QStringLiteral("restart-silence-ms"), behaviour.restartSilenceMs))
        return fail(QStringLiteral("--restart-silence-ms: expected milliseconds"));
    if (!number(QStringLiteral("refuse-firmware-block"), behaviour.refusedBlock))
        return fail(QStringLiteral("--refuse-firmware-block: expected a block number"));
    if (parser.isSet(QStringLiteral("erase-fault"))) {
        const QStringList parts = parser.value(QStringLiteral("erase-fault")).split(QLatin1Char(':'));
        bool ok = parts.size() == 2;
        const int sector = ok ? parts.at(1).toInt(&ok) : 0;
        const QString kind = parts.value(0);
        if (!ok || sector < 0 || sector > 255 || sector % 5 != 0)
            return fail(QStringLiteral(
                "--erase-fault: expected missing:N, order:N or stall:N with N a multiple of 5"));
        behaviour.eraseFaultSector = sector;
        if (kind == QLatin1String("missing"))
            behaviour.eraseFault = FirmwareBehaviour::EraseFault::Missing;
        else if (kind == QLatin1String("order"))
            behaviour.eraseFault = FirmwareBehaviour::EraseFault::Order;
        else if (kind == QLatin1String("stall"))
            behaviour.eraseFault = FirmwareBehaviour::EraseFault::Stall;
        else
            return fail(QStringLiteral("--erase-fault: expected missing, order or stall"));
    }
    if (parser.isSet(QStringLiteral("refuse-reset"))) {
        const QString stage = parser.value(QStringLiteral("refuse-reset"));
        behaviour.refuseResetStage1 = stage == QLatin1String("1");
        behaviour.refuseResetStage2 = stage == QLatin1String("2");
        if (!behaviour.refuseResetStage1 && !behaviour.refuseResetStage2)
            return fail(QStringLiteral("--refuse-reset: expected 1 or 2"));
    }
    if (parser.isSet(QStringLiteral("version-after-restart"))) {
        behaviour.versionAfterRestart =
            QByteArray::fromHex(parser.value(QStringLiteral("version-after-restart")).toLatin1());
        if (behaviour.versionAfterRestart.size() != 4)
            return fail(QStringLiteral("--version-after-restart: expected 4 bytes in hex, e.g. 02060000"));
    }
    behaviour.imagePath = parser.value(QStringLiteral("firmware-image"));
    return true;
}

} // namespace tachoria::sim
