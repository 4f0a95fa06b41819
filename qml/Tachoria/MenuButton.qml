import QtQuick
import Tachoria 1.0

// A tile of the main menu. A plain item, not a Button: the Fusion button on a phone keeps a clipped
// diagonal layer through rotation.
Item {
    id: tile
    property string text
    property url iconSource
    // Why the tile cannot be used now; shown under its text while it is disabled.
    property string disabledReason
    property bool dense: false
    property bool compactTile: false
    property bool landscape: false
    property real tileScale: Theme.uiScale
    signal clicked()

    readonly property int iconSize: Math.round((landscape ? 66 : dense ? 38 : compactTile ? 48 : 64) * tileScale)
    readonly property int iconPlace: Math.round((landscape ? 72 : dense ? 42 : compactTile ? 52 : 70) * tileScale)
    implicitWidth: Math.round(260 * tileScale)
    implicitHeight: Math.round((landscape ? 128 : dense ? 72 : compactTile ? 92 : 160) * tileScale)
    readonly property int minimumHeight: Math.round((landscape ? 118 : dense ? 68 : compactTile ? 86 : 160) * tileScale)
    readonly property int maximumHeight: Math.round((landscape ? 142 : dense ? 82 : compactTile ? 108 : 184) * tileScale)
    activeFocusOnTab: true
    Accessible.role: Accessible.Button
    Accessible.name: text

    Keys.onPressed: (event) => {
        if (tile.enabled && (event.key === Qt.Key_Return || event.key === Qt.Key_Enter
                             || event.key === Qt.Key_Space)) {
            tile.clicked()
            event.accepted = true
        }
    }

    Rectangle {
        anchors.fill: parent
        radius: Math.max(2, Math.round(4 * tile.tileScale))
        color: !tile.enabled ? Theme.disabledSurface
               : mouse.pressed ? Theme.buttonPressed
               : mouse.containsMouse ? Theme.buttonHover : Theme.surface
        border.width: tile.activeFocus ? 2 : 1
        border.color: tile.activeFocus ? Theme.accent : Theme.border
    }

    Column {
        anchors.centerIn: parent
        width: parent.width - Math.round(16 * tile.tileScale)
        spacing: Math.round(6 * tile.tileScale)
        Item {
            width: parent.width
            height: tile.iconPlace
            Image {
                anchors.centerIn: parent
                source: tile.iconSource
                width: tile.iconSize
                height: tile.iconSize
                sourceSize.width: tile.iconSize
                sourceSize.height: tile.iconSize
                fillMode: Image.PreserveAspectFit
                opacity: tile.enabled ? 1.0 : 0.55
                smooth: true
            }
        }
        Text {
            width: parent.width
            text: tile.text
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            font.pixelSize: Math.max(Theme.uiPixelSize + 4, Math.round(20 * tile.tileScale))
            color: tile.enabled ? Theme.text : Theme.disabledText
        }
        Text {
            objectName: "disabledReason"
            width: parent.width
            visible: !tile.enabled && tile.disabledReason.length > 0
            text: tile.disabledReason
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            elide: Text.ElideRight
            maximumLineCount: 2
            font.pixelSize: Math.max(11, Theme.uiPixelSize - 3)
            color: Theme.mutedText
        }
    }

    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        enabled: tile.enabled
        cursorShape: tile.enabled ? Qt.PointingHandCursor : Qt.ArrowCursor
        onClicked: {
            tile.forceActiveFocus()
            tile.clicked()
        }
    }
}
