import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The root page: what is connected, the six tiles, the versions and the status line.
Item {
    id: menu
    property var app: null
    property var navigationStack: null
    property string pageTitle: ""
    signal backRequested()
    signal calibrationRequested()
    signal downloadRequested()
    signal dddRequested()
    signal documentsRequested()
    signal settingsRequested()
    signal exitRequested()

    readonly property bool android: Qt.platform.os === "android"
    readonly property bool narrowLayout: android ? height > width : width < Math.round(640 * Theme.uiScale)
    readonly property bool shortLayout: android && width >= height
    readonly property real baseMenuHeight: (narrowLayout ? 900 : shortLayout ? 560 : 500) * Theme.uiScale
    readonly property real fitScale: android ? Math.max(0.55, Math.min(1.0, height / baseMenuHeight)) : 1
    readonly property real menuScale: shortLayout ? Theme.uiScale : Theme.uiScale * fitScale
    readonly property string underConstruction: "Раздел в разработке"

    function s(value) {
        return Math.round(value * menuScale)
    }

    // "Тахограф ОРВИАН. Сер. №: 123" reads "ОРВИАН № 123" under the header's own "Тахограф:".
    function displayConnectedTacho(value) {
        var text = value ? String(value) : ""
        if (text.indexOf("Тахограф ") === 0)
            text = text.substring("Тахограф ".length)
        var series = text.indexOf("Сер.")
        var number = series >= 0 ? text.indexOf("№", series) : -1
        if (series >= 0 && number >= 0) {
            var model = text.substring(0, series).replace(/[.\s]+$/, "")
            var serial = text.substring(number + 1).replace(/^[\s:]+/, "")
            return model + " № " + serial
        }
        return text
    }

    function pageAvailable(fileName) {
        return app ? app.pageAvailable(fileName) : false
    }

    // Why a tile that needs the tachograph is closed now.
    function deviceReason(fileName, permitted) {
        if (!pageAvailable(fileName))
            return underConstruction
        if (!app.deviceFound)
            return app.monitoringBusy ? "Идёт поиск тахографа..." : "Подключите тахограф"
        if (!app.actionsEnabled)
            return "СКЗИ тахографа неисправно"
        return permitted ? "" : "Нужна карта мастерской"
    }

    function pageReason(fileName) {
        if (!pageAvailable(fileName))
            return underConstruction
        return app && !app.actionsEnabled ? "Идёт поиск тахографа..." : ""
    }

    Rectangle {
        anchors.fill: parent
        color: Theme.window
    }

    ColumnLayout {
        id: layout
        anchors.fill: parent
        anchors.margins: menu.s(16)
        spacing: menu.s(12)

        // The header: what is connected; a double click on the logo asks for a new scan.
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: headerRow.implicitHeight + menu.s(20)
            color: Theme.surface
            border.color: Theme.border
            radius: menu.s(4)
            RowLayout {
                id: headerRow
                anchors.fill: parent
                anchors.margins: menu.s(10)
                spacing: menu.s(10)
                Label {
                    text: "Тахограф:"
                    color: Theme.secondaryText
                    font.pixelSize: Math.max(Theme.uiPixelSize + 2, menu.s(20))
                }
                Item {
                    id: titlePlace
                    Layout.fillWidth: true
                    implicitHeight: deviceTitle.implicitHeight
                    clip: true
                    readonly property string title: {
                        var shown = app ? menu.displayConnectedTacho(app.deviceFound ? app.connectedTacho : "") : ""
                        return shown.length > 0 ? shown : (app ? app.connectedTacho : "")
                    }
                    readonly property bool ticker: menu.narrowLayout && deviceTitle.implicitWidth > width
                    Label {
                        id: deviceTitle
                        objectName: "connectedTacho"
                        text: titlePlace.title
                        font.pixelSize: Math.max(Theme.uiPixelSize + 2, menu.s(20))
                        font.bold: true
                        color: app && app.deviceFound ? Theme.text : Theme.mutedText
                        elide: titlePlace.ticker ? Text.ElideNone : Text.ElideRight
                        width: titlePlace.ticker ? implicitWidth : titlePlace.width
                    }
                    Label {
                        visible: titlePlace.ticker
                        x: deviceTitle.x + deviceTitle.implicitWidth + menu.s(48)
                        text: titlePlace.title
                        font: deviceTitle.font
                        color: deviceTitle.color
                    }
                    SequentialAnimation {
                        running: titlePlace.ticker
                        loops: Animation.Infinite
                        onStopped: deviceTitle.x = 0
                        PauseAnimation { duration: 1400 }
                        NumberAnimation {
                            target: deviceTitle
                            property: "x"
                            from: 0
                            to: -(deviceTitle.implicitWidth + menu.s(48))
                            duration: Math.max(5200, titlePlace.width * 12)
                        }
                        PauseAnimation { duration: 1100 }
                    }
                }
                Image {
                    objectName: "logo"
                    source: "qrc:/icons/NV.png"
                    sourceSize.width: menu.s(52)
                    sourceSize.height: menu.s(52)
                    Layout.preferredWidth: menu.s(52)
                    Layout.preferredHeight: menu.s(52)
                    fillMode: Image.PreserveAspectFit
                    MouseArea {
                        anchors.fill: parent
                        onDoubleClicked: rescanDialog.open()
                    }
                }
            }
        }

        // The crypto module and the card in the slot.
        RowLayout {
            Layout.fillWidth: true
            spacing: menu.s(24)
            Label {
                text: "Статус СКЗИ:"
                color: Theme.secondaryText
                font.pixelSize: Theme.uiPixelSize
            }
            Label {
                objectName: "skziStatus"
                text: app ? app.skziStatus : ""
                color: Theme.text
                font.pixelSize: Theme.uiPixelSize
                font.bold: true
            }
            Item { implicitWidth: menu.s(24) }
            Label {
                text: "Карта:"
                color: Theme.secondaryText
                font.pixelSize: Theme.uiPixelSize
            }
            Label {
                objectName: "cardStatus"
                Layout.fillWidth: true
                text: app ? app.cardStatus : ""
                color: Theme.text
                font.pixelSize: Theme.uiPixelSize
                font.bold: true
                elide: Text.ElideRight
            }
        }

        GridLayout {
            id: tiles
            Layout.fillWidth: true
            Layout.fillHeight: true
            columns: menu.android && menu.narrowLayout ? 1 : 3
            rowSpacing: menu.s(12)
            columnSpacing: menu.s(12)

            MenuButton {
                objectName: "calibrationTile"
                text: "Настройка тахографа"
                iconSource: "qrc:/icons/Calibration.png"
                tileScale: menu.menuScale
                enabled: app !== null && app.calibrationAvailable && menu.pageAvailable("CalibrationPage.qml")
                disabledReason: app ? menu.deviceReason("CalibrationPage.qml", app.calibrationAvailable) : ""
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.minimumHeight: minimumHeight
                Layout.maximumHeight: maximumHeight
                onClicked: menu.calibrationRequested()
            }
            MenuButton {
                objectName: "downloadTile"
                text: "Выгрузка тахографа"
                iconSource: "qrc:/icons/Unload.png"
                tileScale: menu.menuScale
                enabled: app !== null && app.downloadAvailable && menu.pageAvailable("DownloadPage.qml")
                disabledReason: app ? menu.deviceReason("DownloadPage.qml", app.downloadAvailable) : ""
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.minimumHeight: minimumHeight
                Layout.maximumHeight: maximumHeight
                onClicked: menu.downloadRequested()
            }
            MenuButton {
                objectName: "dddTile"
                text: "Расшифровка .ddd"
                iconSource: "qrc:/icons/Analytics.png"
                tileScale: menu.menuScale
                enabled: app !== null && app.actionsEnabled && menu.pageAvailable("DddPage.qml")
                disabledReason: menu.pageReason("DddPage.qml")
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.minimumHeight: minimumHeight
                Layout.maximumHeight: maximumHeight
                onClicked: menu.dddRequested()
            }
            MenuButton {
                objectName: "documentsTile"
                text: "Документы"
                iconSource: "qrc:/icons/Docs.png"
                tileScale: menu.menuScale
                enabled: app !== null && app.actionsEnabled && menu.pageAvailable("DocumentsPage.qml")
                disabledReason: menu.pageReason("DocumentsPage.qml")
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.minimumHeight: minimumHeight
                Layout.maximumHeight: maximumHeight
                onClicked: menu.documentsRequested()
            }
            MenuButton {
                objectName: "settingsTile"
                text: "Настройки программы"
                iconSource: "qrc:/icons/Settings.png"
                tileScale: menu.menuScale
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.minimumHeight: minimumHeight
                Layout.maximumHeight: maximumHeight
                onClicked: menu.settingsRequested()
            }
            MenuButton {
                objectName: "exitTile"
                text: "Выход"
                iconSource: "qrc:/icons/Exit.png"
                tileScale: menu.menuScale
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.minimumHeight: minimumHeight
                Layout.maximumHeight: maximumHeight
                onClicked: menu.exitRequested()
            }
        }

        // The program's version on the left, the tachograph's on the right.
        RowLayout {
            Layout.fillWidth: true
            Label {
                objectName: "programVersion"
                Layout.fillWidth: true
                text: "Версия ПО: " + (app ? app.applicationVersion : "")
                      + (app && app.tachoriaUpdateStatus.length > 0 ? " (" + app.tachoriaUpdateStatus + ")" : "")
                color: Theme.secondaryText
                font.pixelSize: Math.max(11, Theme.uiPixelSize - 2)
                elide: Text.ElideRight
                ToolTip.visible: versionMouse.containsMouse && app && app.tachoriaUpdateAvailable
                ToolTip.text: app ? "Доступно обновление Tachoria до версии " + app.availableTachoriaVersion : ""
                MouseArea {
                    id: versionMouse
                    anchors.fill: parent
                    hoverEnabled: true
                    onClicked: menu.offerProgramUpdate()
                }
            }
            Label {
                objectName: "tachographVersion"
                text: app && app.tachographSoftwareVersion.length > 0
                      ? app.tachographSoftwareVersion
                        + (app.tachographFirmwareStatus.length > 0 ? " (" + app.tachographFirmwareStatus + ")" : "")
                      : ""
                color: Theme.secondaryText
                font.pixelSize: Math.max(11, Theme.uiPixelSize - 2)
                ToolTip.visible: firmwareMouse.containsMouse && app && app.firmwareUpdateAvailable
                ToolTip.text: "Для тахографа доступна более новая версия ПО. Скачайте её с сайта " + (app ? app.publisherSite : "")
                MouseArea {
                    id: firmwareMouse
                    anchors.fill: parent
                    hoverEnabled: true
                }
            }
        }

        // The status line.
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: statusLine.implicitHeight + menu.s(10)
            color: Theme.surfaceAlt
            border.color: Theme.border
            Label {
                id: statusLine
                objectName: "statusLine"
                anchors.fill: parent
                anchors.leftMargin: menu.s(8)
                anchors.rightMargin: menu.s(8)
                verticalAlignment: Text.AlignVCenter
                text: app ? app.statusMessage : ""
                color: Theme.text
                font.pixelSize: Math.max(11, Theme.uiPixelSize - 1)
                elide: Text.ElideRight
            }
        }
    }

    // Each offer shows at most once in the program's life, however often its signal comes again.
    property bool firmwareOfferShown: false
    property bool programOfferShown: false
    property bool updateDoneShown: false

    function offerFirmwareUpdate() {
        if (firmwareOfferShown || !app || !app.deviceFound || !app.firmwareUpdateAvailable)
            return
        firmwareOfferShown = true
        firmwareOffer.open()
    }
    function offerProgramUpdate() {
        if (programOfferShown || !app || !app.tachoriaUpdateAvailable)
            return
        programOfferShown = true
        programOffer.open()
    }
    function announceUpdateDone() {
        if (updateDoneShown || !app || !app.tachoriaUpdateCompleted)
            return
        updateDoneShown = true
        updateDone.open()
    }

    Component.onCompleted: {
        Qt.callLater(offerFirmwareUpdate)
        Qt.callLater(offerProgramUpdate)
        Qt.callLater(announceUpdateDone)
    }
    Connections {
        target: menu.app
        function onDeviceChanged() { menu.offerFirmwareUpdate() }
        function onTachoriaUpdateChanged() { menu.offerProgramUpdate() }
        function onFirmwareUpdateChanged() {
            if (menu.app.firmwareUpdateFinished && !firmwareProgress.opened)
                firmwareProgress.open()
        }
    }

    AppMessageDialog {
        id: rescanDialog
        objectName: "rescanDialog"
        question: true
        title: "Сканирование COM-портов"
        text: "Вы уверены, что хотите запустить повторное сканирование COM-портов?"
        onAnswered: (yes) => {
            if (yes && app)
                app.rescan()
        }
    }

    AppDialog {
        id: firmwareOffer
        objectName: "firmwareOffer"
        title: "Доступно обновление ПО тахографа"
        closePolicy: Popup.CloseOnEscape
        contentItem: ColumnLayout {
            spacing: menu.s(12)
            AppLabel {
                objectName: "firmwareOfferText"
                Layout.preferredWidth: menu.s(480)
                text: app ? "Версия ПО тахографа (" + app.tachographSoftwareVersion + ") старее опубликованной на сайте ("
                            + app.availableFirmwareVersion + "). Скачать прошивку размером 671744 байта и передать её в "
                            + "тахограф?" : ""
            }
            AppLabel {
                Layout.preferredWidth: menu.s(480)
                visible: app !== null && !app.firmwareUpdateTransportAvailable
                color: Theme.warning
                text: "Обновление доступно только при прямом подключении по COM/USB VCOM. Bluetooth и Ралона не "
                      + "поддерживаются."
            }
            RowLayout {
                Layout.alignment: Qt.AlignRight
                AppButton {
                    objectName: "firmwareOfferAccept"
                    text: "Обновить"
                    prominent: true
                    enabled: app !== null && app.firmwareUpdateTransportAvailable
                    onClicked: {
                        firmwareOffer.close()
                        firmwareProgress.open()
                        app.startTachographFirmwareUpdate()
                    }
                }
                AppButton {
                    text: "Позже"
                    onClicked: firmwareOffer.close()
                }
            }
        }
    }

    AppDialog {
        id: firmwareProgress
        objectName: "firmwareProgress"
        title: "Обновление ПО тахографа"
        closePolicy: Popup.NoAutoClose
        contentItem: ColumnLayout {
            spacing: menu.s(12)
            AppLabel {
                objectName: "firmwareStatus"
                Layout.preferredWidth: menu.s(520)
                text: app ? app.firmwareUpdateStatus : ""
            }
            Rectangle {
                Layout.fillWidth: true
                implicitHeight: warningText.implicitHeight + menu.s(16)
                color: Theme.warningSurface
                border.color: Theme.warning
                AppLabel {
                    id: warningText
                    anchors.fill: parent
                    anchors.margins: menu.s(8)
                    color: Theme.text
                    text: "Не отключайте питание тахографа и не прерывайте связь до завершения обновления и "
                          + "подтверждения результата."
                }
            }
            ProgressBar {
                objectName: "firmwareProgressBar"
                Layout.fillWidth: true
                from: 0
                to: 1
                value: app ? app.firmwareUpdateProgress : 0
                indeterminate: app !== null && app.firmwareUpdateRunning && app.firmwareUpdateProgress <= 0
            }
            AppLabel {
                Layout.preferredWidth: menu.s(520)
                visible: app !== null && app.firmwareUpdateFinished
                secondary: true
                text: "Tachoria подтверждает обновление только после успешного ответа тахографа на команду 0x16 и "
                      + "совпадения версии с актуальной версией на сайте."
            }
            AppButton {
                objectName: "firmwareProgressClose"
                Layout.alignment: Qt.AlignRight
                text: "Закрыть"
                enabled: app !== null && !app.firmwareUpdateRunning
                onClicked: firmwareProgress.close()
            }
        }
    }

    AppDialog {
        id: programOffer
        objectName: "programOffer"
        title: "Доступно обновление Tachoria"
        closePolicy: Popup.CloseOnEscape
        contentItem: ColumnLayout {
            spacing: menu.s(12)
            AppLabel {
                Layout.preferredWidth: menu.s(460)
                text: app ? "Установлена версия " + app.applicationVersion + ". На сайте доступна версия "
                            + app.availableTachoriaVersion + ". Скачать и установить обновление сейчас?" : ""
            }
            RowLayout {
                Layout.alignment: Qt.AlignRight
                AppButton {
                    objectName: "programOfferAccept"
                    text: "Обновить"
                    prominent: true
                    onClicked: {
                        programOffer.close()
                        programProgress.open()
                        app.startTachoriaUpdate()
                    }
                }
                AppButton {
                    text: "Позже"
                    onClicked: programOffer.close()
                }
            }
        }
    }

    AppDialog {
        id: programProgress
        objectName: "programProgress"
        title: "Обновление Tachoria"
        closePolicy: Popup.NoAutoClose
        contentItem: ColumnLayout {
            spacing: menu.s(12)
            AppLabel {
                objectName: "programUpdateState"
                Layout.preferredWidth: menu.s(460)
                text: app ? app.tachoriaUpdateState : ""
            }
            ProgressBar {
                Layout.fillWidth: true
                from: 0
                to: 1
                value: app ? app.tachoriaUpdateProgress : 0
            }
            AppLabel {
                secondary: true
                text: "Новая версия: " + (app ? app.availableTachoriaVersion : "")
            }
            AppButton {
                Layout.alignment: Qt.AlignRight
                text: "Скрыть"
                onClicked: programProgress.close()
            }
        }
    }

    AppMessageDialog {
        id: updateDone
        objectName: "updateDone"
        title: "Tachoria обновлён"
        text: "Программа Tachoria была успешно обновлена до версии " + (app ? app.applicationVersion : "") + "."
        acceptText: "Продолжить"
    }
}
