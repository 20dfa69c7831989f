import QtQml

/// Where the window's panels stand, and how dense they are. Depends on the window's size and on whether there is a list, never
/// on a text. Sizes are in device-independent pixels.
QtObject {
    required property real windowWidth
    required property real windowHeight
    required property bool hasTracks

    /// The output stands beside the list, below a waveform that takes the whole width; else the panels are one column.
    readonly property bool wide: windowWidth >= 1100
    /// A column gives its height to the list.
    readonly property bool dense: hasTracks && !wide
    /// Height that the list does not need first: in a column it has ten rows before the panels get more.
    readonly property real spareHeight: Math.max(0, windowHeight - (dense ? 1000 : 700))

    readonly property int waveformHeight: wide ? growing(44, 144, 0.29) : dense ? growing(30, 104, 0.3) : growing(64, 104, 0.15)
    /// In a column.
    readonly property int verdictHeight: dense ? growing(73, 115, 0.2) : 78
    /// Beside the list.
    readonly property int outputWidth: Math.max(380, Math.min(480, windowWidth * 0.3))

    function growing(least: real, most: real, share: real): real {
        return Math.round(Math.min(most, least + spareHeight * share));
    }
}
