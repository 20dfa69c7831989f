import QtQuick
import Tolvane

/// Files hover over a window that has tracks already: says what letting go would do.
Rectangle {
    id: overlay

    required property bool shown

    visible: shown
    radius: Theme.panelRadius
    color: Theme.withOpacity(Theme.night, 0.94)
    Accessible.role: Accessible.StaticText
    Accessible.name: message.text

    DashedOutline {
        anchors.fill: parent
        anchors.margins: 10
        color: Theme.withOpacity(Theme.gold, 0.9)
        fill: Theme.withOpacity(Theme.gold, 0.08)
        radius: Theme.controlRadius
    }
    Text {
        id: message
        anchors.centerIn: parent
        text: qsTr("Drop to play these instead")
        color: Theme.ink
        font.pixelSize: 15
        font.weight: Font.Medium
        Accessible.ignored: true
    }
}
