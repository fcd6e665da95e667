import QtQuick
import QtQuick.Controls
import QtQuick.Templates as T

// The symbol and title of an option of a segmented picker, white on the chosen one.
Row {
    required property T.AbstractButton button
    property string symbol

    spacing: 6
    SymbolIcon {
        anchors.verticalCenter: parent.verticalCenter
        visible: symbol !== ""
        symbol: parent.symbol
        colour: button.checked ? "#ffffff" : Theme.text
    }
    Label {
        anchors.verticalCenter: parent.verticalCenter
        text: button.text
        font: button.font
        color: button.checked ? "#ffffff" : Theme.text
        Accessible.ignored: true
    }
}
