import QtQuick
import Stashwell
import QtQuick.Controls

// The scrolling list of the last scan: section headers and model rows, flattened by
// the view model (orphans first, then each application, then custom folders). Only
// the rows on screen exist, so thousands of models scroll as smoothly as ten.
// It is one stop for Tab; the arrows, Page Up and Down, Home and End move the keyboard
// over the model rows, Space selects, and the Menu key or Shift+F10 opens the row's menu.
ListView {
    id: list
    objectName: "modelList"

    readonly property var rows: AppViewModel.modelList
    readonly property int page: Math.max(1, Math.floor(height / 44))

    signal removeFolderRequested(string path)

    // A row's menu: at the pointer, or for the keyboard beside the row with its first
    // item chosen, so the arrows and Return work at once.
    function openRowMenu(row, byKeyboard) {
        // Orphans are only ever shown in their folder; other grouped models can be verified.
        const entry = row.entry
        const menu = entry.duplicateGroup !== "" && !entry.warning ? duplicateRowMenu : rowMenu
        menu.filePath = entry.firstFilePath
        menu.groupId = entry.duplicateGroup
        menu.badge = entry.badge
        menu.modelId = entry.modelId
        if (!byKeyboard) {
            menu.popup()
            return
        }
        menu.popup(row, 24, row.height / 2)
        menu.currentIndex = 0
    }
    function openCurrentRowMenu() {
        const row = currentItem ? currentItem.item : null
        if (row && row.objectName === "modelRow")
            openRowMenu(row, true)
    }

    model: rows
    currentIndex: rows.currentRow
    keyNavigationEnabled: false
    activeFocusOnTab: true
    Accessible.role: Accessible.List
    Accessible.name: "Models"
    clip: true
    spacing: 2
    leftMargin: 18
    rightMargin: 18
    bottomMargin: 8
    cacheBuffer: 400
    reuseItems: true
    boundsBehavior: Flickable.StopAtBounds
    ScrollBar.vertical: ScrollBar {
        policy: ScrollBar.AsNeeded
        Accessible.name: "Models"
    }

    Keys.onUpPressed: rows.moveCurrentRow(-1)
    Keys.onDownPressed: rows.moveCurrentRow(1)
    Keys.onPressed: (event) => {
        if (event.key === Qt.Key_PageUp || event.key === Qt.Key_PageDown)
            rows.moveCurrentRow(event.key === Qt.Key_PageUp ? -page : page)
        else if (event.key === Qt.Key_Home || event.key === Qt.Key_End)
            rows.moveCurrentRow(event.key === Qt.Key_Home ? -count : count)
        else if (event.key === Qt.Key_Space && event.modifiers === Qt.NoModifier)
            AppViewModel.toggleCurrentRowSelection()
        else if (event.key === Qt.Key_Menu || (event.key === Qt.Key_F10 && event.modifiers === Qt.ShiftModifier))
            openCurrentRowMenu()
        else if (event.key === Qt.Key_Escape && rows.filterText !== "")
            rows.filterText = ""
        else
            return
        event.accepted = true
    }

    delegate: Loader {
        id: entry
        required property var model
        required property int index
        width: list.width - list.leftMargin - list.rightMargin
        sourceComponent: model.rowKind === "header" ? headerComponent : rowComponent
    }
    // Where the keyboard went, the view follows.
    onCurrentIndexChanged: if (currentIndex >= 0) positionViewAtIndex(currentIndex, ListView.Contain)

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
            id: modelRow
            entry: parent ? parent.model : null
            onClicked: {
                list.rows.currentRow = parent.index
                list.forceActiveFocus()
            }
            onContextMenuRequested: list.openRowMenu(modelRow, false)
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
