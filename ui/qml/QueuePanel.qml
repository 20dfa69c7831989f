import QtQuick
import QtQuick.Layouts
import Tolvane

Panel {
    id: panel

    required property NowPlayingModel nowPlaying
    required property TrackListModel tracks
    required property TrackDragModel trackDrag
    required property bool dropTargeted
    required property string notice
    readonly property bool empty: tracks.count === 0
    signal openFolderRequested()
    signal openFileRequested()
    signal noticeDismissed()

    ColumnLayout {
        anchors.fill: parent
        anchors.topMargin: 9
        anchors.bottomMargin: 8
        spacing: 6

        QueueHeader {
            Layout.fillWidth: true
            Layout.leftMargin: Theme.padding
            Layout.rightMargin: Theme.padding
            tracks: panel.tracks
            onOpenFolderRequested: panel.openFolderRequested()
            onOpenFileRequested: panel.openFileRequested()
            onLeftByKeyboard: list.takeKeyboard()
        }

        TrackList {
            id: list
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: !panel.empty
            nowPlaying: panel.nowPlaying
            tracks: panel.tracks
            trackDrag: panel.trackDrag
        }
        EmptyState {
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.leftMargin: Theme.padding
            Layout.rightMargin: Theme.padding
            Layout.bottomMargin: Theme.padding - 8
            visible: panel.empty
            dropTargeted: panel.dropTargeted
            onOpenFolderRequested: panel.openFolderRequested()
            onOpenFileRequested: panel.openFileRequested()
            onLeftByKeyboard: list.takeKeyboard()
        }
    }

    NoticeBar {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.margins: 10
        text: panel.notice
        onDismissed: panel.noticeDismissed()
    }
    DropOverlay {
        anchors.fill: parent
        shown: panel.dropTargeted && !panel.empty
    }
}
