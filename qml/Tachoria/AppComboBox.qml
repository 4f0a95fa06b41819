import QtQuick
import QtQuick.Controls
import Tachoria 1.0

// A choice from a fixed list, shown by its text. A value the list lacks (a printer since removed) is
// still shown as it stands, so that nothing the master stored silently changes.
ComboBox {
    id: combo
    property string value
    signal chosen(string value)

    font.pixelSize: Theme.uiPixelSize
    implicitHeight: Math.max(32, Math.round(38 * Theme.uiScale))
    // The count takes part so that the choice is found again when the list changes.
    currentIndex: count >= 0 ? find(value) : -1
    displayText: currentIndex >= 0 ? currentText : value
    onActivated: (index) => {
        chosen(textAt(index))
        // The pick itself broke the binding: the shown choice follows the value again, also when the
        // value refused the pick.
        currentIndex = Qt.binding(function() { return combo.count >= 0 ? combo.find(combo.value) : -1 })
    }

    palette.text: Theme.text
    palette.buttonText: Theme.text
    palette.base: Theme.input
    palette.button: Theme.button
    palette.window: Theme.surface
    palette.highlight: Theme.selection
    palette.highlightedText: Theme.text

    delegate: ItemDelegate {
        width: combo.width
        height: Math.max(30, Math.round(34 * Theme.uiScale))
        highlighted: combo.highlightedIndex === index
        contentItem: Text {
            text: modelData
            font: combo.font
            color: Theme.text
            elide: Text.ElideRight
            verticalAlignment: Text.AlignVCenter
        }
        background: Rectangle {
            color: highlighted ? Theme.selection : Theme.surface
        }
    }
}
