import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// One CAN channel: on or off, its speed and identifier width, the TCO1 message's period and priority,
// the further messages and the terminating resistor. Each control writes its own part of a list
// value; the controls write only on the master's action, so filling them from a read writes nothing.
Rectangle {
    id: card
    property var controller: null
    property int canNumber: 0
    readonly property string channel: "CAN" + (canNumber + 1)
    readonly property string prefix: "can" + (canNumber + 1)
    readonly property string mainName: channel
    readonly property string nvName: channel + "_NV"
    readonly property string intervalName: channel + "_Interval_TCO1"
    readonly property string priorityName: "Can" + (canNumber + 1) + "Tco1Priority"
    readonly property var values: controller ? controller.values : ({})
    readonly property var names: [mainName, nvName, intervalName, priorityName, "EnableDM1"]
    readonly property bool invalid: {
        if (!controller)
            return false
        var errors = controller.validationErrors
        for (var i = 0; i < names.length; ++i) {
            if (errors[names[i]] !== undefined)
                return true
        }
        return false
    }
    signal autoRequested(int canNumber)

    function supported(name) {
        return values !== null && controller !== null && controller.parameterSupported(name)
    }
    function part(name, index) {
        var text = values[name] !== undefined ? String(values[name]) : ""
        var parts = text.split(";")
        return index < parts.length ? parts[index] : ""
    }
    function writePart(name, index, value, count) {
        var text = values[name] !== undefined ? String(values[name]) : ""
        var parts = text.length > 0 ? text.split(";") : []
        while (parts.length < count)
            parts.push("0")
        parts[index] = String(value)
        controller.setParameterValue(name, parts.join(";"))
    }
    function dm1Mask() {
        var mask = parseInt(values["EnableDM1"])
        return isNaN(mask) ? 0 : mask & 0x11
    }
    function writeDm1(on) {
        var bit = canNumber === 0 ? 0x01 : 0x10
        var mask = on ? (dm1Mask() | bit) : (dm1Mask() & ~bit)
        controller.setParameterValue("EnableDM1", String(mask & 0x11))
    }

    Layout.fillWidth: true
    implicitHeight: content.implicitHeight + 2 * padding
    readonly property int padding: Math.round(12 * Theme.uiScale)
    color: Theme.surface
    radius: Math.max(1, Math.round(3 * Theme.uiScale))
    border.width: invalid ? 2 : 1
    border.color: invalid ? Theme.errorBorder : Theme.border
    ToolTip.visible: invalid && hover.hovered
    ToolTip.text: qsTr("Проверьте параметры ") + channel + qsTr(" во всплывающем сообщении перед записью.")
    HoverHandler {
        id: hover
    }

    ColumnLayout {
        id: content
        x: card.padding
        y: card.padding
        width: card.width - 2 * card.padding
        spacing: Math.round(8 * Theme.uiScale)

        RowLayout {
            spacing: Math.round(16 * Theme.uiScale)
            ValueCheckBox {
                objectName: card.prefix + "Enabled"
                text: qsTr("ВКЛ ") + card.channel
                font.bold: true
                value: card.part(card.mainName, 0) === "1"
                enabled: card.supported(card.mainName)
                onToggledTo: (checked) => card.writePart(card.mainName, 0, checked ? 1 : 0, 3)
            }
            ValueCheckBox {
                objectName: card.prefix + "Dm1"
                text: qsTr("Вкл. DM1")
                value: (card.dm1Mask() & (card.canNumber === 0 ? 0x01 : 0x10)) !== 0
                enabled: card.supported("EnableDM1")
                onToggledTo: (checked) => card.writeDm1(checked)
            }
        }
        GridLayout {
            Layout.fillWidth: true
            columns: 3
            columnSpacing: Math.round(8 * Theme.uiScale)
            rowSpacing: Math.round(6 * Theme.uiScale)

            AppLabel { text: qsTr("Разрядность:"); wrapMode: Text.NoWrap }
            AppComboBox {
                objectName: card.prefix + "Identifier"
                Layout.fillWidth: true
                model: [qsTr("11 бит"), qsTr("29 бит")]
                value: model[parseInt(card.part(card.mainName, 2))] || card.part(card.mainName, 2)
                enabled: card.supported(card.mainName)
                onChosen: (value) => card.writePart(card.mainName, 2, model.indexOf(value), 3)
            }
            Item { implicitWidth: 1 }

            AppLabel { text: qsTr("Скорость:"); wrapMode: Text.NoWrap }
            AppComboBox {
                objectName: card.prefix + "Speed"
                Layout.fillWidth: true
                model: [qsTr("125 кбит/с"), qsTr("250 кбит/с"), qsTr("500 кбит/с"), qsTr("1000 кбит/с")]
                value: model[parseInt(card.part(card.mainName, 1))] || card.part(card.mainName, 1)
                enabled: card.supported(card.mainName)
                onChosen: (value) => card.writePart(card.mainName, 1, model.indexOf(value), 3)
            }
            AppButton {
                objectName: card.prefix + "Auto"
                compact: true
                text: qsTr("Авто")
                enabled: card.controller && card.controller.connected && !card.controller.busy
                onClicked: card.autoRequested(card.canNumber)
            }

            AppLabel { text: qsTr("Период TCO1:"); wrapMode: Text.NoWrap }
            AppComboBox {
                objectName: card.prefix + "Interval"
                Layout.fillWidth: true
                model: [qsTr("20 мсек"), qsTr("50 мсек")]
                value: model[parseInt(card.values[card.intervalName])] || ""
                enabled: card.supported(card.intervalName)
                onChosen: (value) => card.controller.setParameterValue(card.intervalName, String(model.indexOf(value)))
            }
            Item { implicitWidth: 1 }

            AppLabel { text: qsTr("Приоритет TCO1:"); wrapMode: Text.NoWrap }
            AppComboBox {
                objectName: card.prefix + "Priority"
                Layout.fillWidth: true
                model: ["0", "1", "2", "3", "4", "5", "6", "7"]
                value: card.values[card.priorityName] !== undefined ? String(card.values[card.priorityName]) : ""
                enabled: card.supported(card.priorityName)
                onChosen: (value) => card.controller.setParameterValue(card.priorityName, value)
            }
            Item { implicitWidth: 1 }
        }
        GridLayout {
            columns: 2
            columnSpacing: Math.round(16 * Theme.uiScale)
            rowSpacing: Math.round(2 * Theme.uiScale)
            Repeater {
                model: [qsTr("ВКЛ TCO2"), qsTr("ВКЛ TCO3"), qsTr("ВКЛ TCO4"), qsTr("ВКЛ резистора")]
                ValueCheckBox {
                    objectName: card.prefix + "Nv" + index
                    text: modelData
                    value: card.part(card.nvName, index) === "1"
                    enabled: card.supported(card.nvName)
                    onToggledTo: (checked) => card.writePart(card.nvName, index, checked ? 1 : 0, 4)
                }
            }
        }
    }
}
