import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// A typed value with a list to pick from, such as a port: the system does not list every port a master
// uses, so a typed path counts as much as a listed one. Only the master's own edits and picks change
// the value; a list that refreshes underneath never does.
FocusScope {
    id: field
    property string value
    property var model: []
    property alias placeholderText: input.placeholderText
    property alias textField: input
    signal edited(string value)
    implicitHeight: input.implicitHeight
    implicitWidth: Math.round(320 * Theme.uiScale)

    RowLayout {
        anchors.fill: parent
        spacing: 0
        AppTextField {
            id: input
            objectName: field.objectName + "Input"
            Layout.fillWidth: true
            focus: true
            text: field.value
            onTextEdited: field.edited(text)
        }
        AppButton {
            objectName: field.objectName + "List"
            compact: true
            implicitWidth: input.implicitHeight
            implicitHeight: input.implicitHeight
            text: "▾"
            enabled: field.enabled && field.model && field.model.length > 0
            Accessible.name: "Выбрать из списка"
            onClicked: choices.open()
        }
    }

    Popup {
        id: choices
        y: field.height
        width: field.width
        padding: 1
        height: Math.min(list.contentHeight + 2, Math.round(300 * Theme.uiScale))
        background: Rectangle {
            color: Theme.surface
            border.color: Theme.border
        }
        contentItem: ListView {
            id: list
            clip: true
            model: field.model
            ScrollBar.vertical: ScrollBar {}
            delegate: ItemDelegate {
                width: list.width
                height: Math.max(30, Math.round(34 * Theme.uiScale))
                text: modelData
                font.pixelSize: Theme.uiPixelSize
                highlighted: modelData === field.value
                contentItem: Text {
                    text: modelData
                    font.pixelSize: Theme.uiPixelSize
                    color: Theme.text
                    elide: Text.ElideMiddle
                    verticalAlignment: Text.AlignVCenter
                }
                background: Rectangle {
                    color: parent.highlighted || parent.hovered ? Theme.selection : Theme.surface
                }
                onClicked: {
                    choices.close()
                    field.edited(modelData)
                }
            }
        }
    }
}
