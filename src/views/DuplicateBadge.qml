import QtQuick
import QtQuick.Controls

// Whether a model is a likely, verified or unverifiable duplicate, as a symbol with
// hover help; an invisible placeholder of the same width when it is none.
Item {
    id: badge
    property string kind: "none"  // "none", "likely", "verified", "unable"
    property string reason

    readonly property string label: kind === "likely" ? "Likely duplicate"
                                  : kind === "verified" ? "Verified duplicate"
                                  : kind === "unable" ? "Unable to verify" : ""
    readonly property string help: kind === "unable" ? "Unable to verify duplicate status. " + reason : label

    implicitWidth: 24
    implicitHeight: kind === "none" ? 1 : 24
    Accessible.ignored: kind === "none"
    Accessible.name: label

    SymbolIcon {
        anchors.centerIn: parent
        visible: badge.kind !== "none"
        side: 16
        symbol: badge.kind === "verified" ? "checkmark.seal"
              : badge.kind === "unable" ? "exclamationmark.triangle" : "doc.on.doc"
        colour: badge.kind === "verified" ? Theme.green
              : badge.kind === "unable" ? Theme.orange : Theme.yellow
    }
    HoverHandler { id: hover }
    ToolTip.visible: hover.hovered && badge.kind !== "none"
    ToolTip.text: help
    ToolTip.delay: 400
}
