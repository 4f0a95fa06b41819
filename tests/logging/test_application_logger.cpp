#include "logging/application_logger.h"

#include <QCoreApplication>
#include <QDir>
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
using namespace Qt::StringLiterals;

namespace {

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(content);
}

// The journal's records as "level|category|operation|message"; a torn or merged line shows as "torn".
QStringList records(const QString& path)
{
    QStringList out;
    for (const QByteArray& line : readFile(path).split('\n')) {
        const QJsonObject r = QJsonDocument::fromJson(line).object();
        if (!line.isEmpty())
            out << (r.size() != 7 ? u"torn"_s
                                  : QStringList{r[u"level"].toString(), r[u"category"].toString(),
                                                r[u"operation"].toString(), r[u"message"].toString()}
                                        .join(u'|'));
    }
    return out;
}

QStringList g_earlierHandlerSaw;

void earlierHandler(QtMsgType, const QMessageLogContext&, const QString& text)
{
    g_earlierHandlerSaw << text;
}

Q_LOGGING_CATEGORY(lcProbe, "tachoria.probe")

const QString kStarted = u"info|application||Журнал приложения запущен"_s;

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
        m_log = QDir(m_logDir).filePath(u"Tachoria.log"_s);
        ApplicationLogger::initialize(m_logDir, true);
    }

    void cleanup() { ApplicationLogger::shutdown(); }

    // One compact JSON object of seven keys a line; every level has its word, any other writes "info";
    // a wire dump is a debug record of its direction, size and bytes.
    void records()
    {
        QCOMPARE(ApplicationLogger::currentFilePath(), m_log);
        for (int level : {0, 1, 2, 3, 4, 9})
            ApplicationLogger::write(static_cast<Level>(level), u"calibration"_s, u"m%1"_s.arg(level),
                                     u"write"_s);
        ApplicationLogger::write(Level::Error, u"c"_s, u"a\nb\r\nc"_s);
        ApplicationLogger::protocol(u"TX"_s, u"read"_s, QByteArray::fromHex("80ee0a"), u"COM3"_s,
                                    u"protocol"_s);
        ApplicationLogger::protocol(u"RX"_s, u"read"_s, QByteArray(), QString(), u"serial.io"_s);
        QCOMPARE(
            ::records(m_log),
            QStringList({kStarted, u"debug|calibration|write|m0"_s, u"info|calibration|write|m1"_s,
                         u"warning|calibration|write|m2"_s, u"error|calibration|write|m3"_s,
                         u"critical|calibration|write|m4"_s, u"info|calibration|write|m9"_s,
                         u"error|c||a\nb\r\nc"_s, u"debug|protocol|read; port=COM3|TX 3 bytes: 80 EE 0A"_s,
                         u"debug|serial.io|read|RX 0 bytes: "_s}));
        const QByteArray first = readFile(m_log).split('\n').first();
        QVERIFY2(
            QRegularExpression(
                u"^\\{\"category\":\"application\",\"level\":\"info\",\"message\":\"Журнал приложения "
                u"запущен\",\"operation\":\"\",\"pid\":%1,\"thread\":\"[0-9a-f]+\",\"timestamp\":\"\\d{4}-"
                u"\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z\"\\}$"_s.arg(
                    QCoreApplication::applicationPid()))
                .match(QString::fromUtf8(first))
                .hasMatch(),
            first.constData());
    }

    void rotation_data()
    {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<bool>("rotated");
        QTest::newRow("one byte under 5 MiB") << qint64(5242879) << false;
        QTest::newRow("exactly 5 MiB") << qint64(5242880) << true;
    }

    // The file is rotated before the write that finds it at 5 MiB; seven archives stand, the oldest goes.
    void rotation()
    {
        QFETCH(qint64, size);
        QFETCH(bool, rotated);
        writeFile(m_log, QByteArray(size, 'x'));
        for (int i = 1; i <= 7; ++i)
            writeFile(m_log + u'.' + QString::number(i), "archive " + QByteArray::number(i));
        ApplicationLogger::write(Level::Info, u"t"_s, u"next"_s);
        QCOMPARE(readFile(m_log + u".1"_s).size(), rotated ? size : 9);
        for (int i = 2; i <= 7; ++i)
            QCOMPARE(readFile(m_log + u'.' + QString::number(i)),
                     "archive " + QByteArray::number(rotated ? i - 1 : i));
        QVERIFY(!QFile::exists(m_log + u".8"_s));
        QCOMPARE(::records(m_log),
                 QStringList{rotated ? u"info|t||next"_s : u"torn"_s}); // appended to the x's
    }

    void concurrentWritersWriteWholeLines()
    {
        std::vector<std::thread> writers;
        for (int t = 0; t < 8; ++t)
            writers.emplace_back([t] {
                for (int i = 0; i < 300; ++i)
                    ApplicationLogger::write(Level::Debug, u"thread"_s,
                                             u"t%1 r%2 %3"_s.arg(t).arg(i).arg(QString(100, u'z')));
            });
        for (auto& writer : writers)
            writer.join();
        const QStringList written = ::records(m_log);
        QCOMPARE(written.size(), 8 * 300 + 1);
        QVERIFY(!written.contains(u"torn"_s));
    }

    // A deleted folder comes back; a switched-off journal writes nothing until it is switched on again,
    // and after shutdown nothing at all.
    void onAndOff()
    {
        QVERIFY(QDir(m_logDir).removeRecursively());
        ApplicationLogger::write(Level::Info, u"t"_s, u"after delete"_s);
        ApplicationLogger::setEnabled(false);
        QVERIFY(!ApplicationLogger::enabled());
        ApplicationLogger::write(Level::Error, u"t"_s, u"dropped"_s);
        ApplicationLogger::setEnabled(true);
        ApplicationLogger::write(Level::Error, u"t"_s, u"kept"_s);
        ApplicationLogger::shutdown();
        QCOMPARE(ApplicationLogger::currentFilePath(), QString());
        ApplicationLogger::write(Level::Error, u"t"_s, u"late"_s);
        QCOMPARE(::records(m_log), QStringList({u"info|t||after delete"_s, u"error|t||kept"_s}));
        QDir(m_logDir).removeRecursively();
        ApplicationLogger::initialize(m_logDir, false);
        QVERIFY(!QFile::exists(m_log));
    }

    void qtMessagesAreRouted()
    {
        ApplicationLogger::shutdown();
        const QtMessageHandler original = qInstallMessageHandler(earlierHandler);
        ApplicationLogger::initialize(m_logDir, true);
        qWarning("plain warning");
        qCDebug(lcProbe) << "categorised";
        qCritical("critical one");
        qInfo("information");
        ApplicationLogger::shutdown();
        // The journal put the earlier handler back and had called it for each message.
        QVERIFY(qInstallMessageHandler(original) == &earlierHandler);
        QCOMPARE(g_earlierHandlerSaw.size(), 4);
        QCOMPARE(::records(m_log).mid(2),
                 QStringList({u"warning|qt||plain warning"_s, u"debug|tachoria.probe||categorised"_s,
                              u"critical|qt||critical one"_s, u"info|qt||information"_s}));
    }
};

QTEST_GUILESS_MAIN(TestApplicationLogger)
#include "test_application_logger.moc"
