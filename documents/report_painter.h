#pragma once

#include <QColor>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

class QFont;
class QPainter;
class QPdfWriter;
class QRectF;
class QTextLayout;

namespace tachoria::documents {

struct ChartPoint
{
    QString label;
    double value = 0;
    double minimum = 0;
    double maximum = 0;
};

// Lays out a report page by page on a PDF writer of 72 dots per inch, so that a device unit is a point:
// headings, key-and-value blocks, tables that carry their header onto the next page, and charts. A
// block that does not fit below goes to the next page whole; every page gets its footer.
class ReportPainter
{
public:
    static constexpr double kLeftMargin = 36;
    static constexpr double kRightMargin = 36;
    static constexpr double kTopMargin = 36;
    static constexpr double kBottomMargin = 38;
    static constexpr double kRowHeightLimit = 70;

    ReportPainter(QPainter& painter, QPdfWriter& writer);

    void title(const QString& title, const QString& subtitle);
    void section(const QString& text);
    void keyValues(const QList<QPair<QString, QString>>& pairs);
    // Nothing at all for no rows; columns of equal width; a cell too long for a row is cut.
    void table(const QString& caption, const QStringList& headers, const QList<QStringList>& rows);
    // Nothing at all for no points; bars, or a line with each point's minimum-to-maximum whisker.
    void chart(const QString& title, const QString& yLabel, const QString& xLabel,
               const QList<ChartPoint>& points, bool lineMode);
    void newPage();
    void ensure(double height);
    // The last page's footer.
    void finish();

    int pageNumber() const { return m_pageNumber; }
    double y() const { return m_y; }

    // Wrapped text: at word boundaries, and anywhere inside a word too long for the width.
    double textHeight(const QString& text, const QFont& font, double width) const;

private:
    void drawFooter();
    void drawTableHeader(const QStringList& headers, double columnWidth);
    // Draws the lines of the wrapped text that fit into the box, vertically centred when they all fit.
    void drawWrapped(const QRectF& box, const QString& text, const QFont& font, bool centred);
    // The same for a text already laid out to the box's width, `height` high.
    void drawLaidOut(const QRectF& box, const QTextLayout& layout, double height, bool centred);
    double contentWidth() const { return m_pageWidth - kLeftMargin - kRightMargin; }
    double bottomLimit() const { return m_pageHeight - kBottomMargin; }

    QPainter& m_painter;
    QPdfWriter& m_writer;
    double m_pageWidth = 595;
    double m_pageHeight = 842;
    double m_y = kTopMargin;
    int m_pageNumber = 1;
};

} // namespace tachoria::documents
