import QtQuick
import Tolvane

Row {
    id: controls

    required property NowPlayingModel nowPlaying

    spacing: 16

    IconButton {
        anchors.verticalCenter: parent.verticalCenter
        shape: Icon.Previous
        name: qsTr("Previous")
        enabled: controls.nowPlaying.hasTrack
        onClicked: controls.nowPlaying.previous()
    }
    PlayButton {
        playing: controls.nowPlaying.playing
        enabled: controls.nowPlaying.hasTrack
        onClicked: controls.nowPlaying.togglePause()
    }
    IconButton {
        anchors.verticalCenter: parent.verticalCenter
        shape: Icon.Stop
        name: qsTr("Stop")
        enabled: controls.nowPlaying.canStop
        onClicked: controls.nowPlaying.stop()
    }
    IconButton {
        anchors.verticalCenter: parent.verticalCenter
        shape: Icon.Next
        name: qsTr("Next")
        enabled: controls.nowPlaying.canPlayNext
        onClicked: controls.nowPlaying.next()
    }
}
