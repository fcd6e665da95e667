import QtQuick
import Stashwell
import QtQuick.Controls
import QtQuick.Layouts

// Above the list: a search field that narrows the rows to names, sources,
// architectures or quantizations holding the text as the user types, and the order of
// the rows within each section.
RowLayout {
    id: bar
    readonly property var list: AppViewModel.modelList
    spacing: 10

    TextField {
        objectName: "searchField"
        Layout.fillWidth: true
        placeholderText: "Search by name, source, architecture or quantization"
        text: bar.list.filterText
        selectByMouse: true
        leftPadding: 12
        font.pixelSize: Theme.bodySize
        color: Theme.text
        background: GlassPanel {
            radius: height / 2
            border.color: parent.activeFocus ? Theme.accent : Theme.glassBorder
        }
        onTextEdited: bar.list.filterText = text
        Keys.onEscapePressed: {
            clear()
            bar.list.filterText = ""
        }
    }
    Label {
        text: "Sort by"
        color: Theme.secondaryText
        font.pixelSize: Theme.calloutSize
    }
    ComboBox {
        objectName: "sortChoice"
        textRole: "text"
        valueRole: "value"
        model: [
            { text: "Scan Order", value: "scan" },
            { text: "Size", value: "size" },
            { text: "Name", value: "name" },
            { text: "Date", value: "date" },
            { text: "Parameters", value: "parameters" }
        ]
        font.pixelSize: Theme.bodySize
        Layout.preferredWidth: 140
        leftPadding: 12
        background: GlassPanel {
            implicitHeight: 30
            radius: height / 2
        }
        Component.onCompleted: currentIndex = indexOfValue(bar.list.sortOrder)
        onActivated: bar.list.sortOrder = currentValue
    }
}
