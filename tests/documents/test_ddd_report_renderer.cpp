// The PDF of a decoded report, read back with poppler's tools as a reader's viewer would: the texts of a
// generated card and of the real samples, the sections the user chose, page breaks that never cut a row,
// every page's header and footer, and the console's `--probe-report`.
#include "../support/process_runner.h"
#include "ddd/ddd_decoder.h"
#include "documents/ddd_report_renderer.h"
#include "tools/dddgen/ddd_generator.h"

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace tachoria;
using namespace tachoria::ddd;
using namespace tachoria::dddgen;
using documents::DddReportRenderer;
using namespace Qt::StringLiterals;

namespace {

QString output(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(60000) || process.exitCode() != 0)
        qWarning() << program << arguments << process.readAllStandardError();
    return QString::fromUtf8(process.readAllStandardOutput());
}

// A card of four weeks whose third day breaks the limits: 10 hours of driving, 5 of them without a break.
DddReport lawBreakingCard()
{
    DriverCardDescription description = sampleDriverCard(28);
    description.days[2].changes = {{0, Rest, false}, {360, Driving}, {660, Rest},        {690, Driving},
                                   {1000, Work},     {1020, Rest},   {1080, Rest, false}};
    return Decoder::decode(writeDriverCard(description), u"/shop/in/card-28.ddd"_s);
}

} // namespace

class TestDddReportRenderer : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_files = 0;

    struct Pdf
    {
        QString path;
        QStringList pages; // the text of each page
        QString info;
    };

    Pdf render(const DddReport& report, const QVariantMap& options)
    {
        Pdf pdf;
        pdf.path = m_dir.filePath(u"report%1.pdf"_s.arg(++m_files));
        QString error;
        if (!DddReportRenderer::writePdf(pdf.path, report, options, &error))
            qWarning() << error;
        pdf.info = output(u"pdfinfo"_s, {pdf.path});
        pdf.pages = output(u"pdftotext"_s, {u"-enc"_s, u"UTF-8"_s, pdf.path, u"-"_s}).split(u'\f');
        if (!pdf.pages.isEmpty() && pdf.pages.last().trimmed().isEmpty())
            pdf.pages.removeLast();
        return pdf;
    }

    static QString flat(const QString& text) { return QString(text).replace(u'\n', u' '); }

