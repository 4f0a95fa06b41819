import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// One dataset of a report as a table: titled columns whose widths drag, rows drawn only as they scroll
// into view (a unit's year of activity changes is tens of thousands of rows). On a narrow phone screen each
// row is a list of key and value pairs instead.
Item {
    id: view
    // A table model of the DDD controller, and the columns as [{key, title, width}].
    property var model: null
    property var columns: []
    property bool english: false
    property string emptyText: english ? "No data" : "Нет данных"
    signal rowDoubleClicked(int row)

    readonly property bool keyValueMode: Qt.platform.os === "android" && width < 600
    readonly property int rowHeight: Math.max(26, Math.round(30 * Theme.uiScale))
    readonly property int rowCount: model ? model.rowCount : 0
    property var widths: []

    // Values the decoder writes in Russian, for the English page.
    readonly property var englishValues: ({
        "Вставлена": "Inserted", "Не вставлена": "Not inserted", "Вождение": "Driving", "Работа": "Work",
        "Готовность": "Availability", "Доступность": "Availability", "Отдых": "Rest", "Перерыв": "Break",
        "Неизвестно": "Unknown", "Водитель": "Driver", "Второй водитель": "Co-driver", "Один": "Single",
        "Экипаж": "Crew", "Начало": "Begin", "Окончание": "End", "Тахограф": "Tachograph",
        "Карта водителя": "Driver card", "Да": "Yes", "Нет": "No"
    })
    function localizedValue(key, value) {
        if (!english || value === undefined || value === null)
            return value === undefined || value === null ? "" : String(value)
        var text = String(value)
        return englishValues[text] !== undefined ? englishValues[text] : text
    }

    function resetWidths() {
        var list = []
        for (var i = 0; i < columns.length; ++i)
            list.push(Math.round((columns[i].width || 140) * Theme.uiScale))
        widths = list
        if (model)
            model.columns = columns.map(function(column) { return column.key })
        table.forceLayout()
    }
    onColumnsChanged: resetWidths()
    onModelChanged: resetWidths()

    function totalWidth() {
        var sum = 0
        for (var i = 0; i < widths.length; ++i)
            sum += widths[i]
        return sum
    }

    // The header scrolls sideways with the table.
    Rectangle {
        id: header
        visible: !view.keyValueMode
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        height: visible ? Math.max(28, Math.round(32 * Theme.uiScale)) : 0
        color: Theme.surfaceAlt
        border.color: Theme.border
        clip: true
        Row {
            x: -table.contentX
            height: parent.height
            Repeater {
                model: view.columns
                Item {
                    width: view.widths[index] !== undefined ? view.widths[index] : 0
                    height: header.height
                    Label {
                        anchors.fill: parent
                        anchors.leftMargin: Math.round(6 * Theme.uiScale)
                        anchors.rightMargin: Math.round(8 * Theme.uiScale)
                        text: modelData.title
                        font.pixelSize: Theme.uiPixelSize - 1
                        font.bold: true
                        color: Theme.text
                        elide: Text.ElideRight
                        verticalAlignment: Text.AlignVCenter
                    }
                    Rectangle {
                        anchors.right: parent.right
                        width: 1
                        height: parent.height
                        color: Theme.border
                    }
                    // The column's edge drags its width.
                    MouseArea {
                        objectName: "columnHandle_" + modelData.key
                        anchors.right: parent.right
                        width: Math.round(8 * Theme.uiScale)
                        height: parent.height
                        cursorShape: Qt.SplitHCursor
                        property real pressX: 0
                        property real startWidth: 0
                        onPressed: (mouse) => {
                            pressX = mapToItem(header, mouse.x, 0).x
                            startWidth = view.widths[index]
                        }
                        onPositionChanged: (mouse) => {
                            var list = view.widths.slice()
                            list[index] = Math.max(Math.round(40 * Theme.uiScale),
                                                   startWidth + mapToItem(header, mouse.x, 0).x - pressX)
                            view.widths = list
                            table.forceLayout()
                        }
                    }
                }
            }
        }
    }

    TableView {
        id: table
        objectName: "datasetTable"
        visible: !view.keyValueMode
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: header.bottom
        anchors.bottom: parent.bottom
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        model: view.keyValueMode ? null : view.model
        columnWidthProvider: function(column) {
            return view.widths[column] !== undefined ? view.widths[column] : 0
        }
        rowHeightProvider: function() { return view.rowHeight }
        ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }
        ScrollBar.horizontal: ScrollBar { policy: ScrollBar.AsNeeded }
        delegate: Rectangle {
            objectName: "datasetCell_" + row + "_" + column
            implicitHeight: view.rowHeight
            color: row % 2 === 0 ? Theme.surface : Theme.surfaceAlt
            Rectangle {
                anchors.right: parent.right
                width: 1
                height: parent.height
                color: Theme.paletteMid
                opacity: 0.5
            }
            Label {
                anchors.fill: parent
                anchors.leftMargin: Math.round(6 * Theme.uiScale)
                anchors.rightMargin: Math.round(6 * Theme.uiScale)
                text: view.localizedValue(view.columns[column] ? view.columns[column].key : "", display)
                font.pixelSize: Theme.uiPixelSize - 1
                color: Theme.text
                elide: Text.ElideRight
                verticalAlignment: Text.AlignVCenter
            }
            TapHandler {
                onDoubleTapped: view.rowDoubleClicked(row)
            }
        }
    }

    // A row as key and value pairs, for a narrow screen.
    ListView {
        id: pairs
        visible: view.keyValueMode
        anchors.fill: parent
        clip: true
        model: view.keyValueMode ? view.rowCount : 0
        spacing: Math.round(6 * Theme.uiScale)
        delegate: Rectangle {
            id: pairRow
            readonly property int rowIndex: index
            width: pairs.width
            height: pairColumn.implicitHeight + Math.round(12 * Theme.uiScale)
            color: index % 2 === 0 ? Theme.surface : Theme.surfaceAlt
            Column {
                id: pairColumn
                x: Math.round(6 * Theme.uiScale)
                y: Math.round(6 * Theme.uiScale)
                width: parent.width - 2 * x
                Repeater {
                    model: view.columns
                    AppLabel {
                        width: pairColumn.width
                        text: modelData.title + ": " + view.localizedValue(modelData.key,
                                                                            view.model.cellText(pairRow.rowIndex, modelData.key))
                    }
                }
            }
            TapHandler {
                onDoubleTapped: view.rowDoubleClicked(index)
            }
        }
    }

    AppLabel {
        objectName: "datasetEmpty"
        anchors.centerIn: parent
        visible: view.rowCount === 0
        text: view.emptyText
        secondary: true
    }
}
