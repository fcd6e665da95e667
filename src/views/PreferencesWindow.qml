import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Preferences: the appearance, the welcome screen and the reset ("General"), and
// where models are looked for ("Model").
ThemedWindow {
    id: window
    objectName: "preferencesWindow"

    property alias currentTab: tabs.currentIndex

    title: "Stashwell Preferences"
    width: 620
    height: 680
    minimumWidth: 620
    maximumWidth: 620
    minimumHeight: 680
    maximumHeight: 680
    flags: Qt.Dialog

    Shortcut {
        sequences: [StandardKey.Close, "Escape"]
        onActivated: window.close()
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 8
        spacing: 8

        // The two pages, chosen like the options of a segmented picker.
        Row {
            id: tabs
            objectName: "preferencesTabs"
            property int currentIndex: 0
            Layout.alignment: Qt.AlignHCenter
            spacing: 4
            SegmentButton {
                objectName: "generalTab"
                text: "General"
                symbol: "gearshape"
                checked: tabs.currentIndex === 0
                onClicked: tabs.currentIndex = 0
            }
            SegmentButton {
                objectName: "modelTab"
                text: "Model"
                symbol: "externaldrive"
                checked: tabs.currentIndex === 1
                onClicked: tabs.currentIndex = 1
            }
        }
        StackLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            currentIndex: tabs.currentIndex
            GeneralSettings {}
            ModelSourcesSettings {}
        }
    }
}
