import QtQuick
import QtQuick.Layouts
import Tolvane

RowLayout {
    id: header

    required property string version

    spacing: 10

    Icon {
        Layout.preferredWidth: 24
        Layout.preferredHeight: 24
        shape: Icon.Logo
        color: Theme.gold
    }
    Text {
        text: qsTr("Tolvane Music Player")
        color: Theme.ink
        font.pixelSize: 14
        font.weight: Font.DemiBold
    }
    Text {
        Layout.fillWidth: true
        text: header.version
        color: Theme.muted
        font.pixelSize: Theme.smallText
        Accessible.name: qsTr("Version %1").arg(header.version)
    }
}
