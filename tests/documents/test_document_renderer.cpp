// The certificate and the sticker as the customer gets them: the PDF's texts and page sizes as poppler
// reads them, the preview against the PDF, and prints handed to a real CUPS with cups-pdf queues (an A4
// printer and a label printer), compared by picture with the preview.
#include "../support/cups_stand_in.h"
#include "../support/pdf_pages.h"
#include "../support/printer_dialog.h"
#include "../support/sample_document.h"
#include "documents/document_renderer.h"

#include <QApplication>
#include <QDate>
#include <QTemporaryDir>
#include <QTest>

#include <array>

using namespace Qt::StringLiterals;
using tachoria::documents::DocumentRenderer;
using tachoria::documents::DocumentType;
using tachoria::test::CupsStandIn;

namespace {

const QString kSheetQueue = u"TachoriaSheet"_s;
const QString kTapeQueue = u"TachoriaTape"_s;
const QString kOneNoteQueue = u"Send_To_OneNote_2016"_s;

QString typeName(DocumentType type)
{
    return type == DocumentType::Sticker ? u"sticker"_s : u"certificate"_s;
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
        const QString file = path(typeName(type) + u"_preview.png"_s);
        QString error;
        if (!DocumentRenderer::writePreviewImage(file, type, data, &error))
            qWarning("%s", qPrintable(error));
        return QImage(file);
    }

    QImage pdfPicture(DocumentType type, const QVariantMap& data)
    {
        const QString file = path(typeName(type) + u"_picture.pdf"_s);
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
        QTest::addColumn<QString>("title");
        const QString today = QDate::currentDate().toString(u"dd.MM.yyyy"_s);
        // One line of poppler's text each, as "|"-separated texts.
        QTest::newRow("certificate")
            << DocumentType::Certificate
            << (u"Сертификат настройки|Заказ №: 1542|Дата: "_s + today +
                u"|ООО «ДЕМО-ТРАНС»|Самара, ул. Примерная, 1|ООО «Тахосервис-Поволжье»|Производитель: ОРВИАН|"
                u"Серийный номер: 2505001800001234|СКЗИ: 7800000000000417|Рег. номер: А123ВС163|"
                u"VIN: XTC549015N2570001|Одометр, км: 152340|Дата настройки: 12.03.2026|W [imp/km]: 8000|"
                u"K [imp/km]: 8021|L, мм: 3150|Следующая настройка: 12.03.2029|Маркировка шин: 315/80R22.5|"
                u"Стойка двери водителя|Эксплуатация только на территории РФ.|Ответственный: Петрова А. С.|"
                u"Мастер: Иванов И. И.|М.П.|Заказчик|Мастерская|Тахограф|Транспортное средство|"
                u"Данные настройки тахографа|Расположение установочной таблицы:|Результат инспекции:|"
                u"Признаки манипуляции:|Особые отметки|Подпись:"_s)
                   .split(u'|')
            << QSizeF(595, 842) << u"Сертификат"_s;
        QTest::newRow("sticker")
            << DocumentType::Sticker
            << u"Поволжье»|Московское шоссе, 17,|VIN: XTC549015N2570001|VRN: А123ВС163|"
               u"Орвиан исп. 02|с/н: 2505001800001234|СКЗИ: 7800000000000417|W= 8000|"
               u"K= 8021|L= 3150|Шины:|315/80R22.5|дата настр.: 12.03.2026|12345|Параметры|"
               u"Транспортное"_s.split(u'|')
            << QSizeF(283.46, 52.72) << u"Наклейка"_s;
    }

    void pdfTextsAndSizes()
    {
        QFETCH(DocumentType, type);
        QFETCH(QStringList, lines);
        QFETCH(QSizeF, size);
        QFETCH(QString, title);
        const QString file = path(u"Документы/"_s + typeName(type) + u".pdf"_s);
        QString error;
        QVERIFY2(DocumentRenderer::writePdf(file, type, tachoria::test::sampleDocument(), &error),
                 qPrintable(error));
        // pdftotext -layout keeps a label and its value on one line, with blanks between.
        const QString text = tachoria::test::pdfText(file).simplified();
        for (const QString& line : lines)
            QVERIFY2(text.contains(line), qPrintable(line + u" not in: "_s + text));
        const QList<QSizeF> sizes = tachoria::test::pdfPageSizes(file);
        QCOMPARE(sizes.size(), 1);
        QVERIFY2(std::abs(sizes.first().width() - size.width()) < 1 &&
                     std::abs(sizes.first().height() - size.height()) < 1,
                 qPrintable(u"%1 x %2"_s.arg(sizes.first().width()).arg(sizes.first().height())));
        QCOMPARE(tachoria::test::pdfInfoField(file, u"Title"_s), title);
        QCOMPARE(tachoria::test::pdfInfoField(file, u"Creator"_s), u"TachoriaQt"_s);
    }

