import QtQuick
import Stashwell
import QtQuick.Controls
import QtQuick.Layouts

// The first-run screen: what Stashwell does, that it reads other applications'
// folders, and one button to begin. Shown while the view model asks for it; Escape
// ends it as "Get Started" does.
Sheet {
    id: sheet
    objectName: "welcomeSheet"

    signal accessHelpRequested()

    width: 500
    padding: 30
    title: "Welcome to Stashwell"
    defaultButton: getStarted
    closePolicy: Popup.CloseOnEscape
    onClosed: if (AppViewModel.showWelcomeScreen) AppViewModel.dismissWelcomeScreen()

    Connections {
        target: AppViewModel
        function onShowWelcomeScreenChanged() {
            if (AppViewModel.showWelcomeScreen)
                sheet.open()
            else
                sheet.close()
        }
    }
    Component.onCompleted: if (AppViewModel.showWelcomeScreen) open()

    contentItem: Flickable {
        implicitHeight: column.implicitHeight
        contentHeight: column.implicitHeight
        boundsBehavior: Flickable.StopAtBounds
        clip: true

        ColumnLayout {
            id: column
            width: parent.width
            spacing: 14

            Image {
                objectName: "welcomeIcon"
                Layout.alignment: Qt.AlignHCenter
                Layout.preferredWidth: 82
                Layout.preferredHeight: 82
                sourceSize.width: 164
                sourceSize.height: 164
                source: "stashwell.svg"
                Accessible.role: Accessible.Graphic
                Accessible.name: "Stashwell app icon"
            }
            Label {
                Layout.alignment: Qt.AlignHCenter
                text: "Welcome to Stashwell"
                font.pixelSize: Theme.titleSize
                font.weight: Font.DemiBold
                color: Theme.text
            }
            Label {
                Layout.alignment: Qt.AlignHCenter
                Layout.maximumWidth: 380
                text: "Find local AI models, review storage use, and safely move unwanted files to Trash."
                wrapMode: Text.Wrap
                horizontalAlignment: Text.AlignHCenter
                font.pixelSize: Theme.calloutSize + 1
                color: Theme.secondaryText
            }
            Rectangle {
                Layout.fillWidth: true
                Layout.preferredHeight: features.implicitHeight + 28
                radius: 12
                color: Theme.quaternaryFill
                ColumnLayout {
                    id: features
                    objectName: "welcomeFeatures"
                    anchors.fill: parent
                    anchors.margins: 14
                    spacing: 9
                    Repeater {
                        model: ["Scans common local model folders",
                            "Shows model count, size, duplicates, and orphaned files",
                            "Supports custom folders when built-in locations are not enough",
                            "Moves deleted files to Trash"]
                        delegate: RowLayout {
                            required property string modelData
                            objectName: "welcomeFeature"
                            property alias text: featureLabel.text
                            spacing: 8
                            SymbolIcon {
                                symbol: "checkmark.circle"
                                colour: Theme.green
                                side: 16
                            }
                            Label {
                                id: featureLabel
                                Layout.fillWidth: true
                                text: modelData
                                wrapMode: Text.Wrap
                                font.pixelSize: Theme.calloutSize + 1
                                font.weight: Font.Medium
                                color: Theme.text
                            }
                        }
                    }
                }
            }
            Label {
                Layout.alignment: Qt.AlignHCenter
                Layout.maximumWidth: 400
                text: "Stashwell reads a few folders on your computer to find your models. This usually works without any extra setup."
                wrapMode: Text.Wrap
                horizontalAlignment: Text.AlignHCenter
                font.pixelSize: Theme.calloutSize
                color: Theme.secondaryText
            }
            LinkButton {
                objectName: "accessHelpLink"
                Layout.alignment: Qt.AlignHCenter
                text: "Read about folder access if a scan looks incomplete"
                help: "Open folder access help"
                font.pixelSize: Theme.captionSize + 1
                font.weight: Font.Medium
                font.underline: true
                onClicked: sheet.accessHelpRequested()
            }
            ProminentButton {
                id: getStarted
                objectName: "getStartedButton"
                Layout.alignment: Qt.AlignHCenter
                Layout.topMargin: 6
                text: "Get Started"
                font.pixelSize: Theme.bodySize + 1
                padding: 10
                leftPadding: 30
                rightPadding: 30
                onClicked: AppViewModel.dismissWelcomeScreen()
            }
            Shortcut {
                sequences: ["Ctrl+Return", "Ctrl+Enter"]
                enabled: sheet.opened
                onActivated: AppViewModel.dismissWelcomeScreen()
            }
        }
    }
}
