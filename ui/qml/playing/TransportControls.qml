import QtQuick
import Tolvane

Row {
    id: controls

    required property NowPlayingModel nowPlaying
    property int playSize: 48
    /// Where the middle of the play button stands.
    readonly property real centre: play.x + play.width / 2

    spacing: 16

    IconButton {
        anchors.verticalCenter: parent.verticalCenter
        shape: Icon.Previous
        name: qsTr("Previous")
        enabled: controls.nowPlaying.hasTrack
        onClicked: controls.nowPlaying.previous()
    }
    PlayButton {
        id: play
        implicitWidth: controls.playSize
        implicitHeight: controls.playSize
        playing: controls.nowPlaying.playing
        enabled: controls.nowPlaying.hasTrack
        onClicked: controls.nowPlaying.togglePause()
    }
    IconButton {
        anchors.verticalCenter: parent.verticalCenter
        shape: Icon.Stop
        name: qsTr("Stop")
        heir: play
        enabled: controls.nowPlaying.canStop
        onClicked: controls.nowPlaying.stop()
    }
    IconButton {
        anchors.verticalCenter: parent.verticalCenter
        shape: Icon.Next
        name: qsTr("Next")
        heir: play
        enabled: controls.nowPlaying.canPlayNext
        onClicked: controls.nowPlaying.next()
    }
}
