import QtQuick
import QtQuick.Templates as T
import Tolvane

/// The verdict: label, dot and bar in its colour, the chain of stages that it is about, and its sentences: as much of them
/// as there is room for, and all on hover. Pressed, it asks for all that is known of the path.
/// The window gives it its height, so that nothing moves because of a longer text.
T.AbstractButton {
    id: badge

    required property string label
    required property string detail
    /// Beside it, on hover; may be empty.
    required property string plainly
    required property color tint
    required property SignalPathModel path

    /// There is room for the stages one below the other, and for larger letters.
    property bool tall: false
    readonly property int lines: Math.max(1, Math.floor((height - sentence.y - 5) / lineStep))
    readonly property int lineStep: tall ? 18 : 14
    readonly property int leftEdge: 30
    readonly property int rightEdge: 10

    focusPolicy: Qt.TabFocus
    hoverEnabled: true
    Accessible.name: label
    Accessible.description: detail
    Accessible.onPressAction: clicked()
    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clicked(); }
    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clicked(); }

    background: Rectangle {
        radius: Theme.controlRadius
        color: Theme.withOpacity(badge.tint, badge.down ? 0.16 : badge.hovered ? 0.12 : 0.08)
        Behavior on color { ColorAnimation { duration: Theme.feedbackDuration } }

        Rectangle {
            width: 3
            height: parent.height
            radius: 1.5
            color: badge.tint
        }
        FocusRing { shown: badge.visualFocus }
    }
    contentItem: Item {  // qmllint disable deferred-property-id
        Rectangle {
            x: 14
            anchors.verticalCenter: heading.verticalCenter
            width: 8
            height: 8
            radius: 4
            color: badge.tint
        }
        Text {
            id: heading
            x: badge.leftEdge
            y: badge.tall ? 12 : 6
            height: 16
            text: badge.label
            textFormat: Text.PlainText
            color: badge.tint
            font.pixelSize: Theme.bodyText
            font.weight: Font.Bold
            font.letterSpacing: 1  // whole pixels: even gaps
            Accessible.ignored: true
        }
        SignalChain {
            id: chain
            anchors.left: heading.left
            anchors.right: parent.right
            anchors.rightMargin: badge.rightEdge
            anchors.top: heading.bottom
            visible: !badge.tall
            path: badge.path
        }
        SignalLadder {
            id: ladder
            anchors.left: heading.left
            anchors.right: parent.right
            anchors.rightMargin: badge.rightEdge
            anchors.top: heading.bottom
            anchors.topMargin: 6
            visible: badge.tall
            rungHeight: Math.round(Math.max(20, Math.min(38, badge.height / 11)))
            path: badge.path
        }
        Icon {
            anchors.right: parent.right
            anchors.rightMargin: badge.rightEdge
            anchors.verticalCenter: heading.verticalCenter
            width: 12
            height: 12
            rotation: -90
            opacity: badge.hovered || badge.visualFocus ? 1 : 0.6
            shape: Icon.ChevronDown
            color: Theme.muted
        }
        Text {
            id: sentence
            anchors.left: heading.left
            anchors.right: parent.right
            anchors.rightMargin: badge.rightEdge
            anchors.top: badge.tall ? ladder.bottom : chain.bottom
            anchors.topMargin: badge.tall ? 8 : 1
            text: badge.detail
            textFormat: Text.PlainText
            color: Theme.withOpacity(Theme.ink, 0.86)
            font.pixelSize: badge.tall ? Theme.bodyText : Theme.smallText
            lineHeightMode: Text.FixedHeight
            lineHeight: badge.lineStep
            wrapMode: Text.Wrap
            maximumLineCount: badge.lines
            elide: Text.ElideRight
            Accessible.ignored: true
        }
    }
    HelpTip {
        text: badge.plainly.length > 0 ? badge.plainly + "\n" + badge.detail : badge.detail
        visible: badge.hovered && (sentence.truncated || badge.plainly.length > 0)
    }
}
