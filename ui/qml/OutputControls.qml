import QtQuick
import QtQuick.Layouts
import Tolvane

Panel {
    id: panel

    required property NowPlayingModel nowPlaying
    required property OutputModel output
    required property SignalPathModel path
    signal pathRequested()

    implicitHeight: column.implicitHeight + 2 * 14

    ColumnLayout {
        id: column

        anchors.fill: parent
        anchors.margins: 14
        anchors.leftMargin: Theme.padding
        anchors.rightMargin: Theme.padding
        spacing: Theme.gap

        RowLayout {
            spacing: 26

            ColumnLayout {
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                Layout.maximumWidth: 440
                spacing: 10

                DevicePicker {
                    Layout.fillWidth: true
                    devices: panel.output.devices
                    selectedDevice: panel.output.selectedDevice
                    onChosen: row => panel.output.selectDevice(row)
                }
                ExclusiveAccessControl {
                    Layout.fillWidth: true
                    output: panel.output
                    playing: panel.nowPlaying.playing
                    onStopRequested: panel.nowPlaying.stop()
                }
            }
            OutputProcessingControls {
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                Layout.alignment: Qt.AlignVCenter
                output: panel.output
            }
        }
        AudioPathBadge {
            Layout.fillWidth: true
            label: panel.output.pathLabel
            detail: panel.output.pathDetail
            plainly: panel.output.pathPlainly
            tint: panel.output.pathColor
            path: panel.path
            onClicked: panel.pathRequested()
        }
    }
}
