import QtQuick
import QtQuick.Controls
import Tachoria 1.0

// A tab of a page's TabBar: as wide as its text, the chosen one marked by the accent line below.
TabButton {
    id: tabButton
    font.pixelSize: Theme.uiPixelSize
    width: Math.max(Math.ceil(tabText.advanceWidth) + Math.round(32 * Theme.uiScale), Math.round(120 * Theme.uiScale))
    TextMetrics {
        id: tabText
        font: tabButton.font
        text: tabButton.text
    }
    contentItem: Text {
        text: tabButton.text
        font: tabButton.font
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        color: !tabButton.enabled ? Theme.disabledText : tabButton.checked ? Theme.text : Theme.secondaryText
        elide: Text.ElideRight
    }
    background: Rectangle {
        color: tabButton.checked ? Theme.surface : (tabButton.hovered ? Theme.buttonHover : Theme.window)
        border.color: Theme.border
        Rectangle {
            visible: tabButton.checked
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.bottom: parent.bottom
            height: Math.max(2, Math.round(3 * Theme.uiScale))
            color: Theme.accent
        }
    }
}
