import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One titled group of settings on a translucent card.
GlassPanel {
    id: card
    property string heading
    default property alias content: body.data

    radius: 14
    Layout.fillWidth: true
    implicitHeight: column.implicitHeight + 28

    ColumnLayout {
        id: column
        anchors.fill: parent
        anchors.margins: 14
        spacing: 8
        Heading {
            visible: card.heading !== ""
            text: card.heading
        }
        ColumnLayout {
            id: body
            Layout.fillWidth: true
            spacing: 8
        }
    }
}
