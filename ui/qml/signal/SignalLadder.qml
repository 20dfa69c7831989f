import QtQuick
import Tolvane

/// The stages from the file to the device, one below the other with their titles, gold where the samples pass unaltered. The one
/// that the verdict is about is underlined. Long values elide; the height is always the same.
Column {
    id: ladder

    required property SignalPathModel path
    property real rungHeight: 20

    Accessible.role: Accessible.StaticText
    Accessible.name: path.spoken

    Repeater {
        model: ladder.path.stages

        // A delegate can name the things around it in no other way before Qt 6.5.
        // qmllint disable unqualified
        delegate: Item {
            id: rung

            required property int index
            required property string title
            required property string value
            required property color tint
            required property bool named
            readonly property bool known: value.length > 0

            width: ladder.width
            height: ladder.rungHeight

            Rectangle {
                anchors.horizontalCenter: dot.horizontalCenter
                anchors.bottom: dot.top
                width: 1
                height: ladder.rungHeight - dot.height
                visible: rung.index > 0
                color: Theme.withOpacity(rung.known ? rung.tint : Theme.muted, 0.4)
            }
            Rectangle {
                id: dot
                anchors.verticalCenter: parent.verticalCenter
                width: 7
                height: 7
                radius: 3.5
                color: rung.known ? rung.tint : Theme.withOpacity(Theme.muted, 0.5)
            }
            Text {
                id: heading
                x: 18
                width: 66
                anchors.verticalCenter: parent.verticalCenter
                text: rung.title
                textFormat: Text.PlainText
                elide: Text.ElideRight
                color: Theme.withOpacity(Theme.muted, rung.known ? 1 : 0.5)
                font.pixelSize: Theme.smallText
                Accessible.ignored: true
            }
            Text {
                anchors.left: heading.right
                anchors.baseline: heading.baseline
                width: Math.min(implicitWidth, ladder.width - heading.x - heading.width)
                text: rung.known ? rung.value : "–"
                textFormat: Text.PlainText
                elide: Text.ElideRight
                maximumLineCount: 1
                color: rung.known ? rung.tint : Theme.withOpacity(Theme.muted, 0.5)
                font.pixelSize: Theme.bodyText
                Accessible.ignored: true

                Rectangle {
                    anchors.left: parent.left
                    anchors.right: parent.right
                    anchors.top: parent.bottom
                    anchors.topMargin: -1
                    height: 1.5
                    visible: rung.named
                    color: rung.tint
                }
            }
        }
        // qmllint enable unqualified
    }
}
