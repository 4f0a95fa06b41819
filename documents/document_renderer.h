#pragma once

#include <QPageLayout>
#include <QPageSize>
#include <QSizeF>
#include <QString>
#include <QVariantMap>

class QPainter;
class QPrinter;

namespace tachoria::documents {

enum class DocumentType
{
    Certificate = 0,
    Sticker = 1,
};

// The two documents of a calibration, the certificate on an A4 page and the sticker on a 100 × 18,6 mm
// tape, laid out in code by fixed coordinates in points. The same drawing goes into a PDF, a preview
// picture and, as one 300 dpi bitmap, to a printer, so that no printer driver's fonts can move the
// layout. Every operation runs on the GUI thread, holds no state and answers with a result and, on a
// failure, the words for the user in `error`.
class DocumentRenderer
{
public:
    static QPageLayout pageLayout(DocumentType type);
    static QSizeF documentSizePoints(DocumentType type);

    // A field of the document's data as trimmed text.
    static QString value(const QVariantMap& data, const QString& key);
    // The day of the calibration: OrderDate up to its first blank.
    static QString orderDate(const QVariantMap& data);

    static bool isOneNotePrinter(const QString& name);
    // A tape a label printer can take: short side 17..40 mm, long side 80..500 mm.
    static bool isLabelPageSize(const QPageSize& size);
    // The page the print options ask for: paper, orientation, no margins, in points.
    static QPageLayout printPageLayout(DocumentType type, const QVariantMap& options);

    static bool writePdf(const QString& path, DocumentType type, const QVariantMap& data,
                         QString* error = nullptr);
    static bool writePreviewImage(const QString& path, DocumentType type, const QVariantMap& data,
                                  QString* error = nullptr);
    static bool print(DocumentType type, const QVariantMap& data, const QString& printerName,
                      QString* error = nullptr);
    static bool printWithDialog(DocumentType type, const QVariantMap& data, QString* error = nullptr);
    static bool printWithOptions(DocumentType type, const QVariantMap& data, const QVariantMap& options,
                                 QString* error = nullptr);
    // The last step of every print: the document as one bitmap, placed on the printer's page.
    static bool paintPrinter(QPrinter& printer, DocumentType type, const QVariantMap& data, bool fit,
                             QString* error = nullptr);

    // Draws the document in points from the painter's origin; vectorTarget is true for PDF and preview,
    // false for the printing raster.
    static void paint(QPainter& painter, DocumentType type, const QVariantMap& data, bool vectorTarget);

private:
    DocumentRenderer() = delete;
};

} // namespace tachoria::documents
