import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The shop's masters: search by any part of the name, add, rename, remove (a removed master stays in
// the documents that name him and can be restored).
AppDialog {
    id: dialog
    objectName: "masterDirectory"
    title: "Справочник мастеров"
    closePolicy: Popup.CloseOnEscape
    property int editedId: -1
    width: Math.min(Math.round(720 * Theme.uiScale), parent ? parent.width - 40 : 720)
    height: Math.min(Math.round(560 * Theme.uiScale), parent ? parent.height - 40 : 560)

    function refresh() {
        settings.refreshMastersFiltered(searchField.text, showInactive.checked)
    }
    onOpened: {
        editedId = -1
        nameField.text = ""
        refresh()
    }

    contentItem: ColumnLayout {
        spacing: Math.round(10 * Theme.uiScale)
        RowLayout {
            Layout.fillWidth: true
            AppTextField {
                id: searchField
                objectName: "masterSearch"
                Layout.fillWidth: true
                placeholderText: "Поиск по ФИО"
                onTextChanged: dialog.refresh()
            }
            AppCheckBox {
                id: showInactive
                objectName: "masterShowInactive"
                text: "Показывать удалённых"
                onToggled: dialog.refresh()
            }
        }
        ListView {
            id: list
            objectName: "masterList"
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: dialog.settings ? dialog.settings.masters : []
            ScrollBar.vertical: ScrollBar {}
            delegate: Rectangle {
                width: list.width
                height: row.implicitHeight + Math.round(8 * Theme.uiScale)
                color: index % 2 ? Theme.surfaceAlt : Theme.surface
                RowLayout {
                    id: row
                    anchors.fill: parent
                    anchors.leftMargin: Math.round(8 * Theme.uiScale)
                    anchors.rightMargin: Math.round(8 * Theme.uiScale)
                    AppLabel {
                        Layout.fillWidth: true
                        text: modelData.fullName
                        color: modelData.isActive ? Theme.text : Theme.mutedText
                        font.strikeout: !modelData.isActive
                        elide: Text.ElideRight
                        wrapMode: Text.NoWrap
                    }
                    AppButton {
                        compact: true
                        visible: modelData.isActive
                        text: "Изменить"
                        onClicked: {
                            dialog.editedId = modelData.id
                            nameField.text = modelData.fullName
                            nameField.forceActiveFocus()
                        }
                    }
                    AppButton {
                        compact: true
                        text: modelData.isActive ? "Удалить" : "Восстановить"
                        onClicked: modelData.isActive ? dialog.settings.removeMaster(modelData.id)
                                                      : dialog.settings.restoreMaster(modelData.id)
                    }
                }
            }
            AppLabel {
                anchors.centerIn: parent
                visible: list.count === 0
                secondary: true
                text: "Мастера не найдены"
            }
        }
        RowLayout {
            Layout.fillWidth: true
            AppTextField {
                id: nameField
                objectName: "masterName"
                Layout.fillWidth: true
                maximumLength: 200
                placeholderText: dialog.editedId >= 0 ? "Новое ФИО мастера" : "ФИО нового мастера"
                onAccepted: saveButton.clicked()
            }
            AppButton {
                id: saveButton
                objectName: "masterSaveButton"
                text: dialog.editedId >= 0 ? "Сохранить" : "Добавить"
                prominent: true
                enabled: nameField.text.trim().length > 0
                onClicked: {
                    var done = dialog.editedId >= 0 ? dialog.settings.updateMaster(dialog.editedId, nameField.text)
                                                    : dialog.settings.addMaster(nameField.text)
                    if (done) {
                        dialog.editedId = -1
                        nameField.text = ""
                    }
                }
            }
            AppButton {
                visible: dialog.editedId >= 0
                text: "Отмена"
                onClicked: {
                    dialog.editedId = -1
                    nameField.text = ""
                }
            }
        }
        RowLayout {
            Layout.fillWidth: true
            AppLabel {
                Layout.fillWidth: true
                text: dialog.settings ? dialog.settings.lastError : ""
                color: Theme.error
                elide: Text.ElideRight
            }
            AppButton {
                objectName: "masterCloseButton"
                text: "Закрыть"
                onClicked: dialog.close()
            }
        }
    }
}
