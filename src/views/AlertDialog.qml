import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A short question or report: a title, a message and one or two buttons. Escape
// counts as the cancel button when there is one, and closes a report. The keyboard
// starts on the cancel button, so Return alone never confirms a question.
Sheet {
    id: alert
    property string heading
    property string message
    property string confirmText: "OK"
    property string cancelText
    property bool destructive: false

    signal confirmed()
    signal cancelled()

    // The answer is given before the sheet closes, so handlers still see what it was about.
    function confirm() {
        confirmed()
        close()
    }
    function cancel() {
        cancelled()
        close()
    }

    width: 420
    title: heading
    closePolicy: Popup.CloseOnEscape
    defaultButton: cancelText !== "" ? cancelButton : confirmButton
    onRejected: cancelled()

    contentItem: ColumnLayout {
        spacing: 10
        Label {
            objectName: "alertTitle"
            Layout.fillWidth: true
            text: alert.heading
            wrapMode: Text.Wrap
            font.pixelSize: Theme.headlineSize + 1
            font.weight: Font.DemiBold
            color: Theme.text
        }
        Label {
            objectName: "alertMessage"
            Layout.fillWidth: true
            visible: text !== ""
            text: alert.message
            wrapMode: Text.Wrap
            font.pixelSize: Theme.calloutSize + 1
            color: Theme.secondaryText
        }
        RowLayout {
            Layout.topMargin: 8
            spacing: 8
            Item { Layout.fillWidth: true }
            GlassButton {
                id: cancelButton
                objectName: "alertCancel"
                visible: alert.cancelText !== ""
                text: alert.cancelText
                onClicked: alert.cancel()
            }
            GlassButton {
                id: confirmButton
                objectName: "alertConfirm"
                text: alert.confirmText
                tint: alert.destructive ? Theme.red : Theme.text
                font.weight: Font.DemiBold
                onClicked: alert.confirm()
            }
        }
    }
}
