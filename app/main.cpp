#include "app/application.h"
#include "app/command_line.h"
#include "app/probes.h"

int main(int argc, char** argv)
{
    const tachoria::app::CommandLine commandLine(argc, argv);
    if (const auto code = tachoria::app::runRequestedProbe(argc, argv, commandLine))
        return *code;
    return tachoria::app::runApplication(argc, argv, commandLine);
}
