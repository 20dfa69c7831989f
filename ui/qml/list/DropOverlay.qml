import QtQuick
import Tolvane

/// Files hover over a window that has tracks already: states what a drop would do.
Item {
    id: overlay

    required property bool shown
    /// They go between rows, which stay visible; else they replace all of them.
    required property bool inserts
    required property bool appends

    visible: shown
    Accessible.role: Accessible.StaticText
    Accessible.name: message.text

    Rectangle {
        anchors.fill: parent
        visible: !overlay.inserts
        radius: Theme.panelRadius
        color: Theme.withOpacity(Theme.night, 0.72)
    }
    DashedOutline {
        anchors.fill: parent
        anchors.margins: overlay.inserts ? 4 : 10
        color: Theme.withOpacity(Theme.gold, overlay.inserts ? 0.4 : 0.9)
        fill: Theme.withOpacity(Theme.gold, overlay.inserts ? 0 : 0.08)
        radius: Theme.controlRadius
    }
    Rectangle {
        x: 8
        y: 5
        width: parent.width - 16
        height: 40
        radius: Theme.controlRadius
        color: Theme.night

        Column {
            anchors.centerIn: parent
            spacing: 1

            Text {
                id: message
                anchors.horizontalCenter: parent.horizontalCenter
                text: overlay.appends ? qsTr("Drop to add these at the end")
                      : overlay.inserts ? qsTr("Drop to insert these here") : qsTr("Drop to play these instead")
                color: Theme.ink
                font.pixelSize: 15
                font.weight: Font.Medium
                Accessible.ignored: true
            }
            Text {
                id: help
                anchors.horizontalCenter: parent.horizontalCenter
                text: qsTr("Between two rows to insert, with Shift to add at the end")
                color: Theme.muted
                font.pixelSize: Theme.smallText
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }
    }
}
