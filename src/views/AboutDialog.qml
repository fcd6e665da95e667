import QtQuick
import Stashwell
import QtQuick.Controls
import QtQuick.Layouts

// "About Stashwell": the icon, the version, the copyright line and the web site.
Sheet {
    id: sheet
    objectName: "aboutDialog"
    width: 340
    title: "About Stashwell"
    closePolicy: Popup.CloseOnEscape
    defaultButton: closeButton

    contentItem: ColumnLayout {
        spacing: 8
        Image {
            Layout.alignment: Qt.AlignHCenter
            Layout.preferredWidth: 72
            Layout.preferredHeight: 72
            sourceSize.width: 144
            sourceSize.height: 144
            source: "stashwell.svg"
            Accessible.role: Accessible.Graphic
            Accessible.name: "Stashwell app icon"
        }
        Label {
            Layout.alignment: Qt.AlignHCenter
            text: "Stashwell"
            font.pixelSize: Theme.title2Size
            font.weight: Font.DemiBold
            color: Theme.text
        }
        Label {
            objectName: "aboutVersion"
            Layout.alignment: Qt.AlignHCenter
            text: "Version " + Shell.version
            font.pixelSize: Theme.calloutSize + 1
            color: Theme.secondaryText
        }
        Label {
            objectName: "aboutCopyright"
            Layout.alignment: Qt.AlignHCenter
            text: Shell.copyright
            font.pixelSize: Theme.captionSize + 1
            color: Theme.secondaryText
        }
        LinkButton {
            objectName: "aboutLink"
            Layout.alignment: Qt.AlignHCenter
            text: String(Shell.websiteUrl).replace("https://", "")
            font.pixelSize: Theme.calloutSize + 1
            font.underline: true
            onClicked: Qt.openUrlExternally(Shell.websiteUrl)
        }
        GlassButton {
            id: closeButton
            objectName: "closeAbout"
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 8
            text: "Close"
            onClicked: sheet.close()
        }
    }
}
