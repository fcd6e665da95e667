import QtQuick
import QtQuick.Controls

// A window whose background and control palette follow the Theme, so a change of
// appearance repaints it together with every other window.
ApplicationWindow {
    color: Theme.window

    palette.window: Theme.window
    palette.windowText: Theme.text
    palette.base: Theme.base
    palette.alternateBase: Theme.quaternaryFill
    palette.text: Theme.text
    palette.button: Theme.button
    palette.buttonText: Theme.text
    palette.brightText: "#ffffff"
    palette.highlight: Theme.accent
    palette.highlightedText: "#ffffff"
    palette.light: Theme.light
    palette.midlight: Theme.button
    palette.mid: Theme.mid
    palette.dark: Theme.darkShade
    palette.shadow: Theme.shade
    palette.toolTipBase: Theme.base
    palette.toolTipText: Theme.text
    palette.placeholderText: Theme.tertiaryText
    palette.link: Theme.link
}
