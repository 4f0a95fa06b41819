// The certificate and the sticker as the customer gets them: the PDF's texts and page sizes as poppler
// reads them, the preview against the PDF, and prints handed to a real CUPS with cups-pdf queues (an A4
// printer and a label printer), compared by picture with the preview.
#include "../support/cups_stand_in.h"
#include "../support/pdf_pages.h"
#include "../support/sample_document.h"
#include "documents/document_renderer.h"

#include <QApplication>
#include <QDate>
#include <QDialog>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using tachoria::documents::DocumentRenderer;
using tachoria::documents::DocumentType;
using tachoria::test::CupsStandIn;

namespace {

const QString kSheetQueue = QStringLiteral("TachoriaSheet");
const QString kTapeQueue = QStringLiteral("TachoriaTape");
const QString kOneNoteQueue = QStringLiteral("Send_To_OneNote_2016");

QString typeName(DocumentType type)
{
    return type == DocumentType::Sticker ? QStringLiteral("sticker") : QStringLiteral("certificate");
}

// Answers the next modal dialog (the printer's) once it shows.
void answerNextDialog(bool accept)
{
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, poll, [poll, accept] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        poll->deleteLater();
        accept ? dialog->accept() : dialog->reject();
    });
    poll->start(50);
}

} // namespace

