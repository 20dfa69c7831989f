import QtQuick
import QtQuick.Layouts
import Tolvane

Panel {
    id: panel

    required property NowPlayingModel nowPlaying
    required property TrackListModel tracks
    required property TrackDragModel trackDrag
    required property TrackFindModel finder
    required property bool dropTargeted
    /// Where files go that are dropped now: the gap above a row; −1 replaces the list.
    required property int dropGap
    required property string notice
    required property string formats
    readonly property bool empty: tracks.count === 0
    signal openFolderRequested(bool adds)
    signal openFileRequested(bool adds)
    signal saveRequested()
    signal noticeDismissed()

    /// The gap between rows that a place is close to; −1: none.
    function gapAt(place: point): int { return empty ? -1 : list.gapAt(panel.mapToItem(list, place)); }
    /// Files are dragged over this place: near its ends the list scrolls.
    function followFiles(place: point) { list.filesY = empty ? -1 : panel.mapToItem(list, place).y; }
    function forgetFiles() { list.filesY = -1; }

    /// By what was typed into the window.
    function findTyped(text: string) { if (!empty) find.begin(text); }
    function findAgain() { if (!empty) find.resume(); }
    function findNext(direction: int) {
        findAgain();
        finder.step(direction);
    }
    function showPlaying() { list.goToPlaying(); }
    onEmptyChanged: if (empty) find.end()

    ColumnLayout {
        anchors.fill: parent
        anchors.topMargin: 5
        anchors.bottomMargin: 4
        spacing: 3

        QueueHeader {
            id: header
            Layout.fillWidth: true
            Layout.leftMargin: Theme.padding
            Layout.rightMargin: Theme.padding
            tracks: panel.tracks
            onFindRequested: panel.findAgain()
            onSaveRequested: panel.saveRequested()
            onOpenFolderRequested: adds => panel.openFolderRequested(adds)
            onOpenFileRequested: adds => panel.openFileRequested(adds)
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
            finder: panel.finder
            finds: find.visible
            fileGap: panel.dropTargeted ? panel.dropGap : -1
        }
        EmptyState {
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.leftMargin: Theme.padding
            Layout.rightMargin: Theme.padding
            Layout.bottomMargin: Theme.padding - 6
            visible: panel.empty
            formats: panel.formats
            dropTargeted: panel.dropTargeted
            onOpenFolderRequested: adds => panel.openFolderRequested(adds)
            onOpenFileRequested: adds => panel.openFileRequested(adds)
            onLeftByKeyboard: list.takeKeyboard()
        }
    }

    FindField {
        id: find
        x: 8
        y: header.y + 4
        width: panel.width - 16
        height: header.height + 8
        finder: panel.finder
        onPlayed: {
            if (finder.row < 0) return;
            list.playRow(finder.row);
            end();
        }
        onClosed: list.takeKeyboard()
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
        inserts: panel.dropGap >= 0
        appends: panel.dropGap === panel.tracks.count
    }
}
