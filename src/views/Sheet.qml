import QtQuick
import QtQuick.Controls

// A modal panel over the window it belongs to (confirmations, alerts, the welcome
// screen). It never closes by a click outside; each sheet says how it closes. Its title
// is what a screen reader calls it (each sheet draws its own heading), and when it
// opens the keyboard goes to its default button, which Return presses.
Dialog {
    id: sheet
    property Item defaultButton

    modal: true
    parent: Overlay.overlay
    // Bound rather than anchored: a sheet opened while the window is still taking its
    // size stays centred as it grows.
    x: parent ? Math.round((parent.width - width) / 2) : 0
    y: parent ? Math.round((parent.height - height) / 2) : 0
    padding: 22
    closePolicy: Popup.NoAutoClose
    height: Math.min(implicitHeight, parent ? parent.height - 24 : implicitHeight)
    header: null
    // As if reached by Tab, so the button shows the keyboard's mark.
    onAboutToShow: if (defaultButton) defaultButton.forceActiveFocus(Qt.TabFocusReason)

    background: Rectangle {
        radius: 16
        color: Theme.base
        border.color: Theme.glassBorder
        border.width: 1
    }
    Overlay.modal: Rectangle { color: Qt.rgba(0, 0, 0, Theme.dark ? 0.45 : 0.25) }
}
