import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The .ddd files already downloaded, newest first: a click selects one, "Открыть" decodes it on the DDD page.
AppDialog {
    id: dialog
    objectName: "dddFilePreviewDialog"
    title: "Файлы .ddd"
    property var app: null
    property var files: []
    property int selected: -1
    property string errorText: ""
    signal fileOpened(string path)
    closePolicy: Popup.CloseOnEscape

    function refresh() {
        if (!app) {
            files = []
        } else if (app.download && app.download.downloadedDddFiles) {
            files = app.download.downloadedDddFiles()
        } else {
            files = app.ddd.downloadedDddFiles()
        }
        selected = files.length > 0 ? 0 : -1
        errorText = ""
    }
    function openSelected() {
        if (selected < 0 || selected >= files.length) {
            errorText = "Выберите файл из списка"
            return
        }
        var path = files[selected].path
        if (app.ddd.openFile(path)) {
            close()
            fileOpened(path)
            return
        }
        errorText = app.ddd.lastError.length > 0 ? app.ddd.lastError : "Не удалось открыть файл"
    }
    onAboutToShow: refresh()

    contentItem: ColumnLayout {
        spacing: Math.round(10 * Theme.uiScale)
        implicitWidth: Math.round(640 * Theme.uiScale)

        ListView {
            id: list
            objectName: "dddFileList"
            Layout.fillWidth: true
            Layout.preferredHeight: Math.round(320 * Theme.uiScale)
            clip: true
            model: dialog.files
            ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }
            delegate: Rectangle {
                objectName: "dddFile_" + index
                width: list.width
                height: Math.max(34, Math.round(40 * Theme.uiScale))
                color: index === dialog.selected ? Theme.selection : index % 2 === 0 ? Theme.surface : Theme.surfaceAlt
                RowLayout {
                    anchors.fill: parent
                    anchors.leftMargin: Math.round(8 * Theme.uiScale)
                    anchors.rightMargin: Math.round(8 * Theme.uiScale)
                    spacing: Math.round(12 * Theme.uiScale)
                    AppLabel {
                        Layout.fillWidth: true
                        text: modelData.name
                        elide: Text.ElideMiddle
                        wrapMode: Text.NoWrap
                    }
                    AppLabel {
                        text: modelData.modified
                        secondary: true
                        wrapMode: Text.NoWrap
                    }
                    AppLabel {
                        Layout.preferredWidth: Math.round(90 * Theme.uiScale)
                        horizontalAlignment: Text.AlignRight
                        text: modelData.size
                        secondary: true
                        wrapMode: Text.NoWrap
                    }
                }
                TapHandler {
                    onTapped: dialog.selected = index
                    onDoubleTapped: {
                        dialog.selected = index
                        dialog.openSelected()
                    }
                }
            }
        }
        AppLabel {
            objectName: "dddFileListEmpty"
            visible: dialog.files.length === 0
            text: "В папке выгрузки нет файлов .ddd"
            secondary: true
        }
        AppLabel {
            objectName: "dddFileListError"
            visible: text.length > 0
            Layout.fillWidth: true
            text: dialog.errorText
            color: Theme.error
        }
        RowLayout {
            Layout.alignment: Qt.AlignRight
            spacing: Math.round(8 * Theme.uiScale)
            AppButton {
                objectName: "dddFileFolderButton"
                text: "Открыть папку"
                onClicked: dialog.app.ddd.openDataFolder()
            }
            AppButton {
                objectName: "dddFileOpenButton"
                text: "Открыть"
                prominent: true
                enabled: dialog.selected >= 0
                onClicked: dialog.openSelected()
            }
            AppButton {
                objectName: "dddFileCloseButton"
                text: "Закрыть"
                onClicked: dialog.close()
            }
        }
    }
}
