pragma Singleton

import QtQuick
import Tolvane

/// Everything that parts of the window share in their looks. Sizes are in device-independent pixels.
QtObject {
    readonly property color ink: ThemePalette.ink
    readonly property color muted: ThemePalette.muted
    readonly property color ember: ThemePalette.ember
    readonly property color copper: ThemePalette.copper
    readonly property color gold: ThemePalette.gold
    readonly property color wine: ThemePalette.wine
    readonly property color night: ThemePalette.night
    readonly property color panel: withOpacity(ThemePalette.panel, 0.72)
    readonly property color raisedPanel: ThemePalette.raisedPanel
    readonly property color hairline: withOpacity(ThemePalette.gold, 0.10)
    readonly property color groove: withOpacity(ThemePalette.gold, 0.16)

    readonly property int margin: 16
    readonly property int padding: 18
    readonly property int gap: 10
    /// Between controls beside each other.
    readonly property int columnGap: 22
    readonly property int windowRadius: 14
    readonly property int panelRadius: 14
    readonly property int controlRadius: 10
    readonly property int coverRadius: 8
    readonly property int coverGap: 14
    readonly property int controlHeight: 44
    readonly property int trackRowHeight: 58
    readonly property int fadeHeight: 18

    readonly property int smallText: 12
    readonly property int bodyText: 13
    readonly property int titleText: 19
    readonly property int wideTitleText: 26
    readonly property int wideDetailText: 15

    /// Of gold, on any panel: a contrast of 3:1.
    readonly property real unplayedOpacity: 0.46
    readonly property real disabledOpacity: 0.35
    readonly property int feedbackDuration: 90
    readonly property int moveDuration: 180

    function withOpacity(color: color, opacity: real): color {
        return Qt.rgba(color.r, color.g, color.b, opacity);
    }
}
