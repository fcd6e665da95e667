import QtQuick
import QtQuick.Controls
import QtQuick.Templates as T

// How an option of a segmented picker looks, for the button it is the background of:
// the chosen option filled with the accent colour, the keyboard's mark around it.
Rectangle {
    required property T.AbstractButton button

    implicitHeight: 28
    radius: 7
    color: button.checked ? Theme.accent : (button.down ? Theme.glassPressed : Theme.button)
    border.color: button.checked ? Theme.accent : Theme.glassBorder
    border.width: 1
    FocusRing { visible: button.visualFocus }
}
