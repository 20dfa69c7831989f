import QtQuick
import QtQuick.Templates as T
import Tolvane

T.AbstractButton {
    id: button

    required property int shape
    required property string name
    property bool warns: false

    implicitWidth: 26
    implicitHeight: 26
    focusPolicy: Qt.TabFocus
    hoverEnabled: true
    Accessible.name: name
    Accessible.onPressAction: if (enabled) clicked()
    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clicked(); }
    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clicked(); }

    background: Rectangle {
        anchors.fill: parent
        anchors.margins: 1
        radius: height / 2
        color: button.warns && (button.hovered || button.down)
               ? Theme.withOpacity(Theme.ember, button.down ? 0.6 : 0.42)
               : Theme.withOpacity(Theme.ink, button.down ? 0.2 : button.hovered ? 0.14 : 0.06)
        Behavior on color { ColorAnimation { duration: Theme.feedbackDuration } }
        FocusRing { shown: button.visualFocus; innerRadius: parent.radius; distance: 2 }
    }
    contentItem: Item {
        Icon {
            anchors.centerIn: parent
            width: 14
            height: 14
            shape: button.shape
            color: button.hovered || button.down ? Theme.ink : Theme.muted
        }
    }

    HelpTip { text: button.name; below: true; visible: button.hovered }
}
