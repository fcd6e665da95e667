import QtQuick
import QtQuick.Controls

// A bar button on glass: a symbol and a title, with hover help.
AccessibleButton {
    id: button
    property string symbol
    property color tint: Theme.text

    hoverEnabled: true
    padding: 7
    leftPadding: 12
    rightPadding: 14
    font.pixelSize: Theme.bodySize
    ToolTip.visible: help !== "" && hovered
    ToolTip.text: help
    ToolTip.delay: 600

    contentItem: Row {
        spacing: 6
        SymbolIcon {
            anchors.verticalCenter: parent.verticalCenter
            symbol: button.symbol
            colour: button.tint
            visible: button.symbol !== ""
        }
        ButtonTitle {
            anchors.verticalCenter: parent.verticalCenter
            title: button.text
            font: button.font
            color: button.tint
        }
    }
    background: Rectangle {
        implicitHeight: 30
        radius: height / 2
        color: button.down ? Theme.glassPressed : Theme.glass
        border.color: Theme.glassBorder
        border.width: 1
        FocusRing { visible: button.visualFocus }
    }
    opacity: enabled ? 1 : 0.45
}
