// The page "Расшифровка .ddd" through the real window: files opened from the download folder's list show
// the rows `--probe-ddd` gives, the chart draws the day's activities, a saved report survives a restart
// and opens again from the list, the PDF is written, and a file that is no DDD loses nothing.
#include "../support/process_runner.h"
#include "../support/window_driver.h"
#include "qml_controllers/qml_app_controller.h"
#include "qml_controllers/qml_ddd_controller.h"
#include "storage/app_paths.h"
#include "storage/settings_repository.h"
#include "tools/dddgen/ddd_generator.h"

#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QQuickItem>
#include <QQuickWindow>
#include <QScopeGuard>
#include <QTest>
#include <QUuid>

using tachoria::test::WindowDriver;
using namespace tachoria;
using namespace Qt::StringLiterals;

namespace {

// The pages that need no tachograph open at once.
void withoutScanning()
{
    storage::SettingsRepository settings;
    settings.setValue(u"Program"_s, u"ScanPorts"_s, 0, u"Bool"_s);
}

// A file in the download folder, newest of all, removed again by the test.
QString downloaded(const QByteArray& bytes)
{
    const QString path = storage::AppPaths::downloadDirectory() +
                         u"/page-test-%1.ddd"_s.arg(QUuid::createUuid().toString(QUuid::Id128));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

QString jsonText(const QJsonValue& value)
{
    if (value.isString())
        return value.toString();
    if (value.isDouble())
        return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    if (value.isBool())
        return value.toBool() ? u"true"_s : u"false"_s;
    return QString();
}

QObject* modelOf(WindowDriver& window, const QString& view)
{
    QQuickItem* item = window.find(view);
    return item ? item->property("model").value<QObject*>() : nullptr;
}

QString cell(QObject* model, int row, const QString& key)
{
    QString text;
    QMetaObject::invokeMethod(model, "cellText", Q_RETURN_ARG(QString, text), Q_ARG(int, row),
                              Q_ARG(QString, key));
    return text;
}

// A section's entry brought into the list's view first, as a person scrolls to it, then clicked.
bool clickSection(WindowDriver& window, const QString& key)
{
    QQuickItem* list = window.findVisible(u"dddSectionList"_s);
    const QVariantList sections = window.find(u"dddPage"_s)->property("sectionList").toList();
    int index = 0;
    while (index < sections.size() && sections.at(index).toMap().value(u"key"_s) != key)
        ++index;
    if (!list || index == sections.size())
        return false;
    QMetaObject::invokeMethod(list, "positionViewAtIndex", Q_ARG(int, index), Q_ARG(int, 4 /* Contain */));
    return window.click(u"dddSection_"_s + key);
}

bool openPage(WindowDriver& window)
{
    if (!window.settle() || !window.click(u"dddTile"_s))
        return false;
    return QTest::qWaitFor([&window] { return window.findVisible(u"dddPage"_s) != nullptr; }, 5000) &&
           window.settle();
}

} // namespace

class TestDddPage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void files_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("identity");
        QTest::newRow("vehicle unit")
            << dddgen::writeVehicleUnit(dddgen::sampleVehicleUnit(7)) << u"XTA210990Y1234567"_s;
        QTest::newRow("driver card") << dddgen::writeDriverCard(dddgen::sampleDriverCard(28))
                                     << u"RUD0000012345670"_s;
        // Files read out of real cards and units, their names and numbers masked by their owners.
        for (const auto& [name, identity] : {std::pair{"card_fi_wrapped_ring", "DRIVER0000000100"},
                                             std::pair{"card_gen1_gen2_dfs", "DRIVER0000000100"},
                                             std::pair{"vu_gen1", "*****************"}}) {
            QFile file(QStringLiteral(TACHORIA_SOURCE_DIR "/tests/ddd/samples/") + QLatin1String(name) +
                       u".ddd"_s);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QTest::newRow(name) << file.readAll() << QString::fromLatin1(identity);
        }
    }

    // A master picks the file in the list, reads each table, the chart, saves, restarts, reopens, prints.
    void files()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, identity);
        QTemporaryDir profile;
        const QString pdf = profile.filePath(u"out/report"_s);
        QString file;
        QJsonObject probe;
        QVariantMap counts;
        {
            WindowDriver window(profile.path());
            withoutScanning();
            QVERIFY(window.start());
            QTRY_VERIFY(window.find(u"dddTile"_s) && window.find(u"dddTile"_s)->isEnabled());
            QVERIFY(openPage(window));
            QCOMPARE(window.window()->title(), u"Расшифровка .ddd"_s);

            file = downloaded(bytes);
            const auto removeFile = qScopeGuard([&file] { QFile::remove(file); });
            const auto run = test::runProcess(test::binaryPath(u"tachoria"_s), {u"--probe-ddd"_s, file});
            QCOMPARE(run.exitCode, 0);
            probe = QJsonDocument::fromJson(run.standardOutput.toUtf8()).object();

            QVERIFY(window.click(u"dddFilesButton"_s));
            QTRY_VERIFY(window.dialogOpen(u"dddFilesDialog"_s));
            QVERIFY(window.click(u"dddFile_0"_s));
            QVERIFY(window.click(u"dddFilesDecode"_s));
            QTRY_COMPARE(window.text(u"dddStatus"_s), u"Разбор завершён"_s);
            QVERIFY(!window.dialogOpen(u"dddFilesDialog"_s));
            qml::QmlDddController& ddd = *window.app().ddd();
            QCOMPARE(ddd.filePath(), file);
            QCOMPARE(window.text(u"dddFileName"_s), QFileInfo(file).fileName());
            QVERIFY(window.text(u"dddVin"_s) == identity || ddd.summary().value(u"cardNumber"_s) == identity);
            counts = ddd.datasetCounts();

            // Each table holds the probe's rows, cell by cell for the first and the last.
            QQuickItem* page = window.find(u"dddPage"_s);
            const QVariantList sections = page->property("sectionList").toList();
            int tables = 0;
            for (const QVariant& entry : sections) {
                const QString key = entry.toMap().value(u"key"_s).toString();
                if (key == u"analysis"_s || key == u"charts"_s || key == u"reports"_s)
                    continue;
                QVERIFY2(clickSection(window, key), qPrintable(key));
                QObject* model = modelOf(window, u"dddDatasetView"_s);
                QVERIFY(model);
                const QJsonArray rows = key == u"blocks"_s
                                            ? probe.value(u"blocks"_s).toArray()
                                            : probe.value(u"datasets"_s).toObject().value(key).toArray();
                QVERIFY2(
                    model->property("rowCount").toInt() == rows.size(),
                    qPrintable(
                        u"%1: %2 / %3"_s.arg(key).arg(model->property("rowCount").toInt()).arg(rows.size())));
                if (rows.isEmpty())
                    continue;
                ++tables;
                for (const QString& column : model->property("columns").toStringList()) {
                    if (column == u"date"_s)
                        continue;
                    for (const qsizetype row : {qsizetype(0), rows.size() - 1}) {
                        const QJsonValue value = rows.at(row).toObject().value(column);
                        if (value.isObject() || value.isArray())
                            continue;
                        const QString expected = jsonText(value);
                        const QString shown = expected.size() > 200 ? expected.left(200) + u"…"_s : expected;
                        QVERIFY2(cell(model, int(row), column) == shown,
                                 qPrintable(u"%1[%2].%3: %4 / %5"_s.arg(key).arg(row).arg(
                                     column, cell(model, int(row), column), jsonText(value))));
                    }
                }
                QTRY_VERIFY(window.findVisible(u"datasetCell_0_0"_s));
            }
            QVERIFY(tables >= 8);

            // The chart of the first day with driving, reached day by day: its activities without a gap
            // from the first change to midnight.
            QVERIFY(clickSection(window, u"charts"_s));
            QQuickItem* chart = window.findVisible(u"dddChart"_s);
            QVERIFY(chart);
            QVariantList intervals;
            QStringList kinds;
            int covered = 0;
            for (;;) {
                intervals = chart->property("intervals").toList();
                QVERIFY(!intervals.isEmpty());
                kinds.clear();
                covered = 0;
                for (const QVariant& interval : std::as_const(intervals)) {
                    const QVariantMap part = interval.toMap();
                    if (part.value(u"lane"_s).toInt() == 0)
                        covered += part.value(u"end"_s).toInt() - part.value(u"start"_s).toInt();
                    kinds.append(part.value(u"kind"_s).toString());
                }
                if (kinds.contains(u"driving"_s))
                    break;
                QVERIFY2(window.click(u"dddChartNextDay"_s), "no day with driving");
            }
            QCOMPARE(covered, intervals.last().toMap().value(u"end"_s).toInt() -
                                  intervals.first().toMap().value(u"start"_s).toInt());
            QVERIFY(window.settle());
            const QImage shot = window.window()->grabWindow();
            const QRectF area = chart->mapRectToScene(QRectF(0, 0, chart->width(), chart->height()));
            int driving = 0;
            for (int y = int(area.top()); y < int(area.bottom()); y += 2)
                for (int x = int(area.left()); x < int(area.right()); x += 2)
                    driving += (shot.pixel(x, y) & 0xFFFFFF) == 0x1877C9;
            QVERIFY2(driving > 100, qPrintable(QString::number(driving)));

            QVERIFY(window.click(u"dddSaveButton"_s));
            QTRY_COMPARE(window.text(u"dddStatus"_s), u"Отчёт сохранён в ReportsDB.db (№1)"_s);
            QVERIFY(window.click(u"dddSaveButton"_s));
            QTRY_VERIFY(window.dialogOpen(u"dddDuplicateDialog"_s));
            QVERIFY(window.text(u"messageText"_s).contains(u"№1"_s));
            QVERIFY(window.click(u"messageAcceptButton"_s));
        }

        // After a restart the report opens from the list, without its file.
        QVERIFY(QFile::remove(file) || !QFile::exists(file));
        WindowDriver window(profile.path());
        QVERIFY(window.start());
        QTRY_VERIFY(window.find(u"dddTile"_s) && window.find(u"dddTile"_s)->isEnabled());
        QVERIFY(openPage(window));
        QTRY_VERIFY(window.findVisible(u"dddSavedOpen_0"_s));
        QVERIFY(window.text(u"dddSavedLabel_0"_s) != u"????????"_s);
        QVERIFY(window.click(u"dddSavedOpen_0"_s));
        QTRY_COMPARE(window.text(u"dddStatus"_s), u"Сохранённый отчёт №1 открыт"_s);
        qml::QmlDddController& ddd = *window.app().ddd();
        QCOMPARE(ddd.datasetCounts(), counts);
        QVERIFY(window.findVisible(u"datasetCell_0_0"_s));

        QVERIFY(window.click(u"dddPdfButton"_s));
        QTRY_VERIFY(window.dialogOpen(u"dddPdfDialog"_s));
        QVERIFY(window.type(u"dddPdfPath"_s, pdf));
        QVERIFY(window.click(u"dddPdfSaveButton"_s));
        QTRY_COMPARE_WITH_TIMEOUT(window.text(u"dddStatus"_s), u"Отчёт сохранён: %1.pdf"_s.arg(pdf), 30000);
        QProcess text;
        text.start(u"pdftotext"_s, {pdf + u".pdf"_s, u"-"_s});
        QVERIFY(text.waitForFinished(30000));
        QVERIFY(QString::fromUtf8(text.readAllStandardOutput()).contains(identity));

        QVERIFY(clickSection(window, u"reports"_s));
        QVERIFY(window.click(u"dddSavedDelete_0"_s));
        QTRY_VERIFY(window.dialogOpen(u"dddDeleteDialog"_s));
        QVERIFY(window.click(u"messageAcceptButton"_s));
        QTRY_COMPARE(window.text(u"dddStatus"_s), u"Сохранённый отчёт удалён"_s);
        QVERIFY(ddd.savedReports().isEmpty());
    }

    // A file that is no DDD, a path that is none, a second file while one is read: messages, nothing lost.
    void refusals()
    {
        WindowDriver window;
        withoutScanning();
        QVERIFY(window.start());
        qml::QmlDddController& ddd = *window.app().ddd();
        QTemporaryDir folder;
        const QString text = folder.filePath(u"notes.ddd"_s);
        QFile file(text);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("просто текст") > 0);
        file.close();

        QVERIFY(openPage(window));
        QVERIFY(ddd.openFile(QUrl::fromLocalFile(text).toString()));
        QTRY_VERIFY(!ddd.busy());
        QCOMPARE(ddd.lastError(), u"Файл не похож на DDD: неизвестный заголовок"_s);
        QCOMPARE(ddd.statusText(), u"Ошибка разбора"_s);
        QCOMPARE(window.text(u"dddStatus"_s), ddd.lastError());
        QVERIFY(!ddd.hasReport());
        QVERIFY(ddd.events().isEmpty() && ddd.blocks().isEmpty());

        QVERIFY(!ddd.openFile(folder.path()));
        QCOMPARE(ddd.lastError(), u"Выбранный путь не является файлом: %1"_s.arg(folder.path()));
        QVERIFY(!ddd.openFile(folder.filePath(u"none.ddd"_s)));
        QCOMPARE(ddd.lastError(), u"Файл не найден: %1"_s.arg(folder.filePath(u"none.ddd"_s)));
        QVERIFY(!ddd.openFile(u"  "_s));
        QCOMPARE(ddd.lastError(), u"Файл не выбран"_s);
        QVERIFY(!ddd.saveReport());
        QCOMPARE(ddd.lastError(), u"Сначала откройте корректный файл .ddd"_s);

        const QString card = folder.filePath(u"card.ddd"_s);
        QFile cardFile(card);
        const QByteArray bytes = dddgen::writeDriverCard(dddgen::sampleDriverCard(28));
        QVERIFY(cardFile.open(QIODevice::WriteOnly) && cardFile.write(bytes) == bytes.size());
        cardFile.close();
        QVERIFY(ddd.openFile(card));
        QVERIFY(ddd.busy());
        QVERIFY(!ddd.openFile(text)); // one file at a time
        QTRY_COMPARE(ddd.statusText(), u"Разбор завершён"_s);
        QCOMPARE(ddd.fileName(), u"card.ddd"_s);
        QVERIFY(!ddd.exportReportPdf(u""_s, {}));
        QCOMPARE(ddd.lastError(), u"Не задан путь для сохранения отчёта"_s);
        QVERIFY(ddd.exportReportPdf(u"/proc/tachoria/report"_s, {}));
        QTRY_COMPARE(ddd.statusText(), u"Ошибка формирования отчёта"_s);
        QCOMPARE(ddd.lastError(),
                 u"PDF не создан: Не удалось создать PDF отчёта: /proc/tachoria/report.pdf"_s);
        QVERIFY(ddd.hasReport()); // the report stays open
    }
};

QTEST_MAIN(TestDddPage)
#include "test_ddd_page.moc"
