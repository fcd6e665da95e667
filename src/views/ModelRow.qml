import QtQuick
import Stashwell
import QtQuick.Controls
import QtQuick.Layouts

// One model: a checkbox, its name (cut in the middle when long), under it the source of
// an orphan or what a leftover is and what the model is (architecture, parameters,
// quantization, context), its size, its date and its duplicate badge.
Rectangle {
    id: row
    property var entry
    readonly property bool selected: entry?.selected ?? false

    signal contextMenuRequested()

    objectName: "modelRow"
    implicitHeight: nameColumn.implicitHeight + 16
    radius: 10
    color: selected ? Theme.withAlpha(Theme.accent, 0.16) : Theme.rowFill
    border.color: selected ? Theme.withAlpha(Theme.accent, 0.45) : "transparent"
    border.width: 1

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 6
        anchors.rightMargin: 10
        spacing: 8

        CheckBox {
            objectName: "selectBox"
            Layout.preferredWidth: 24
            padding: 0
            checked: row.selected
            onToggled: AppViewModel.setSelected(row.entry.modelId, checked)
            Accessible.name: "Select " + (row.entry?.title ?? "")
        }
        ColumnLayout {
            id: nameColumn
            Layout.fillWidth: true
            spacing: 1
            Label {
                objectName: "modelName"
                Layout.fillWidth: true
                text: row.entry?.title ?? ""
                elide: Text.ElideMiddle
                maximumLineCount: 1
                font.pixelSize: Theme.bodySize
                font.weight: Font.Medium
                color: Theme.text
            }
            Label {
                objectName: "sourceLabel"
                visible: row.entry?.showSourceLabel ?? false
                text: row.entry?.subtitle ?? ""
                font.pixelSize: Theme.subheadlineSize
                font.weight: Font.Medium
                color: Theme.secondaryText
            }
            Label {
                objectName: "detailsLabel"
                Layout.fillWidth: true
                visible: text !== ""
                text: row.entry?.details ?? ""
                elide: Text.ElideRight
                maximumLineCount: 1
                font.pixelSize: Theme.subheadlineSize
                color: Theme.secondaryText
            }
            Label {
                objectName: "downloadNote"
                visible: text !== ""
                text: row.entry?.note ?? ""
                font.pixelSize: Theme.subheadlineSize
                color: Theme.orange
            }
        }
        Label {
            objectName: "modelSize"
            Layout.preferredWidth: 104
            horizontalAlignment: Text.AlignRight
            text: row.entry?.sizeText ?? ""
            font.pixelSize: Theme.calloutSize
            font.weight: Font.Medium
            color: Theme.secondaryText
        }
        Label {
            id: dateLabel
            objectName: "modelDate"
            Layout.preferredWidth: 158
            Layout.maximumWidth: 158
            horizontalAlignment: Text.AlignRight
            text: row.entry?.modifiedText ?? ""
            font.pixelSize: Theme.calloutSize
            fontSizeMode: Text.HorizontalFit
            minimumPixelSize: Math.floor(Theme.calloutSize * 0.85)
            elide: Text.ElideRight
            color: Theme.tertiaryText
            HoverHandler { id: dateHover }
            ToolTip.visible: dateHover.hovered
            ToolTip.text: text
            ToolTip.delay: 600
        }
        DuplicateBadge {
            objectName: "duplicateBadge"
            Layout.preferredWidth: 24
            kind: row.entry?.badge ?? "none"
            reason: row.entry?.badgeReason ?? ""
        }
    }

    MouseArea {
        anchors.fill: parent
        acceptedButtons: Qt.RightButton
        onClicked: row.contextMenuRequested()
    }
}
