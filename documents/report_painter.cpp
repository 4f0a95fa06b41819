#include "documents/report_painter.h"

#include <QFont>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <QPdfWriter>
#include <QTextLayout>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace tachoria::documents {

using namespace Qt::StringLiterals;

namespace {

const QColor kSubtitle(u"#555555"_s);
const QColor kSectionBand(u"#e5e5e5"_s);
const QColor kKeyValueFrame(u"#888888"_s);
const QColor kHeaderBand(u"#4d4d4d"_s);
const QColor kEvenRow(u"#fafafa"_s);
const QColor kOddRow(u"#eeeeee"_s);
const QColor kTableLines(u"#b0b0b0"_s);
const QColor kFooter(u"#777777"_s);
const QColor kGrid(u"#d8d8d8"_s);
const QColor kWhisker(u"#79add6"_s);
const QColor kLine(u"#1877c9"_s);
const QColor kBar(u"#3189c9"_s);

constexpr double kKeyColumn = 178;
constexpr double kPlotHeight = 154;

QFont reportFont(double points, bool bold = false)
{
    QFont font(u"Arial"_s);
    font.setPointSizeF(points);
    font.setWeight(bold ? QFont::Bold : QFont::Normal);
    return font;
}

// Lines of a text at a width: at word boundaries where there are any, anywhere in a longer word.
double layOut(QTextLayout& layout, double width)
{
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    double height = 0;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(std::max(width, 1.0));
        line.setPosition(QPointF(0, height));
        height += line.height();
    }
    layout.endLayout();
    return height;
}

QString withLineBreaks(QString text)
{
    return text.replace(u'\n', QChar::LineSeparator);
}

} // namespace

ReportPainter::ReportPainter(QPainter& painter, QPdfWriter& writer)
    : m_painter(painter)
    , m_writer(writer)
{
    m_pageWidth = writer.width();
    m_pageHeight = writer.height();
}

double ReportPainter::textHeight(const QString& text, const QFont& font, double width) const
{
    QTextLayout layout(withLineBreaks(text), font, &m_writer);
    return layOut(layout, width);
}

void ReportPainter::drawWrapped(const QRectF& box, const QString& text, const QFont& font, bool centred)
{
    QTextLayout layout(withLineBreaks(text), font, &m_writer);
    const double height = layOut(layout, box.width());
    drawLaidOut(box, layout, height, centred);
}

void ReportPainter::drawLaidOut(const QRectF& box, const QTextLayout& layout, double height, bool centred)
{
    const double top = box.top() + (centred && height <= box.height() ? (box.height() - height) / 2 : 0);
    // Only whole lines: a cell that is too long is cut at its last line that fits.
    for (int i = 0; i < layout.lineCount(); ++i) {
        const QTextLine line = layout.lineAt(i);
        if (line.y() + line.height() > box.height() + 0.5 && i > 0)
            break;
        line.draw(&m_painter, QPointF(box.left(), top));
    }
}

void ReportPainter::ensure(double height)
{
    if (m_y + height > bottomLimit())
        newPage();
}

void ReportPainter::newPage()
{
    drawFooter();
    m_writer.newPage();
    ++m_pageNumber;
    m_y = kTopMargin;
}

void ReportPainter::finish()
{
    drawFooter();
}

void ReportPainter::drawFooter()
{
    m_painter.setFont(reportFont(7));
    m_painter.setPen(kFooter);
    const QRectF band(kLeftMargin, m_pageHeight - 25, contentWidth(), 12);
    m_painter.drawText(band, Qt::AlignLeft | Qt::AlignVCenter, u"Отчёт расшифровки .ddd"_s);
    m_painter.drawText(band, Qt::AlignRight | Qt::AlignVCenter, u"Страница %1"_s.arg(m_pageNumber));
    m_painter.setPen(Qt::black);
}

void ReportPainter::title(const QString& title, const QString& subtitle)
{
    ensure(56);
    m_painter.setPen(Qt::black);
    m_painter.setFont(reportFont(16, true));
    m_painter.drawText(QRectF(kLeftMargin, m_y, contentWidth(), 24), Qt::AlignCenter, title);
    m_y += 27;
    m_painter.setFont(reportFont(9));
    m_painter.setPen(kSubtitle);
    m_painter.drawText(QRectF(kLeftMargin, m_y, contentWidth(), 16), Qt::AlignCenter, subtitle);
    m_painter.setPen(Qt::black);
    m_y += 25;
}

