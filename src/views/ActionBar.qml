import QtQuick
import Stashwell
import QtQuick.Controls
import QtQuick.Layouts

// The window's commands along the bottom: add a folder, rescan, verify the selected
// duplicates and move the selection to the Trash, with the running work beside them.
RowLayout {
    id: bar
    signal addFolderRequested()
    signal rescanRequested()

    readonly property bool armed: AppViewModel.selectedCount > 0 && !AppViewModel.isDeleting

    spacing: 10

    GlassButton {
        objectName: "addFolderButton"
        text: "Add Folder..."
        symbol: "folder.badge.plus"
        help: "Add a custom folder containing model files"
        onClicked: bar.addFolderRequested()
    }
    Item {
        Layout.fillWidth: true
        Layout.minimumWidth: 20
    }
    StatusCapsule {
        objectName: "scanningCapsule"
        visible: AppViewModel.scanState === "scanning"
        text: "Scanning..."
    }
    GlassButton {
        objectName: "rescanButton"
        text: "Rescan"
        symbol: "arrow.clockwise"
        help: "Rescan all model sources"
        onClicked: bar.rescanRequested()
    }
    GlassButton {
        objectName: "verifyButton"
        text: "Verify"
        symbol: "checkmark.seal"
        help: "Verify selected duplicate models"
        enabled: AppViewModel.canVerify
        onClicked: AppViewModel.verifySelectedGroups()
    }
    StatusCapsule {
        objectName: "verifyingCapsule"
        visible: AppViewModel.isVerifyingDuplicates
        text: "Verifying duplicates..."
    }
    StatusCapsule {
        objectName: "deletingCapsule"
        visible: AppViewModel.isDeleting
        text: "Moving to Trash..."
    }
    GlassButton {
        objectName: "deleteButton"
        text: "Delete Selected"
        symbol: "trash"
        help: "Move selected models to Trash"
        enabled: bar.armed
        tint: bar.armed ? Theme.red : Theme.secondaryText
        onClicked: {
            if (bar.armed)
                AppViewModel.showDeleteConfirmation = true
        }
    }
}
