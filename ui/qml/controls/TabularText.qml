import QtQuick
import Tolvane

/// A line of text whose digits all take the same width, so that a running clock does not tremble; so do dashes, which stand
/// for digits that are not known.
Row {
    id: line

    required property string text
    property color color: Theme.ink
    property int pixelSize: Theme.smallText
    property int weight: Font.Normal

    baselineOffset: whole.baselineOffset
    Accessible.role: Accessible.StaticText
    Accessible.name: text

    TextMetrics {
        id: digit
        text: "0"
        font.pixelSize: line.pixelSize
        font.weight: line.weight
    }

    /// Other writings come from fonts with other heights: all characters stand on the line's own baseline.
    Text {
        id: whole
        visible: false
        text: line.text
        textFormat: Text.PlainText
        font.pixelSize: line.pixelSize
        font.weight: line.weight
        Accessible.ignored: true
    }

    Repeater {
        model: line.text.length

        // A delegate can name the things around it in no other way before Qt 6.5.
        // qmllint disable unqualified
        Item {
            id: cell

            required property int index
            readonly property string character: line.text.charAt(index)

            width: character === "-" || (character >= "0" && character <= "9") ? Math.ceil(digit.advanceWidth) : glyph.implicitWidth
            height: whole.implicitHeight

            Text {
                id: glyph
                anchors.horizontalCenter: parent.horizontalCenter
                y: whole.baselineOffset - baselineOffset
                text: cell.character
                textFormat: Text.PlainText
                color: line.color
                font.pixelSize: line.pixelSize
                font.weight: line.weight
                Accessible.ignored: true
            }
        }
        // qmllint enable unqualified
    }
}
