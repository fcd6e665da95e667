import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Preferences: the appearance, the welcome screen and the reset ("General"), and
// where models are looked for ("Model"). Ctrl+Page Up and Ctrl+Page Down change the
// page; Escape or Ctrl+W close the window.
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
    Shortcut {
        sequences: ["Ctrl+PgUp", "Ctrl+PgDown"]
        onActivated: tabs.currentIndex = 1 - tabs.currentIndex
    }
    Shortcut {
        sequence: StandardKey.Quit
        onActivated: Qt.quit()
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
            Accessible.role: Accessible.PageTabList
            Accessible.name: "Preferences pages"
            PageTabButton {
                objectName: "generalTab"
                text: "General"
                symbol: "gearshape"
                checked: tabs.currentIndex === 0
                onClicked: tabs.currentIndex = 0
            }
            PageTabButton {
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
