#pragma once

#include "simulator_process.h"
#include "window_driver.h"

#include <QStringList>
#include <QTemporaryDir>

#include <initializer_list>

namespace tachoria::test {

// Command-line words as a list, for the simulator's options.
QStringList words(std::initializer_list<const char*> list);

// The window on a profile of its own whose calibration port is where the simulator serves: the
// tachograph that the page tests and the timed tools work with.
struct WindowOnSimulator
{
    // withState passes the simulator a state file (its calibration memory and the order of writes).
    explicit WindowOnSimulator(const QStringList& simulatorArguments, bool withState = false);
    // Starts the simulator and the window and waits until the watch has found the tachograph.
    bool start(QString* error = nullptr);
    QString link() const { return folder.filePath(QStringLiteral("tacho")); }

    WindowDriver window;
    QTemporaryDir folder;
    SimulatorProcess simulator;
};

} // namespace tachoria::test
