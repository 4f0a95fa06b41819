#pragma once

// What the readers of the vehicle-unit blocks share.

#include "ddd/ddd_report.h"

namespace tachoria::ddd::vu {

using namespace Qt::StringLiterals;

inline constexpr qsizetype kSignatureSize = 128;

// The trailing signature is not data.
inline qsizetype dataLimit(const QByteArray& data)
{
    return data.size() > kSignatureSize + 1 ? data.size() - kSignatureSize : data.size();
}

inline bool fitsBefore(qsizetype position, qsizetype length, qsizetype limit)
{
    return position >= 0 && position + length <= limit;
}

inline QVariantMap describedRow(const QString& description, const QVariant& value, const QString& hexKey,
                                const QString& hex)
{
    QVariantMap row{{u"description"_s, description}, {u"value"_s, value}};
    if (!hexKey.isEmpty())
        row.insert(hexKey, hex);
    return row;
}

void parseEventsAndFaults(DddReport& report, const QByteArray& data);
void parseDetailedSpeed(DddReport& report, const DddBlock& block);

} // namespace tachoria::ddd::vu
