import QtQuick
import QtQuick.Layouts
import QtQuick.Window
import Tolvane
import TolvaneDemo

/// The devices behind the demo, and what can happen to them.
Window {
    id: window

    required property RackModel rack

    width: 340
    height: content.implicitHeight + 2 * Theme.margin
    minimumWidth: 300
    title: qsTr("Rack")
    color: Theme.night

    ColumnLayout {
        id: content
        anchors.fill: parent
        anchors.margins: Theme.margin
        spacing: Theme.gap

        Text {
            text: qsTr("What happens to the devices")
            color: Theme.muted
            font.pixelSize: Theme.smallText
        }
        Repeater {
            model: window.rack
            // A delegate can name the things around it in no other way before Qt 6.5.
            // qmllint disable unqualified
            RackRow {
                Layout.fillWidth: true
                onPlugged: on => window.rack.setPluggedIn(index, on)
                onTakenByOthers: on => window.rack.setTaken(index, on)
                onHeldUp: on => window.rack.setStalled(index, on)
                onReclocked: window.rack.reclock(index)
            }
            // qmllint enable unqualified
        }
    }
}
