import QtQuick
import Tolvane

/// The two ways in beside dropping.
Row {
    id: buttons

    signal openFolderRequested()
    signal openFileRequested()

    spacing: 8

    PillButton {
        text: qsTr("Folder")
        name: qsTr("Open a folder")
        onClicked: buttons.openFolderRequested()
    }
    PillButton {
        text: qsTr("File")
        name: qsTr("Open files")
        onClicked: buttons.openFileRequested()
    }
}
