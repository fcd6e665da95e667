import QtQuick
import QtQuick.Controls

// What the content region shows while a scan runs.
GlassPanel {
    radius: 18
    width: Math.min(360, column.implicitWidth + 56)
    height: column.implicitHeight + 56

    Column {
        id: column
        anchors.centerIn: parent
        spacing: 14
        BusyIndicator {
            anchors.horizontalCenter: parent.horizontalCenter
            running: true
        }
        Label {
            objectName: "cardTitle"
            anchors.horizontalCenter: parent.horizontalCenter
            text: "Scanning for models..."
            font.pixelSize: Theme.headlineSize
            font.weight: Font.DemiBold
            color: Theme.text
        }
        Label {
            anchors.horizontalCenter: parent.horizontalCenter
            text: "Checking built-in and custom model folders."
            font.pixelSize: Theme.calloutSize
            color: Theme.secondaryText
        }
    }
}
