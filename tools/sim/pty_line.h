#pragma once

#include <QByteArray>
#include <QString>

namespace tachoria::sim {

// What the client set on its side of the line. A pseudo-terminal drops the parity bit, so parity is
// not among them.
struct LineSettings
{
    int baud = 0;
    int dataBits = 8;
    int stopBits = 1;

    // The device's own UART frames a byte as 8E1, and as 8N1 at 10400 baud behind the adapter.
    int deviceBitsPerByte() const { return baud == 10400 ? 10 : 11; }
};

// Reads the termios of the slave side (TCGETS2, so custom speeds such as 10400 read back exactly).
bool readLineSettings(int slaveFd, LineSettings& settings, QString* error);

// A pseudo-terminal whose slave side is published as a symbolic link, so a client opens it like any
// serial port. The slave stays open here: the line keeps its settings between the client's sessions.
class PtyLine
{
public:
    PtyLine() = default;
    ~PtyLine();
    PtyLine(const PtyLine&) = delete;
    PtyLine& operator=(const PtyLine&) = delete;

    bool open(const QString& linkPath, QString* error);
    void close();

    int masterFd() const { return m_master; }
    QString linkPath() const { return m_linkPath; }
    QString slavePath() const { return m_slavePath; }
    LineSettings settings() const;

    // Waits up to timeoutMs for bytes from the client; appends what came. False only on a line failure.
    bool read(QByteArray& into, int timeoutMs);
    // Sends bytes at the pace of the client's line speed, as a real UART would, unless pacing is off.
    bool write(const QByteArray& bytes, bool paced);
    // Drops whatever the client has not read yet (a device reset).
    void discardPendingOutput();

private:
    int m_master = -1;
    int m_slave = -1;
    QString m_linkPath;
    QString m_slavePath;
};

} // namespace tachoria::sim
