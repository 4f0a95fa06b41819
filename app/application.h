#pragma once

#include "app/command_line.h"

namespace tachoria::app {

// The program with its window, or one of the window's test modes; the exit code.
int runApplication(int& argc, char** argv, const CommandLine& commandLine);

// The organisation, name and version the program runs under; the window shows the version.
void identifyApplication();

// Preview mode works on a profile of its own, so that a preview never touches a master's real data.
bool isPreviewMode(const CommandLine& commandLine);

} // namespace tachoria::app
