#include "qml_controllers/calibration_parameter_model.h"

#include "qml_controllers/calibration_form.h"

namespace tachoria::qml {

using calibration::CalibrationParameter;
using calibration::CalibrationParameterCodec;
using calibration::ParameterAccess;

int CalibrationParameterModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_parameters.size());
}

QVariant CalibrationParameterModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_parameters.size())
        return QVariant();
    const CalibrationParameter& parameter = m_parameters.at(index.row());
    switch (role) {
    case ParameterIndexRole:
        return index.row();
    case LabelRole:
        return parameterLabel(parameter.name);
    case IdentifierRole:
        return QStringLiteral("0x") +
               QStringLiteral("%1").arg(parameter.did, 4, 16, QLatin1Char('0')).toUpper();
    case ValueRole:
        return m_pending.contains(index.row()) ? m_pending.value(index.row())
                                               : CalibrationParameterCodec::displayValue(parameter);
    case SupportedRole:
        return parameter.available;
    case EditableRole:
        return parameter.available && parameter.access != ParameterAccess::ReadOnly;
    case NameRole:
        return parameter.name;
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> CalibrationParameterModel::roleNames() const
{
    return {{ParameterIndexRole, "parameterIndex"},
            {LabelRole, "label"},
            {IdentifierRole, "identifier"},
            {ValueRole, "value"},
            {SupportedRole, "supported"},
            {EditableRole, "editable"},
            {NameRole, "name"}};
}

void CalibrationParameterModel::replace(const QList<CalibrationParameter>& parameters)
{
    beginResetModel();
    m_parameters = parameters;
    m_pending.clear();
    endResetModel();
}

void CalibrationParameterModel::updateValue(int row, const CalibrationParameter& parameter,
                                            const std::optional<QString>& pendingText)
{
    if (row < 0 || row >= m_parameters.size())
        return;
    m_parameters[row] = parameter;
    if (pendingText)
        m_pending.insert(row, *pendingText);
    else
        m_pending.remove(row);
    const QModelIndex changed = index(row);
    Q_EMIT dataChanged(changed, changed);
}

void CalibrationParameterModel::clear()
{
    replace({});
}

} // namespace tachoria::qml
