import QtQuick
import QtQuick.Templates as T
import Tolvane

/// A way of playing, as a card with a switch. While music plays a button beside the switch ends it, and the device is
/// free again.
Item {
    id: toggle

    required property string name
    required property string title
    required property string modeState
    required property string message
    required property color tint
    required property bool on
    required property bool playing
    signal chosen(bool enabled)
    signal stopRequested()

    implicitHeight: Theme.controlHeight

    T.Switch {
        id: control

        anchors.fill: parent
        leftPadding: 14
        rightPadding: 14
        focusPolicy: Qt.TabFocus
        hoverEnabled: true
        Accessible.name: toggle.name
        Accessible.description: toggle.message
        Accessible.onPressAction: toggle.chosen(!toggle.on)
        Accessible.onToggleAction: toggle.chosen(!toggle.on)

        Binding on checked { value: toggle.on }
        onToggled: toggle.chosen(checked)
        Keys.onReturnPressed: event => { if (!event.isAutoRepeat) toggle.chosen(!toggle.on); }
        Keys.onEnterPressed: event => { if (!event.isAutoRepeat) toggle.chosen(!toggle.on); }

        background: Rectangle {
            radius: Theme.controlRadius
            color: Theme.withOpacity(toggle.tint, (toggle.on ? 0.14 : 0.05) + (control.hovered ? 0.04 : 0))
            border.width: 1
            border.color: Theme.withOpacity(toggle.tint, toggle.on ? 0.55 : 0.22)
            Behavior on color { ColorAnimation { duration: Theme.feedbackDuration } }
            FocusRing { shown: control.visualFocus }
        }
        contentItem: Item {
            Column {
                anchors.verticalCenter: parent.verticalCenter
                spacing: 1

                Text {
                    text: toggle.title
                    color: toggle.tint
                    font.pixelSize: Theme.smallText
                    font.weight: Font.DemiBold
                }
                Text {
                    text: toggle.modeState
                    color: toggle.tint
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
            color: Theme.withOpacity(toggle.tint, toggle.on ? 0.9 : 0.18)

            Rectangle {
                x: toggle.on ? parent.width - width - 3 : 3
                y: 3
                width: 14
                height: 14
                radius: 7
                color: toggle.on ? Theme.night : Theme.ink
                Behavior on x { NumberAnimation { duration: Theme.feedbackDuration } }
            }
        }

        HelpTip { text: toggle.message.length > 0 ? toggle.name + "\n" + toggle.message : toggle.name; visible: control.hovered }
    }

    IconButton {
        anchors.right: control.right
        anchors.rightMargin: control.rightPadding + control.indicator.width + 6
        anchors.verticalCenter: parent.verticalCenter
        width: 32
        height: 32
        iconSize: 14
        shape: Icon.Stop
        tint: toggle.tint
        name: qsTr("Stop and release output device")
        // It goes with the music, by whatever the music ends; an item that only hides would keep the keyboard.
        enabled: toggle.playing
        visible: enabled
        heir: control
        onClicked: toggle.stopRequested()
    }
}
