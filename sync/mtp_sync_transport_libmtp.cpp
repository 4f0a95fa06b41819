// The drop box over libmtp: the Linux build's way to a phone's shared storage.
#include "sync/mtp_sync_transport.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QUuid>

#include <cstdlib>
#include <cstring>
#include <libmtp.h>
#include <mutex>

namespace tachoria::sync {

namespace {

// A phone's tree can be large: the walk that looks for the drop box stops after this many objects.
constexpr int kFolderSearchBudget = 20000;
constexpr int kFolderSearchDepth = 6;

bool fail(QString* error, const QString& text)
{
    if (error)
        *error = text;
    return false;
}

void initialiseLibrary()
{
    static std::once_flag once;
    std::call_once(once, [] { LIBMTP_Init(); });
}

// What libmtp has to say about the last failure on a device, cleared once read.
QString errorStack(LIBMTP_mtpdevice_t* device)
{
    QStringList texts;
    for (LIBMTP_error_t* e = device ? LIBMTP_Get_Errorstack(device) : nullptr; e; e = e->next) {
        if (e->error_text)
            texts.append(QString::fromUtf8(e->error_text).trimmed());
    }
    if (device)
        LIBMTP_Clear_Errorstack(device);
    return texts.join(QStringLiteral("; "));
}

QString withDetail(const QString& text, const QString& detail)
{
    return detail.isEmpty() ? text : QStringLiteral("%1 (%2)").arg(text, detail);
}

// One listing of a folder's objects, released as a whole.
class Listing
{
public:
    Listing(LIBMTP_mtpdevice_t* device, uint32_t storage, uint32_t parent)
        : m_head(LIBMTP_Get_Files_And_Folders(device, storage, parent))
    {
    }
    ~Listing()
    {
        while (m_head) {
            LIBMTP_file_t* next = m_head->next;
            LIBMTP_destroy_file_t(m_head);
            m_head = next;
        }
    }
    Listing(const Listing&) = delete;
    Listing& operator=(const Listing&) = delete;
    LIBMTP_file_t* head() const { return m_head; }

private:
    LIBMTP_file_t* m_head;
};

struct Folder
{
    uint32_t storage = 0;
    uint32_t id = 0;
};

} // namespace

struct MtpSyncTransport::Impl
{
    LIBMTP_mtpdevice_t* device = nullptr;
    QList<Folder> folders;
    int activeFolder = -1;
    bool ready = false;

    void release()
    {
        if (device)
            LIBMTP_Release_Device(device);
        device = nullptr;
        folders.clear();
        activeFolder = -1;
        ready = false;
    }

    // Depth first from a storage's root; a folder of the drop box's name is taken, not entered.
    void findNamedFolders(uint32_t storage, uint32_t parent, int depth, int* budget, QStringList* seen)
    {
        if (depth > kFolderSearchDepth || *budget <= 0)
            return;
        const Listing listing(device, storage, parent);
        for (LIBMTP_file_t* f = listing.head(); f && *budget > 0; f = f->next) {
            --*budget;
            if (f->filetype != LIBMTP_FILETYPE_FOLDER)
                continue;
            const QString name = QString::fromUtf8(f->filename);
            seen->append(name);
            if (name.compare(folderName(), Qt::CaseInsensitive) == 0)
                folders.append({storage, f->item_id});
            else
                findNamedFolders(storage, f->item_id, depth + 1, budget, seen);
        }
    }

    bool openOne(LIBMTP_raw_device_t* raw, const ProgressCallback& progress, QString* error)
    {
        if (progress)
            progress(QStringLiteral("Подключение к телефону через MTP…"));
        device = LIBMTP_Open_Raw_Device_Uncached(raw);
        if (!device)
            return fail(error, QStringLiteral("Не удалось открыть телефон через MTP"));
        if (LIBMTP_Get_Storage(device, LIBMTP_STORAGE_SORTBY_NOTSORTED) != 0 || !device->storage) {
            const QString detail = errorStack(device);
            release();
            return fail(error,
                        withDetail(QStringLiteral("Не удалось получить файловый интерфейс MTP"), detail));
        }
        QStringList seen;
        int budget = kFolderSearchBudget;
        for (LIBMTP_devicestorage_t* s = device->storage; s; s = s->next) {
            if (progress)
                progress(QStringLiteral("[объект] %1").arg(QString::fromUtf8(s->StorageDescription)));
            findNamedFolders(s->id, LIBMTP_FILES_AND_FOLDERS_ROOT, 1, &budget, &seen);
        }
        if (folders.isEmpty()) {
            release();
            return fail(error, QStringLiteral("Папка TachoriaSyncMTP не найдена. Просмотренные MTP-папки: %1")
                                   .arg(seen.isEmpty() ? QStringLiteral("нет папок")
                                                       : seen.join(QStringLiteral("; "))));
        }
        return true;
    }

