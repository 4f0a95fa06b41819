#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>

namespace tachoria::logging {

enum class Level
{
    Debug = 0,
    Info = 1,
    Warning = 2,
    Error = 3,
    Critical = 4,
};

// The process-wide journal: one compact JSON object per line in "Tachoria.log", rotated by size.
// Every operation is static and thread-safe; none of them ever fails its caller.
class ApplicationLogger
{
public:
    static constexpr qint64 kRotateSizeBytes = 5 * 1024 * 1024;
    static constexpr int kArchiveCount = 7;

    static void initialize(const QString& directory, bool enabled);
    static void shutdown();

    static void setEnabled(bool enabled);
    static bool enabled();

    static QString currentFilePath();

    static void write(Level level, const QString& category, const QString& message,
                      const QString& operation = QString());
    static void protocol(const QString& direction, const QString& operation, const QByteArray& payload,
                         const QString& port, const QString& category);

    static void messageHandler(QtMsgType type, const QMessageLogContext& context, const QString& text);

    static QString levelWord(Level level);

private:
    ApplicationLogger() = delete;
};

} // namespace tachoria::logging
