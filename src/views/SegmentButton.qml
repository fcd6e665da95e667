import QtQuick
import QtQuick.Controls

// One option of a segmented picker (System, Light, Dark): a radio button to a screen
// reader, drawn as a segment.
RadioButton {
    id: button
    property string symbol

    padding: 6
    leftPadding: 14
    rightPadding: 14
    font.pixelSize: Theme.bodySize
    indicator: null
    Accessible.name: text
    contentItem: SegmentTitle { button: button; symbol: button.symbol }
    background: SegmentLook { button: button }
}
