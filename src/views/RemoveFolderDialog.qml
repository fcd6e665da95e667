import QtQuick
import Stashwell

// Asks before a custom folder leaves the scan list; no file is touched either way.
AlertDialog {
    property string folderPath

    objectName: "removeFolderDialog"
    heading: folderPath === "" ? "Remove Folder?" : "Remove \"" + Shell.folderName(folderPath) + "\"?"
    message: "This removes the folder from Stashwell's scan list. It will not delete the folder or any files from disk."
    confirmText: "&Remove"
    cancelText: "Cancel"
    destructive: true
}
