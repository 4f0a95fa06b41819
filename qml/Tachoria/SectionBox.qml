import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// A titled group of a form.
Rectangle {
    id: box
    property string title
    default property alias content: inner.data
    Layout.fillWidth: true
    implicitHeight: inner.implicitHeight + heading.implicitHeight + 3 * padding
    readonly property int padding: Math.round(12 * Theme.uiScale)
    color: Theme.surface
    border.width: 1
    border.color: Theme.border
    radius: Math.max(1, Math.round(3 * Theme.uiScale))

    Label {
        id: heading
        x: box.padding
        y: box.padding
        width: box.width - 2 * box.padding
        text: box.title
        visible: text.length > 0
        font.pixelSize: Theme.uiPixelSize + 1
        font.bold: true
        color: Theme.secondaryText
        elide: Text.ElideRight
    }
    ColumnLayout {
        id: inner
        x: box.padding
        y: heading.y + (heading.visible ? heading.height + box.padding : 0)
        width: box.width - 2 * box.padding
        spacing: Math.round(10 * Theme.uiScale)
    }
}
