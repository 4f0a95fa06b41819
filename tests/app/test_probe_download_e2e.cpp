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

        // One 7602 block a day, each read whole, and every day in the analysis.
        QStringList tags;
        QList<QDate> days;
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        for (const QJsonValue& block : report.value(u"blocks").toArray()) {
            tags.append(block[u"fileNumber"].toString());
            if (tags.last() == u"7602")
                days += daysOfActivitiesBlock(
                    bytes.mid(block[u"offset"].toInteger(), block[u"length"].toInteger()));
        }
        QCOMPARE(tags, QStringList({u"7601"_s}) + QStringList(8, u"7602"_s) +
                           QStringList({u"7603"_s, u"7604"_s, u"7605"_s, u"7681"_s}));
        QCOMPARE(days.size(), 8);
        QVERIFY2(days.first() == requested.first || days.first() == requested.first.addDays(1),
                 qPrintable(days.first().toString(Qt::ISODate)));
        for (int index = 1; index < days.size(); ++index)
            QCOMPARE(days.at(index), days.first().addDays(index));
        QVERIFY(days.last() <= requested.second);
        const QJsonArray dayInformation = datasets.value(u"dayInformation").toArray();
        QCOMPARE(dayInformation.size(), 8);
        for (int index = 0; index < days.size(); ++index)
            QCOMPARE(dayInformation.at(index)[u"timeReal"].toString(),
                     days.at(index).toString(u"dd.MM.yyyy 0:00:00"));
        const QJsonArray analysedDays =
            report.value(u"analysis").toObject().value(u"workingHours").toObject().value(u"items").toArray();
        QCOMPARE(analysedDays.size(), 8);
        QCOMPARE(summary.value(u"totalDays").toInt(), 8);

        QStringList changes; // the first day's
        for (const QJsonValue& row : datasets.value(u"activityDaily").toArray()) {
            if (row[u"dayNo"].toInt() == 1)
                changes.append(row[u"timeOfChange"].toString() + u' ' + row[u"activity"].toString() + u' ' +
                               row[u"cardStatus"].toString());
        }
        QCOMPARE(changes, QStringList({u"00:00 Перерыв/отдых Не вставлена"_s, u"06:00 Работа Вставлена"_s,
                                       u"06:30 Вождение Вставлена"_s, u"10:30 Перерыв/отдых Вставлена"_s,
                                       u"11:15 Вождение Вставлена"_s, u"14:45 Работа Вставлена"_s,
                                       u"15:05 Перерыв/отдых Не вставлена"_s}));
        QCOMPARE(datasets.value(u"detailedSpeed").toArray().size(), 35);
        QCOMPARE(datasets.value(u"calibrationData").toArray().size(), 1);
    }

private Q_SLOTS:
    void download_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("requested");
        QTest::addColumn<QList<int>>("rates");
        QTest::addColumn<bool>("everyBlock");
        const QList<int> ladder{9600, 19200, 38400, 57600, 115200};
        QTest::newRow("every block with --all")
            << QStringList{u"--all"_s}
            << QStringList{u"REQUEST_OVERVIEW"_s,       u"REQUEST_ACTIVITIES"_s,
                           u"REQUEST_EVENTS_FAULTS"_s,  u"REQUEST_DETAILED_SPEED"_s,
                           u"REQUEST_TECHNICAL_DATA"_s, u"REQUEST_SERTIFICAT_KEY_NKM"_s}
            << ladder << true;
        QTest::newRow("the overview alone")
            << QStringList{} << QStringList{u"REQUEST_OVERVIEW"_s, u"REQUEST_SERTIFICAT_KEY_NKM"_s} << ladder
            << false;
        // --baud is both the first and the highest speed: no LinkControl at all.
        QTest::newRow("one speed with --baud")
            << QStringList{u"--baud"_s, u"9600"_s}
            << QStringList{u"REQUEST_OVERVIEW"_s, u"REQUEST_SERTIFICAT_KEY_NKM"_s} << QList<int>{9600}
            << false;
    }

    void download()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, requested);
        QFETCH(bool, everyBlock);
        SimulatorProcess sim({u"--verbose"_s});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        // The probe asks for today and the seven days before; a run across midnight may start a day later.
        const QDate firstDay = QDate::currentDate().addDays(-7);
        const auto result =
            runProcess(binaryPath(QStringLiteral("tachoria")),
                       QStringList{QStringLiteral("--probe-download"), sim.link()} + arguments);
        QCOMPARE(result.exitCode, 0);
        const QStringList lines = result.standardOutput.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.first(), QStringLiteral("status=Открываем соединение с тахографом"));
        QStringList asked;
        for (const QString& line : lines.mid(0, lines.size() - 1)) {
            QVERIFY2(line.startsWith(u"status="_s) || line.startsWith(u"progress="_s), qPrintable(line));
            if (line.startsWith(u"status=Запрашиваем "_s))
                asked.append(line.mid(19));
        }
        QCOMPARE(asked, requested);

        static const QRegularExpression last(
            QStringLiteral("^download_success=true "
                           "output=(.*/DATA/\\d\\d_\\d\\d_\\d\\d_\\d\\d_\\d\\d_\\d\\d-\\[A123BC77\\]\\.ddd) "
                           "vehicle=A123BC77 nkm= card= error=$"));
        const auto match = last.match(lines.last());
        QVERIFY2(match.hasMatch(), qPrintable(lines.last()));
        const QString path = match.captured(1);
        QCOMPARE(lines.at(lines.size() - 2), u"status=Выгрузка прошла успешно: "_s + path);
        if (everyBlock)
            checkDownloadedFile(path, {firstDay, QDate::currentDate()});
        QFile::remove(path);
        QVERIFY(sim.stop());
        QList<int> rates;
        static const QRegularExpression rate(QStringLiteral("^tachograph: TX .* at (\\d+) baud\\)$"));
        for (const QString& line : sim.standardError().split(QLatin1Char('\n'))) {
            const auto answer = rate.match(line);
            if (answer.hasMatch() && (rates.isEmpty() || rates.last() != answer.captured(1).toInt()))
                rates.append(answer.captured(1).toInt());
        }
        QTEST(rates, "rates");
    }

    void failure_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("line");
        QTest::newRow("silent device") << QStringList{u"--silent"_s} << QStringList{u"--baud"_s, u"115200"_s}
                                       << u"download_success=false output= vehicle= nkm= card= error=Нет "
                                          u"ответа тахографа: service frame "
                                          u"timeout;"_s;
        QTest::newRow("overview refused")
            << QStringList{u"--refuse-block"_s, u"01"_s} << QStringList{}
            << u"download_success=false output= vehicle= nkm= card= error=Ошибка запроса обзора"_s;
    }

    void failure()
    {
        QFETCH(QStringList, simulator);
        QFETCH(QStringList, arguments);
        QFETCH(QString, line);
        SimulatorProcess sim(simulator);
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        const auto result =
            runProcess(binaryPath(QStringLiteral("tachoria")),
                       QStringList{QStringLiteral("--probe-download"), sim.link()} + arguments);
        QCOMPARE(result.exitCode, 4);
        const QStringList lines = result.standardOutput.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QVERIFY2(lines.last().startsWith(line), qPrintable(result.standardOutput));
        // The failure is also the last status.
        QCOMPARE(lines.at(lines.size() - 2),
                 u"status="_s + lines.last().mid(lines.last().indexOf(u"error=") + 6));
        QVERIFY(sim.stop());
    }
};

QTEST_GUILESS_MAIN(TestProbeDownloadEndToEnd)
#include "test_probe_download_e2e.moc"
