import QtQuick
import QtQuick.Layouts
import Tachoria 1.0

// The phone's choice of carrier. A plain layer in the window, not a popup: a popup vanishes when the
// phone's activity loses focus for a moment.
Item {
    id: layer
    property var app: null
    readonly property bool required: app ? app.androidTransportSelectionRequired : false
    property bool portrait: height > width
    anchors.fill: parent
    z: 2000
    visible: required
    signal transportSelected(string mode)

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
        width: Math.max(Math.round(280 * Theme.uiScale),
                        Math.min(parent.width - Math.round(24 * Theme.uiScale),
                                 Math.round((layer.portrait ? 440 : 560) * Theme.uiScale)))
        height: column.implicitHeight + Math.round(28 * Theme.uiScale)
        color: Theme.surface
        border.color: Theme.border
        ColumnLayout {
            id: column
            anchors.fill: parent
            anchors.margins: Math.round(14 * Theme.uiScale)
            spacing: Math.round(10 * Theme.uiScale)
            AppLabel {
                Layout.fillWidth: true
                text: "Выберите способ подключения к тахографу"
                font.bold: true
            }
            Repeater {
                model: [{ mode: "bluetooth", title: "Bluetooth" }, { mode: "vcom", title: "USB VCOM" },
                        { mode: "tcp", title: "TCP" }]
                AppButton {
                    Layout.fillWidth: true
                    visible: modelData.mode !== "tcp" || !!(layer.app && layer.app.androidTcpDebugAvailable)
                    text: modelData.title
                    onClicked: {
                        layer.transportSelected(modelData.mode)
                        if (layer.app)
                            layer.app.selectAndroidTransport(modelData.mode)
                    }
                }
            }
        }
    }
}
