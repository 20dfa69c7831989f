import QtQuick
import QtQuick.Templates as T
import Tolvane

ListView {
    id: list

    required property NowPlayingModel nowPlaying
    required property TrackListModel tracks
    readonly property int playingRow: nowPlaying.currentIndex

    clip: true
    model: tracks
    boundsBehavior: Flickable.StopAtBounds
    activeFocusOnTab: true
    keyNavigationEnabled: true
    currentIndex: 0
    highlightMoveDuration: 0
    Accessible.role: Accessible.List
    Accessible.name: qsTr("Tracks")

    onPlayingRowChanged: if (playingRow >= 0) currentIndex = playingRow
    Keys.onReturnPressed: nowPlaying.playTrack(currentIndex)
    Keys.onEnterPressed: nowPlaying.playTrack(currentIndex)

    delegate: TrackRow {
        width: list.width - bar.width
        current: index === list.playingRow
        onClicked: list.nowPlaying.playTrack(index)
    }

    T.ScrollBar.vertical: T.ScrollBar {
        id: bar
        padding: 1
        implicitWidth: contentItem.implicitWidth + 2 * padding
        hoverEnabled: true
        policy: list.contentHeight > list.height ? T.ScrollBar.AlwaysOn : T.ScrollBar.AlwaysOff
        contentItem: Rectangle {
            implicitWidth: 4
            radius: 2
            color: Theme.withOpacity(Theme.gold, bar.pressed ? 0.5 : bar.hovered ? 0.36 : 0.2)
        }
    }
}