    // Words where the layout puts them, in points from the page's top left: a left-aligned text starts
    // 5 points into its box (2 on the sticker), a value 2 points after its label's width, a title sits
    // centred and "М.П." ends 5 points before its box's right edge; y is a point the word covers.
    void wordsSitInTheirPlaces_data()
    {
        QTest::addColumn<DocumentType>("type");
        QTest::addColumn<QString>("word");
        QTest::addColumn<char>("anchor"); // l: left edge, c: centre, r: right edge
        QTest::addColumn<double>("x");
        QTest::addColumn<double>("y");
        const auto row = [](DocumentType type, const char* word, char anchor, double x, double y) {
            QTest::addRow("%s %s", type == DocumentType::Sticker ? "sticker" : "certificate", word)
                << type << QString::fromUtf8(word) << anchor << x << y;
        };
        constexpr DocumentType c = DocumentType::Certificate;
        constexpr DocumentType s = DocumentType::Sticker;
        row(c, "тахографа", 'c', 304.5, 66);
        row(c, "1542", 'l', 397 + 51 + 2, 43);
        row(c, "Дата:", 'l', 397 + 5, 71.5);
        row(c, "Заказчик", 'c', 169.75, 133.5);
        row(c, "Мастерская", 'c', 382, 133.5);
        row(c, "12345", 'c', 509.75, 133.5);
        row(c, "«ДЕМО-ТРАНС»", 'l', 69.2, 147);
        row(c, "Примерная,", 'l', 93.2, 175);
        row(c, "+7", 'l', 302, 199);
        row(c, "Тахограф", 'c', 169.75, 266.5);
        row(c, "2505001800001234", 'l', 42.5 + 84 + 2, 275 + 2 * 12 + 6);
        row(c, "VIN:", 'l', 297 + 5, 275 + 3 * 12 + 6);
        row(c, "XTC549015N2570001", 'l', 297 + 84 + 2, 275 + 3 * 12 + 6);
        row(c, "152340", 'l', 297 + 84 + 2, 275 + 4 * 12 + 6);
        row(c, "12.03.2026", 'l', 42.5 + 87 + 2, 398);
        row(c, "8021", 'l', 42.5 + 87 + 2, 427);
        row(c, "12.03.2029", 'l', 297 + 125 + 2, 398);
        row(c, "3150", 'l', 297 + 125 + 2, 427);
        row(c, "Стойка", 'l', 302, 481);
        row(c, "Эксплуатация", 'l', 47.5, 639);
        row(c, "Петрова", 'l', 42.5 + 80 + 2, 740);
        row(c, "Иванов", 'l', 42.5 + 50 + 2, 769);
        row(c, "Подпись:", 'l', 365, 765);
        row(c, "М.П.", 'r', 548, 765);
        row(s, "Поволжье»", 'l', 8 + 2, 12);
        row(s, "VIN:", 'l', 106, 5);
        row(s, "СКЗИ:", 'l', 106, 39);
        row(s, "W=", 'l', 231, 4);
        row(s, "12.03.2026", 'l', 231, 42);
    }

    void wordsSitInTheirPlaces()
    {
        QFETCH(DocumentType, type);
        QFETCH(QString, word);
        QFETCH(char, anchor);
        QFETCH(double, x);
        QFETCH(double, y);
        const QString file = path(typeName(type) + u"_words.pdf"_s);
        QVERIFY(DocumentRenderer::writePdf(file, type, tachoria::test::sampleDocument()));
        QStringList seen;
        for (const tachoria::test::PdfWord& found : tachoria::test::pdfWords(file)) {
            if (found.text != word)
                continue;
            const QRectF& box = found.box;
            const double at = anchor == 'l' ? box.left() : anchor == 'r' ? box.right() : box.center().x();
            if (std::abs(at - x) < 0.6 && box.top() < y && y < box.bottom())
                return;
            seen << u"%1,%2 - %3,%4"_s.arg(box.left()).arg(box.top()).arg(box.right()).arg(box.bottom());
        }
        QFAIL(qPrintable(word + u" not at its place; seen at: "_s + seen.join(u"; "_s)));
    }

