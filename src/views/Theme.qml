pragma Singleton
import QtQuick

// The colours and type sizes of every window. `dark` is bound to the appearance
// setting once, by the main window; everything drawn reads its colours from here,
// so one change repaints every open window.
QtObject {
    property bool dark: false

    readonly property color window: dark ? "#1c1d20" : "#eeeef1"
    readonly property color base: dark ? "#26272b" : "#ffffff"
    readonly property color text: dark ? "#ececf0" : "#1d1d1f"
    readonly property color secondaryText: dark ? "#a3a3aa" : "#63636b"
    readonly property color tertiaryText: dark ? "#74747c" : "#8e8e96"
    readonly property color accent: dark ? "#4c9bff" : "#0a64d8"
    readonly property color orange: dark ? "#ff9f0a" : "#d9730d"
    readonly property color red: dark ? "#ff5449" : "#d3202a"
    readonly property color green: dark ? "#32d74b" : "#1f9d3a"
    readonly property color yellow: dark ? "#ffd60a" : "#c99700"
    readonly property color link: accent

    // The translucent "glass" of cards, chips and bar buttons.
    readonly property color glass: dark ? Qt.rgba(1, 1, 1, 0.075) : Qt.rgba(1, 1, 1, 0.78)
    readonly property color glassBorder: dark ? Qt.rgba(1, 1, 1, 0.11) : Qt.rgba(0, 0, 0, 0.09)
    readonly property color glassPressed: dark ? Qt.rgba(1, 1, 1, 0.14) : Qt.rgba(0, 0, 0, 0.06)
    readonly property color quaternaryFill: dark ? Qt.rgba(1, 1, 1, 0.06) : Qt.rgba(0, 0, 0, 0.045)
    readonly property color rowFill: dark ? Qt.rgba(1, 1, 1, 0.035) : Qt.rgba(1, 1, 1, 0.6)
    readonly property color separator: dark ? Qt.rgba(1, 1, 1, 0.09) : Qt.rgba(0, 0, 0, 0.08)
    readonly property color shade: Qt.rgba(0, 0, 0, dark ? 0.55 : 0.28)

    // Control palette colours for the Fusion style.
    readonly property color button: dark ? "#34353a" : "#f7f7f9"
    readonly property color light: dark ? "#4a4b51" : "#ffffff"
    readonly property color mid: dark ? "#2a2b2f" : "#c9c9cf"
    readonly property color darkShade: dark ? "#141517" : "#a3a3aa"

    // Type sizes in pixels: body text and the larger and smaller steps around it.
    readonly property int captionSize: 11
    readonly property int subheadlineSize: 12
    readonly property int calloutSize: 12
    readonly property int bodySize: 13
    readonly property int headlineSize: 13
    readonly property int title3Size: 16
    readonly property int title2Size: 19
    readonly property int titleSize: 23

    function withAlpha(colour, alpha) {
        return Qt.rgba(colour.r, colour.g, colour.b, alpha)
    }

    // An image source for a window symbol, optionally recoloured.
    function symbol(name, colour) {
        if (colour === undefined)
            return "image://icon/symbol/" + name
        const c = colour
        const hex = (v) => ("0" + Math.round(v * 255).toString(16)).slice(-2)
        return "image://icon/symbol/" + name + "/" + hex(c.a) + hex(c.r) + hex(c.g) + hex(c.b)
    }
}
