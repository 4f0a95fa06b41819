#pragma once

#include "ddd/ddd_report.h"

#include <QAbstractTableModel>
#include <QHash>
#include <QStringList>
#include <QVariantMap>

namespace tachoria::qml {

// One dataset of a report as a table for the page: a row is read from the compact rows only when the
// view shows it, so a unit's tens of thousands of activity changes cost nothing until scrolled to.
// Columns are row keys; the key "date" is the calendar date of the row's day, looked up by its number.
class DddTableModel : public QAbstractTableModel
{
    Q_OBJECT
    Q_PROPERTY(int rowCount READ rows NOTIFY contentChanged)
    Q_PROPERTY(QStringList columns READ columns WRITE setColumns NOTIFY contentChanged)
    // The keys the rows hold, in the order of the first row that has each.
    Q_PROPERTY(QStringList keys READ keys NOTIFY contentChanged)

public:
    explicit DddTableModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    void setRows(const ddd::DatasetRows& rows, const QHash<QString, QString>& dayDates = {});
    void setColumns(const QStringList& columns);

    int rows() const { return int(m_rows.size()); }
    QStringList columns() const { return m_columns; }
    QStringList keys() const;
    // The whole row, for the row's own dialog.
    Q_INVOKABLE QVariantMap rowAt(int row) const;
    Q_INVOKABLE QString cellText(int row, const QString& key) const;

    // A value as one line of a table cell.
    static QString displayText(const QVariant& value);

Q_SIGNALS:
    void contentChanged();

private:
    ddd::DatasetRows m_rows;
    QStringList m_columns;
    QHash<QString, QString> m_dayDates;
};

} // namespace tachoria::qml
