import QtQuick
import QtQuick.Controls
import QtQuick.Dialogs
import QtQuick.Layouts
import Tachoria 1.0

// The program's settings: ports, the service shop's data and directories, card reader, printers, look,
// the journal and the synchronisation with another installation. Changes stay in memory until
// "Сохранить"; the theme and the font apply at once.
PageFrame {
    id: page
    objectName: "settingsPage"
    pageTitle: "Настройки программы"
    readonly property var settings: app ? app.settings : null
    readonly property var portSpeeds: ["115200", "9600", "10400"]
    readonly property var ladderSpeeds: ["10400", "9600", "19200", "38400", "57600", "115200", "230400", "460800",
                                         "921600"]
    onBackRequested: closePage()

    function closePage() {
        if (settings && settings.hasUnsavedChanges) {
            leaveDialog.open()
            return
        }
        popPage()
    }

    function folderUrl(path) {
        return "file://" + (path.startsWith("/") ? "" : "/") + path
    }

    function saveSettings(announce) {
        if (settings.save()) {
            if (announce) {
                messageDialog.failure = false
                messageDialog.show("Настройки сохранены", "Данные мастерской и настройки успешно сохранены.")
            }
            return true
        }
        messageDialog.failure = true
        messageDialog.show("Ошибка сохранения",
                           settings.lastError.length > 0 ? settings.lastError : "Не удалось сохранить настройки.")
        return false
    }

    footerComponent: RowLayout {
        spacing: Math.round(12 * Theme.uiScale)
        AppLabel {
            objectName: "settingsErrorLine"
            Layout.fillWidth: true
            text: page.settings ? page.settings.lastError : ""
            color: Theme.error
            elide: Text.ElideRight
            maximumLineCount: 2
        }
        AppButton {
            objectName: "settingsSaveButton"
            text: "Сохранить"
            prominent: true
            onClicked: page.saveSettings(true)
        }
    }

    TabBar {
        id: tabs
        objectName: "settingsTabs"
        Layout.fillWidth: true
        font.pixelSize: Theme.uiPixelSize
        background: Rectangle { color: Theme.window }
        Repeater {
            model: [["tabPorts", "Порты"], ["tabShop", "Данные мастерской"], ["tabCards", "Карточки"],
                    ["tabPrinters", "Принтеры"], ["tabLook", "Внешний вид"], ["tabProgram", "Программа"]]
            AppTabButton {
                objectName: modelData[0]
                text: modelData[1]
            }
        }
    }

    StackLayout {
        id: tabPages
        Layout.fillWidth: true
        currentIndex: tabs.currentIndex

        // Ports
        ColumnLayout {
            spacing: Math.round(12 * Theme.uiScale)
            SectionBox {
                title: "Настройка тахографа"
                FormRow {
                    label: "Порт:"
                    AppChoiceField {
                        objectName: "calibrationPort"
                        Layout.fillWidth: true
                        value: page.settings ? page.settings.calibrationPort : ""
                        model: page.settings ? page.settings.ports : []
                        onEdited: (value) => page.settings.calibrationPort = value
                    }
                }
                FormRow {
                    label: "Скорость, бод:"
                    AppComboBox {
                        objectName: "calibrationBaud"
                        Layout.preferredWidth: Math.round(180 * Theme.uiScale)
                        model: page.portSpeeds
                        value: page.settings ? String(page.settings.calibrationBaud) : ""
                        onChosen: (value) => page.settings.calibrationBaud = parseInt(value)
                    }
                }
            }
            SectionBox {
                title: "Выгрузка данных"
                FormRow {
                    label: "Порт:"
                    AppChoiceField {
                        objectName: "downloadPort"
                        Layout.fillWidth: true
                        value: page.settings ? page.settings.downloadPort : ""
                        model: page.settings ? page.settings.ports : []
                        onEdited: (value) => page.settings.downloadPort = value
                    }
                }
                FormRow {
                    label: "Начальная скорость, бод:"
                    AppComboBox {
                        objectName: "downloadStartBaud"
                        Layout.preferredWidth: Math.round(180 * Theme.uiScale)
                        model: page.ladderSpeeds
                        value: page.settings ? String(page.settings.downloadStartBaud) : ""
                        onChosen: (value) => page.settings.downloadStartBaud = parseInt(value)
                    }
                }
                FormRow {
                    label: "Наибольшая скорость, бод:"
                    AppComboBox {
                        objectName: "downloadMaxBaud"
                        Layout.preferredWidth: Math.round(180 * Theme.uiScale)
                        model: page.ladderSpeeds
                        value: page.settings ? String(page.settings.downloadMaxBaud) : ""
                        onChosen: (value) => page.settings.downloadMaxBaud = parseInt(value)
                    }
                }
            }
            SectionBox {
                title: "Адаптер Ралона"
                AppCheckBox {
                    objectName: "useRalona"
                    text: "Работать через адаптер Ралона"
                    checked: page.settings ? page.settings.useRalona : false
                    onToggled: page.settings.useRalona = checked
                }
                FormRow {
                    label: "Порт адаптера:"
                    AppChoiceField {
                        objectName: "ralonaPort"
                        Layout.fillWidth: true
                        value: page.settings ? page.settings.ralonaPort : ""
                        model: page.settings ? page.settings.ports : []
                        onEdited: (value) => page.settings.ralonaPort = value
                    }
                }
                RowLayout {
                    spacing: Math.round(10 * Theme.uiScale)
                    AppButton {
                        objectName: "findRalonaButton"
                        text: "Найти Ралону"
                        onClicked: page.settings.findRalona()
                    }
                    AppButton {
                        objectName: "refreshPortsButton"
                        text: "Обновить список портов"
                        onClicked: page.settings.refreshDevices()
                    }
                }
            }
        }

        // The service shop
        ColumnLayout {
            spacing: Math.round(12 * Theme.uiScale)
            SectionBox {
                title: "Данные мастерской для сертификатов"
                FormRow {
                    label: "Наименование мастерской:"
                    AppTextField {
                        objectName: "shopName"
                        Layout.fillWidth: true
                        maximumLength: 100
                        text: page.settings ? page.settings.tachoriaName : ""
                        onTextEdited: page.settings.tachoriaName = text
                    }
                }
                FormRow {
                    label: "Индекс:"
                    AppTextField {
                        objectName: "shopPost"
                        Layout.preferredWidth: Math.round(160 * Theme.uiScale)
                        validator: RegularExpressionValidator { regularExpression: /^[0-9]{0,6}$/ }
                        text: page.settings ? page.settings.tachoriaPost : ""
                        onTextEdited: page.settings.tachoriaPost = text
                    }
                }
                FormRow {
                    label: "Город:"
                    AppTextField {
                        objectName: "shopCity"
                        Layout.fillWidth: true
                        maximumLength: 100
                        text: page.settings ? page.settings.tachoriaCity : ""
                        onTextEdited: page.settings.tachoriaCity = text
                    }
                }
                FormRow {
                    label: "Улица, дом:"
                    AppTextField {
                        objectName: "shopStreet"
                        Layout.fillWidth: true
                        maximumLength: 150
                        text: page.settings ? page.settings.tachoriaStreet : ""
                        onTextEdited: page.settings.tachoriaStreet = text
                    }
                }
                FormRow {
                    label: "Телефон:"
                    AppTextField {
                        objectName: "shopPhone"
                        Layout.preferredWidth: Math.round(260 * Theme.uiScale)
                        placeholderText: "+7 (000) 000-00-00"
                        validator: RegularExpressionValidator { regularExpression: /^[0-9+() .-]{0,32}$/ }
                        text: page.settings ? page.settings.tachoriaPhone : ""
                        onTextEdited: page.settings.tachoriaPhone = text
                    }
                }
                FormRow {
                    label: "Допуск РФ № (клеймо):"
                    AppTextField {
                        objectName: "shopMark"
                        Layout.preferredWidth: Math.round(160 * Theme.uiScale)
                        validator: RegularExpressionValidator { regularExpression: /^[0-9]{0,5}$/ }
                        text: page.settings ? page.settings.tachoriaMark : ""
                        onTextEdited: page.settings.tachoriaMark = text
                    }
                }
                FormRow {
                    label: "Номер в перечне мастерских:"
                    AppTextField {
                        objectName: "shopNumber"
                        Layout.preferredWidth: Math.round(160 * Theme.uiScale)
                        maximumLength: 20
                        text: page.settings ? page.settings.tachoriaNumber : ""
                        onTextEdited: page.settings.tachoriaNumber = text
                    }
                }
            }
            SectionBox {
                title: "Справочники"
                RowLayout {
                    spacing: Math.round(10 * Theme.uiScale)
                    AppButton {
                        objectName: "mastersButton"
                        text: "Справочник мастеров"
                        onClicked: masterDirectory.open()
                    }
                    AppButton {
                        objectName: "customersButton"
                        text: "Справочник клиентов"
                        onClicked: customerDirectory.open()
                    }
                }
            }
        }

        // Cards
        ColumnLayout {
            SectionBox {
                title: "Считыватель смарт-карт"
                FormRow {
                    label: "Считыватель:"
                    AppComboBox {
                        objectName: "cardReader"
                        Layout.fillWidth: true
                        model: page.settings ? page.settings.readers : []
                        value: page.settings ? page.settings.cardReader : ""
                        onChosen: (value) => page.settings.cardReader = value
                    }
                }
                AppButton {
                    objectName: "refreshReadersButton"
                    text: "Обновить список"
                    onClicked: page.settings.refreshDevices()
                }
            }
        }

        // Printers
        ColumnLayout {
            SectionBox {
                title: "Печать"
                FormRow {
                    label: "Принтер для сертификатов:"
                    AppComboBox {
                        objectName: "printerAct"
                        Layout.fillWidth: true
                        model: page.settings ? page.settings.printers : []
                        value: page.settings ? page.settings.printerAct : ""
                        onChosen: (value) => page.settings.printerAct = value
                    }
                }
                FormRow {
                    label: "Принтер для наклеек:"
                    AppComboBox {
                        objectName: "printerLabel"
                        Layout.fillWidth: true
                        model: page.settings ? page.settings.printers : []
                        value: page.settings ? page.settings.printerLabel : ""
                        onChosen: (value) => page.settings.printerLabel = value
                    }
                }
                AppButton {
                    objectName: "refreshPrintersButton"
                    text: "Обновить список"
                    onClicked: page.settings.refreshDevices()
                }
            }
        }

        // Look
        ColumnLayout {
            SectionBox {
                title: "Оформление"
                FormRow {
                    label: "Тема:"
                    AppComboBox {
                        objectName: "themeBox"
                        Layout.preferredWidth: Math.round(220 * Theme.uiScale)
                        model: ["Светлая", "Тёмная"]
                        value: page.settings && page.settings.theme === "Dark" ? "Тёмная" : "Светлая"
                        onChosen: (value) => page.settings.theme = (value === "Тёмная" ? "Dark" : "Light")
                    }
                }
                AppLabel {
                    Layout.fillWidth: true
                    secondary: true
                    text: "Оформление применяется сразу, а после сохранения сохранится для следующего запуска."
                }
            }
        }

        // The program: the journal and the program's behaviour, beside the synchronisation
        RowLayout {
            spacing: Math.round(12 * Theme.uiScale)
            ColumnLayout {
                Layout.alignment: Qt.AlignTop
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                spacing: Math.round(12 * Theme.uiScale)
                SectionBox {
                    title: "Журнал"
                    AppCheckBox {
                        objectName: "logEnabled"
                        text: "Записывать протокол"
                        checked: page.settings ? page.settings.logEnabled : true
                        onToggled: page.settings.logEnabled = checked
                    }
                    RowLayout {
                        spacing: Math.round(10 * Theme.uiScale)
                        AppButton {
                            objectName: "logViewerButton"
                            text: "Просмотр логов"
                            onClicked: logViewer.open()
                        }
                        AppButton {
                            objectName: "clearLogButton"
                            text: "Очистить лог"
                            onClicked: clearLogDialog.open()
                        }
                    }
                }
                SectionBox {
                    title: "Работа программы"
                    AppCheckBox {
                        objectName: "scanPorts"
                        text: "Сканировать порты при старте ПО"
                        checked: page.settings ? page.settings.scanPorts : true
                        onToggled: page.settings.scanPorts = checked
                    }
                    AppCheckBox {
                        objectName: "fullScreen"
                        text: "Открывать окна на полный экран"
                        checked: page.settings ? page.settings.fullScreen : false
                        onToggled: page.settings.fullScreen = checked
                    }
                    FormRow {
                        label: "Размер шрифта:"
                        SpinBox {
                            id: fontSizeBox
                            objectName: "fontSize"
                            from: 8
                            to: 30
                            editable: true
                            font.pixelSize: Theme.uiPixelSize
                            value: page.settings ? page.settings.fontSize : 12
                            onValueModified: page.settings.fontSize = value
                        }
                    }
                    AppButton {
                        objectName: "openManualButton"
                        text: "Открыть инструкцию (PDF)"
                        onClicked: app.openUserGuide()
                    }
                }
            }
            SectionBox {
                id: syncSection
                objectName: "syncSection"
                title: "Синхронизация"
                Layout.alignment: Qt.AlignTop
                Layout.preferredWidth: 1
                readonly property bool working: page.settings !== null
                                                && (page.settings.syncBusy || page.settings.usbSyncActive)
                GridLayout {
                    Layout.fillWidth: true
                    columns: 2
                    columnSpacing: Math.round(10 * Theme.uiScale)
                    rowSpacing: Math.round(10 * Theme.uiScale)
                    AppButton {
                        objectName: "createSyncPackageButton"
                        Layout.fillWidth: true
                        text: "Создать пакет синхронизации"
                        enabled: !syncSection.working
                        onClicked: page.settings.createSyncPackage()
                    }
                    AppButton {
                        objectName: "importSyncPackageButton"
                        Layout.fillWidth: true
                        text: "Импортировать пакет"
                        enabled: !syncSection.working
                        onClicked: syncPackageDialog.open()
                    }
                    AppButton {
                        objectName: "shareSyncPackageButton"
                        Layout.fillWidth: true
                        text: "Передать последний пакет"
                        enabled: page.settings !== null && page.settings.lastSyncPackage.length > 0
                        onClicked: page.settings.shareSyncPackage("")
                    }
                    AppButton {
                        objectName: "openSyncFolderButton"
                        Layout.fillWidth: true
                        text: "Открыть папку пакетов"
                        onClicked: Qt.openUrlExternally(page.folderUrl(page.settings.syncDirectory))
                    }
                }
                AppLabel {
                    objectName: "syncStatus"
                    Layout.fillWidth: true
                    visible: text.length > 0
                    text: page.settings ? page.settings.syncStatus : ""
                }
                ProgressBar {
                    objectName: "syncBusyBar"
                    Layout.fillWidth: true
                    visible: page.settings !== null && page.settings.syncBusy
                    indeterminate: true
                }
                AppLabel {
                    Layout.fillWidth: true
                    secondary: true
                    text: "Пакеты в папке " + (page.settings ? page.settings.syncDirectory : "") + ":"
                    wrapMode: Text.WrapAnywhere
                }
                Rectangle {
                    Layout.fillWidth: true
                    implicitHeight: Math.round(132 * Theme.uiScale)
                    color: Theme.window
                    border.color: Theme.border
                    ListView {
                        id: packageList
                        objectName: "syncPackageList"
                        anchors.fill: parent
                        anchors.margins: 1
                        clip: true
                        model: page.settings ? page.settings.syncPackages : []
                        ScrollBar.vertical: ScrollBar {}
                        delegate: AppLabel {
                            objectName: "syncPackage_" + index
                            width: packageList.width
                            leftPadding: Math.round(8 * Theme.uiScale)
                            topPadding: Math.round(3 * Theme.uiScale)
                            bottomPadding: Math.round(3 * Theme.uiScale)
                            elide: Text.ElideMiddle
                            wrapMode: Text.NoWrap
                            text: modelData.substring(modelData.lastIndexOf("/") + 1)
                            font.bold: page.settings !== null && modelData === page.settings.lastSyncPackage
                        }
                    }
                    AppLabel {
                        anchors.centerIn: parent
                        visible: packageList.count === 0
                        secondary: true
                        text: "Пакетов пока нет."
                    }
                }
                RowLayout {
                    Layout.fillWidth: true
                    spacing: Math.round(10 * Theme.uiScale)
                    AppButton {
                        objectName: "usbSyncButton"
                        Layout.fillWidth: true
                        text: "Синхронизировать через MTP"
                        enabled: !syncSection.working
                        onClicked: page.settings.startUsbSync()
                    }
                    AppButton {
                        objectName: "usbSyncCancelButton"
                        text: "Отменить"
                        visible: page.settings !== null && page.settings.usbSyncActive
                        onClicked: page.settings.cancelUsbSync()
                    }
                }
                AppLabel {
                    objectName: "usbSyncStatus"
                    Layout.fillWidth: true
                    visible: text.length > 0
                    text: page.settings ? page.settings.usbSyncStatus : ""
                }
                ProgressBar {
                    objectName: "usbSyncProgressBar"
                    Layout.fillWidth: true
                    visible: page.settings !== null && (page.settings.usbSyncActive || page.settings.usbSyncProgress > 0)
                    from: 0
                    to: 100
                    value: page.settings ? page.settings.usbSyncProgress : 0
                }
            }
        }
    }

    FileDialog {
        id: syncPackageDialog
        objectName: "syncPackageDialog"
        title: "Выбрать пакет синхронизации"
        fileMode: FileDialog.OpenFile
        currentFolder: page.settings ? page.folderUrl(page.settings.syncDirectory) : ""
        nameFilters: ["Пакет Tachoria (*.tsync)"]
        onAccepted: page.settings.selectAndImportSyncPackage(selectedFile)
    }
    MasterDirectoryDialog {
        id: masterDirectory
        settings: page.settings
    }
    CustomerDirectoryDialog {
        id: customerDirectory
        settings: page.settings
    }
    LogViewerDialog {
        id: logViewer
        settings: page.settings
    }
    AppMessageDialog {
        id: messageDialog
        objectName: "settingsMessage"
    }
    AppMessageDialog {
        id: leaveDialog
        objectName: "settingsLeaveDialog"
        question: true
        title: "Изменения в конфигурации"
        text: "Сохранить изменения?\nОформление применяется сразу, а после сохранения сохранится для следующего запуска."
        onAnswered: (yes) => {
            if (yes) {
                if (page.saveSettings(false))
                    page.popPage()
                return
            }
            page.settings.reload()
            page.popPage()
        }
    }
    AppMessageDialog {
        id: clearLogDialog
        objectName: "clearLogDialog"
        question: true
        title: "Очистка журнала"
        text: "Удалить все файлы журнала и записи ротации?"
        onAnswered: (yes) => {
            if (!yes)
                return
            if (page.settings.clearLogFiles()) {
                messageDialog.failure = false
                messageDialog.show("Очистка журнала", "Журнал очищен.")
            } else {
                messageDialog.failure = true
                messageDialog.show("Очистка журнала", page.settings.lastError)
            }
        }
    }
}
