import QtQuick
import Tolvane

/// The program's logo beside its name, which says the same to assistive technology.
Logo {
    Accessible.ignored: true
}
