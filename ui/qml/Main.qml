import QtQuick
import QtQuick.Dialogs
import QtQuick.Layouts
import QtQuick.Window
import Tolvane

Window {
    id: window

    required property NowPlayingModel nowPlaying
    required property TrackListModel tracks
    required property OutputModel output
    required property SourceModel source
    required property string version
    /// A control that the keyboard has reached keeps Space for itself.
    readonly property bool controlHasFocus: activeFocusItem !== null && activeFocusItem.visualFocus === true

    width: 600
    height: 700
    minimumWidth: 460
    minimumHeight: 600
    visible: true
    title: qsTr("Tolvane Music Player")
    color: Theme.night

    Shortcut { sequence: "Space"; enabled: !window.controlHasFocus; onActivated: window.nowPlaying.togglePause() }
    Shortcut { sequence: "Ctrl+O"; onActivated: fileDialog.open() }
    Shortcut { sequence: "Ctrl+Shift+O"; onActivated: folderDialog.open() }
    Shortcut { sequence: "Ctrl+Left"; onActivated: window.nowPlaying.previous() }
    Shortcut { sequence: "Ctrl+Right"; onActivated: window.nowPlaying.next() }
    Shortcut { sequence: "Ctrl+Q"; onActivated: Qt.quit() }

    FileDialog {
        id: fileDialog
        title: qsTr("Open files")
        fileMode: FileDialog.OpenFiles
        nameFilters: window.source.nameFilters
        currentFolder: window.source.startFolder
        onAccepted: window.source.openFiles(selectedFiles)
    }
    FolderDialog {
        id: folderDialog
        title: qsTr("Open a folder")
        currentFolder: window.source.startFolder
        onAccepted: window.source.openFolder(selectedFolder)
    }

    AppBackground { anchors.fill: parent }

    DropArea {
        id: dropArea
        anchors.fill: parent
        keys: ["text/uri-list"]
        onDropped: drop => window.source.drop(drop.urls)
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.margin
        anchors.topMargin: 14
        spacing: Theme.gap

        WindowHeader {
            Layout.fillWidth: true
            version: window.version
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
            dropTargeted: dropArea.containsDrag
            onOpenFolderRequested: folderDialog.open()
            onOpenFileRequested: fileDialog.open()
        }
        OutputControls {
            Layout.fillWidth: true
            output: window.output
        }
    }
}
