#pragma once

#include <QByteArray>

#include <optional>

namespace tachoria::sim {

// The external adapter on its own line. It answers its 55 AA commands, and once switched to K-line or
// to RS-232 it passes the tachograph's service frames through on the same line.
class AdapterModel
{
public:
    explicit AdapterModel(quint32 pulseCount = 32000)
        : m_pulseCount(pulseCount)
    {
    }

    bool kLine() const { return m_kLine; }
    bool passesFrames() const { return m_kLine || m_rs232; }
    bool calibrationMode() const { return m_calibrationMode; }

    // Cuts one command (55 AA code checksum) off the front of the buffer, if one is there. Bytes in
    // front of it that cannot start a command are dropped.
    static std::optional<quint8> takeCommand(QByteArray& buffer);

    // The answer to a command; empty where the adapter answers nothing.
    QByteArray handle(quint8 code);

private:
    quint32 m_pulseCount;
    bool m_kLine = false;
    bool m_rs232 = false;
    bool m_calibrationMode = false;
    bool m_counting = false;
};

} // namespace tachoria::sim
