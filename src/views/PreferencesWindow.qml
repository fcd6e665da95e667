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
    height: 500
    minimumWidth: 620
    maximumWidth: 620
    minimumHeight: 500
    maximumHeight: 500
    flags: Qt.Dialog

    Shortcut {
        sequences: [StandardKey.Close, "Escape"]
        onActivated: window.close()
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 8
        spacing: 8

        TabBar {
            id: tabs
            objectName: "preferencesTabs"
            Layout.alignment: Qt.AlignHCenter
            TabButton {
                objectName: "generalTab"
                text: "General"
                icon.source: Theme.symbol("gearshape", Theme.text)
                width: implicitWidth + 16
            }
            TabButton {
                objectName: "modelTab"
                text: "Model"
                icon.source: Theme.symbol("externaldrive", Theme.text)
                width: implicitWidth + 16
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