    // Files (not folders) of one drop-box folder; false when the phone does not answer.
    bool filesOf(const Folder& folder, QList<std::pair<QString, uint32_t>>* files, QString* error)
    {
        LIBMTP_Clear_Errorstack(device);
        const Listing listing(device, folder.storage, folder.id);
        const QString detail = errorStack(device);
        if (!listing.head() && !detail.isEmpty())
            return fail(error, withDetail(QStringLiteral("Ошибка чтения списка MTP-файлов"), detail));
        for (LIBMTP_file_t* f = listing.head(); f; f = f->next) {
            if (f->filetype != LIBMTP_FILETYPE_FOLDER)
                files->append({QString::fromUtf8(f->filename), f->item_id});
        }
        return true;
    }

    // The first folder, in the list's order, that holds the name.
    bool findFile(const QString& name, uint32_t* id, int* folderIndex, QString* error)
    {
        *folderIndex = -1;
        for (int i = 0; i < folders.size(); ++i) {
            QList<std::pair<QString, uint32_t>> files;
            if (!filesOf(folders.at(i), &files, error))
                return false;
            for (const auto& [fileName, itemId] : std::as_const(files)) {
                if (fileName == name) {
                    *id = itemId;
                    *folderIndex = i;
                    return true;
                }
            }
        }
        return true;
    }

    bool send(const QString& localPath, const QString& name, const Folder& folder, uint32_t* itemId)
    {
        LIBMTP_file_t* file = LIBMTP_new_file_t();
        file->filename = strdup(name.toUtf8().constData());
        file->filesize = quint64(QFileInfo(localPath).size());
        file->filetype = LIBMTP_FILETYPE_UNKNOWN;
        file->parent_id = folder.id;
        file->storage_id = folder.storage;
        const bool sent = LIBMTP_Send_File_From_File(device, QFile::encodeName(localPath).constData(), file,
                                                     nullptr, nullptr) == 0;
        *itemId = file->item_id;
        LIBMTP_destroy_file_t(file);
        return sent;
    }

