import QtQuick
import QtQuick.Controls
import Tachoria 1.0

CheckBox {
    id: box
    font.pixelSize: Theme.uiPixelSize
    spacing: Math.round(8 * Theme.uiScale)
    indicator: Rectangle {
        implicitWidth: Math.max(18, Math.round(22 * Theme.uiScale))
        implicitHeight: implicitWidth
        x: box.leftPadding
        y: (box.height - height) / 2
        radius: Math.max(1, Math.round(2 * Theme.uiScale))
        color: box.enabled ? Theme.input : Theme.disabledSurface
        border.width: box.activeFocus ? 2 : 1
        border.color: box.activeFocus ? Theme.accent : Theme.borderStrong
        Text {
            anchors.centerIn: parent
            text: "✓"
            visible: box.checked
            color: box.enabled ? Theme.accent : Theme.disabledText
            font.pixelSize: Math.round(parent.height * 0.8)
            font.bold: true
        }
    }
    contentItem: Text {
        text: box.text
        font: box.font
        color: box.enabled ? Theme.text : Theme.disabledText
        verticalAlignment: Text.AlignVCenter
        leftPadding: box.indicator.width + box.spacing
        wrapMode: Text.WordWrap
    }
}
