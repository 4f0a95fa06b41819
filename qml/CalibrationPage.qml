import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The calibration form: it reads the unit when it opens, shows what the unit is and how it is set,
// lets the master change the settings by tab, and writes them back. It holds the port from its
// opening to its closing, on every way out.
PageFrame {
    id: page
    objectName: "calibrationPage"
    pageTitle: qsTr("Настройка тахографа")
    readonly property var controller: app ? app.calibration : null
    readonly property var values: controller ? controller.values : ({})
    readonly property var settings: app ? app.settings : null
    property bool autoRead: true
    property bool initialReadPending: true
    property bool leaving: false
    property string pcTime: ""
    property var vehicleRatios: []
    property var pendingConfigurationId: null
    property int pendingModelIndex: -1
    property int confirmedModelIndex: 0
    property int manufacturerIndex: 0
    property var models: controller ? controller.vehicleModelsForManufacturer("") : []
    // Too narrow for the cards: the tabs show their parameters as plain lists.
    readonly property bool narrowLayout: width < Math.round(900 * Theme.uiScale)
    onBackRequested: closePage()

    function value(name) {
        return values[name] !== undefined ? values[name] : ""
    }

    function startInitialReadIfReady() {
        if (leaving || !autoRead || !initialReadPending || !controller || controller.readCompleted || controller.busy)
            return
        // The scan's worker may still hold the port it was told to let go.
        if (app.monitoringBusy) {
            initialRead.restart()
            return
        }
        initialReadPending = false
        controller.read()
    }

    function closePage() {
        if (leaving)
            return
        leaving = true
        // Before anything else: stop() clears readCompleted, which must not start a read again.
        autoRead = false
        initialRead.stop()
        clock.stop()
        controller.stop()
        popPage()
        app.resumeDeviceMonitoring()
    }

    function refreshPcTime() {
        var now = new Date()
        var utc = new Date(now.getTime() + now.getTimezoneOffset() * 60000)
        pcTime = Qt.formatDateTime(utc, "HH:mm:ss dd.MM.yyyy")
    }

    function chooseManufacturer(index) {
        manufacturerIndex = index
        var entry = controller.vehicleManufacturers[index]
        models = controller.vehicleModelsForManufacturer(entry ? entry.name : "")
        confirmedModelIndex = 0
        vehicleRatios = []
    }

    function chooseModel(index) {
        var entry = models[index]
        if (!entry || entry.id === -1) {
            confirmedModelIndex = index
            return
        }
        if (String(entry.id).indexOf("profile:") === 0) {
            pendingModelIndex = index
            pendingConfigurationId = parseInt(String(entry.id).substring(8))
            configurationDialog().openApply(controller.vehicleConfiguration(pendingConfigurationId))
            return
        }
        var manufacturer = controller.vehicleManufacturers[manufacturerIndex]
        var info = controller.vehicleModelInfo(manufacturer.id, entry.id)
        controller.applyVehicleModel(manufacturer.id, entry.id)
        confirmedModelIndex = index
        vehicleRatios = info.ratios || []
        var speeds = [qsTr("125 кбит/с"), qsTr("250 кбит/с"), qsTr("500 кбит/с"), qsTr("1000 кбит/с")]
        var ratio = vehicleRatios.length === 1 ? String(vehicleRatios[0])
                    : vehicleRatios.length > 1 ? qsTr("выберите из выпадающего списка") : "—"
        showMessage("canModelDialog", false, qsTr("Параметры по CAN"), [
            qsTr("Выбраны следующие параметры по CAN:"),
            qsTr("Производитель ТС: ") + info.manufacturer,
            qsTr("Модель ТС: ") + info.model,
            qsTr("Скорость CAN: ") + (speeds[info.canSpeed] || info.canSpeed),
            qsTr("Период TCO1: ") + (info.tco1Period === 0 ? qsTr("20 мс") : qsTr("50 мс")),
            qsTr("Приоритет TCO1: ") + info.tco1Priority,
            qsTr("Протокол: ") + (info.protocol === 1 ? qsTr("29 бит") : qsTr("11 бит")),
            qsTr("Вал (имп/1000 об.): ") + ratio,
            qsTr("Терминирующий резистор CAN1: выберите самостоятельно!"),
            qsTr("TCO2, TCO3, TCO4 выключены"),
            qsTr("CAN2 выключен")].join("\n"))
    }

    Timer {
        id: initialRead
        interval: 120
        running: true
        onTriggered: page.startInitialReadIfReady()
    }
    Timer {
        id: clock
        interval: 500
        running: true
        repeat: true
        triggeredOnStart: true
        onTriggered: page.refreshPcTime()
    }
    Connections {
        target: page.app
        function onMonitoringChanged() {
            page.startInitialReadIfReady()
        }
    }
    Connections {
        target: page.controller
        function onValidationFailed(text) {
            page.showMessage("validationDialog", true, qsTr("Проверка параметров"), text)
        }
        function onWriteSucceeded(text) {
            page.showMessage("writeDoneDialog", false, qsTr("Запись завершена"), text)
        }
        function onMessage(text) {
            page.showMessage("calibrationErrorDialog", true, qsTr("Ошибка"), text)
        }
    }

    footerComponent: RowLayout {
        spacing: Math.round(8 * Theme.uiScale)
        AppButton {
            objectName: "calibrationReadButton"
            text: qsTr("Прочитать")
            enabled: page.controller && !page.controller.busy && !page.controller.readCompleted
            onClicked: {
                initialRead.stop()
                page.initialReadPending = false
                page.controller.read()
            }
        }
        AppButton {
            objectName: "calibrationWriteButton"
            text: qsTr("Записать")
            prominent: true
            enabled: page.controller && page.controller.readCompleted && !page.controller.busy
            onClicked: page.controller.write(tachographTab.registrationAbsent)
        }
        AppButton {
            objectName: "calibrationDocumentsButton"
            text: qsTr("Документы")
            visible: page.controller && page.controller.writtenRecordId > 0 && page.app.pageAvailable("DocumentsPage.qml")
            enabled: !page.controller.busy
            onClicked: {
                // The documents page opens once this page has given the port back and left.
                var id = page.controller.writtenRecordId
                page.closePage()
                page.app.documents.requestDocumentsFor(id)
            }
        }
        AppButton {
            objectName: "saveConfigurationButton"
            text: qsTr("Сохранить конфигурацию")
            enabled: page.controller && page.controller.readCompleted && !page.controller.busy
            onClicked: {
                var manufacturer = page.controller.vehicleManufacturers[page.manufacturerIndex]
                var model = page.models[page.confirmedModelIndex]
                page.configurationDialog().openSave(manufacturer && manufacturer.id !== -1 ? manufacturer.name : "",
                                             model && model.id !== -1 && !model.isConfiguration ? model.name : "")
            }
        }
        AppButton {
            objectName: "configurationEditorButton"
            text: qsTr("Редактор конфигураций")
            onClicked: page.configurationDialog().openManager()
        }
        BusyIndicator {
            objectName: "calibrationBusy"
            running: page.controller ? page.controller.busy : false
            visible: running
            implicitWidth: Math.round(32 * Theme.uiScale)
            implicitHeight: implicitWidth
        }
        AppLabel {
            objectName: "calibrationStatus"
            Layout.fillWidth: true
            text: page.controller ? page.controller.statusText : ""
            color: page.controller && page.controller.lastError.length > 0 ? Theme.error : Theme.secondaryText
            elide: Text.ElideRight
            maximumLineCount: 2
            font.pixelSize: Math.max(12, Theme.uiPixelSize - 2)
            ToolTip.visible: statusHover.hovered && truncated
            ToolTip.text: text
            HoverHandler {
                id: statusHover
            }
        }
        AppButton {
            objectName: "calibrationExitButton"
            text: qsTr("Выход")
            onClicked: page.closePage()
        }
    }

    // A caption and a value of the unit's, read only; the value says when the unit lacks it.
    component InfoCaption: AppLabel {
        wrapMode: Text.NoWrap
        secondary: true
        font.pixelSize: Math.max(11, Theme.uiPixelSize - 1)
    }
    component InfoValue: AppLabel {
        property string parameterName
        property string shown: page.value(parameterName)
        objectName: "field_" + parameterName
        Layout.fillWidth: true
        Layout.minimumWidth: Math.round(80 * Theme.uiScale)
        text: shown
        enabled: parameterName.length === 0
                 || (page.values !== null && page.controller !== null && page.controller.parameterSupported(parameterName))
        wrapMode: Text.NoWrap
        elide: Text.ElideRight
        ToolTip.visible: truncated && infoHover.hovered
        ToolTip.text: text
        HoverHandler {
            id: infoHover
        }
    }

    GridLayout {
        Layout.fillWidth: true
        columns: page.width >= Math.round(1180 * Theme.uiScale) ? 2 : 1
        columnSpacing: Math.round(10 * Theme.uiScale)
        rowSpacing: Math.round(12 * Theme.uiScale)
        SectionBox {
            title: qsTr("Информация о тахографе")
            Layout.alignment: Qt.AlignTop
            Layout.preferredWidth: infoGrid.implicitWidth + 2 * padding
            GridLayout {
                id: infoGrid
                Layout.fillWidth: true
                columns: 4
                columnSpacing: Math.round(10 * Theme.uiScale)
                rowSpacing: Math.round(8 * Theme.uiScale)
                InfoCaption { text: qsTr("Производитель:") }
                InfoValue { parameterName: "vuManufacturerName" }
                InfoCaption { text: qsTr("Тип:") }
                InfoValue { parameterName: "vuPartNumber" }
                InfoCaption { text: qsTr("Версия HW:") }
                InfoValue { parameterName: "SSECUHWVN" }
                InfoCaption { text: qsTr("Серийный №:") }
                InfoValue { parameterName: "vuSerialNumber" }
                InfoCaption { text: qsTr("Дата изготов.:") }
                InfoValue { parameterName: "vuManufacturingDate" }
                InfoCaption { text: qsTr("№ в ФБУ:") }
                InfoValue { parameterName: "vuApprovalNumber" }
                InfoCaption { text: qsTr("Дата поверки:") }
                InfoValue { parameterName: "VerifyDate" }
                InfoCaption { text: qsTr("Версия ПО:") }
                InfoValue { parameterName: "SystemSupplierECUSoftwareVersionNumber" }
            }
        }
        SectionBox {
            title: qsTr("Настройка и время")
            Layout.alignment: Qt.AlignTop
            Layout.preferredWidth: timeGrid.implicitWidth + 2 * padding
            GridLayout {
                id: timeGrid
                Layout.fillWidth: true
                columns: 4
                columnSpacing: Math.round(10 * Theme.uiScale)
                rowSpacing: Math.round(8 * Theme.uiScale)
                InfoCaption { text: qsTr("Время ПК (UTC):") }
                InfoValue {
                    objectName: "pcTime"
                    shown: page.pcTime
                }
                InfoCaption { text: qsTr("Местное время:") }
                RowLayout {
                    spacing: Math.round(4 * Theme.uiScale)
                    SpinBox {
                        objectName: "localTimeHour"
                        from: -23
                        to: 23
                        editable: true
                        font.pixelSize: Theme.uiPixelSize
                        implicitWidth: Math.round(78 * Theme.uiScale)
                        value: page.controller ? page.controller.localTimeHour : 3
                        enabled: page.controller && page.controller.readCompleted
                        ToolTip.visible: hovered
                        ToolTip.delay: 600
                        ToolTip.text: qsTr("Смещение местного времени от UTC, часы")
                        onValueModified: {
                            page.controller.localTimeHour = value
                            value = Qt.binding(function() { return page.controller.localTimeHour })
                        }
                    }
                    SpinBox {
                        objectName: "localTimeMinute"
                        from: -59
                        to: 59
                        editable: true
                        font.pixelSize: Theme.uiPixelSize
                        implicitWidth: Math.round(78 * Theme.uiScale)
                        value: page.controller ? page.controller.localTimeMinute : 0
                        enabled: page.controller && page.controller.readCompleted
                        ToolTip.visible: hovered
                        ToolTip.delay: 600
                        ToolTip.text: qsTr("Смещение местного времени от UTC, минуты")
                        onValueModified: {
                            page.controller.localTimeMinute = value
                            value = Qt.binding(function() { return page.controller.localTimeMinute })
                        }
                    }
                }
                InfoCaption { text: qsTr("Допуск прочитан:") }
                InfoValue { parameterName: "ReadTachoriaCodeFBU" }
                InfoCaption { text: qsTr("След. настройка:") }
                CalibrationField {
                    controller: page.controller
                    parameterName: "nextCalibrationDate"
                    labelWidth: 0
                    Layout.fillWidth: false
                    Layout.preferredWidth: Math.round(140 * Theme.uiScale)
                }
                InfoCaption { text: qsTr("Допуск записан:") }
                InfoValue {
                    objectName: "writtenMark"
                    shown: page.settings ? page.settings.tachoriaMark : ""
                }
                InfoCaption { text: qsTr("Карта мастера:") }
                InfoValue {
                    objectName: "masterCard"
                    shown: page.app && page.app.masterCardNumber.length > 0 ? page.app.masterCardNumber
                                                                             : page.value("Driver1Identification")
                }
                InfoCaption { text: qsTr("СКЗИ:") }
                InfoValue {
                    objectName: "skziNumber"
                    Layout.columnSpan: 3
                    shown: page.app ? (page.app.skziNumber.length > 0 ? page.app.skziNumber : page.app.skziStatus) : ""
                }
            }
        }
    }

    SectionBox {
        title: qsTr("Настраиваемые параметры тахографа")
        RowLayout {
            Layout.fillWidth: true
            spacing: Math.round(10 * Theme.uiScale)
            AppLabel { text: qsTr("Производитель ТС:"); wrapMode: Text.NoWrap }
            AppComboBox {
                objectName: "vehicleManufacturer"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                model: page.controller ? page.controller.vehicleManufacturers.map(function(entry) { return entry.name }) : []
                value: model.length > page.manufacturerIndex ? model[page.manufacturerIndex] : ""
                onChosen: (value) => page.chooseManufacturer(model.indexOf(value))
            }
            AppLabel { text: qsTr("Модель ТС:"); wrapMode: Text.NoWrap }
            AppComboBox {
                objectName: "vehicleModel"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                model: page.models.map(function(entry) {
                    return entry.isConfiguration ? qsTr("Профиль: ") + entry.name : entry.name
                })
                value: model.length > page.confirmedModelIndex ? model[page.confirmedModelIndex] : ""
                enabled: page.manufacturerIndex > 0
                onChosen: (value) => page.chooseModel(model.indexOf(value))
            }
        }

        TabBar {
            id: tabs
            objectName: "calibrationTabs"
            Layout.fillWidth: true
            font.pixelSize: Theme.uiPixelSize
            background: Rectangle { color: Theme.surface }
            Repeater {
                model: [["calibrationTabTacho", qsTr("Тахограф")], ["calibrationTabCan", "CAN"],
                        ["calibrationTabOutputs", qsTr("Выходы скорости")], ["calibrationTabWorkRest", qsTr("Режимы труда и отдыха")],
                        ["calibrationTabOther", qsTr("Другое")]]
                TabButton {
                    id: tabButton
                    objectName: modelData[0]
                    text: modelData[1]
                    width: Math.max(Math.ceil(tabText.advanceWidth) + Math.round(32 * Theme.uiScale),
                                    Math.round(110 * Theme.uiScale))
                    TextMetrics {
                        id: tabText
                        font: tabButton.font
                        text: tabButton.text
                    }
                    contentItem: Text {
                        text: parent.text
                        font: parent.font
                        horizontalAlignment: Text.AlignHCenter
                        verticalAlignment: Text.AlignVCenter
                        color: parent.checked ? Theme.text : Theme.secondaryText
                    }
                    background: Rectangle {
                        color: parent.checked ? Theme.surfaceAlt : (parent.hovered ? Theme.buttonHover : Theme.surface)
                        border.color: Theme.border
                        Rectangle {
                            visible: parent.parent.checked
                            anchors.left: parent.left
                            anchors.right: parent.right
                            anchors.bottom: parent.bottom
                            height: Math.max(2, Math.round(3 * Theme.uiScale))
                            color: Theme.accent
                        }
                    }
                }
            }
        }

        StackLayout {
            Layout.fillWidth: true
            // As tall as the shown tab: a short tab would otherwise sit in the middle of the tallest one.
            Layout.preferredHeight: currentIndex >= 0 && currentIndex < children.length
                                    ? children[currentIndex].implicitHeight : 0
            currentIndex: tabs.currentIndex

            ColumnLayout {
                TachographParameters {
                    id: tachographTab
                    visible: !page.narrowLayout
                    Layout.fillWidth: true
                    controller: page.controller
                    settings: page.settings
                    vehicleRatios: page.vehicleRatios
                }
                Loader {
                    active: page.narrowLayout
                    visible: active
                    Layout.fillWidth: true
                    sourceComponent: CalibrationParameters {
                        controller: page.controller
                        filter: "tacho"
                    }
                }
            }
            // A tab is built when it is first shown: the page opens with the first one alone.
            Loader {
                readonly property bool shown: tabs.currentIndex === 1
                onShownChanged: if (shown) active = true
                active: shown
                Layout.fillWidth: true
                sourceComponent: ColumnLayout {
                    CanSettings {
                        visible: !page.narrowLayout
                        Layout.fillWidth: true
                        controller: page.controller
                    }
                    Loader {
                        active: page.narrowLayout
                        visible: active
                        Layout.fillWidth: true
                        sourceComponent: CalibrationParameters {
                            controller: page.controller
                            filter: "can"
                        }
                    }
                }
            }
            Loader {
                readonly property bool shown: tabs.currentIndex === 2
                onShownChanged: if (shown) active = true
                active: shown
                Layout.fillWidth: true
                sourceComponent: ColumnLayout {
                    GridLayout {
                        visible: !page.narrowLayout
                        Layout.fillWidth: true
                        columns: 3
                        columnSpacing: Math.round(10 * Theme.uiScale)
                        Repeater {
                            model: ["B6", "B7", "D6"]
                            OutputCard {
                                controller: page.controller
                                outputName: modelData
                                Layout.alignment: Qt.AlignTop
                            }
                        }
                    }
                    Loader {
                        active: page.narrowLayout
                        visible: active
                        Layout.fillWidth: true
                        sourceComponent: CalibrationParameters {
                            controller: page.controller
                            filter: "output"
                        }
                    }
                }
            }
            Loader {
                readonly property bool shown: tabs.currentIndex === 3
                onShownChanged: if (shown) active = true
                active: shown
                Layout.fillWidth: true
                sourceComponent: ColumnLayout {
                    WorkRestSettings {
                        visible: !page.narrowLayout
                        Layout.fillWidth: true
                        controller: page.controller
                    }
                    Loader {
                        active: page.narrowLayout
                        visible: active
                        Layout.fillWidth: true
                        sourceComponent: CalibrationParameters {
                            controller: page.controller
                            filter: "pto"
                        }
                    }
                }
            }
            Loader {
                readonly property bool shown: tabs.currentIndex === 4
                onShownChanged: if (shown) active = true
                active: shown
                Layout.fillWidth: true
                sourceComponent: ColumnLayout {
                    OtherSettings {
                        visible: !page.narrowLayout
                        Layout.fillWidth: true
                        controller: page.controller
                    }
                    Loader {
                        active: page.narrowLayout
                        visible: active
                        Layout.fillWidth: true
                        sourceComponent: CalibrationParameters {
                            controller: page.controller
                            filter: "other"
                        }
                    }
                }
            }
        }
    }

    // The editor of configurations is built the first time it is needed.
    Loader {
        id: configurationLoader
        active: false
        sourceComponent: VehicleConfigurationDialog {
            controller: page.controller
            onApplyRequested: (id) => {
                if (page.controller.applyVehicleConfiguration(id) && page.pendingModelIndex >= 0)
                    page.confirmedModelIndex = page.pendingModelIndex
                page.pendingModelIndex = -1
                page.pendingConfigurationId = null
            }
            onApplyCanceled: {
                page.pendingModelIndex = -1
                page.pendingConfigurationId = null
            }
        }
    }
    function configurationDialog() {
        configurationLoader.active = true
        return configurationLoader.item
    }

    // One message dialog for the page's messages; its name says which one is up.
    AppMessageDialog {
        id: messageDialog
        objectName: "validationDialog"
    }
    function showMessage(name, failure, title, text) {
        messageDialog.objectName = name
        messageDialog.failure = failure
        messageDialog.show(title, text)
    }
}
