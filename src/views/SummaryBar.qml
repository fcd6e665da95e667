import QtQuick
import Stashwell
import QtQuick.Controls
import QtQuick.Layouts

// The strip at the top: total size, model count, what removing duplicates would free,
// and whether the scan could not read some model folders.
RowLayout {
    id: bar
    signal grantAccessRequested()

    spacing: 10

    Chip {
        objectName: "sizeChip"
        symbol: "externaldrive"
        text: AppViewModel.totalSizeText
        accessibleName: "Models take %1".arg(text)
    }
    Chip {
        objectName: "countChip"
        symbol: "cpu"
        text: AppViewModel.countText
    }
    Chip {
        objectName: "reclaimableChip"
        visible: AppViewModel.reclaimableSize >= 1
        symbol: "trash"
        symbolColour: Theme.orange
        textColour: Theme.orange
        text: AppViewModel.reclaimableSizeText + " reclaimable"
    }
    Item { Layout.fillWidth: true }
    Row {
        objectName: "scanLimitedNotice"
        visible: AppViewModel.permissionDenied
        spacing: 10
        Row {
            anchors.verticalCenter: parent.verticalCenter
            spacing: 6
            SymbolIcon {
                anchors.verticalCenter: parent.verticalCenter
                symbol: "exclamationmark.triangle"
                colour: Theme.orange
            }
            Label {
                objectName: "scanLimitedLabel"
                anchors.verticalCenter: parent.verticalCenter
                text: "Scan limited"
                color: Theme.orange
                font.pixelSize: Theme.bodySize
                font.weight: Font.Medium
            }
        }
        GlassButton {
            objectName: "grantAccessButton"
            text: "Grant Access"
            help: "Show how to let Stashwell read the folders it could not"
            onClicked: bar.grantAccessRequested()
        }
    }
}
