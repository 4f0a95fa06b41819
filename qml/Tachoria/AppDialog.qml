import QtQuick
import QtQuick.Controls
import Tachoria 1.0

// A modal dialog centred on the window. It is anchored rather than placed by coordinates, which are
// not reliable before the overlay has its final height.
Dialog {
    id: dialog
    property var settings: null
    modal: true
    anchors.centerIn: Overlay.overlay
    padding: Math.round(14 * Theme.uiScale)
    font.pixelSize: Theme.uiPixelSize
    Overlay.modal: Rectangle {
        color: Theme.modalOverlay
    }
    background: Rectangle {
        color: Theme.surface
        border.width: 1
        border.color: Theme.border
        radius: Math.max(1, Math.round(2 * Theme.uiScale))
    }
    header: Label {
        visible: dialog.title.length > 0
        text: dialog.title
        font.pixelSize: Theme.uiPixelSize + Math.max(2, Math.round(2 * Theme.uiScale))
        font.bold: true
        color: Theme.text
        padding: dialog.padding
        bottomPadding: 0
        // Neither eliding nor wrapping: either makes the title's width feed back into the dialog's.
    }
}
