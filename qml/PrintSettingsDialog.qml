import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// How the previewed document goes to paper: the printer (the one the settings name for this kind of
// document first), paper, orientation, copies, colour, duplex and scale.
AppDialog {
    id: dialog
    objectName: "printSettingsDialog"
    title: "Параметры печати"
    closePolicy: Popup.CloseOnEscape
    property var documents: null
    readonly property bool sticker: documents ? documents.previewIsSticker : false
    readonly property var papers: sticker
        ? [["A4", "A4"], ["A5", "A5"], ["Letter", "Letter"], ["driver", "Размер ленты из драйвера (рекомендуется)"],
           ["sticker", "Наклейка 100 × 18,6 мм (заданный размер)"]]
        : [["A4", "A4"], ["A5", "A5"], ["Letter", "Letter"]]
    readonly property var orientations: ["Книжная", "Альбомная"]
    readonly property var colours: ["Цветная", "Чёрно-белая"]
    readonly property var duplexModes: ["Без двусторонней печати", "По длинной стороне", "По короткой стороне"]
    readonly property var scales: ["По размеру страницы", "100%"]
    property string printerName
    property string paper
    property string orientation
    property string colour
    property string duplex
    property string scaleMode
    property string failure

    function paperText(key) {
        for (var i = 0; i < papers.length; ++i) {
            if (papers[i][0] === key)
                return papers[i][1]
        }
        return ""
    }
    function paperKey(text) {
        for (var i = 0; i < papers.length; ++i) {
            if (papers[i][1] === text)
                return papers[i][0]
        }
        return "A4"
    }
    function printDocument() {
        failure = ""
        var options = {
            printerName: printerName,
            paper: paper,
            orientation: orientation === orientations[1] ? "landscape" : "portrait",
            copies: copies.value,
            color: colour === colours[0],
            duplex: duplexModes.indexOf(duplex),
            fitToPage: scaleMode === scales[0]
        }
        if (documents.printPreview(options)) {
            close()
            return
        }
        failure = documents.lastError.length > 0 ? documents.lastError
                : documents.statusText === "Печать отменена" ? documents.statusText : "Печать не выполнена."
    }

    onAboutToShow: {
        failure = ""
        printerName = settings ? (sticker ? settings.printerLabel : settings.printerAct) : "По умолчанию"
        paper = papers[sticker ? 3 : 0][0]
        orientation = orientations[0]
        colour = colours[0]
        duplex = duplexModes[0]
        scaleMode = scales[0]
        copies.value = 1
    }

    contentItem: ColumnLayout {
        spacing: Math.round(10 * Theme.uiScale)
        FormRow {
            label: "Принтер:"
            labelWidth: Math.round(200 * Theme.uiScale)
            AppComboBox {
                objectName: "printPrinter"
                Layout.preferredWidth: Math.round(420 * Theme.uiScale)
                model: dialog.settings ? dialog.settings.printers : []
                value: dialog.printerName
                onChosen: (value) => dialog.printerName = value
            }
        }
        FormRow {
            label: "Бумага:"
            labelWidth: Math.round(200 * Theme.uiScale)
            AppComboBox {
                objectName: "printPaper"
                Layout.preferredWidth: Math.round(420 * Theme.uiScale)
                model: dialog.papers.map(function(paper) { return paper[1] })
                value: dialog.paperText(dialog.paper)
                onChosen: (value) => dialog.paper = dialog.paperKey(value)
            }
        }
        FormRow {
            label: "Ориентация:"
            labelWidth: Math.round(200 * Theme.uiScale)
            AppComboBox {
                objectName: "printOrientation"
                Layout.preferredWidth: Math.round(420 * Theme.uiScale)
                model: dialog.orientations
                value: dialog.orientation
                onChosen: (value) => dialog.orientation = value
            }
        }
        FormRow {
            label: "Копии:"
            labelWidth: Math.round(200 * Theme.uiScale)
            SpinBox {
                id: copies
                objectName: "printCopies"
                from: 1
                to: 99
                editable: true
                Layout.preferredWidth: Math.round(160 * Theme.uiScale)
                implicitHeight: Math.max(32, Math.round(38 * Theme.uiScale))
                font.pixelSize: Theme.uiPixelSize
                palette.text: Theme.text
                palette.base: Theme.input
                palette.button: Theme.button
                palette.buttonText: Theme.text
            }
        }
        FormRow {
            label: "Цвет:"
            labelWidth: Math.round(200 * Theme.uiScale)
            AppComboBox {
                objectName: "printColour"
                Layout.preferredWidth: Math.round(420 * Theme.uiScale)
                model: dialog.colours
                value: dialog.colour
                onChosen: (value) => dialog.colour = value
            }
        }
        FormRow {
            label: "Двусторонняя печать:"
            labelWidth: Math.round(200 * Theme.uiScale)
            AppComboBox {
                objectName: "printDuplex"
                Layout.preferredWidth: Math.round(420 * Theme.uiScale)
                model: dialog.duplexModes
                value: dialog.duplex
                onChosen: (value) => dialog.duplex = value
            }
        }
        FormRow {
            label: "Масштаб:"
            labelWidth: Math.round(200 * Theme.uiScale)
            AppComboBox {
                objectName: "printScale"
                Layout.preferredWidth: Math.round(420 * Theme.uiScale)
                model: dialog.scales
                value: dialog.scaleMode
                onChosen: (value) => dialog.scaleMode = value
            }
        }
        AppLabel {
            objectName: "printFailure"
            Layout.fillWidth: true
            Layout.preferredWidth: Math.round(580 * Theme.uiScale)
            visible: dialog.failure.length > 0
            text: dialog.failure
            color: dialog.failure === "Печать отменена" ? Theme.secondaryText : Theme.error
        }
        RowLayout {
            Layout.alignment: Qt.AlignRight
            spacing: Math.round(8 * Theme.uiScale)
            AppButton {
                objectName: "printSettingsPrintButton"
                text: "Печать"
                prominent: true
                onClicked: dialog.printDocument()
            }
            AppButton {
                objectName: "printSettingsCancelButton"
                text: "Отмена"
                onClicked: dialog.close()
            }
        }
    }
}
