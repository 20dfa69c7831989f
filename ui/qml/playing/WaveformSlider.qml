import QtQuick
import QtQuick.Templates as T
import Tolvane

/// The current track's waveform, to see the position in and to choose one. Reports the choice when the pointer lets go.
T.Slider {
    id: slider

    /// With the keyboard focus, Space still pauses.
    readonly property bool leavesSpace: true
    required property waveformSamples samples
    required property real progress
    /// How much of the track has been read, while that takes a noticeable time; −1 otherwise.
    property real preparation: -1
    readonly property bool isPreparing: preparation >= 0
    /// As text, for screen readers.
    required property string positionText
    /// The time at the place that is marked.
    required property string markedTime
    /// Under the pointer or, while it is pressed, where letting go would play; −1 while none is.
    readonly property real marked: !enabled ? -1
        : pressed && wanted >= 0 ? position
        : pointer.hovered ? Math.max(0, Math.min(1, pointer.point.position.x / width)) : -1
    signal chosen(real fraction)
    signal stepped(real seconds)
    /// Where the pointer has moved to; −1 when it has not.
    property real wanted: -1
    readonly property int wideStep: 5  // seconds
    readonly property int fineStep: 1  // with Shift
    /// The names under which assistive technology looks for a slider's range.
    readonly property real minimumValue: from
    readonly property real maximumValue: to

    focusPolicy: Qt.TabFocus
    hoverEnabled: true
    stepSize: 0.01
    Accessible.name: qsTr("Position")
    Accessible.description: positionText
    Accessible.onIncreaseAction: if (enabled) stepped(wideStep)
    Accessible.onDecreaseAction: if (enabled) stepped(-wideStep)

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
    Keys.onLeftPressed: event => stepped(-(event.modifiers & Qt.ShiftModifier ? fineStep : wideStep))
    Keys.onRightPressed: event => stepped(event.modifiers & Qt.ShiftModifier ? fineStep : wideStep)

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
            inactiveColor: Theme.withOpacity(Theme.gold, Theme.unplayedOpacity)
        }
        TimeMark {
            objectName: "timeMark"
            anchors.fill: parent
            visible: slider.marked >= 0
            time: slider.markedTime
            place: slider.marked
        }
        FocusRing { shown: slider.visualFocus; innerRadius: 4; distance: 4 }
    }
    handle: null
}
