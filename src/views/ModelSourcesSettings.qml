import QtQuick
import Stashwell
import QtQuick.Controls
import QtQuick.Dialogs
import QtQuick.Layouts

// Where models are looked for: each application with whether it is installed and how
// many of its models the last scan found, and the user's own folders.
SettingsPage {
    id: page
    objectName: "modelSourcesSettings"
    title: "Model"

    // The custom folder whose removal awaits confirmation.
    property string folderPendingRemoval
    // Asked afresh whenever the page shows or a scan finishes: applications come and go.
    property var sources: []

    // What the folder dialog's answer does: store the folder (if one was chosen) and
    // scan, so its models appear; the scan runs even when the dialog was dismissed.
    function folderChosen(url) {
        if (url !== "")
            AppViewModel.addCustomFolder(Shell.localPath(url))
        AppViewModel.startScan()
    }
    function refresh() {
        sources = AppViewModel.builtInSources()
    }

    onVisibleChanged: if (visible) refresh()
    Component.onCompleted: refresh()
    onFolderPendingRemovalChanged: if (folderPendingRemoval !== "") removeFolderDialog.open()

    Connections {
        target: AppViewModel
        function onModelsChanged() { page.refresh() }
    }

    ColumnLayout {
        width: page.availableWidth
        spacing: 10

        Heading {
            color: Theme.secondaryText
            text: "Built-In Sources"
        }
        GlassPanel {
            Layout.fillWidth: true
            implicitHeight: sourceColumn.implicitHeight + 16
            radius: 14
            ColumnLayout {
                id: sourceColumn
                anchors.fill: parent
                anchors.margins: 8
                spacing: 2
                Repeater {
                    model: page.sources
                    delegate: RowLayout {
                        required property var modelData
                        required property int index
                        readonly property string iconSource: AppIcons.iconSource(modelData.sourceKind)
                        objectName: "sourceRow_" + modelData.sourceKind
                        Layout.fillWidth: true
                        Layout.margins: 6
                        spacing: 10

                        Image {
                            objectName: "sourceIcon"
                            Layout.preferredWidth: 28
                            Layout.preferredHeight: 28
                            sourceSize.width: 56
                            sourceSize.height: 56
                            fillMode: Image.PreserveAspectFit
                            source: modelData.installed && iconSource !== "" ? iconSource
                                    : modelData.installed && modelData.symbol ? Theme.symbol(modelData.symbol, Theme.secondaryText)
                                    : modelData.libraryCache ? Theme.symbol("externaldrive", Theme.secondaryText)
                                    : Theme.symbol("questionmark.app.dashed", Theme.secondaryText)
                        }
                        ColumnLayout {
                            Layout.fillWidth: true
                            spacing: 1
                            Label {
                                objectName: "sourceName"
                                text: modelData.displayName
                                font.pixelSize: Theme.bodySize
                                font.weight: Font.Medium
                                color: Theme.text
                            }
                            // Each installation found, with the folders looked in for it.
                            Repeater {
                                model: modelData.installations
                                ColumnLayout {
                                    required property var modelData
                                    objectName: "sourceInstallation"
                                    Layout.fillWidth: true
                                    spacing: 1
                                    Label {
                                        objectName: "installationPath"
                                        Layout.fillWidth: true
                                        text: "Installation in %1".arg(modelData.path)
                                        elide: Text.ElideMiddle
                                        font.pixelSize: Theme.calloutSize
                                        color: Theme.text
                                    }
                                    Repeater {
                                        model: modelData.folders
                                        Label {
                                            required property string modelData
                                            objectName: "sourceFolder"
                                            Layout.fillWidth: true
                                            Layout.leftMargin: 12
                                            text: modelData
                                            elide: Text.ElideMiddle
                                            font.pixelSize: Theme.calloutSize
                                            color: Theme.secondaryText
                                        }
                                    }
                                }
                            }
                            Label {
                                objectName: "noInstallation"
                                Layout.fillWidth: true
                                visible: modelData.searchesInstallations && modelData.installations.length === 0
                                         && modelData.folders.length === 0
                                text: "No installation found in your home folder."
                                wrapMode: Text.Wrap
                                font.pixelSize: Theme.calloutSize
                                color: Theme.tertiaryText
                            }
                            // Every other folder the last scan looked in for this source.
                            Repeater {
                                model: modelData.folders
                                Label {
                                    required property string modelData
                                    objectName: "sourceFolder"
                                    Layout.fillWidth: true
                                    text: modelData
                                    elide: Text.ElideMiddle
                                    font.pixelSize: Theme.calloutSize
                                    color: Theme.secondaryText
                                }
                            }
                        }
                        Label {
                            objectName: "installStatus"
                            text: modelData.statusText
                            font.pixelSize: Theme.calloutSize
                            color: modelData.installed ? Theme.secondaryText : Theme.tertiaryText
                        }
                        Label {
                            objectName: "modelCount"
                            Layout.preferredWidth: 70
                            horizontalAlignment: Text.AlignRight
                            text: modelData.modelCount === 0 ? "Empty"
                                  : modelData.modelCount + (modelData.modelCount === 1 ? " model" : " models")
                            font.pixelSize: Theme.calloutSize
                            font.weight: Font.Medium
                            color: modelData.modelCount >= 1 ? Theme.secondaryText : Theme.tertiaryText
                        }
                    }
                }
            }
        }

        Heading {
            Layout.topMargin: 6
            color: Theme.secondaryText
            text: "Custom Folders"
        }
        GlassPanel {
            objectName: "noCustomFolders"
            visible: AppViewModel.customFolders.length === 0
            Layout.fillWidth: true
            implicitHeight: emptyColumn.implicitHeight + 28
            radius: 14
            ColumnLayout {
                id: emptyColumn
                anchors.centerIn: parent
                spacing: 6
                SymbolIcon {
                    Layout.alignment: Qt.AlignHCenter
                    symbol: "folder.badge.plus"
                    side: 24
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: "No custom folders"
                    font.pixelSize: Theme.bodySize
                    font.weight: Font.Medium
                    color: Theme.text
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: "Add a folder to scan model files outside the built-in locations."
                    font.pixelSize: Theme.calloutSize
                    color: Theme.secondaryText
                }
            }
        }
        GlassPanel {
            visible: AppViewModel.customFolders.length > 0
            Layout.fillWidth: true
            implicitHeight: folderColumn.implicitHeight + 16
            radius: 14
            ColumnLayout {
                id: folderColumn
                anchors.fill: parent
                anchors.margins: 8
                spacing: 2
                Repeater {
                    model: AppViewModel.customFolders
                    delegate: RowLayout {
                        required property string modelData
                        objectName: "customFolderRow"
                        Layout.fillWidth: true
                        Layout.margins: 6
                        spacing: 10
                        SymbolIcon {
                            symbol: "folder"
                            side: 22
                        }
                        ColumnLayout {
                            Layout.fillWidth: true
                            spacing: 1
                            Label {
                                objectName: "folderName"
                                text: Shell.folderName(modelData)
                                font.pixelSize: Theme.bodySize
                                font.weight: Font.Medium
                                color: Theme.text
                            }
                            Label {
                                Layout.fillWidth: true
                                text: modelData
                                elide: Text.ElideMiddle
                                font.pixelSize: Theme.calloutSize
                                color: Theme.secondaryText
                            }
                        }
                        ToolButton {
                            id: removeButton
                            objectName: "removeFolderButton"
                            hoverEnabled: true
                            Accessible.name: "Remove the folder %1".arg(Shell.folderName(modelData))
                            Keys.onReturnPressed: clicked()
                            Keys.onEnterPressed: clicked()
                            ToolTip.visible: hovered
                            ToolTip.text: "Remove this folder"
                            ToolTip.delay: 400
                            onClicked: page.folderPendingRemoval = modelData
                            // "minus.circle.fill": the theme's minus on a red disc.
                            contentItem: Item {
                                implicitWidth: 18
                                implicitHeight: 18
                                Rectangle {
                                    anchors.fill: parent
                                    radius: width / 2
                                    color: Theme.red
                                }
                                SymbolIcon {
                                    anchors.centerIn: parent
                                    symbol: "minus.circle.fill"
                                    colour: "#ffffff"
                                    side: 12
                                }
                                FocusRing {
                                    radius: width / 2
                                    visible: removeButton.visualFocus
                                }
                            }
                        }
                    }
                }
            }
        }
        RowLayout {
            spacing: 10
            GlassButton {
                objectName: "preferencesAddFolderButton"
                text: "Add Folder..."
                symbol: "plus"
                onClicked: folderDialog.open()
            }
            BusyIndicator {
                visible: AppViewModel.scanState === "scanning"
                running: visible
                Layout.preferredWidth: 18
                Layout.preferredHeight: 18
            }
            Label {
                objectName: "preferencesScanning"
                visible: AppViewModel.scanState === "scanning"
                text: "Scanning..."
                font.pixelSize: Theme.calloutSize
                color: Theme.secondaryText
            }
        }
    }

    FolderDialog {
        id: folderDialog
        objectName: "preferencesFolderDialog"
        title: "Choose a Folder with Model Files"
        onAccepted: page.folderChosen(selectedFolder)
        onRejected: page.folderChosen("")
    }

    RemoveFolderDialog {
        id: removeFolderDialog
        folderPath: page.folderPendingRemoval
        onConfirmed: {
            const folder = page.folderPendingRemoval
            if (folder !== "") {
                AppViewModel.removeCustomFolder(folder)
                AppViewModel.startScan()
            }
            page.folderPendingRemoval = ""
        }
        onClosed: page.folderPendingRemoval = ""
    }
}
