import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The journal's files and, for a chosen one, its records with filters and a search.
AppDialog {
    id: dialog
    objectName: "logViewer"
    title: "Журнал программы"
    closePolicy: Popup.CloseOnEscape
    property bool maximised: false
    property var files: []
    property string shownFile: ""
    readonly property var filters: [["all", "Все"], ["errors", "Ошибки"], ["protocol", "Протокол"],
                                    ["bluetooth", "Bluetooth"], ["calibration", "Калибровка"],
                                    ["download", "Выгрузка"], ["firmware.update", "Обновление ПО"],
                                    ["other", "Прочее"]]
    property string filter: "all"
    width: maximised && parent ? parent.width : Math.min(Math.round(980 * Theme.uiScale), parent ? parent.width - 40 : 980)
    height: maximised && parent ? parent.height : Math.min(Math.round(640 * Theme.uiScale), parent ? parent.height - 40 : 640)

    function showFiles() {
        shownFile = ""
        files = settings.logFiles()
    }
    function showFile(path) {
        shownFile = path
        applyFilter()
        settings.showLogFile(path)
    }
    function applyFilter() {
        settings.logEntryModel.setFilter(filter, searchField.text)
    }
    onOpened: showFiles()

    contentItem: ColumnLayout {
        spacing: Math.round(8 * Theme.uiScale)
        RowLayout {
            Layout.fillWidth: true
            AppButton {
                objectName: "logBackToFiles"
                visible: dialog.shownFile.length > 0
                compact: true
                text: "‹ К списку файлов"
                onClicked: dialog.showFiles()
            }
            AppLabel {
                Layout.fillWidth: true
                secondary: true
                text: dialog.shownFile.length === 0 ? "Файлов: " + dialog.files.length
                      : dialog.settings && dialog.settings.logLoading
                        ? dialog.shownFile.split("/").pop() + ": чтение журнала..."
                        : dialog.shownFile.split("/").pop() + ": " + entries.count + " из "
                          + (dialog.settings ? dialog.settings.logEntryModel.totalCount : 0)
                elide: Text.ElideMiddle
                wrapMode: Text.NoWrap
            }
            AppButton {
                objectName: "logMaximise"
                compact: true
                text: dialog.maximised ? "Восстановить размер" : "На весь экран"
                onClicked: dialog.maximised = !dialog.maximised
            }
        }

        // The files
        ListView {
            id: fileList
            objectName: "logFileList"
            visible: dialog.shownFile.length === 0
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: dialog.files
            ScrollBar.vertical: ScrollBar {}
            delegate: ItemDelegate {
                objectName: "logFile_" + modelData.name
                width: fileList.width
                contentItem: RowLayout {
                    AppLabel {
                        Layout.fillWidth: true
                        text: modelData.name
                        wrapMode: Text.NoWrap
                        elide: Text.ElideRight
                    }
                    AppLabel {
                        secondary: true
                        text: modelData.modified
                    }
                    AppLabel {
                        secondary: true
                        horizontalAlignment: Text.AlignRight
                        Layout.preferredWidth: Math.round(100 * Theme.uiScale)
                        text: modelData.size
                    }
                }
                background: Rectangle {
                    color: parent.hovered ? Theme.selection : (index % 2 ? Theme.surfaceAlt : Theme.surface)
                }
                onClicked: dialog.showFile(modelData.path)
            }
            AppLabel {
                anchors.centerIn: parent
                visible: fileList.count === 0
                secondary: true
                text: "Файлы журнала не найдены"
            }
        }

        // The records of one file
        Flow {
            Layout.fillWidth: true
            visible: dialog.shownFile.length > 0
            spacing: Math.round(6 * Theme.uiScale)
            Repeater {
                model: dialog.filters
                AppButton {
                    objectName: "logFilter_" + modelData[0]
                    compact: true
                    text: modelData[1]
                    selected: dialog.filter === modelData[0]
                    onClicked: {
                        dialog.filter = modelData[0]
                        dialog.applyFilter()
                    }
                }
            }
        }
        AppTextField {
            id: searchField
            objectName: "logSearch"
            visible: dialog.shownFile.length > 0
            Layout.fillWidth: true
            placeholderText: "Поиск по времени, уровню, категории, операции и тексту"
            // Tens of thousands of records: the search waits for a pause in the typing.
            onTextChanged: searchPause.restart()
            Timer {
                id: searchPause
                interval: 250
                onTriggered: dialog.applyFilter()
            }
        }
        ListView {
            id: entries
            objectName: "logEntryList"
            visible: dialog.shownFile.length > 0
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: dialog.settings ? dialog.settings.logEntryModel : null
            ScrollBar.vertical: ScrollBar {}
            // The newest records are the ones looked for: a file opens at its end.
            onCountChanged: Qt.callLater(positionViewAtEnd)
            BusyIndicator {
                anchors.centerIn: parent
                running: dialog.settings ? dialog.settings.logLoading : false
                visible: running
            }
            delegate: Rectangle {
                width: entries.width
                height: record.implicitHeight + Math.round(6 * Theme.uiScale)
                color: index % 2 ? Theme.surfaceAlt : Theme.surface
                ColumnLayout {
                    id: record
                    anchors.left: parent.left
                    anchors.right: parent.right
                    anchors.verticalCenter: parent.verticalCenter
                    anchors.leftMargin: Math.round(6 * Theme.uiScale)
                    anchors.rightMargin: Math.round(6 * Theme.uiScale)
                    spacing: 0
                    AppLabel {
                        Layout.fillWidth: true
                        font.pixelSize: Math.max(11, Theme.uiPixelSize - 3)
                        secondary: true
                        wrapMode: Text.NoWrap
                        elide: Text.ElideRight
                        text: timestampDisplay + "  " + level + "  " + category
                              + (operation && operation.length > 0 ? " · " + operation : "")
                        color: level === "error" || level === "critical" ? Theme.error
                               : level === "warning" ? Theme.warning : Theme.secondaryText
                    }
                    AppLabel {
                        Layout.fillWidth: true
                        font.pixelSize: Math.max(11, Theme.uiPixelSize - 2)
                        text: message
                        wrapMode: Text.WrapAnywhere
                    }
                }
            }
        }
        RowLayout {
            Layout.alignment: Qt.AlignRight
            AppButton {
                objectName: "logOpenFolder"
                text: "Открыть папку"
                onClicked: dialog.settings.openLogFolder()
            }
            AppButton {
                objectName: "logCloseButton"
                text: "Закрыть"
                onClicked: dialog.close()
            }
        }
    }
}
