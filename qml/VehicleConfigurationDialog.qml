import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// The masters' own vehicle configurations: save the form's settings under a make and a model, look
// through the saved ones, and take one into the form, seeing first what it would change.
AppDialog {
    id: dialog
    objectName: "vehicleConfigurationDialog"
    property var controller: null
    // "save", "manager", "review" (one configuration's values) or "apply" (its changes to the form).
    property string mode: "save"
    property var configuration: null
    property var configurations: []
    property var fields: []
    property var changes: []
    property bool applied: false
    property string failureText: ""
    signal applyRequested(int id)
    signal applyCanceled()

    title: mode === "save" ? qsTr("Сохранить конфигурацию")
           : mode === "manager" ? qsTr("Редактор конфигураций") : qsTr("Конфигурация ТС")
    closePolicy: Popup.CloseOnEscape
    width: Math.min(Math.round(860 * Theme.uiScale), (Overlay.overlay ? Overlay.overlay.width : 900) - 40)
    height: Math.min(Math.round(600 * Theme.uiScale), (Overlay.overlay ? Overlay.overlay.height : 640) - 40)

    readonly property bool exists: mode === "save" && controller !== null && makeField.text.trim().length > 0
                                   && modelField.text.trim().length > 0
                                   && controller.vehicleConfigurationRevision >= 0
                                   && controller.vehicleConfigurationExists(makeField.text, modelField.text)

    function openSave(make, model) {
        mode = "save"
        failureText = ""
        makeField.text = make || ""
        modelField.text = model || ""
        fields = controller.configurationFieldList(controller.currentConfigurationParameters())
        open()
    }
    function openManager() {
        mode = "manager"
        failureText = ""
        configurations = controller.vehicleConfigurations()
        open()
    }
    function review(config) {
        mode = "review"
        configuration = config
        fields = controller.configurationFieldList(config.parameters)
    }
    function openApply(config) {
        mode = "apply"
        failureText = ""
        configuration = config
        applied = false
        changes = controller.configurationChangeList(config.parameters)
        if (!opened)
            open()
    }
    onClosed: {
        if (mode === "apply" && !applied)
            applyCanceled()
    }

    function save() {
        if (controller.saveVehicleConfiguration(makeField.text, modelField.text)) {
            close()
            return
        }
        failureText = controller.lastError
    }

    contentItem: ColumnLayout {
        spacing: Math.round(10 * Theme.uiScale)

        // Saving: the names and what will be kept.
        RowLayout {
            visible: dialog.mode === "save"
            Layout.fillWidth: true
            spacing: Math.round(10 * Theme.uiScale)
            AppLabel { text: qsTr("Производитель ТС:"); wrapMode: Text.NoWrap }
            AppTextField {
                id: makeField
                objectName: "configurationMake"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                maximumLength: 60
            }
            AppLabel { text: qsTr("Модель ТС:"); wrapMode: Text.NoWrap }
            AppTextField {
                id: modelField
                objectName: "configurationModel"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                maximumLength: 60
            }
        }
        AppLabel {
            objectName: "configurationExistsWarning"
            visible: dialog.exists
            Layout.fillWidth: true
            text: qsTr("Конфигурация с таким производителем и моделью уже сохранена: её параметры будут заменены.")
            color: Theme.warning
        }
        AppLabel {
            visible: dialog.mode === "review" || dialog.mode === "apply"
            Layout.fillWidth: true
            text: dialog.configuration ? dialog.configuration.manufacturer + " — " + dialog.configuration.model : ""
            font.bold: true
            elide: Text.ElideRight
            wrapMode: Text.NoWrap
        }

        RowLayout {
            visible: dialog.mode === "apply"
            Layout.fillWidth: true
            Layout.leftMargin: Math.round(8 * Theme.uiScale)
            Layout.rightMargin: Math.round(20 * Theme.uiScale)
            spacing: Math.round(10 * Theme.uiScale)
            AppLabel {
                Layout.preferredWidth: Math.round(330 * Theme.uiScale)
                text: qsTr("Параметр")
                secondary: true
            }
            AppLabel {
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                text: qsTr("Сейчас в форме")
                secondary: true
            }
            AppLabel {
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                text: qsTr("Из конфигурации")
                secondary: true
            }
        }

        // The values of a configuration, or the changes it would make.
        ListView {
            id: list
            objectName: "configurationList"
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: dialog.mode === "manager" ? dialog.configurations
                   : dialog.mode === "apply" ? dialog.changes : dialog.fields
            ScrollBar.vertical: ScrollBar {}
            delegate: Rectangle {
                width: list.width - Math.round(12 * Theme.uiScale)
                height: row.implicitHeight + Math.round(10 * Theme.uiScale)
                color: index % 2 ? Theme.surfaceAlt : Theme.surface
                RowLayout {
                    id: row
                    anchors.fill: parent
                    anchors.leftMargin: Math.round(8 * Theme.uiScale)
                    anchors.rightMargin: Math.round(8 * Theme.uiScale)
                    spacing: Math.round(10 * Theme.uiScale)
                    AppLabel {
                        Layout.preferredWidth: dialog.mode === "manager" ? -1 : Math.round(330 * Theme.uiScale)
                        Layout.maximumWidth: dialog.mode === "manager" ? Number.POSITIVE_INFINITY
                                                                       : Math.round(330 * Theme.uiScale)
                        Layout.fillWidth: dialog.mode === "manager"
                        text: dialog.mode === "manager"
                              ? modelData.manufacturer + " — " + modelData.model + "   (" + modelData.updatedAt + ")"
                              : modelData.label
                        elide: dialog.mode === "manager" ? Text.ElideRight : Text.ElideNone
                        wrapMode: dialog.mode === "manager" ? Text.NoWrap : Text.WordWrap
                    }
                    AppLabel {
                        visible: dialog.mode !== "manager"
                        Layout.fillWidth: true
                        Layout.preferredWidth: 1
                        text: dialog.mode === "apply" ? modelData.currentValue
                              : (modelData.value !== undefined ? modelData.value : "")
                        color: dialog.mode === "apply" && !modelData.supported ? Theme.mutedText : Theme.text
                    }
                    AppLabel {
                        visible: dialog.mode === "apply"
                        Layout.fillWidth: true
                        Layout.preferredWidth: 1
                        text: dialog.mode === "apply" ? modelData.targetValue : ""
                        color: modelData.changed ? Theme.info : !modelData.supported ? Theme.mutedText : Theme.text
                        font.bold: modelData.changed === true
                    }
                    AppButton {
                        objectName: "configurationView_" + index
                        visible: dialog.mode === "manager"
                        compact: true
                        text: qsTr("Просмотр")
                        onClicked: dialog.review(modelData)
                    }
                    AppButton {
                        objectName: "configurationUse_" + index
                        visible: dialog.mode === "manager"
                        compact: true
                        text: qsTr("Изменить в форме")
                        onClicked: dialog.openApply(modelData)
                    }
                    AppButton {
                        objectName: "configurationDelete_" + index
                        visible: dialog.mode === "manager"
                        compact: true
                        text: qsTr("Удалить")
                        onClicked: {
                            deleteConfirm.configurationId = modelData.id
                            deleteConfirm.show(qsTr("Удаление профиля"), qsTr("Удалить профиль «") + modelData.manufacturer
                                               + " — " + modelData.model + qsTr("»? Это действие нельзя отменить."))
                        }
                    }
                }
            }
        }
        AppLabel {
            visible: dialog.mode === "manager" && dialog.configurations.length === 0
            Layout.fillWidth: true
            text: qsTr("Сохранённых конфигураций нет.")
            secondary: true
        }
        AppLabel {
            visible: dialog.mode === "apply"
            Layout.fillWidth: true
            text: qsTr("Изменятся только значения в форме. В тахограф они попадут после нажатия «Записать».")
            secondary: true
        }
        AppLabel {
            objectName: "configurationFailure"
            visible: dialog.failureText.length > 0
            Layout.fillWidth: true
            text: dialog.failureText
            color: Theme.error
        }

        RowLayout {
            Layout.alignment: Qt.AlignRight
            spacing: Math.round(8 * Theme.uiScale)
            AppButton {
                objectName: "configurationSaveButton"
                visible: dialog.mode === "save"
                text: qsTr("Сохранить")
                prominent: true
                enabled: makeField.text.trim().length > 0 && modelField.text.trim().length > 0
                onClicked: dialog.save()
            }
            AppButton {
                objectName: "configurationBackButton"
                visible: dialog.mode === "review"
                text: qsTr("Назад")
                onClicked: dialog.openManager()
            }
            AppButton {
                objectName: "configurationReviewUseButton"
                visible: dialog.mode === "review"
                text: qsTr("Изменить в форме")
                onClicked: dialog.openApply(dialog.configuration)
            }
            AppButton {
                objectName: "configurationApplyButton"
                visible: dialog.mode === "apply"
                text: qsTr("Применить к форме")
                prominent: true
                onClicked: {
                    dialog.applied = true
                    dialog.close()
                    dialog.applyRequested(dialog.configuration.id)
                }
            }
            AppButton {
                objectName: "configurationCloseButton"
                text: dialog.mode === "save" || dialog.mode === "apply" ? qsTr("Отмена") : qsTr("Закрыть")
                onClicked: dialog.close()
            }
        }
    }

    AppMessageDialog {
        id: deleteConfirm
        objectName: "configurationDeleteConfirm"
        property int configurationId: -1
        question: true
        onAnswered: (yes) => {
            if (!yes)
                return
            if (!dialog.controller.deleteVehicleConfiguration(configurationId))
                dialog.failureText = dialog.controller.lastError
            dialog.configurations = dialog.controller.vehicleConfigurations()
        }
    }
}
