import QtQuick
import Stashwell
import QtQuick.Controls
import QtQuick.Layouts

// Appearance, the welcome screen and the reset of everything Stashwell remembers.
SettingsPage {
    id: page
    objectName: "generalSettings"
    title: "General"

    ColumnLayout {
        width: page.availableWidth
        spacing: 12

        SettingsCard {
            heading: "Appearance"
            Row {
                objectName: "appearancePicker"
                spacing: 4
                Accessible.role: Accessible.Grouping
                Accessible.name: "Appearance"
                ButtonGroup { id: modes }
                Repeater {
                    model: [{ key: "system", text: "System" }, { key: "light", text: "Light" }, { key: "dark", text: "Dark" }]
                    delegate: SegmentButton {
                        required property var modelData
                        required property int index
                        objectName: "appearance_" + modelData.key
                        text: modelData.text
                        checked: Appearance.mode === modelData.key
                        ButtonGroup.group: modes
                        onClicked: Appearance.mode = modelData.key
                    }
                }
            }
            Label {
                text: "Changes take effect immediately."
                font.pixelSize: Theme.calloutSize
                color: Theme.secondaryText
            }
        }

        SettingsCard {
            heading: "Startup"
            Label {
                text: "Re-open the first-run welcome screen."
                font.pixelSize: Theme.calloutSize
                color: Theme.secondaryText
            }
            GlassButton {
                objectName: "showWelcomeButton"
                text: "Show Welcome Screen"
                symbol: "sparkles"
                help: "Re-open the welcome screen"
                onClicked: AppViewModel.showWelcomeScreen = true
            }
        }

        SettingsCard {
            heading: "Reset"
            Label {
                Layout.fillWidth: true
                wrapMode: Text.Wrap
                text: "Reset preferences and custom folders. The first-run welcome screen will appear again."
                font.pixelSize: Theme.calloutSize
                color: Theme.secondaryText
            }
            GlassButton {
                objectName: "restoreDefaultsButton"
                text: "Restore to Defaults"
                symbol: "arrow.counterclockwise"
                help: "Reset appearance and clear custom model folders"
                onClicked: resetConfirmation.open()
            }
        }
    }

    AlertDialog {
        id: resetConfirmation
        objectName: "resetConfirmation"
        heading: "Restore to Defaults"
        message: "This will reset your appearance preference to System, remove all manually-added custom folders, and show the first-run welcome screen again. No model files will be deleted."
        confirmText: "&Restore"
        cancelText: "Cancel"
        destructive: true
        onConfirmed: {
            Appearance.mode = "system"
            Appearance.apply()
            AppViewModel.resetToDefaults()
        }
    }
}
