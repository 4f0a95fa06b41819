#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

namespace tachoria::app {

// The bundled tachograph simulator for the demonstration: it serves a tachograph on a pseudo-terminal
// beside the program and ends with it.
class DemoSimulator
{
public:
    DemoSimulator() = default;
    ~DemoSimulator();
    DemoSimulator(const DemoSimulator&) = delete;
    DemoSimulator& operator=(const DemoSimulator&) = delete;

    // Starts "tachoria-sim" from the program's folder and waits until its line can be opened.
    bool start(QString* error);
    void stop();
    QString port() const { return m_link; }

private:
    QTemporaryDir m_folder;
    QProcess m_process;
    QString m_link;
};

} // namespace tachoria::app
