import QtQuick
import Tolvane

/// In the place of a row's number: the row's file could not be played.
Item {
    id: mark

    /// Why.
    required property string problem
    /// The row has the keyboard focus, and the keyboard cannot point at the mark.
    property bool keyboardHere: false

    HoverHandler { id: pointer }
    Icon {
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        width: 18
        height: 18
        shape: Icon.Warning
        color: Theme.ember
    }
    HelpTip { text: mark.problem; visible: pointer.hovered || mark.keyboardHere }
}
