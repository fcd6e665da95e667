import QtQuick
import QtQuick.Controls

// What every push button of the windows shares, whatever it looks like: Return and
// Enter press it as Space does, a screen reader hears its title without the "&" that
// marks its access key, and its hover help as its description.
Button {
    property string help

    Accessible.name: text.replace("&", "")
    Accessible.description: help
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
}