void ReportPainter::section(const QString& text)
{
    ensure(32);
    m_painter.fillRect(QRectF(kLeftMargin, m_y, contentWidth(), 22), kSectionBand);
    m_painter.setPen(Qt::black);
    m_painter.setFont(reportFont(11, true));
    m_painter.drawText(QRectF(kLeftMargin + 7, m_y, contentWidth() - 7, 22), Qt::AlignLeft | Qt::AlignVCenter,
                       text);
    m_y += 28;
}

void ReportPainter::keyValues(const QList<QPair<QString, QString>>& pairs)
{
    const QFont label = reportFont(9, true);
    const QFont value = reportFont(9);
    const double valueWidth = contentWidth() - kKeyColumn - 12;
    for (const auto& [key, text] : pairs) {
        const QString shown = text.isEmpty() ? u"—"_s : text;
        const double height = std::max(24.0, textHeight(shown, value, valueWidth) + 7);
        ensure(height);
        m_painter.setPen(kKeyValueFrame);
        m_painter.setBrush(Qt::NoBrush);
        m_painter.drawRect(QRectF(kLeftMargin, m_y, contentWidth(), height));
        m_painter.drawLine(QPointF(kLeftMargin + kKeyColumn, m_y),
                           QPointF(kLeftMargin + kKeyColumn, m_y + height));
        m_painter.setPen(Qt::black);
        drawWrapped(QRectF(kLeftMargin + 6, m_y, kKeyColumn - 12, height), key, label, true);
        drawWrapped(QRectF(kLeftMargin + kKeyColumn + 6, m_y, valueWidth, height), shown, value, true);
        m_y += height;
    }
    m_y += 8;
}

void ReportPainter::drawTableHeader(const QStringList& headers, double columnWidth)
{
    m_painter.fillRect(QRectF(kLeftMargin, m_y, contentWidth(), 28), kHeaderBand);
    m_painter.setPen(Qt::white);
    m_painter.setFont(reportFont(8, true));
    for (qsizetype i = 0; i < headers.size(); ++i)
        m_painter.drawText(QRectF(kLeftMargin + i * columnWidth + 4, m_y + 3, columnWidth - 8, 22),
                           Qt::AlignCenter | Qt::TextWordWrap, headers.at(i));
    m_painter.setPen(Qt::black);
    m_y += 28;
}

void ReportPainter::table(const QString& caption, const QStringList& headers, const QList<QStringList>& rows)
{
    if (rows.isEmpty())
        return;
    const qsizetype columns = std::max<qsizetype>(1, headers.size());
    const double columnWidth = contentWidth() / double(columns);
    const QFont cellFont = reportFont(8);
    ensure(90);
    section(caption);
    drawTableHeader(headers, columnWidth);
    // Each cell is laid out once: for the row's height and then for drawing (long tables spend most of
    // their time here).
    std::vector<std::unique_ptr<QTextLayout>> cells;
    std::vector<double> cellHeights;
    for (qsizetype index = 0; index < rows.size(); ++index) {
        const QStringList& row = rows.at(index);
        const qsizetype shown = std::min(columns, row.size());
        cells.clear();
        cellHeights.clear();
        double height = 25;
        for (qsizetype column = 0; column < shown; ++column) {
            cells.push_back(
                std::make_unique<QTextLayout>(withLineBreaks(row.at(column)), cellFont, &m_writer));
            cellHeights.push_back(layOut(*cells.back(), columnWidth - 10));
            height = std::max(height, cellHeights.back() + 8);
        }
        height = std::min(height, kRowHeightLimit);
        if (m_y + height > bottomLimit()) {
            newPage();
            section(caption + u" (продолжение)"_s);
            drawTableHeader(headers, columnWidth);
        }
        const QRectF frame(kLeftMargin, m_y, contentWidth(), height);
        m_painter.fillRect(frame, index % 2 == 0 ? kEvenRow : kOddRow);
        m_painter.setPen(kTableLines);
        m_painter.setBrush(Qt::NoBrush);
        m_painter.drawRect(frame);
        for (qsizetype column = 1; column < columns; ++column) {
            const double x = kLeftMargin + column * columnWidth;
            m_painter.drawLine(QPointF(x, m_y), QPointF(x, m_y + height));
        }
        m_painter.setPen(Qt::black);
        for (qsizetype column = 0; column < shown; ++column)
            drawLaidOut(QRectF(kLeftMargin + column * columnWidth + 5, m_y + 4, columnWidth - 10, height - 8),
                        *cells.at(size_t(column)), cellHeights.at(size_t(column)), true);
        m_y += height;
    }
    m_y += 10;
}

