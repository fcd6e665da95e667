import QtQuick
import Stashwell
import QtQuick.Controls
import QtQuick.Layouts

// One model: a checkbox, its name (cut in the middle when long), under it the source of
// an orphan or what a leftover is, what the model is (architecture, parameters,
// quantization, context) and where a duplicate's other copies are, its size, its date
// and its duplicate badge. To a screen reader the whole row is one check box, checked
// when the model is selected, whose name says in words what the columns show.
Rectangle {
    id: row
    property var entry
    readonly property bool selected: entry?.selected ?? false

    signal contextMenuRequested()
    // A click anywhere on the row: the keyboard moves here.
    signal clicked()

    function toggle() {
        AppViewModel.setSelected(entry.modelId, !selected)
    }

    objectName: "modelRow"
    focus: true
    Accessible.role: Accessible.CheckBox
    Accessible.name: entry?.accessibleName ?? ""
    Accessible.description: entry?.accessibleDescription ?? ""
    Accessible.checkable: true
    Accessible.checked: selected
    Accessible.focusable: true
    Accessible.onToggleAction: toggle()
    Accessible.onPressAction: toggle()
    implicitHeight: nameColumn.implicitHeight + 16
    radius: 10
    color: selected ? Theme.withAlpha(Theme.accent, 0.16) : Theme.rowFill
    border.color: selected ? Theme.withAlpha(Theme.accent, 0.45) : "transparent"
    border.width: 1

    // Under the columns, so the checkbox still takes its own clicks.
    MouseArea {
        anchors.fill: parent
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        onClicked: (mouse) => {
            row.clicked()
            if (mouse.button === Qt.RightButton)
                row.contextMenuRequested()
        }
    }
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
            // The row is the one stop and the one check box a screen reader knows.
            focusPolicy: Qt.NoFocus
            Accessible.ignored: true
            onToggled: {
                row.clicked()
                AppViewModel.setSelected(row.entry.modelId, checked)
            }
        }
        ColumnLayout {
            id: nameColumn
            Layout.fillWidth: true
            spacing: 1
            Label {
                objectName: "modelName"
                Accessible.ignored: true
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
                Accessible.ignored: true
                visible: row.entry?.showSourceLabel ?? false
                text: row.entry?.subtitle ?? ""
                font.pixelSize: Theme.subheadlineSize
                font.weight: Font.Medium
                color: Theme.secondaryText
            }
            Label {
                objectName: "detailsLabel"
                Accessible.ignored: true
                Layout.fillWidth: true
                visible: text !== ""
                text: row.entry?.details ?? ""
                elide: Text.ElideRight
                maximumLineCount: 1
                font.pixelSize: Theme.subheadlineSize
                color: Theme.secondaryText
            }
            Label {
                objectName: "alsoInLabel"
                Accessible.ignored: true
                Layout.fillWidth: true
                visible: text !== ""
                text: row.entry?.alsoIn ?? ""
                elide: Text.ElideRight
                font.pixelSize: Theme.subheadlineSize
                color: Theme.secondaryText
            }
            Label {
                objectName: "downloadNote"
                Accessible.ignored: true
                visible: text !== ""
                text: row.entry?.note ?? ""
                font.pixelSize: Theme.subheadlineSize
                color: Theme.orange
            }
        }
        Label {
            objectName: "modelSize"
            Accessible.ignored: true
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
            Accessible.ignored: true
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
            Accessible.ignored: true
            Layout.preferredWidth: 24
            kind: row.entry?.badge ?? "none"
            reason: row.entry?.badgeReason ?? ""
        }
    }

    FocusRing { visible: row.activeFocus }
}
