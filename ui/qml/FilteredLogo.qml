import QtQuick
import Tolvane

/// The program's mark: five bars of a waveform in a ring.
Icon {
    shape: Icon.Logo
    color: Theme.gold
    Accessible.ignored: true
}
