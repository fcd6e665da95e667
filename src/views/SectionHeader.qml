import QtQuick
import Stashwell
import QtQuick.Controls
import QtQuick.Layouts

// The head of one section: its icon, title, model count and total size. A custom
// folder's header offers a context menu (remove the folder, show it). A screen reader
// finds it as a heading that says all of that in words.
Item {
    id: header
    property var entry
    readonly property bool isOrphans: entry?.warning ?? false
    readonly property bool isCustom: entry ? entry.sourceKind === "custom" : false
    readonly property string title: entry?.title ?? ""
    readonly property string iconSource: {
        if (!entry || entry.rowKind !== "header")
            return ""
        if (isOrphans)
            return Theme.symbol("exclamationmark.triangle.fill", Theme.orange)
        if (isCustom)
            return Theme.symbol("folder", Theme.secondaryText)
        const app = AppIcons.iconSource(entry.sourceKind)
        if (app !== "")
            return app
        if (entry.symbol)
            return Theme.symbol(entry.symbol, Theme.secondaryText)
        return Theme.symbol(entry.libraryCache ? "externaldrive" : "questionmark.app.dashed", Theme.secondaryText)
    }

    signal contextMenuRequested(string folderPath)

    objectName: "sectionHeader"
    implicitHeight: 42
    Accessible.role: Accessible.Heading
    Accessible.name: entry?.accessibleName ?? ""

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 4
        anchors.topMargin: 8
        spacing: 8

        Image {
            objectName: "sectionIcon"
            Accessible.ignored: true
            Layout.preferredWidth: 22
            Layout.preferredHeight: 22
            sourceSize.width: 44
            sourceSize.height: 44
            fillMode: Image.PreserveAspectFit
            source: header.iconSource
        }
        Label {
            objectName: "sectionTitle"
            Accessible.ignored: true
            text: header.title
            font.pixelSize: Theme.headlineSize + 1
            font.weight: Font.DemiBold
            color: Theme.text
            elide: Text.ElideMiddle
            Layout.maximumWidth: header.width * 0.6
        }
        Label {
            objectName: "sectionCount"
            Accessible.ignored: true
            text: "(" + (entry?.count ?? 0) + ")"
            font.pixelSize: Theme.headlineSize
            color: header.isOrphans ? Theme.withAlpha(Theme.orange, 0.75) : Theme.tertiaryText
        }
        Label {
            objectName: "sectionSize"
            Accessible.ignored: true
            text: entry?.sizeText ?? ""
            font.pixelSize: Theme.calloutSize
            font.weight: Font.Medium
            color: Theme.secondaryText
        }
        Item { Layout.fillWidth: true }
    }

    MouseArea {
        anchors.fill: parent
        acceptedButtons: Qt.RightButton
        enabled: header.isCustom && (entry?.folderPath ?? "") !== ""
        onClicked: header.contextMenuRequested(entry.folderPath)
    }
}
