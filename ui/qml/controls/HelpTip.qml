import QtQuick
import QtQuick.Templates as T
import Tolvane

/// Help beside the pointer's control: a line, or as many as fit into the window.
T.ToolTip {
    id: tip

    property bool below: false

    delay: 600
    margins: 8
    horizontalPadding: 10
    verticalPadding: 6
    x: parent ? (parent.width - width) / 2 : 0
    y: below && parent ? parent.height + 6 : -height - 6
    implicitWidth: Math.min(contentItem.implicitWidth + leftPadding + rightPadding, 420)
    implicitHeight: contentItem.implicitHeight + topPadding + bottomPadding

    contentItem: Text {
        text: tip.text
        textFormat: Text.PlainText
        color: Theme.ink
        font.pixelSize: Theme.smallText
        wrapMode: Text.Wrap
        maximumLineCount: 24
        elide: Text.ElideRight
        Accessible.ignored: true
    }
    background: Rectangle {
        radius: 7
        color: Theme.raisedPanel
        border.width: 1
        border.color: Theme.withOpacity(Theme.gold, 0.22)
    }
}
