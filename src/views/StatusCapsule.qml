import QtQuick
import QtQuick.Controls

// A busy indicator and a short text on a glass capsule ("Scanning..."), read as the text.
GlassPanel {
    property alias text: label.text
    Accessible.role: Accessible.StaticText
    Accessible.name: text

    implicitWidth: row.implicitWidth + 24
    implicitHeight: row.implicitHeight + 14
    radius: height / 2

    Row {
        id: row
        anchors.centerIn: parent
        spacing: 8
        BusyIndicator {
            Accessible.ignored: true
            anchors.verticalCenter: parent.verticalCenter
            running: parent.parent.visible
            width: 16
            height: 16
        }
        Label {
            id: label
            Accessible.ignored: true
            anchors.verticalCenter: parent.verticalCenter
            font.pixelSize: Theme.calloutSize
            color: Theme.secondaryText
        }
    }
}
