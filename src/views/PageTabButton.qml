import QtQuick
import QtQuick.Controls

// The button of one page of a window with pages (General, Model): a page tab to a
// screen reader, drawn as an option of a segmented picker.
TabButton {
    id: button
    property string symbol

    width: implicitWidth
    padding: 6
    leftPadding: 14
    rightPadding: 14
    font.pixelSize: Theme.bodySize
    Accessible.name: text
    Accessible.selectable: true
    Accessible.selected: checked
    contentItem: SegmentTitle { button: button; symbol: button.symbol }
    background: SegmentLook { button: button }
}
