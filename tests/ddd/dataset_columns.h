#pragma once

// Reading decoded datasets the way the tests compare them: a column top to bottom, or the value of a
// description/value row.
#include "ddd/ddd_report.h"

#include <QStringList>

namespace tachoria::ddd::test {

inline QStringList column(const DatasetRows& rows, const QString& key)
{
    QStringList values;
    for (const QVariantMap& row : rows)
        values.append(row.value(key).toString());
    return values;
}

// The value of the row with this description; "<missing>" tells a missing row from an empty value.
inline QString value(const DatasetRows& rows, const QString& description)
{
    for (const QVariantMap& row : rows) {
        if (row.value(QStringLiteral("description")).toString() == description)
            return row.value(QStringLiteral("value")).toString();
    }
    return QStringLiteral("<missing>");
}

} // namespace tachoria::ddd::test
