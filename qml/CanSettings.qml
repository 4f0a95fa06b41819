import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The tab "CAN": both channels, the VIN sent over CAN instead of the unit's own, and the result of
// the last speed detection.
ColumnLayout {
    id: tab
    property var controller: null
    spacing: Math.round(10 * Theme.uiScale)

    readonly property var values: controller ? controller.values : ({})
    readonly property string canVin: values["CANvehicleIdentificationNumber"] !== undefined
                                     ? values["CANvehicleIdentificationNumber"] : ""
    // The box follows the unit's VIN after each read, until the master touches it.
    property bool vinTouched: false
    property bool vinEnabled: false
    readonly property bool readCompleted: controller ? controller.readCompleted : false
    onReadCompletedChanged: {
        if (readCompleted) {
            vinTouched = false
            vinEnabled = canVin.trim().length > 0
        }
    }
    onCanVinChanged: {
        if (!vinTouched && readCompleted)
            vinEnabled = canVin.trim().length > 0
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: Math.round(10 * Theme.uiScale)
        CanCard {
            controller: tab.controller
            canNumber: 0
            Layout.alignment: Qt.AlignTop
            onAutoRequested: (canNumber) => canDialog.openFor(canNumber)
        }
        CanCard {
            controller: tab.controller
            canNumber: 1
            Layout.alignment: Qt.AlignTop
            onAutoRequested: (canNumber) => canDialog.openFor(canNumber)
        }
    }
    SectionBox {
        title: qsTr("Подменный VIN для CAN")
        RowLayout {
            Layout.fillWidth: true
            spacing: Math.round(12 * Theme.uiScale)
            ValueCheckBox {
                objectName: "canVinEnabled"
                text: qsTr("ВКЛ")
                value: tab.vinEnabled
                enabled: tab.values !== null && tab.controller !== null
                         && tab.controller.parameterSupported("CANvehicleIdentificationNumber")
                onToggledTo: (checked) => {
                    tab.vinTouched = true
                    tab.vinEnabled = checked
                    if (!checked)
                        tab.controller.setParameterValue("CANvehicleIdentificationNumber", "")
                }
            }
            ParameterField {
                Layout.fillWidth: true
                controller: tab.controller
                parameterName: "CANvehicleIdentificationNumber"
                caption: "VIN:"
                readOnly: !tab.vinEnabled
            }
        }
    }
    AppLabel {
        objectName: "canResult"
        visible: text.length > 0
        Layout.fillWidth: true
        text: tab.controller ? tab.controller.canResult : ""
        secondary: true
    }

    CanSpeedDialog {
        id: canDialog
        controller: tab.controller
    }
}
