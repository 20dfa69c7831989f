import QtQuick
import QtQuick.Layouts
import Tolvane

Item {
    id: header

    required property string version
    required property bool zoomed
    signal moveRequested()
    signal minimiseRequested()
    signal zoomRequested()
    signal closeRequested()

    WindowDragArea {
        anchors.fill: parent
        onMoveRequested: header.moveRequested()
        onZoomRequested: header.zoomRequested()
    }

    RowLayout {
        anchors.fill: parent
        anchors.rightMargin: -4
        spacing: 10

        FilteredLogo {
            Layout.preferredWidth: 28
            Layout.preferredHeight: 28
        }
        Text {
            text: qsTr("Tolvane Music Player")
            textFormat: Text.PlainText
            color: Theme.ink
            font.pixelSize: 14
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Text {
            Layout.fillWidth: true
            text: header.version
            textFormat: Text.PlainText
            color: Theme.muted
            font.pixelSize: Theme.smallText
            Accessible.role: Accessible.StaticText
            Accessible.name: qsTr("Version %1").arg(header.version)
        }
        WindowButton {
            shape: Icon.Minimise
            name: qsTr("Minimise")
            onClicked: header.minimiseRequested()
        }
        WindowButton {
            shape: header.zoomed ? Icon.Restore : Icon.Zoom
            name: header.zoomed ? qsTr("Restore") : qsTr("Zoom")
            onClicked: header.zoomRequested()
        }
        WindowButton {
            shape: Icon.Close
            name: qsTr("Close")
            warns: true
            onClicked: header.closeRequested()
        }
    }
}
