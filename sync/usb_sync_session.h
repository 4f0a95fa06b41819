#pragma once

#include "sync/sync_transport.h"

#include <QDateTime>
#include <QString>

#include <atomic>
#include <functional>
#include <memory>

namespace tachoria::sync {

struct UsbSyncResult
{
    bool success = false;
    QString message;
    int addedRecords = 0; // from this side's import
    int addedFiles = 0;
};

// How long each side of a session polls and waits. The drop box is slow to list over MTP, so the
// poll is not to be shortened in use; tests shorten the waits.
struct UsbSyncTiming
{
    int pollMs = 500;
    int reportMs = 5000;
    int meetMs = 180000; // to meet the other side
    int stepMs = 600000; // for each later step
};

// A PC and a phone merge through a shared drop box, neither able to call the other. The phone drops
// its package, finds a fresh host marker, and joins; the PC merges, answers with its merged package
// and a result; the phone merges that and acknowledges. Order, freshness and identity live in the
// file names and one line of text in each marker. Both sides run `run`, with a role flag.
class UsbSyncSession
{
public:
    using TransportFactory = std::function<std::unique_ptr<SyncTransport>()>;

    using Timing = UsbSyncTiming;

    // Without a factory, a session reaches the phone over MTP.
    explicit UsbSyncSession(TransportFactory factory = {}, Timing timing = Timing());

    // Blocks on a worker thread; progress is called there. A transport is made for each run.
    UsbSyncResult run(bool isPc, const std::atomic<bool>& cancel, const ProgressCallback& progress);

    // "yyyyMMdd_HHmmss_zzz" in UTC, "_", and a fresh UUID as 32 lower-case hexadecimal digits.
    static QString makeSessionId();
    static bool isValidSessionId(const QString& id);
    // Valid and stamped from two minutes ahead to five minutes back of now, both ends included.
    static bool isRecentSessionId(const QString& id, const QDateTime& now = QDateTime::currentDateTimeUtc());
    // The bar's value for a progress text: the first of the session's words the text holds, or the
    // current value when it holds none.
    static int progressValue(const QString& text, int current);

private:
    TransportFactory m_factory;
    Timing m_timing;
};

} // namespace tachoria::sync
