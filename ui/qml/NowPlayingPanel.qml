import QtQuick
import QtQuick.Layouts
import Tolvane

Panel {
    id: panel

    required property NowPlayingModel nowPlaying

    implicitHeight: column.implicitHeight + 2 * Theme.padding

    ColumnLayout {
        id: column

        anchors.fill: parent
        anchors.margins: Theme.padding
        spacing: 0

        RowLayout {
            spacing: Theme.gap

            ElidedText {
                Layout.fillWidth: true
                text: panel.nowPlaying.title
                color: Theme.ink
                font.pixelSize: Theme.titleText
                font.weight: Font.DemiBold
            }
            TabularText {
                Layout.alignment: Qt.AlignVCenter
                text: panel.nowPlaying.trackPosition
                color: Theme.muted
            }
        }

        PositionSlider {
            Layout.fillWidth: true
            Layout.topMargin: 10
            progress: panel.nowPlaying.progress
            enabled: panel.nowPlaying.canSeek
            onChosen: fraction => panel.nowPlaying.playFrom(fraction)
        }

        RowLayout {
            Layout.topMargin: 2

            TabularText { text: panel.nowPlaying.elapsed }
            Item { Layout.fillWidth: true }
            TabularText { text: panel.nowPlaying.duration; color: Theme.muted }
        }

        Item {
            Layout.fillWidth: true
            Layout.topMargin: 4
            implicitHeight: transport.implicitHeight

            TabularText {
                anchors.left: parent.left
                anchors.verticalCenter: parent.verticalCenter
                text: panel.nowPlaying.sampleRate
                color: Theme.muted
            }
            TransportControls {
                id: transport
                anchors.centerIn: parent
                nowPlaying: panel.nowPlaying
            }
            IconButton {
                anchors.right: parent.right
                anchors.rightMargin: -11
                anchors.verticalCenter: parent.verticalCenter
                shape: Icon.Stop
                iconSize: 18
                name: qsTr("Stop and release output device")
                enabled: panel.nowPlaying.canStop
                onClicked: panel.nowPlaying.stop()
            }
        }
    }
}
