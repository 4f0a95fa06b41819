import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// One parameter of the calibration form: its caption, its value as text or as a choice, an optional
// button beside it, and the reason under it when the last write refused the value.
ColumnLayout {
    id: field
    property var controller: null
    property var settings: null
    property string parameterName
    property string caption
    property string staticText: ""
    property bool readOnly: false
    property bool inputEnabled: true
    property bool borderVisible: true
    property bool boldCaption: false
    property string actionText: ""
    property bool showRegistrationAbsentCheck: false
    property bool registrationAbsent: false
    property bool registrationAbsenceConfirmed: false
    property int maximumLength: controller && parameterName.length > 0
                                ? controller.parameterMaximumLength(parameterName) : 0
    property string hintText: controller && parameterName.length > 0 ? controller.parameterHint(parameterName) : ""
    property var choiceValues: []
    property int labelWidth: Math.round(145 * Theme.uiScale)
    // What the field lets in at all, and whether it goes to the unit in capitals.
    property var allowedText: null
    property bool upperCase: false
    readonly property string inputText: choiceValues.length > 1 ? choice.displayText : input.text
    signal actionClicked()
    signal registrationAbsenceToggled(bool checked)

    readonly property var values: controller ? controller.values : ({})
    readonly property string shownValue: staticText.length > 0 || parameterName.length === 0 ? staticText
                                         : (values[parameterName] !== undefined ? values[parameterName] : "")
    // Reading `values` makes the question asked again after every read.
    readonly property bool supported: parameterName.length === 0
                                      || (values !== null && controller !== null && controller.parameterSupported(parameterName))
    readonly property string errorText: controller && parameterName.length > 0
                                        && controller.validationErrors[parameterName] !== undefined
                                        ? controller.validationErrors[parameterName] : ""

    function commit(text) {
        if (field.upperCase)
            text = text.toUpperCase()
        if (field.readOnly || !field.controller || field.parameterName.length === 0 || text === field.shownValue)
            return
        field.controller.setParameterValue(field.parameterName, text)
    }

    spacing: Math.round(2 * Theme.uiScale)
    Layout.fillWidth: true

    RowLayout {
        Layout.fillWidth: true
        spacing: Math.round(8 * Theme.uiScale)
        AppLabel {
            visible: field.labelWidth > 0
            Layout.preferredWidth: field.labelWidth
            Layout.alignment: Qt.AlignVCenter
            text: field.caption
            font.bold: field.boldCaption
            enabled: field.supported
            wrapMode: Text.NoWrap
            elide: Text.ElideRight
        }
        AppTextField {
            id: input
            objectName: field.parameterName.length > 0 ? "field_" + field.parameterName : field.objectName + "Text"
            visible: field.choiceValues.length <= 1
            Layout.fillWidth: true
            Layout.minimumWidth: Math.round(90 * Theme.uiScale)
            text: field.shownValue
            readOnly: field.readOnly
            enabled: field.inputEnabled && field.supported
            maximumLength: field.maximumLength > 0 ? field.maximumLength : 32767
            validator: field.allowedText ? allowed : null
            RegularExpressionValidator {
                id: allowed
                regularExpression: field.allowedText ? field.allowedText : /.*/
            }
            invalid: field.errorText.length > 0
            ToolTip.visible: hovered && ToolTip.text.length > 0
            ToolTip.delay: 600
            ToolTip.text: field.errorText.length > 0 ? field.errorText : field.hintText
            onEditingFinished: field.commit(text)
            Binding {
                target: input.background
                property: "visible"
                value: field.borderVisible || input.activeFocus
            }
        }
        AppComboBox {
            id: choice
            objectName: field.parameterName.length > 0 ? "choice_" + field.parameterName : field.objectName + "Choice"
            visible: field.choiceValues.length > 1
            Layout.fillWidth: true
            model: field.choiceValues
            value: field.shownValue
            enabled: field.inputEnabled && field.supported && !field.readOnly
            onChosen: (value) => field.commit(value)
        }
        ValueCheckBox {
            objectName: "registrationAbsentCheck"
            visible: field.showRegistrationAbsentCheck
            text: qsTr("Нет номера")
            value: field.registrationAbsent
            enabled: field.supported
            ToolTip.visible: hovered
            ToolTip.delay: 600
            ToolTip.text: qsTr("Не записывать рег. номер в тахограф")
            onToggledTo: (checked) => field.registrationAbsenceToggled(checked)
        }
        AppButton {
            objectName: field.parameterName.length > 0 ? "action_" + field.parameterName : field.objectName + "Action"
            visible: field.actionText.length > 0
            compact: true
            text: field.actionText
            implicitWidth: Math.max(36, Math.round(44 * Theme.uiScale))
            onClicked: field.actionClicked()
        }
    }
    // Room for two lines of the reason, reserved outright: a wrapped text's height that changes while
    // the rows are being laid out would be missed, and the second line would run into the next field.
    Item {
        visible: field.errorText.length > 0
        Layout.fillWidth: true
        Layout.leftMargin: field.labelWidth > 0 ? field.labelWidth + Math.round(8 * Theme.uiScale) : 0
        Layout.preferredHeight: Math.ceil(2 * errorMetrics.lineSpacing) + 2
        FontMetrics {
            id: errorMetrics
            font: errorLabel.font
        }
        AppLabel {
            id: errorLabel
            objectName: field.parameterName.length > 0 ? "error_" + field.parameterName : field.objectName + "Error"
            anchors.fill: parent
            text: field.errorText
            color: Theme.error
            font.pixelSize: Math.max(11, Theme.uiPixelSize - 3)
            maximumLineCount: 2
            elide: Text.ElideRight
        }
    }
}
