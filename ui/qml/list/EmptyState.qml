import QtQuick
import Tolvane

FocusScope {
    id: empty

    required property bool dropTargeted
    /// What can be opened: "WAV  ·  AIFF …".
    required property string formats
    signal openFolderRequested(bool adds)
    signal openFileRequested(bool adds)
    /// It has disappeared while it had the keyboard focus.
    signal leftByKeyboard()

    onVisibleChanged: if (!visible && focus) leftByKeyboard()

    DashedOutline {
        anchors.fill: parent
        color: Theme.withOpacity(Theme.gold, empty.dropTargeted ? 0.9 : 0.28)
        fill: Theme.withOpacity(Theme.gold, empty.dropTargeted ? 0.08 : 0)
        radius: 12
    }
    Column {
        anchors.centerIn: parent
        width: parent.width - 2 * Theme.padding
        spacing: 8

        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: qsTr("Open a file, a folder, or drag audio into the window")
            color: Theme.ink
            font.pixelSize: 14
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: empty.formats
            color: Theme.muted
            font.pixelSize: Theme.smallText
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Item { width: 1; height: 6 }
        SourceButtons {
            anchors.horizontalCenter: parent.horizontalCenter
            onOpenFolderRequested: adds => empty.openFolderRequested(adds)
            onOpenFileRequested: adds => empty.openFileRequested(adds)
        }
    }
}
