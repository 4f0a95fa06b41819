import QtQuick
import QtQuick.Controls
import Tachoria 1.0

// The push button of every page.
Button {
    id: control
    property bool compact: false
    property bool prominent: false
    // One of a group that is chosen now (a filter, a mode): marked without changing the button's size.
    property bool selected: false
    property color foregroundColor: "transparent"

    font.pixelSize: Math.max(Theme.uiPixelSize, prominent ? 18 : compact ? 17 : 16)
    implicitHeight: Math.max(32, Math.round((prominent ? 46 : compact ? 34 : 40) * Theme.uiScale))
    // Measured apart from the wrapped label, whose own width would feed back into the button's.
    implicitWidth: Math.max(Math.round((compact ? 92 : 118) * Theme.uiScale), 1,
                            Math.min(Math.ceil(metrics.advanceWidth) + leftPadding + rightPadding + 2,
                                     Math.round(420 * Theme.uiScale)))
    leftPadding: Math.round(10 * Theme.uiScale)
    rightPadding: Math.round(10 * Theme.uiScale)
    topPadding: Math.round(4 * Theme.uiScale)
    bottomPadding: Math.round(4 * Theme.uiScale)
    hoverEnabled: true

    TextMetrics {
        id: metrics
        font: control.font
        text: control.text
    }

    contentItem: Text {
        text: control.text
        font: control.font
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.WordWrap
        elide: Text.ElideRight
        maximumLineCount: 2
        color: !control.enabled ? Theme.disabledText
               : control.foregroundColor.a > 0 ? control.foregroundColor : Theme.buttonText
    }

    background: Rectangle {
        radius: Math.max(1, Math.round(3 * Theme.uiScale))
        color: !control.enabled ? Theme.disabledSurface
               : control.down ? Theme.buttonPressed
               : control.selected ? Theme.selection
               : control.hovered ? Theme.buttonHover : Theme.button
        border.width: control.activeFocus || control.prominent || control.selected ? 2 : 1
        border.color: control.activeFocus ? Theme.accent
                      : (control.prominent || control.selected) && control.enabled ? Theme.accent : Theme.border
    }
}
