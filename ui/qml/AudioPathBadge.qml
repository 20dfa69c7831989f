import QtQuick
import Tolvane

/// The verdict: label, dot and bar in its colour, and its sentences: as much of them as the window has room for, and all on
/// hover.
Rectangle {
    id: badge

    required property string label
    required property string detail
    required property color tint

    // Two lines of detail fit without the window's parts moving.
    implicitHeight: Math.max(74, sentence.y + sentence.height + 11)
    radius: Theme.controlRadius
    color: Theme.withOpacity(tint, 0.08)
    Accessible.role: Accessible.StaticText
    Accessible.name: label
    Accessible.description: detail

    Rectangle {
        width: 3
        height: parent.height
        radius: 1.5
        color: badge.tint
    }
    Rectangle {
        x: 16
        anchors.verticalCenter: heading.verticalCenter
        width: 8
        height: 8
        radius: 4
        color: badge.tint
    }
    Text {
        id: heading
        x: 32
        y: 10
        text: badge.label
        textFormat: Text.PlainText
        color: badge.tint
        font.pixelSize: Theme.bodyText
        font.weight: Font.Bold
        font.letterSpacing: 0.8
        Accessible.ignored: true
    }
    Text {
        id: sentence
        anchors.left: heading.left
        anchors.right: parent.right
        anchors.rightMargin: 14
        anchors.top: heading.bottom
        anchors.topMargin: 3
        text: badge.detail
        textFormat: Text.PlainText
        color: Theme.withOpacity(Theme.ink, 0.86)
        font.pixelSize: Theme.smallText
        lineHeight: 1.1
        wrapMode: Text.Wrap
        maximumLineCount: 7
        elide: Text.ElideRight
        Accessible.ignored: true
    }
    HoverHandler { id: pointer }
    HelpTip { text: badge.detail; visible: pointer.hovered && sentence.truncated }
}
