import QtQuick
import Tolvane

/// The two ways to open files besides dropping them. With Shift, the chosen files are added to the list.
Row {
    id: buttons

    signal openFolderRequested(bool adds)
    signal openFileRequested(bool adds)

    spacing: 8

    PillButton {
        text: qsTr("Folder")
        name: qsTr("Open a folder")
        help: qsTr("Open a folder. With Shift, add it to the list.")
        Accessible.description: qsTr("With Shift, adds it to the list.")
        onClicked: buttons.openFolderRequested(pressModifiers & Qt.ShiftModifier)
    }
    PillButton {
        text: qsTr("File")
        name: qsTr("Open files")
        help: qsTr("Open files. With Shift, add them to the list.")
        Accessible.description: qsTr("With Shift, adds them to the list.")
        onClicked: buttons.openFileRequested(pressModifiers & Qt.ShiftModifier)
    }
}
