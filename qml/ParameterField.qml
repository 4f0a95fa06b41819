import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// A parameter in small: its caption and its value, written back as text when editing ends.
RowLayout {
    id: field
    property var controller: null
    property string parameterName
    property string caption
    property bool readOnly: false
    readonly property var values: controller ? controller.values : ({})
    readonly property string shownValue: values[parameterName] !== undefined ? values[parameterName] : ""
    spacing: Math.round(6 * Theme.uiScale)

    AppLabel {
        text: field.caption
        wrapMode: Text.NoWrap
    }
    AppTextField {
        objectName: "small_" + field.parameterName
        Layout.fillWidth: true
        Layout.minimumWidth: Math.round(70 * Theme.uiScale)
        text: field.shownValue
        readOnly: field.readOnly
        maximumLength: field.controller ? Math.max(0, field.controller.parameterMaximumLength(field.parameterName)) || 32767 : 32767
        ToolTip.visible: hovered && ToolTip.text.length > 0
        ToolTip.delay: 600
        ToolTip.text: field.controller && field.controller.validationErrors[field.parameterName] !== undefined
                      ? field.controller.validationErrors[field.parameterName]
                      : field.controller ? field.controller.parameterHint(field.parameterName) : ""
        enabled: field.values !== null && field.controller !== null && field.controller.parameterSupported(field.parameterName)
        invalid: field.controller !== null && field.controller.validationErrors[field.parameterName] !== undefined
        onEditingFinished: {
            if (!field.readOnly && text !== field.shownValue)
                field.controller.setParameterValue(field.parameterName, text)
        }
    }
}
