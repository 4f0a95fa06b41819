#include "documents/document_renderer.h"

#include <QDate>
#include <QDir>
#include <QFileInfo>
#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QPdfWriter>
#include <QPrintDialog>
#include <QPrinter>
#include <QPrinterInfo>
#include <QSaveFile>

#include <algorithm>
#include <cmath>

namespace tachoria::documents {

namespace {

const QString kDefaultPrinter = QStringLiteral("По умолчанию");
const QString kFontFamily = QStringLiteral("Times New Roman");
constexpr qreal kPrintDpi = 300.0;
constexpr qreal kPointsPerInch = 72.0;
constexpr qreal kPreviewScale = 2.0;
constexpr int kPreviewDotsPerMetre = 5669; // 144 dpi
constexpr qreal kBoxPen = 0.8;
constexpr qreal kTextInset = 5.0;
constexpr qreal kStickerInset = 2.0;

const QString kOneNoteRefusal =
    QStringLiteral("Печать отменена: OneNote является виртуальным принтером и не используется приложением.");
const QString kCancelled = QStringLiteral("Печать отменена");

void setError(QString* error, const QString& text)
{
    if (error)
        *error = text;
}

QString title(DocumentType type)
{
    return type == DocumentType::Sticker ? QStringLiteral("Наклейка") : QStringLiteral("Сертификат");
}

// Text drawn by a vector target is sized in the painter's own units, so that a preview drawn at twice
// the scale keeps the layout's proportions; the printing raster has none.
qreal reportFontScale(const QPainter& painter, bool vectorTarget)
{
    return vectorTarget ? std::max(1.0, std::abs(painter.transform().m11())) : 1.0;
}

QFont reportFont(qreal size, bool bold, bool pixelSized)
{
    QFont font(kFontFamily);
    // Hinted advances are whole pixels of the untransformed font: scaled up to the page, they space
    // letters unevenly and lines too far apart, enough to push a sticker's last line off the tape.
    font.setHintingPreference(QFont::PreferNoHinting);
    font.setPointSizeF(std::max(size, 0.1));
    font.setWeight(bold ? QFont::Bold : QFont::Normal);
    if (pixelSized)
        font.setPixelSize(std::max(1, qRound(size)));
    return font;
}

enum class Align
{
    Title,
    Left,
    Right,
};

int flagsOf(Align align)
{
    switch (align) {
    case Align::Title:
        return Qt::AlignCenter;
    case Align::Right:
        return Qt::AlignRight | Qt::AlignTop;
    case Align::Left:
        break;
    }
    return Qt::AlignLeft | Qt::AlignTop;
}

// Word-wrapped within the rectangle and clipped to it: rows have fixed heights, so a long text must
// not run into the next one. Text read from the top ends at its last whole line, rather than with the
// tops of the next line's letters along the row's edge.
void drawText(QPainter& painter, const QRectF& rect, const QString& text, qreal size, Align align, bool bold,
              qreal inset, bool vectorTarget)
{
    painter.save();
    painter.setFont(reportFont(size / reportFontScale(painter, vectorTarget), bold, !vectorTarget));
    painter.setPen(Qt::black);
    const QRectF box = rect.adjusted(inset, 0, -inset, 0);
    if (align != Align::Title) {
        const QFontMetricsF metrics(painter.font(), painter.device());
        const int lines =
            static_cast<int>(std::floor((box.height() - metrics.height()) / metrics.lineSpacing())) + 1;
        if (lines > 0)
            painter.setClipRect(QRectF(box.left(), box.top(), box.width(),
                                       (lines - 1) * metrics.lineSpacing() + metrics.height()),
                                Qt::IntersectClip);
    }
    painter.drawText(box, flagsOf(align) | Qt::TextWordWrap, text);
    painter.restore();
}

void drawBox(QPainter& painter, const QRectF& rect, qreal width)
{
    painter.save();
    painter.setPen(QPen(Qt::black, width));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(rect);
    painter.restore();
}

// A label and its value, each on one line vertically centred in its box. A line of text is taller
// than the box (rows are 12 points, boxes 8): the text is cut at the box's sides only, so that
// descenders stay whole and a long value still ends at its column.
void drawLineValue(QPainter& painter, const QRectF& rect, const QString& label, const QString& value,
                   qreal labelWidth, qreal size, bool vectorTarget)
{
    painter.save();
    painter.setFont(reportFont(size / reportFontScale(painter, vectorTarget), false, !vectorTarget));
    painter.setPen(Qt::black);
    const auto oneLine = [&painter, &rect](const QRectF& box, const QString& text) {
        painter.save();
        painter.setClipRect(QRectF(box.left(), rect.top(), box.width(), rect.height()), Qt::IntersectClip);
        painter.drawText(box, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine | Qt::TextDontClip, text);
        painter.restore();
    };
    oneLine(QRectF(rect.left() + 5, rect.top() + 2, labelWidth - 5, rect.height() - 4), label);
    oneLine(QRectF(rect.left() + labelWidth + 2, rect.top() + 2, rect.width() - labelWidth - 7,
                   rect.height() - 4),
            value);
    painter.restore();
}

// White on a black band, read from bottom to top; a band two lines wide takes two lines.
void drawVerticalLabel(QPainter& painter, const QRectF& rect, const QString& text, bool vectorTarget)
{
    painter.save();
    painter.fillRect(rect, Qt::black);
    painter.setFont(reportFont(7.0 / reportFontScale(painter, vectorTarget), false, !vectorTarget));
    painter.setPen(Qt::white);
    painter.translate(rect.center());
    painter.rotate(-90);
    painter.drawText(QRectF(-rect.height() / 2, -rect.width() / 2, rect.height(), rect.width()),
                     Qt::AlignCenter | Qt::TextWordWrap, text);
    painter.restore();
}

void line(QPainter& painter, qreal x1, qreal y1, qreal x2, qreal y2)
{
    painter.drawLine(QPointF(x1, y1), QPointF(x2, y2));
}

void paintCertificate(QPainter& p, const QVariantMap& data, bool v)
{
    const auto field = [&data](const char* key) { return DocumentRenderer::value(data, QLatin1String(key)); };
    const auto text = [&p, v](qreal x, qreal y, qreal w, qreal h, const QString& content, qreal size,
                              Align align, bool bold = false) {
        drawText(p, QRectF(x, y, w, h), content, size, align, bold, kTextInset, v);
    };
    const auto lineValue = [&p, v](qreal x, qreal y, qreal w, qreal h, const QString& label,
                                   const QString& value, qreal labelWidth, qreal size) {
        drawLineValue(p, QRectF(x, y, w, h), label, value, labelWidth, size, v);
    };

    // The head: the title between the shop's margin and the order.
    drawBox(p, QRectF(42.5, 29, 510, 57), kBoxPen);
    line(p, 212, 29, 212, 86);
    line(p, 397, 29, 397, 86);
    text(212, 29, 185, 57, QStringLiteral("Сертификат настройки\nтахографа"), 15, Align::Title);
    lineValue(397, 29, 155.5, 28, QStringLiteral("Заказ №:"), field("OrderNumber"), 51, 9.5);
    lineValue(397, 57, 155.5, 29, QStringLiteral("Дата:"),
              QDate::currentDate().toString(QStringLiteral("dd.MM.yyyy")), 51, 9.5);

    // The parties.
    drawBox(p, QRectF(42.5, 125, 510, 94), kBoxPen);
    line(p, 42.5, 142, 552.5, 142);
    line(p, 297, 125, 297, 219);
    line(p, 467, 125, 467, 142);
    line(p, 42.5, 170, 552.5, 170);
    text(42.5, 125, 254.5, 17, QStringLiteral("Заказчик"), 12, Align::Title, true);
    text(297, 125, 170, 17, QStringLiteral("Мастерская"), 12, Align::Title, true);
    text(467, 125, 85.5, 17, field("TachoriaStigma"), 12, Align::Title, true);
    text(42.5, 142, 254.5, 28, field("CustomerName"), 8.5, Align::Left);
    text(42.5, 170, 254.5, 24, field("CustomerAddress"), 8.5, Align::Left);
    text(42.5, 194, 254.5, 25, field("CustomerPhone"), 8.5, Align::Left);
    text(297, 142, 255.5, 28, field("TachoriaName"), 8.5, Align::Left);
    text(297, 170, 255.5, 24, field("TachoriaAddress"), 8.5, Align::Left);
    text(297, 194, 255.5, 25, field("TachoriaPhone"), 8.5, Align::Left);

    // The tachograph and the vehicle.
    drawBox(p, QRectF(42.5, 258, 510, 77), kBoxPen);
    line(p, 297, 258, 297, 335);
    line(p, 42.5, 275, 552.5, 275);
    text(42.5, 258, 254.5, 17, QStringLiteral("Тахограф"), 12, Align::Title, true);
    text(297, 258, 255.5, 17, QStringLiteral("Транспортное средство"), 12, Align::Title, true);
    const std::pair<const char*, const char*> device[] = {
        {"Производитель:", "TachographManufacture"},
        {"Модель:", "TachographModel"},
        {"Серийный номер:", "TachographSerialNumber"},
        {"Дата производства:", "TachographDateOfManufacture"},
        {"СКЗИ:", "TachographSkzi"},
    };
    const std::pair<const char*, const char*> vehicle[] = {
        {"Рег. номер:", "VehicleRegNumber"}, {"Марка:", "VehicleMark"},
        {"Модель:", "VehicleModel"},         {"VIN:", "VehicleVin"},
        {"Одометр, км:", "VehicleOdometr"},
    };
    for (int i = 0; i < 5; ++i) {
        lineValue(42.5, 275 + 12 * i, 254.5, 12, QString::fromUtf8(device[i].first), field(device[i].second),
                  84, 8.5);
        lineValue(297, 275 + 12 * i, 255.5, 12, QString::fromUtf8(vehicle[i].first), field(vehicle[i].second),
                  84, 8.5);
    }

    // The settings.
    drawBox(p, QRectF(42.5, 374, 510, 61), kBoxPen);
    line(p, 42.5, 391, 552.5, 391);
    line(p, 297, 391, 297, 435);
    text(42.5, 374, 510, 17, QStringLiteral("Данные настройки тахографа"), 12, Align::Title, true);
    lineValue(42.5, 391, 254.5, 14, QStringLiteral("Дата настройки:"), DocumentRenderer::orderDate(data), 87,
              8.5);
    lineValue(42.5, 405, 254.5, 14, QStringLiteral("W [imp/km]:"), field("TachographSettingsW"), 87, 8.5);
    lineValue(42.5, 419, 254.5, 16, QStringLiteral("K [imp/km]:"), field("TachographSettingsK"), 87, 8.5);
    lineValue(297, 391, 255.5, 14, QStringLiteral("Следующая настройка:"),
              field("TachographSettingsNextCalibr"), 125, 8.5);
    lineValue(297, 405, 255.5, 14, QStringLiteral("Маркировка шин:"), field("VehicleTyreMarking"), 125, 8.5);
    lineValue(297, 419, 255.5, 16, QStringLiteral("L, мм:"), field("TachographSettingsL"), 125, 8.5);

    // Where the setup table sits, the inspection, the notes.
    drawBox(p, QRectF(42.5, 476, 510, 17), kBoxPen);
    line(p, 297, 476, 297, 493);
    text(42.5, 476, 254.5, 17, QStringLiteral("Расположение установочной таблицы:"), 11, Align::Title, true);
    text(297, 476, 255.5, 17, field("SetupTable"), 8.5, Align::Left);

    drawBox(p, QRectF(42.5, 536, 510, 34), kBoxPen);
    line(p, 42.5, 553, 552.5, 553);
    line(p, 297, 536, 297, 570);
    text(42.5, 536, 254.5, 17, QStringLiteral("Результат инспекции:"), 11, Align::Title, true);
    text(297, 536, 255.5, 17, field("Inspection"), 8.5, Align::Left);
    text(42.5, 553, 254.5, 17, QStringLiteral("Признаки манипуляции:"), 11, Align::Title, true);
    text(297, 553, 255.5, 17, field("Manipulation"), 8.5, Align::Left);

    drawBox(p, QRectF(42.5, 617, 510, 51), kBoxPen);
    line(p, 42.5, 634, 552.5, 634);
    text(42.5, 617, 510, 17, QStringLiteral("Особые отметки"), 11, Align::Title, true);
    text(42.5, 634, 510, 34, field("Note"), 8.5, Align::Left);

    // Signatures.
    lineValue(42.5, 731, 180, 18, QStringLiteral("Ответственный:"), field("OrderResponsible"), 80, 8.5);
    lineValue(42.5, 760, 270, 18, QStringLiteral("Мастер:"), field("OrderMaster"), 50, 8.5);
    text(360, 760, 90, 18, QStringLiteral("Подпись:"), 8.5, Align::Left);
    line(p, 412, 771, 500, 771);
    text(500, 760, 53, 18, QStringLiteral("М.П."), 8.5, Align::Right);
}

void paintSticker(QPainter& p, const QVariantMap& data, bool v)
{
    const auto field = [&data](const char* key) { return DocumentRenderer::value(data, QLatin1String(key)); };
    constexpr qreal height = 52.8;
    p.fillRect(QRectF(0, 0, 283.56, height), Qt::white);
    for (const auto& [x, width] : {std::pair{0.0, 8.0}, {88.0, 16.0}, {218.0, 11.0}, {275.5, 8.06}})
        p.fillRect(QRectF(x, 0, width, height), Qt::black);

    drawVerticalLabel(p, QRectF(0, 0, 8, height), field("TachoriaStigma"), v);
    drawText(p, QRectF(8, 0, 80, height),
             QStringLiteral("%1\n%2\n%3")
                 .arg(field("TachoriaName"), field("TachoriaAddress"), field("TachoriaPhone")),
             7, Align::Left, false, kStickerInset, v);
    drawVerticalLabel(p, QRectF(88, 0, 16, height), QStringLiteral("Транспортное средство"), v);
    drawText(p, QRectF(104, 0, 114, height),
             QStringLiteral("VIN: %1\nVRN: %2\n%3\nс/н: %4\nСКЗИ: %5")
                 .arg(field("VehicleVin"), field("VehicleRegNumber"), field("TachographModel"),
                      field("TachographSerialNumber"), field("TachographSkzi")),
             7, Align::Left, false, kStickerInset, v);
    drawVerticalLabel(p, QRectF(218, 0, 11, height), QStringLiteral("Параметры"), v);
    drawText(p, QRectF(229, 0, 46.5, height),
             QStringLiteral("W= %1\nK= %2\nL= %3\nШины: %4\nдата настр.:\n%5")
                 .arg(field("TachographSettingsW"), field("TachographSettingsK"),
                      field("TachographSettingsL"), field("VehicleTyreMarking"),
                      DocumentRenderer::orderDate(data)),
             5.8, Align::Left, false, kStickerInset, v);
}

QSize pixelSize(const QSizeF& points, qreal factor)
{
    return QSize(std::max(1, qRound(points.width() * factor)), std::max(1, qRound(points.height() * factor)));
}

bool makeFolderFor(const QString& path)
{
    return QDir().mkpath(QFileInfo(path).absolutePath());
}

bool isDefaultName(const QString& name)
{
    const QString trimmed = name.trimmed();
    return trimmed.isEmpty() || trimmed == kDefaultPrinter;
}

// The named printer, or the system's default for an empty name or "По умолчанию". Qt keeps the
// previous printer when a name is unknown, so the name it ends up with tells whether it was found.
bool choosePrinter(QPrinter& printer, DocumentType type, const QString& name, QString* error)
{
    printer.setDocName(title(type));
    printer.setFullPage(type == DocumentType::Certificate);
    if (!isDefaultName(name)) {
        printer.setPrinterName(name.trimmed());
        if (printer.printerName() != name.trimmed()) {
            setError(error, QStringLiteral("Принтер не найден: %1").arg(name.trimmed()));
            return false;
        }
    }
    return true;
}

// The paper the printer's driver is set to, with the driver's printable area. Qt keeps the previous
// printer's paper when it is merely possible on the new one, which on a label printer with custom
// lengths is any sheet, and its own margins of 10 mm, which would leave nothing of a tape.
void takeDriverPaper(QPrinter& printer)
{
    const QPageSize paper = QPrinterInfo(printer).defaultPageSize();
    if (paper.isValid())
        printer.setPageSize(paper);
    printer.setPageMargins(printer.pageLayout().minimumMargins(), printer.pageLayout().units());
}

bool requireValid(const QPrinter& printer, const QString& name, QString* error)
{
    if (printer.isValid() && printer.outputFormat() == QPrinter::NativeFormat)
        return true;
    setError(error,
             QStringLiteral("Принтер не найден: %1").arg(isDefaultName(name) ? kDefaultPrinter : name));
    return false;
}

QPageSize::PageSizeId paperId(const QString& paper)
{
    if (paper == QLatin1String("A4"))
        return QPageSize::A4;
    if (paper == QLatin1String("A5"))
        return QPageSize::A5;
    if (paper == QLatin1String("Letter"))
        return QPageSize::Letter;
    return QPageSize::Custom;
}

} // namespace

QPageLayout DocumentRenderer::pageLayout(DocumentType type)
{
    const QSizeF millimetres = type == DocumentType::Sticker ? QSizeF(100.0, 18.6) : QSizeF(210.0, 297.0);
    return QPageLayout(QPageSize(millimetres, QPageSize::Millimeter), QPageLayout::Portrait, QMarginsF(),
                       QPageLayout::Point);
}

QSizeF DocumentRenderer::documentSizePoints(DocumentType type)
{
    return pageLayout(type).fullRect().size();
}

QString DocumentRenderer::value(const QVariantMap& data, const QString& key)
{
    return data.value(key).toString().trimmed();
}

QString DocumentRenderer::orderDate(const QVariantMap& data)
{
    return value(data, QStringLiteral("OrderDate")).section(QLatin1Char(' '), 0, 0);
}

bool DocumentRenderer::isOneNotePrinter(const QString& name)
{
    const QString printer = isDefaultName(name) ? QPrinterInfo::defaultPrinterName() : name.trimmed();
    return printer.contains(QLatin1String("onenote"), Qt::CaseInsensitive);
}

bool DocumentRenderer::isLabelPageSize(const QPageSize& size)
{
    if (!size.isValid())
        return false;
    const QSizeF mm = size.size(QPageSize::Millimeter);
    const qreal shortSide = std::min(mm.width(), mm.height());
    const qreal longSide = std::max(mm.width(), mm.height());
    return shortSide >= 17.0 && shortSide <= 40.0 && longSide >= 80.0 && longSide <= 500.0;
}

QPageLayout DocumentRenderer::printPageLayout(DocumentType type, const QVariantMap& options)
{
    const QString paper = options.value(QStringLiteral("paper"), QStringLiteral("layout")).toString();
    const QPageSize::PageSizeId id = paperId(paper);
    const QPageSize size = id != QPageSize::Custom         ? QPageSize(id)
                           : type == DocumentType::Sticker ? pageLayout(DocumentType::Sticker).pageSize()
                                                           : QPageSize(QPageSize::A4);
    const bool landscape =
        options.value(QStringLiteral("orientation")).toString() == QLatin1String("landscape");
    return QPageLayout(size, landscape ? QPageLayout::Landscape : QPageLayout::Portrait, QMarginsF(),
                       QPageLayout::Point);
}

void DocumentRenderer::paint(QPainter& painter, DocumentType type, const QVariantMap& data, bool vectorTarget)
{
    painter.save();
    // Lines and boxes stay crisp; text keeps whatever smoothing the target asked for.
    painter.setRenderHint(QPainter::Antialiasing, false);
    if (type == DocumentType::Sticker)
        paintSticker(painter, data, vectorTarget);
    else
        paintCertificate(painter, data, vectorTarget);
    painter.restore();
}

bool DocumentRenderer::writePdf(const QString& path, DocumentType type, const QVariantMap& data,
                                QString* error)
{
    makeFolderFor(path);
    // The PDF is written under a temporary name and appears whole or not at all.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        setError(error, QStringLiteral("Не удалось создать PDF: %1").arg(file.errorString()));
        return false;
    }
    {
        QPdfWriter writer(&file);
        writer.setTitle(title(type));
        writer.setCreator(QStringLiteral("TachoriaQt"));
        writer.setResolution(72);
        writer.setPageLayout(pageLayout(type));
        QPainter painter;
        if (!painter.begin(&writer)) {
            setError(error, QStringLiteral("Не удалось создать PDF: %1").arg(path));
            return false;
        }
        paint(painter, type, data, true);
        painter.end();
    }
    if (!file.commit()) {
        setError(error, QStringLiteral("Не удалось создать PDF: %1").arg(file.errorString()));
        return false;
    }
    return true;
}

