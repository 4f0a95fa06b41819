// A phone for the tests: the phone's side of the MTP synchronisation over a shared folder, as a
// process of its own with its own installation (LOCALAPPDATA and program folder).
// Usage: sync_phone <folder> <meet wait, ms>. Prints each progress text, then the result.
#include "sync/usb_sync_session.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() < 3)
        return 2;
    const QString folder = arguments.at(1);
    tachoria::sync::UsbSyncSession::Timing timing;
    timing.meetMs = arguments.at(2).toInt();
    timing.stepMs = timing.meetMs;
    tachoria::sync::UsbSyncSession session(
        [folder] { return std::make_unique<tachoria::sync::FolderSyncTransport>(folder); }, timing);
    std::atomic<bool> cancel{false};
    QTextStream out(stdout);
    const auto result = session.run(false, cancel, [&out](const QString& text) {
        out << "progress: " << text << '\n';
        out.flush();
    });
    out << "result: " << (result.success ? "ok" : "failed") << '|' << result.message << '\n';
    return result.success ? 0 : 1;
}
