import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The documents of the successful calibrations: the list with its filters, and for the chosen one the
// fields the master completes before the certificate or the sticker is made, previewed and printed.
PageFrame {
    id: page
    objectName: "documentsPage"
    pageTitle: "Документы"
    readonly property var documents: app ? app.documents : null
    readonly property var settings: app ? app.settings : null
    readonly property var masterNames: settings ? settings.masters.map(function(master) { return master.fullName }) : []
    readonly property var customerNames: settings ? settings.customers.map(function(customer) { return customer.name }) : []
    readonly property int labelWidth: Math.round(190 * Theme.uiScale)
    contentScrollable: tabs.currentIndex === 1
    onBackRequested: closePage()

    function closePage() {
        popPage()
    }

    // A field of the chosen record as text; what the database holds as NULL is empty.
    function selectedValue(key) {
        var value = documents ? documents.selected[key] : undefined
        return value === undefined || value === null ? "" : String(value)
    }
    // A date of the database ("2026-03-12" or "2026-03-12 09:15:00") as the list shows it; else as it is.
    function displayDate(text) {
        var parts = /^(\d{4})-(\d{2})-(\d{2})(?:[ T](\d{2}):(\d{2}))?/.exec(text)
        if (!parts)
            return text
        return parts[3] + "." + parts[2] + "." + parts[1] + (parts[4] ? " " + parts[4] + ":" + parts[5] : "")
    }
    function refresh() {
        documents.refresh(vehicleFilter.text, customerFilter.text)
    }
    function openRecord(id) {
        documents.select(id)
        if (documents.hasSelection)
            tabs.currentIndex = 1
    }
    // The way here from a finished calibration: its record opens at once.
    function openRequested() {
        var id = documents ? documents.takeRequestedId() : 0
        if (id > 0) {
            vehicleFilter.text = ""
            customerFilter.text = ""
            refresh()
            openRecord(id)
        }
    }
    function chooseCustomer(name) {
        var customers = settings.customers
        for (var i = 0; i < customers.length; ++i) {
            if (customers[i].name === name) {
                documents.updateSelectedValue("CustomerName", customers[i].name)
                documents.updateSelectedValue("CustomerAddress", customers[i].address)
                documents.updateSelectedValue("CustomerPhone", customers[i].phone)
                return
            }
        }
    }
    // A record without a master or a customer takes the first of the directories.
    function applyDefaults() {
        if (!documents || !documents.hasSelection)
            return
        if (selectedValue("OrderMaster").length === 0 && masterNames.length > 0)
            documents.updateSelectedValue("OrderMaster", masterNames[0])
        if (selectedValue("CustomerName").length === 0 && customerNames.length > 0)
            chooseCustomer(customerNames[0])
    }
    function createDocument(sticker) {
        var made = sticker ? documents.createSticker() : documents.createCertificate()
        if (made)
            previewDialog.open()
    }

    Component.onCompleted: {
        if (!documents)
            return
        refresh()
        openRequested()
    }
    Connections {
        target: page.documents
        function onSelectedChanged() { page.applyDefaults() }
    }
    Timer {
        id: filterDelay
        interval: 200
        onTriggered: page.refresh()
    }

    footerComponent: RowLayout {
        spacing: Math.round(10 * Theme.uiScale)
        AppLabel {
            objectName: "documentsStatus"
            Layout.fillWidth: true
            text: !page.documents ? "" : page.documents.lastError.length > 0 ? page.documents.lastError
                                                                             : page.documents.statusText
            color: page.documents && page.documents.lastError.length > 0 ? Theme.error : Theme.secondaryText
            elide: Text.ElideRight
            maximumLineCount: 2
        }
        AppButton {
            objectName: "openFolderButton"
            text: "Открыть"
            ToolTip.visible: hovered
            ToolTip.text: "Открыть папку с документами"
            onClicked: page.documents.openDataFolder(page.documents.previewIsSticker ? "Наклейки" : "Сертификаты")
        }
        AppButton {
            objectName: "certificateButton"
            text: "Сертификаты"
            enabled: page.documents !== null && page.documents.hasSelection
            onClicked: page.createDocument(false)
        }
        AppButton {
            objectName: "stickerButton"
            text: "Наклейки"
            enabled: page.documents !== null && page.documents.hasSelection
            onClicked: page.createDocument(true)
        }
        AppButton {
            objectName: "removeButton"
            text: "Удалить"
            enabled: page.documents !== null && page.documents.hasSelection
            onClicked: removeDialog.open()
        }
    }

    TabBar {
        id: tabs
        objectName: "documentsTabs"
        Layout.fillWidth: true
        font.pixelSize: Theme.uiPixelSize
        background: Rectangle { color: Theme.window }
        AppTabButton {
            objectName: "tabRecords"
            text: "Перечень настроенных тахографов"
        }
        AppTabButton {
            objectName: "tabDocuments"
            text: "Отчетная документация"
            enabled: page.documents !== null && page.documents.hasSelection
        }
    }

    StackLayout {
        Layout.fillWidth: true
        Layout.fillHeight: true
        currentIndex: tabs.currentIndex

        // The list of successful calibrations
        ColumnLayout {
            spacing: Math.round(10 * Theme.uiScale)
            RowLayout {
                Layout.fillWidth: true
                spacing: Math.round(10 * Theme.uiScale)
                AppLabel { text: "Транспортное средство:" }
                AppTextField {
                    id: vehicleFilter
                    objectName: "vehicleFilter"
                    Layout.fillWidth: true
                    placeholderText: "Рег. номер"
                    onTextEdited: filterDelay.restart()
                }
                AppLabel { text: "Заказчик:" }
                AppTextField {
                    id: customerFilter
                    objectName: "customerFilter"
                    Layout.fillWidth: true
                    placeholderText: "Наименование заказчика"
                    onTextEdited: filterDelay.restart()
                }
            }
            Rectangle {
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.minimumHeight: Math.round(200 * Theme.uiScale)
                color: Theme.surface
                border.width: 1
                border.color: Theme.border
                ColumnLayout {
                    anchors.fill: parent
                    anchors.margins: 1
                    spacing: 0
                    RecordRow {
                        Layout.fillWidth: true
                        heading: true
                        cells: ["№ заказа", "Заказчик", "Дата настройки", "Серийный номер", "Следующая настройка",
                                "Рег. номер"]
                    }
                    ListView {
                        id: recordList
                        objectName: "recordList"
                        Layout.fillWidth: true
                        Layout.fillHeight: true
                        clip: true
                        model: page.documents ? page.documents.recordModel : null
                        ScrollBar.vertical: ScrollBar {}
                        delegate: RecordRow {
                            objectName: "record_" + model.id
                            width: recordList.width
                            selected: page.documents !== null && page.documents.selectedId === model.id
                            alternate: index % 2 === 1
                            cells: [model.order, model.customer, model.date, model.serial, model.nextCalibration,
                                    model.vehicle]
                            onClicked: page.documents.select(model.id)
                            onDoubleClicked: page.openRecord(model.id)
                        }
                        AppLabel {
                            objectName: "recordsEmpty"
                            anchors.centerIn: parent
                            visible: recordList.count === 0
                            secondary: true
                            text: "Успешных настроек не найдено"
                        }
                    }
                }
            }
        }

        // The documents of the chosen calibration
        ColumnLayout {
            spacing: Math.round(12 * Theme.uiScale)
            GridLayout {
                Layout.fillWidth: true
                columns: page.width > Math.round(1100 * Theme.uiScale) ? 2 : 1
                columnSpacing: Math.round(12 * Theme.uiScale)
                rowSpacing: Math.round(12 * Theme.uiScale)
                SectionBox {
                    title: "Заказ и заказчик"
                    Layout.alignment: Qt.AlignTop
                    Repeater {
                        model: [{ label: "№ заказа:", key: "OrderNumber", max: 32, name: "docOrderNumber" },
                                { label: "Ответственный:", key: "OrderResponsible", max: 200, name: "docOrderResponsible" }]
                        delegate: fieldRow
                    }
                    FormRow {
                        label: "Мастер:"
                        labelWidth: page.labelWidth
                        AppComboBox {
                            objectName: "docMaster"
                            Layout.fillWidth: true
                            model: page.masterNames
                            value: page.selectedValue("OrderMaster")
                            onChosen: (value) => page.documents.updateSelectedValue("OrderMaster", value)
                        }
                    }
                    FormRow {
                        label: "Заказчик:"
                        labelWidth: page.labelWidth
                        AppComboBox {
                            objectName: "docCustomer"
                            Layout.fillWidth: true
                            model: page.customerNames
                            value: page.selectedValue("CustomerName")
                            onChosen: (value) => page.chooseCustomer(value)
                        }
                    }
                    Repeater {
                        model: [{ label: "Адрес заказчика:", key: "CustomerAddress", max: 300, name: "docCustomerAddress" },
                                { label: "Телефон заказчика:", key: "CustomerPhone", max: 32, name: "docCustomerPhone" }]
                        delegate: fieldRow
                    }
                }
                SectionBox {
                    title: "Транспортное средство"
                    Layout.alignment: Qt.AlignTop
                    Repeater {
                        model: [{ label: "Марка:", key: "VehicleMark", max: 100, name: "docVehicleMark" },
                                { label: "Модель:", key: "VehicleModel", max: 100, name: "docVehicleModel" },
                                { label: "VIN:", key: "VehicleIdentificationNumber", max: 17, name: "docVin" },
                                { label: "Рег. номер:", key: "VehicleRegistrationNumber", max: 13, name: "docRegNumber" },
                                { label: "Маркировка шин:", key: "TyreSize", max: 15, name: "docTyreSize" },
                                { label: "Одометр, км:", key: "HighResOdometer", max: 14, name: "docOdometer" }]
                        delegate: fieldRow
                    }
                }
            }
            SectionBox {
                title: "Тахограф и данные настройки"
                GridLayout {
                    Layout.fillWidth: true
                    columns: page.width > Math.round(1100 * Theme.uiScale) ? 3 : 2
                    columnSpacing: Math.round(12 * Theme.uiScale)
                    rowSpacing: Math.round(6 * Theme.uiScale)
                    Repeater {
                        model: [["Серийный номер:", "VuSerialNumber"], ["Исполнение:", "VuPartNumber"],
                                ["СКЗИ:", "SkziNumber"], ["Дата настройки:", "RecordDateTime"],
                                ["W, имп/км:", "WVehicleCharacteristicConstant"],
                                ["K, имп/км:", "KConstantOfRecordingEquipment"], ["L, мм:", "LTyreCircumference"],
                                ["Следующая настройка:", "NextCalibrationDate"]]
                        RowLayout {
                            Layout.fillWidth: true
                            spacing: Math.round(8 * Theme.uiScale)
                            AppLabel {
                                text: modelData[0]
                                secondary: true
                                Layout.preferredWidth: Math.round(200 * Theme.uiScale)
                            }
                            AppLabel {
                                objectName: "info_" + modelData[1]
                                text: page.displayDate(page.selectedValue(modelData[1]))
                                Layout.fillWidth: true
                                elide: Text.ElideRight
                                wrapMode: Text.NoWrap
                            }
                        }
                    }
                }
            }
            SectionBox {
                title: "Отметки сертификата"
                Repeater {
                    model: [{ label: "Результат инспекции:", key: "Inspection", hint: "Нет", name: "docInspection" },
                            { label: "Признаки манипуляции:", key: "Manipulation", hint: "Нет", name: "docManipulation" },
                            { label: "Установочная таблица:", key: "SetupTable", hint: "Стойка двери водителя",
                              name: "docSetupTable" },
                            { label: "Особые отметки:", key: "Note", hint: "Эксплуатация только на территории РФ.",
                              name: "docNote" }]
                    delegate: fieldRow
                }
            }
        }
    }

    // One line of the list: six columns, the chosen one in the selection's colour.
    component RecordRow: Rectangle {
        id: row
        property var cells: []
        property bool heading: false
        property bool selected: false
        property bool alternate: false
        readonly property var widths: [0.09, 0.25, 0.15, 0.17, 0.19, 0.15]
        signal clicked()
        signal doubleClicked()
        implicitHeight: Math.max(30, Math.round(34 * Theme.uiScale))
        color: heading ? Theme.surfaceAlt : selected ? "#d8e7f5" : alternate ? Theme.surfaceAlt : Theme.surface
        Row {
            anchors.fill: parent
            anchors.leftMargin: Math.round(8 * Theme.uiScale)
            anchors.rightMargin: Math.round(8 * Theme.uiScale)
            Repeater {
                model: row.cells.length
                Text {
                    width: (row.width - Math.round(16 * Theme.uiScale)) * row.widths[index]
                    height: row.height
                    rightPadding: Math.round(8 * Theme.uiScale)
                    text: row.cells[index] === undefined || row.cells[index] === null ? "" : String(row.cells[index])
                    font.pixelSize: Theme.uiPixelSize
                    font.bold: row.heading
                    color: row.selected ? "#202020" : row.heading ? Theme.secondaryText : Theme.text
                    elide: Text.ElideRight
                    verticalAlignment: Text.AlignVCenter
                }
            }
        }
        Rectangle {
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.bottom: parent.bottom
            height: 1
            color: Theme.border
            opacity: row.heading ? 1 : 0.4
        }
        MouseArea {
            anchors.fill: parent
            enabled: !row.heading
            onClicked: row.clicked()
            onDoubleClicked: row.doubleClicked()
        }
    }

    // A field of the chosen record that the master may complete; it writes through at each edit, and
    // the placeholder shows what the certificate says when it stays empty.
    Component {
        id: fieldRow
        FormRow {
            label: modelData.label
            labelWidth: page.labelWidth
            AppTextField {
                objectName: modelData.name
                Layout.fillWidth: true
                Layout.minimumWidth: Math.round(200 * Theme.uiScale)
                maximumLength: modelData.max ? modelData.max : 32767
                placeholderText: modelData.hint ? modelData.hint : ""
                text: page.selectedValue(modelData.key)
                onTextEdited: page.documents.updateSelectedValue(modelData.key, text)
            }
        }
    }

    AppMessageDialog {
        id: removeDialog
        objectName: "removeDialog"
        question: true
        title: "Удаление записи"
        text: "Удалить выбранную запись калибровки? Созданные документы останутся в папке данных."
        onAnswered: (yes) => {
            if (yes && page.documents.removeSelected())
                tabs.currentIndex = 0
        }
    }
    DocumentPreviewDialog {
        id: previewDialog
        documents: page.documents
        settings: page.settings
    }
}
