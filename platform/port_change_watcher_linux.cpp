#include "platform/port_change_watcher.h"

#include <cerrno>
#include <cstring>
#include <libudev.h>
#include <poll.h>
#include <sys/stat.h>
#include <utility>

namespace tachoria::platform {

PortChangeWatcher::~PortChangeWatcher()
{
    stop();
}

bool PortChangeWatcher::start(Callback callback, QString* /*error*/)
{
    stop();
    m_callback = std::move(callback);
    m_stop = false;
    m_thread = std::thread([this] { run(); });
    return true;
}

void PortChangeWatcher::stop()
{
    m_stop = true;
    if (m_thread.joinable())
        m_thread.join();
    m_callback = nullptr;
}

void PortChangeWatcher::run()
{
    udev* context = udev_new();
    if (!context)
        return;
    // Events come processed from the udev daemon; where none runs (containers), straight from the kernel.
    struct stat control
    {
    };
    const bool daemon = ::stat("/run/udev/control", &control) == 0;
    udev_monitor* monitor = udev_monitor_new_from_netlink(context, daemon ? "udev" : "kernel");
    if (monitor && udev_monitor_filter_add_match_subsystem_devtype(monitor, "tty", nullptr) == 0 &&
        udev_monitor_enable_receiving(monitor) == 0) {
        pollfd pfd{udev_monitor_get_fd(monitor), POLLIN, 0};
        while (!m_stop) {
            const int ready = ::poll(&pfd, 1, kWaitSliceMs);
            // A signal delivered to this thread only interrupts the wait; anything else ends the watch.
            if (ready < 0 && errno == EINTR)
                continue;
            if (ready < 0)
                break;
            if (ready == 0)
                continue;
            udev_device* device = udev_monitor_receive_device(monitor);
            if (!device)
                continue;
            const char* action = udev_device_get_action(device);
            const bool arrivalOrRemoval =
                action && (std::strcmp(action, "add") == 0 || std::strcmp(action, "remove") == 0);
            udev_device_unref(device);
            if (arrivalOrRemoval && !m_stop && m_callback)
                m_callback();
        }
    }
    if (monitor)
        udev_monitor_unref(monitor);
    udev_unref(context);
}

} // namespace tachoria::platform
