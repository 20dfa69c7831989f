import QtQuick
import QtQuick.Templates as T
import Tolvane

/// The play position, to see and to choose. Reports the choice when the pointer lets go.
T.Slider {
    id: slider

    required property real progress
    signal chosen(real fraction)
    /// Where the pointer has moved to; −1 when it has not.
    property real wanted: -1

    implicitHeight: 24
    focusPolicy: Qt.TabFocus
    hoverEnabled: true
    stepSize: 0.01
    Accessible.name: qsTr("Position")

    Binding on value {
        value: slider.progress
        when: !slider.pressed
        restoreMode: Binding.RestoreNone
    }
    onMoved: wanted = value
    onPressedChanged: {
        if (!pressed && wanted >= 0) chosen(wanted);
        wanted = -1;
    }
    Keys.onLeftPressed: chosen(Math.max(0, progress - 0.02))
    Keys.onRightPressed: chosen(Math.min(1, progress + 0.02))

    background: Rectangle {
        y: (slider.height - height) / 2
        width: slider.width
        height: 4
        radius: 2
        color: Theme.groove

        Rectangle {
            width: Math.max(parent.height, slider.visualPosition * parent.width)
            visible: slider.visualPosition > 0
            height: parent.height
            radius: parent.radius
            gradient: Gradient {
                orientation: Gradient.Horizontal
                GradientStop { position: 0; color: Theme.ember }
                GradientStop { position: 1; color: Theme.gold }
            }
        }
        FocusRing { shown: slider.visualFocus; innerRadius: parent.radius; distance: 6 }
    }
    handle: Rectangle {
        x: slider.visualPosition * (slider.width - width)
        y: (slider.height - height) / 2
        width: 12
        height: 12
        radius: 6
        color: Theme.ink
        opacity: slider.enabled && (slider.hovered || slider.pressed || slider.visualFocus) ? 1 : 0
        Behavior on opacity { NumberAnimation { duration: Theme.feedbackDuration } }
    }
}
