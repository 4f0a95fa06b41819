#include "app/command_line.h"
#include "app/probes.h"

#include <QTextStream>

#include <cstdio>

namespace {

void printUsage()
{
    QTextStream err(stderr);
    err << "Tachoria 2.5.0.189 — рабочее место мастера по тахографам\n"
           "Консольные проверки:\n"
           "  tachoria --probe-port <порт> [--baud <скорость>] [--parity none|even|odd]\n"
           "      опрос тахографа на порту (0x16); код выхода 0, если тахограф найден, иначе 2\n";
}

} // namespace

int main(int argc, char** argv)
{
    const tachoria::app::CommandLine commandLine(argc, argv);
    if (const auto code = tachoria::app::runRequestedProbe(argc, argv, commandLine))
        return *code;
    printUsage();
    return 1;
}
