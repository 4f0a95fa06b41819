import QtQuick
import QtQuick.Controls
import Tachoria 1.0

// Loaded by a bare engine (--qml-parse-test): every shared control of the module must build without
// the application behind it.
Item {
    width: 800
    height: 600
    AppButton { text: "Кнопка" }
    AppCheckBox { text: "Флажок" }
    AppChoiceField { model: ["/dev/ttyS0"] }
    AppComboBox { model: ["Светлая", "Тёмная"]; value: "Светлая" }
    AppLabel { text: "Надпись" }
    AppTextField { text: "Поле" }
    AppMessageDialog { text: "Сообщение" }
    FormRow { label: "Строка:" }
    MenuButton { text: "Плитка"; iconSource: "qrc:/icons/Settings.png" }
    MoreIcon {}
    PageFrame { pageTitle: "Страница" }
    PinDialog {}
    SectionBox { title: "Группа" }
    TransportSelectionDialog {}
    BluetoothSearchDialog {}
    BluetoothDeviceDialog {}
}
