import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// "Расшифровка .ddd": a file (or a saved report) read into its datasets, one table at a time on the right
// of the section list, then the analysis, the charts and the saved reports. The file is decoded on a
// worker: the page stays live meanwhile.
PageFrame {
    id: page
    objectName: "dddPage"
    pageTitle: t("Расшифровка .ddd", "DDD decoder")
    contentScrollable: false
    readonly property var ddd: app ? app.ddd : null
    property bool english: false
    // The chosen section by its key, so that a change of language or of report renumbers nothing.
    property string currentSection: "reports"
    onBackRequested: closePage()

    function t(ru, en) { return english ? en : ru }
    // Opened over a page that holds the port, the page below gives it back, not this one.
    property bool resumeMonitoringOnClose: false

    function closePage() {
        popPage()
        if (resumeMonitoringOnClose)
            app.resumeDeviceMonitoring()
    }

    // Each entry: dataset, Russian and English titles, the card's elementary file that always shows it.
    readonly property var unitSections: [
        ["blocks", "Содержание файла", "File contents"],
        ["vehicleIdentification", "Идентификация транспортного средства", "Vehicle identification"],
        ["vuIdentification", "Идентификация тахографа", "Vehicle unit identification"],
        ["sensorPaired", "Сопряжённый датчик", "Paired sensor"],
        ["currentDateTime", "Текущая дата и время", "Current date and time"],
        ["downloadablePeriod", "Загружаемый период", "Downloadable period"],
        ["insertedCardType", "Тип вставленной карты", "Inserted card type"],
        ["downloadActivity", "Данные загрузки активности", "Download activity"],
        ["companyLocks", "Блокировки компании", "Company locks"],
        ["controlActivity", "Данные контрольной активности", "Control activity"],
        ["dayInformation", "Информация о дне", "Day information"],
        ["cardIwData", "Данные карты ИУ тахографа", "Card insertions and withdrawals"],
        ["activityDaily", "Ежедневные данные активности", "Daily activity"],
        ["placeDailyWorkPeriod", "Места рабочего периода", "Places of daily work periods"],
        ["specificConditions", "Данные специальных условий", "Specific conditions"],
        ["tachoFaults", "Данные неисправностей тахографа", "Vehicle unit faults"],
        ["tachoEvents", "Данные событий тахографа", "Vehicle unit events"],
        ["overSpeedingControl", "Контроль превышения скорости", "Overspeeding control"],
        ["overSpeedingEvents", "Превышение скорости", "Overspeeding"],
        ["detailedSpeed", "Детальная скорость", "Detailed speed"],
        ["calibrationData", "Калибровка и технические данные", "Calibration and technical data"]
    ]
    readonly property var cardSections: [
        ["blocks", "Содержание файла", "File contents", ""],
        ["cardIcc", "ICC", "ICC", "0002"],
        ["cardIc", "IC", "IC", "0005"],
        ["applicationIdentification", "Идентификация приложения", "Application identification", "0501"],
        ["cardIdentification", "Идентификация карты", "Card identification", "0520"],
        ["drivingLicence", "Водительское удостоверение", "Driving licence", "0521"],
        ["cardDownload", "Загрузка карты", "Card download", "050E"],
        ["events", "Данные событий", "Events", "0502"],
        ["faults", "Данные неисправностей", "Faults", "0503"],
        ["activityChanges", "Данные активности водителя", "Driver activity", "0504"],
        ["vehicles", "Использованные автомобили", "Vehicles used", "0505"],
        ["places", "Места", "Places", "0506"],
        ["currentUsage", "Текущее использование", "Current usage", "0507"],
        ["controlActivity", "Данные контрольной активности", "Control activity", "0508"],
        ["specificConditions", "Особые условия", "Specific conditions", "0522"]
    ]
    readonly property var sectionList: {
        var list = []
        if (ddd && ddd.hasReport) {
            var counts = ddd.datasetCounts
            var numbers = ddd.fileNumbers
            var card = ddd.reportKind === 1
            var entries = card ? cardSections : unitSections
            for (var i = 0; i < entries.length; ++i) {
                var entry = entries[i]
                var shown = !card || entry[0] === "blocks" || counts[entry[0]] > 0
                            || (entry[3].length > 0 && numbers.indexOf(entry[3]) >= 0)
                if (shown)
                    list.push({ key: entry[0], title: english ? entry[2] : entry[1], count: counts[entry[0]] })
            }
        }
        list.push({ key: "analysis", title: t("Анализ", "Analysis"), count: -1 })
        list.push({ key: "charts", title: t("Графики", "Charts"), count: -1 })
        list.push({ key: "reports", title: t("Отчёты", "Reports"), count: -1 })
        return list
    }
    readonly property bool datasetShown: ["analysis", "charts", "reports"].indexOf(currentSection) < 0

    // Column titles of the row keys; a key without one shows as it is.
    readonly property var columnTitles: ({
        "fileNumber": ["Тег", "Tag"], "name": ["Название", "Name"], "offset": ["Смещение", "Offset"],
        "length": ["Размер", "Length"], "recordCount": ["Записей", "Records"], "occurrence": ["№", "No."],
        "recordLength": ["Длина записи", "Record length"], "description": ["Описание", "Description"],
        "value": ["Значение", "Value"], "date": ["Дата", "Date"], "day": ["День", "Day"], "dayNo": ["День", "Day"],
        "activity": ["Активность", "Activity"], "cardStatus": ["Карта", "Card"], "slot": ["Слот", "Slot"],
        "drivingStatus": ["Режим", "Driving status"], "time": ["Время", "Time"], "timeOfChange": ["Время", "Time"],
        "activityDailyPresenceCounter1": ["Счётчик дня", "Day counter"],
        "activityDailyPresenceCounter": ["Счётчик дня", "Day counter"],
        "activityRecordDate": ["Дата", "Date"], "activityDayDistance": ["Пробег, км", "Distance, km"],
        "activityChangeCount": ["Изменений", "Changes"],
        "eventType": ["Тип", "Type"], "eventBeginTime": ["Начало", "Begin"], "eventEndTime": ["Окончание", "End"],
        "faultType": ["Тип", "Type"], "faultBeginTime": ["Начало", "Begin"], "faultEndTime": ["Окончание", "End"],
        "eventRecordPurpose": ["Назначение", "Purpose"], "faultRecordPurpose": ["Назначение", "Purpose"],
        "vehicleRegistrationNumber": ["Рег. номер", "Registration"],
        "vehicleRegistrationNation": ["Страна", "Nation"],
        "faultVehicleRegistrationNumber": ["Рег. номер", "Registration"],
        "vehicleRegistrationNumber1": ["Рег. номер", "Registration"],
        "vehicleRegistrationNation1": ["Страна", "Nation"],
        "vehicleOdometerBegin": ["Одометр в начале", "Odometer begin"],
        "vehicleOdometerEnd": ["Одометр в конце", "Odometer end"],
        "vehicleFirstUsed": ["Первое использование", "First used"],
        "vehicleLastUsed": ["Последнее использование", "Last used"],
        "entryTime": ["Время", "Time"], "entryTypeDailyWorkPeriod": ["Операция", "Entry type"],
        "dailyWorkPeriodCountry": ["Страна", "Country"], "dailyWorkPeriodRegion": ["Регион", "Region"],
        "vehicleOdometerValue": ["Одометр", "Odometer"], "timeReal": ["Дата", "Date"],
        "odometerValueMidnight": ["Одометр в полночь", "Odometer at midnight"],
        "cardHolderSurname": ["Фамилия", "Surname"], "cardHolderFirstNames": ["Имя", "First names"],
        "driverCardNumber": ["Номер карты", "Card number"], "cardType": ["Тип карты", "Card type"],
        "cardInsertionDate": ["Вставлена", "Inserted"], "cardWithdrawalTime": ["Извлечена", "Withdrawn"],
        "vehicleOdometerValueAtInsertion": ["Одометр при вставке", "Odometer in"],
        "vehicleOdometerValueAtWithdrawal": ["Одометр при извлечении", "Odometer out"],
        "cardSlot": ["Слот", "Slot"], "manualInputFlag": ["Ручной ввод", "Manual input"],
        "specificConditionType": ["Условие", "Condition"], "maxSpeedValue": ["Макс. скорость", "Max speed"],
        "averageSpeedValue": ["Средняя скорость", "Average speed"], "eventType1": ["Тип", "Type"],
        "eventBeginTime1": ["Начало", "Begin"], "eventEndTime1": ["Окончание", "End"],
        "speedBlockBeginDate": ["Начало", "Begin"], "averageSpeed": ["Средняя", "Average"],
        "maxSpeed": ["Максимальная", "Maximum"], "speedsPerSecond": ["Значения", "Values"],
        "calibrationPurpose": ["Назначение", "Purpose"], "tachoriaName": ["Мастерская", "Workshop"],
        "vehicleIdentificationNumber": ["VIN", "VIN"], "wVehicleCharacteristicConstant": ["W", "W"],
        "kConstantOfRecordingEquipment": ["K", "K"], "iTyreCircumference": ["L", "L"],
        "tyreSize": ["Шины", "Tyres"], "authorisedSpeed": ["Разреш. скорость", "Authorised speed"],
        "oldOdometerValue": ["Одометр до", "Old odometer"], "newOdometerValue": ["Одометр после", "New odometer"],
        "nextCalibrationDate": ["Следующая калибровка", "Next calibration"],
        "dayNumber": ["День", "Day"], "workTime": ["Работа", "Work"], "restTime": ["Отдых", "Rest"],
        "workStart": ["Начало работы", "Work start"], "workEnd": ["Конец работы", "Work end"],
        "drivingMinutes": ["Вождение, мин", "Driving, min"], "activityChangesCount": ["Изменений", "Changes"],
        "cardNumber": ["Номер карты", "Card number"], "type": ["Тип", "Type"]
    })
    // Preferred columns of the datasets that have many keys; other datasets show their keys as they come.
    readonly property var columnSets: ({
        "blocks": ["fileNumber", "name", "offset", "length", "recordCount", "description"],
        "activityChanges": ["date", "activityDailyPresenceCounter1", "time", "slot", "cardStatus", "drivingStatus",
                            "activity"],
        "activityDaily": ["date", "dayNo", "timeOfChange", "slot", "cardStatus", "drivingStatus", "activity"],
        "activities": ["activityRecordDate", "activityDailyPresenceCounter", "activityDayDistance",
                       "activityChangeCount"],
        "events": ["eventType", "eventBeginTime", "eventEndTime", "vehicleRegistrationNumber",
                   "vehicleRegistrationNation"],
        "faults": ["faultType", "faultBeginTime", "faultEndTime", "faultVehicleRegistrationNumber"],
        "vehicles": ["vehicleRegistrationNumber1", "vehicleRegistrationNation1", "vehicleOdometerBegin",
                     "vehicleOdometerEnd", "vehicleFirstUsed", "vehicleLastUsed"],
        "dayInformation": ["dayNo", "timeReal", "odometerValueMidnight"],
        "cardIwData": ["date", "cardHolderSurname", "cardHolderFirstNames", "driverCardNumber", "cardSlot",
                       "cardInsertionDate", "cardWithdrawalTime", "vehicleOdometerValueAtInsertion",
                       "vehicleOdometerValueAtWithdrawal"],
        "tachoEvents": ["eventType", "eventRecordPurpose", "eventBeginTime", "eventEndTime"],
        "tachoFaults": ["faultType", "faultRecordPurpose", "faultBeginTime", "faultEndTime"],
        "overSpeedingEvents": ["eventType1", "eventBeginTime1", "eventEndTime1", "maxSpeedValue",
                               "averageSpeedValue"],
        "detailedSpeed": ["speedBlockBeginDate", "averageSpeed", "maxSpeed", "speedsPerSecond"],
        "calibrationData": ["calibrationPurpose", "tachoriaName", "vehicleIdentificationNumber",
                            "vehicleRegistrationNumber", "wVehicleCharacteristicConstant",
                            "kConstantOfRecordingEquipment", "iTyreCircumference", "tyreSize", "oldOdometerValue",
                            "newOdometerValue", "nextCalibrationDate"],
        "placeDailyWorkPeriod": ["date", "entryTime", "entryTypeDailyWorkPeriod", "dailyWorkPeriodCountry",
                                 "dailyWorkPeriodRegion", "vehicleOdometerValue", "driverCardNumber"],
        "places": ["entryTime", "entryTypeDailyWorkPeriod", "dailyWorkPeriodCountry", "dailyWorkPeriodRegion",
                   "vehicleOdometerValue"],
        "analysisDays": ["date", "dayNumber", "workTime", "restTime", "workStart", "workEnd", "drivingMinutes",
                         "activityChangesCount"]
    })
    // Keys never shown as a column: the bytes in hexadecimal live in the row's own dialog.
    readonly property var hiddenKeys: ["hex", "hexData", "payloadHex", "data", "records", "blockStartPosition"]

    function columnsFor(name, model) {
        var keys = columnSets[name]
        if (!keys && model) {
            keys = model.keys.filter(function(key) { return hiddenKeys.indexOf(key) < 0 })
        }
        if (!keys)
            return []
        return keys.map(function(key) {
            var title = columnTitles[key]
            var wide = ["name", "description", "value", "eventType", "faultType", "tachoriaName",
                        "cardHolderSurname", "eventType1", "speedsPerSecond"].indexOf(key) >= 0
            return { key: key, title: title ? title[english ? 1 : 0] : key, width: wide ? 260 : 150 }
        })
    }

    // New columns rebuild the whole table on screen: only when they differ.
    function updateColumns() {
        var columns = columnsFor(currentSection, datasetView.model)
        if (JSON.stringify(columns) !== JSON.stringify(datasetView.columns))
            datasetView.columns = columns
    }
    function showSection(key) {
        currentSection = key
        if (datasetShown) {
            var model = ddd.datasetModel(key)
            datasetView.model = model
            datasetView.columns = columnsFor(key, model)
        }
    }
    function savedLabel(report) {
        if (report.reportType === "Тахограф")
            return report.description ? report.description : report.keyValue ? report.keyValue : "????????"
        var name = report.description ? String(report.description) : ""
        return name.length === 0 || /[0-9?]/.test(name) ? "????????" : name
    }
    function sizeText(bytes) {
        return bytes < 1024 ? bytes + t(" байт", " bytes") : (bytes / 1024).toFixed(1) + t(" КБ", " KB")
    }
    function showMessage(title, text, failure) {
        messageDialog.failure = failure
        messageDialog.show(title, text)
    }

    Connections {
        target: page.ddd
        // A new report shows its first section; a table on screen follows the new rows by itself.
        function onStateChanged() {
            if (page.datasetShown && !page.sectionList.some(function(s) { return s.key === page.currentSection }))
                page.showSection(page.ddd.hasReport ? page.sectionList[0].key : "reports")
            else if (page.datasetShown)
                page.updateColumns()
        }
        function onDuplicateReportDetected(existingId) {
            duplicateDialog.existingId = existingId
            duplicateDialog.open()
        }
    }
    // A job that began without a report (a file or a saved report being opened) shows the new report's
    // first section when it ends; saving keeps the list of saved reports in view.
    property bool openingReport: false
    readonly property bool busy: ddd ? ddd.busy : false
    onBusyChanged: {
        if (busy) {
            openingReport = !ddd.hasReport
        } else {
            if (openingReport && ddd.hasReport && currentSection === "reports")
                showSection(sectionList[0].key)
            openingReport = false
        }
    }
    Component.onCompleted: {
        if (ddd) {
            ddd.refreshSavedReports()
            showSection(ddd.hasReport ? sectionList[0].key : "reports")
        }
    }

    headerTrailingComponent: AppButton {
        objectName: "dddLanguageButton"
        text: page.english ? "RU" : "EN"
        compact: true
        implicitWidth: Math.round(56 * Theme.uiScale)
        onClicked: page.english = !page.english
    }

    footerComponent: RowLayout {
        spacing: Math.round(10 * Theme.uiScale)
        BusyIndicator {
            objectName: "dddBusy"
            running: page.busy
            visible: page.busy
            Layout.preferredWidth: Math.round(30 * Theme.uiScale)
            Layout.preferredHeight: Math.round(30 * Theme.uiScale)
        }
        AppLabel {
            objectName: "dddStatus"
            Layout.fillWidth: true
            text: page.ddd ? (page.ddd.lastError.length > 0 ? page.ddd.lastError : page.ddd.statusText) : ""
            color: page.ddd && page.ddd.lastError.length > 0 ? Theme.error : Theme.text
            elide: Text.ElideRight
            maximumLineCount: 2
        }
        AppButton {
            objectName: "dddOpenButton"
            text: page.t("Открыть файл…", "Open file…")
            enabled: !page.busy
            onClicked: page.ddd.chooseAndOpenFile()
        }
        AppButton {
            objectName: "dddFilesButton"
            text: page.t("Загруженные файлы", "Downloaded files")
            enabled: !page.busy
            onClicked: filePreview.open()
        }
        AppButton {
            objectName: "dddSaveButton"
            text: page.t("Сохранить отчёт", "Save report")
            enabled: !page.busy && page.ddd && page.ddd.hasReport
            onClicked: page.ddd.saveReport()
        }
        AppButton {
            objectName: "dddPdfButton"
            text: page.t("Экспорт PDF…", "Export PDF…")
            prominent: true
            enabled: !page.busy && page.ddd && page.ddd.hasReport
            onClicked: pdfDialog.open()
        }
    }

    // What file this is.
    Rectangle {
        Layout.fillWidth: true
        implicitHeight: head.implicitHeight + Math.round(16 * Theme.uiScale)
        color: Theme.surface
        border.color: Theme.border
        radius: Math.max(1, Math.round(3 * Theme.uiScale))
        GridLayout {
            id: head
            x: Math.round(10 * Theme.uiScale)
            y: Math.round(8 * Theme.uiScale)
            width: parent.width - 2 * x
            columns: 5
            columnSpacing: Math.round(18 * Theme.uiScale)
            rowSpacing: Math.round(2 * Theme.uiScale)
            Repeater {
                model: [[page.t("Файл", "File"), "dddFileName"], [page.t("Тип", "Type"), "dddFileType"],
                        [page.t("Размер", "Size"), "dddFileSize"], ["VIN", "dddVin"],
                        [page.t("События / неисправности", "Events / faults"), "dddCounts"]]
                AppLabel {
                    text: modelData[0]
                    secondary: true
                    font.pixelSize: Theme.uiPixelSize - 2
                    Layout.fillWidth: index === 0
                    wrapMode: Text.NoWrap
                }
            }
            AppLabel {
                objectName: "dddFileName"
                Layout.fillWidth: true
                Layout.preferredWidth: Math.round(200 * Theme.uiScale)
                text: page.ddd && page.ddd.fileName.length > 0 ? page.ddd.fileName
                      : page.ddd && page.ddd.hasReport ? page.t("сохранённый отчёт", "saved report") : "—"
                font.bold: true
                elide: Text.ElideMiddle
                wrapMode: Text.NoWrap
            }
            AppLabel {
                objectName: "dddFileType"
                text: page.ddd && page.ddd.hasReport
                      ? (page.ddd.reportKind === 2 ? page.t("Тахограф", "Vehicle unit") : page.t("Карта водителя", "Driver card"))
                      : "—"
                wrapMode: Text.NoWrap
            }
            AppLabel {
                objectName: "dddFileSize"
                text: page.ddd && page.ddd.hasReport ? page.sizeText(page.ddd.fileSize) : "—"
                wrapMode: Text.NoWrap
            }
            AppLabel {
                objectName: "dddVin"
                text: page.ddd && page.ddd.summary.vin ? page.ddd.summary.vin : "—"
                wrapMode: Text.NoWrap
            }
            AppLabel {
                objectName: "dddCounts"
                text: page.ddd && page.ddd.hasReport
                      ? "%1 / %2".arg(page.ddd.summary.eventCount).arg(page.ddd.summary.faultCount) : "—"
                wrapMode: Text.NoWrap
            }
        }
    }

    RowLayout {
        Layout.fillWidth: true
        Layout.fillHeight: true
        spacing: Math.round(10 * Theme.uiScale)

        Rectangle {
            Layout.preferredWidth: Math.round(300 * Theme.uiScale)
            Layout.fillHeight: true
            color: Theme.surface
            border.color: Theme.border
            ListView {
                id: sectionView
                objectName: "dddSectionList"
                anchors.fill: parent
                anchors.margins: 1
                clip: true
                model: page.sectionList
                ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }
                delegate: Rectangle {
                    objectName: "dddSection_" + modelData.key
                    width: sectionView.width
                    height: Math.max(32, Math.round(36 * Theme.uiScale))
                    readonly property bool current: modelData.key === page.currentSection
                    color: current ? Theme.selection : hover.hovered ? Theme.buttonHover : "transparent"
                    Rectangle {
                        visible: modelData.count === -1 && index > 0 && page.sectionList[index - 1].count !== -1
                        width: parent.width
                        height: 1
                        color: Theme.border
                    }
                    RowLayout {
                        anchors.fill: parent
                        anchors.leftMargin: Math.round(10 * Theme.uiScale)
                        anchors.rightMargin: Math.round(10 * Theme.uiScale)
                        AppLabel {
                            Layout.fillWidth: true
                            text: modelData.title
                            font.bold: modelData.key === page.currentSection
                            elide: Text.ElideRight
                            wrapMode: Text.NoWrap
                        }
                        AppLabel {
                            visible: modelData.count >= 0
                            text: modelData.count >= 0 ? String(modelData.count) : ""
                            secondary: true
                            wrapMode: Text.NoWrap
                        }
                    }
                    HoverHandler { id: hover }
                    TapHandler { onTapped: page.showSection(modelData.key) }
                }
            }
        }

        StackLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            currentIndex: page.datasetShown ? 0 : ["analysis", "charts", "reports"].indexOf(page.currentSection) + 1

            // Every dataset, one at a time.
            Rectangle {
                color: Theme.surface
                border.color: Theme.border
                DddDatasetView {
                    id: datasetView
                    objectName: "dddDatasetView"
                    anchors.fill: parent
                    anchors.margins: 1
                    english: page.english
                    onRowDoubleClicked: (row) => {
                        if (page.currentSection !== "blocks")
                            return
                        var block = page.ddd.blocks[row]
                        hexDialog.title = page.t("Блок ", "Block ") + block.fileNumber + " — " + block.name
                        hexDialog.hex = block.payloadHex
                        hexDialog.open()
                    }
                }
            }

            // The verdict on driving and rest.
            Flickable {
                id: analysisPane
                clip: true
                contentHeight: analysisColumn.implicitHeight
                boundsBehavior: Flickable.StopAtBounds
                ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }
                // Read only while shown: a long report's analysis is large to hand to QML.
                readonly property var analysis: page.ddd && page.currentSection === "analysis" ? page.ddd.analysis : ({})
                function value(group, key) {
                    var map = analysis[group]
                    return map && map[key] !== undefined && map[key] !== null ? String(map[key]) : "—"
                }
                ColumnLayout {
                    id: analysisColumn
                    width: analysisPane.width - Math.round(12 * Theme.uiScale)
                    spacing: Math.round(10 * Theme.uiScale)
                    AppLabel {
                        visible: !(page.ddd && page.ddd.hasReport)
                        text: page.t("Откройте файл .ddd или сохранённый отчёт", "Open a .ddd file or a saved report")
                        secondary: true
                    }
                    SectionBox {
                        visible: page.ddd && page.ddd.hasReport
                        title: page.t("Итоги", "Totals")
                        GridLayout {
                            objectName: "dddAnalysisFigures"
                            Layout.fillWidth: true
                            columns: 4
                            columnSpacing: Math.round(16 * Theme.uiScale)
                            Repeater {
                                model: [
                                    [page.t("Оценка соответствия", "Compliance score"), "compliance", "overallScore"],
                                    [page.t("Рабочее время", "Working time"), "efficiency", "totalWorkTime"],
                                    [page.t("Время отдыха", "Rest time"), "efficiency", "totalRestTime"],
                                    [page.t("Макс. непрерывное вождение", "Longest continuous driving"), "drivingCycles",
                                     "maxContinuousDriving"],
                                    [page.t("Дневное вождение (макс.)", "Daily driving (max)"), "drivingCycles",
                                     "dailyDrivingTime"],
                                    [page.t("Недельное вождение", "Weekly driving"), "drivingCycles", "weeklyDrivingTime"],
                                    [page.t("Двухнедельное вождение", "Fortnightly driving"), "drivingCycles",
                                     "biWeeklyDrivingTime"],
                                    [page.t("Ежедневный отдых", "Daily rest"), "restBreaks", "dailyRest"],
                                    [page.t("Еженедельный отдых", "Weekly rest"), "restBreaks", "weeklyRest"],
                                    [page.t("Сверхурочное время", "Overtime"), "workingHours", "totalOvertime"],
                                    [page.t("Короткие перерывы", "Short breaks"), "restBreaks", "shortBreakCount"],
                                    [page.t("Рабочих сессий", "Work sessions"), "efficiency", "sessionCount"]
                                ]
                                RowLayout {
                                    Layout.fillWidth: true
                                    Layout.columnSpan: 2
                                    AppLabel {
                                        Layout.fillWidth: true
                                        text: modelData[0]
                                        secondary: true
                                    }
                                    AppLabel {
                                        objectName: "dddFigure_" + modelData[2]
                                        text: analysisPane.value(modelData[1], modelData[2])
                                        font.bold: true
                                        wrapMode: Text.NoWrap
                                    }
                                }
                            }
                        }
                    }
                    Repeater {
                        model: [["violations", page.t("Нарушения", "Violations"), Theme.error],
                                ["warnings", page.t("Предупреждения", "Warnings"), Theme.warning],
                                ["recommendations", page.t("Рекомендации", "Recommendations"), Theme.info]]
                        SectionBox {
                            id: listBox
                            readonly property var texts: analysisPane.analysis.compliance
                                                         ? analysisPane.analysis.compliance[modelData[0]] : []
                            readonly property color tone: modelData[2]
                            readonly property string group: modelData[0]
                            visible: texts !== undefined && texts.length > 0
                            title: modelData[1]
                            Repeater {
                                model: listBox.texts
                                AppLabel {
                                    objectName: "dddAnalysis_" + listBox.group + "_" + index
                                    Layout.fillWidth: true
                                    text: "• " + modelData
                                    color: listBox.tone
                                }
                            }
                        }
                    }
                    SectionBox {
                        visible: page.ddd && page.ddd.hasReport
                        title: page.t("Рабочие дни", "Working days")
                        DddDatasetView {
                            objectName: "dddAnalysisDays"
                            Layout.fillWidth: true
                            Layout.preferredHeight: Math.round(320 * Theme.uiScale)
                            english: page.english
                            model: page.ddd ? page.ddd.datasetModel("analysisDays") : null
                            columns: page.columnsFor("analysisDays", model)
                        }
                    }
                }
            }

            // Charts of the report.
            ColumnLayout {
                id: chartPane
                spacing: Math.round(8 * Theme.uiScale)
                readonly property var chartNames: [
                    page.t("Активность за день", "Activity of the day"), page.t("Скорость", "Speed"),
                    page.t("Пробег по автомобилям", "Mileage by vehicle"), page.t("События", "Events"),
                    page.t("Неисправности", "Faults"), page.t("Одометр по дням", "Odometer by day"),
                    page.t("Места", "Places"), page.t("Калибровка", "Calibration"),
                    page.t("Рабочее время по дням", "Working time by day")
                ]
                readonly property var visualizationNames: [
                    page.t("Автоматически", "Automatic"), page.t("Столбцы", "Bars"), page.t("Линия", "Line"),
                    page.t("Точки", "Points"), page.t("Область", "Area"), page.t("Круговая", "Pie")
                ]
                property int chartType: 0
                property int visualizationType: 0
                property int dayIndex: 0
                readonly property var days: page.ddd ? page.ddd.activityDays : []
                onDaysChanged: dayIndex = 0
                RowLayout {
                    spacing: Math.round(8 * Theme.uiScale)
                    AppComboBox {
                        objectName: "dddChartType"
                        Layout.preferredWidth: Math.round(260 * Theme.uiScale)
                        model: chartPane.chartNames
                        value: chartPane.chartNames[chartPane.chartType]
                        onChosen: (value) => chartPane.chartType = chartPane.chartNames.indexOf(value)
                    }
                    AppComboBox {
                        objectName: "dddChartDay"
                        visible: chartPane.chartType === 0
                        Layout.preferredWidth: Math.round(250 * Theme.uiScale)
                        model: chartPane.days.map(function(day) { return day.label })
                        value: chartPane.days.length > chartPane.dayIndex
                               ? chartPane.days[chartPane.dayIndex].label : ""
                        onChosen: (value) => chartPane.dayIndex = model.indexOf(value)
                    }
                    AppButton {
                        objectName: "dddChartPreviousDay"
                        visible: chartPane.chartType === 0
                        text: "‹"
                        compact: true
                        implicitWidth: Math.round(44 * Theme.uiScale)
                        enabled: chartPane.dayIndex > 0
                        onClicked: chartPane.dayIndex -= 1
                    }
                    AppButton {
                        objectName: "dddChartNextDay"
                        visible: chartPane.chartType === 0
                        text: "›"
                        compact: true
                        implicitWidth: Math.round(44 * Theme.uiScale)
                        enabled: chartPane.dayIndex + 1 < chartPane.days.length
                        onClicked: chartPane.dayIndex += 1
                    }
                    AppComboBox {
                        objectName: "dddChartView"
                        visible: chartPane.chartType !== 0
                        Layout.preferredWidth: Math.round(190 * Theme.uiScale)
                        model: chartPane.visualizationNames
                        value: chartPane.visualizationNames[chartPane.visualizationType]
                        onChosen: (value) => chartPane.visualizationType = chartPane.visualizationNames.indexOf(value)
                    }
                    AppButton {
                        objectName: "dddChartZoomOut"
                        visible: chartPane.chartType !== 0
                        text: "−"
                        compact: true
                        implicitWidth: Math.round(44 * Theme.uiScale)
                        enabled: chartView.zoom > 1
                        onClicked: chartView.zoom -= 1
                    }
                    AppButton {
                        objectName: "dddChartZoomIn"
                        visible: chartPane.chartType !== 0
                        text: "+"
                        compact: true
                        implicitWidth: Math.round(44 * Theme.uiScale)
                        enabled: chartView.zoom < chartView.maximumZoom
                        onClicked: chartView.zoom += 1
                    }
                    Item { Layout.fillWidth: true }
                }
                Rectangle {
                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    color: Theme.surface
                    border.color: Theme.border
                    DddChart {
                        id: chartView
                        objectName: "dddChart"
                        anchors.fill: parent
                        anchors.margins: 1
                        english: page.english
                        chartType: chartPane.chartType
                        visualizationType: chartPane.visualizationType
                        readonly property string dayKey: chartPane.days.length > chartPane.dayIndex
                                                         ? chartPane.days[chartPane.dayIndex].key : ""
                        intervals: page.ddd && page.ddd.hasReport && chartType === 0
                                   ? page.ddd.activityIntervals(dayKey) : []
                        lanes: {
                            var names = []
                            for (var i = 0; i < intervals.length; ++i) {
                                var lane = intervals[i].lane
                                names[lane] = intervals[i].slot
                            }
                            return names
                        }
                        points: page.ddd && page.ddd.hasReport && chartType !== 0
                                ? page.ddd.chartPoints(chartType, zoom) : []
                        onChartTypeChanged: zoom = 1
                    }
                }
            }

            // The saved reports.
            ColumnLayout {
                spacing: Math.round(8 * Theme.uiScale)
                RowLayout {
                    AppLabel {
                        Layout.fillWidth: true
                        text: page.t("Сохранённые отчёты", "Saved reports")
                        font.bold: true
                    }
                    AppButton {
                        objectName: "dddRefreshReports"
                        text: page.t("Обновить", "Refresh")
                        compact: true
                        onClicked: page.ddd.refreshSavedReports()
                    }
                }
                Rectangle {
                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    color: Theme.surface
                    border.color: Theme.border
                    ListView {
                        id: savedList
                        objectName: "dddSavedReports"
                        anchors.fill: parent
                        anchors.margins: 1
                        clip: true
                        model: page.ddd ? page.ddd.savedReports : []
                        ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }
                        delegate: Rectangle {
                            id: savedRow
                            objectName: "dddSavedReport_" + index
                            width: savedList.width
                            height: Math.max(44, Math.round(50 * Theme.uiScale))
                            color: index % 2 === 0 ? Theme.surface : Theme.surfaceAlt
                            readonly property int typeCode: modelData.reportType === "Тахограф" ? 2 : 1
                            RowLayout {
                                anchors.fill: parent
                                anchors.leftMargin: Math.round(10 * Theme.uiScale)
                                anchors.rightMargin: Math.round(8 * Theme.uiScale)
                                spacing: Math.round(12 * Theme.uiScale)
                                AppLabel {
                                    Layout.preferredWidth: Math.round(60 * Theme.uiScale)
                                    text: "№" + modelData.reportId
                                    secondary: true
                                    wrapMode: Text.NoWrap
                                }
                                ColumnLayout {
                                    Layout.fillWidth: true
                                    spacing: 0
                                    AppLabel {
                                        objectName: "dddSavedLabel_" + index
                                        Layout.fillWidth: true
                                        text: page.savedLabel(modelData)
                                        font.bold: true
                                        elide: Text.ElideRight
                                        wrapMode: Text.NoWrap
                                    }
                                    AppLabel {
                                        Layout.fillWidth: true
                                        text: (page.english ? (savedRow.typeCode === 2 ? "Vehicle unit"
                                                                                                   : "Driver card")
                                                            : modelData.reportType)
                                              + " · " + (modelData.keyValue ? modelData.keyValue : "—")
                                              + " · " + modelData.reportDate
                                              + " · " + page.t("события / неисправности: ", "events / faults: ")
                                              + modelData.eventCount + " / " + modelData.faultCount
                                        secondary: true
                                        font.pixelSize: Theme.uiPixelSize - 2
                                        elide: Text.ElideRight
                                        wrapMode: Text.NoWrap
                                    }
                                }
                                AppButton {
                                    objectName: "dddSavedOpen_" + index
                                    text: page.t("Открыть", "Open")
                                    compact: true
                                    enabled: !page.busy
                                    onClicked: page.ddd.openSavedReport(modelData.reportId, savedRow.typeCode)
                                }
                                AppButton {
                                    objectName: "dddSavedDelete_" + index
                                    text: page.t("Удалить", "Delete")
                                    compact: true
                                    enabled: !page.busy
                                    onClicked: {
                                        deleteDialog.reportId = modelData.reportId
                                        deleteDialog.typeCode = savedRow.typeCode
                                        deleteDialog.label = page.savedLabel(modelData)
                                        deleteDialog.open()
                                    }
                                }
                            }
                        }
                        AppLabel {
                            anchors.centerIn: parent
                            visible: savedList.count === 0
                            text: page.t("Сохранённых отчётов нет", "No saved reports")
                            secondary: true
                        }
                    }
                }
            }
        }
    }

    // A block's bytes.
    AppDialog {
        id: hexDialog
        objectName: "dddHexDialog"
        property string hex: ""
        closePolicy: Popup.CloseOnEscape
        contentItem: ColumnLayout {
            spacing: Math.round(10 * Theme.uiScale)
            ScrollView {
                Layout.preferredWidth: Math.round(760 * Theme.uiScale)
                Layout.preferredHeight: Math.round(380 * Theme.uiScale)
                clip: true
                TextArea {
                    objectName: "dddHexText"
                    readOnly: true
                    wrapMode: TextEdit.WrapAnywhere
                    font.family: "monospace"
                    font.pixelSize: Theme.uiPixelSize - 2
                    color: Theme.text
                    background: Rectangle { color: Theme.input }
                    // Pairs of digits in groups of 16 bytes; a large block shows its first 64 KiB.
                    text: {
                        if (hexDialog.hex.length === 0)
                            return "Нет данных HEX"
                        var shown = hexDialog.hex.substring(0, 131072)
                        var lines = []
                        for (var i = 0; i < shown.length; i += 32)
                            lines.push(shown.substring(i, i + 32).replace(/(..)/g, "$1 ").trim())
                        return lines.join("\n") + (hexDialog.hex.length > shown.length ? "\n…" : "")
                    }
                }
            }
            AppButton {
                objectName: "dddHexCloseButton"
                Layout.alignment: Qt.AlignRight
                text: page.t("Закрыть", "Close")
                onClicked: hexDialog.close()
            }
        }
    }

    // What goes into the PDF, then where it goes.
    AppDialog {
        id: pdfDialog
        objectName: "dddPdfDialog"
        title: page.t("Экспорт отчёта в PDF", "Export the report to PDF")
        closePolicy: Popup.CloseOnEscape
        property var sectionChoices: ({})
        property var graphChoices: ({})
        onAboutToShow: {
            var sections = {}
            page.ddd.pdfSections().forEach(function(section) { sections[section.key] = true })
            sectionChoices = sections
            graphChoices = {}
            pathField.text = page.ddd.suggestedPdfPath()
        }
        function chosen(map) {
            return Object.keys(map).filter(function(key) { return map[key] })
        }
        contentItem: ColumnLayout {
            spacing: Math.round(10 * Theme.uiScale)
            RowLayout {
                spacing: Math.round(16 * Theme.uiScale)
                Layout.preferredHeight: Math.round(360 * Theme.uiScale)
                ColumnLayout {
                    Layout.alignment: Qt.AlignTop
                    Layout.fillHeight: true
                    AppLabel {
                        text: page.t("Разделы", "Sections")
                        font.bold: true
                    }
                    ListView {
                        id: sectionChecks
                        Layout.preferredWidth: Math.round(380 * Theme.uiScale)
                        Layout.fillHeight: true
                        clip: true
                        model: pdfDialog.opened || pdfDialog.visible ? page.ddd.pdfSections() : []
                        ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }
                        delegate: AppCheckBox {
                            objectName: "pdfSection_" + modelData.key
                            width: sectionChecks.width - Math.round(12 * Theme.uiScale)
                            text: modelData.title
                            checked: pdfDialog.sectionChoices[modelData.key] === true
                            onToggled: {
                                var map = Object.assign({}, pdfDialog.sectionChoices)
                                map[modelData.key] = checked
                                pdfDialog.sectionChoices = map
                            }
                        }
                    }
                }
                ColumnLayout {
                    Layout.alignment: Qt.AlignTop
                    Layout.fillHeight: true
                    AppLabel {
                        text: page.t("Графики", "Charts")
                        font.bold: true
                    }
                    ListView {
                        id: graphChecks
                        Layout.preferredWidth: Math.round(320 * Theme.uiScale)
                        Layout.fillHeight: true
                        clip: true
                        model: pdfDialog.opened || pdfDialog.visible ? page.ddd.pdfGraphs() : []
                        delegate: AppCheckBox {
                            objectName: "pdfGraph_" + modelData.key
                            width: graphChecks.width
                            text: modelData.title
                            checked: pdfDialog.graphChoices[modelData.key] === true
                            onToggled: {
                                var map = Object.assign({}, pdfDialog.graphChoices)
                                map[modelData.key] = checked
                                pdfDialog.graphChoices = map
                            }
                        }
                    }
                }
            }
            RowLayout {
                spacing: Math.round(8 * Theme.uiScale)
                AppTextField {
                    id: pathField
                    objectName: "dddPdfPath"
                    Layout.fillWidth: true
                }
                AppButton {
                    objectName: "dddPdfBrowseButton"
                    text: page.t("Обзор…", "Browse…")
                    onClicked: pathField.text = page.ddd.choosePdfPath(pathField.text)
                }
            }
            RowLayout {
                Layout.alignment: Qt.AlignRight
                spacing: Math.round(8 * Theme.uiScale)
                AppButton {
                    objectName: "dddPdfSaveButton"
                    text: page.t("Сохранить PDF", "Save PDF")
                    prominent: true
                    onClicked: {
                        var options = { sections: pdfDialog.chosen(pdfDialog.sectionChoices),
                                        graphs: pdfDialog.chosen(pdfDialog.graphChoices) }
                        if (page.ddd.exportReportPdf(pathField.text, options))
                            pdfDialog.close()
                    }
                }
                AppButton {
                    objectName: "dddPdfCancelButton"
                    text: page.t("Отмена", "Cancel")
                    onClicked: pdfDialog.close()
                }
            }
        }
    }

    AppMessageDialog {
        id: duplicateDialog
        objectName: "dddDuplicateDialog"
        property var existingId: 0
        title: page.t("Отчёт уже сохранён", "Report already saved")
        text: page.t("Этот отчёт уже сохранён (№%1).", "This report is already saved (No. %1).").arg(existingId)
    }

    AppMessageDialog {
        id: deleteDialog
        objectName: "dddDeleteDialog"
        property var reportId: 0
        property int typeCode: 1
        property string label: ""
        question: true
        title: page.t("Удаление отчёта", "Delete the report")
        text: page.t("Удалить сохранённый отчёт «%1» (№%2)?", "Delete the saved report “%1” (No. %2)?")
              .arg(label).arg(reportId)
        onAnswered: (yes) => {
            if (yes)
                page.ddd.deleteSavedReport(reportId, typeCode)
        }
    }

    AppMessageDialog {
        id: messageDialog
        objectName: "dddMessage"
    }

    DddFilePreviewDialog {
        id: filePreview
        app: page.app
        controller: page.app ? page.app.download : null
    }
}
