import QtQuick
import QtQuick.Dialogs
import QtQuick.Layouts
import QtQuick.Templates as T
import QtQuick.Window
import Tolvane

Window {
    id: window

    required property NowPlayingModel nowPlaying
    required property TrackListModel tracks
    required property TrackDragModel trackDrag
    required property OutputModel output
    required property SourceModel source
    required property string version
    /// A control that the keyboard has reached keeps Space for itself, where it has a use for it.
    readonly property T.Control focusedControl: activeFocusItem as T.Control
    readonly property bool leavesSpace: focusedControl instanceof TrackWaveformRow || focusedControl instanceof WaveformSlider
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

    Shortcut { sequence: "Space"; enabled: !window.spaceIsTaken; onActivated: window.nowPlaying.togglePause() }
    Shortcut { sequence: "Ctrl+O"; onActivated: fileDialog.open() }
    Shortcut { sequence: "Ctrl+Shift+O"; onActivated: folderDialog.open() }
    Shortcut { sequence: "Ctrl+Left"; onActivated: window.nowPlaying.previous() }
    Shortcut { sequence: "Ctrl+Right"; onActivated: window.nowPlaying.next() }
    Shortcut { sequence: "Ctrl+W"; onActivated: window.close() }
    Shortcut { sequence: "Ctrl+Q"; onActivated: Qt.quit() }

    FileDialog {
        id: fileDialog
        objectName: "fileDialog"
        title: qsTr("Open files")
        fileMode: FileDialog.OpenFiles
        nameFilters: window.source.nameFilters
        currentFolder: window.source.startFolder
        onAccepted: window.source.openFiles(selectedFiles)
    }
    FolderDialog {
        id: folderDialog
        objectName: "folderDialog"
        title: qsTr("Open a folder")
        currentFolder: window.source.startFolder
        onAccepted: window.source.openFolder(selectedFolder)
    }

    AppBackground {
        anchors.fill: parent
        radius: window.fillsScreen ? 0 : Theme.windowRadius
    }

    DropArea {
        id: fileDrop
        anchors.fill: parent
        keys: ["text/uri-list"]
        onEntered: drag => drag.accepted = window.source.wants(drag.urls)
        onDropped: drop => {
            drop.accept(Qt.CopyAction);
            window.source.drop(drop.urls);
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.margin
        anchors.topMargin: 0
        spacing: Theme.gap

        WindowHeader {
            Layout.fillWidth: true
            Layout.preferredHeight: 50
            Layout.bottomMargin: -Theme.gap
            version: window.version
            zoomed: window.fillsScreen
            onMoveRequested: window.startSystemMove()
            onMinimiseRequested: window.showMinimized()
            onZoomRequested: window.fillsScreen ? window.showNormal() : window.showMaximized()
            onCloseRequested: window.close()
        }
        NowPlayingPanel {
            Layout.fillWidth: true
            nowPlaying: window.nowPlaying
        }
        QueuePanel {
            Layout.fillWidth: true
            Layout.fillHeight: true
            nowPlaying: window.nowPlaying
            tracks: window.tracks
            trackDrag: window.trackDrag
            dropTargeted: fileDrop.containsDrag
            onOpenFolderRequested: folderDialog.open()
            onOpenFileRequested: fileDialog.open()
        }
        OutputControls {
            Layout.fillWidth: true
            nowPlaying: window.nowPlaying
            output: window.output
        }
    }

    ResizeEdges {
        anchors.fill: parent
        enabled: !window.fillsScreen
        onResizeRequested: edges => window.startSystemResize(edges)
    }
}
