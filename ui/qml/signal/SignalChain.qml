import QtQuick
import QtQuick.Layouts
import Tolvane

/// The stages from the file to the device in one line, gold where the samples pass unaltered. The one that the verdict is
/// about is underlined. Long values elide; the height is always the same.
Item {
    id: chain

    required property SignalPathModel path

    implicitHeight: 17
    Accessible.role: Accessible.StaticText
    Accessible.name: path.spoken

    RowLayout {
        anchors.fill: parent
        spacing: 0

        Repeater {
            model: chain.path.stages

            delegate: RowLayout {
                id: link

                required property int index
                required property string title
                required property string value
                required property color tint
                required property bool named
                readonly property bool known: value.length > 0

                // The name of the device, at the end of the last line, is shortened if space is short.
                Layout.fillWidth: true
                Layout.minimumWidth: index < 3 ? Math.min(implicitWidth, chain.width * 0.33) : 0  // qmllint disable unqualified
                Layout.maximumWidth: implicitWidth
                spacing: 0

                Text {
                    visible: link.index > 0
                    leftPadding: 5
                    rightPadding: 5
                    text: "›"
                    color: Theme.withOpacity(Theme.muted, link.known ? 1 : 0.5)
                    font.pixelSize: Theme.smallText
                    Accessible.ignored: true
                }
                Text {
                    id: words
                    Layout.fillWidth: true
                    text: link.known ? link.value : link.title
                    textFormat: Text.PlainText
                    elide: Text.ElideRight
                    maximumLineCount: 1
                    color: link.known ? link.tint : Theme.withOpacity(Theme.muted, 0.5)
                    font.pixelSize: Theme.smallText
                    Accessible.ignored: true

                    Rectangle {
                        anchors.left: parent.left
                        anchors.right: parent.right
                        anchors.top: parent.bottom
                        anchors.topMargin: -1
                        height: 1.5
                        visible: link.named
                        color: link.tint
                    }
                }
            }
        }
        Item { Layout.fillWidth: true }
    }
}
