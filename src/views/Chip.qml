import QtQuick
import QtQuick.Controls

// One fact of the summary bar: a symbol and a text on a glass capsule, which a screen
// reader reads as one text (`accessibleName` when the text alone says too little).
GlassPanel {
    property alias text: label.text
    property string accessibleName: text
    property alias symbol: icon.symbol
    property color textColour: Theme.text
    property color symbolColour: Theme.secondaryText

    implicitWidth: row.implicitWidth + 20
    implicitHeight: row.implicitHeight + 12
    radius: height / 2
    Accessible.role: Accessible.StaticText
    Accessible.name: accessibleName

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
            Accessible.ignored: true
            anchors.verticalCenter: parent.verticalCenter
            font.pixelSize: Theme.title3Size
            font.weight: Font.Medium
            color: textColour
        }
    }
}
