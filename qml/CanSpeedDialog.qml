import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The unit listens on one channel and reports the speed and identifier width it heard.
AppDialog {
    id: dialog
    objectName: "canSpeedDialog"
    property var controller: null
    property int canNumber: 0
    property bool searched: false
    title: qsTr("Автоматическое определение скорости CAN")
    closePolicy: Popup.CloseOnEscape
    readonly property var speeds: [qsTr("125 кбит/с"), qsTr("250 кбит/с"), qsTr("500 кбит/с"), qsTr("1000 кбит/с")]

    function openFor(channel) {
        canNumber = channel
        searched = false
        open()
    }

    readonly property string resultText: {
        if (!controller || !searched)
            return ""
        if (controller.busy)
            return controller.statusText
        if (controller.canDetectionAvailable)
            return qsTr("Определено: ") + (speeds[controller.canDetectedSpeed] || controller.canDetectedSpeed + "")
                   + ", " + (controller.canDetectedIdentifier === 1 ? qsTr("29 бит") : qsTr("11 бит")) + "."
        return controller.lastError.length > 0 ? controller.lastError : qsTr("Скорость CAN не определена.")
    }

    // The status paints before the search blocks the link.
    Timer {
        id: searchDelay
        interval: 60
        onTriggered: dialog.controller.detectCan(dialog.canNumber)
    }

    contentItem: ColumnLayout {
        spacing: Math.round(12 * Theme.uiScale)
        AppLabel {
            Layout.preferredWidth: Math.round(520 * Theme.uiScale)
            text: qsTr("Канал CAN") + (dialog.canNumber + 1) + qsTr(". Тахограф прослушивает шину и определяет скорость ")
                  + qsTr("и разрядность идентификаторов. Двигатель автомобиля должен работать.")
            secondary: true
        }
        AppLabel {
            objectName: "canSpeedStatus"
            Layout.preferredWidth: Math.round(520 * Theme.uiScale)
            text: dialog.resultText
            color: dialog.controller && !dialog.controller.busy && !dialog.controller.canDetectionAvailable
                   ? Theme.error : Theme.text
        }
        RowLayout {
            Layout.alignment: Qt.AlignRight
            spacing: Math.round(8 * Theme.uiScale)
            BusyIndicator {
                running: dialog.controller ? dialog.controller.busy : false
                visible: running
                implicitWidth: Math.round(30 * Theme.uiScale)
                implicitHeight: implicitWidth
            }
            AppButton {
                objectName: "canSearchButton"
                text: qsTr("Поиск")
                enabled: dialog.controller && dialog.controller.connected && !dialog.controller.busy
                onClicked: {
                    dialog.searched = true
                    searchDelay.start()
                }
            }
            AppButton {
                objectName: "canChooseButton"
                text: qsTr("Выбор")
                prominent: true
                enabled: dialog.controller && dialog.controller.canDetectionAvailable && !dialog.controller.busy
                onClicked: {
                    if (dialog.controller.applyDetectedCan(dialog.canNumber))
                        dialog.close()
                }
            }
            AppButton {
                objectName: "canCloseButton"
                text: qsTr("Закрыть")
                onClicked: dialog.close()
            }
        }
    }
}
