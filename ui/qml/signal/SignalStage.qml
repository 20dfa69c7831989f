import QtQuick
import QtQuick.Layouts
import Tolvane

/// A stage of the signal path: its value, its meaning for the samples, and where it was read.
Item {
    id: stage

    required property string title
    required property string value
    required property string condition
    required property string detail
    required property string source
    required property color tint
    required property bool named
    readonly property bool known: value.length > 0
    readonly property int textColumn: 62

    implicitHeight: content.implicitHeight + 2 * 7
    Accessible.role: Accessible.StaticText
    Accessible.name: known ? qsTr("%1: %2, %3").arg(title).arg(value).arg(condition) : qsTr("%1: nothing").arg(title)
    Accessible.description: known ? (named ? qsTr("The verdict is about this.") + " " : "") + detail + " " + source : ""

    Rectangle {
        y: 7
        width: 3
        height: parent.height - 14
        radius: 1.5
        color: stage.known ? stage.tint : Theme.groove
    }
    ColumnLayout {
        id: content
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.leftMargin: 14
        y: 7
        spacing: 2

        Item {
            Layout.fillWidth: true
            implicitHeight: Math.max(heading.implicitHeight, words.implicitHeight)

            Text {
                id: heading
                text: stage.title
                textFormat: Text.PlainText
                color: Theme.muted
                font.pixelSize: Theme.bodyText
                Accessible.ignored: true
            }
            Text {
                id: words
                anchors.left: parent.left
                anchors.leftMargin: stage.textColumn
                anchors.right: mark.left
                anchors.rightMargin: 10
                text: stage.known ? stage.value : "–"
                textFormat: Text.PlainText
                wrapMode: Text.Wrap
                color: Theme.ink
                font.pixelSize: Theme.bodyText
                font.weight: Font.DemiBold
                Accessible.ignored: true
            }
            Text {
                id: mark
                anchors.right: parent.right
                anchors.baseline: heading.baseline
                text: stage.condition
                textFormat: Text.PlainText
                color: stage.tint
                font.pixelSize: Theme.smallText
                font.weight: Font.DemiBold
                font.underline: stage.named
                Accessible.ignored: true
            }
        }
        Text {
            Layout.fillWidth: true
            Layout.leftMargin: stage.textColumn
            visible: text.length > 0
            text: stage.detail
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            color: Theme.withOpacity(Theme.ink, 0.86)
            font.pixelSize: Theme.smallText
            Accessible.ignored: true
        }
        Text {
            Layout.fillWidth: true
            Layout.leftMargin: stage.textColumn
            visible: text.length > 0
            text: stage.source
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            color: Theme.muted
            font.pixelSize: Theme.smallText
            Accessible.ignored: true
        }
    }
}
