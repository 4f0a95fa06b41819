// `tachoria --probe-ddd` as scripts use it, on generated files: one JSON document, exit 0 or 9.
#include "../support/process_runner.h"
#include "ddd/ddd_decoder.h"
#include "tools/dddgen/ddd_generator.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using tachoria::test::binaryPath;
using tachoria::test::runProcess;
using namespace tachoria;
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
        QStringList names = ddd::DddReport::datasetNames();
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
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("message");
        QTest::newRow("unknown header") << u"text"_s << u"Файл не похож на DDD: неизвестный заголовок"_s;
        QTest::newRow("missing file") << u"missing"_s << QString();
        // Refused before a byte is read: a pipe without a writer would block, a device never ends.
        QTest::newRow("a pipe") << u"pipe"_s << u"Не обычный файл, DDD не читается: %1"_s;
        QTest::newRow("a device") << u"device"_s << u"Не обычный файл, DDD не читается: %1"_s;
        QTest::newRow("above 64 MiB") << u"large"_s << u"Файл больше 64 МиБ, DDD не читается: %1"_s;
    }

    void refusedFiles()
    {
        QFETCH(QString, kind);
        QString path = m_dir.filePath(kind + u".ddd"_s);
        if (kind == u"text"_s)
            write(u"text.ddd"_s, "not a ddd file");
        else if (kind == u"pipe"_s)
            QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        else if (kind == u"device"_s)
            path = u"/dev/zero"_s;
        else if (kind == u"large"_s) {
            QFile file(path); // sparse: no byte of it is written
            QVERIFY(file.open(QIODevice::WriteOnly) && file.resize((qint64(64) << 20) + 1));
        }
        const auto result = runProcess(binaryPath(u"tachoria"_s), {u"--probe-ddd"_s, path}, 10000);
        QVERIFY(result.finished);
        QCOMPARE(result.exitCode, 9);
        QCOMPARE(result.standardOutput, QString());
        QFETCH(QString, message);
        if (message.isEmpty())
            QVERIFY(!result.standardError.trimmed().isEmpty());
        else
            QCOMPARE(result.standardError.trimmed(), message.arg(path));
    }

    // The export written as it goes holds what a QJsonDocument of the report's maps holds, byte for byte.
    void exportEqualsTheDocumentOfTheMaps_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("driver card") << writeDriverCard(sampleDriverCard(28));
        QTest::newRow("vehicle unit") << writeVehicleUnit(sampleVehicleUnit(3));
        QFile sample(QStringLiteral(TACHORIA_SOURCE_DIR "/tests/ddd/samples/vu_gen1.ddd"));
        QVERIFY(sample.open(QIODevice::ReadOnly));
        QTest::newRow("real-structure vehicle unit") << sample.readAll();
        // A text outside the Basic Multilingual Plane, in an ASN.1 UTF8String, and control characters.
        QTest::newRow("a character of two halves")
            << QByteArray::fromHex("000200000A") + "ICC DATA.." + QByteArray::fromHex("30080C06F09D849E0A22");
    }

    void exportEqualsTheDocumentOfTheMaps()
    {
        QFETCH(QByteArray, bytes);
        const ddd::DddReport report = ddd::Decoder::decode(bytes, write(u"export.ddd"_s, bytes));
        const auto result = runProcess(binaryPath(u"tachoria"_s), {u"--probe-ddd"_s, report.filePath});
        QCOMPARE(result.exitCode, 0);
        QJsonObject datasets;
        for (const QString& name : ddd::DddReport::datasetNames()) {
            QJsonArray rows;
            for (const QVariantMap& row : *report.dataset(name))
                rows.append(QJsonObject::fromVariantMap(row));
            datasets.insert(name, rows);
        }
        QJsonArray blocks;
        for (const QVariant& row : report.blockRows()) {
            QVariantMap block = row.toMap();
            block.remove(u"payloadHex"_s);
            block.insert(u"data"_s,
                         QVariantMap{{u"length"_s, block.value(u"data"_s).toMap().value(u"length"_s)}});
            blocks.append(QJsonObject::fromVariantMap(block));
        }
        const QJsonObject document{{u"summary"_s, QJsonObject::fromVariantMap(report.summary())},
                                   {u"datasets"_s, datasets},
                                   {u"analysis"_s, QJsonObject::fromVariantMap(report.analysis)},
                                   {u"blocks"_s, blocks}};
        QCOMPARE(result.standardOutput.toUtf8(),
                 QJsonDocument(document).toJson(QJsonDocument::Compact) + '\n');
    }
};

QTEST_GUILESS_MAIN(TestProbeDddEndToEnd)
#include "test_probe_ddd_e2e.moc"
