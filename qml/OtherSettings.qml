import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The tab "Другое": where the backlight takes its brightness and the unit its speed, and the colour
// of the backlight.
ColumnLayout {
    id: tab
    property var controller: null
    spacing: Math.round(10 * Theme.uiScale)
    readonly property var values: controller ? controller.values : ({})
    readonly property var sources: [qsTr("Датчик скорости"), qsTr("CAN EBC2 (29 бит)"), qsTr("CAN CCVS (29 бит)"), qsTr("CAN ETC1 (29 бит)"),
                                    "OBD2"]
    readonly property var colours: [qsTr("Зелёный"), qsTr("Красный"), qsTr("Синий"), qsTr("Белый"), qsTr("Жёлтый"), qsTr("Голубой"), qsTr("Пурпурный"),
                                    qsTr("Серебряный"), qsTr("Серый"), qsTr("Бордовый"), qsTr("Оливковый"), qsTr("Лайм")]
    // Hue, saturation and value of each colour's swatch.
    readonly property var swatches: [[120, 100, 50], [0, 100, 100], [240, 100, 100], [0, 0, 100], [60, 100, 100],
                                     [180, 100, 100], [300, 100, 100], [0, 0, 75], [0, 0, 50], [0, 100, 50],
                                     [60, 100, 50], [120, 100, 100]]

    function supported(name) {
        return values !== null && controller !== null && controller.parameterSupported(name)
    }
    function swatch(index) {
        var hsv = swatches[index]
        return hsv ? Qt.hsva(hsv[0] / 360, hsv[1] / 100, hsv[2] / 100, 1) : "transparent"
    }
    function sourceIndex() {
        var mask = parseInt(String(values["SourceSpeed"] || "").split(";")[0])
        for (var i = 0; i < 5; ++i) {
            if (mask === (1 << i))
                return i
        }
        return -1
    }

    SectionBox {
        title: qsTr("Источники")
        FormRow {
            label: qsTr("Источник регулировки яркости подсветки:")
            labelWidth: Math.round(360 * Theme.uiScale)
            AppComboBox {
                objectName: "brightnessSource"
                Layout.preferredWidth: Math.round(260 * Theme.uiScale)
                model: [qsTr("Ручной"), "CAN", "A2"]
                value: model[parseInt(tab.values["SourceBacklightBrightnessAdjustment"])] || ""
                enabled: tab.supported("SourceBacklightBrightnessAdjustment")
                onChosen: (value) => tab.controller.setParameterValue("SourceBacklightBrightnessAdjustment",
                                                                       String(model.indexOf(value)))
            }
        }
        FormRow {
            label: qsTr("Источник скорости:")
            labelWidth: Math.round(360 * Theme.uiScale)
            AppComboBox {
                objectName: "speedSource"
                Layout.preferredWidth: Math.round(260 * Theme.uiScale)
                model: tab.sources
                value: tab.sourceIndex() >= 0 ? tab.sources[tab.sourceIndex()] : ""
                enabled: tab.supported("SourceSpeed")
                onChosen: (value) => tab.controller.setParameterValue("SourceSpeed",
                                                                       (1 << tab.sources.indexOf(value)) + ";0")
            }
            AppButton {
                objectName: "speedSourceAuto"
                text: qsTr("Автоопределение")
                enabled: tab.controller && tab.controller.connected && !tab.controller.busy
                         && tab.supported("SourceSpeed")
                onClicked: sourceDialog.open()
            }
        }
        FormRow {
            label: qsTr("Цвет подсветки:")
            labelWidth: Math.round(360 * Theme.uiScale)
            AppComboBox {
                id: colourBox
                objectName: "illuminationColor"
                Layout.preferredWidth: Math.round(260 * Theme.uiScale)
                model: tab.colours
                value: model[parseInt(tab.values["IlluminationColor"])] || ""
                enabled: tab.supported("IlluminationColor")
                onChosen: (value) => tab.controller.setParameterValue("IlluminationColor",
                                                                       String(model.indexOf(value)))
                delegate: ItemDelegate {
                    width: colourBox.width
                    height: Math.max(30, Math.round(34 * Theme.uiScale))
                    highlighted: colourBox.highlightedIndex === index
                    contentItem: Row {
                        spacing: Math.round(8 * Theme.uiScale)
                        Rectangle {
                            anchors.verticalCenter: parent.verticalCenter
                            width: Math.round(18 * Theme.uiScale)
                            height: width
                            color: tab.swatch(index)
                            border.color: Theme.border
                        }
                        Text {
                            anchors.verticalCenter: parent.verticalCenter
                            text: modelData
                            font: colourBox.font
                            color: Theme.text
                        }
                    }
                    background: Rectangle {
                        color: highlighted ? Theme.selection : Theme.surface
                    }
                }
            }
            Rectangle {
                objectName: "illuminationSwatch"
                width: Math.round(26 * Theme.uiScale)
                height: width
                color: tab.swatch(parseInt(tab.values["IlluminationColor"]))
                border.color: Theme.border
                visible: colourBox.enabled
            }
        }
    }

    SpeedSourceDialog {
        id: sourceDialog
        controller: tab.controller
        sources: tab.sources
    }
}
