import QtQuick
import Tolvane

/// The mark of keyboard focus, around its parent.
Rectangle {
    required property bool shown
    property real distance: 3
    property real innerRadius: Theme.controlRadius

    anchors.fill: parent
    anchors.margins: -distance
    radius: innerRadius + distance
    visible: shown
    color: "transparent"
    border.width: 2
    border.color: Theme.gold
}
