#include "platform/termination_signal.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace tachoria::platform {

namespace {

int g_signalPipe[2] = {-1, -1};

// Only async-signal-safe work here: one byte into the pipe; the event loop does the rest.
void onTerminationSignal(int signalNumber)
{
    const char byte = char(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(g_signalPipe[0], &byte, 1);
}

} // namespace

bool quitEventLoopOnTermination(QObject* owner)
{
    if (g_signalPipe[0] < 0 && ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_signalPipe) != 0)
        return false;
    auto* notifier = new QSocketNotifier(g_signalPipe[1], QSocketNotifier::Read, owner);
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [] {
        char byte = 0;
        [[maybe_unused]] const ssize_t read = ::read(g_signalPipe[1], &byte, 1);
        // exit() also ends a loop nested in a modal dialog, which quit() would leave waiting.
        QCoreApplication::exit(0);
    });
    struct sigaction action
    {
    };
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    return ::sigaction(SIGTERM, &action, nullptr) == 0 && ::sigaction(SIGINT, &action, nullptr) == 0;
}

} // namespace tachoria::platform
