import QtQuick
import QtQuick.Controls
import Tachoria 1.0

// Text of a form or a panel in the theme's colours.
Label {
    property bool secondary: false
    color: !enabled ? Theme.disabledText : secondary ? Theme.secondaryText : Theme.text
    font.pixelSize: Theme.uiPixelSize
    wrapMode: Text.WordWrap
}
