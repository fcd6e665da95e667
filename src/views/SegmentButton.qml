import QtQuick
import QtQuick.Controls

// One option of a segmented picker: the chosen one is filled with the accent colour.
Button {
    id: button
    property string symbol

    checkable: true
    padding: 6
    leftPadding: 14
    rightPadding: 14
    font.pixelSize: Theme.bodySize

    contentItem: Row {
        spacing: 6
        SymbolIcon {
            anchors.verticalCenter: parent.verticalCenter
            visible: button.symbol !== ""
            symbol: button.symbol
            colour: button.checked ? "#ffffff" : Theme.text
        }
        Label {
            anchors.verticalCenter: parent.verticalCenter
            text: button.text
            font: button.font
            color: button.checked ? "#ffffff" : Theme.text
        }
    }
    background: Rectangle {
        implicitHeight: 28
        radius: 7
        color: button.checked ? Theme.accent : (button.down ? Theme.glassPressed : Theme.button)
        border.color: button.checked ? Theme.accent : Theme.glassBorder
        border.width: 1
    }
}
