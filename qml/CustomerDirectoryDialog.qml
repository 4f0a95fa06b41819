import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The shop's customers: search by any part of name, address or phone; add, edit, remove, restore.
AppDialog {
    id: dialog
    objectName: "customerDirectory"
    title: "Справочник клиентов"
    closePolicy: Popup.CloseOnEscape
    property int editedId: -1
    width: Math.min(Math.round(860 * Theme.uiScale), parent ? parent.width - 40 : 860)
    height: Math.min(Math.round(600 * Theme.uiScale), parent ? parent.height - 40 : 600)

    function refresh() {
        settings.refreshCustomers(searchField.text, showInactive.checked)
    }
    function clearForm() {
        editedId = -1
        nameField.text = ""
        addressField.text = ""
        phoneField.text = ""
    }
    onOpened: {
        clearForm()
        refresh()
    }

    contentItem: ColumnLayout {
        spacing: Math.round(10 * Theme.uiScale)
        RowLayout {
            Layout.fillWidth: true
            AppTextField {
                id: searchField
                objectName: "customerSearch"
                Layout.fillWidth: true
                placeholderText: "Поиск по наименованию, адресу или телефону"
                onTextChanged: dialog.refresh()
            }
            AppCheckBox {
                id: showInactive
                objectName: "customerShowInactive"
                text: "Показывать удалённых"
                onToggled: dialog.refresh()
            }
        }
        ListView {
            id: list
            objectName: "customerList"
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: dialog.settings ? dialog.settings.customers : []
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
                    ColumnLayout {
                        Layout.fillWidth: true
                        spacing: 0
                        AppLabel {
                            Layout.fillWidth: true
                            text: modelData.name
                            color: modelData.isActive ? Theme.text : Theme.mutedText
                            font.strikeout: !modelData.isActive
                            elide: Text.ElideRight
                            wrapMode: Text.NoWrap
                        }
                        AppLabel {
                            Layout.fillWidth: true
                            secondary: true
                            visible: text.length > 0
                            text: [modelData.address, modelData.phone].filter(function(part) {
                                return part && part.length > 0 }).join(" · ")
                            font.pixelSize: Math.max(11, Theme.uiPixelSize - 2)
                            elide: Text.ElideRight
                            wrapMode: Text.NoWrap
                        }
                    }
                    AppButton {
                        compact: true
                        visible: modelData.isActive
                        text: "Изменить"
                        onClicked: {
                            dialog.editedId = modelData.id
                            nameField.text = modelData.name
                            addressField.text = modelData.address
                            phoneField.text = modelData.phone
                            nameField.forceActiveFocus()
                        }
                    }
                    AppButton {
                        compact: true
                        text: modelData.isActive ? "Удалить" : "Восстановить"
                        onClicked: modelData.isActive ? dialog.settings.removeCustomer(modelData.id)
                                                      : dialog.settings.restoreCustomer(modelData.id)
                    }
                }
            }
            AppLabel {
                anchors.centerIn: parent
                visible: list.count === 0
                secondary: true
                text: "Клиенты не найдены"
            }
        }
        GridLayout {
            Layout.fillWidth: true
            columns: 2
            columnSpacing: Math.round(8 * Theme.uiScale)
            AppLabel { text: "Наименование:" }
            AppTextField {
                id: nameField
                objectName: "customerName"
                Layout.fillWidth: true
                maximumLength: 200
            }
            AppLabel { text: "Адрес:" }
            AppTextField {
                id: addressField
                objectName: "customerAddress"
                Layout.fillWidth: true
                maximumLength: 300
            }
            AppLabel { text: "Телефон:" }
            AppTextField {
                id: phoneField
                objectName: "customerPhone"
                Layout.fillWidth: true
                maximumLength: 32
                validator: RegularExpressionValidator { regularExpression: /^[0-9+() .-]{0,32}$/ }
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
                objectName: "customerSaveButton"
                text: dialog.editedId >= 0 ? "Сохранить" : "Добавить"
                prominent: true
                enabled: nameField.text.trim().length > 0
                onClicked: {
                    var done = dialog.editedId >= 0
                        ? dialog.settings.updateCustomer(dialog.editedId, nameField.text, addressField.text,
                                                         phoneField.text)
                        : dialog.settings.addCustomer(nameField.text, addressField.text, phoneField.text)
                    if (done)
                        dialog.clearForm()
                }
            }
            AppButton {
                visible: dialog.editedId >= 0
                text: "Отмена"
                onClicked: dialog.clearForm()
            }
            AppButton {
                objectName: "customerCloseButton"
                text: "Закрыть"
                onClicked: dialog.close()
            }
        }
    }
}
