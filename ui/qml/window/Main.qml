import QtQuick
import QtQuick.Dialogs
import QtQuick.Templates as T
import QtQuick.Window
import Tolvane

Window {
    id: window

    required property NowPlayingModel nowPlaying
    required property TrackListModel tracks
    required property TrackDragModel trackDrag
    required property TrackFindModel trackFind
    required property OutputModel output
    required property SignalPathModel path
    required property SourceModel source
    required property string version
    /// Clear parts show what is behind; else they are black, and the window has square corners.
    property bool composited: true
    /// A control that the keyboard has reached keeps Space for itself, where it has a use for it.
    readonly property T.Control focusedControl: activeFocusItem as T.Control
    /// Asked of the item itself: from Qt 6.8 on a type may be loaded a second time, and is another one then.
    readonly property var focused: activeFocusItem
    readonly property bool leavesSpace: focused?.leavesSpace === true
    readonly property bool controlHasFocus: focusedControl !== null && focusedControl.visualFocus && !leavesSpace
    readonly property DevicePicker focusedPicker: activeFocusItem as DevicePicker
    readonly property bool spaceIsTaken: controlHasFocus || (focusedPicker !== null && focusedPicker.popup.visible)
    readonly property bool fillsScreen: visibility === Window.Maximized || visibility === Window.FullScreen

    width: 600
    height: 700
    minimumWidth: 600
    minimumHeight: 700
    visible: true
    flags: Qt.Window | Qt.FramelessWindowHint
    title: qsTr("Tolvane Music Player")
    color: "transparent"
    onActiveChanged: if (active) tracks.lookAgain()

    WindowComposition {
        id: layout
        windowWidth: window.width
        windowHeight: window.height
        hasTracks: window.tracks.count > 0
    }
    WindowMotion { id: motion; window: window }

    Shortcut { sequence: "Space"; enabled: !window.spaceIsTaken; onActivated: window.nowPlaying.togglePause() }
    Shortcut { sequence: "Ctrl+O"; onActivated: window.chooseFiles(false) }
    Shortcut { sequence: "Ctrl+Shift+O"; onActivated: window.chooseFolder(false) }
    Shortcut { sequence: "Ctrl+S"; enabled: window.tracks.count > 0; onActivated: saveDialog.open() }
    Shortcut { sequence: "Ctrl+Left"; onActivated: window.nowPlaying.previous() }
    Shortcut { sequence: "Ctrl+Right"; onActivated: window.nowPlaying.next() }
    Shortcut { sequence: "Ctrl+I"; onActivated: sheet.open() }
    Shortcut { sequence: "Ctrl+F"; onActivated: queue.findAgain() }
    Shortcut { sequence: "F3"; onActivated: queue.findNext(1) }
    Shortcut { sequence: "Shift+F3"; onActivated: queue.findNext(-1) }
    Shortcut { sequence: "Ctrl+J"; onActivated: queue.showPlaying() }
    Shortcut { sequence: "Ctrl+Z"; enabled: window.tracks.undoLabel.length > 0; onActivated: window.tracks.undo() }
    Shortcut { sequence: "Ctrl+W"; onActivated: window.close() }
    Shortcut { sequence: "Ctrl+Q"; onActivated: Qt.quit() }

    function chooseFiles(adds: bool) {
        fileDialog.adds = adds;
        fileDialog.open();
    }
    function chooseFolder(adds: bool) {
        folderDialog.adds = adds;
        folderDialog.open();
    }

    FileDialog {
        id: fileDialog
        /// The chosen files are added to the list; else they replace it.
        property bool adds: false
        objectName: "fileDialog"
        title: qsTr("Open files")
        fileMode: FileDialog.OpenFiles
        nameFilters: window.source.nameFilters
        currentFolder: window.source.startFolder
        onAccepted: window.source.openFiles(selectedFiles, adds)
    }
    FolderDialog {
        id: folderDialog
        property bool adds: false
        objectName: "folderDialog"
        title: qsTr("Open a folder")
        currentFolder: window.source.startFolder
        onAccepted: window.source.openFolder(selectedFolder, adds)
    }

    FileDialog {
        id: saveDialog
        objectName: "saveDialog"
        title: qsTr("Save the list as a playlist")
        fileMode: FileDialog.SaveFile
        nameFilters: window.source.playlistFilters
        defaultSuffix: "m3u8"
        currentFolder: window.source.startFolder
        onAccepted: window.source.savePlaylist(selectedFile, window)
    }

    AppBackground {
        anchors.fill: parent
        radius: window.fillsScreen || !window.composited ? 0 : Theme.windowRadius
    }

    DropModifiers { id: dropModifiers; window: window }
    DropArea {
        id: fileDrop
        property point place
        /// Where letting go would put the files: the gap above a row; −1 replaces the list.
        readonly property int gap: dropModifiers.shift ? window.tracks.count
                                   : containsDrag ? queue.gapAt(mapToItem(queue, place)) : -1

        function follow(x: real, y: real) {
            place = Qt.point(x, y);
            queue.followFiles(mapToItem(queue, place));
        }

        anchors.fill: parent
        keys: ["text/uri-list"]
        onEntered: drag => {
            // Qt leaves and enters anew with each move. Once the button is released, the other program may no longer
            // answer for the drag and not yet for the drop: what has no files to show now may have them then.
            const urls = drag.urls;
            drag.accepted = urls.length > 0 ? window.source.wants(urls) : drag.hasUrls;
            if (drag.accepted) follow(drag.x, drag.y);
        }
        onPositionChanged: drag => follow(drag.x, drag.y)
        onContainsDragChanged: if (!containsDrag) queue.forgetFiles()
        onDropped: drop => {
            follow(drop.x, drop.y);
            drop.accept(Qt.CopyAction);
            window.source.drop(drop.urls, gap);
        }
    }

    Item {
        id: panels
        anchors.fill: parent
        anchors.margins: Theme.margin
        anchors.topMargin: header.height
        focus: true
        // Keys that the focused item does not handle.
        Keys.onLeftPressed: event => window.nowPlaying.seekBy(event.modifiers & Qt.ShiftModifier ? -1 : -5)
        Keys.onRightPressed: event => window.nowPlaying.seekBy(event.modifiers & Qt.ShiftModifier ? 1 : 5)
        Keys.onPressed: event => {
            const isText = event.text.length > 0 && event.text.charCodeAt(0) > 32 && event.text.charCodeAt(0) !== 127;
            event.accepted = isText && !(event.modifiers & (Qt.ControlModifier | Qt.AltModifier | Qt.MetaModifier));
            if (event.accepted) queue.findTyped(event.text);
        }

        NowPlayingPanel {
            id: playing
            width: parent.width
            height: implicitHeight
            composition: layout
            nowPlaying: window.nowPlaying
            onPlaceRequested: queue.showPlaying()
        }
        QueuePanel {
            id: queue
            y: playing.height + Theme.gap
            width: parent.width - (layout.wide ? layout.outputWidth + Theme.gap : 0)
            height: parent.height - y - (layout.wide ? 0 : outputPanel.implicitHeight + Theme.gap)
            nowPlaying: window.nowPlaying
            tracks: window.tracks
            trackDrag: window.trackDrag
            finder: window.trackFind
            dropTargeted: fileDrop.containsDrag
            dropGap: fileDrop.gap
            notice: window.source.notice
            formats: window.source.formats
            onNoticeDismissed: window.source.dismissNotice()
            onSaveRequested: saveDialog.open()
            onOpenFolderRequested: adds => window.chooseFolder(adds)
            onOpenFileRequested: adds => window.chooseFiles(adds)
        }
        OutputControls {
            id: outputPanel
            x: parent.width - width
            y: parent.height - height
            width: layout.wide ? layout.outputWidth : parent.width
            height: layout.wide ? queue.height : implicitHeight
            composition: layout
            nowPlaying: window.nowPlaying
            output: window.output
            path: window.path
            onPathRequested: sheet.open()
        }
    }

    // Behind the player's own controls in the tab order.
    WindowHeader {
        id: header
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.leftMargin: Theme.margin
        anchors.rightMargin: Theme.margin
        height: 46
        version: window.version
        zoomed: window.fillsScreen
        onMoveRequested: motion.startMove()
        onMinimiseRequested: window.showMinimized()
        onZoomRequested: window.fillsScreen ? window.showNormal() : window.showMaximized()
        onCloseRequested: window.close()
    }

    SignalSheet {
        id: sheet
        parent: T.Overlay.overlay
        path: window.path
        label: window.output.pathLabel
        detail: window.output.pathDetail
        plainly: window.output.pathPlainly
        tint: window.output.pathColor
        windowRadius: window.fillsScreen || !window.composited ? 0 : Theme.windowRadius
    }

    ResizeEdges {
        anchors.fill: parent
        enabled: !window.fillsScreen
        onResizeRequested: edges => motion.startResize(edges)
    }
}
