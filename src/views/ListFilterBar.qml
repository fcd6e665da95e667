import QtQuick
import Stashwell
import QtQuick.Controls
import QtQuick.Layouts

// Above the list: a search field that narrows the rows to names, sources,
// architectures or quantizations holding the text as the user types, and the order of
// the rows within each section. Escape in the field clears it, and from an empty field
// goes back to the list, as Down does.
RowLayout {
    id: bar
    readonly property var list: AppViewModel.modelList

    signal listRequested()

    // Ctrl+F: the field, its text chosen so typing replaces it.
    function focusSearch() {
        search.forceActiveFocus(Qt.ShortcutFocusReason)
        search.selectAll()
    }

    spacing: 10

    TextField {
        id: search
        objectName: "searchField"
        Layout.fillWidth: true
        placeholderText: "Search by name, source, architecture or quantization"
        text: bar.list.filterText
        selectByMouse: true
        leftPadding: 12
        font.pixelSize: Theme.bodySize
        color: Theme.text
        Accessible.name: "Search models"
        Accessible.description: placeholderText
        Accessible.searchEdit: true
        background: GlassPanel {
            radius: height / 2
            border.color: search.activeFocus ? Theme.accent : Theme.glassBorder
            FocusRing { visible: search.activeFocus }
        }
        onTextEdited: bar.list.filterText = text
        Keys.onEscapePressed: {
            if (text === "")
                bar.listRequested()
            clear()
            bar.list.filterText = ""
        }
        Keys.onDownPressed: bar.listRequested()
    }
    Label {
        text: "Sort by"
        color: Theme.secondaryText
        font.pixelSize: Theme.calloutSize
        Accessible.ignored: true
    }
    ComboBox {
        id: sortChoice
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
        Accessible.name: "Sort by"
        // A label rather than the style's read-only text field: a screen reader hears the
        // choice as the combo box's value, not as a nameless field inside it.
        contentItem: Label {
            text: sortChoice.displayText
            font: sortChoice.font
            color: Theme.text
            verticalAlignment: Text.AlignVCenter
            elide: Text.ElideRight
            Accessible.ignored: true
        }
        background: GlassPanel {
            implicitHeight: 30
            radius: height / 2
            FocusRing { visible: sortChoice.visualFocus }
        }
        Component.onCompleted: currentIndex = indexOfValue(bar.list.sortOrder)
        onActivated: bar.list.sortOrder = currentValue
    }
}
