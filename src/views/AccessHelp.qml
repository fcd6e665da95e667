import QtQuick
import Stashwell
import QtQuick.Controls
import QtQuick.Layouts

// Why a scan can be limited on Linux and how to fix it: the model folders that the
// scan could not read, and the group to join so that they become readable.
Sheet {
    id: sheet
    objectName: "accessHelp"

    readonly property var folders: AppViewModel.unreadableFolders

    width: 500
    title: "Folder Access"
    closePolicy: Popup.CloseOnEscape
    defaultButton: closeButton

    contentItem: ColumnLayout {
        spacing: 12
        Label {
            Layout.fillWidth: true
            text: "Folder Access"
            font.pixelSize: Theme.title3Size
            font.weight: Font.DemiBold
            color: Theme.text
        }
        Label {
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            font.pixelSize: Theme.calloutSize + 1
            color: Theme.secondaryText
            text: "Stashwell only reads model folders. Some of them belong to another user, most often the system Ollama service, and your account may not be allowed to look inside."
        }
        Label {
            objectName: "accessSummary"
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            font.pixelSize: Theme.calloutSize + 1
            font.weight: Font.Medium
            color: Theme.text
            text: sheet.folders.length === 0
                  ? "Every model folder Stashwell knows can be read right now."
                  : "These model folders exist but cannot be read:"
        }
        Repeater {
            model: sheet.folders
            delegate: Rectangle {
                required property string modelData
                readonly property string command: FolderAccess.joinGroupCommand(modelData)
                objectName: "unreadableFolder"
                Layout.fillWidth: true
                Layout.preferredHeight: folderColumn.implicitHeight + 20
                radius: 10
                color: Theme.quaternaryFill
                ColumnLayout {
                    id: folderColumn
                    anchors.fill: parent
                    anchors.margins: 10
                    spacing: 6
                    Label {
                        objectName: "folderPath"
                        Layout.fillWidth: true
                        text: modelData
                        elide: Text.ElideMiddle
                        font.pixelSize: Theme.calloutSize + 1
                        font.weight: Font.Medium
                        color: Theme.text
                    }
                    Label {
                        Layout.fillWidth: true
                        wrapMode: Text.Wrap
                        font.pixelSize: Theme.calloutSize
                        color: Theme.secondaryText
                        text: command !== ""
                              ? "Join the group that owns it, then log out and back in:"
                              : "Ask the owner of this folder to make it readable for you."
                    }
                    TextField {
                        objectName: "fixCommand"
                        Accessible.name: "Command that makes %1 readable".arg(modelData)
                        Layout.fillWidth: true
                        visible: command !== ""
                        readOnly: true
                        selectByMouse: true
                        text: command
                        font.family: "monospace"
                        font.pixelSize: Theme.calloutSize
                    }
                }
            }
        }
        Label {
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            font.pixelSize: Theme.calloutSize
            color: Theme.tertiaryText
            text: "For example, the system Ollama service keeps its models in /usr/share/ollama/.ollama/models, owned by the ollama group. Join it, log out and back in, then press Rescan:"
        }
        TextField {
            objectName: "exampleCommand"
            Accessible.name: "Command that joins the ollama group"
            Layout.fillWidth: true
            readOnly: true
            selectByMouse: true
            text: "sudo usermod -aG ollama $USER"
            font.family: "monospace"
            font.pixelSize: Theme.calloutSize
        }
        RowLayout {
            Item { Layout.fillWidth: true }
            GlassButton {
                id: closeButton
                objectName: "closeAccessHelp"
                text: "Close"
                onClicked: sheet.close()
            }
        }
    }
}