    // Each field draws in its own box and nowhere else: the preview with and without the field's value
    // differs, and only inside the box (in points; the preview is at twice that).
    void eachFieldInItsBox_data()
    {
        QTest::addColumn<DocumentType>("type");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QRectF>("box");
        const auto row = [](DocumentType type, const char* key, const QRectF& box) {
            QTest::addRow("%s %s", type == DocumentType::Sticker ? "sticker" : "certificate", key)
                << type << QString::fromLatin1(key) << box;
        };
        constexpr DocumentType c = DocumentType::Certificate;
        constexpr DocumentType s = DocumentType::Sticker;
        row(c, "OrderNumber", {397, 29, 155.5, 28});
        row(c, "TachoriaStigma", {467, 125, 85.5, 17});
        row(c, "CustomerName", {42.5, 142, 254.5, 28});
        row(c, "CustomerAddress", {42.5, 170, 254.5, 24});
        row(c, "CustomerPhone", {42.5, 194, 254.5, 25});
        row(c, "TachoriaName", {297, 142, 255.5, 28});
        row(c, "TachoriaAddress", {297, 170, 255.5, 24});
        row(c, "TachoriaPhone", {297, 194, 255.5, 25});
        row(c, "TachographManufacture", {42.5, 275, 254.5, 12});
        row(c, "TachographSkzi", {42.5, 323, 254.5, 12});
        row(c, "VehicleRegNumber", {297, 275, 255.5, 12});
        row(c, "VehicleOdometr", {297, 323, 255.5, 12});
        row(c, "OrderDate", {42.5, 391, 254.5, 14});
        row(c, "TachographSettingsK", {42.5, 419, 254.5, 16});
        row(c, "TachographSettingsNextCalibr", {297, 391, 255.5, 14});
        row(c, "TachographSettingsL", {297, 419, 255.5, 16});
        row(c, "SetupTable", {297, 476, 255.5, 17});
        row(c, "Inspection", {297, 536, 255.5, 17});
        row(c, "Manipulation", {297, 553, 255.5, 17});
        row(c, "Note", {42.5, 634, 510, 34});
        row(c, "OrderResponsible", {42.5, 731, 180, 18});
        row(c, "OrderMaster", {42.5, 760, 270, 18});
        row(s, "TachoriaStigma", {0, 0, 8, 52.8});
        row(s, "TachoriaPhone", {8, 0, 80, 52.8});
        row(s, "TachographSkzi", {104, 0, 114, 52.8});
        row(s, "VehicleTyreMarking", {229, 0, 46.5, 52.8});
    }

    void eachFieldInItsBox()
    {
        QFETCH(DocumentType, type);
        QFETCH(QString, key);
        QFETCH(QRectF, box);
        QVariantMap without = tachoria::test::sampleDocument();
        without.remove(key);
        const QImage full = preview(type, tachoria::test::sampleDocument());
        const QImage empty = preview(type, without);
        QRect changed;
        for (int y = 0; y < full.height(); ++y)
            for (int x = 0; x < full.width(); ++x)
                if (full.pixel(x, y) != empty.pixel(x, y))
                    changed |= QRect(x, y, 1, 1);
        const QRect allowed = QRectF(box.topLeft() * 2, box.size() * 2).toAlignedRect();
        QVERIFY2(!changed.isEmpty() && allowed.contains(changed),
                 qPrintable(u"changed %1,%2 %3x%4"_s.arg(changed.x())
                                .arg(changed.y())
                                .arg(changed.width())
                                .arg(changed.height())));
    }

