#include "logging/application_logger.h"

#include <QCoreApplication>
#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QMutexLocker>
#include <QThread>

namespace tachoria::logging {

namespace {

struct JournalState
{
    QMutex mutex;
    QString directory;
    bool enabled = true;
    QtMessageHandler previousHandler = nullptr;
    bool handlerInstalled = false;
};

JournalState& state()
{
    static JournalState journal;
    return journal;
}

// The date is accepted and ignored on purpose: one file grows across days until rotation.
QString journalPath(const QString& directory, const QDate& /*today*/)
{
    return QDir(directory).filePath(QStringLiteral("Tachoria.log"));
}

void rotate(const QString& path)
{
    const QFileInfo current(path);
    if (!current.exists() || current.size() < ApplicationLogger::kRotateSizeBytes)
        return;
    const auto archive = [&path](int index) { return path + QLatin1Char('.') + QString::number(index); };
    for (int i = ApplicationLogger::kArchiveCount - 1; i >= 1; --i) {
        if (QFile::exists(archive(i))) {
            QFile::remove(archive(i + 1));
            QFile::rename(archive(i), archive(i + 1));
        }
    }
    QFile::remove(archive(1));
    QFile::rename(path, archive(1));
}

// Caller holds the mutex. Nothing in here may emit a Qt message: the handler would re-enter.
void writeUnlocked(Level level, const QString& category, const QString& message, const QString& operation)
{
    JournalState& journal = state();
    if (!journal.enabled || journal.directory.isEmpty())
        return;
    QDir().mkpath(journal.directory);
    const QString path = journalPath(journal.directory, QDate::currentDate());
    rotate(path);

    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text))
        return;

    QJsonObject record;
    record.insert(QStringLiteral("timestamp"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));
    record.insert(QStringLiteral("level"), ApplicationLogger::levelWord(level));
    record.insert(QStringLiteral("category"), category);
    record.insert(QStringLiteral("operation"), operation);
    record.insert(QStringLiteral("thread"),
                  QString::number(reinterpret_cast<quintptr>(QThread::currentThreadId()), 16));
    record.insert(QStringLiteral("pid"),
                  static_cast<qint64>(static_cast<qint32>(QCoreApplication::applicationPid())));
    record.insert(QStringLiteral("message"), message);

    QByteArray line = QJsonDocument(record).toJson(QJsonDocument::Compact);
    line.append('\n');
    file.write(line);
    file.flush();
    file.close();
}

} // namespace

QString ApplicationLogger::levelWord(Level level)
{
    switch (level) {
    case Level::Debug:
        return QStringLiteral("debug");
    case Level::Info:
        return QStringLiteral("info");
    case Level::Warning:
        return QStringLiteral("warning");
    case Level::Error:
        return QStringLiteral("error");
    case Level::Critical:
        return QStringLiteral("critical");
    }
    return QStringLiteral("info");
}

void ApplicationLogger::initialize(const QString& directory, bool enabled)
{
    JournalState& journal = state();
    QMutexLocker lock(&journal.mutex);
    journal.directory = directory;
    journal.enabled = enabled;
    if (!journal.handlerInstalled) {
        journal.previousHandler = qInstallMessageHandler(&ApplicationLogger::messageHandler);
        journal.handlerInstalled = true;
    }
    QDir().mkpath(directory);
    writeUnlocked(Level::Info, QStringLiteral("application"), QStringLiteral("Журнал приложения запущен"),
                  QString());
}

void ApplicationLogger::shutdown()
{
    JournalState& journal = state();
    QMutexLocker lock(&journal.mutex);
    if (journal.handlerInstalled) {
        qInstallMessageHandler(journal.previousHandler);
        journal.handlerInstalled = false;
    }
    journal.previousHandler = nullptr;
    journal.directory.clear();
}

void ApplicationLogger::setEnabled(bool enabled)
{
    JournalState& journal = state();
    QMutexLocker lock(&journal.mutex);
    journal.enabled = enabled;
}

bool ApplicationLogger::enabled()
{
    JournalState& journal = state();
    QMutexLocker lock(&journal.mutex);
    return journal.enabled;
}

QString ApplicationLogger::currentFilePath()
{
    JournalState& journal = state();
    QMutexLocker lock(&journal.mutex);
    if (journal.directory.isEmpty())
        return QString();
    return journalPath(journal.directory, QDate::currentDate());
}

void ApplicationLogger::write(Level level, const QString& category, const QString& message,
                              const QString& operation)
{
    JournalState& journal = state();
    QMutexLocker lock(&journal.mutex);
    writeUnlocked(level, category, message, operation);
}

void ApplicationLogger::protocol(const QString& direction, const QString& operation,
                                 const QByteArray& payload, const QString& port, const QString& category)
{
    const QString message = QStringLiteral("%1 %2 bytes: %3")
                                .arg(direction)
                                .arg(payload.size())
                                .arg(QString::fromLatin1(payload.toHex(' ').toUpper()));
    QString fullOperation = operation;
    if (!port.isEmpty())
        fullOperation += QStringLiteral("; port=") + port;
    write(Level::Debug, category, message, fullOperation);
}

void ApplicationLogger::messageHandler(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    Level level = Level::Info;
    switch (type) {
    case QtDebugMsg:
        level = Level::Debug;
        break;
    case QtWarningMsg:
        level = Level::Warning;
        break;
    case QtCriticalMsg:
    case QtFatalMsg:
        level = Level::Critical;
        break;
    default:
        level = Level::Info;
        break;
    }
    // Qt names an uncategorised message "default"; the journal files those under "qt".
    const bool hasCategory =
        context.category && *context.category && qstrcmp(context.category, "default") != 0;
    const QString category = hasCategory ? QString::fromUtf8(context.category) : QStringLiteral("qt");
    write(level, category, text, QString());

    QtMessageHandler previous = nullptr;
    {
        JournalState& journal = state();
        QMutexLocker lock(&journal.mutex);
        previous = journal.previousHandler;
    }
    if (previous && previous != &ApplicationLogger::messageHandler)
        previous(type, context, text);
}

} // namespace tachoria::logging
