#pragma once

#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace tachoria::test {

// One frame the simulator received or sent, as it recorded it: its time on the simulator's clock,
// the line ("tachograph" or "adapter"), the kind (rx and tx for service frames, cmd and ans for the
// adapter's own), the line's speed, and the SID and data (the adapter's code and data) in hex.
struct Exchange
{
    qint64 ms = 0;
    QString line;
    QString kind;
    int baud = 0;
    QString bytes; // "10 81"
};

// Runs tachoria-sim on a pseudo-terminal linked inside a private temporary folder, and stops it
// with SIGTERM when the test is done.
class SimulatorProcess
{
public:
    // withAdapter also serves the external adapter on a second line; statePath() is passed as --state
    // when withState is set.
    explicit SimulatorProcess(QStringList arguments = {}, bool withAdapter = false, bool withState = false);
    ~SimulatorProcess();
    SimulatorProcess(const SimulatorProcess&) = delete;
    SimulatorProcess& operator=(const SimulatorProcess&) = delete;

    // Starts the simulator and waits for its READY line.
    bool start(QString* error = nullptr);
    // SIGTERM, then wait; true when it ended by itself with exit code 0.
    bool stop();

    QString link() const { return m_link; }
    // Serves on this path instead of one in its own folder (before start), e.g. to come back on a port.
    void setLink(const QString& link) { m_link = link; }
    QString adapterLink() const { return m_dir.filePath(QStringLiteral("adapter")); }
    QString statePath() const { return m_dir.filePath(QStringLiteral("state.json")); }
    QString standardError();
    // Everything recorded so far; readable while the simulator runs.
    QList<Exchange> exchanges() const;
    // The service requests received on one line, each "SID DATA" in hex.
    QStringList requests(const QString& line = QStringLiteral("tachograph")) const;
    // The same requests as bytes: the SID followed by its data.
    QList<QByteArray> receivedRequests(const QString& line = QStringLiteral("tachograph")) const;

private:
    QStringList m_arguments;
    QTemporaryDir m_dir;
    QString m_link;
    QProcess m_process;
    QString m_stderr;
};

} // namespace tachoria::test
