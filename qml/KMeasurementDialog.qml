import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The measurement of K: count the sensor's pulses over a measured distance and take their number per
// kilometre into the form.
AppDialog {
    id: dialog
    objectName: "kMeasurementDialog"
    property var controller: null
    property string failureText: ""
    title: qsTr("Измерение Кф")
    closePolicy: Popup.CloseOnEscape

    readonly property real distance: {
        var value = parseFloat(distanceField.text.replace(",", "."))
        return isNaN(value) ? 0 : value
    }
    // Above 65535 the value wraps, as the unit's 16 bits do; on purpose.
    readonly property int measuredK: {
        if (distance <= 0 || !controller)
            return 0
        var k = Math.floor(controller.impulses * 1000 / distance)
        return k > 65535 ? k % 65536 : k
    }

    onOpened: {
        failureText = ""
        if (controller && !controller.impulseCounting) {
            distanceField.text = "50"
            controller.resetImpulseMeasurement()
        }
    }

    function save() {
        if (measuredK < 2400) {
            failureText = qsTr("Недопустимый Кф!!!")
            return
        }
        if (controller.saveMeasuredK(measuredK)) {
            failureText = ""
            close()
            return
        }
        failureText = controller.lastError.length > 0 ? controller.lastError : qsTr("Не удалось сохранить Кф.")
    }

    contentItem: ColumnLayout {
        spacing: Math.round(10 * Theme.uiScale)
        FormRow {
            label: qsTr("Импульсы:")
            labelWidth: Math.round(150 * Theme.uiScale)
            AppTextField {
                objectName: "impulseCount"
                Layout.preferredWidth: Math.round(200 * Theme.uiScale)
                readOnly: true
                text: dialog.controller ? String(dialog.controller.impulses) : "0"
            }
        }
        FormRow {
            label: qsTr("Дистанция (м):")
            labelWidth: Math.round(150 * Theme.uiScale)
            AppTextField {
                id: distanceField
                objectName: "distanceInput"
                Layout.preferredWidth: Math.round(200 * Theme.uiScale)
                text: "50"
                validator: RegularExpressionValidator { regularExpression: /^[0-9]{0,6}([.,][0-9]{0,3})?$/ }
            }
        }
        FormRow {
            label: qsTr("К (imp/km)")
            labelWidth: Math.round(150 * Theme.uiScale)
            AppTextField {
                objectName: "kResult"
                Layout.preferredWidth: Math.round(200 * Theme.uiScale)
                readOnly: true
                text: String(dialog.measuredK)
            }
        }
        AppLabel {
            objectName: "kStatus"
            Layout.preferredWidth: Math.round(470 * Theme.uiScale)
            text: dialog.failureText.length > 0 ? dialog.failureText
                  : dialog.controller ? dialog.controller.statusText : ""
            color: dialog.failureText.length > 0 || (dialog.controller && dialog.controller.lastError.length > 0)
                   ? Theme.error : Theme.secondaryText
        }
        RowLayout {
            spacing: Math.round(8 * Theme.uiScale)
            AppButton {
                objectName: "impulseStartButton"
                text: qsTr("Старт")
                enabled: dialog.controller && !dialog.controller.busy && !dialog.controller.impulseCounting
                         && dialog.controller.connected
                onClicked: {
                    dialog.failureText = ""
                    dialog.controller.startImpulses()
                }
            }
            AppButton {
                objectName: "impulseStopButton"
                text: qsTr("Стоп")
                enabled: dialog.controller && !dialog.controller.busy && dialog.controller.impulseCounting
                onClicked: dialog.controller.stopImpulses()
            }
            AppButton {
                objectName: "kSaveButton"
                text: qsTr("Сохранить")
                prominent: true
                enabled: dialog.controller && !dialog.controller.busy && !dialog.controller.impulseCounting
                onClicked: dialog.save()
            }
            AppButton {
                objectName: "kCloseButton"
                text: qsTr("Закрыть")
                onClicked: dialog.close()
            }
        }
    }
}
