import QtQuick
import Tolvane

/// A hairline in a waveform, and the time that it marks.
Item {
    id: mark

    required property string time
    /// 0 … 1 of the width.
    required property real place
    readonly property real x0: Math.round(Math.min(place * width, width - 1))
    readonly property bool fitsRight: x0 + 6 + plate.width <= width

    Accessible.ignored: true

    Rectangle {
        x: mark.x0
        width: 1
        height: parent.height
        color: Theme.withOpacity(Theme.ink, 0.5)
    }
    Rectangle {
        id: plate
        x: mark.fitsRight ? mark.x0 + 5 : mark.x0 - 4 - width
        y: Math.max(0, (mark.height - 64) / 2)
        width: label.width + 10
        height: label.height + 4
        radius: 5
        color: Theme.withOpacity(Theme.night, 0.88)

        TabularText {
            id: label
            anchors.centerIn: parent
            text: mark.time
            pixelSize: 11
            Accessible.ignored: true
        }
    }
}
