#include "process_runner.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QVariantMap>

namespace tachoria::test {

QString binaryPath(const QString& name)
{
    return QDir(QStringLiteral(TACHORIA_BIN_DIR)).filePath(name);
}

ProcessResult runProcess(const QString& program, const QStringList& arguments, int timeoutMs)
{
    ProcessResult result;
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForStarted(10000))
        return result;
    result.pid = process.processId();
    result.finished = process.waitForFinished(timeoutMs);
    if (!result.finished) {
        process.kill();
        process.waitForFinished(5000);
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.standardOutput = QString::fromUtf8(process.readAllStandardOutput());
    result.standardError = QString::fromUtf8(process.readAllStandardError());
    return result;
}

QList<QVariantMap> journalRecords(const QString& logFile, qint64 pid)
{
    QList<QVariantMap> records;
    QFile file(logFile);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return records;
    while (!file.atEnd()) {
        const QJsonDocument document = QJsonDocument::fromJson(file.readLine());
        const QVariantMap record = document.object().toVariantMap();
        if (record.value(QStringLiteral("pid")).toLongLong() == pid)
            records.append(record);
    }
    return records;
}

} // namespace tachoria::test