    // The boxes' edges and the dividing lines where the layout draws them: a dark row (or column) of
    // the preview along each, in points.
    void linesInTheirPlaces_data()
    {
        QTest::addColumn<QLineF>("line");
        for (const double y : {29.0,  86.0,  125.0, 142.0, 170.0, 219.0, 258.0, 275.0, 335.0, 374.0,
                               391.0, 435.0, 476.0, 493.0, 536.0, 553.0, 570.0, 617.0, 634.0, 668.0})
            QTest::addRow("across at %g", y) << QLineF(42.5, y, 552.5, y);
        QTest::addRow("signature") << QLineF(412, 771, 500, 771);
        const std::array<QLineF, 10> downs{QLineF(212, 29, 212, 86),   QLineF(397, 29, 397, 86),
                                           QLineF(297, 125, 297, 219), QLineF(467, 125, 467, 142),
                                           QLineF(297, 258, 297, 335), QLineF(297, 391, 297, 435),
                                           QLineF(297, 476, 297, 493), QLineF(297, 536, 297, 570),
                                           QLineF(42.5, 29, 42.5, 86), QLineF(552.5, 374, 552.5, 435)};
        for (const QLineF& down : downs)
            QTest::addRow("down at %g from %g", down.x1(), down.y1()) << down;
    }

    void linesInTheirPlaces()
    {
        QFETCH(QLineF, line);
        const QImage picture = preview(DocumentType::Certificate, tachoria::test::sampleDocument());
        const bool across = line.dy() == 0;
        // A line at p points covers the preview's pixels 2p - 1 and 2p; one of them is dark all along.
        const int at = qRound(2 * (across ? line.y1() : line.x1()));
        const int from = qRound(2 * (across ? line.x1() : line.y1())) + 2;
        const int to = qRound(2 * (across ? line.x2() : line.y2())) - 2;
        int darkest = 0;
        for (const int position : {at - 1, at}) {
            int dark = 0;
            for (int along = from; along < to; ++along)
                dark += qGray(across ? picture.pixel(along, position) : picture.pixel(position, along)) < 128;
            darkest = std::max(darkest, dark);
        }
        QVERIFY2(darkest >= (to - from) * 9 / 10, qPrintable(u"%1 of %2 dark"_s.arg(darkest).arg(to - from)));
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
        longAddress.insert(u"CustomerAddress"_s,
                           u"443080, Самарская область, городской округ Самара, Октябрьский район, "
                           "улица Примерная, дом 1, корпус 2, строение 3, офис 405, вход со двора"_s);
        const QImage shortOne = preview(DocumentType::Certificate, tachoria::test::sampleDocument());
        const QImage longOne = preview(DocumentType::Certificate, longAddress);
        // Rows in points, the preview at twice that: the address row 170..194, the phone's 194..219. Two
        // whole lines of the address fill it to 190.5; no top of a third shows below them.
        const QRect addressRow(2 * 43, 2 * 171, 2 * 253, 2 * 19);
        const QRect belowTwoLines(2 * 43, 2 * 191, 2 * 253, 2 * 3 + 1);
        const QRect phoneRow(2 * 43, 2 * 195, 2 * 253, 2 * 23);
        QVERIFY(shortOne.copy(addressRow) != longOne.copy(addressRow));
        QCOMPARE(shortOne.copy(belowTwoLines), longOne.copy(belowTwoLines));
        QCOMPARE(shortOne.copy(phoneRow), longOne.copy(phoneRow));
    }

    void unwritablePlacesAreRefused_data()
    {
        QTest::addColumn<bool>("pdf");
        QTest::addColumn<QString>("words");
        QTest::newRow("pdf") << true << u"Не удалось создать PDF: "_s;
        QTest::newRow("preview") << false << u"Не удалось сохранить изображение предпросмотра: "_s;
    }

