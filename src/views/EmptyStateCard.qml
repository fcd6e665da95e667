import QtQuick
import QtQuick.Controls

// The card the content region shows when there is no list: a symbol on a tinted
// disc, a title and an explanation.
GlassPanel {
    id: card
    property string symbol
    property alias title: titleLabel.text
    property alias message: messageLabel.text
    property color symbolColour: Theme.secondaryText

    radius: 20
    width: Math.min(460, column.implicitWidth + 60)
    height: column.implicitHeight + 60

    Column {
        id: column
        anchors.centerIn: parent
        spacing: 14
        Rectangle {
            anchors.horizontalCenter: parent.horizontalCenter
            width: 58
            height: 58
            radius: 29
            color: Theme.withAlpha(card.symbolColour, 0.14)
            SymbolIcon {
                anchors.centerIn: parent
                side: 28
                symbol: card.symbol
                colour: card.symbolColour
            }
        }
        Label {
            id: titleLabel
            objectName: "cardTitle"
            anchors.horizontalCenter: parent.horizontalCenter
            font.pixelSize: Theme.title3Size + 2
            font.weight: Font.DemiBold
            color: Theme.text
        }
        Label {
            id: messageLabel
            objectName: "cardMessage"
            anchors.horizontalCenter: parent.horizontalCenter
            width: Math.min(380, implicitWidth)
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignHCenter
            font.pixelSize: Theme.calloutSize
            color: Theme.secondaryText
        }
    }
}
