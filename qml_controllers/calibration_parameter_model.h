#pragma once

#include "calibration/calibration_parameter_codec.h"

#include <QAbstractListModel>
#include <QHash>
#include <QList>

#include <optional>

namespace tachoria::qml {

// The form's parameters as a list for QML: label, identifier, the value as shown, and whether the unit
// has it and lets it be changed. A text the master typed that did not pass stays shown as typed.
class CalibrationParameterModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role
    {
        ParameterIndexRole = Qt::UserRole + 1,
        LabelRole,
        IdentifierRole,
        ValueRole,
        SupportedRole,
        EditableRole,
        NameRole, // the parameter's key, for its hint
    };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    void replace(const QList<calibration::CalibrationParameter>& parameters);
    // pendingText: what the master typed when it did not pass; none shows the value.
    void updateValue(int row, const calibration::CalibrationParameter& parameter,
                     const std::optional<QString>& pendingText = std::nullopt);
    void clear();

private:
    QList<calibration::CalibrationParameter> m_parameters;
    QHash<int, QString> m_pending;
};

} // namespace tachoria::qml
