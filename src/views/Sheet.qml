import QtQuick
import QtQuick.Controls

// A modal panel over the window it belongs to (confirmations, alerts, the welcome
// screen). It never closes by a click outside; each sheet says how it closes.
Dialog {
    id: sheet
    modal: true
    parent: Overlay.overlay
    anchors.centerIn: parent
    padding: 22
    closePolicy: Popup.NoAutoClose
    height: Math.min(implicitHeight, parent ? parent.height - 24 : implicitHeight)

    background: Rectangle {
        radius: 16
        color: Theme.base
        border.color: Theme.glassBorder
        border.width: 1
    }
    Overlay.modal: Rectangle { color: Qt.rgba(0, 0, 0, Theme.dark ? 0.45 : 0.25) }
}
