import QtQuick
import QtQuick.Controls
import QtQuick.Window
import Tachoria 1.0

// Made by --qml-pages-test with the real controller: every page of the program is built and laid out
// once in both themes, so that a warning of any page fails the test.
Window {
    id: root
    property var app: null
    width: 1280
    height: 720
    visible: true
    color: Theme.window

    Binding { target: Theme; property: "uiScale"; value: root.app ? root.app.settings.uiScale : 1.0 }
    Binding { target: Theme; property: "uiPixelSize"; value: root.app ? root.app.settings.uiPixelSize : 16 }

    readonly property var pageFiles: ["MainMenu.qml", "SettingsPage.qml", "CalibrationPage.qml", "DownloadPage.qml",
                                      "DddPage.qml", "DocumentsPage.qml"]

    StackView {
        id: stack
        anchors.fill: parent
    }

    Repeater {
        model: root.app ? root.pageFiles.filter(function(file) { return root.app.pageAvailable(file) }) : []
        Loader {
            width: root.width
            height: root.height
            visible: false
            source: modelData
            onLoaded: {
                // A page test never touches a port: the calibration page does not read on its own.
                if (item.autoRead !== undefined)
                    item.autoRead = false
                item.app = root.app
                item.navigationStack = stack
            }
        }
    }

    // Both looks: a binding that only breaks in one of them is found too.
    Timer {
        interval: 100
        running: true
        onTriggered: Theme.mode = Theme.dark ? "Light" : "Dark"
    }
}
