import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The document just made, as the customer will get it: the preview picture at a chosen zoom, the
// status, and the way to print it.
AppDialog {
    id: dialog
    objectName: "documentPreview"
    property var documents: null
    readonly property string source: documents ? documents.previewSource : ""
    title: documents ? documents.previewTitle : ""
    closePolicy: Popup.CloseOnEscape
    width: parent ? Math.min(Math.round(1100 * Theme.uiScale), parent.width - 40) : 900
    height: parent ? Math.min(Math.round(820 * Theme.uiScale), parent.height - 60) : 640

    readonly property var zoomModes: ["По размеру окна", "По ширине", "50%", "100%", "200%"]
    property string zoomMode: zoomModes[0]
    // The picture's scale against its own pixels.
    readonly property real zoom: {
        if (picture.implicitWidth <= 0 || picture.implicitHeight <= 0)
            return 1
        var margin = 2 * Math.round(16 * Theme.uiScale)
        var byWidth = (view.width - margin) / picture.implicitWidth
        if (zoomMode === zoomModes[0])
            return Math.min(byWidth, (view.height - margin) / picture.implicitHeight)
        if (zoomMode === zoomModes[1])
            return byWidth
        return parseInt(zoomMode) / 100
    }
    onOpened: zoomMode = zoomModes[0]

    contentItem: ColumnLayout {
        spacing: Math.round(10 * Theme.uiScale)
        RowLayout {
            Layout.fillWidth: true
            spacing: Math.round(8 * Theme.uiScale)
            AppLabel { text: "Масштаб:" }
            AppComboBox {
                objectName: "previewZoom"
                Layout.preferredWidth: Math.round(220 * Theme.uiScale)
                model: dialog.zoomModes
                value: dialog.zoomMode
                onChosen: (value) => dialog.zoomMode = value
            }
            Item { Layout.fillWidth: true }
        }
        Rectangle {
            Layout.fillWidth: true
            Layout.fillHeight: true
            color: Theme.dark ? "#14181d" : "#c8ccd0"
            border.width: 1
            border.color: Theme.border
            Flickable {
                id: view
                anchors.fill: parent
                anchors.margins: 1
                clip: true
                contentWidth: Math.max(width, sheet.width + 2 * Math.round(16 * Theme.uiScale))
                contentHeight: Math.max(height, sheet.height + 2 * Math.round(16 * Theme.uiScale))
                boundsBehavior: Flickable.StopAtBounds
                ScrollBar.vertical: ScrollBar {}
                ScrollBar.horizontal: ScrollBar {}
                Rectangle {
                    id: sheet
                    visible: picture.status === Image.Ready
                    x: (view.contentWidth - width) / 2
                    y: (view.contentHeight - height) / 2
                    width: Math.round(picture.implicitWidth * dialog.zoom) + 2
                    height: Math.round(picture.implicitHeight * dialog.zoom) + 2
                    color: "#ffffff"
                    border.width: 1
                    border.color: "#808080"
                    Image {
                        id: picture
                        objectName: "previewImage"
                        anchors.fill: parent
                        anchors.margins: 1
                        source: dialog.source
                        cache: false
                        smooth: true
                        mipmap: true
                        fillMode: Image.PreserveAspectFit
                    }
                }
            }
            AppLabel {
                objectName: "previewUnavailable"
                anchors.centerIn: parent
                visible: picture.status !== Image.Ready
                secondary: true
                text: "Предпросмотр недоступен"
            }
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: Math.round(8 * Theme.uiScale)
            AppLabel {
                objectName: "previewStatus"
                Layout.fillWidth: true
                text: !dialog.documents ? "" : dialog.documents.lastError.length > 0 ? dialog.documents.lastError
                                                                                     : dialog.documents.statusText
                color: dialog.documents && dialog.documents.lastError.length > 0 ? Theme.error : Theme.secondaryText
                elide: Text.ElideRight
                maximumLineCount: 2
            }
            AppButton {
                objectName: "previewPrintButton"
                text: "Печать…"
                prominent: true
                enabled: picture.status === Image.Ready
                onClicked: printSettings.open()
            }
            AppButton {
                objectName: "previewCloseButton"
                text: "Закрыть"
                onClicked: dialog.close()
            }
        }
    }

    PrintSettingsDialog {
        id: printSettings
        documents: dialog.documents
        settings: dialog.settings
    }
}
