import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// One speed output: on or off, its active level and its own K. Each control writes its part of the
// output's list value, only on the master's action.
Rectangle {
    id: card
    property var controller: null
    property string outputName: "B6"
    readonly property var values: controller ? controller.values : ({})
    readonly property bool supported: values !== null && controller !== null && controller.parameterSupported(outputName)
    readonly property bool invalid: controller !== null && controller.validationErrors[outputName] !== undefined

    function part(index) {
        var text = values[outputName] !== undefined ? String(values[outputName]) : ""
        var parts = text.split(";")
        return index < parts.length ? parts[index] : ""
    }
    function writePart(index, value) {
        var text = values[outputName] !== undefined ? String(values[outputName]) : ""
        var parts = text.length > 0 ? text.split(";") : []
        while (parts.length < 3)
            parts.push("0")
        parts[index] = String(value)
        controller.setParameterValue(outputName, parts.join(";"))
    }

    Layout.fillWidth: true
    implicitHeight: content.implicitHeight + 2 * padding
    readonly property int padding: Math.round(12 * Theme.uiScale)
    color: Theme.surface
    radius: Math.max(1, Math.round(3 * Theme.uiScale))
    border.width: invalid ? 2 : 1
    border.color: invalid ? Theme.errorBorder : Theme.border
    ToolTip.visible: invalid && hover.hovered
    ToolTip.text: qsTr("Проверьте параметры ") + outputName + qsTr(" во всплывающем сообщении перед записью.")
    HoverHandler {
        id: hover
    }

    ColumnLayout {
        id: content
        x: card.padding
        y: card.padding
        width: card.width - 2 * card.padding
        spacing: Math.round(8 * Theme.uiScale)
        ValueCheckBox {
            objectName: "output" + card.outputName + "Enabled"
            text: qsTr("ВКЛ ") + card.outputName
            font.bold: true
            value: card.part(0) === "1"
            enabled: card.supported
            onToggledTo: (checked) => card.writePart(0, checked ? 1 : 0)
        }
        GridLayout {
            Layout.fillWidth: true
            columns: 2
            columnSpacing: Math.round(8 * Theme.uiScale)
            rowSpacing: Math.round(6 * Theme.uiScale)
            AppLabel { text: qsTr("Активный уровень:"); wrapMode: Text.NoWrap }
            AppComboBox {
                objectName: "output" + card.outputName + "Level"
                Layout.fillWidth: true
                model: [qsTr("Низкий уровень (0)"), qsTr("Высокий уровень (1)")]
                value: model[parseInt(card.part(1))] || card.part(1)
                enabled: card.supported
                onChosen: (value) => card.writePart(1, model.indexOf(value))
            }
            AppLabel { text: qsTr("K вывода:"); wrapMode: Text.NoWrap }
            AppTextField {
                objectName: "output" + card.outputName + "K"
                Layout.fillWidth: true
                text: card.part(2)
                enabled: card.supported
                maximumLength: 5
                invalid: card.invalid
                validator: RegularExpressionValidator { regularExpression: /^[0-9]{0,5}$/ }
                onEditingFinished: {
                    if (text !== card.part(2))
                        card.writePart(2, text)
                }
            }
        }
    }
}
