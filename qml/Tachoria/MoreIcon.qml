import QtQuick
import QtQuick.Shapes
import Tachoria 1.0

// Three dots, drawn rather than taken from a font, so that no font can lack them.
Item {
    id: icon
    property color color: Theme.text
    implicitWidth: Math.round(20 * Theme.uiScale)
    implicitHeight: implicitWidth
    Repeater {
        model: 3
        Rectangle {
            width: Math.max(3, Math.round(icon.width / 6))
            height: width
            radius: width / 2
            color: icon.color
            x: (icon.width - width) / 2
            y: icon.height * (index + 1) / 4 - height / 2
        }
    }
}
