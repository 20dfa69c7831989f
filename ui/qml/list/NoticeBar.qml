import QtQuick
import Tolvane

/// A sentence over the list for as long as it takes to read it, or until it is clicked away. Moves nothing.
Rectangle {
    id: bar

    required property string text
    signal dismissed()

    visible: text.length > 0
    implicitHeight: sentence.implicitHeight + 2 * 9
    radius: Theme.controlRadius
    color: Qt.darker(Theme.raisedPanel, 1.15)
    border.width: 1
    border.color: Theme.withOpacity(Theme.copper, 0.6)
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text
    Accessible.onPressAction: dismissed()

    Text {
        id: sentence
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.margins: 14
        anchors.verticalCenter: parent.verticalCenter
        text: bar.text
        textFormat: Text.PlainText
        color: Theme.ink
        font.pixelSize: Theme.bodyText
        wrapMode: Text.Wrap
        maximumLineCount: 3
        elide: Text.ElideRight
        Accessible.ignored: true
    }
    MouseArea {
        anchors.fill: parent
        cursorShape: Qt.PointingHandCursor
        onClicked: bar.dismissed()
    }
    Timer {
        id: lifetime
        interval: 12000
        running: bar.visible
        onTriggered: bar.dismissed()
    }
    onTextChanged: if (visible) lifetime.restart()
}
