import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The tab "Тахограф": the vehicle's identity, the constants and the tyres, with the measurement of K
// and the calculation of L.
ColumnLayout {
    id: tab
    property var controller: null
    property var settings: null
    property var vehicleRatios: []
    property bool registrationAbsent: false
    spacing: Math.round(8 * Theme.uiScale)

    readonly property var values: controller ? controller.values : ({})
    readonly property string registrationValue: values["VehicleRegistrationNumber"] !== undefined
                                                ? values["VehicleRegistrationNumber"] : ""
    // A real number from the unit ends the master's "no number"; a text of question marks is none.
    onRegistrationValueChanged: {
        var text = registrationValue.trim()
        if (text.length > 0 && !/^\?+$/.test(text))
            registrationAbsent = false
    }
    readonly property var ratioChoices: {
        var list = []
        for (var i = 0; i < vehicleRatios.length; ++i)
            list.push(String(vehicleRatios[i]))
        return list
    }

    function calculateL() {
        var text = tyreField.inputText
        if (!/^[0-9A-Za-z\s\/R.\-*×]+$/.test(text)) {
            controller.setParameterValue("tyreSize", text.slice(0, -1))
            tabMessage.show(qsTr("Маркировка шин"),
                            qsTr("Недопустимый символ!\n\nРазрешенные символы: цифры, буквы, / - x * R D . пробел"))
            return
        }
        text = text.toUpperCase()
        controller.setParameterValue("tyreSize", text)
        var millimetres = controller.calculateTireCircumference(text)
        controller.setParameterValue("lTyreCircumference", millimetres)
        if (millimetres.length === 0)
            tabMessage.show(qsTr("Форматы маркировки шин"),
                            qsTr("Маркировка не распознана. Поддерживаемые форматы:\n315/95 R22.5\n385/65 R22.5\n")
                            + "31x10.50 R15\n33x12.50 R17\n240-508 (9.00 R20)\n11 R22.5\n1080x425—484\n"
                            + "20,5—25\n6.15-13\n6.15 D 13")
    }

    // Two columns laid out apart: a reason under a field then only lengthens its own column.
    RowLayout {
        Layout.fillWidth: true
        spacing: Math.round(24 * Theme.uiScale)
        ColumnLayout {
            Layout.fillWidth: true
            Layout.preferredWidth: 1
            Layout.alignment: Qt.AlignTop
            spacing: Math.round(6 * Theme.uiScale)

            CalibrationField {
                controller: tab.controller
                parameterName: "vehicleRegistrationNation"
                caption: qsTr("Страна:")
                upperCase: true
            }
            CalibrationField {
                controller: tab.controller
                parameterName: "vehicleIdentificationNumber"
                caption: "VIN:"
                upperCase: true
            }
            CalibrationField {
                controller: tab.controller
                parameterName: "VehicleRegistrationNumber"
                caption: qsTr("Рег. номер:")
                upperCase: true
                // Only Latin look-alikes reach the unit's code page; a Cyrillic letter would arrive as "?".
                allowedText: /^[0-9 ABEKMHOPCTYXabekmhopctyx]*$/
                showRegistrationAbsentCheck: true
                registrationAbsent: tab.registrationAbsent
                inputEnabled: !tab.registrationAbsent
                onRegistrationAbsenceToggled: (checked) => {
                    if (checked) {
                        tab.registrationAbsent = true
                        registrationConfirm.open()
                    } else {
                        tab.registrationAbsent = false
                    }
                }
            }
            CalibrationField {
                controller: tab.controller
                parameterName: "kConstantOfRecordingEquipment"
                caption: "K (imp/km):"
                actionText: "K"
                onActionClicked: {
                    // Without the adjustment session the unit refuses its counter.
                    if (!tab.controller.connected || tab.controller.busy)
                        return
                    tab.controller.startAdjustment()
                    kDialog.open()
                }
            }
            CalibrationField {
                controller: tab.controller
                parameterName: "SpeedAuthorised"
                caption: qsTr("Макс. скорость:")
            }
        }
        ColumnLayout {
            Layout.fillWidth: true
            Layout.preferredWidth: 1
            Layout.alignment: Qt.AlignTop
            spacing: Math.round(6 * Theme.uiScale)
            CalibrationField {
                controller: tab.controller
                parameterName: "PulsesPerRevolutionOfOutputShaft"
                labelWidth: Math.round(175 * Theme.uiScale)
                caption: qsTr("Вал (имп/1000 об.):")
                choiceValues: tab.ratioChoices
            }
            CalibrationField {
                controller: tab.controller
                parameterName: "wVehicleCharacteristicConstant"
                labelWidth: Math.round(175 * Theme.uiScale)
                caption: "W (imp/km):"
                readOnly: true
            }
            CalibrationField {
                controller: tab.controller
                parameterName: "lTyreCircumference"
                labelWidth: Math.round(175 * Theme.uiScale)
                caption: qsTr("Шины L (мм):")
                actionText: "L"
                onActionClicked: tab.calculateL()
            }
            CalibrationField {
                controller: tab.controller
                parameterName: "HighResOdometer"
                labelWidth: Math.round(175 * Theme.uiScale)
                caption: qsTr("Одометр:")
            }
            CalibrationField {
                id: tyreField
                controller: tab.controller
                parameterName: "tyreSize"
                labelWidth: Math.round(175 * Theme.uiScale)
                caption: qsTr("Маркировка шин:")
            }
        }
    }

    KMeasurementDialog {
        id: kDialog
        controller: tab.controller
    }
    AppMessageDialog {
        id: tabMessage
        objectName: "tachographTabMessage"
    }
    AppMessageDialog {
        id: registrationConfirm
        objectName: "registrationConfirmDialog"
        question: true
        title: qsTr("Подтверждение")
        text: qsTr("Вы уверены, что хотите пропустить запись рег. номера в тахограф? Его текущее значение останется без изменений.")
        acceptText: qsTr("Да, пропустить")
        rejectText: qsTr("Отмена")
        onAnswered: (yes) => {
            if (!yes)
                tab.registrationAbsent = false
        }
        onRejected: tab.registrationAbsent = false
    }
}
