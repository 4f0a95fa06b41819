import QtQuick
import Tachoria 1.0

// A check box that shows a value kept elsewhere: a click asks for the change through `toggledTo`, and
// the box then shows the value again, whether the change went through or not.
AppCheckBox {
    id: box
    property bool value: false
    signal toggledTo(bool checked)
    checked: value
    onToggled: {
        toggledTo(checked)
        checked = Qt.binding(function() { return box.value })
    }
}
