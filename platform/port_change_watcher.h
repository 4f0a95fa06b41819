#pragma once

#include <QString>

#include <atomic>
#include <functional>
#include <thread>

namespace tachoria::platform {

// Calls back, on a thread of its own, whenever a serial device arrives or goes. The receiver passes
// the news on to its own thread and rescans.
class PortChangeWatcher
{
public:
    using Callback = std::function<void()>;
    static constexpr int kWaitSliceMs = 500;

    PortChangeWatcher() = default;
    ~PortChangeWatcher();
    PortChangeWatcher(const PortChangeWatcher&) = delete;
    PortChangeWatcher& operator=(const PortChangeWatcher&) = delete;

    // Always true: a watcher that cannot watch is no reason to stop the program.
    bool start(Callback callback, QString* error = nullptr);
    void stop();
    bool isRunning() const { return m_thread.joinable(); }

private:
    void run();

    std::atomic_bool m_stop{false};
    Callback m_callback;
    std::thread m_thread;
};

} // namespace tachoria::platform
