#pragma once

#include "logging/application_logger.h"
#include "protocol/download_detector.h"

#include <QString>

#include <atomic>

namespace tachoria::firmware {

// What the tachograph said after its restart.
struct VerificationResult
{
    bool matched = false; // a tachograph of the supported type answered 0x16
    protocol::DownloadDeviceInfo info;
    bool versionMatched = false; // its software version is the expected one
    bool stopped = false;
    int attempts = 0;
    QString message; // why the last attempt did not end the wait
};

// The verification's end in words: the status for the user and the journal's record.
struct VerificationOutcome
{
    bool confirmed = false;
    QString status;
    logging::Level level = logging::Level::Info;
    QString record;
};
VerificationOutcome describeVerification(const VerificationResult& result, const QString& expectedVersion);

// Waits for a restarted tachograph to answer the identification request with the expected software
// version: one attempt every 5 s for at most 200 s. An expected version left empty ends the wait at
// the first answer.
class FirmwareVersionVerification
{
public:
    static constexpr int kTotalLimitMs = 200000;
    static constexpr int kAttemptIntervalMs = 5000;

    static VerificationResult run(const QString& port, int baud, const QString& expectedVersion,
                                  const std::atomic_bool* stop);

    // For tests only: shorter waits than a real tachograph needs. The shipped limits stand otherwise.
    static void setLimitsForTest(int totalLimitMs, int attemptIntervalMs);

private:
    FirmwareVersionVerification() = delete;
};

} // namespace tachoria::firmware
