import QtQuick
import Stashwell
import QtQuick.Controls

// A short word on what just happened (what moved to the Trash, which groups turned
// out not to be duplicates) that shows over the bottom of the window and goes away.
GlassPanel {
    id: toast
    objectName: "noticeToast"
    property alias text: label.text

    function show(message) {
        label.text = message
        visible = true
        hideTimer.restart()
    }

    visible: false
    color: Theme.base
    radius: 12
    implicitWidth: Math.min(label.implicitWidth + 32, parent ? parent.width - 40 : 600)
    implicitHeight: label.implicitHeight + 18

    Label {
        id: label
        objectName: "noticeText"
        anchors.fill: parent
        anchors.margins: 9
        anchors.leftMargin: 16
        anchors.rightMargin: 16
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
    MouseArea {
        anchors.fill: parent
        onClicked: toast.visible = false
    }
    Connections {
        target: AppViewModel
        function onNotice(text) { toast.show(text) }
    }
}
