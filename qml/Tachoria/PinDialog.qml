import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// Asks for the PIN of a card in the reader and hands it to the controller.
AppDialog {
    id: dialog
    property var controller: null
    signal pinAccepted()
    title: "Введите ПИН карты"
    closePolicy: Popup.CloseOnEscape
    onOpened: {
        pinField.text = ""
        pinField.forceActiveFocus()
    }

    function acceptPin() {
        if (pinField.text.length < 1)
            return
        if (controller)
            controller.cardPin = pinField.text
        close()
        pinAccepted()
    }

    contentItem: ColumnLayout {
        spacing: Math.round(12 * Theme.uiScale)
        AppTextField {
            id: pinField
            objectName: "pinField"
            Layout.preferredWidth: Math.round(260 * Theme.uiScale)
            echoMode: TextInput.Password
            maximumLength: 8
            inputMethodHints: Qt.ImhDigitsOnly
            validator: RegularExpressionValidator { regularExpression: /^[0-9]{0,8}$/ }
            // On hover only: shown on focus it would cover the title as the dialog opens.
            ToolTip.visible: hovered
            ToolTip.text: "ПИН карты: от 1 до 8 цифр."
            onAccepted: dialog.acceptPin()
        }
        RowLayout {
            Layout.alignment: Qt.AlignRight
            AppButton {
                objectName: "pinAcceptButton"
                text: "ОК"
                prominent: true
                enabled: pinField.text.length > 0
                onClicked: dialog.acceptPin()
            }
            AppButton {
                objectName: "pinCancelButton"
                text: "Отмена"
                onClicked: dialog.close()
            }
        }
    }
}
