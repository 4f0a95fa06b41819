import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The phone's search for Bluetooth devices, as a plain layer that swallows all input meanwhile.
Item {
    id: layer
    property var app: null
    property bool portrait: height > width
    anchors.fill: parent
    z: 900
    visible: app ? app.bluetoothSearchActive : false

    Rectangle {
        anchors.fill: parent
        color: Theme.modalOverlay
    }
    MouseArea {
        anchors.fill: parent
        acceptedButtons: Qt.AllButtons
        onWheel: (wheel) => wheel.accepted = true
    }
    Rectangle {
        anchors.centerIn: parent
        width: Math.max(Math.round(290 * Theme.uiScale),
                        Math.min(parent.width - Math.round(24 * Theme.uiScale),
                                 Math.round((layer.portrait ? 460 : 560) * Theme.uiScale)))
        height: column.implicitHeight + Math.round(28 * Theme.uiScale)
        color: Theme.surface
        border.color: Theme.border
        ColumnLayout {
            id: column
            anchors.fill: parent
            anchors.margins: Math.round(14 * Theme.uiScale)
            spacing: Math.round(10 * Theme.uiScale)
            RowLayout {
                BusyIndicator {
                    running: layer.visible
                    implicitWidth: Math.round(32 * Theme.uiScale)
                    implicitHeight: implicitWidth
                }
                AppLabel {
                    Layout.fillWidth: true
                    text: "Поиск Bluetooth-устройств..."
                }
            }
            AppButton {
                Layout.alignment: Qt.AlignRight
                text: "Отмена"
                onClicked: if (layer.app) layer.app.cancelBluetoothSearch()
            }
        }
    }
}