    bool rename(uint32_t itemId, const QString& name)
    {
        LIBMTP_file_t* file = LIBMTP_Get_Filemetadata(device, itemId);
        if (!file)
            return false;
        const bool renamed = LIBMTP_Set_File_Name(device, file, name.toUtf8().constData()) == 0;
        LIBMTP_destroy_file_t(file);
        return renamed;
    }
};

MtpSyncTransport::MtpSyncTransport(int openWaitMs)
    : m_impl(std::make_unique<Impl>())
    , m_openWaitMs(openWaitMs)
{
}

MtpSyncTransport::~MtpSyncTransport()
{
    close();
}

QString MtpSyncTransport::requestFileForExchangeFile(const QString& remoteName)
{
    for (const char* prefix : {"Response_", "Result_", "Ack_"}) {
        const QString start = QString::fromLatin1(prefix);
        if (!remoteName.startsWith(start))
            continue;
        const QString rest = remoteName.mid(start.size());
        return QStringLiteral("Request_%1.tsync").arg(rest.left(rest.indexOf(QLatin1Char('.'))));
    }
    return QString();
}

bool MtpSyncTransport::open(const std::atomic<bool>& cancel, const ProgressCallback& progress, QString* error)
{
    close();
    initialiseLibrary();
    const auto report = [&progress](const QString& text) {
        if (progress)
            progress(text);
    };
    report(QStringLiteral("Ожидание телефона в режиме «Передача файлов (MTP)»…"));
    QString detail;
    for (int waited = 0; !cancel && waited < m_openWaitMs; waited += kPollMs) {
        LIBMTP_raw_device_t* raw = nullptr;
        int count = 0;
        const LIBMTP_error_number_t found = LIBMTP_Detect_Raw_Devices(&raw, &count);
        if (found == LIBMTP_ERROR_NO_DEVICE_ATTACHED || (found == LIBMTP_ERROR_NONE && count == 0))
            detail = QStringLiteral("libmtp пока не сообщает подключённых устройств");
        else if (found != LIBMTP_ERROR_NONE)
            detail = QStringLiteral("libmtp пока не перечислил MTP-устройства (код %1)").arg(int(found));
        else
            detail =
                QStringLiteral("Найдено MTP-устройств: %1; открываю файловую систему телефона…").arg(count);
        for (int i = 0; i < count && !cancel; ++i) {
            QString deviceError;
            if (m_impl->openOne(&raw[i], progress, &deviceError)) {
                std::free(raw);
                m_impl->ready = true;
                report(QStringLiteral("Телефон найден, папка TachoriaSyncMTP готова"));
                return true;
            }
            detail = deviceError.isEmpty()
                         ? QStringLiteral("MTP-устройство открыто, но папка TachoriaSyncMTP не найдена")
                         : deviceError;
        }
        std::free(raw);
        if (waited % kReportMs == 0)
            report(QStringLiteral("MTP: %1. Разблокируйте Honor и оставьте USB в режиме «Передача файлов».")
                       .arg(detail));
        QThread::msleep(kPollMs);
    }
    close();
    return fail(error, cancel ? QStringLiteral("Синхронизация отменена")
                              : QStringLiteral("Не удалось открыть телефон через MTP: %1").arg(detail));
}

void MtpSyncTransport::close()
{
    m_impl->release();
}

bool MtpSyncTransport::listFiles(QStringList* names, QString* error)
{
    names->clear();
    if (!m_impl->ready)
        return fail(error, notOpenText());
    for (const Folder& folder : std::as_const(m_impl->folders)) {
        QList<std::pair<QString, uint32_t>> files;
        if (!m_impl->filesOf(folder, &files, error))
            return false;
        for (const auto& file : std::as_const(files))
            names->append(file.first);
    }
    return true;
}

bool MtpSyncTransport::download(const QString& remoteName, const QString& localPath, QString* error)
{
    if (!m_impl->ready)
        return fail(error, notOpenText());
    uint32_t id = 0;
    int folder = -1;
    if (!m_impl->findFile(remoteName, &id, &folder, error))
        return false;
    if (folder < 0)
        return fail(error, QStringLiteral("Файл %1 не найден в TachoriaSyncMTP").arg(remoteName));
    QFile local(localPath);
    if (!local.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return fail(error,
                    QStringLiteral("Не удалось создать локальный файл для MTP-передачи: %1").arg(localPath));
    local.close();
    if (LIBMTP_Get_File_To_File(m_impl->device, id, QFile::encodeName(localPath).constData(), nullptr,
                                nullptr) != 0)
        return fail(error, withDetail(QStringLiteral("Не удалось скачать файл с телефона"),
                                      errorStack(m_impl->device)));
    if (QFileInfo(localPath).size() == 0)
        return fail(error, QStringLiteral("MTP вернул пустой поток для %1.").arg(remoteName));
    return true;
}

bool MtpSyncTransport::upload(const QString& localPath, const QString& remoteName, QString* error)
{
    if (!m_impl->ready)
        return fail(error, notOpenText());
    if (!QFile(localPath).open(QIODevice::ReadOnly))
        return fail(error, QStringLiteral("Не удалось открыть файл для передачи: %1").arg(localPath));
    int folder = m_impl->activeFolder >= 0 ? m_impl->activeFolder : 0;
    // Every file of one session goes where the phone put its request.
    const QString request = requestFileForExchangeFile(remoteName);
    if (!request.isEmpty()) {
        uint32_t id = 0;
        int holder = -1;
        if (m_impl->findFile(request, &id, &holder, nullptr) && holder >= 0)
            folder = holder;
    }
    const Folder target = m_impl->folders.at(folder);
    const QString temporary = remoteName + QLatin1Char('.') +
                              QUuid::createUuid().toString(QUuid::WithoutBraces) +
                              QStringLiteral(".uploading");
    uint32_t itemId = 0;
    if (!m_impl->send(localPath, temporary, target, &itemId)) {
        const QString detail = errorStack(m_impl->device);
        remove(temporary, nullptr);
        return fail(error,
                    QStringLiteral("Не удалось передать файл %1 на телефон: %2").arg(remoteName, detail));
    }
    // The other side must see the final name only once the file is whole; a phone that refuses the
    // rename gets the file under its final name directly.
    if (m_impl->rename(itemId, remoteName))
        return true;
    LIBMTP_Delete_Object(m_impl->device, itemId);
    if (m_impl->send(localPath, remoteName, target, &itemId))
        return true;
    return fail(error, QStringLiteral("Не удалось передать файл %1 на телефон: %2")
                           .arg(remoteName, errorStack(m_impl->device)));
}

bool MtpSyncTransport::uploadToAllFolders(const QString& localPath, const QString& remoteName, QString* error)
{
    if (!m_impl->ready)
        return fail(error, notOpenText());
    bool done = true;
    for (int i = 0; i < m_impl->folders.size() && done; ++i) {
        m_impl->activeFolder = i;
        done = upload(localPath, remoteName, error);
    }
    m_impl->activeFolder = -1;
    return done;
}

bool MtpSyncTransport::remove(const QString& remoteName, QString* error)
{
    if (!m_impl->ready)
        return fail(error, notOpenText());
    for (const Folder& folder : std::as_const(m_impl->folders)) {
        QList<std::pair<QString, uint32_t>> files;
        if (!m_impl->filesOf(folder, &files, error))
            return false;
        for (const auto& [name, id] : std::as_const(files)) {
            if (name == remoteName && LIBMTP_Delete_Object(m_impl->device, id) != 0)
                return fail(error, QStringLiteral("Не удалось удалить временный MTP-файл"));
        }
    }
    return true;
}

} // namespace tachoria::sync
