import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import QtQuick.Window
import Tachoria 1.0

// The base of every page: a fixed toolbar with the way back, content that scrolls, and a fixed footer,
// so that long content can never push the page's actions off the screen.
FocusScope {
    id: frame
    property string pageTitle
    property var app: null
    property bool showHeader: true
    property bool backEnabled: true
    property var navigationStack: null
    property int contentMargin: Math.round(12 * Theme.uiScale)
    property int contentSpacing: Math.round(12 * Theme.uiScale)
    property bool contentScrollable: true
    property Component footerComponent: null
    property Component headerTrailingComponent: null
    readonly property int footerContentHeight: footerLoader.item ? footerLoader.item.implicitHeight : 0
    readonly property alias flickable: flick
    default property alias content: contentColumn.data
    signal backRequested()

    function popPage() {
        if (navigationStack && navigationStack.depth > 1) {
            // Down to the page below this one only: a page opened over another returns to it.
            var below = navigationStack.get(Math.max(0, frame.StackView.index - 1))
            // A hidden window draws no frames, so a transition there would never end.
            navigationStack.pop(below, Window.window && Window.window.visible ? StackView.PopTransition
                                                                               : StackView.Immediate)
            return true
        }
        return false
    }

    Rectangle {
        anchors.fill: parent
        color: Theme.window
    }

    Rectangle {
        id: toolbar
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        visible: frame.showHeader
        height: frame.showHeader ? Math.max(42, Math.round(46 * Theme.uiScale)) : 0
        color: Theme.surface
        Rectangle {
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.bottom: parent.bottom
            height: 1
            color: Theme.border
        }
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: Math.round(6 * Theme.uiScale)
            anchors.rightMargin: Math.round(8 * Theme.uiScale)
            spacing: Math.round(8 * Theme.uiScale)
            AppButton {
                objectName: "pageBackButton"
                text: "‹"
                enabled: frame.backEnabled
                compact: true
                implicitWidth: Math.max(36, Math.round(44 * Theme.uiScale))
                implicitHeight: Math.max(32, Math.round(36 * Theme.uiScale))
                font.pixelSize: Math.round(26 * Theme.uiScale)
                Accessible.name: "Назад"
                onClicked: frame.backRequested()
            }
            Label {
                objectName: "pageTitle"
                Layout.fillWidth: true
                text: frame.pageTitle
                font.pixelSize: Theme.uiPixelSize + Math.max(2, Math.round(3 * Theme.uiScale))
                font.bold: true
                color: Theme.text
                elide: Text.ElideRight
            }
            Loader {
                sourceComponent: frame.headerTrailingComponent
            }
        }
    }

    Flickable {
        id: flick
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: toolbar.bottom
        anchors.bottom: footerArea.top
        clip: true
        interactive: frame.contentScrollable
        boundsBehavior: Flickable.StopAtBounds
        contentWidth: width
        contentHeight: frame.contentScrollable ? contentColumn.implicitHeight + 2 * frame.contentMargin : height
        ScrollBar.vertical: ScrollBar {
            policy: flick.contentHeight > flick.height ? ScrollBar.AsNeeded : ScrollBar.AlwaysOff
        }
        ColumnLayout {
            id: contentColumn
            x: frame.contentMargin
            y: frame.contentMargin
            width: flick.width - 2 * frame.contentMargin
            height: frame.contentScrollable ? implicitHeight : flick.height - 2 * frame.contentMargin
            spacing: frame.contentSpacing
        }
    }

    Rectangle {
        id: footerArea
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        height: footerLoader.item ? footerLoader.item.implicitHeight + 2 * frame.contentMargin : 0
        visible: footerLoader.item !== null
        color: Theme.surface
        Rectangle {
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.top: parent.top
            height: 1
            color: Theme.border
        }
        Loader {
            id: footerLoader
            anchors.fill: parent
            anchors.margins: frame.contentMargin
            sourceComponent: frame.footerComponent
        }
    }

    // The wheel scrolls the page even over a text field, which would otherwise swallow it.
    WheelHandler {
        target: null
        acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad
        grabPermissions: PointerHandler.CanTakeOverFromAnything
        enabled: frame.contentScrollable
        onWheel: (event) => {
            var step = event.pixelDelta.y !== 0 ? event.pixelDelta.y
                     : event.angleDelta.y / 120 * Math.max(24, Math.round(48 * Theme.uiScale))
            var limit = Math.max(0, flick.contentHeight - flick.height)
            flick.contentY = Math.max(0, Math.min(limit, flick.contentY - step))
            event.accepted = true
        }
    }
}
