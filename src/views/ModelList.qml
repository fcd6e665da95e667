import QtQuick
import Stashwell
import QtQuick.Controls

// The scrolling list of the last scan: section headers and model rows, flattened by
// the view model (orphans first, then each application, then custom folders). Only
// the rows on screen exist, so thousands of models scroll as smoothly as ten.
ListView {
    id: list
    objectName: "modelList"

    signal removeFolderRequested(string path)

    model: AppViewModel.modelList
    clip: true
    spacing: 2
    leftMargin: 18
    rightMargin: 18
    bottomMargin: 8
    cacheBuffer: 400
    reuseItems: true
    boundsBehavior: Flickable.StopAtBounds
    ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }

    delegate: Loader {
        id: entry
        required property var model
        required property int index
        width: list.width - list.leftMargin - list.rightMargin
        sourceComponent: model.rowKind === "header" ? headerComponent : rowComponent
    }

    Component {
        id: headerComponent
        SectionHeader {
            entry: parent ? parent.model : null
            onContextMenuRequested: (path) => {
                headerMenu.folderPath = path
                headerMenu.popup()
            }
        }
    }
    Component {
        id: rowComponent
        ModelRow {
            entry: parent ? parent.model : null
            onContextMenuRequested: (at) => {
                // Orphans are only ever shown in their folder; other grouped models can be verified.
                const menu = entry.duplicateGroup !== "" && !entry.warning ? duplicateRowMenu : rowMenu
                menu.filePath = entry.firstFilePath
                menu.groupId = entry.duplicateGroup
                menu.badge = entry.badge
                menu.modelId = entry.modelId
                if (at)
                    menu.popup(at, 0, at.height)
                else
                    menu.popup()
            }
        }
    }

    // A custom folder's section: stop scanning it, or open it.
    Menu {
        id: headerMenu
        objectName: "folderHeaderMenu"
        property string folderPath
        MenuItem {
            objectName: "removeFolderItem"
            text: "Remove Folder"
            icon.source: Theme.symbol("minus.circle", Theme.text)
            onTriggered: list.removeFolderRequested(headerMenu.folderPath)
        }
        MenuItem {
            text: "Show in File Manager"
            onTriggered: FileManager.reveal(headerMenu.folderPath)
        }
    }
    // A model in a duplicate group: verify the group, keep this copy of a verified one,
    // then reveal.
    Menu {
        id: duplicateRowMenu
        objectName: "duplicateRowMenu"
        property string filePath
        property string groupId
        property string badge
        property string modelId
        MenuItem {
            objectName: "verifyItem"
            text: duplicateRowMenu.badge === "unable" ? "Try Verification Again" : "Verify Duplicates"
            onTriggered: AppViewModel.verifyDuplicateGroup(duplicateRowMenu.groupId)
        }
        MenuItem {
            objectName: "keepOneItem"
            text: "Keep This Copy, Move the Others to Trash…"
            // Only copies verified identical may go.
            enabled: duplicateRowMenu.badge === "verified"
            onTriggered: AppViewModel.keepOnly(duplicateRowMenu.modelId)
        }
        MenuSeparator {}
        MenuItem {
            objectName: "showItem"
            text: "Show in File Manager"
            onTriggered: FileManager.reveal(duplicateRowMenu.filePath)
        }
    }
    // Any other model: reveal its first file.
    Menu {
        id: rowMenu
        objectName: "rowMenu"
        property string filePath
        property string groupId
        property string badge
        property string modelId
        MenuItem {
            objectName: "showItem"
            text: "Show in File Manager"
            onTriggered: FileManager.reveal(rowMenu.filePath)
        }
    }
}
