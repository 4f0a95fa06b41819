#include "qml_controllers/ddd_table_model.h"

#include "documents/ddd_report_renderer.h"

namespace tachoria::qml {

using namespace Qt::StringLiterals;

DddTableModel::DddTableModel(QObject* parent)
    : QAbstractTableModel(parent)
{
}

int DddTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int DddTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_columns.size());
}

QString DddTableModel::displayText(const QVariant& value)
{
    // A cell is one line: the bytes of a block in hexadecimal would otherwise be megabytes of text.
    constexpr qsizetype kLimit = 200;
    const QString text = documents::DddReportRenderer::scalarText(value);
    return text.size() > kLimit ? text.left(kLimit) + u"…"_s : text;
}

QString DddTableModel::cellText(int row, const QString& key) const
{
    if (row < 0 || row >= m_rows.size())
        return QString();
    if (key == u"date"_s) {
        for (const QStringView day :
             {u"activityDailyPresenceCounter1", u"dayNo", u"activityDailyPresenceCounter", u"dayKey"}) {
            const QVariant number = m_rows.value(row, day);
            if (number.isValid())
                return m_dayDates.value(number.toString());
        }
        return QString();
    }
    return displayText(m_rows.value(row, key));
}

QVariant DddTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.column() >= m_columns.size() || role != Qt::DisplayRole)
        return QVariant();
    return cellText(index.row(), m_columns.at(index.column()));
}

QHash<int, QByteArray> DddTableModel::roleNames() const
{
    return {{Qt::DisplayRole, "display"}};
}

void DddTableModel::setRows(const ddd::DatasetRows& rows, const QHash<QString, QString>& dayDates)
{
    beginResetModel();
    m_rows = rows;
    m_dayDates = dayDates;
    endResetModel();
    Q_EMIT contentChanged();
}

void DddTableModel::setColumns(const QStringList& columns)
{
    if (columns == m_columns)
        return;
    beginResetModel();
    m_columns = columns;
    endResetModel();
    Q_EMIT contentChanged();
}

QStringList DddTableModel::keys() const
{
    // Rows of one dataset come in a few shapes; the first rows show them all.
    QStringList keys;
    for (qsizetype row = 0; row < std::min<qsizetype>(m_rows.size(), 50); ++row) {
        m_rows.visit(row, [&keys](const QString& key, const auto&) {
            if (!keys.contains(key))
                keys.append(key);
        });
    }
    return keys;
}

QVariantMap DddTableModel::rowAt(int row) const
{
    return row >= 0 && row < m_rows.size() ? m_rows.at(row) : QVariantMap();
}

} // namespace tachoria::qml
