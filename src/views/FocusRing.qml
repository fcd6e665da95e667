import QtQuick

// The keyboard's mark: a ring in the accent colour just outside the item it is put in,
// so it never covers what that item shows. The item says when it shows.
Rectangle {
    readonly property real gap: 3

    anchors.fill: parent
    anchors.margins: -gap
    radius: (parent && parent.radius !== undefined ? parent.radius : 4) + gap
    color: "transparent"
    border.width: 2
    border.color: Theme.accent
    visible: false
}
