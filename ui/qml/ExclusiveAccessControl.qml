import QtQuick
import QtQuick.Templates as T
import Tolvane

T.Switch {
    id: control

    required property bool on
    required property string title
    required property string accessState
    required property string message
    required property color tint
    signal chosen(bool enabled)

    implicitHeight: Theme.controlHeight
    leftPadding: 14
    rightPadding: 14
    focusPolicy: Qt.TabFocus
    hoverEnabled: true
    Accessible.name: qsTr("Exclusive Access")
    Accessible.description: message
    Accessible.onPressAction: chosen(!on)
    Accessible.onToggleAction: chosen(!on)

    Binding on checked { value: control.on }
    onToggled: chosen(checked)

    background: Rectangle {
        radius: Theme.controlRadius
        color: Theme.withOpacity(control.tint, (control.on ? 0.14 : 0.05) + (control.hovered ? 0.04 : 0))
        border.width: 1
        border.color: Theme.withOpacity(control.tint, control.on ? 0.55 : 0.22)
        Behavior on color { ColorAnimation { duration: Theme.feedbackDuration } }
        FocusRing { shown: control.visualFocus }
    }
    contentItem: Item {
        Column {
            anchors.verticalCenter: parent.verticalCenter
            spacing: 1

            Text {
                text: control.title
                color: control.tint
                font.pixelSize: Theme.smallText
                font.weight: Font.DemiBold
            }
            Text {
                text: control.accessState
                color: control.tint
                font.pixelSize: Theme.smallText
            }
        }
    }
    indicator: Rectangle {
        x: control.width - width - control.rightPadding
        y: (control.height - height) / 2
        width: 38
        height: 20
        radius: 10
        color: Theme.withOpacity(control.tint, control.on ? 0.9 : 0.18)

        Rectangle {
            x: control.on ? parent.width - width - 3 : 3
            y: 3
            width: 14
            height: 14
            radius: 7
            color: control.on ? Theme.night : Theme.ink
            Behavior on x { NumberAnimation { duration: Theme.feedbackDuration } }
        }
    }

    HelpTip { text: control.message.length > 0 ? qsTr("Exclusive Access") + "\n" + control.message : qsTr("Exclusive Access"); visible: control.hovered }
}
