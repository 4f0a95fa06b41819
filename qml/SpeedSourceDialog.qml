import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The unit watches its inputs for a while and reports which of them carry a speed.
AppDialog {
    id: dialog
    objectName: "speedSourceDialog"
    property var controller: null
    property var sources: []
    property int chosenIndex: -1
    property bool searching: false
    title: qsTr("Автоматическое определение источника скорости")
    closePolicy: Popup.CloseOnEscape
    readonly property int mask: controller ? controller.sourceSpeedMask : -1

    onOpened: chosenIndex = -1
    // Leaving while the unit still searches ends the search.
    onClosed: {
        if (searching && controller && controller.busy)
            controller.cancelSourceSpeedSearch()
        searching = false
    }
    Connections {
        target: dialog.controller
        function onStateChanged() {
            if (dialog.searching && !dialog.controller.busy)
                dialog.searching = false
        }
    }

    function suffix(index) {
        if (mask < 0)
            return ""
        return (mask & (1 << index)) ? qsTr(" (доступен)") : qsTr(" (не найден)")
    }

    Timer {
        id: searchDelay
        interval: 60
        onTriggered: {
            dialog.controller.findSourceSpeed()
            dialog.searching = dialog.controller.busy
        }
    }

    contentItem: ColumnLayout {
        spacing: Math.round(10 * Theme.uiScale)
        ButtonGroup {
            id: group
        }
        Repeater {
            model: dialog.sources
            RadioButton {
                objectName: "sourceRow" + index
                text: modelData + dialog.suffix(index)
                font.pixelSize: Theme.uiPixelSize
                ButtonGroup.group: group
                enabled: index < 4 && dialog.mask >= 0 && (dialog.mask & (1 << index)) !== 0
                checked: dialog.chosenIndex === index
                onClicked: dialog.chosenIndex = index
                contentItem: Text {
                    text: parent.text
                    font: parent.font
                    color: parent.enabled ? Theme.text : Theme.disabledText
                    leftPadding: parent.indicator.width + parent.spacing
                    verticalAlignment: Text.AlignVCenter
                }
            }
        }
        AppLabel {
            objectName: "sourceStatus"
            Layout.preferredWidth: Math.round(520 * Theme.uiScale)
            text: dialog.controller ? dialog.controller.statusText : ""
            color: dialog.controller && dialog.controller.lastError.length > 0 ? Theme.error : Theme.secondaryText
        }
        RowLayout {
            Layout.alignment: Qt.AlignRight
            spacing: Math.round(8 * Theme.uiScale)
            BusyIndicator {
                running: dialog.searching || searchDelay.running
                visible: running
                implicitWidth: Math.round(30 * Theme.uiScale)
                implicitHeight: implicitWidth
            }
            AppButton {
                objectName: "sourceSearchButton"
                text: qsTr("Поиск")
                enabled: dialog.controller && dialog.controller.connected && !dialog.controller.busy
                onClicked: {
                    dialog.chosenIndex = -1
                    searchDelay.start()
                }
            }
            AppButton {
                objectName: "sourceChooseButton"
                text: qsTr("Выбор")
                prominent: true
                enabled: dialog.chosenIndex >= 0 && dialog.controller && !dialog.controller.busy
                onClicked: {
                    if (dialog.controller.applyDetectedSourceSpeed(dialog.chosenIndex))
                        dialog.close()
                }
            }
            AppButton {
                objectName: "sourceCloseButton"
                text: qsTr("Закрыть")
                onClicked: dialog.close()
            }
        }
    }
}
