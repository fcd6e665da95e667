import QtQuick
import QtQuick.Controls

// A button's title. An "&" before a letter makes it the button's access key (Alt and
// that letter press the button): the letter is underlined and the "&" not shown.
Label {
    property string title

    text: title.replace(/&(.)/, "<u>$1</u>")
    textFormat: Text.StyledText
    // The button says its title itself.
    Accessible.ignored: true
}
