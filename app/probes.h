#pragma once

#include "app/command_line.h"

#include <optional>

namespace tachoria::app {

// Runs the first console probe named on the command line and returns its exit code, or nothing when
// the command line names none. A probe blocks the main thread and needs no window.
std::optional<int> runRequestedProbe(int& argc, char** argv, const CommandLine& commandLine);

int runPortProbe(const CommandLine& commandLine);
int runDownloadProbe(const CommandLine& commandLine);
int runCalibrationProbe(const CommandLine& commandLine);
int runCanProbe(const CommandLine& commandLine);
int runDddProbe(const CommandLine& commandLine);
int runFirmwareProbe(const CommandLine& commandLine);

} // namespace tachoria::app
