import QtQuick
import QtQuick.Templates as T
import Tolvane

/// The one button that glows.
T.AbstractButton {
    id: button

    required property bool playing
    readonly property string name: playing ? qsTr("Pause") : qsTr("Play")

    implicitWidth: 48
    implicitHeight: 48
    focusPolicy: Qt.TabFocus
    opacity: enabled ? 1 : Theme.disabledOpacity
    hoverEnabled: true
    Accessible.name: name
    Accessible.description: enabled ? "" : qsTr("Not available now")  // this version of Qt does not report that an item is disabled
    Accessible.onPressAction: if (enabled) clicked()
    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clicked(); }
    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clicked(); }

    background: Rectangle {
        radius: height / 2
        scale: button.down ? 0.95 : 1
        gradient: Gradient {
            GradientStop { position: 0; color: button.down ? Theme.gold : Qt.lighter(Theme.gold, button.hovered ? 1.06 : 1) }
            GradientStop { position: 1; color: Qt.lighter(Theme.ember, button.hovered && !button.down ? 1.1 : 1) }
        }
        FocusRing { shown: button.visualFocus; innerRadius: parent.radius; distance: 4 }
    }
    contentItem: Item {
        Icon {
            anchors.centerIn: parent
            width: button.width / 2
            height: width
            shape: button.playing ? Icon.Pause : Icon.Play
            color: Theme.night
        }
    }

    HelpTip { text: button.name; visible: button.hovered && button.enabled }
}
