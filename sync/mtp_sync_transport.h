#pragma once

#include "sync/sync_transport.h"

#include <memory>

namespace tachoria::sync {

// The PC's side of the drop box: the folders called "TachoriaSyncMTP" (in any case of letters) on a
// phone attached over USB in file-transfer mode. Every such folder counts; a reply of a session goes
// into the folder that holds the session's request. One thread uses one transport for one session.
class MtpSyncTransport : public SyncTransport
{
public:
    static constexpr int kOpenWaitMs = 180000;
    static constexpr int kPollMs = 500;
    static constexpr int kReportMs = 5000;

    explicit MtpSyncTransport(int openWaitMs = kOpenWaitMs);
    ~MtpSyncTransport() override;
    MtpSyncTransport(const MtpSyncTransport&) = delete;
    MtpSyncTransport& operator=(const MtpSyncTransport&) = delete;

    // Waits for a phone, at most openWaitMs, and finds its folders.
    bool open(const std::atomic<bool>& cancel, const ProgressCallback& progress, QString* error) override;
    void close() override;
    bool listFiles(QStringList* names, QString* error) override;
    bool download(const QString& remoteName, const QString& localPath, QString* error) override;
    bool upload(const QString& localPath, const QString& remoteName, QString* error) override;
    bool uploadToAllFolders(const QString& localPath, const QString& remoteName, QString* error) override;
    bool remove(const QString& remoteName, QString* error) override;

    // "Request_<id>.tsync" for "Response_<id>…", "Result_<id>…" and "Ack_<id>…"; empty otherwise.
    static QString requestFileForExchangeFile(const QString& remoteName);

    struct Impl;

private:
    std::unique_ptr<Impl> m_impl;
    int m_openWaitMs;
};

} // namespace tachoria::sync
