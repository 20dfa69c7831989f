import QtQuick
import QtQuick.Templates as T
import QtQuick.Window
import Tolvane

/// The current track's waveform, to see the position in and to choose one. Reports the choice when the pointer lets go.
T.Slider {
    id: slider

    required property waveformSamples samples
    required property real progress
    /// How much of the track has been read, while that takes a noticeable time; −1 otherwise.
    property real preparation: -1
    readonly property bool isPreparing: preparation >= 0
    /// As text, for screen readers.
    required property string positionText
    signal chosen(real fraction)
    /// Where the pointer has moved to; −1 when it has not.
    property real wanted: -1
    readonly property real keyStep: 0.02
    /// The names under which assistive technology looks for a slider's range.
    readonly property real minimumValue: from
    readonly property real maximumValue: to

    function step(direction: int) { chosen(Math.max(0, Math.min(1, progress + direction * keyStep))); }

    /// A tall window has room for a taller picture.
    implicitHeight: Window.height > 840 ? 104 : 64
    focusPolicy: Qt.TabFocus
    hoverEnabled: true
    stepSize: 0.01
    Accessible.name: qsTr("Position")
    Accessible.description: positionText
    Accessible.onIncreaseAction: if (enabled) step(1)
    Accessible.onDecreaseAction: if (enabled) step(-1)

    Binding on value {
        value: slider.progress
        when: !slider.pressed
        restoreMode: Binding.RestoreNone
    }
    onMoved: wanted = value
    // Assistive technology sets the value itself: that is a choice, and the place shown stays the music's own.
    onValueChanged: {
        if (pressed || value === progress) return;
        const choice = value;
        value = progress;
        if (enabled) chosen(choice);
    }
    onPressedChanged: {
        if (!pressed && wanted >= 0) chosen(wanted);
        wanted = -1;
    }
    Keys.onLeftPressed: step(-1)
    Keys.onRightPressed: step(1)

    HoverHandler { id: pointer; cursorShape: Qt.PointingHandCursor }

    background: Item {
        WaveformView {
            anchors.fill: parent
            samples: slider.samples
            progress: slider.isPreparing ? slider.preparation : slider.pressed ? slider.position : slider.progress
            barWidth: 2
            spacing: 2
            activeLower: slider.isPreparing ? Theme.withOpacity(Theme.ink, 0.42) : Theme.ember
            activeUpper: slider.isPreparing ? Theme.withOpacity(Theme.ink, 0.42) : Theme.gold
            inactiveColor: Theme.withOpacity(Theme.gold, 0.26)
        }
        Rectangle {
            visible: pointer.hovered && slider.enabled
            x: Math.round(pointer.point.position.x)
            width: 1
            height: parent.height
            color: Theme.withOpacity(Theme.ink, 0.5)
        }
        FocusRing { shown: slider.visualFocus; innerRadius: 4; distance: 4 }
    }
    handle: null
}
