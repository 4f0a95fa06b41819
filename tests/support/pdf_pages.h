#pragma once

#include <QImage>
#include <QList>
#include <QRectF>
#include <QSizeF>
#include <QString>

namespace tachoria::test {

// What poppler-utils read from a PDF file, as a person would see it.

// The text of all pages (pdftotext), lines as laid out.
QString pdfText(const QString& path);
// The words of all pages with their boxes in points from the page's top left (pdftotext -bbox).
struct PdfWord
{
    QString text;
    QRectF box;
};
QList<PdfWord> pdfWords(const QString& path);
// A field of the document's information, e.g. "Title" or "Creator" (pdfinfo).
QString pdfInfoField(const QString& path, const QString& field);
// Each page's size in points (pdfinfo).
QList<QSizeF> pdfPageSizes(const QString& path);
// The pages up to lastPage drawn at this resolution (pdftoppm).
QList<QImage> pdfPages(const QString& path, int dpi, int lastPage = 9999);
// The colour space of each picture in the file ("rgb", "gray", ...), as pdfimages lists them.
QStringList pdfImageColours(const QString& path);
// How far two pictures of one page lie apart: both cut into cells of 8 points (at 144 dpi), the
// difference of the cells' ink that 99 % of the cells stay within, in percent. Under 8 for one
// document drawn two ways (preview, PDF, printed); over 12 for a page left blank, shifted by 3 points
// or drawn 5 % smaller.
double pictureDifference(const QImage& a, const QImage& b);

} // namespace tachoria::test
