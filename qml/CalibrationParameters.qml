import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// Every parameter of one part of the form as a plain list, for layouts too narrow for the cards:
// "tacho", "output", "pto", "can", or anything else for the remaining sources and the CAN VIN.
ColumnLayout {
    id: list
    property var controller: null
    property string filter: "tacho"
    spacing: Math.round(6 * Theme.uiScale)

    function accepts(label) {
        if (filter === "tacho")
            return label.indexOf("CAN") < 0 && label.indexOf("Выход") < 0 && label !== "Режимы труда и отдыха"
                    && label !== "Источник яркости" && label !== "Источник скорости"
        if (filter === "output")
            return label.indexOf("Выход") >= 0
        if (filter === "pto")
            return label === "Режимы труда и отдыха"
        if (filter === "can")
            return label.indexOf("CAN") >= 0 && label.indexOf("VIN CAN") < 0
        return label === "Источник яркости" || label === "Источник скорости" || label.indexOf("VIN CAN") >= 0
    }

    Repeater {
        model: list.controller ? list.controller.parameters : null
        RowLayout {
            visible: list.accepts(model.label)
            Layout.fillWidth: true
            spacing: Math.round(8 * Theme.uiScale)
            AppLabel {
                Layout.preferredWidth: Math.round(220 * Theme.uiScale)
                text: model.label
                enabled: model.supported
                elide: Text.ElideRight
                wrapMode: Text.NoWrap
            }
            AppTextField {
                objectName: "listField_" + model.parameterIndex
                Layout.fillWidth: true
                text: model.value
                enabled: model.supported
                readOnly: !model.editable
                ToolTip.visible: hovered
                ToolTip.delay: 600
                ToolTip.text: {
                    var hint = list.controller ? list.controller.parameterHint(model.name) : ""
                    return hint.length > 0 ? hint : model.identifier
                }
                onEditingFinished: {
                    if (model.editable && text !== model.value)
                        list.controller.setParameter(model.parameterIndex, text)
                }
            }
        }
    }
}