void ReportPainter::chart(const QString& title, const QString& yLabel, const QString& xLabel,
                          const QList<ChartPoint>& points, bool lineMode)
{
    if (points.isEmpty())
        return;
    ensure(276);
    section(title);
    const QRectF plot(kLeftMargin + 42, m_y + 4, contentWidth() - 50, kPlotHeight);
    double scale = 1;
    for (const ChartPoint& point : points)
        scale = std::max(scale, point.maximum);
    scale = std::ceil(scale / 5) * 5;

    m_painter.setFont(reportFont(7));
    for (int step = 0; step <= 4; ++step) {
        const double y = plot.bottom() - plot.height() * step / 4.0;
        m_painter.setPen(kGrid);
        m_painter.drawLine(QPointF(plot.left(), y), QPointF(plot.right(), y));
        m_painter.setPen(kSubtitle);
        m_painter.drawText(QRectF(kLeftMargin, y - 6, 36, 12), Qt::AlignRight | Qt::AlignVCenter,
                           QString::number(scale * step / 4.0, 'f', 0));
    }
    const auto yOf = [&plot, scale](double value) {
        return plot.bottom() - std::clamp(value / scale, 0.0, 1.0) * plot.height();
    };
    const qsizetype n = points.size();
    if (lineMode) {
        const double step = plot.width() / double(std::max<qsizetype>(1, n - 1));
        m_painter.setPen(QPen(kWhisker, 1.0));
        for (qsizetype i = 0; i < n; ++i) {
            const double x = plot.left() + i * step;
            m_painter.drawLine(QPointF(x, yOf(points.at(i).maximum)), QPointF(x, yOf(points.at(i).minimum)));
        }
        QPainterPath path;
        for (qsizetype i = 0; i < n; ++i) {
            const QPointF at(plot.left() + i * step, yOf(points.at(i).value));
            if (i == 0)
                path.moveTo(at);
            else
                path.lineTo(at);
        }
        m_painter.setPen(QPen(kLine, 1.7));
        m_painter.setBrush(Qt::NoBrush);
        m_painter.drawPath(path);
    } else {
        const double slot = plot.width() / double(n);
        const double width = std::max(1.0, 0.68 * slot);
        for (qsizetype i = 0; i < n; ++i) {
            const double top = yOf(points.at(i).value);
            m_painter.fillRect(
                QRectF(plot.left() + i * slot + (slot - width) / 2, top, width, plot.bottom() - top), kBar);
        }
    }

    const qsizetype labels = std::min<qsizetype>(n, 6);
    m_painter.setPen(kSubtitle);
    const QFontMetricsF narrow(reportFont(6), &m_writer);
    for (qsizetype i = 0; i < labels; ++i) {
        const qsizetype index = labels == 1 ? 0 : qsizetype(std::lround(double(i) * (n - 1) / (labels - 1)));
        const double x =
            std::clamp(plot.left() + plot.width() * index / double(std::max<qsizetype>(1, n - 1)) - 30,
                       plot.left(), plot.right() - 60);
        m_painter.drawText(QRectF(x, plot.bottom() + 3, 60, 18), Qt::AlignHCenter | Qt::AlignTop,
                           narrow.elidedText(points.at(index).label, Qt::ElideRight, 58));
    }
    m_painter.setPen(Qt::black);
    m_painter.setFont(reportFont(7, true));
    m_painter.save();
    m_painter.translate(kLeftMargin + 9, plot.center().y());
    m_painter.rotate(-90);
    m_painter.drawText(QRectF(-plot.height() / 2, -7, plot.height(), 14), Qt::AlignCenter, yLabel);
    m_painter.restore();
    m_painter.setFont(reportFont(7));
    m_painter.drawText(QRectF(plot.left(), plot.bottom() + 21, plot.width(), 14), Qt::AlignCenter, xLabel);
    m_y += 226;
}

} // namespace tachoria::documents
