import QtQuick
import Stashwell
import QtQuick.Controls

// A short word on what just happened (what moved to the Trash, which groups turned
// out not to be duplicates) that shows over the bottom of the window and goes away.
// A screen reader announces it as a notification each time one appears: the bus hears
// of a notification the moment it is shown, so a new word hides the last one first.
GlassPanel {
    id: toast
    objectName: "noticeToast"
    property alias text: label.text

    function show(message) {
        visible = false
        label.text = message
        visible = true
        hideTimer.restart()
    }

    visible: false
    Accessible.role: Accessible.Notification
    Accessible.name: text
    color: Theme.base
    radius: 12
    width: Math.min(label.implicitWidth + 32, 640)
    height: label.height + 18

    Label {
        id: label
        objectName: "noticeText"
        Accessible.ignored: true
        x: 16
        y: 9
        width: toast.width - 32
        wrapMode: Text.Wrap
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        font.pixelSize: Theme.bodySize
        color: Theme.text
    }
    Timer {
        id: hideTimer
        interval: 6000
        onTriggered: toast.visible = false
    }
    Connections {
        target: AppViewModel
        function onNotice(text) { toast.show(text) }
    }
}
