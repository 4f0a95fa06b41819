#pragma once

#include "protocol/service_frame.h"
#include "protocol/tachograph_client.h"

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QString>

#include <atomic>
#include <functional>

namespace tachoria::download {

struct DownloadSettings
{
    QString portName;
    int startBaud = 9600;
    int maxBaud = 115200;
    bool useRalona = false;
    bool skipLinkControl = false;
    QString ralonaPortName;
    QString cardReaderName; // the PC's reader holding the workshop card
    QString cardPin;
    QByteArray cardData;
    QString filePrefix;
};

struct DownloadOptions
{
    bool skipCaCertificate = false;
    bool tachograph = false;
    bool nkm = false;
    bool card = false;
    bool authenticateCard = false;
    bool spare = false;
    bool overview = false;
    bool activities = false;
    bool eventsFaults = false;
    bool detailedSpeed = false;
    bool technicalData = false;
    int periodMode = 2;
    QDate periodBegin;
    QDate periodEnd;
    QDate sinceDate;
};

struct DownloadResult
{
    bool success = false;
    QString filePath;
    QString registration;
    QString nkmSerial;
    QString cardNumber;
    QString errorText;
};

struct RequestResult
{
    bool replied = false;
    quint8 responseCode = 0; // the reply's SID, or for a negative reply its code
    protocol::ServiceFrame frame;
    QString errorText;
};

// The blocks a download asks for; the code goes first in TransferData and labels the block. The
// names are also the temporary files' base names.
enum RequestType : quint8
{
    REQUEST_OVERVIEW = 0x01,
    REQUEST_ACTIVITIES = 0x02,
    REQUEST_EVENTS_FAULTS = 0x03,
    REQUEST_DETAILED_SPEED = 0x04,
    REQUEST_TECHNICAL_DATA = 0x05,
    REQUEST_CARD_DOWNLOAD = 0x06,
    REQUEST_SERTIFICAT_KEY_NKM = 0x81,
    REQUEST_SERTIFICAT_UC = 0x82,
    REQUEST_DATA_NKM = 0x84,
    REQUEST_ARHIV_NKM = 0x85,
};

// One whole download from a tachograph into a .ddd file: the baud ladder, the blocks, the temporary
// files, the final file, and a session that is always closed, whatever fails.
class DownloadWorkflow
{
public:
    using StatusCallback = std::function<void(const QString&)>;
    using ProgressCallback = std::function<void(int)>;
    using FrameHook = std::function<void(const protocol::ServiceFrame&)>;

    static constexpr int kPendingWaitMs = 5000;
    static constexpr int kLongPendingWaitMs = 1200000;
    static constexpr quint8 kResponsePending = 0x78;
    static constexpr quint8 kArchiveEnd = 0xFA;

    static DownloadResult run(const DownloadSettings& settings, const DownloadOptions& options,
                              const std::atomic_bool& stop, const StatusCallback& status = {},
                              const ProgressCallback& progress = {});

    static RequestResult sendService(protocol::TachographClient& client, quint8 sid, const QByteArray& data,
                                     const std::atomic_bool* stop, int attempts, int timeoutMs,
                                     bool longStep = false);
    // 0 on success; -1 no reply, -3 no reply to a segment, 127 refused, 250 end of the archive,
    // 0x12345678 an unexpected answer.
    static int transferData(protocol::TachographClient& client, quint8 type, const QByteArray& dates,
                            const std::atomic_bool* stop, QByteArray& payload, const FrameHook& hook = {},
                            const StatusCallback& status = {});
    // Appends to <folder>/<name>.tmp; the folder is the run's own (createRunFolder()).
    static bool appendTemp(const QString& folder, const QString& name, const QByteArray& bytes,
                           QString* error = nullptr);
    // Where a run keeps its temporary files: a folder of its own under "runs" in the download
    // directory, named by the run's start and process, so that runs at the same time never mix. A
    // failed run leaves its folder for inspection; folders older than kRunFolderDays go at a run's start.
    static QString runsDirectory();
    static QString createRunFolder(QString* error = nullptr);
    static void removeOldRunFolders(const QDateTime& now);
    static constexpr int kRunFolderDays = 7;
    static void resolveDateRange(const DownloadOptions& options, QDate& begin, QDate& end,
                                 QDate today = QDate());
    static qint64 unixDate(const QDate& date);
    static QString hexSafeName(const QString& text);
    static QString asciiWithQuestionMarks(const QByteArray& bytes);
    static bool parseNkmDownloadCount(const QByteArray& bytes, quint32& count);
    static int nkmDownloadPercent(quint32 done, quint32 total);
    static QString requestName(quint8 type);
    static QString requestFailureText(quint8 type);
    static QList<int> baudLadder();
};

QString registrationForFileName(const QByteArray& bytes);

} // namespace tachoria::download
