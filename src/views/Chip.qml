import QtQuick
import QtQuick.Controls

// One fact of the summary bar: a symbol and a text on a glass capsule.
GlassPanel {
    property alias text: label.text
    property alias symbol: icon.symbol
    property color textColour: Theme.text
    property color symbolColour: Theme.secondaryText

    implicitWidth: row.implicitWidth + 20
    implicitHeight: row.implicitHeight + 12
    radius: height / 2

    Row {
        id: row
        anchors.centerIn: parent
        spacing: 7
        SymbolIcon {
            id: icon
            anchors.verticalCenter: parent.verticalCenter
            side: 17
            colour: symbolColour
        }
        Label {
            id: label
            anchors.verticalCenter: parent.verticalCenter
            font.pixelSize: Theme.title3Size
            font.weight: Font.Medium
            color: textColour
        }
    }
}
