#include "logging/application_logger.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <thread>
#include <vector>

using tachoria::logging::ApplicationLogger;
using tachoria::logging::Level;

namespace {

QList<QJsonObject> readRecords(const QString& path)
{
    QList<QJsonObject> records;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return records;
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (line.isEmpty())
            continue;
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(line, &error);
        if (error.error != QJsonParseError::NoError || !document.isObject())
            return {}; // a torn or merged line fails the caller's count
        records.append(document.object());
    }
    return records;
}

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(content);
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct CapturedMessage
{
    QtMsgType type;
    QString text;
};
QList<CapturedMessage> g_earlierHandlerSaw;

void earlierHandler(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    g_earlierHandlerSaw.append({type, text});
}

Q_LOGGING_CATEGORY(lcProbe, "tachoria.probe")

} // namespace

class TestApplicationLogger : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_logDir;
    QString m_log;

private Q_SLOTS:
    void init()
    {
        m_logDir = m_dir.filePath(QString::fromLatin1(QTest::currentTestFunction()));
        QDir(m_logDir).removeRecursively();
        m_log = QDir(m_logDir).filePath(QStringLiteral("Tachoria.log"));
        ApplicationLogger::initialize(m_logDir, true);
    }

    void cleanup() { ApplicationLogger::shutdown(); }

    void firstRecordHasTheSevenKeys()
    {
        QCOMPARE(ApplicationLogger::currentFilePath(), m_log);
        const auto records = readRecords(m_log);
        QCOMPARE(records.size(), 1);
        const QJsonObject first = records.first();
        QStringList keys = first.keys();
        QCOMPARE(keys,
                 (QStringList{QStringLiteral("category"), QStringLiteral("level"), QStringLiteral("message"),
                              QStringLiteral("operation"), QStringLiteral("pid"), QStringLiteral("thread"),
                              QStringLiteral("timestamp")}));
        QCOMPARE(first.value(QStringLiteral("category")).toString(), QStringLiteral("application"));
        QCOMPARE(first.value(QStringLiteral("level")).toString(), QStringLiteral("info"));
        QCOMPARE(first.value(QStringLiteral("message")).toString(),
                 QStringLiteral("Журнал приложения запущен"));
        QCOMPARE(first.value(QStringLiteral("operation")).toString(), QString());
        QCOMPARE(first.value(QStringLiteral("pid")).toInteger(), QCoreApplication::applicationPid());
        QVERIFY(QRegularExpression(QStringLiteral("^[0-9a-f]+$"))
                    .match(first.value(QStringLiteral("thread")).toString())
                    .hasMatch());
        QVERIFY(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z$"))
                    .match(first.value(QStringLiteral("timestamp")).toString())
                    .hasMatch());
        // Compact JSON, one object per line.
        QVERIFY(readFile(m_log).startsWith("{\"category\":\"application\",\"level\":\"info\","));
    }

    void records_data()
    {
        QTest::addColumn<int>("level");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("levelWord");
        QTest::newRow("debug") << 0 << QStringLiteral("d") << QStringLiteral("debug");
        QTest::newRow("warning") << 2 << QStringLiteral("w") << QStringLiteral("warning");
        QTest::newRow("critical") << 4 << QStringLiteral("c") << QStringLiteral("critical");
        QTest::newRow("out of range writes info") << 9 << QStringLiteral("x") << QStringLiteral("info");
        QTest::newRow("line break stays on one line")
            << 3 << QStringLiteral("a\nb\r\nc") << QStringLiteral("error");
    }

    void records()
    {
        QFETCH(int, level);
        QFETCH(QString, message);
        ApplicationLogger::write(static_cast<Level>(level), QStringLiteral("calibration"), message,
                                 QStringLiteral("write"));
        const QList<QByteArray> lines = readFile(m_log).split('\n');
        QCOMPARE(lines.size(), 3); // two records and the empty rest after the last "\n"
        const auto records = readRecords(m_log);
        QCOMPARE(records.size(), 2);
        QCOMPARE(records.last().value(QStringLiteral("message")).toString(), message);
        QTEST(records.last().value(QStringLiteral("level")).toString(), "levelWord");
        QCOMPARE(records.last().value(QStringLiteral("operation")).toString(), QStringLiteral("write"));
    }

    void protocolDumps_data()
    {
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QString>("port");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("operation");
        QTest::newRow("with port") << QByteArray::fromHex("80ee0a") << QStringLiteral("COM3")
                                   << QStringLiteral("TX 3 bytes: 80 EE 0A")
                                   << QStringLiteral("read; port=COM3");
        QTest::newRow("without port") << QByteArray::fromHex("ff") << QString()
                                      << QStringLiteral("TX 1 bytes: FF") << QStringLiteral("read");
        QTest::newRow("empty payload")
            << QByteArray() << QString() << QStringLiteral("TX 0 bytes: ") << QStringLiteral("read");
    }

    void protocolDumps()
    {
        QFETCH(QByteArray, payload);
        QFETCH(QString, port);
        ApplicationLogger::protocol(QStringLiteral("TX"), QStringLiteral("read"), payload, port,
                                    QStringLiteral("protocol"));
        const QJsonObject record = readRecords(m_log).last();
        QCOMPARE(record.value(QStringLiteral("level")).toString(), QStringLiteral("debug"));
        QCOMPARE(record.value(QStringLiteral("category")).toString(), QStringLiteral("protocol"));
        QTEST(record.value(QStringLiteral("message")).toString(), "message");
        QTEST(record.value(QStringLiteral("operation")).toString(), "operation");
    }

    void rotationBoundary_data()
    {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<bool>("rotated");
        QTest::newRow("one byte under 5 MiB") << qint64(5242879) << false;
        QTest::newRow("exactly 5 MiB") << qint64(5242880) << true;
    }

    void rotationBoundary()
    {
        QFETCH(qint64, size);
        QFETCH(bool, rotated);
        writeFile(m_log, QByteArray(size, 'x'));
        ApplicationLogger::write(Level::Info, QStringLiteral("t"), QStringLiteral("next"));
        QCOMPARE(QFile::exists(m_log + QStringLiteral(".1")), rotated);
        QCOMPARE(QFileInfo(m_log).size() < size, rotated);
        if (rotated)
            QCOMPARE(QFileInfo(m_log + QStringLiteral(".1")).size(), size);
    }

    void rotationKeepsSevenArchives()
    {
        writeFile(m_log, QByteArray(ApplicationLogger::kRotateSizeBytes, 'c'));
        for (int i = 1; i <= 7; ++i)
            writeFile(m_log + QLatin1Char('.') + QString::number(i), "archive " + QByteArray::number(i));
        ApplicationLogger::write(Level::Info, QStringLiteral("t"), QStringLiteral("fresh"));

        QCOMPARE(readFile(m_log + QStringLiteral(".1")).size(), ApplicationLogger::kRotateSizeBytes);
        for (int i = 2; i <= 7; ++i)
            QCOMPARE(readFile(m_log + QLatin1Char('.') + QString::number(i)),
                     "archive " + QByteArray::number(i - 1));
        QVERIFY(!QFile::exists(m_log + QStringLiteral(".8")));
        const auto records = readRecords(m_log);
        QCOMPARE(records.size(), 1);
        QCOMPARE(records.first().value(QStringLiteral("message")).toString(), QStringLiteral("fresh"));
    }

    void concurrentWritersWriteWholeLines()
    {
        constexpr int kThreads = 8;
        constexpr int kRecords = 300;
        std::vector<std::thread> writers;
        for (int t = 0; t < kThreads; ++t) {
            writers.emplace_back([t] {
                for (int i = 0; i < kRecords; ++i) {
                    ApplicationLogger::write(
                        Level::Debug, QStringLiteral("thread"),
                        QStringLiteral("t%1 r%2 %3").arg(t).arg(i).arg(QString(100, QLatin1Char('z'))));
                }
            });
        }
        for (auto& writer : writers)
            writer.join();
        const auto records = readRecords(m_log);
        QCOMPARE(records.size(), kThreads * kRecords + 1);
        QSet<QString> threads;
        for (const auto& record : records)
            threads.insert(record.value(QStringLiteral("thread")).toString());
        QCOMPARE(threads.size(), kThreads + 1);
    }

    void deletedFolderComesBack()
    {
        QVERIFY(QDir(m_logDir).removeRecursively());
        ApplicationLogger::write(Level::Info, QStringLiteral("t"), QStringLiteral("after delete"));
        const auto records = readRecords(m_log);
        QCOMPARE(records.size(), 1);
        QCOMPARE(records.first().value(QStringLiteral("message")).toString(), QStringLiteral("after delete"));
    }

    void disabledJournalWritesNothing()
    {
        ApplicationLogger::shutdown();
        QDir(m_logDir).removeRecursively();
        ApplicationLogger::initialize(m_logDir, false);
        QVERIFY(!ApplicationLogger::enabled());
        ApplicationLogger::write(Level::Error, QStringLiteral("t"), QStringLiteral("dropped"));
        QVERIFY(!QFile::exists(m_log));
        ApplicationLogger::setEnabled(true);
        ApplicationLogger::write(Level::Error, QStringLiteral("t"), QStringLiteral("kept"));
        const auto records = readRecords(m_log);
        QCOMPARE(records.size(), 1);
        QCOMPARE(records.first().value(QStringLiteral("message")).toString(), QStringLiteral("kept"));
    }

    void afterShutdownWritesAreDropped()
    {
        ApplicationLogger::shutdown();
        QCOMPARE(ApplicationLogger::currentFilePath(), QString());
        ApplicationLogger::write(Level::Error, QStringLiteral("t"), QStringLiteral("late"));
        QCOMPARE(readRecords(m_log).size(), 1);
    }

    void qtMessagesAreRouted()
    {
        ApplicationLogger::shutdown();
        g_earlierHandlerSaw.clear();
        const QtMessageHandler original = qInstallMessageHandler(earlierHandler);
        ApplicationLogger::initialize(m_logDir, true);
        qWarning("plain warning");
        qCDebug(lcProbe) << "categorised";
        qCritical("critical one");
        ApplicationLogger::shutdown();
        // The journal put the earlier handler back and had called it for each message.
        QVERIFY(qInstallMessageHandler(original) == &earlierHandler);
        QCOMPARE(g_earlierHandlerSaw.size(), 3);

        // Two start records (one per initialize), then the three messages.
        const auto records = readRecords(m_log);
        QCOMPARE(records.size(), 5);
        QCOMPARE(records.at(2).value(QStringLiteral("category")).toString(), QStringLiteral("qt"));
        QCOMPARE(records.at(2).value(QStringLiteral("level")).toString(), QStringLiteral("warning"));
        QCOMPARE(records.at(2).value(QStringLiteral("message")).toString(), QStringLiteral("plain warning"));
        QCOMPARE(records.at(3).value(QStringLiteral("category")).toString(),
                 QStringLiteral("tachoria.probe"));
        QCOMPARE(records.at(3).value(QStringLiteral("level")).toString(), QStringLiteral("debug"));
        QCOMPARE(records.at(4).value(QStringLiteral("level")).toString(), QStringLiteral("critical"));
    }
};

QTEST_GUILESS_MAIN(TestApplicationLogger)
#include "test_application_logger.moc"
