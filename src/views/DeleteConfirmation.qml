import QtQuick
import Stashwell
import QtQuick.Controls
import QtQuick.Layouts

// The last word before the selection goes to the Trash: what moves, how much, and
// that the Trash gives it back. Cancel is the default button, so Return or Escape
// alone never delete; moving takes its own button (Tab to it, or Alt+M) or Ctrl+Return.
// The list of what moves is one stop whose rows the arrows read out.
Sheet {
    id: sheet
    objectName: "deleteConfirmation"

    property bool isDeleting: false
    readonly property int count: AppViewModel.selectedCount
    readonly property string heading: count === 1 ? "Deleting 1 model" : "Deleting %1 models".arg(count)

    function cancel() {
        AppViewModel.showDeleteConfirmation = false
    }
    function confirm() {
        if (isDeleting)
            return
        isDeleting = true
        AppViewModel.deleteSelectedModels()
    }

    width: 520
    title: "%1 - %2".arg(heading).arg(AppViewModel.selectedTotalSizeText)
    defaultButton: cancelButton
    closePolicy: Popup.CloseOnEscape
    onAboutToShow: isDeleting = false
    onClosed: AppViewModel.showDeleteConfirmation = false

    Connections {
        target: AppViewModel
        function onShowDeleteConfirmationChanged() {
            if (AppViewModel.showDeleteConfirmation)
                sheet.open()
            else
                sheet.close()
        }
    }

    contentItem: ColumnLayout {
        spacing: 12

        RowLayout {
            spacing: 6
            Label {
                objectName: "deleteHeader"
                text: sheet.heading
                font.pixelSize: Theme.headlineSize + 1
                font.weight: Font.DemiBold
                color: Theme.text
            }
            Label {
                Accessible.ignored: true
                text: "-"
                font.pixelSize: Theme.headlineSize + 1
                color: Theme.secondaryText
            }
            Label {
                objectName: "deleteTotal"
                text: AppViewModel.selectedTotalSizeText
                font.pixelSize: Theme.headlineSize + 1
                font.weight: Font.DemiBold
                color: Theme.text
            }
        }

        Label {
            objectName: "deleteSpaceFreed"
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            text: AppViewModel.spaceFreedText === ""
                  ? "Working out how much space the disk gets back…"
                  : "The disk gets back " + AppViewModel.spaceFreedText
                    + ". Blobs other models still use and files with other hard links free nothing."
            color: Theme.secondaryText
        }

        // Where the copies that stay are, or that a group loses every copy (in orange).
        Repeater {
            model: AppViewModel.selectionNotes
            delegate: Label {
                required property var modelData
                objectName: "deleteCopiesNote"
                Layout.fillWidth: true
                wrapMode: Text.Wrap
                text: modelData.text
                color: modelData.everyCopy ? Theme.orange : Theme.secondaryText
            }
        }

        ListView {
            id: selectedList
            objectName: "deleteList"
            Layout.fillWidth: true
            Layout.preferredHeight: Math.min(contentHeight, 220)
            clip: true
            spacing: 6
            model: AppViewModel.selectedModelSummaries
            boundsBehavior: Flickable.StopAtBounds
            activeFocusOnTab: true
            Accessible.role: Accessible.List
            Accessible.name: "Models to move to the Trash"
            ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }
            delegate: Rectangle {
                id: summaryRow
                required property var modelData
                width: ListView.view.width
                height: nameLabel.parent.parent.implicitHeight + 20
                radius: 12
                color: Theme.quaternaryFill
                Accessible.role: Accessible.ListItem
                Accessible.name: modelData.accessibleName
                Accessible.focusable: true
                FocusRing { visible: summaryRow.activeFocus }
                RowLayout {
                    anchors.fill: parent
                    anchors.margins: 10
                    spacing: 10
                    ColumnLayout {
                        // Fills what the source and size leave, however long its lines are.
                        Layout.fillWidth: true
                        Layout.preferredWidth: 100
                        spacing: 1
                        // The name, cut in the middle only when it must be, and right after it
                        // the quantization: "llama3.1:8b Q4_K_M" and "llama3.1:8b Q8_0" are
                        // different models.
                        Item {
                            Layout.fillWidth: true
                            implicitHeight: nameLabel.implicitHeight
                            Label {
                                id: nameLabel
                                Accessible.ignored: true
                                width: Math.min(implicitWidth, parent.width - (quantizationLabel.visible ? quantizationLabel.implicitWidth + 6 : 0))
                                text: modelData.name
                                elide: Text.ElideMiddle
                                font.pixelSize: Theme.calloutSize + 1
                                color: Theme.text
                            }
                            Label {
                                id: quantizationLabel
                                objectName: "deleteRowQuantization"
                                Accessible.ignored: true
                                x: nameLabel.width + 6
                                anchors.baseline: nameLabel.baseline
                                visible: text !== ""
                                text: modelData.quantization
                                font.pixelSize: Theme.calloutSize
                                font.weight: Font.Medium
                                color: Theme.secondaryText
                            }
                        }
                        Label {
                            objectName: "deleteRowNote"
                            Accessible.ignored: true
                            Layout.fillWidth: true
                            elide: Text.ElideRight
                            visible: text !== ""
                            text: [modelData.kind, modelData.alsoIn, modelData.note].filter(t => t !== "").join(" \u00b7 ")
                            font.pixelSize: Theme.calloutSize
                            color: modelData.note !== "" ? Theme.orange : Theme.tertiaryText
                        }
                    }
                    Label {
                        objectName: "deleteRowSource"
                        Accessible.ignored: true
                        text: modelData.source
                        font.pixelSize: Theme.calloutSize
                        color: Theme.tertiaryText
                    }
                    Label {
                        Accessible.ignored: true
                        text: modelData.sizeText
                        font.pixelSize: Theme.calloutSize + 1
                        color: Theme.secondaryText
                    }
                }
            }
        }

        Label {
            Layout.fillWidth: true
            text: "Moved to Trash. You can restore files from Trash if needed."
            wrapMode: Text.Wrap
            font.pixelSize: Theme.calloutSize + 1
            color: Theme.secondaryText
        }

        RowLayout {
            spacing: 8
            Item { Layout.fillWidth: true }
            GlassButton {
                id: cancelButton
                objectName: "cancelDeleteButton"
                text: "Cancel"
                onClicked: sheet.cancel()
            }
            ProminentButton {
                objectName: "moveToTrashButton"
                text: "&Move to Trash"
                fill: Theme.red
                enabled: !sheet.isDeleting
                onClicked: sheet.confirm()
            }
        }

        Shortcut {
            sequence: "Ctrl+Escape"
            enabled: sheet.opened
            onActivated: sheet.cancel()
        }
        Shortcut {
            sequences: ["Ctrl+Return", "Ctrl+Enter"]
            enabled: sheet.opened
            onActivated: sheet.confirm()
        }
    }
}
