// `tachoria --probe-download` as a user runs it, against tachoria-sim.
#include "../support/process_runner.h"
#include "../support/simulator_process.h"
#include "../support/vu_activity_days.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>
#include <QTimeZone>

using tachoria::test::binaryPath;
using tachoria::test::daysOfActivitiesBlock;
using tachoria::test::runProcess;
using tachoria::test::SimulatorProcess;
using namespace Qt::StringLiterals;

class TestProbeDownloadEndToEnd : public QObject
{
    Q_OBJECT

    // What was downloaded must decode as the vehicle unit the simulator plays: its VIN and registration,
    // one activities block holding every day asked for, and the first day's activities as it lived them.
    void checkDownloadedFile(const QString& path, const QPair<QDate, QDate>& requested)
    {
        const auto probe =
            runProcess(binaryPath(QStringLiteral("tachoria")), {QStringLiteral("--probe-ddd"), path});
        QCOMPARE(probe.exitCode, 0);
        QJsonParseError parseError;
        const QJsonObject report =
            QJsonDocument::fromJson(probe.standardOutput.toUtf8(), &parseError).object();
        QVERIFY2(parseError.error == QJsonParseError::NoError, qPrintable(parseError.errorString()));

        const QJsonObject summary = report.value(u"summary").toObject();
        QCOMPARE(summary.value(u"fileType").toString(), QStringLiteral("Тахограф"));
        QCOMPARE(summary.value(u"vin").toString(), QStringLiteral("XTA210990Y1234567"));
        QCOMPARE(summary.value(u"registrationNumber").toString(), QStringLiteral("A123BC77"));
        const QJsonObject datasets = report.value(u"datasets").toObject();
        QCOMPARE(
            datasets.value(u"vehicleIdentification").toArray().at(0).toObject().value(u"value").toString(),
            QStringLiteral("XTA210990Y1234567"));
        QCOMPARE(
            datasets.value(u"vehicleIdentification").toArray().at(2).toObject().value(u"value").toString(),
            QStringLiteral("A123BC77"));

        QStringList tags;
        QByteArray activities;
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        for (const QJsonValue& block : report.value(u"blocks").toArray()) {
            tags.append(block[u"fileNumber"].toString());
            if (tags.last() == u"7602")
                activities = bytes.mid(block[u"offset"].toInteger(), block[u"length"].toInteger());
        }
        QCOMPARE(tags, QStringList({u"7601"_s, u"7602"_s, u"7603"_s, u"7604"_s, u"7605"_s, u"7681"_s}));
        const QList<QDate> days = daysOfActivitiesBlock(activities);
        QCOMPARE(days.size(), 8);
        QVERIFY2(days.first() == requested.first || days.first() == requested.first.addDays(1),
                 qPrintable(days.first().toString(Qt::ISODate)));
        for (int index = 1; index < days.size(); ++index)
            QCOMPARE(days.at(index), days.first().addDays(index));
        QVERIFY(days.last() <= requested.second);

        // The decoder reads an activities block as one day: the first of the period.
        const QJsonArray dayInformation = datasets.value(u"dayInformation").toArray();
        QCOMPARE(dayInformation.size(), 1);
        QCOMPARE(dayInformation.at(0)[u"timeReal"].toString(), days.first().toString(u"dd.MM.yyyy 0:00:00"));
        QStringList changes;
        for (const QJsonValue& row : datasets.value(u"activityDaily").toArray())
            changes.append(row[u"timeOfChange"].toString() + u' ' + row[u"activity"].toString() + u' ' +
                           row[u"cardStatus"].toString());
        QCOMPARE(changes, QStringList({u"00:00 Перерыв/отдых Не вставлена"_s, u"06:00 Работа Вставлена"_s,
                                       u"06:30 Вождение Вставлена"_s, u"10:30 Перерыв/отдых Вставлена"_s,
                                       u"11:15 Вождение Вставлена"_s, u"14:45 Работа Вставлена"_s,
                                       u"15:05 Перерыв/отдых Не вставлена"_s}));
        QCOMPARE(datasets.value(u"detailedSpeed").toArray().size(), 35);
        QCOMPARE(datasets.value(u"calibrationData").toArray().size(), 1);
    }

private Q_SLOTS:
    void wholeDownload()
    {
        SimulatorProcess sim;
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        // The probe asks for today and the seven days before; a run across midnight may start a day later.
        const QDate firstDay = QDate::currentDate().addDays(-7);
        const auto result =
            runProcess(binaryPath(QStringLiteral("tachoria")),
                       {QStringLiteral("--probe-download"), sim.link(), QStringLiteral("--all")});
        QCOMPARE(result.exitCode, 0);
        const QStringList lines = result.standardOutput.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.first(), QStringLiteral("status=Открываем соединение с тахографом"));
        for (const char* block :
             {"REQUEST_OVERVIEW", "REQUEST_ACTIVITIES", "REQUEST_EVENTS_FAULTS", "REQUEST_DETAILED_SPEED",
              "REQUEST_TECHNICAL_DATA", "REQUEST_SERTIFICAT_KEY_NKM"})
            QVERIFY2(lines.contains(QStringLiteral("status=Запрашиваем ") + QLatin1String(block)), block);
        QVERIFY(!lines.contains(QStringLiteral("status=Запрашиваем REQUEST_SERTIFICAT_UC")));

        static const QRegularExpression last(
            QStringLiteral("^download_success=true "
                           "output=(.*/DATA/\\d\\d_\\d\\d_\\d\\d_\\d\\d_\\d\\d_\\d\\d-\\[A123BC77\\]\\.ddd) "
                           "vehicle=A123BC77 nkm= card= error=$"));
        const auto match = last.match(lines.last());
        QVERIFY2(match.hasMatch(), qPrintable(lines.last()));
        const QString path = match.captured(1);
        const QDate lastDay = QDate::currentDate();
        checkDownloadedFile(path, {firstDay, lastDay});
        QFile::remove(path);
        QVERIFY(sim.stop());
    }

    void silentDevice()
    {
        SimulatorProcess sim({QStringLiteral("--silent")});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const auto result = runProcess(binaryPath(QStringLiteral("tachoria")),
                                       {QStringLiteral("--probe-download"), sim.link(),
                                        QStringLiteral("--baud"), QStringLiteral("115200")});
        QCOMPARE(result.exitCode, 4);
        QVERIFY2(result.standardOutput.contains(
                     QStringLiteral("download_success=false output= vehicle= nkm= card= "
                                    "error=Нет ответа тахографа: service frame timeout;")),
                 qPrintable(result.standardOutput));
        QVERIFY(sim.stop());
    }
};

QTEST_GUILESS_MAIN(TestProbeDownloadEndToEnd)
#include "test_probe_download_e2e.moc"
