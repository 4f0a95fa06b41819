#include "sync/sync_transport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

namespace tachoria::sync {

namespace {

bool fail(QString* error, const QString& text)
{
    if (error)
        *error = text;
    return false;
}

const QString kUploading = QStringLiteral(".uploading");

} // namespace

FolderSyncTransport::FolderSyncTransport(const QString& parentFolder)
    : m_parent(parentFolder)
{
}

FolderSyncTransport::~FolderSyncTransport()
{
    close();
}

bool FolderSyncTransport::open(const std::atomic<bool>& cancel, const ProgressCallback& progress,
                               QString* error)
{
    if (cancel)
        return fail(error, QStringLiteral("Синхронизация отменена"));
    const QString folder = QDir(m_parent).filePath(folderName());
    if (m_parent.isEmpty() || !QDir().mkpath(folder))
        return fail(error, QStringLiteral("Не удалось открыть папку %1").arg(folder));
    m_folder = QDir::cleanPath(folder);
    m_open = true;
    if (progress)
        progress(QStringLiteral("Папка %1 готова").arg(folderName()));
    return true;
}

void FolderSyncTransport::close()
{
    m_open = false;
}

bool FolderSyncTransport::ready(QString* error) const
{
    return m_open || fail(error, notOpenText());
}

bool FolderSyncTransport::listFiles(QStringList* names, QString* error)
{
    names->clear();
    if (!ready(error))
        return false;
    // A folder that went away is a box that went away, as a phone unplugged in the middle.
    const QDir folder(m_folder);
    if (!folder.exists())
        return fail(error, QStringLiteral("Не удалось просмотреть папку на телефоне"));
    const QStringList files = folder.entryList(QDir::Files | QDir::Hidden, QDir::Name);
    for (const QString& name : files) {
        if (!name.endsWith(kUploading))
            names->append(name);
    }
    return true;
}

bool FolderSyncTransport::download(const QString& remoteName, const QString& localPath, QString* error)
{
    if (!ready(error))
        return false;
    QFile remote(QDir(m_folder).filePath(remoteName));
    if (!remote.exists())
        return fail(error, QStringLiteral("Файл %1 не найден в %2").arg(remoteName, folderName()));
    if (!remote.open(QIODevice::ReadOnly))
        return fail(error, QStringLiteral("Не удалось скачать файл с телефона"));
    QFile local(localPath);
    if (!local.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return fail(error,
                    QStringLiteral("Не удалось создать локальный файл для MTP-передачи: %1").arg(localPath));
    const QByteArray data = remote.readAll();
    if (data.isEmpty())
        return fail(error, QStringLiteral("MTP вернул пустой поток для %1.").arg(remoteName));
    if (local.write(data) != data.size())
        return fail(error,
                    QStringLiteral("Не удалось записать полученные данные на диск: %1").arg(localPath));
    return true;
}

bool FolderSyncTransport::upload(const QString& localPath, const QString& remoteName, QString* error)
{
    if (!ready(error))
        return false;
    QFile local(localPath);
    if (!local.open(QIODevice::ReadOnly))
        return fail(error, QStringLiteral("Не удалось открыть файл для передачи: %1").arg(localPath));
    const QByteArray data = local.readAll();
    const QString temporary = QDir(m_folder).filePath(
        remoteName + QLatin1Char('.') + QUuid::createUuid().toString(QUuid::WithoutBraces) + kUploading);
    const QString final = QDir(m_folder).filePath(remoteName);
    QFile out(temporary);
    const bool written = out.open(QIODevice::WriteOnly) && out.write(data) == data.size() && out.flush();
    out.close();
    // The final name appears only when the whole file is there.
    if (!written || (QFile::exists(final) && !QFile::remove(final)) || !QFile::rename(temporary, final)) {
        QFile::remove(temporary);
        return fail(
            error,
            QStringLiteral("Не удалось передать файл %1 на телефон: %2").arg(remoteName, out.errorString()));
    }
    return true;
}

bool FolderSyncTransport::uploadToAllFolders(const QString& localPath, const QString& remoteName,
                                             QString* error)
{
    return upload(localPath, remoteName, error);
}

bool FolderSyncTransport::remove(const QString& remoteName, QString* error)
{
    if (!ready(error))
        return false;
    const QString path = QDir(m_folder).filePath(remoteName);
    if (QFile::exists(path) && !QFile::remove(path))
        return fail(error, QStringLiteral("Не удалось удалить временный MTP-файл"));
    return true;
}

} // namespace tachoria::sync
