#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>

namespace tachoria::sync {

using ProgressCallback = std::function<void(const QString&)>;

// The drop box the synchronisation session works through: files by name in the folder
// "TachoriaSyncMTP" of the other machine. The PC reaches it over MTP, the phone as a plain folder;
// the session never learns which. Every operation but open and close fails on a closed box with
// "MTP-папка синхронизации не открыта".
class SyncTransport
{
public:
    virtual ~SyncTransport() = default;

    virtual bool open(const std::atomic<bool>& cancel, const ProgressCallback& progress, QString* error) = 0;
    virtual void close() = 0;
    // The file names of every folder of the drop box, folder after folder.
    virtual bool listFiles(QStringList* names, QString* error) = 0;
    virtual bool download(const QString& remoteName, const QString& localPath, QString* error) = 0;
    // The other side sees the file under remoteName only once it is complete.
    virtual bool upload(const QString& localPath, const QString& remoteName, QString* error) = 0;
    virtual bool uploadToAllFolders(const QString& localPath, const QString& remoteName, QString* error) = 0;
    // A file that is not there is no failure.
    virtual bool remove(const QString& remoteName, QString* error) = 0;

    // The listing worked; exists tells whether the name, compared exactly, is in it.
    bool fileExists(const QString& name, bool* exists, QString* error)
    {
        QStringList names;
        if (!listFiles(&names, error))
            return false;
        *exists = names.contains(name, Qt::CaseSensitive);
        return true;
    }

    static QString notOpenText() { return QStringLiteral("MTP-папка синхронизации не открыта"); }
    static QString folderName() { return QStringLiteral("TachoriaSyncMTP"); }
};

// The phone's side of the drop box: "TachoriaSyncMTP" inside a folder chosen once, made when missing,
// with plain file operations. A file is written under a temporary name and renamed when complete.
class FolderSyncTransport : public SyncTransport
{
public:
    explicit FolderSyncTransport(const QString& parentFolder);
    ~FolderSyncTransport() override;

    bool open(const std::atomic<bool>& cancel, const ProgressCallback& progress, QString* error) override;
    void close() override;
    bool listFiles(QStringList* names, QString* error) override;
    bool download(const QString& remoteName, const QString& localPath, QString* error) override;
    bool upload(const QString& localPath, const QString& remoteName, QString* error) override;
    bool uploadToAllFolders(const QString& localPath, const QString& remoteName, QString* error) override;
    bool remove(const QString& remoteName, QString* error) override;

    QString folderPath() const { return m_folder; }

private:
    bool ready(QString* error) const;

    QString m_parent;
    QString m_folder;
    bool m_open = false;
};

} // namespace tachoria::sync
