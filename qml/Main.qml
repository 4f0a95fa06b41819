import QtQuick
import QtQuick.Controls
import QtQuick.Window
import Tachoria 1.0

// The window: the page stack with the main menu at its root, and the layers that live as long as it.
ApplicationWindow {
    id: window
    width: Qt.platform.os === "android" ? Screen.width : 1280
    height: Qt.platform.os === "android"
            ? (app.settings.fullScreen ? Screen.height : Screen.desktopAvailableHeight) : 720
    visible: true
    visibility: app.settings.fullScreen ? Window.FullScreen : Window.AutomaticVisibility
    title: pages.currentItem && pages.currentItem.pageTitle ? pages.currentItem.pageTitle : "Норвелика: Тахория"
    color: Theme.window

    // Fusion's own controls take the same palette, or they keep black text in the dark theme.
    palette.window: Theme.window
    palette.windowText: Theme.text
    palette.base: Theme.input
    palette.alternateBase: Theme.surfaceAlt
    palette.text: Theme.text
    palette.button: Theme.button
    palette.buttonText: Theme.buttonText
    palette.mid: Theme.paletteMid
    palette.dark: Theme.paletteDark
    palette.light: Theme.paletteLight
    palette.highlight: Theme.accent
    palette.highlightedText: "#ffffff"
    palette.placeholderText: Theme.mutedText

    Binding {
        target: Theme
        property: "mode"
        value: app.settings.theme === "Dark" ? "Dark" : "Light"
    }
    Binding {
        target: Theme
        property: "uiScale"
        value: app.settings.uiScale
    }
    Binding {
        target: Theme
        property: "uiPixelSize"
        value: app.settings.uiPixelSize
    }

    // The context's controller under a name that the page items' own `app` properties do not shadow.
    readonly property var controller: app

    // Components by file name: a page is compiled once however often it opens.
    property var pageComponents: ({})

    function openPage(fileName, pauseMonitoring) {
        if (pages.busy)
            return null
        var component = pageComponents[fileName]
        if (!component) {
            component = Qt.createComponent(fileName, Component.PreferSynchronous)
            if (component.status !== Component.Ready) {
                app.writeDiagnosticLog("Не удалось открыть " + fileName + ": " + component.errorString())
                return null
            }
            pageComponents[fileName] = component
        }
        if (pauseMonitoring)
            app.pauseDeviceMonitoring()
        // A hidden window draws no frames, so a transition there would never end.
        var page = pages.push(component, { app: app, navigationStack: pages },
                              window.visible ? StackView.PushTransition : StackView.Immediate)
        if (!page && pauseMonitoring)
            app.resumeDeviceMonitoring()
        return page
    }

    // A calibration page that hands its record to the documents: the page opens once the handler that
    // asked has closed its own page and the stack rests.
    function openRequestedDocuments() {
        if (app.documents.requestedId <= 0 || pages.busy)
            return
        if (pages.currentItem && pages.currentItem.objectName === "documentsPage")
            pages.currentItem.openRequested()
        else if (!openPage("DocumentsPage.qml", false))
            app.documents.takeRequestedId()
    }
    Connections {
        target: app.documents
        function onRequestedIdChanged() { Qt.callLater(window.openRequestedDocuments) }
    }

    Shortcut {
        sequence: "F1"
        context: Qt.WindowShortcut
        onActivated: app.openUserGuide()
    }

    StackView {
        id: pages
        objectName: "navigationStack"
        anchors.fill: parent
        onBusyChanged: if (!busy) window.openRequestedDocuments()
        initialItem: MainMenu {
            app: window.controller
            navigationStack: pages
            onCalibrationRequested: {
                if (!app.tachoriaStampConfigured()) {
                    tachoriaStampDialog.open()
                    return
                }
                window.openPage("CalibrationPage.qml", true)
            }
            onDownloadRequested: window.openPage("DownloadPage.qml", true)
            onDddRequested: window.openPage("DddPage.qml", false)
            onDocumentsRequested: window.openPage("DocumentsPage.qml", false)
            onSettingsRequested: window.openPage("SettingsPage.qml", false)
            onExitRequested: app.quit()
        }
    }

    TransportSelectionDialog {
        id: transportSelectionDialog
        app: window.controller
    }
    BluetoothSearchDialog {
        id: bluetoothSearchDialog
        app: window.controller
    }
    BluetoothDeviceDialog {
        id: bluetoothDeviceDialog
        app: window.controller
        onDeviceSelected: (address) => app.selectBluetoothDevice(address)
    }
    AppMessageDialog {
        id: tachoriaStampDialog
        objectName: "tachoriaStampDialog"
        title: "Отсутствуют данные мастерской"
        text: "Перед началом настройки тахографа необходимо заполнить данные мастерской в настройках программы!"
    }

    onClosing: (close) => {
        if (Qt.platform.os !== "android")
            return
        if (bluetoothSearchDialog.visible) {
            app.writeDiagnosticLog("Системное закрытие окна перехвачено во время поиска устройств")
            close.accepted = false
            return
        }
        if (bluetoothDeviceDialog.opened && app.bluetoothSelectionRequired) {
            app.writeDiagnosticLog("Системное закрытие окна перехвачено, пока требуется выбор Bluetooth-устройства")
            close.accepted = false
            return
        }
        if (transportSelectionDialog.visible && transportSelectionDialog.required) {
            close.accepted = false
            return
        }
        if (pages.depth > 1) {
            close.accepted = false
            pages.currentItem.backRequested()
        }
    }
}