class TestDocumentRenderer : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    std::unique_ptr<CupsStandIn> m_cups;

    QString path(const QString& name) const { return m_folder.filePath(name); }

    QImage preview(DocumentType type, const QVariantMap& data)
    {
        const QString file = path(typeName(type) + QStringLiteral("_preview.png"));
        QString error;
        if (!DocumentRenderer::writePreviewImage(file, type, data, &error))
            qWarning("%s", qPrintable(error));
        return QImage(file);
    }

    QImage pdfPicture(DocumentType type, const QVariantMap& data)
    {
        const QString file = path(typeName(type) + QStringLiteral("_picture.pdf"));
        if (!DocumentRenderer::writePdf(file, type, data))
            return {};
        const QList<QImage> pages = tachoria::test::pdfPages(file, 144);
        return pages.isEmpty() ? QImage() : pages.first();
    }

    void requireCups()
    {
        if (!m_cups)
            QSKIP(qPrintable(CupsStandIn::unavailableReason()));
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (!CupsStandIn::unavailableReason().isEmpty())
            return;
        m_cups = std::make_unique<CupsStandIn>();
        QString error;
        QVERIFY2(m_cups->start(&error), qPrintable(error));
        QVERIFY2(m_cups->addPdfPrinter(kSheetQueue, &error), qPrintable(error));
        QVERIFY2(m_cups->addLabelPrinter(kTapeQueue, &error), qPrintable(error));
        QVERIFY2(m_cups->addPdfPrinter(kOneNoteQueue, &error), qPrintable(error));
    }

    void cleanupTestCase() { m_cups.reset(); }

    // What poppler reads from the PDF: the calibration's values in their places, the page's size.
    void pdfTextsAndSizes_data()
    {
        QTest::addColumn<DocumentType>("type");
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QSizeF>("size");
        const QString today = QDate::currentDate().toString(QStringLiteral("dd.MM.yyyy"));
        QTest::newRow("certificate") << DocumentType::Certificate
                                     << QStringList{QStringLiteral("Сертификат настройки"),
                                                    QStringLiteral("Заказ №: 1542"),
                                                    QStringLiteral("Дата: ") + today,
                                                    QStringLiteral("ООО «ДЕМО-ТРАНС»"),
                                                    QStringLiteral("Самара, ул. Примерная, 1"),
                                                    QStringLiteral("ООО «Тахосервис-Поволжье»"),
                                                    QStringLiteral("Производитель: ОРВИАН"),
                                                    QStringLiteral("Серийный номер: 2505001800001234"),
                                                    QStringLiteral("СКЗИ: 7800000000000417"),
                                                    QStringLiteral("Рег. номер: А123ВС163"),
                                                    QStringLiteral("VIN: XTC549015N2570001"),
                                                    QStringLiteral("Одометр, км: 152340"),
                                                    QStringLiteral("Дата настройки: 12.03.2026"),
                                                    QStringLiteral("W [imp/km]: 8000"),
                                                    QStringLiteral("K [imp/km]: 8021"),
                                                    QStringLiteral("L, мм: 3150"),
                                                    QStringLiteral("Следующая настройка: 12.03.2029"),
                                                    QStringLiteral("Маркировка шин: 315/80R22.5"),
                                                    QStringLiteral("Стойка двери водителя"),
                                                    QStringLiteral("Эксплуатация только на территории РФ."),
                                                    QStringLiteral("Ответственный: Петрова А. С."),
                                                    QStringLiteral("Мастер: Иванов И. И."),
                                                    QStringLiteral("М.П.")}
                                     << QSizeF(595, 842);
        QTest::newRow("sticker") << DocumentType::Sticker
                                 << QStringList{QStringLiteral("Поволжье»"),
                                                QStringLiteral("Московское шоссе, 17,"),
                                                QStringLiteral("VIN: XTC549015N2570001"),
                                                QStringLiteral("VRN: А123ВС163"),
                                                QStringLiteral("Орвиан исп. 02"),
                                                QStringLiteral("с/н: 2505001800001234"),
                                                QStringLiteral("СКЗИ: 7800000000000417"),
                                                QStringLiteral("W= 8000"),
                                                QStringLiteral("K= 8021"),
                                                QStringLiteral("L= 3150"),
                                                QStringLiteral("Шины:"),
                                                QStringLiteral("315/80R22.5"),
                                                QStringLiteral("дата настр.: 12.03.2026"),
                                                QStringLiteral("12345"),
                                                QStringLiteral("Параметры"),
                                                QStringLiteral("Транспортное")}
                                 << QSizeF(283.46, 52.72);
    }

    void pdfTextsAndSizes()
    {
        QFETCH(DocumentType, type);
        QFETCH(QStringList, lines);
        QFETCH(QSizeF, size);
        const QString file = path(QStringLiteral("Документы/") + typeName(type) + QStringLiteral(".pdf"));
        QString error;
        QVERIFY2(DocumentRenderer::writePdf(file, type, tachoria::test::sampleDocument(), &error),
                 qPrintable(error));
        // pdftotext -layout keeps a label and its value on one line, with blanks between.
        const QString text = tachoria::test::pdfText(file).simplified();
        for (const QString& line : lines)
            QVERIFY2(text.contains(line), qPrintable(line + QStringLiteral(" not in: ") + text));
        const QList<QSizeF> sizes = tachoria::test::pdfPageSizes(file);
        QCOMPARE(sizes.size(), 1);
        QVERIFY2(
            std::abs(sizes.first().width() - size.width()) < 1 &&
                std::abs(sizes.first().height() - size.height()) < 1,
            qPrintable(QStringLiteral("%1 x %2").arg(sizes.first().width()).arg(sizes.first().height())));
    }

    // The preview is the PDF's picture at 144 dpi, twice the page in points.
    void previewIsThePdfsPicture_data()
    {
        QTest::addColumn<DocumentType>("type");
        QTest::newRow("certificate") << DocumentType::Certificate;
        QTest::newRow("sticker") << DocumentType::Sticker;
    }

    void previewIsThePdfsPicture()
    {
        QFETCH(DocumentType, type);
        const QImage picture = preview(type, tachoria::test::sampleDocument());
        QCOMPARE(picture.size(), (DocumentRenderer::documentSizePoints(type) * 2).toSize());
        QCOMPARE(qRound(picture.dotsPerMeterX() * 0.0254), 144);
        const double same =
            tachoria::test::pictureDifference(picture, pdfPicture(type, tachoria::test::sampleDocument()));
        QVERIFY2(same < 3, qPrintable(QString::number(same)));
        // The measure tells the filled document from the empty form.
        const double empty = tachoria::test::pictureDifference(picture, pdfPicture(type, QVariantMap{}));
        QVERIFY2(empty > 12, qPrintable(QString::number(empty)));
    }

    // A long address wraps in its row and is cut there: the phone's row below looks as before.
    void longAddressStaysInItsRow()
    {
        QVariantMap longAddress = tachoria::test::sampleDocument();
        longAddress.insert(
            QStringLiteral("CustomerAddress"),
            QStringLiteral("443080, Самарская область, городской округ Самара, Октябрьский район, "
                           "улица Примерная, дом 1, корпус 2, строение 3, офис 405, вход со двора"));
        const QImage shortOne = preview(DocumentType::Certificate, tachoria::test::sampleDocument());
        const QImage longOne = preview(DocumentType::Certificate, longAddress);
        // Rows in points, the preview at twice that: the address row 170..194, the phone's 194..219.
        const QRect addressRow(2 * 43, 2 * 171, 2 * 253, 2 * 22);
        const QRect phoneRow(2 * 43, 2 * 195, 2 * 253, 2 * 23);
        QVERIFY(shortOne.copy(addressRow) != longOne.copy(addressRow));
        QCOMPARE(shortOne.copy(phoneRow), longOne.copy(phoneRow));
    }

    void unwritablePlacesAreRefused_data()
    {
        QTest::addColumn<bool>("pdf");
        QTest::addColumn<QString>("words");
        QTest::newRow("pdf") << true << QStringLiteral("Не удалось создать PDF: ");
        QTest::newRow("preview") << false
                                 << QStringLiteral("Не удалось сохранить изображение предпросмотра: ");
    }

    void unwritablePlacesAreRefused()
    {
        QFETCH(bool, pdf);
        QFETCH(QString, words);
        // A folder that cannot be made: a file stands where it should be.
        QFile blocker(path(QStringLiteral("blocker")));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        const QString target = path(QStringLiteral("blocker/document"));
        QString error;
        const bool written =
            pdf ? DocumentRenderer::writePdf(target, DocumentType::Certificate,
                                             tachoria::test::sampleDocument(), &error)
                : DocumentRenderer::writePreviewImage(target, DocumentType::Certificate,
                                                      tachoria::test::sampleDocument(), &error);
        QVERIFY(!written);
        QVERIFY2(error.startsWith(words), qPrintable(error));
    }

    void labelSizes_data()
    {
        QTest::addColumn<QSizeF>("millimetres");
        QTest::addColumn<bool>("label");
        QTest::newRow("the sticker") << QSizeF(100, 18.6) << true;
        QTest::newRow("18 x 100 tape") << QSizeF(18, 100) << true;
        QTest::newRow("12 mm tape") << QSizeF(12, 100) << false;
        QTest::newRow("edges 17 x 80") << QSizeF(17, 80) << true;
        QTest::newRow("edges 40 x 500") << QSizeF(500, 40) << true;
        QTest::newRow("41 mm wide") << QSizeF(41, 100) << false;
        QTest::newRow("79 mm long") << QSizeF(18, 79) << false;
        QTest::newRow("501 mm long") << QSizeF(18, 501) << false;
        QTest::newRow("A4") << QSizeF(210, 297) << false;
    }

    void labelSizes()
    {
        QFETCH(QSizeF, millimetres);
        QFETCH(bool, label);
        QCOMPARE(DocumentRenderer::isLabelPageSize(QPageSize(millimetres, QPageSize::Millimeter)), label);
        QVERIFY(!DocumentRenderer::isLabelPageSize(QPageSize()));
    }

    void printLayouts_data()
    {
        QTest::addColumn<DocumentType>("type");
        QTest::addColumn<QVariantMap>("options");
        QTest::addColumn<QSizeF>("millimetres");
        QTest::newRow("certificate by default")
            << DocumentType::Certificate << QVariantMap{} << QSizeF(210, 297);
        QTest::newRow("certificate A5 landscape")
            << DocumentType::Certificate
            << QVariantMap{{QStringLiteral("paper"), QStringLiteral("A5")},
                           {QStringLiteral("orientation"), QStringLiteral("landscape")}}
            << QSizeF(210, 148);
        QTest::newRow("certificate on a tape word")
            << DocumentType::Certificate << QVariantMap{{QStringLiteral("paper"), QStringLiteral("sticker")}}
            << QSizeF(210, 297);
        QTest::newRow("sticker by default") << DocumentType::Sticker << QVariantMap{} << QSizeF(100, 18.6);
        QTest::newRow("sticker on Letter")
            << DocumentType::Sticker << QVariantMap{{QStringLiteral("paper"), QStringLiteral("Letter")}}
            << QSizeF(215.9, 279.4);
    }

    void printLayouts()
    {
        QFETCH(DocumentType, type);
        QFETCH(QVariantMap, options);
        QFETCH(QSizeF, millimetres);
        const QPageLayout layout = DocumentRenderer::printPageLayout(type, options);
        const QSizeF size = layout.fullRect(QPageLayout::Millimeter).size();
        QVERIFY2(std::abs(size.width() - millimetres.width()) < 0.5 &&
                     std::abs(size.height() - millimetres.height()) < 0.5,
                 qPrintable(QStringLiteral("%1 x %2").arg(size.width()).arg(size.height())));
        QCOMPARE(layout.margins(), QMarginsF());
        QCOMPARE(layout.units(), QPageLayout::Point);
    }

    // Handed to CUPS, a document comes out of the queue as the page it asked for, looking as its preview,
    // in the copies, colours and sides of the options.
    void printsThroughCups_data()
    {
        QTest::addColumn<DocumentType>("type");
        QTest::addColumn<QString>("queue");
        QTest::addColumn<QVariantMap>("options"); // empty: print(), else printWithOptions()
        QTest::addColumn<QSizeF>("pagePoints");
        QTest::addColumn<int>("copies");
        QTest::addColumn<QString>("colour");
        QTest::addColumn<QString>("sides");
        QTest::newRow("certificate on the sheet printer")
            << DocumentType::Certificate << kSheetQueue << QVariantMap{} << QSizeF(595, 842) << 1 << "rgb"
            << "one-sided";
        QTest::newRow("sticker on the label printer")
            << DocumentType::Sticker << kTapeQueue << QVariantMap{} << QSizeF(283.46, 52.72) << 1 << "rgb"
            << "one-sided";
        QTest::newRow("certificate, 0 copies, grey, long side")
            << DocumentType::Certificate << kSheetQueue
            << QVariantMap{{QStringLiteral("printerName"), kSheetQueue},
                           {QStringLiteral("paper"), QStringLiteral("A4")},
                           {QStringLiteral("copies"), 0},
                           {QStringLiteral("color"), false},
                           {QStringLiteral("duplex"), 1}}
            << QSizeF(595, 842) << 1 << "gray"
            << "two-sided-long-edge";
        QTest::newRow("sticker, 500 copies, at 100%")
            << DocumentType::Sticker << kTapeQueue
            << QVariantMap{{QStringLiteral("printerName"), kTapeQueue},
                           {QStringLiteral("paper"), QStringLiteral("sticker")},
                           {QStringLiteral("copies"), 500},
                           {QStringLiteral("fitToPage"), false}}
            << QSizeF(283.46, 52.72) << 99 << "rgb"
            << "one-sided";
        QTest::newRow("certificate on A5, short side")
            << DocumentType::Certificate << kSheetQueue
            << QVariantMap{{QStringLiteral("printerName"), kSheetQueue},
                           {QStringLiteral("paper"), QStringLiteral("A5")},
                           {QStringLiteral("duplex"), 2}}
            << QSizeF(420, 595) << 1 << "rgb"
            << "two-sided-short-edge";
    }

    void printsThroughCups()
    {
        requireCups();
        QFETCH(DocumentType, type);
        QFETCH(QString, queue);
        QFETCH(QVariantMap, options);
        QFETCH(QSizeF, pagePoints);
        QFETCH(int, copies);
        QFETCH(QString, colour);
        QFETCH(QString, sides);
        const qsizetype before = m_cups->printedFiles(queue).size();
        QString error;
        const bool printed =
            options.isEmpty()
                ? DocumentRenderer::print(type, tachoria::test::sampleDocument(), queue, &error)
                : DocumentRenderer::printWithOptions(type, tachoria::test::sampleDocument(), options, &error);
        QVERIFY2(printed, qPrintable(error));
        QTRY_COMPARE_WITH_TIMEOUT(m_cups->printedFiles(queue).size(), before + 1, 60000);
        const QString output = m_cups->printedFiles(queue).last();
        // cups-pdf writes the file in place: it is whole once poppler reads all its pages.
        QTRY_COMPARE_WITH_TIMEOUT(tachoria::test::pdfPageSizes(output).size(), copies, 60000);
        const QSizeF size = tachoria::test::pdfPageSizes(output).first();
        QVERIFY2(std::abs(size.width() - pagePoints.width()) < 1.5 &&
                     std::abs(size.height() - pagePoints.height()) < 1.5,
                 qPrintable(QStringLiteral("%1 x %2").arg(size.width()).arg(size.height())));
        QCOMPARE(tachoria::test::pdfImageColours(output).constFirst(), colour);
        QCOMPARE(m_cups->lastJobAttributes(queue, {QStringLiteral("sides")}).value(QStringLiteral("sides")),
                 sides);
        // A5 has A4's proportions: scaled to fit, the certificate fills it as it fills A4.
        const QList<QImage> pages = tachoria::test::pdfPages(output, 144, 1);
        QVERIFY(!pages.isEmpty());
        const double difference =
            tachoria::test::pictureDifference(pages.first(), preview(type, tachoria::test::sampleDocument()));
        QVERIFY2(difference < 8, qPrintable(QString::number(difference)));
    }

    // Refused prints say why and hand nothing to the queue.
    void refusedPrints_data()
    {
        QTest::addColumn<DocumentType>("type");
        QTest::addColumn<QString>("printer");     // through print()
        QTest::addColumn<QVariantMap>("options"); // else through printWithOptions()
        QTest::addColumn<QString>("words");
        QTest::newRow("missing printer") << DocumentType::Certificate << QStringLiteral("Нет_такого")
                                         << QVariantMap{} << QStringLiteral("Принтер не найден: Нет_такого");
        QTest::newRow("missing printer, options")
            << DocumentType::Sticker << QString()
            << QVariantMap{{QStringLiteral("printerName"), QStringLiteral("Нет_такого")}}
            << QStringLiteral("Принтер не найден: Нет_такого");
        QTest::newRow("sticker on a sheet printer")
            << DocumentType::Sticker << kSheetQueue << QVariantMap{}
            << QStringLiteral(
                   "В настройках драйвера принтера выберите ленту шириной 18–36 мм и длиной не менее 80 мм.");
        QTest::newRow("sticker on A4 paper")
            << DocumentType::Sticker << QString()
            << QVariantMap{{QStringLiteral("printerName"), kTapeQueue},
                           {QStringLiteral("paper"), QStringLiteral("A4")}}
            << QStringLiteral(
                   "Драйвер не принял размер наклейки 100 × 18,6 мм. Выберите «Размер ленты из драйвера» или "
                   "настройте формат ленты в Windows.");
        QTest::newRow("OneNote")
            << DocumentType::Certificate << QStringLiteral(" send_to_onenote_2016 ") << QVariantMap{}
            << QStringLiteral(
                   "Печать пропущена: выбран виртуальный принтер OneNote. Сформированный PDF сохранён без "
                   "запуска OneNote.");
        QTest::newRow("OneNote, options")
            << DocumentType::Certificate << QString()
            << QVariantMap{{QStringLiteral("printerName"), kOneNoteQueue}}
            << QStringLiteral(
                   "Печать отменена: OneNote является виртуальным принтером и не используется приложением.");
        QTest::newRow("OneNote as the default")
            << DocumentType::Sticker << QStringLiteral("По умолчанию") << QVariantMap{}
            << QStringLiteral("Печать пропущена: выбран виртуальный принтер "
                              "OneNote. Сформированный PDF сохранён без запуска "
                              "OneNote.");
    }

    void refusedPrints()
    {
        requireCups();
        QFETCH(DocumentType, type);
        QFETCH(QString, printer);
        QFETCH(QVariantMap, options);
        QFETCH(QString, words);
        QVERIFY(m_cups->setDefaultPrinter(kOneNoteQueue));
        const qsizetype jobs = m_cups->printedFiles(kSheetQueue).size() +
                               m_cups->printedFiles(kTapeQueue).size() +
                               m_cups->printedFiles(kOneNoteQueue).size();
        QString error;
        QVERIFY(options.isEmpty()
                    ? !DocumentRenderer::print(type, tachoria::test::sampleDocument(), printer, &error)
                    : !DocumentRenderer::printWithOptions(type, tachoria::test::sampleDocument(), options,
                                                          &error));
        QCOMPARE(error, words);
        QCOMPARE(m_cups->printedFiles(kSheetQueue).size() + m_cups->printedFiles(kTapeQueue).size() +
                     m_cups->printedFiles(kOneNoteQueue).size(),
                 jobs);
    }

    // The printer's own dialog (the system's, or the driver's for a tape): a cancel is said as such, a
    // sheet where a tape belongs or a OneNote printer is refused, and the tape prints the sticker.
    void printerDialogs_data()
    {
        QTest::addColumn<DocumentType>("type");
        QTest::addColumn<QString>("printer"); // the system's default and the one the dialog starts with
        QTest::addColumn<bool>("driverMode"); // printWithOptions with paper "driver", else printWithDialog
        QTest::addColumn<bool>("accept");
        QTest::addColumn<QString>("words"); // empty: printed on the tape
        QTest::newRow("certificate cancelled") << DocumentType::Certificate << kSheetQueue << false << false
                                               << QStringLiteral("Печать отменена");
        QTest::newRow("driver's tape cancelled")
            << DocumentType::Sticker << kTapeQueue << true << false << QStringLiteral("Печать отменена");
        QTest::newRow("sticker on a sheet")
            << DocumentType::Sticker << kSheetQueue << false << true
            << QStringLiteral("Выберите в свойствах принтера ленту шириной 18–36 мм и "
                              "длиной не менее 80 мм.");
        QTest::newRow("driver reports a sheet")
            << DocumentType::Sticker << kSheetQueue << true << true
            << QStringLiteral("Драйвер сообщает листовой формат. В свойствах принтера выберите установленную "
                              "ленту Brother "
                              "шириной 18–36 мм и длиной от 80 мм.");
        QTest::newRow("OneNote chosen")
            << DocumentType::Certificate << kOneNoteQueue << false << true
            << QStringLiteral("Печать отменена: OneNote является виртуальным принтером и не "
                              "используется приложением.");
        QTest::newRow("sticker on the tape")
            << DocumentType::Sticker << kTapeQueue << false << true << QString();
        QTest::newRow("driver's tape") << DocumentType::Sticker << kTapeQueue << true << true << QString();
    }

    void printerDialogs()
    {
        requireCups();
        QFETCH(DocumentType, type);
        QFETCH(QString, printer);
        QFETCH(bool, driverMode);
        QFETCH(bool, accept);
        QFETCH(QString, words);
        QVERIFY(m_cups->setDefaultPrinter(printer));
        const qsizetype before = m_cups->printedFiles(kTapeQueue).size();
        const QVariantMap driver{{QStringLiteral("printerName"), printer},
                                 {QStringLiteral("paper"), QStringLiteral("driver")}};
        QString error;
        answerNextDialog(accept);
        const bool printed =
            driverMode
                ? DocumentRenderer::printWithOptions(type, tachoria::test::sampleDocument(), driver, &error)
                : DocumentRenderer::printWithDialog(type, tachoria::test::sampleDocument(), &error);
        QCOMPARE(error, words);
        QCOMPARE(printed, words.isEmpty());
        if (!printed)
            return;
        QTRY_COMPARE_WITH_TIMEOUT(m_cups->printedFiles(kTapeQueue).size(), before + 1, 60000);
        const QString output = m_cups->printedFiles(kTapeQueue).constLast();
        QTRY_COMPARE_WITH_TIMEOUT(tachoria::test::pdfPageSizes(output).size(), 1, 30000);
        QVERIFY(std::abs(tachoria::test::pdfPageSizes(output).constFirst().height() - 52.72) < 1.5);
    }
};

QTEST_MAIN(TestDocumentRenderer)
#include "test_document_renderer.moc"