bool DocumentRenderer::writePreviewImage(const QString& path, DocumentType type, const QVariantMap& data,
                                         QString* error)
{
    makeFolderFor(path);
    QImage image(pixelSize(documentSizePoints(type), kPreviewScale), QImage::Format_RGB32);
    image.setDotsPerMeterX(kPreviewDotsPerMetre);
    image.setDotsPerMeterY(kPreviewDotsPerMetre);
    image.fill(Qt::white);
    QPainter painter;
    if (!painter.begin(&image)) {
        setError(error, QStringLiteral("Не удалось создать изображение предпросмотра: %1").arg(path));
        return false;
    }
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setRenderHint(QPainter::TextAntialiasing, true);
    painter.scale(kPreviewScale, kPreviewScale);
    paint(painter, type, data, true);
    painter.end();

    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || !image.save(&file, "PNG") || !file.commit()) {
        setError(error, QStringLiteral("Не удалось сохранить изображение предпросмотра: %1").arg(path));
        return false;
    }
    return true;
}

bool DocumentRenderer::paintPrinter(QPrinter& printer, DocumentType type, const QVariantMap& data, bool fit,
                                    QString* error)
{
    if (!printer.isValid()) {
        setError(error, QStringLiteral("Принтер недоступен"));
        return false;
    }
    const QSizeF points = documentSizePoints(type);
    const qreal rasterScale = kPrintDpi / kPointsPerInch;
    QImage image(pixelSize(points, rasterScale), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    {
        QPainter painter;
        if (!painter.begin(&image)) {
            setError(error, QStringLiteral("Не удалось подготовить изображение документа"));
            return false;
        }
        painter.setRenderHint(QPainter::Antialiasing, true);
        painter.setRenderHint(QPainter::TextAntialiasing, true);
        painter.scale(rasterScale, rasterScale);
        paint(painter, type, data, false);
    }

    QPainter painter;
    if (!painter.begin(&printer)) {
        setError(error, QStringLiteral("Не удалось открыть принтер: %1").arg(printer.printerName()));
        return false;
    }
    QRectF page = printer.pageRect(QPrinter::DevicePixel);
    // Outside full-page mode the painter's origin already sits at the page rectangle's corner.
    if (!printer.fullPage())
        page.moveTopLeft(QPointF(0, 0));
    const qreal dpiX = std::max(1, printer.logicalDpiX());
    const qreal dpiY = std::max(1, printer.logicalDpiY());
    const QSizeF natural(points.width() * dpiX / kPointsPerInch, points.height() * dpiY / kPointsPerInch);
    const qreal scale = fit || type == DocumentType::Sticker
                            ? std::min(page.height() / natural.height(), page.width() / natural.width())
                            : 1.0;
    QRectF target(QPointF(0, 0), natural * scale);
    target.moveCenter(page.center());
    painter.drawImage(target, image);
    if (!painter.end()) {
        setError(error, QStringLiteral("Принтер недоступен"));
        return false;
    }
    return true;
}

bool DocumentRenderer::print(DocumentType type, const QVariantMap& data, const QString& printerName,
                             QString* error)
{
    if (isOneNotePrinter(printerName)) {
        setError(error,
                 QStringLiteral("Печать пропущена: выбран виртуальный принтер OneNote. Сформированный PDF "
                                "сохранён без запуска OneNote."));
        return false;
    }
    QPrinter printer(QPrinter::HighResolution);
    if (!choosePrinter(printer, type, printerName, error))
        return false;
    if (type == DocumentType::Certificate && !printer.setPageLayout(pageLayout(type))) {
        setError(error, QStringLiteral("Не удалось установить формат страницы сертификата"));
        return false;
    }
    if (!requireValid(printer, printerName, error))
        return false;
    if (type == DocumentType::Sticker)
        takeDriverPaper(printer);
    // A sticker keeps the driver's own tape; a sheet there would print it as a strip across a page.
    if (type == DocumentType::Sticker && !isLabelPageSize(printer.pageLayout().pageSize())) {
        setError(error,
                 QStringLiteral("В настройках драйвера принтера выберите ленту шириной 18–36 мм и длиной "
                                "не менее 80 мм."));
        return false;
    }
    return paintPrinter(printer, type, data, type == DocumentType::Sticker, error);
}

bool DocumentRenderer::printWithDialog(DocumentType type, const QVariantMap& data, QString* error)
{
    QPrinter printer(QPrinter::HighResolution);
    printer.setDocName(title(type));
    printer.setFullPage(type == DocumentType::Certificate);
    if (type == DocumentType::Certificate && !printer.setPageLayout(pageLayout(type))) {
        setError(error, QStringLiteral("Не удалось установить формат страницы сертификата"));
        return false;
    }
    QPrintDialog dialog(&printer);
    dialog.setWindowTitle(type == DocumentType::Sticker ? QStringLiteral("Печать наклейки")
                                                        : QStringLiteral("Печать сертификата"));
    if (dialog.exec() != QDialog::Accepted) {
        setError(error, kCancelled);
        return false;
    }
    if (isOneNotePrinter(printer.printerName())) {
        setError(error, kOneNoteRefusal);
        return false;
    }
    if (type == DocumentType::Sticker && !isLabelPageSize(printer.pageLayout().pageSize())) {
        setError(error, QStringLiteral(
                            "Выберите в свойствах принтера ленту шириной 18–36 мм и длиной не менее 80 мм."));
        return false;
    }
    return paintPrinter(printer, type, data, true, error);
}

bool DocumentRenderer::printWithOptions(DocumentType type, const QVariantMap& data,
                                        const QVariantMap& options, QString* error)
{
    const QString name = options.value(QStringLiteral("printerName"), kDefaultPrinter).toString();
    if (isOneNotePrinter(name)) {
        setError(error, kOneNoteRefusal);
        return false;
    }
    QPrinter printer(QPrinter::HighResolution);
    if (!choosePrinter(printer, type, name, error) || !requireValid(printer, name, error))
        return false;
    const bool driverMode = type == DocumentType::Sticker &&
                            options.value(QStringLiteral("paper")).toString() == QLatin1String("driver");
    if (!driverMode && !printer.setPageLayout(printPageLayout(type, options))) {
        setError(error, QStringLiteral("Драйвер не принял выбранный формат бумаги"));
        return false;
    }
    printer.setCopyCount(std::clamp(options.value(QStringLiteral("copies"), 1).toInt(), 1, 99));
    printer.setColorMode(options.value(QStringLiteral("color"), true).toBool() ? QPrinter::Color
                                                                               : QPrinter::GrayScale);
    const int duplex = options.value(QStringLiteral("duplex"), 0).toInt();
    printer.setDuplex(duplex == 1   ? QPrinter::DuplexLongSide
                      : duplex == 2 ? QPrinter::DuplexShortSide
                                    : QPrinter::DuplexNone);

    if (driverMode) {
        // The tape is the printer's own business: its properties say which one is loaded.
        takeDriverPaper(printer);
        QPrintDialog dialog(&printer);
        dialog.setWindowTitle(QStringLiteral("Выбор ленты Brother и параметров печати"));
        if (dialog.exec() != QDialog::Accepted) {
            setError(error, kCancelled);
            return false;
        }
        if (!isLabelPageSize(printer.pageLayout().pageSize())) {
            setError(error,
                     QStringLiteral("Драйвер сообщает листовой формат. В свойствах принтера выберите "
                                    "установленную ленту Brother шириной 18–36 мм и длиной от 80 мм."));
            return false;
        }
    } else if (type == DocumentType::Sticker && !isLabelPageSize(printer.pageLayout().pageSize())) {
        // A sheet chosen for a sticker always ends here, on purpose: a tape printer needs its tape.
        setError(error,
                 QStringLiteral("Драйвер не принял размер наклейки 100 × 18,6 мм. Выберите «Размер ленты из "
                                "драйвера» или настройте формат ленты в Windows."));
        return false;
    }
    return paintPrinter(printer, type, data, options.value(QStringLiteral("fitToPage"), true).toBool(),
                        error);
}

} // namespace tachoria::documents