    void unwritablePlacesAreRefused()
    {
        QFETCH(bool, pdf);
        QFETCH(QString, words);
        // A folder that cannot be made: a file stands where it should be.
        QFile blocker(path(u"blocker"_s));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        const QString target = path(u"blocker/document"_s);
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
            << QVariantMap{{u"paper"_s, u"A5"_s}, {u"orientation"_s, u"landscape"_s}} << QSizeF(210, 148);
        QTest::newRow("certificate on a tape word")
            << DocumentType::Certificate << QVariantMap{{u"paper"_s, u"sticker"_s}} << QSizeF(210, 297);
        QTest::newRow("sticker by default") << DocumentType::Sticker << QVariantMap{} << QSizeF(100, 18.6);
        QTest::newRow("sticker on Letter")
            << DocumentType::Sticker << QVariantMap{{u"paper"_s, u"Letter"_s}} << QSizeF(215.9, 279.4);
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
                 qPrintable(u"%1 x %2"_s.arg(size.width()).arg(size.height())));
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
            << QVariantMap{{u"printerName"_s, kSheetQueue},
                           {u"paper"_s, u"A4"_s},
                           {u"copies"_s, 0},
                           {u"color"_s, false},
                           {u"duplex"_s, 1}}
            << QSizeF(595, 842) << 1 << "gray"
            << "two-sided-long-edge";
        QTest::newRow("sticker, 500 copies, at 100%") << DocumentType::Sticker << kTapeQueue
                                                      << QVariantMap{{u"printerName"_s, kTapeQueue},
                                                                     {u"paper"_s, u"sticker"_s},
                                                                     {u"copies"_s, 500},
                                                                     {u"fitToPage"_s, false}}
                                                      << QSizeF(283.46, 52.72) << 99 << "rgb"
                                                      << "one-sided";
        QTest::newRow("certificate on A5, short side")
            << DocumentType::Certificate << kSheetQueue
            << QVariantMap{{u"printerName"_s, kSheetQueue}, {u"paper"_s, u"A5"_s}, {u"duplex"_s, 2}}
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
                 qPrintable(u"%1 x %2"_s.arg(size.width()).arg(size.height())));
        QCOMPARE(tachoria::test::pdfImageColours(output).constFirst(), colour);
        QCOMPARE(m_cups->lastJobAttributes(queue, {u"sides"_s}).value(u"sides"_s), sides);
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
        QTest::newRow("missing printer") << DocumentType::Certificate << u"Нет_такого"_s << QVariantMap{}
                                         << u"Принтер не найден: Нет_такого"_s;
        QTest::newRow("missing printer, options")
            << DocumentType::Sticker << QString() << QVariantMap{{u"printerName"_s, u"Нет_такого"_s}}
            << u"Принтер не найден: Нет_такого"_s;
        QTest::newRow("sticker on a sheet printer")
            << DocumentType::Sticker << kSheetQueue << QVariantMap{}
            << u"В настройках драйвера принтера выберите ленту шириной 18–36 мм и длиной не менее 80 мм."_s;
        QTest::newRow("sticker on A4 paper")
            << DocumentType::Sticker << QString()
            << QVariantMap{{u"printerName"_s, kTapeQueue}, {u"paper"_s, u"A4"_s}}
            << u"Драйвер не принял размер наклейки 100 × 18,6 мм. Выберите «Размер ленты из драйвера» или "
               "настройте формат ленты в Windows."_s;
        QTest::newRow("OneNote")
            << DocumentType::Certificate << u" send_to_onenote_2016 "_s << QVariantMap{}
            << u"Печать пропущена: выбран виртуальный принтер OneNote. Сформированный PDF сохранён без "
               "запуска OneNote."_s;
        QTest::newRow("OneNote, options")
            << DocumentType::Certificate << QString() << QVariantMap{{u"printerName"_s, kOneNoteQueue}}
            << u"Печать отменена: OneNote является виртуальным принтером и не используется приложением."_s;
        QTest::newRow("OneNote as the default") << DocumentType::Sticker << u"По умолчанию"_s << QVariantMap{}
                                                << u"Печать пропущена: выбран виртуальный принтер "
                                                   "OneNote. Сформированный PDF сохранён без запуска "
                                                   "OneNote."_s;
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
        QTest::newRow("certificate cancelled")
            << DocumentType::Certificate << kSheetQueue << false << false << u"Печать отменена"_s;
        QTest::newRow("driver's tape cancelled")
            << DocumentType::Sticker << kTapeQueue << true << false << u"Печать отменена"_s;
        QTest::newRow("sticker on a sheet") << DocumentType::Sticker << kSheetQueue << false << true
                                            << u"Выберите в свойствах принтера ленту шириной 18–36 мм и "
                                               "длиной не менее 80 мм."_s;
        QTest::newRow("driver reports a sheet")
            << DocumentType::Sticker << kSheetQueue << true << true
            << u"Драйвер сообщает листовой формат. В свойствах принтера выберите установленную "
               "ленту Brother "
               "шириной 18–36 мм и длиной от 80 мм."_s;
        QTest::newRow("OneNote chosen") << DocumentType::Certificate << kOneNoteQueue << false << true
                                        << u"Печать отменена: OneNote является виртуальным принтером и не "
                                           "используется приложением."_s;
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
        const QVariantMap driver{{u"printerName"_s, printer}, {u"paper"_s, u"driver"_s}};
        QString error;
        tachoria::test::answerNextDialog(accept);
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
