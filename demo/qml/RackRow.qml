import QtQuick
import QtQuick.Layouts
import Tolvane
import TolvaneDemo

/// A device of the rack: its lamp, its rate, its switches.
Panel {
    id: row

    required property int index
    required property string name
    required property string rate
    required property bool pluggedIn
    required property bool taken
    required property bool stalled
    required property bool canReclock

    signal plugged(on: bool)
    signal takenByOthers(on: bool)
    signal heldUp(on: bool)
    signal reclocked()

    implicitHeight: column.implicitHeight + 2 * Theme.gap

    ColumnLayout {
        id: column
        anchors.fill: parent
        anchors.margins: Theme.gap
        spacing: 8

        RowLayout {
            spacing: 8
            Rectangle {
                Layout.preferredWidth: 8
                Layout.preferredHeight: 8
                radius: 4
                color: !row.pluggedIn ? Theme.groove : row.stalled || row.taken ? Theme.ember : Theme.gold
            }
            Text {
                Layout.fillWidth: true
                text: row.name
                color: Theme.ink
                font.pixelSize: Theme.bodyText
                font.weight: Font.DemiBold
            }
            Text {
                text: row.rate
                color: Theme.muted
                font.pixelSize: Theme.smallText
            }
        }
        Flow {
            Layout.fillWidth: true
            spacing: 6
            RackSwitch {
                text: qsTr("Unplug")
                name: qsTr("Unplug %1").arg(row.name)
                checked: !row.pluggedIn
                onClicked: row.plugged(!row.pluggedIn)
            }
            RackSwitch {
                text: qsTr("Steal")
                name: qsTr("Let another program take %1").arg(row.name)
                checked: row.taken
                enabled: row.pluggedIn
                onClicked: row.takenByOthers(!row.taken)
            }
            RackSwitch {
                text: qsTr("Stall")
                name: qsTr("Hold the clock of %1").arg(row.name)
                checked: row.stalled
                enabled: row.pluggedIn
                onClicked: row.heldUp(!row.stalled)
            }
            RackSwitch {
                text: qsTr("Re-clock")
                name: qsTr("Let another program change the rate of %1").arg(row.name)
                enabled: row.canReclock
                onClicked: row.reclocked()
            }
        }
    }
}
