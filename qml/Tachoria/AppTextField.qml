import QtQuick
import QtQuick.Controls
import Tachoria 1.0

// A one-line input; `invalid` draws it in the error colours.
TextField {
    id: field
    property bool invalid: false
    font.pixelSize: Theme.uiPixelSize
    color: enabled ? Theme.text : Theme.disabledText
    placeholderTextColor: Theme.mutedText
    selectionColor: Theme.selection
    selectedTextColor: Theme.text
    implicitHeight: Math.max(32, Math.round(38 * Theme.uiScale))
    leftPadding: Math.round(8 * Theme.uiScale)
    rightPadding: Math.round(8 * Theme.uiScale)
    selectByMouse: true
    background: Rectangle {
        color: !field.enabled ? Theme.disabledSurface : field.invalid ? Theme.errorSurface : Theme.input
        border.width: field.activeFocus ? 2 : 1
        border.color: field.invalid ? Theme.errorBorder : field.activeFocus ? Theme.accent : Theme.border
        radius: Math.max(1, Math.round(2 * Theme.uiScale))
    }
}
