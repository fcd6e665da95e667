import QtQuick
import QtQuick.Controls

// A link in running text that the keyboard reaches like a button (Tab, then Space or
// Return) and a screen reader announces as a link.
AccessibleButton {
    id: link

    flat: true
    hoverEnabled: true
    padding: 2
    contentItem: Label {
        text: link.text
        color: Theme.link
        font: link.font
        Accessible.ignored: true
    }
    background: Item {
        implicitHeight: 18
        FocusRing { visible: link.visualFocus }
    }
    HoverHandler { cursorShape: Qt.PointingHandCursor }
    ToolTip.visible: help !== "" && hovered
    ToolTip.text: help
    ToolTip.delay: 400
}
