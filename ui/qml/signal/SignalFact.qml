import QtQuick
import QtQuick.Layouts
import Tolvane

/// A name and its value.
RowLayout {
    id: fact

    required property string title
    required property string value
    required property string condition
    required property color tint
    property int nameWidth: 120

    spacing: 10
    Accessible.role: Accessible.StaticText
    Accessible.name: condition.length > 0 ? qsTr("%1, %2: %3").arg(title).arg(condition).arg(value)
                                          : qsTr("%1: %2").arg(title).arg(value)

    Text {
        Layout.preferredWidth: fact.nameWidth
        Layout.alignment: Qt.AlignTop
        text: fact.title
        textFormat: Text.PlainText
        color: Theme.muted
        font.pixelSize: Theme.smallText
        Accessible.ignored: true
    }
    Text {
        Layout.preferredWidth: 56
        Layout.alignment: Qt.AlignTop
        visible: fact.condition.length > 0
        text: fact.condition
        textFormat: Text.PlainText
        color: Theme.muted
        font.pixelSize: Theme.smallText
        Accessible.ignored: true
    }
    Text {
        Layout.fillWidth: true
        text: fact.value
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        color: fact.tint
        font.pixelSize: Theme.smallText
        Accessible.ignored: true
    }
}
