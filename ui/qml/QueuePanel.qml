import QtQuick
import QtQuick.Layouts
import Tolvane

Panel {
    id: panel

    required property NowPlayingModel nowPlaying
    required property TrackListModel tracks
    required property bool dropTargeted
    signal openFolderRequested()
    signal openFileRequested()

    ColumnLayout {
        anchors.fill: parent
        anchors.topMargin: 9
        anchors.bottomMargin: 8
        spacing: 6

        RowLayout {
            Layout.leftMargin: Theme.padding
            Layout.rightMargin: Theme.padding
            spacing: 8

            TabularText {
                Layout.alignment: Qt.AlignVCenter
                text: panel.tracks.countLabel
                color: Theme.muted
                weight: Font.Medium
            }
            Item { Layout.fillWidth: true }
            PillButton {
                text: qsTr("Folder")
                name: qsTr("Open a folder")
                onClicked: panel.openFolderRequested()
            }
            PillButton {
                text: qsTr("File")
                name: qsTr("Open files")
                onClicked: panel.openFileRequested()
            }
        }

        TrackList {
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.leftMargin: 8
            Layout.rightMargin: 2  // the scroll bar's gutter makes it 8 for the rows
            visible: panel.tracks.count > 0
            nowPlaying: panel.nowPlaying
            tracks: panel.tracks
        }
        EmptyState {
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.leftMargin: Theme.padding
            Layout.rightMargin: Theme.padding
            Layout.bottomMargin: Theme.padding - 8
            visible: panel.tracks.count === 0
            dropTargeted: panel.dropTargeted
        }
    }

    Rectangle {
        anchors.fill: parent
        visible: panel.dropTargeted && panel.tracks.count > 0
        radius: parent.radius
        color: Theme.withOpacity(Theme.gold, 0.06)
        border.width: 1
        border.color: Theme.withOpacity(Theme.gold, 0.8)
    }
}
