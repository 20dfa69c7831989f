import QtQuick
import Tolvane

/// One line that elides at its end and shows whole on hover.
Text {
    id: label

    elide: Text.ElideRight
    textFormat: Text.PlainText
    maximumLineCount: 1
    Accessible.name: text

    HoverHandler { id: pointer }
    HelpTip { text: label.text; visible: pointer.hovered && label.truncated }
}
