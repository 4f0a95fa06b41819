import QtQuick
import QtQuick.Controls

// Run by --qml-navigation-test against the real, hidden window: goes where a master goes, through the
// window's own openPage and each page's way back, and ends the program with 0, or 1 at the first fault.
QtObject {
    id: test
    property var window: null
    property string testFilePath: ""
    property int step: 0
    property var stack: null

    function fail(text) {
        console.warn("Навигационный тест: " + text)
        Qt.exit(1)
    }
    function expect(condition, text) {
        if (!condition)
            fail(text)
        return condition
    }
    function find(item, name) {
        if (!item)
            return null
        if (item.objectName === name)
            return item
        var children = item.children
        for (var i = 0; i < children.length; ++i) {
            var found = find(children[i], name)
            if (found)
                return found
        }
        return null
    }

    // Each step waits for the stack to settle before it acts.
    readonly property var actions: [
        function() {
            stack = find(window.contentItem, "navigationStack")
            return expect(stack !== null && stack.depth === 1, "главное меню не в корне стека")
                && expect(window.title === "Норвелика: Тахория", "заголовок окна: " + window.title)
        },
        function() {
            return expect(window.openPage("SettingsPage.qml", false) !== null, "страница настроек не открылась")
        },
        function() {
            return expect(stack.depth === 2 && window.title === "Настройки программы",
                          "настройки: глубина " + stack.depth + ", заголовок " + window.title)
        },
        function() {
            var tabs = find(stack.currentItem, "settingsTabs")
            if (!expect(tabs !== null && tabs.count === 6, "вкладок настроек не шесть"))
                return false
            for (var i = 0; i < tabs.count; ++i)
                tabs.currentIndex = i
            tabs.currentIndex = 0
            return true
        },
        function() {
            stack.currentItem.backRequested()
            return true
        },
        function() {
            return expect(stack.depth === 1 && window.title === "Норвелика: Тахория", "возврат в меню не удался")
        },
        function() {
            // The page's component is kept: a second visit builds it from the same one.
            return expect(window.openPage("SettingsPage.qml", false) !== null
                          && Object.keys(window.pageComponents).length === 1, "повторное открытие настроек")
        },
        function() {
            stack.currentItem.backRequested()
            return true
        },
        // The pages that hold the port: opening pauses the watch, every way back resumes it.
        function() {
            var page = window.openPage("CalibrationPage.qml", true)
            if (!expect(page !== null, "страница настройки не открылась"))
                return false
            page.autoRead = false
            return true
        },
        function() {
            if (!expect(stack.depth === 2 && window.title === "Настройка тахографа"
                        && window.controller.monitoringPaused, "настройка: глубина " + stack.depth
                        + ", заголовок " + window.title))
                return false
            var tabs = find(stack.currentItem, "calibrationTabs")
            if (!expect(tabs !== null && tabs.count === 5, "вкладок настройки не пять"))
                return false
            for (var i = 0; i < tabs.count; ++i)
                tabs.currentIndex = i
            tabs.currentIndex = 0
            stack.currentItem.backRequested()
            return true
        },
        function() {
            return expect(stack.depth === 1 && !window.controller.monitoringPaused, "возврат из настройки не удался")
        },
        function() {
            return expect(window.openPage("DownloadPage.qml", true) !== null, "страница выгрузки не открылась")
        },
        function() {
            if (!expect(stack.depth === 2 && window.title === "Выгрузка тахографа"
                        && window.controller.monitoringPaused, "выгрузка: заголовок " + window.title))
                return false
            stack.currentItem.backRequested()
            return true
        },
        function() {
            return expect(stack.depth === 1 && !window.controller.monitoringPaused, "возврат из выгрузки не удался")
        },
        function() {
            return expect(window.openPage("DocumentsPage.qml", false) !== null, "страница документов не открылась")
        },
        function() {
            var tabs = find(stack.currentItem, "documentsTabs")
            if (!expect(stack.depth === 2 && window.title === "Документы" && tabs !== null && tabs.count === 2,
                        "документы: глубина " + stack.depth + ", заголовок " + window.title))
                return false
            // Without a chosen record the documents' tab stays closed.
            return expect(!tabs.itemAt(1).enabled, "вкладка документации открыта без записи")
        },
        function() {
            stack.currentItem.backRequested()
            return true
        },
        function() {
            return expect(stack.depth === 1, "возврат из документов не удался")
        },
        function() {
            if (testFilePath.length > 0 && window.controller.pageAvailable("DddPage.qml"))
                return expect(window.openPage("DddPage.qml", false) !== null, "страница расшифровки не открылась")
            step = actions.length - 1 // without a file the walk ends here
            return true
        },
        function() {
            return expect(stack.currentItem.objectName === "dddPage", "на вершине стека не страница расшифровки")
                && expect(window.controller.ddd.openFile(testFilePath), "разбор не начат: "
                          + window.controller.ddd.lastError)
        },
        function() {
            var ddd = window.controller.ddd
            if (ddd.busy)
                return "wait"
            return expect(ddd.hasReport && ddd.lastError.length === 0, "файл не разобран: " + ddd.lastError)
                && expect(ddd.statusText === "Разбор завершён", "состояние: " + ddd.statusText)
                && expect(ddd.datasetCounts.blocks > 0, "у файла нет блоков")
        },
        function() {
            // Every section of the file, then the analysis, the charts and the saved reports.
            var page = stack.currentItem
            var view = find(page, "dddDatasetView")
            if (!expect(view !== null && view.rowCount > 0, "таблица первого раздела пуста"))
                return false
            var sections = page.sectionList
            for (var i = 0; i < sections.length; ++i) {
                page.showSection(sections[i].key)
                if (!expect(page.currentSection === sections[i].key, "раздел не открылся: " + sections[i].key))
                    return false
                if (sections[i].count > 0 && !expect(view.rowCount === sections[i].count,
                                                     "в разделе " + sections[i].key + " строк " + view.rowCount
                                                     + " вместо " + sections[i].count))
                    return false
            }
            return true
        },
        function() {
            stack.currentItem.backRequested()
            return true
        },
        function() {
            return expect(stack.depth === 1, "возврат со страницы расшифровки не удался")
        },
        function() {
            Qt.exit(0)
            return false
        }
    ]

    property Timer driver: Timer {
        interval: 50
        repeat: true
        running: test.window !== null
        onTriggered: {
            if (test.stack && test.stack.busy)
                return
            var action = test.actions[test.step]
            test.step += 1
            // An action that waits for its condition is tried again at the next tick.
            var result = action()
            if (result === "wait")
                test.step -= 1
            else if (!result)
                stop()
        }
    }
}
