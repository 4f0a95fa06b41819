// `tachoria --probe-ddd` as scripts use it: one JSON document, exit 0 or 9.
#include "../support/process_runner.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using tachoria::test::binaryPath;
using tachoria::test::runProcess;

class TestProbeDddEndToEnd : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString write(const QString& name, const QByteArray& bytes)
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(bytes);
        return path;
    }

private Q_SLOTS:
    void probe_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("vin");
        QTest::addColumn<int>("blocks");
        QTest::newRow("vehicle unit")
            << QByteArray::fromHex("7601") + "XTA210990Y1234567" + QByteArray(1, '\0') + "A123BC77" << 0
            << QStringLiteral("Тахограф") << QStringLiteral("XTA210990Y1234567") << 1;
        QTest::newRow("driver card") << QByteArray::fromHex("000200001901") + QByteArray(24, '\x20') << 0
                                     << QStringLiteral("Карта водителя") << QString() << 1;
        QTest::newRow("unknown") << QByteArray("not a ddd file") << 9 << QString() << QString() << 0;
    }

    void probe()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, exitCode);
        const auto result =
            runProcess(binaryPath(QStringLiteral("tachoria")),
                       {QStringLiteral("--probe-ddd"), write(QStringLiteral("file.ddd"), bytes)});
        QCOMPARE(result.exitCode, exitCode);
        if (exitCode != 0) {
            QCOMPARE(result.standardOutput, QString());
            QCOMPARE(result.standardError.trimmed(),
                     QStringLiteral("Файл не похож на DDD: неизвестный заголовок"));
            return;
        }
        QJsonParseError error{};
        const QJsonObject document = QJsonDocument::fromJson(result.standardOutput.toUtf8(), &error).object();
        QCOMPARE(error.error, QJsonParseError::NoError);
        QCOMPARE(document.value(QStringLiteral("datasets")).toObject().size(), 38);
        const QJsonObject summary = document.value(QStringLiteral("summary")).toObject();
        QTEST(summary.value(QStringLiteral("fileType")).toString(), "type");
        QTEST(summary.value(QStringLiteral("vin")).toString(), "vin");
        const QJsonArray blocks = document.value(QStringLiteral("blocks")).toArray();
        QTEST(int(blocks.size()), "blocks");
        QVERIFY(!blocks.first().toObject().contains(QStringLiteral("payloadHex")));
    }

    void missingFile()
    {
        const auto result =
            runProcess(binaryPath(QStringLiteral("tachoria")),
                       {QStringLiteral("--probe-ddd"), m_dir.filePath(QStringLiteral("absent.ddd"))});
        QCOMPARE(result.exitCode, 9);
        QVERIFY(!result.standardError.trimmed().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestProbeDddEndToEnd)
#include "test_probe_ddd_e2e.moc"
