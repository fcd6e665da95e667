import QtQuick

// A window symbol drawn from the icon theme, in one colour.
Item {
    id: icon
    property string symbol
    property color colour: Theme.secondaryText
    property int side: 16
    readonly property alias source: image.source

    implicitWidth: side
    implicitHeight: side

    Image {
        id: image
        anchors.fill: parent
        sourceSize.width: icon.side * 2
        sourceSize.height: icon.side * 2
        fillMode: Image.PreserveAspectFit
        smooth: true
        source: icon.symbol === "" ? "" : Theme.symbol(icon.symbol, icon.colour)
    }
}
