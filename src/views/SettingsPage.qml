import QtQuick
import QtQuick.Controls

// One page of the preferences. It scrolls when taller than the window, and keeps the
// control that has the keyboard in view as Tab moves through it; a screen reader
// calls the page and its scroll bar by the page's title.
ScrollView {
    id: page
    property string title

    function keepInView(item) {
        const flickable = contentItem
        let inside = item
        while (inside && inside !== flickable.contentItem)
            inside = inside.parent
        if (!inside)
            return
        const top = item.mapToItem(flickable.contentItem, 0, 0).y - 8
        const bottom = top + item.height + 16
        const end = Math.max(0, flickable.contentHeight - flickable.height)
        if (top < flickable.contentY)
            flickable.contentY = Math.max(0, top)
        else if (bottom > flickable.contentY + flickable.height)
            flickable.contentY = Math.min(end, bottom - flickable.height)
    }

    contentWidth: availableWidth
    Accessible.name: title
    Component.onCompleted: {
        ScrollBar.vertical.Accessible.name = title
        ScrollBar.horizontal.Accessible.ignored = true
    }
    Connections {
        target: page.Window.window
        function onActiveFocusItemChanged() {
            if (page.Window.activeFocusItem)
                page.keepInView(page.Window.activeFocusItem)
        }
    }
}
