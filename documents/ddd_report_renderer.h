#pragma once

#include "ddd/ddd_report.h"
#include "documents/report_painter.h"

#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace tachoria::documents {

// The PDF of a decoded .ddd report: its blocks and tables, the analysis of working and rest time, and the
// charts the user asked for. No state between calls.
class DddReportRenderer
{
public:
    // Every section, no charts.
    static bool writePdf(const QString& path, const ddd::DddReport& report, QString* error = nullptr);
    // options: `sections`, the section keys to include ("all" for every one; absent: every one) and
    // `graphs`, the chart keys (absent or empty: none).
    static bool writePdf(const QString& path, const ddd::DddReport& report, const QVariantMap& options,
                         QString* error = nullptr);

    // The section keys of each kind of report, and the chart keys, in the order they are printed.
    static QStringList sectionKeys(ddd::DddFileType type);
    static QStringList chartKeys();

    // The helpers of the tables and charts.
    static QString scalarText(const QVariant& value);
    static QString rowValue(const QVariantMap& record, const QStringList& keys);
    static QList<QStringList> rowsFor(const QList<QVariantMap>& records, const QList<QStringList>& keys);
    static QList<QStringList> genericRows(const QList<QVariantMap>& records);
    static QList<ChartPoint> categoryCounts(const QList<QVariantMap>& records, const QStringList& keys);
    static double numericValue(const QVariantMap& record, const QStringList& keys, double fallback);
    static double minutesValue(const QString& text);
    static QList<double> speedSamples(const ddd::DddReport& report);
    static QList<ChartPoint> decimatedSpeedPoints(const ddd::DddReport& report);

private:
    DddReportRenderer() = delete;
};

} // namespace tachoria::documents
