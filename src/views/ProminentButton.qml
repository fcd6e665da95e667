import QtQuick
import QtQuick.Controls

// The one button a sheet leads to ("Get Started", "Move to Trash"): white text on a
// solid fill of the accent colour, or of red for an action that removes something.
AccessibleButton {
    id: button
    property color fill: Theme.accent

    font.pixelSize: Theme.bodySize
    font.weight: Font.DemiBold
    padding: 8
    leftPadding: 18
    rightPadding: 18

    contentItem: ButtonTitle {
        title: button.text
        font: button.font
        color: "#ffffff"
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        implicitHeight: 30
        radius: 8
        color: button.down ? Qt.darker(button.fill, 1.15) : button.fill
        FocusRing { visible: button.visualFocus }
    }
    opacity: enabled ? 1 : 0.5
}
