import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The tab "Режимы труда и отдыха": when the unit warns the driver of a break and of a rest. The
// warnings come 15 minutes before each limit, so the pairs always agree.
ColumnLayout {
    id: tab
    property var controller: null
    spacing: Math.round(10 * Theme.uiScale)
    readonly property var values: controller ? controller.values : ({})
    readonly property bool supported: values !== null && controller !== null && controller.parameterSupported("PTO")
    readonly property bool invalid: controller !== null && controller.validationErrors["PTO"] !== undefined

    function part(index) {
        var text = values["PTO"] !== undefined ? String(values["PTO"]) : ""
        var value = parseInt(text.split(";")[index])
        return isNaN(value) ? 0 : value
    }
    function write(index, value) {
        var text = values["PTO"] !== undefined ? String(values["PTO"]) : ""
        var parts = text.length > 0 ? text.split(";") : []
        while (parts.length < 7)
            parts.push("0")
        parts[index] = String(value)
        parts[0] = String(Math.max(0, parseInt(parts[1]) - 15))
        parts[2] = String(Math.max(0, parseInt(parts[3]) - 15))
        controller.setParameterValue("PTO", parts.join(";"))
    }

    Rectangle {
        Layout.fillWidth: true
        implicitHeight: warning.implicitHeight + Math.round(16 * Theme.uiScale)
        color: Theme.warningSurface
        border.color: Theme.warning
        radius: Math.max(1, Math.round(3 * Theme.uiScale))
        AppLabel {
            id: warning
            anchors.fill: parent
            anchors.margins: Math.round(8 * Theme.uiScale)
            text: qsTr("Эти значения задают предупреждения водителю о перерыве и отдыхе. Нормы времени управления, ")
                  + qsTr("перерывов и отдыха установлены законодательством: не задавайте значения, которые им ")
                  + qsTr("противоречат.")
        }
    }
    SectionBox {
        title: qsTr("Предупреждения")
        border.color: tab.invalid ? Theme.errorBorder : Theme.border
        border.width: tab.invalid ? 2 : 1
        FormRow {
            label: qsTr("Минимальный отрезок для учета Перерыва, мин:")
            labelWidth: Math.round(560 * Theme.uiScale)
            AppComboBox {
                objectName: "ptoMinimalBreak"
                Layout.preferredWidth: Math.round(140 * Theme.uiScale)
                model: ["10", "15"]
                value: String(tab.part(4))
                enabled: tab.supported
                onChosen: (value) => tab.write(4, parseInt(value))
            }
        }
        FormRow {
            label: qsTr("Продолжительность Управления, требующая Перерывы, мин:")
            labelWidth: Math.round(560 * Theme.uiScale)
            SpinBox {
                objectName: "ptoBreak"
                from: 180
                to: 270
                editable: true
                font.pixelSize: Theme.uiPixelSize
                value: tab.part(1)
                enabled: tab.supported
                onValueModified: {
                    tab.write(1, value)
                    value = Qt.binding(function() { return tab.part(1) })
                }
            }
        }
        FormRow {
            label: qsTr("Продолжительность Управления, требующая Отдых, мин:")
            labelWidth: Math.round(560 * Theme.uiScale)
            SpinBox {
                objectName: "ptoRest"
                from: 360
                to: 540
                editable: true
                font.pixelSize: Theme.uiPixelSize
                value: tab.part(3)
                enabled: tab.supported
                onValueModified: {
                    tab.write(3, value)
                    value = Qt.binding(function() { return tab.part(3) })
                }
            }
        }
    }
}