private Q_SLOTS:
    // The probe draws without a display; a runtime folder of its own keeps Qt's notice about it off stderr.
    void initTestCase() { qputenv("XDG_RUNTIME_DIR", m_dir.path().toLocal8Bit()); }

    // What a driver is shown: who, which card, every day, and what the analysis found.
    void cardReport()
    {
        const DddReport report = lawBreakingCard();
        const QStringList violations =
            report.analysis.value(u"compliance"_s).toMap().value(u"violations"_s).toStringList();
        QVERIFY(violations.size() >= 2);
        const Pdf pdf = render(report, {});
        const QString text = flat(pdf.pages.join(u' '));
        QVERIFY(text.contains(u"ОТЧЁТ ПО КАРТЕ ВОДИТЕЛЯ"_s));
        QVERIFY(text.contains(u"card-28.ddd | "_s));
        QVERIFY(text.contains(u"ИВАНОВ ПЕТР СЕРГЕЕВИЧ"_s));
        QVERIFY(text.contains(u"RUD0000012345670"_s));
        QCOMPARE(report.activities.size(), 28);
        for (qsizetype day = 0; day < report.activities.size(); ++day) {
            const QString date = report.activities.value(day, u"activityRecordDate").toString();
            QVERIFY2(text.contains(date), qPrintable(date));
        }
        for (const QString& violation : violations)
            QVERIFY2(text.contains(violation), qPrintable(violation));
        QVERIFY(pdf.info.contains(QRegularExpression(u"Title:\\s+Отчёт по карте водителя"_s)));
        QVERIFY(pdf.info.contains(QRegularExpression(u"Creator:\\s+TachoriaQt"_s)));
        QVERIFY(pdf.info.contains(u"595 x 842 pts (A4)"_s));
        const int pages = QRegularExpression(u"Pages:\\s+(\\d+)"_s).match(pdf.info).captured(1).toInt();
        QVERIFY(pages > 3);
        QCOMPARE(pdf.pages.size(), pages);
        for (int page = 0; page < pages; ++page) {
            QVERIFY2(pdf.pages.at(page).contains(u"Страница %1"_s.arg(page + 1)),
                     qPrintable(QString::number(page)));
            QVERIFY(pdf.pages.at(page).contains(u"Отчёт расшифровки .ddd"_s));
        }

        // The first page as a picture: the section bands and the table header in their colours.
        QVERIFY(QProcess::execute(u"pdftoppm"_s,
                                  {u"-r"_s, u"72"_s, u"-f"_s, u"1"_s, u"-l"_s, u"1"_s, u"-singlefile"_s,
                                   u"-png"_s, pdf.path, m_dir.filePath(u"page"_s)}) == 0);
        const QImage image(m_dir.filePath(u"page.png"_s));
        QCOMPARE(image.size(), QSize(595, 842));
        QSet<QRgb> colours;
        for (int y = 0; y < image.height(); y += 2)
            colours.insert(image.pixel(300, y) & 0xFFFFFF);
        QVERIFY(colours.contains(0xE5E5E5));
        QVERIFY(colours.contains(0x4D4D4D));
    }

    void chosenSections_data()
    {
        QTest::addColumn<QVariantMap>("options");
        QTest::addColumn<QStringList>("present");
        QTest::addColumn<QStringList>("absent");
        const QStringList all = {
            u"Основная информация"_s, u"Использованные транспортные средства"_s, u"Изменения активности"_s,
            u"Идентификация карты"_s, u"Анализ рабочего времени и нарушений"_s,  u"Рабочие дни"_s};
        const QStringList charts = {u"Рабочее время по дням"_s, u"Пробег по автомобилям"_s};
        QTest::newRow("nothing said") << QVariantMap() << all << charts;
        QTest::newRow("all") << QVariantMap{{u"sections"_s, QStringList{u"all"_s}}} << all << charts;
        QTest::newRow("none") << QVariantMap{{u"sections"_s, QVariantList()}}
                              << QStringList{u"ОТЧЁТ ПО КАРТЕ"_s} << all + charts;
        QTest::newRow("two and a chart")
            << QVariantMap{{u"sections"_s, QVariantList{u"vehicles"_s, u"analysis"_s}},
                           {u"graphs"_s, QStringList{u"workingTime"_s}}}
            << QStringList{u"Использованные транспортные средства"_s, u"Рабочие дни"_s,
                           u"Рабочее время по дням"_s}
            << QStringList{u"Основная информация"_s, u"Идентификация карты"_s, u"Изменения активности"_s,
                           u"Пробег по автомобилям"_s};
        QTest::newRow("every chart")
            << QVariantMap{{u"sections"_s, QStringList()}, {u"graphs"_s, DddReportRenderer::chartKeys()}}
            << QStringList{u"Изменения активности по дням"_s, u"Пробег по автомобилям"_s,
                           u"Посещённые места"_s, u"Рабочее время по дням"_s, u"Часы"_s}
            // The card has no detailed speed, odometer days or calibrations: no chart, no heading.
            << QStringList{u"Детальная скорость"_s, u"Показания одометра"_s, u"Калибровки"_s};
    }

    void chosenSections()
    {
        QFETCH(QVariantMap, options);
        QFETCH(QStringList, present);
        QFETCH(QStringList, absent);
        const Pdf pdf = render(lawBreakingCard(), options);
        const QString text = flat(pdf.pages.join(u' '));
        for (const QString& heading : present)
            QVERIFY2(text.contains(heading), qPrintable(heading));
        for (const QString& heading : absent)
            QVERIFY2(!text.contains(heading), qPrintable(heading));
        if (options.value(u"sections"_s).toList().isEmpty() && options.contains(u"sections"_s) &&
            !options.contains(u"graphs"_s))
            QCOMPARE(pdf.pages.size(), 1);
    }

    // Long tables go on with their caption and header, a row never split, nothing below the margin but
    // the footer.
    void pageBreaks()
    {
        DddReport report = lawBreakingCard();
        DatasetRows events;
        for (int i = 0; i < 150; ++i)
            events.append(QVariantMap{
                {u"eventType"_s,
                 u"Событие %1: вставка карты во время движения с продолжением до второй строки, "
                 "конец %1"_s.arg(i)},
                {u"eventBeginTime"_s, u"01.03.2024 10:%1:00"_s.arg(i % 60, 2, 10, QLatin1Char('0'))}});
        report.events = events;
        const Pdf pdf = render(report, {{u"sections"_s, QStringList{u"events"_s, u"activity"_s}}});
        QVERIFY(pdf.pages.size() > 4);
        for (int i = 0; i < 150; ++i) {
            int first = -1, last = -1;
            for (int page = 0; page < pdf.pages.size(); ++page) {
                const QString text = flat(pdf.pages.at(page));
                if (text.contains(u"Событие %1:"_s.arg(i)))
                    first = page;
                if (text.contains(u"конец %1 "_s.arg(i)) || text.endsWith(u"конец %1"_s.arg(i)))
                    last = page;
            }
            QVERIFY2(first >= 0 && first == last,
                     qPrintable(u"row %1: pages %2 and %3"_s.arg(i).arg(first).arg(last)));
        }
        int continued = 0;
        for (int page = 1; page < pdf.pages.size(); ++page)
            continued += pdf.pages.at(page).contains(u"(продолжение)"_s);
        QCOMPARE(continued, pdf.pages.size() - 1);

        // Word boxes: every word but the footer's lies within the margins.
        const QString boxes = output(u"pdftotext"_s, {u"-bbox"_s, pdf.path, u"-"_s});
        const QRegularExpression word(u"<word xMin=\"([\\d.]+)\" yMin=\"([\\d.]+)\" xMax=\"([\\d.]+)\" "
                                      "yMax=\"([\\d.]+)\">([^<]*)</word>"_s);
        int words = 0;
        for (auto it = word.globalMatch(boxes); it.hasNext();) {
            const QRegularExpressionMatch match = it.next();
            ++words;
            const double yMax = match.captured(4).toDouble();
            if (match.captured(2).toDouble() >= 842 - 25 - 1)
                continue; // the footer's band
            QVERIFY2(yMax <= 842 - 38 + 0.5, qPrintable(match.captured(5) + u" at "_s + match.captured(4)));
            QVERIFY(match.captured(1).toDouble() >= 36 - 0.5 &&
                    match.captured(3).toDouble() <= 595 - 36 + 0.5);
        }
        QVERIFY(words > 1000);
    }

    // A cell too long for a row of 70 points is cut; an empty dataset leaves no trace.
    void longCellsAndEmptyDatasets()
    {
        DddReport report = lawBreakingCard();
        QString longType = u"НАЧАЛО"_s;
        for (int i = 0; i < 120; ++i)
            longType += u" слово"_s;
        report.events =
            DatasetRows(QList<QVariantMap>{QVariantMap{{u"eventType"_s, longType + u" ХВОСТ"_s}}});
        report.vehicles.clear();
        report.places.clear();
        const QString text = flat(render(report, {}).pages.join(u' '));
        QVERIFY(text.contains(u"НАЧАЛО"_s));
        QVERIFY(!text.contains(u"ХВОСТ"_s));
        QVERIFY(!text.contains(u"Использованные транспортные средства"_s));
        QVERIFY(!text.contains(u"Места рабочего периода"_s));
        QVERIFY(text.contains(u"Изменения активности"_s));
    }

    void samples_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("title");
        QTest::newRow("unit") << u"vu_gen1.ddd"_s << u"ОТЧЁТ ПО ТАХОГРАФУ"_s;
        QTest::newRow("card") << u"card_gen1_gen2_dfs.ddd"_s << u"ОТЧЁТ ПО КАРТЕ ВОДИТЕЛЯ"_s;
    }

    // The real samples: the identity, the first and last event, the days of the unit's activities.
    void samples()
    {
        QFETCH(QString, file);
        QFETCH(QString, title);
        QString error;
        const DddReport report =
            Decoder::decodeFile(QStringLiteral(TACHORIA_SOURCE_DIR "/tests/ddd/samples/") + file, &error);
        QVERIFY2(report.fileType != DddFileType::Unknown, qPrintable(error));
        const Pdf pdf = render(report, {});
        const QString text = flat(pdf.pages.join(u' '));
        QVERIFY(text.contains(title));
        QVERIFY(text.contains(file));
        const bool unit = report.fileType == DddFileType::Tachograph;
        for (const QString& identity : unit ? QStringList{report.vin, report.registrationNumber}
                                            : QStringList{report.cardNumber, report.driverSurname})
            QVERIFY2(!identity.isEmpty() && text.contains(identity), qPrintable(identity));
        const DatasetRows& events = unit ? report.tachoEvents : report.events;
        QVERIFY(!events.isEmpty());
        for (const QString& begin : {events.first().value(u"eventBeginTime"_s).toString(),
                                     events.last().value(u"eventBeginTime"_s).toString()})
            QVERIFY2(text.contains(begin), qPrintable(begin));
        for (const QString& date : report.dayDates())
            QVERIFY2(text.contains(date), qPrintable(date));
        for (int page = 0; page < pdf.pages.size(); ++page)
            QVERIFY(pdf.pages.at(page).contains(u"Страница %1"_s.arg(page + 1)));
    }

    void unwritableTarget()
    {
        QString error;
        QVERIFY(!DddReportRenderer::writePdf(u"/proc/tachoria/report.pdf"_s, lawBreakingCard(), &error));
        QCOMPARE(error, u"Не удалось создать PDF отчёта: /proc/tachoria/report.pdf"_s);
    }

    void hoursAndSpeeds_data()
    {
        QTest::addColumn<QVariant>("values");
        QTest::addColumn<QList<double>>("samples");
        QTest::newRow("list") << QVariant(QVariantList{50, -1, u"12,5"_s, u"nan"_s, u"x"_s})
                              << QList<double>{50, 12.5};
        QTest::newRow("JSON") << QVariant(u"[1, 2.5, -3]"_s) << QList<double>{1, 2.5};
        QTest::newRow("text") << QVariant(u"7; 8,5 9\t10, 11"_s) << QList<double>{7, 8.5, 9, 10, 11};
        QTest::newRow("nothing") << QVariant() << QList<double>{};
    }

    void hoursAndSpeeds()
    {
        QFETCH(QVariant, values);
        QFETCH(QList<double>, samples);
        DddReport report;
        report.detailedSpeed.append(QVariantMap{{u"speedValues"_s, values}, {u"speedsPerSecond"_s, u"99"_s}});
        if (!values.isValid())
            samples = {99}; // falls back on the block's own text
        QCOMPARE(DddReportRenderer::speedSamples(report), samples);
        QCOMPARE(DddReportRenderer::minutesValue(u"12:30"_s), 12.5);
        QCOMPARE(DddReportRenderer::minutesValue(u"всего 105:45 ч"_s), 105.75);
        QCOMPARE(DddReportRenderer::minutesValue(u"нет"_s), 0.0);
    }

    void chartPoints()
    {
        DddReport report;
        QVariantList speeds;
        for (int i = 0; i < 5000; ++i)
            speeds.append(i % 7 == 0 ? 90 : 40);
        report.detailedSpeed.append(QVariantMap{{u"speedValues"_s, speeds}});
        const QList<documents::ChartPoint> points = DddReportRenderer::decimatedSpeedPoints(report);
        QCOMPARE(points.size(), 715); // groups of 7
        QCOMPARE(points.first().label, u"0"_s);
        QCOMPARE(points.at(1).label, u"7"_s);
        QCOMPARE(points.first().maximum, 90.0);
        QCOMPARE(points.first().minimum, 40.0);
        QCOMPARE(points.last().label, u"4998"_s);
        QCOMPARE(points.last().value, 65.0); // the mean of the last group's two samples, 90 and 40

        const QList<documents::ChartPoint> days = DddReportRenderer::categoryCounts(
            {{{u"day"_s, 9}}, {{u"day"_s, 10}}, {{u"day"_s, 9}}, {{u"day"_s, u" "_s}}},
            {u"dayNo"_s, u"day"_s});
        QCOMPARE(days.size(), 3);
        QCOMPARE(days.at(0).label, u"10"_s); // texts sort as texts
        QCOMPARE(days.at(1).label, u"9"_s);
        QCOMPARE(days.at(1).value, 2.0);
        QCOMPARE(days.at(2).label, u"—"_s);
        QCOMPARE(DddReportRenderer::genericRows({{{u"b"_s, QVariantList{1, 2}}, {u"a"_s, u"x"_s}}}),
                 QList<QStringList>{{u"a: x; b: 1, 2"_s}});
        QCOMPARE(DddReportRenderer::numericValue({{u"odometerEnd"_s, u" 12,5 "_s}},
                                                 {u"vehicleOdometerEnd"_s, u"odometerEnd"_s}, -1),
                 12.5);
    }

    void probeReport_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("withTarget");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        QTest::newRow("card") << writeDriverCard(sampleDriverCard(28)) << true << 0 << QString();
        QTest::newRow("unit") << writeVehicleUnit(sampleVehicleUnit(7)) << true << 0 << QString();
        QTest::newRow("no DDD") << QByteArray("not a ddd file") << true << 9
                                << u"Файл не похож на DDD: неизвестный заголовок"_s;
        QTest::newRow("no target") << writeDriverCard(sampleDriverCard(2)) << false << 9
                                   << u"Не задан путь для сохранения отчёта"_s;
    }

    // The console's report: a PDF of every section, in batch, without a window.
    void probeReport()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, withTarget);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        const QString input = m_dir.filePath(u"probe%1.ddd"_s.arg(++m_files));
        QFile file(input);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        file.close();
        const QString target = m_dir.filePath(u"out/probe%1.pdf"_s.arg(m_files));
        QStringList arguments{u"--probe-report"_s, input};
        if (withTarget)
            arguments.append(target);
        const auto result = test::runProcess(test::binaryPath(u"tachoria"_s), arguments);
        QCOMPARE(result.exitCode, exitCode);
        QCOMPARE(QFile::exists(target), exitCode == 0);
        if (!message.isEmpty())
            QCOMPARE(result.standardError.trimmed(), message);
        if (exitCode != 0)
            return;
        const DddReport report = Decoder::decode(bytes, input);
        const QString text = flat(output(u"pdftotext"_s, {target, u"-"_s}));
        QVERIFY(text.contains(report.fileType == DddFileType::Tachograph ? report.vin : report.cardNumber));
        QVERIFY(text.contains(u"Анализ рабочего времени и нарушений"_s));
    }
};

QTEST_MAIN(TestDddReportRenderer)
#include "test_ddd_report_renderer.moc"
