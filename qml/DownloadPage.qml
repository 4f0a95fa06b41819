import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The download: what to take from the unit and for which period, the run with its progress, and the
// files the download folder holds. The page holds the port from its opening to its closing.
PageFrame {
    id: page
    objectName: "downloadPage"
    pageTitle: "Выгрузка тахографа"
    readonly property var controller: app ? app.download : null
    property bool leaving: false
    // What the run reported, line by line; kept for a closer look, not shown.
    property string runLog: ""
    onBackRequested: closePage()

    function closePage() {
        if (leaving)
            return
        leaving = true
        // The run ends before the page lets the port go.
        controller.stop()
        popPage()
        app.resumeDeviceMonitoring()
    }

    function startDownload() {
        if (controller.externalCard) {
            pinDialog.open()
            return
        }
        runLog = ""
        controller.start()
    }

    Connections {
        target: page.controller
        function onLogLine(text) {
            page.runLog += text + "\n"
        }
    }

    footerComponent: RowLayout {
        spacing: Math.round(8 * Theme.uiScale)
        AppButton {
            objectName: "downloadStartButton"
            text: "Выгрузка"
            prominent: true
            // The scan's worker may still hold the port it was told to let go.
            enabled: page.controller && !page.controller.running && page.app && !page.app.monitoringBusy
            onClicked: page.startDownload()
        }
        AppButton {
            objectName: "downloadStopButton"
            text: "Остановить"
            enabled: page.controller && page.controller.running
            onClicked: page.controller.stop()
        }
        AppButton {
            objectName: "downloadFolderButton"
            visible: Qt.platform.os !== "android"
            text: "Папка выгрузки"
            enabled: page.controller && !page.controller.running
            ToolTip.visible: hovered
            ToolTip.delay: 600
            ToolTip.text: "Открыть папку с выгруженными файлами .ddd"
            onClicked: page.controller.openDownloadFolder()
        }
        AppButton {
            objectName: "downloadFilesButton"
            text: "Файлы .ddd"
            ToolTip.visible: hovered
            ToolTip.delay: 600
            ToolTip.text: "Просмотреть, передать или открыть выгруженный файл .ddd"
            onClicked: filesDialog.open()
        }
        Item { Layout.fillWidth: true }
        AppButton {
            objectName: "downloadExitButton"
            text: "Выход"
            onClicked: page.closePage()
        }
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: Math.round(12 * Theme.uiScale)

        SectionBox {
            title: "Тахограф"
            Layout.alignment: Qt.AlignTop
            Layout.preferredWidth: 1
            ValueCheckBox {
                objectName: "needTacho"
                text: "Выгружать тахограф"
                value: page.controller ? page.controller.needTacho : false
                enabled: page.controller && page.controller.needTachoEnabled && !page.controller.running
                onToggledTo: (checked) => page.controller.needTacho = checked
            }
            SectionBox {
                title: "Блоки данных"
                enabled: page.controller && page.controller.requestBlocksEnabled && !page.controller.running
                AppCheckBox {
                    objectName: "blockOverview"
                    text: "Обзор"
                    checked: page.controller ? page.controller.requestOverview : true
                    enabled: false
                }
                Repeater {
                    model: [["blockActivities", "Деятельность водителей", "requestActivities"],
                            ["blockEvents", "События и ошибки", "requestEvents"],
                            ["blockSpeed", "Детальная скорость", "requestDetailedSpeed"],
                            ["blockTechnical", "Технические данные", "requestTechnicalData"]]
                    ValueCheckBox {
                        objectName: modelData[0]
                        text: modelData[1]
                        value: page.controller ? page.controller[modelData[2]] : false
                        onToggledTo: (checked) => page.controller[modelData[2]] = checked
                    }
                }
            }
        }

        ColumnLayout {
            Layout.alignment: Qt.AlignTop
            Layout.preferredWidth: 1
            Layout.fillWidth: true
            spacing: Math.round(12 * Theme.uiScale)
            SectionBox {
                title: "Режим выгрузки"
                enabled: page.controller && !page.controller.running
                ValueCheckBox {
                    objectName: "newNkm"
                    text: "В тахографе установлен\nНКМ 2.10 или новее"
                    value: page.controller ? page.controller.newNkm : true
                    onToggledTo: (checked) => page.controller.newNkm = checked
                }
                ButtonGroup {
                    id: modeGroup
                }
                Repeater {
                    model: [["modeAll", "Всё", "all"], ["modeFromLast", "От последней выгрузки", "fromLast"],
                            ["modeRange", "В диапазоне", "range"]]
                    RadioButton {
                        objectName: modelData[0]
                        text: modelData[1] + (modelData[2] === "fromLast" && page.controller
                                              && page.controller.lastDownloadDate.length > 0
                                              ? " (" + page.controller.lastDownloadDate + ")" : "")
                        font.pixelSize: Theme.uiPixelSize
                        ButtonGroup.group: modeGroup
                        checked: page.controller ? page.controller.downloadMode === modelData[2] : false
                        onClicked: {
                            page.controller.downloadMode = modelData[2]
                            checked = Qt.binding(function() {
                                return page.controller ? page.controller.downloadMode === modelData[2] : false
                            })
                        }
                        contentItem: Text {
                            text: parent.text
                            font: parent.font
                            color: parent.enabled ? Theme.text : Theme.disabledText
                            leftPadding: parent.indicator.width + parent.spacing
                            verticalAlignment: Text.AlignVCenter
                        }
                    }
                }
                RowLayout {
                    spacing: Math.round(8 * Theme.uiScale)
                    readonly property bool rangeMode: page.controller ? page.controller.downloadMode === "range" : false
                    AppLabel { text: "с"; enabled: parent.rangeMode }
                    AppTextField {
                        objectName: "fromDate"
                        Layout.preferredWidth: Math.round(150 * Theme.uiScale)
                        maximumLength: 10
                        placeholderText: "ДД.ММ.ГГГГ"
                        enabled: parent.rangeMode
                        text: page.controller ? page.controller.fromDate : ""
                        ToolTip.visible: hovered
                        ToolTip.delay: 600
                        ToolTip.text: "Дата начала периода, формат ДД.ММ.ГГГГ."
                        onTextEdited: page.controller.fromDate = text
                    }
                    AppLabel { text: "по"; enabled: parent.rangeMode }
                    AppTextField {
                        objectName: "toDate"
                        Layout.preferredWidth: Math.round(150 * Theme.uiScale)
                        maximumLength: 10
                        placeholderText: "ДД.ММ.ГГГГ"
                        enabled: parent.rangeMode
                        text: page.controller ? page.controller.toDate : ""
                        ToolTip.visible: hovered
                        ToolTip.delay: 600
                        ToolTip.text: "Дата окончания периода, формат ДД.ММ.ГГГГ."
                        onTextEdited: page.controller.toDate = text
                    }
                }
            }
            SectionBox {
                title: "СКЗИ"
                ValueCheckBox {
                    objectName: "needNkm"
                    text: "Выгружать СКЗИ"
                    value: page.controller ? page.controller.needNkm : false
                    enabled: page.controller && page.controller.needNkmEnabled && !page.controller.running
                    onToggledTo: (checked) => page.controller.needNkm = checked
                }
            }
            // Kept for a later release: the form has it, the window does not show it yet.
            SectionBox {
                title: "Карта"
                visible: false
                ValueCheckBox {
                    objectName: "needCard"
                    text: "Выгружать карту"
                    value: page.controller ? page.controller.needCard : false
                    enabled: page.controller && page.controller.needCardEnabled
                    onToggledTo: (checked) => page.controller.needCard = checked
                }
                ValueCheckBox {
                    objectName: "externalCard"
                    text: "Внешняя карта"
                    value: page.controller ? page.controller.externalCard : false
                    enabled: page.controller && page.controller.externalCardEnabled && page.controller.needCard
                    onToggledTo: (checked) => page.controller.externalCard = checked
                }
                ValueCheckBox {
                    objectName: "onlyCard"
                    text: "Только карту"
                    visible: page.controller ? page.controller.onlyCardVisible : false
                    value: page.controller ? page.controller.onlyCard : false
                    onToggledTo: (checked) => page.controller.onlyCard = checked
                }
            }
        }
    }

    SectionBox {
        title: "Ход выгрузки"
        ProgressBar {
            id: bar
            objectName: "downloadProgress"
            Layout.fillWidth: true
            from: 0
            to: 100
            value: page.controller ? Math.max(0, page.controller.progress) : 0
            indeterminate: page.controller ? page.controller.progress < 0 : false
            implicitHeight: Math.max(10, Math.round(16 * Theme.uiScale))
            background: Rectangle {
                color: Theme.input
                border.color: Theme.border
                radius: Math.max(1, Math.round(2 * Theme.uiScale))
            }
            contentItem: Item {
                Rectangle {
                    visible: !bar.indeterminate
                    width: bar.visualPosition * parent.width
                    height: parent.height
                    radius: Math.max(1, Math.round(2 * Theme.uiScale))
                    color: Theme.accent
                }
                Rectangle {
                    id: runner
                    visible: bar.indeterminate
                    width: parent.width / 4
                    height: parent.height
                    radius: Math.max(1, Math.round(2 * Theme.uiScale))
                    color: Theme.accent
                    XAnimator on x {
                        running: bar.indeterminate && bar.visible
                        from: 0
                        to: bar.width - runner.width
                        duration: 1200
                        loops: Animation.Infinite
                    }
                }
            }
        }
        RowLayout {
            Layout.fillWidth: true
            AppLabel {
                objectName: "downloadStatus"
                Layout.fillWidth: true
                visible: page.controller && (page.controller.running || page.controller.lastError.length > 0)
                text: page.controller ? page.controller.statusText : ""
                color: page.controller && page.controller.lastError.length > 0 ? Theme.error : Theme.text
            }
            AppLabel {
                objectName: "downloadProgressText"
                visible: page.controller && page.controller.running && page.controller.progress >= 0
                text: page.controller ? page.controller.progress + " %" : ""
                secondary: true
            }
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: Math.round(8 * Theme.uiScale)
            visible: page.controller && !page.controller.running && page.controller.outputPath.length > 0
                     && page.controller.lastError.length === 0
            AppLabel {
                objectName: "downloadResult"
                Layout.fillWidth: true
                text: page.controller ? "Выгрузка завершена. Файл: " + page.controller.outputPath.replace(/^.*[\/\\]/, "") : ""
                color: Theme.success
                wrapMode: Text.WrapAnywhere
            }
            AppButton {
                objectName: "downloadDecodeButton"
                text: "Расшифровать"
                compact: true
                visible: page.app && page.app.pageAvailable("DddPage.qml")
                enabled: page.app && page.app.ddd && !page.app.ddd.busy
                onClicked: filesDialog.openDecoding(page.controller.outputPath)
            }
        }
    }

    PinDialog {
        id: pinDialog
        objectName: "downloadPinDialog"
        controller: page.controller
        onPinAccepted: {
            page.runLog = ""
            page.controller.start()
        }
    }
    DddFilePreviewDialog {
        id: filesDialog
        app: page.app
        controller: page.controller
        navigationStack: page.navigationStack
    }
}
