import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tachoria 1.0

// A message with one or two answers: "ОК", or a question with "Да" and "Нет".
AppDialog {
    id: dialog
    property string text
    property bool question: false
    property bool failure: false
    property string acceptText: question ? "Да" : "ОК"
    property string rejectText: "Нет"
    signal answered(bool yes)

    closePolicy: Popup.CloseOnEscape
    function show(title, text) {
        dialog.title = title
        dialog.text = text
        open()
    }

    contentItem: ColumnLayout {
        spacing: Math.round(14 * Theme.uiScale)
        AppLabel {
            objectName: "messageText"
            text: dialog.text
            color: dialog.failure ? Theme.error : Theme.text
            Layout.preferredWidth: Math.round(440 * Theme.uiScale)
            Layout.maximumWidth: Math.round(560 * Theme.uiScale)
        }
        RowLayout {
            Layout.alignment: Qt.AlignRight
            spacing: Math.round(8 * Theme.uiScale)
            AppButton {
                objectName: "messageAcceptButton"
                text: dialog.acceptText
                prominent: true
                onClicked: {
                    dialog.close()
                    dialog.answered(true)
                }
            }
            AppButton {
                objectName: "messageRejectButton"
                visible: dialog.question
                text: dialog.rejectText
                onClicked: {
                    dialog.close()
                    dialog.answered(false)
                }
            }
        }
    }
}
