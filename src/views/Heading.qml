import QtQuick

// The title of a group of settings, which a screen reader finds as a heading. A Text
// rather than a Label: Qt 6.4 keeps a Label's own role over the one given here.
Text {
    font.pixelSize: Theme.headlineSize
    font.weight: Font.DemiBold
    color: Theme.text
    Accessible.role: Accessible.Heading
    Accessible.name: text
}
