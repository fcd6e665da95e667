import QtQuick
import Stashwell
import QtQuick.Controls
import QtQuick.Dialogs
import QtQuick.Layouts

// The main window: the summary bar, the content of the current scan state and the
// action bar, with the sheets and alerts that belong to the whole window.
ThemedWindow {
    id: window
    objectName: "mainWindow"

    // The custom folder the user asked to remove, until they confirm or cancel.
    property string folderPendingRemoval
    // The list commands (find, select, move to the Trash) need a list on screen.
    readonly property bool listShown: AppViewModel.scanState === "complete" && AppViewModel.modelCount > 0

    function openPreferences() {
        preferences.show()
        preferences.raise()
        preferences.requestActivate()
    }
    function openPreferencesTab(index) {
        preferences.currentTab = index
        openPreferences()
    }
    // What the folder dialog's answer does: store the folder (if one was chosen) and
    // scan, so its models appear; the scan runs even when the dialog was dismissed.
    function folderChosen(url) {
        if (url !== "")
            AppViewModel.addCustomFolder(Shell.localPath(url))
        AppViewModel.startScan()
    }
    function chooseFolder() {
        folderDialog.open()
    }
    function rescan() {
        AppViewModel.startScan()
        AppViewModel.refreshPermissionStatus()
    }

    title: "Stashwell"
    width: 980
    height: 680
    minimumWidth: 720
    minimumHeight: 460

    Component.onCompleted: Theme.dark = Qt.binding(() => Appearance.dark)
    // Closing the main window ends Stashwell, even with the preferences still open.
    onClosing: Qt.quit()
    onFolderPendingRemovalChanged: if (folderPendingRemoval !== "") removeFolderDialog.open()

    // The commands a keyboard user looks for, with their shortcuts; Alt and a menu's
    // underlined letter, or F10, open a menu.
    menuBar: MenuBar {
        id: menus
        // Qt 6.4 reads out the "&" of a menu's title.
        delegate: MenuBarItem { Accessible.name: text.replace("&", "") }
        Menu {
            title: "&Stashwell"
            Action {
                objectName: "aboutAction"
                text: "About Stashwell"
                onTriggered: aboutDialog.open()
            }
            MenuSeparator {}
            Action {
                objectName: "preferencesAction"
                text: "Preferences..."
                shortcut: "Ctrl+,"
                onTriggered: window.openPreferences()
            }
            MenuSeparator {}
            Action {
                text: "Quit Stashwell"
                shortcut: StandardKey.Quit
                onTriggered: Qt.quit()
            }
        }
        Menu {
            title: "&Edit"
            Action {
                objectName: "findAction"
                enabled: window.listShown
                text: "Find"
                shortcut: StandardKey.Find
                onTriggered: content.focusSearch()
            }
            MenuSeparator {}
            Action {
                objectName: "selectAllAction"
                enabled: window.listShown
                text: "Select All"
                shortcut: StandardKey.SelectAll
                onTriggered: AppViewModel.selectAllShown()
            }
            Action {
                text: "Select None"
                enabled: window.listShown
                shortcut: "Ctrl+Shift+A"
                onTriggered: AppViewModel.clearSelection()
            }
            MenuSeparator {}
            Action {
                objectName: "moveToTrashAction"
                enabled: window.listShown
                text: "Move to Trash..."
                shortcut: StandardKey.Delete
                onTriggered: AppViewModel.askToMoveToTrash()
            }
        }
        Menu {
            title: "&View"
            Action {
                objectName: "rescanAction"
                text: "Rescan"
                shortcut: "F5"
                onTriggered: window.rescan()
            }
        }
        Menu {
            title: "&Help"
            Action {
                objectName: "userGuideAction"
                text: "Stashwell User Guide"
                onTriggered: Shell.openUserGuide()
            }
            Action {
                objectName: "showWelcomeAction"
                text: "Show Welcome Screen"
                onTriggered: AppViewModel.showWelcomeScreen = true
            }
        }
    }

    // The other key desktops use for reloading, beside the menu's F5.
    Shortcut {
        sequence: "Ctrl+R"
        onActivated: window.rescan()
    }
    // F10 opens the first menu, as in GNOME's applications.
    Shortcut {
        sequence: "F10"
        onActivated: menus.itemAt(0).triggered()
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        SummaryBar {
            id: summaryBar
            Layout.fillWidth: true
            Layout.leftMargin: 18
            Layout.rightMargin: 18
            Layout.topMargin: 14
            Layout.bottomMargin: 10
            onGrantAccessRequested: accessHelpSheet.open()
        }
        ContentRegion {
            id: content
            objectName: "contentRegion"
            Layout.fillWidth: true
            Layout.fillHeight: true
            scanState: AppViewModel.scanState
            errorMessage: AppViewModel.scanErrorMessage
            modelCount: AppViewModel.modelCount
            noModelsMessage: AppViewModel.noModelsMessage
            onRemoveFolderRequested: (path) => window.folderPendingRemoval = path
        }
        Rectangle {
            Layout.fillWidth: true
            Layout.preferredHeight: 1
            color: Theme.separator
        }
        ActionBar {
            id: actionBar
            Layout.fillWidth: true
            Layout.leftMargin: 18
            Layout.rightMargin: 18
            Layout.topMargin: 12
            Layout.bottomMargin: 12
            onAddFolderRequested: window.chooseFolder()
            onRescanRequested: window.rescan()
        }
    }

    NoticeToast {
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 70
        z: 10
    }

    // "Add Folder...": the scan starts whether or not a folder was chosen.
    FolderDialog {
        id: folderDialog
        objectName: "folderDialog"
        title: "Choose a Folder with Model Files"
        onAccepted: window.folderChosen(selectedFolder)
        onRejected: window.folderChosen("")
    }

    DeleteConfirmation { id: deleteConfirmation }

    RemoveFolderDialog {
        id: removeFolderDialog
        folderPath: window.folderPendingRemoval
        onConfirmed: {
            const folder = window.folderPendingRemoval
            if (folder !== "") {
                AppViewModel.removeCustomFolder(folder)
                AppViewModel.startScan()
            }
            window.folderPendingRemoval = ""
        }
        onClosed: window.folderPendingRemoval = ""
    }

    AlertDialog {
        id: deletionAlert
        objectName: "deletionAlert"
        Connections {
            target: AppViewModel
            function onDeletionAlert(message, informativeText) {
                deletionAlert.heading = message
                deletionAlert.message = informativeText
                deletionAlert.open()
            }
        }
    }

    // A custom folder that was refused, or accepted with a warning, from either window.
    AlertDialog {
        id: folderNotice
        objectName: "folderNotice"
        Connections {
            target: AppViewModel
            function onCustomFolderNotice(message, informativeText) {
                folderNotice.heading = message
                folderNotice.message = informativeText
                folderNotice.open()
            }
        }
    }

    WelcomeSheet {
        id: welcome
        onAccessHelpRequested: accessHelpSheet.open()
    }
    AccessHelp { id: accessHelpSheet }
    AboutDialog { id: aboutDialog }

    PreferencesWindow { id: preferences }
}
