import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The .ddd files of the download folder, newest first, with a short decoded summary of the chosen one;
// from here a file goes to the decoding page, or, opened on that page itself, into it.
AppDialog {
    id: dialog
    objectName: "dddFilesDialog"
    property var app: null
    property var controller: null
    property var navigationStack: null
    property var files: []
    property string selectedPath: ""
    property var preview: null
    property string previewPath: ""
    property string failureText: ""
    title: "Файлы .ddd"
    closePolicy: Popup.CloseOnEscape
    width: Math.min(760, Math.max(310, (Overlay.overlay ? Overlay.overlay.width : 800) * 0.94))
    height: Math.min(760, Math.max(360, (Overlay.overlay ? Overlay.overlay.height : 600) * 0.90))

    readonly property var selectedFile: {
        for (var i = 0; i < files.length; ++i) {
            if (files[i].path === selectedPath)
                return files[i]
        }
        return null
    }
    readonly property bool decoderBusy: app && app.ddd ? app.ddd.busy === true : false
    readonly property bool decodingPageAvailable: app ? app.pageAvailable("DddPage.qml") && app.ddd !== undefined : false

    // The choice stays on its file across a refresh; without it, the newest file is chosen.
    function refresh() {
        files = controller ? controller.downloadedDddFiles() : []
        var keep = ""
        for (var i = 0; i < files.length; ++i) {
            if (files[i].path === selectedPath)
                keep = selectedPath
        }
        select(keep.length > 0 ? keep : (files.length > 0 ? files[0].path : ""))
    }
    function select(path) {
        if (path === selectedPath && preview !== null)
            return
        selectedPath = path
        preview = null
        previewPath = ""
        var file = selectedFile
        if (file && file.decodable) {
            previewPath = path
            controller.previewDddFile(path)
        }
    }
    function previewText() {
        if (!selectedFile)
            return ""
        if (!selectedFile.decodable)
            return "Этот файл не поддерживается расшифровкой .ddd."
        if (preview === null)
            return "Читаем файл..."
        if (!preview.decoded)
            return preview.error.length > 0 ? preview.error : "Файл не удалось прочитать."
        var lines = []
        if (preview.vin.length > 0)
            lines.push("VIN: " + preview.vin)
        if (preview.registrationNumber.length > 0)
            lines.push("Рег. номер: " + preview.registrationNumber)
        if (preview.cardNumber.length > 0)
            lines.push("Карта: " + preview.cardNumber)
        if (preview.driverName.length > 0)
            lines.push("Водитель: " + preview.driverName)
        if (preview.dataStartDate.length > 0 || preview.dataEndDate.length > 0)
            lines.push("Период: " + preview.dataStartDate + " — " + preview.dataEndDate)
        lines.push("Блоков данных: " + preview.blockCount)
        return lines.join("\n")
    }
    function decode() {
        var file = selectedFile
        if (!file)
            return
        if (!file.decodable) {
            message.show("Файлы .ddd", "Этот файл не поддерживается расшифровкой .ddd.")
            return
        }
        if (!navigationStack) {
            // On the decoding page: the file opens there.
            if (!app.ddd.openFile(file.path)) {
                message.show("Файлы .ddd", app.ddd.lastError.length > 0 ? app.ddd.lastError
                                                                         : "Не удалось открыть выбранный файл .ddd.")
                return
            }
            close()
            return
        }
        openDecoding(file.path)
    }
    // The decoding page with this file, over the page that holds the dialog.
    function openDecoding(path) {
        if (navigationStack.busy) {
            message.show("Файлы .ddd", "Не удалось открыть экран расшифровки. Повторите попытку.")
            return
        }
        var component = Qt.createComponent("DddPage.qml", Component.PreferSynchronous)
        if (component.status !== Component.Ready) {
            message.show("Файлы .ddd", "Не удалось открыть экран расшифровки.")
            return
        }
        if (!app.ddd.openFile(path)) {
            message.show("Файлы .ddd", app.ddd.lastError.length > 0 ? app.ddd.lastError
                                                                     : "Не удалось открыть выбранный файл .ddd.")
            return
        }
        // Closed before the push: the page that holds this dialog is hidden by it, and a dialog of a
        // hidden page would keep its shade over the new one.
        close()
        // The download page below still owns the port and gives it back when it closes.
        var pushed = navigationStack.push(component, { app: app, navigationStack: navigationStack,
                                                       resumeMonitoringOnClose: false })
        if (!pushed)
            message.show("Файлы .ddd", "Не удалось открыть экран расшифровки.")
    }

    onOpened: {
        failureText = ""
        refresh()
    }
    Connections {
        target: dialog.controller
        function onPreviewReady(path, summary) {
            if (path === dialog.previewPath)
                dialog.preview = summary
        }
    }

    contentItem: ColumnLayout {
        spacing: Math.round(10 * Theme.uiScale)
        ListView {
            id: list
            objectName: "dddFileList"
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: dialog.files
            ScrollBar.vertical: ScrollBar {}
            delegate: Rectangle {
                objectName: "dddFile_" + index
                width: list.width - Math.round(12 * Theme.uiScale)
                height: texts.implicitHeight + Math.round(12 * Theme.uiScale)
                color: modelData.path === dialog.selectedPath ? Theme.selection
                       : index % 2 ? Theme.surfaceAlt : Theme.surface
                ColumnLayout {
                    id: texts
                    anchors.left: parent.left
                    anchors.right: parent.right
                    anchors.verticalCenter: parent.verticalCenter
                    anchors.leftMargin: Math.round(8 * Theme.uiScale)
                    anchors.rightMargin: Math.round(8 * Theme.uiScale)
                    spacing: Math.round(2 * Theme.uiScale)
                    AppLabel {
                        Layout.fillWidth: true
                        text: modelData.name
                        font.bold: true
                        wrapMode: Text.WrapAnywhere
                    }
                    AppLabel {
                        Layout.fillWidth: true
                        text: "Тип: " + modelData.kind + "    Дата: " + modelData.modified + "    Размер: " + modelData.size
                        secondary: true
                        font.pixelSize: Math.max(12, Theme.uiPixelSize - 2)
                    }
                }
                MouseArea {
                    anchors.fill: parent
                    onClicked: dialog.select(modelData.path)
                    onDoubleClicked: {
                        dialog.select(modelData.path)
                        if (decodeButton.enabled)
                            dialog.decode()
                    }
                }
            }
        }
        AppLabel {
            objectName: "dddFilesEmpty"
            visible: dialog.files.length === 0
            Layout.fillWidth: true
            text: "В папке выгрузки пока нет файлов .ddd"
            secondary: true
        }
        Rectangle {
            visible: dialog.selectedFile !== null
            Layout.fillWidth: true
            implicitHeight: previewLabel.implicitHeight + Math.round(16 * Theme.uiScale)
            color: Theme.surfaceAlt
            border.color: Theme.border
            radius: Math.max(1, Math.round(2 * Theme.uiScale))
            AppLabel {
                id: previewLabel
                objectName: "dddFilePreview"
                anchors.fill: parent
                anchors.margins: Math.round(8 * Theme.uiScale)
                text: dialog.previewText()
            }
        }
        AppLabel {
            objectName: "dddFilesFailure"
            visible: dialog.failureText.length > 0
            Layout.fillWidth: true
            text: dialog.failureText
            color: Theme.error
        }
        RowLayout {
            Layout.alignment: Qt.AlignRight
            spacing: Math.round(8 * Theme.uiScale)
            AppButton {
                objectName: "dddFilesRefresh"
                text: "Обновить"
                compact: true
                onClicked: dialog.refresh()
            }
            AppButton {
                objectName: "dddFilesShare"
                text: "Поделиться"
                compact: true
                enabled: dialog.selectedFile !== null
                onClicked: {
                    if (!dialog.controller.shareDddFile(dialog.selectedPath))
                        dialog.failureText = dialog.controller.lastError
                }
            }
            AppButton {
                id: decodeButton
                objectName: "dddFilesDecode"
                text: "Расшифровать"
                compact: true
                enabled: dialog.selectedFile !== null && dialog.decodingPageAvailable && !dialog.decoderBusy
                ToolTip.visible: hovered && !dialog.decodingPageAvailable
                ToolTip.delay: 600
                ToolTip.text: "Экран расшифровки в разработке"
                onClicked: dialog.decode()
            }
            AppButton {
                objectName: "dddFilesClose"
                text: "Закрыть"
                compact: true
                onClicked: dialog.close()
            }
        }
    }

    AppMessageDialog {
        id: message
        objectName: "dddFilesMessage"
    }
}
