import QtQuick
import Tolvane

/// Above the list: what it holds, the offer to undo its last change, and the ways to open another one.
Item {
    id: header

    required property TrackListModel tracks
    readonly property bool empty: tracks.count === 0
    signal findRequested()
    signal saveRequested()
    signal openFolderRequested(bool adds)
    signal openFileRequested(bool adds)
    /// A control has disappeared while it had the keyboard focus.
    signal leftByKeyboard()

    implicitHeight: 28

    Row {
        id: labels
        anchors.left: parent.left
        anchors.verticalCenter: parent.verticalCenter
        width: Math.min(implicitWidth, actions.x - 8)
        clip: true
        spacing: 6

        TabularText {
            id: count
            text: header.tracks.selectedCount > 0 ? header.tracks.selectionLabel : header.tracks.countLabel
            color: Theme.muted
            weight: Font.Medium
        }
        TabularText {
            anchors.baseline: count.baseline
            visible: text.length > 0 && header.tracks.savingLabel.length === 0 && header.tracks.selectedCount === 0
            text: header.tracks.durationLabel.length > 0 ? "· " + header.tracks.durationLabel : ""
            color: Theme.muted
        }
        TabularText {
            anchors.baseline: count.baseline
            visible: text.length > 0
            text: header.tracks.savingLabel.length > 0 ? "· " + header.tracks.savingLabel : ""
            color: Theme.muted
        }
    }
    ElidedText {
        id: change
        anchors.left: labels.right
        anchors.leftMargin: 16
        anchors.right: actions.left
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        visible: text.length > 0 && width >= 40 && header.tracks.selectedCount === 0
        horizontalAlignment: Text.AlignRight
        text: header.tracks.undoLabel
        color: Theme.muted
        font.pixelSize: Theme.smallText
        Accessible.role: Accessible.StaticText
    }
    Row {
        id: actions
        anchors.right: parent.right
        spacing: 8

        PillButton {
            text: qsTr("Remove")
            name: header.tracks.selectedCount === 1 ? qsTr("Remove the selected track")
                                                    : qsTr("Remove %1 selected tracks").arg(header.tracks.selectedCount)
            adds: false
            visible: header.tracks.selectedCount > 0
            onVisibleChanged: if (!visible && focus) header.leftByKeyboard()
            onClicked: header.tracks.removeSelected(-1)
        }
        PillButton {
            text: qsTr("Undo")
            name: qsTr("Undo: %1").arg(header.tracks.undoLabel)
            adds: false
            visible: header.tracks.undoLabel.length > 0
            onVisibleChanged: if (!visible && focus) header.leftByKeyboard()
            onClicked: header.tracks.undo()
        }
        Row {
            IconButton {
                implicitWidth: 28
                implicitHeight: 28
                iconSize: 13
                shape: Icon.Find
                tint: Theme.gold
                name: qsTr("Find a track")
                visible: !header.empty
                onClicked: header.findRequested()
            }
            IconButton {
                implicitWidth: 28
                implicitHeight: 28
                iconSize: 13
                shape: Icon.Save
                tint: Theme.gold
                name: qsTr("Save the list as a playlist")
                visible: !header.empty
                onClicked: header.saveRequested()
            }
        }
        SourceButtons {
            visible: !header.empty
            onOpenFolderRequested: adds => header.openFolderRequested(adds)
            onOpenFileRequested: adds => header.openFileRequested(adds)
        }
    }
}
