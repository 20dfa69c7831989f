import QtQuick
import QtQuick.Templates as T
import Tolvane

/// Over the header of the list during a search. Moves nothing.
Rectangle {
    id: field

    required property TrackFindModel finder
    /// The match is to be played.
    signal played()
    signal closed()

    visible: false
    radius: Theme.controlRadius
    color: Qt.darker(Theme.raisedPanel, 1.15)
    border.width: 1
    border.color: Theme.withOpacity(Theme.copper, 0.6)

    function begin(typed: string) {
        visible = true;
        input.text = typed;
        finder.text = typed;
        input.forceActiveFocus(Qt.ShortcutFocusReason);
    }
    /// With the text of the last search.
    function resume() {
        if (!visible) {
            visible = true;
            input.text = finder.text;
            finder.reopen();
        }
        input.selectAll();
        input.forceActiveFocus(Qt.ShortcutFocusReason);
    }
    function end() {
        if (!visible) return;
        visible = false;
        finder.close();
        closed();
    }
    Keys.onEscapePressed: end()

    Icon {
        id: sign
        anchors.left: parent.left
        anchors.leftMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        width: 13
        height: 13
        shape: Icon.Find
        color: Theme.muted
    }
    T.TextField {
        id: input
        anchors.left: sign.right
        anchors.leftMargin: 8
        anchors.right: label.left
        anchors.rightMargin: 8
        anchors.top: parent.top
        anchors.bottom: parent.bottom
        verticalAlignment: TextInput.AlignVCenter
        color: Theme.ink
        selectionColor: Theme.copper
        selectedTextColor: Theme.night
        selectByMouse: true
        font.pixelSize: Theme.bodyText
        clip: true
        Accessible.name: qsTr("Find a track")
        Accessible.description: field.finder.label
        onTextEdited: field.finder.text = text
        Keys.onPressed: event => {
            event.accepted = true;
            if (event.key === Qt.Key_Up) field.finder.step(-1);
            else if (event.key === Qt.Key_Down) field.finder.step(1);
            else if (event.key === Qt.Key_Return || event.key === Qt.Key_Enter) field.played();
            else event.accepted = false;
        }
    }
    TabularText {
        id: label
        anchors.right: buttons.left
        anchors.rightMargin: 4
        anchors.verticalCenter: parent.verticalCenter
        text: field.finder.label
        color: Theme.muted
    }
    Row {
        id: buttons
        anchors.right: parent.right
        anchors.rightMargin: 2
        anchors.verticalCenter: parent.verticalCenter

        IconButton {
            implicitWidth: 26
            implicitHeight: 26
            iconSize: 12
            shape: Icon.ChevronUp
            name: qsTr("Previous match")
            enabled: field.finder.row >= 0
            heir: input
            onClicked: field.finder.step(-1)
        }
        IconButton {
            implicitWidth: 26
            implicitHeight: 26
            iconSize: 12
            shape: Icon.ChevronDown
            name: qsTr("Next match")
            enabled: field.finder.row >= 0
            heir: input
            onClicked: field.finder.step(1)
        }
        IconButton {
            implicitWidth: 26
            implicitHeight: 26
            iconSize: 11
            shape: Icon.Close
            name: qsTr("Close the search")
            onClicked: field.end()
        }
    }
}
