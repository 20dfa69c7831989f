import QtQuick
import QtQuick.Layouts
import Tolvane

Panel {
    id: panel

    required property NowPlayingModel nowPlaying
    required property OutputModel output
    required property SignalPathModel path
    required property WindowComposition composition
    readonly property int edge: composition.dense ? 10 : 14
    readonly property int columns: composition.wide ? 1 : 2
    readonly property int controlHeight: composition.dense ? 38 : Theme.controlHeight
    signal pathRequested()

    implicitHeight: column.implicitHeight + 2 * edge

    ColumnLayout {
        id: column

        anchors.fill: parent
        anchors.topMargin: panel.edge
        anchors.bottomMargin: panel.edge
        anchors.leftMargin: Theme.padding
        anchors.rightMargin: Theme.padding
        spacing: panel.composition.wide ? 18 : panel.composition.dense ? 8 : 12

        GridLayout {
            columns: panel.columns
            columnSpacing: Theme.columnGap
            rowSpacing: Theme.gap

            DevicePicker {
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                Layout.preferredHeight: panel.controlHeight
                opensBelow: panel.composition.wide
                devices: panel.output.devices
                selectedDevice: panel.output.selectedDevice
                onChosen: row => panel.output.selectDevice(row)
            }
            ExclusiveAccessControl {
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                Layout.preferredHeight: panel.controlHeight
                output: panel.output
                playing: panel.nowPlaying.playing
                onStopRequested: panel.nowPlaying.stop()
            }
        }
        OutputProcessingControls {
            Layout.fillWidth: true
            columns: panel.columns
            inline: panel.composition.dense
            output: panel.output
        }
        AudioPathBadge {
            Layout.fillWidth: true
            Layout.fillHeight: panel.composition.wide
            Layout.preferredHeight: panel.composition.verdictHeight
            tall: panel.composition.wide
            label: panel.output.pathLabel
            detail: panel.output.pathDetail
            plainly: panel.output.pathPlainly
            tint: panel.output.pathColor
            path: panel.path
            onClicked: panel.pathRequested()
        }
    }
}
