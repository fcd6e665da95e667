import QtQuick

// The translucent rounded material of cards, chips and capsules.
Rectangle {
    radius: 18
    color: Theme.glass
    border.color: Theme.glassBorder
    border.width: 1
}
