import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The phone's choice among found Bluetooth devices. It opens itself again if anything but its own
// buttons closed it while a choice is still required: such lost layers were a real fault.
AppDialog {
    id: dialog
    property var app: null
    property bool explicitCloseRequested: false
    readonly property bool selectionRequired: app ? app.bluetoothSelectionRequired : false
    signal deviceSelected(string address)
    title: "Выберите тахограф"
    closePolicy: Popup.NoAutoClose

    function log(text) {
        if (app)
            app.writeDiagnosticLog(text)
    }
    function showIfRequired() {
        if (selectionRequired && !opened) {
            explicitCloseRequested = false
            open()
            log("Форма выбора открыта")
        }
    }
    onVisibleChanged: log("Изменение visible формы выбора: visible=" + visible + " required=" + selectionRequired
                          + " explicit=" + explicitCloseRequested)
    onClosed: {
        if (!explicitCloseRequested && selectionRequired) {
            log("Неявное закрытие слоя выбора обнаружено; форма будет открыта повторно")
            Qt.callLater(showIfRequired)
        }
    }

    Connections {
        target: dialog.app
        function onBluetoothDevicesChanged() { dialog.showIfRequired() }
        function onBluetoothSelectionRequiredChanged() { dialog.showIfRequired() }
    }

    contentItem: ColumnLayout {
        spacing: Math.round(8 * Theme.uiScale)
        Repeater {
            model: dialog.app ? dialog.app.bluetoothDevices : []
            AppButton {
                Layout.fillWidth: true
                text: modelData.name + "\n" + modelData.address
                onClicked: {
                    dialog.explicitCloseRequested = true
                    dialog.close()
                    dialog.deviceSelected(modelData.address)
                }
            }
        }
        AppButton {
            Layout.alignment: Qt.AlignRight
            text: "Отмена"
            onClicked: {
                dialog.explicitCloseRequested = true
                dialog.close()
                if (dialog.app)
                    dialog.app.cancelBluetoothSelection()
            }
        }
    }
}
