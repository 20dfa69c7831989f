import QtQuick
import QtQuick.Templates as T
import Tolvane

Item {
    id: frame

    required property NowPlayingModel nowPlaying
    required property TrackListModel tracks
    required property TrackDragModel trackDrag
    required property TrackFindModel finder
    /// A match is shown, wherever the keyboard focus is.
    required property bool finds
    /// The gap that files would be dropped into; −1: none.
    property int fileGap: -1
    /// How far below the list's top files are dragged; −1 while none are.
    property real filesY: -1
    readonly property int playingRow: nowPlaying.currentIndex
    readonly property real rowsTop: list.originY - list.contentY
    property bool laidOut: false

    // The rows that are seen stay where they are when one of them is moved past the others.
    Connections {
        property real offset: 0
        target: list.model
        function onRowsAboutToBeMoved() { offset = -frame.rowsTop; }
        function onRowsMoved() {
            list.forceLayout();
            list.contentY = list.originY + offset;
        }
        function onRenewed() { frame.showPlaying(); }
    }

    function showPlaying() {
        tracks.playedRow = nowPlaying.currentIndex;
        list.currentIndex = Math.max(0, nowPlaying.currentIndex);
        list.positionViewAtIndex(list.currentIndex, ListView.Center);
    }

    /// Within a quarter of a row's height.
    function gapAt(place: point): int {
        if (place.x < 0 || place.x > list.width || place.y < 0 || place.y > list.height) return -1;
        const rows = (place.y - rowsTop) / Theme.trackRowHeight;
        const gap = Math.round(rows);
        return gap <= list.count && Math.abs(rows - gap) <= 0.25 ? gap : -1;
    }

    /// The playing track, even after the list was scrolled or the focus has moved in it.
    function goToPlaying() { if (nowPlaying.currentIndex >= 0) showPlaying(); }
    function playRow(row: int) { list.play(row, 0); }

    Connections {
        target: frame.finder
        function onChanged() { if (frame.finds && frame.finder.row >= 0) frame.bringInSight(frame.finder.row); }
    }
    function bringInSight(row: int) {
        list.currentIndex = row;
        const top = rowsTop + row * Theme.trackRowHeight;
        if (top < 0 || top + Theme.trackRowHeight > list.height) list.positionViewAtIndex(row, ListView.Center);
    }

    function takeKeyboard() { list.forceActiveFocus(Qt.TabFocusReason); }

    function isInSight(row: int): bool {
        const top = rowsTop + row * Theme.trackRowHeight;
        return top + Theme.trackRowHeight > 0 && top < list.height;
    }

    // The list does not follow if the user has scrolled away, drags a row, has chosen this track, or has moved to
    // another row with the keyboard; and a row that was only moved moves nothing else.
    onPlayingRowChanged: {
        const played = tracks.playedRow;
        tracks.playedRow = playingRow;
        if (playingRow < 0 || playingRow === played || playingRow === list.currentIndex || trackDrag.draggedRow >= 0) return;
        // A window in the background has no active focus; what has the focus in it is known all the same.
        if (isInSight(played) && (list.currentIndex === played || !list.focus)) showPlaying();
    }

    ListView {
        id: list
        objectName: "TrackListScrollView"

        anchors.fill: parent
        anchors.leftMargin: 8
        anchors.rightMargin: 2  // the scroll bar's gutter makes it 8 for the rows
        clip: true
        model: frame.tracks
        reuseItems: true
        boundsBehavior: Flickable.StopAtBounds
        // A press of the mouse selects, seeks or drags a row; it does not scroll the list.
        interactive: !mousePress.active
        activeFocusOnTab: true
        keyNavigationEnabled: true
        currentIndex: 0
        highlightMoveDuration: 0
        onHeightChanged: {
            if (frame.laidOut || height <= 0) return;
            frame.laidOut = true;
            frame.showPlaying();
        }
        Accessible.role: Accessible.List
        Accessible.name: qsTr("Tracks")
        Accessible.description: qsTr("Return plays a track, Alt with the arrow keys moves it, Ctrl with Space selects it. Delete removes what is selected.")

        /// By a click: the list has the focus, but shows no ring before a key is pressed.
        property bool isTakenByPointer: false
        readonly property bool showsFocus: activeFocus && !isTakenByPointer
        onActiveFocusChanged: {
            if (!activeFocus) isTakenByPointer = false;
            else if (!isTakenByPointer) positionViewAtIndex(currentIndex, ListView.Contain);
        }

        function takePointer() {
            isTakenByPointer = true;
            forceActiveFocus(Qt.MouseFocusReason);
        }
        function choose(row: int, fraction: real) {
            takePointer();
            frame.tracks.clearSelection();
            play(row, fraction);
        }
        function pickTo(row: int) {
            const from = currentIndex;
            goTo(row);
            frame.tracks.extendSelection(from, currentIndex);
        }
        function pick(row: int) {
            goTo(row);
            frame.tracks.toggleSelected(row);
        }
        /// The row where a key would go to; −1 for other keys.
        function rowFor(key: int): int {
            const page = Math.max(1, Math.floor(height / Theme.trackRowHeight));
            switch (key) {
            case Qt.Key_Up: return Math.max(0, currentIndex - 1);
            case Qt.Key_Down: return Math.min(count - 1, currentIndex + 1);
            case Qt.Key_Home: return 0;
            case Qt.Key_End: return count - 1;
            case Qt.Key_PageUp: return Math.max(0, currentIndex - page);
            case Qt.Key_PageDown: return Math.min(count - 1, currentIndex + page);
            default: return -1;
            }
        }
        function play(row: int, fraction: real) {
            currentIndex = row;
            frame.tracks.playTrack(row, fraction);
        }
        function moveCurrent(direction: int) { currentIndex = frame.tracks.moveRow(currentIndex, direction); }
        function goTo(row: int) { currentIndex = Math.max(0, Math.min(count - 1, row)); }
        /// The row stays where it is in sight, and the rows pass by as many as fit.
        function turnPage(direction: int) {
            const rows = Math.max(1, Math.floor(height / Theme.trackRowHeight));
            const last = originY + Math.max(0, contentHeight - height);
            contentY = Math.max(originY, Math.min(last, contentY + direction * rows * Theme.trackRowHeight));
            goTo(currentIndex + direction * rows);
        }
        function beginDrag(row: int) { frame.trackDrag.drag(row, list); }

        Keys.onReturnPressed: play(currentIndex, 0)
        Keys.onEnterPressed: play(currentIndex, 0)
        Keys.onDeletePressed: frame.tracks.removeSelected(currentIndex)
        Keys.onEscapePressed: event => {
            event.accepted = frame.tracks.selectedCount > 0;
            frame.tracks.clearSelection();
        }
        Keys.onPressed: event => {
            event.accepted = true;
            isTakenByPointer = false;
            if (event.modifiers & Qt.ShiftModifier && rowFor(event.key) >= 0) pickTo(rowFor(event.key));
            else if (event.key === Qt.Key_A && event.modifiers & Qt.ControlModifier) frame.tracks.selectAll();
            else if (event.key === Qt.Key_Up && event.modifiers & Qt.AltModifier) moveCurrent(-1);
            else if (event.key === Qt.Key_Down && event.modifiers & Qt.AltModifier) moveCurrent(1);
            else if (event.key === Qt.Key_Home) goTo(0);
            else if (event.key === Qt.Key_End) goTo(count - 1);
            else if (event.key === Qt.Key_PageUp) turnPage(-1);
            else if (event.key === Qt.Key_PageDown) turnPage(1);
            else event.accepted = false;
        }

        move: Transition { NumberAnimation { property: "y"; duration: Theme.moveDuration; easing.type: Easing.InOutQuad } }
        moveDisplaced: Transition { NumberAnimation { property: "y"; duration: Theme.moveDuration; easing.type: Easing.InOutQuad } }

        // A delegate can name the things around it in no other way before Qt 6.5.
        // qmllint disable unqualified
        delegate: TrackWaveformRow {
            width: ListView.view.width - bar.width
            dragged: index === frame.trackDrag.draggedRow
            progress: current ? frame.nowPlaying.progress : 0
            markedTime: marked >= 0 ? frame.tracks.timeAt(index, marked) : ""
            onShown: frame.tracks.rowShown(index)
            focusShown: ListView.isCurrentItem && (list.showsFocus || (frame.finds && frame.finder.row === index))
            onSelected: list.choose(index, 0)
            onPickToggled: { list.takePointer(); list.pick(index); }
            onPickExtended: { list.takePointer(); list.pickTo(index); }
            onSeeked: fraction => list.choose(index, fraction)
            // In a later turn: a drag runs an event loop of its own.
            onDragStarted: Qt.callLater(list.beginDrag, index)
        }
        // qmllint enable unqualified

        PointHandler { id: mousePress; acceptedDevices: PointerDevice.Mouse }

        T.ScrollBar.vertical: T.ScrollBar {
            id: bar
            padding: 1
            implicitWidth: contentItem.implicitWidth + 2 * padding
            minimumSize: 24 / Math.max(24, height)
            hoverEnabled: true
            visible: list.contentHeight > list.height
            Accessible.ignored: true
            contentItem: Rectangle {
                implicitWidth: 4
                radius: 2
                color: Theme.withOpacity(Theme.gold, bar.pressed ? 0.5 : bar.hovered ? 0.36 : 0.2)
            }
        }
    }

    // The row would take it for a click.
    Shortcut { sequence: "Ctrl+Space"; enabled: list.activeFocus; onActivated: list.pick(list.currentIndex) }

    FocusRing {
        anchors.fill: list
        distance: 0
        shown: list.showsFocus && list.count > 0 && !frame.isInSight(list.currentIndex)
    }
    TrackListFadeOverlay {
        anchors.fill: list
        anchors.rightMargin: bar.width
        showTopFade: list.count > 0 && frame.tracks.fadesTop(list.height, frame.rowsTop)
        showBottomFade: list.count > 0 && frame.tracks.fadesBottom(list.height, frame.rowsTop)
    }
    PlaylistInsertionIndicator {
        anchors.left: list.left
        anchors.right: list.right
        anchors.rightMargin: bar.width
        readonly property int gap: frame.trackDrag.insertionIndex >= 0 ? frame.trackDrag.insertionIndex : frame.fileGap
        readonly property real gapY: frame.rowsTop + gap * Theme.trackRowHeight
        visible: gap >= 0
        y: Math.max(1, Math.min(list.height - 1, gapY)) - height / 2
    }
    TrackDropArea {
        anchors.fill: list
        list: list
        trackDrag: frame.trackDrag
        filesY: frame.filesY
    }
}
