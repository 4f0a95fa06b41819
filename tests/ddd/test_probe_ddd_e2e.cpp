// `tachoria --probe-ddd` as scripts use it, on generated files: one JSON document, exit 0 or 9.
#include "../support/process_runner.h"
#include "ddd/ddd_report.h"
#include "tools/dddgen/ddd_generator.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using tachoria::test::binaryPath;
using tachoria::test::runProcess;
using namespace tachoria::dddgen;
using namespace Qt::StringLiterals;

class TestProbeDddEndToEnd : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString write(const QString& name, const QByteArray& bytes)
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("cannot write %s", qPrintable(path));
        return path;
    }

private Q_SLOTS:
    void knownFiles_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("identity");
        QTest::addColumn<QString>("identityKey");
        QTest::addColumn<QString>("busiestDataset");
        QTest::addColumn<int>("rows");
        QTest::addColumn<int>("blocks");
        QTest::newRow("driver card") << writeDriverCard(sampleDriverCard(28)) << u"Карта водителя"_s
                                     << u"RUD0000012345670"_s << u"cardNumber"_s << u"activityChanges"_s
                                     << 196 << 26;
        QTest::newRow("vehicle unit") << writeVehicleUnit(sampleVehicleUnit(7)) << u"Тахограф"_s
                                      << u"XTA210990Y1234567"_s << u"vin"_s << u"activityDaily"_s << 49 << 11;
    }

    void knownFiles()
    {
        QFETCH(QByteArray, bytes);
        const auto result =
            runProcess(binaryPath(u"tachoria"_s), {u"--probe-ddd"_s, write(u"file.ddd"_s, bytes)});
        QCOMPARE(result.exitCode, 0);
        QJsonParseError error{};
        const QJsonObject document = QJsonDocument::fromJson(result.standardOutput.toUtf8(), &error).object();
        QCOMPARE(error.error, QJsonParseError::NoError);
        QCOMPARE(document.keys(), QStringList({u"analysis"_s, u"blocks"_s, u"datasets"_s, u"summary"_s}));
        const QJsonObject datasets = document.value(u"datasets"_s).toObject();
        QStringList names = tachoria::ddd::DddReport::datasetNames();
        names.sort();
        QCOMPARE(datasets.keys(), names);
        QFETCH(QString, busiestDataset);
        QTEST(int(datasets.value(busiestDataset).toArray().size()), "rows");
        const QJsonObject summary = document.value(u"summary"_s).toObject();
        QTEST(summary.value(u"fileType"_s).toString(), "type");
        QFETCH(QString, identityKey);
        QTEST(summary.value(identityKey).toString(), "identity");
        QCOMPARE(summary.value(u"size"_s).toInt(), bytes.size());
        QVERIFY(document.value(u"analysis"_s).toObject().contains(u"compliance"_s));
        const QJsonArray blocks = document.value(u"blocks"_s).toArray();
        QTEST(int(blocks.size()), "blocks");
        for (const QJsonValue& block : blocks) {
            QVERIFY(!block.toObject().contains(u"payloadHex"_s));
            QVERIFY(!block.toObject().value(u"data"_s).toObject().contains(u"hex"_s));
        }
    }

    // The generator's command line, from a JSON description, read back by the probe.
    void generatorFromDescription()
    {
        const QString description = write(u"week.json"_s, R"({"cardNumber": "RUD0000099999990", "days": [
            {"date": "2024-05-06", "changes": [{"time": "00:00", "activity": "rest", "inserted": false},
                                               {"time": "07:00", "activity": "driving"},
                                               {"time": "11:00", "activity": "rest", "inserted": false}]},
            {"date": "2024-05-07", "changes": [{"time": "08:00", "activity": "work"},
                                               {"time": "09:00", "activity": "rest", "inserted": false}]}]})");
        const QString card = m_dir.filePath(u"week.ddd"_s);
        const auto generated = runProcess(binaryPath(u"tachoria-dddgen"_s),
                                          {u"card"_s, u"--description"_s, description, u"--out"_s, card});
        QCOMPARE(generated.exitCode, 0);
        const auto result = runProcess(binaryPath(u"tachoria"_s), {u"--probe-ddd"_s, card});
        QCOMPARE(result.exitCode, 0);
        const QJsonObject document = QJsonDocument::fromJson(result.standardOutput.toUtf8()).object();
        QCOMPARE(document.value(u"summary"_s).toObject().value(u"cardNumber"_s).toString(),
                 u"RUD0000099999990"_s);
        const QJsonArray activities =
            document.value(u"datasets"_s).toObject().value(u"activities"_s).toArray();
        QCOMPARE(activities.size(), 2);
        QCOMPARE(activities.at(1).toObject().value(u"activityRecordDate"_s).toString(), u"07.05.2024"_s);
        const QJsonObject cycles =
            document.value(u"analysis"_s).toObject().value(u"drivingCycles"_s).toObject();
        QCOMPARE(cycles.value(u"dailyDrivingTime"_s).toString(), u"04:00"_s);
        QCOMPARE(runProcess(binaryPath(u"tachoria-dddgen"_s), {u"card"_s}).exitCode, 2);
    }

    void refusedFiles_data()
    {
        QTest::addColumn<bool>("exists");
        QTest::addColumn<QString>("message");
        QTest::newRow("unknown header") << true << u"Файл не похож на DDD: неизвестный заголовок"_s;
        QTest::newRow("missing file") << false << QString();
    }

    void refusedFiles()
    {
        QFETCH(bool, exists);
        const QString path =
            exists ? write(u"text.ddd"_s, "not a ddd file") : m_dir.filePath(u"absent.ddd"_s);
        const auto result = runProcess(binaryPath(u"tachoria"_s), {u"--probe-ddd"_s, path});
        QCOMPARE(result.exitCode, 9);
        QCOMPARE(result.standardOutput, QString());
        QFETCH(QString, message);
        if (message.isEmpty())
            QVERIFY(!result.standardError.trimmed().isEmpty());
        else
            QCOMPARE(result.standardError.trimmed(), message);
    }
};

QTEST_GUILESS_MAIN(TestProbeDddEndToEnd)
#include "test_probe_ddd_e2e.moc"
