import QtQuick
import QtQuick.Layouts
import QtQuick.Controls

// The middle of the main window, chosen by the scan state: a card while there is no
// list to show, the model list after a scan that found models.
Item {
    id: region
    property string scanState: "idle"
    property string errorMessage
    property int modelCount: 0
    property string noModelsMessage
    readonly property Item current: loader.item

    signal removeFolderRequested(string path)

    // Ctrl+F; nothing while there is no list to search.
    function focusSearch() {
        if (current && current.objectName === "modelListPane")
            current.focusSearch()
    }

    Loader {
        id: loader
        anchors.fill: parent
        sourceComponent: {
            switch (region.scanState) {
            case "scanning": return scanningComponent
            case "complete": return region.modelCount > 0 ? listComponent : emptyComponent
            case "error": return errorComponent
            default: return idleComponent
            }
        }
    }

    Component {
        id: idleComponent
        Item {
            EmptyStateCard {
                objectName: "idleCard"
                anchors.centerIn: parent
                symbol: "externaldrive"
                title: "Ready to Scan"
                message: "Stashwell will scan known model folders and any custom folders you add."
            }
        }
    }
    Component {
        id: scanningComponent
        Item {
            ScanningCard {
                objectName: "scanningCard"
                anchors.centerIn: parent
            }
        }
    }
    Component {
        id: emptyComponent
        Item {
            EmptyStateCard {
                objectName: "emptyCard"
                anchors.centerIn: parent
                symbol: "magnifyingglass"
                title: "No Models Found"
                message: region.noModelsMessage
            }
        }
    }
    Component {
        id: errorComponent
        Item {
            EmptyStateCard {
                objectName: "errorCard"
                anchors.centerIn: parent
                symbol: "exclamationmark.triangle"
                symbolColour: Theme.orange
                title: "Scan Failed"
                message: region.errorMessage
            }
        }
    }
    Component {
        id: listComponent
        // Anchors, not a layout: the list has its size as soon as it exists, so its
        // rows are there the moment the scan's result is shown.
        Item {
            objectName: "modelListPane"
            function focusSearch() { filterBar.focusSearch() }
            // Each scan makes the list anew (after a deletion too): unless the keyboard is
            // on another control, it lands on the list again, on the row it was on.
            Component.onCompleted: {
                const focused = Window.activeFocusItem
                if (!focused || !focused.activeFocusOnTab)
                    modelList.forceActiveFocus()
            }
            ListFilterBar {
                id: filterBar
                anchors.top: parent.top
                anchors.left: parent.left
                anchors.right: parent.right
                anchors.topMargin: 4
                anchors.leftMargin: 18
                anchors.rightMargin: 18
                onListRequested: modelList.forceActiveFocus()
            }
            ModelList {
                id: modelList
                anchors.top: filterBar.bottom
                anchors.topMargin: 6
                anchors.left: parent.left
                anchors.right: parent.right
                anchors.bottom: parent.bottom
                onRemoveFolderRequested: (path) => region.removeFolderRequested(path)
            }
        }
    }
}
