#include "pdf_pages.h"

#include "process_runner.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <algorithm>
#include <vector>

namespace tachoria::test {

QString pdfText(const QString& path)
{
    return runProcess(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), path, QStringLiteral("-")})
        .standardOutput;
}

QList<PdfWord> pdfWords(const QString& path)
{
    const QString html =
        runProcess(QStringLiteral("pdftotext"), {QStringLiteral("-bbox"), path, QStringLiteral("-")})
            .standardOutput;
    static const QRegularExpression word(
        QStringLiteral("<word xMin=\"(-?[0-9.]+)\" yMin=\"(-?[0-9.]+)\" xMax=\"(-?[0-9.]+)\" "
                       "yMax=\"(-?[0-9.]+)\">([^<]*)</word>"));
    QList<PdfWord> words;
    for (auto match = word.globalMatch(html); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        const QPointF topLeft(found.captured(1).toDouble(), found.captured(2).toDouble());
        const QPointF bottomRight(found.captured(3).toDouble(), found.captured(4).toDouble());
        words.append({found.captured(5).replace(QStringLiteral("&amp;"), QStringLiteral("&")),
                      QRectF(topLeft, bottomRight)});
    }
    return words;
}

QString pdfInfoField(const QString& path, const QString& field)
{
    const QString info = runProcess(QStringLiteral("pdfinfo"), {path}).standardOutput;
    const QRegularExpression line(QStringLiteral("^%1: +(.*)$").arg(QRegularExpression::escape(field)),
                                  QRegularExpression::MultilineOption);
    return line.match(info).captured(1).trimmed();
}

QList<QSizeF> pdfPageSizes(const QString& path)
{
    const ProcessResult info =
        runProcess(QStringLiteral("pdfinfo"), {QStringLiteral("-f"), QStringLiteral("1"),
                                               QStringLiteral("-l"), QStringLiteral("9999"), path});
    static const QRegularExpression size(QStringLiteral("Page +\\d+ size: +([0-9.]+) x ([0-9.]+) pts"));
    QList<QSizeF> sizes;
    for (auto match = size.globalMatch(info.standardOutput); match.hasNext();) {
        const QRegularExpressionMatch page = match.next();
        sizes << QSizeF(page.captured(1).toDouble(), page.captured(2).toDouble());
    }
    return sizes;
}

QList<QImage> pdfPages(const QString& path, int dpi, int lastPage)
{
    QTemporaryDir folder;
    runProcess(QStringLiteral("pdftoppm"),
               {QStringLiteral("-r"), QString::number(dpi), QStringLiteral("-l"), QString::number(lastPage),
                QStringLiteral("-png"), path, folder.filePath(QStringLiteral("page"))},
               120000);
    QList<QImage> pages;
    for (const QString& name :
         QDir(folder.path()).entryList({QStringLiteral("page*.png")}, QDir::Files, QDir::Name))
        pages << QImage(folder.filePath(name));
    return pages;
}

QStringList pdfImageColours(const QString& path)
{
    QStringList colours;
    // Two heading lines, then: page num type width height color ...
    const QStringList rows = runProcess(QStringLiteral("pdfimages"), {QStringLiteral("-list"), path})
                                 .standardOutput.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString& row : rows.mid(2))
        colours << row.simplified().section(QLatin1Char(' '), 5, 5);
    return colours;
}

double pictureDifference(const QImage& a, const QImage& b)
{
    if (a.isNull() || b.isNull())
        return 100.0;
    // Cells of 16 pixels of the first picture (8 points at 144 dpi): each cell's ink, compared.
    const QSize grid(std::max(1, a.width() / 16), std::max(1, a.height() / 16));
    const auto cells = [&grid](const QImage& picture) {
        return picture.convertToFormat(QImage::Format_Grayscale8)
            .scaled(grid, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    };
    const QImage first = cells(a);
    const QImage second = cells(b);
    std::vector<int> differences;
    differences.reserve(size_t(grid.width()) * size_t(grid.height()));
    for (int y = 0; y < grid.height(); ++y) {
        for (int x = 0; x < grid.width(); ++x)
            differences.push_back(std::abs(int(first.constScanLine(y)[x]) - int(second.constScanLine(y)[x])));
    }
    std::sort(differences.begin(), differences.end());
    return 100.0 * differences.at(differences.size() * 99 / 100) / 255.0;
}

} // namespace tachoria::test
