import QtQuick
import QtQuick.Layouts
import Tachoria 1.0

// A label on the left and, after it, the row's own controls (which set their Layout sizes).
RowLayout {
    property alias label: caption.text
    property int labelWidth: Math.round(250 * Theme.uiScale)
    spacing: Math.round(10 * Theme.uiScale)
    Layout.fillWidth: true

    AppLabel {
        id: caption
        Layout.preferredWidth: labelWidth
        Layout.alignment: Qt.AlignVCenter
    }
}
