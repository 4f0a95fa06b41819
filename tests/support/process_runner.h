#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace tachoria::test {

// Path of a program built by this project.
QString binaryPath(const QString& name);

struct ProcessResult
{
    bool finished = false;
    int exitCode = -1;
    qint64 pid = 0;
    QString standardOutput;
    QString standardError;
};

// Runs a program to its end (or kills it after timeoutMs) and collects what it printed.
ProcessResult runProcess(const QString& program, const QStringList& arguments, int timeoutMs = 30000);

// Journal records (one JSON object per line) that the given process wrote into a log file.
QList<QVariantMap> journalRecords(const QString& logFile, qint64 pid);

} // namespace tachoria::test
