import QtQuick
import Tolvane

/// The program's mark beside its name, which says the same to those who do not see it.
Logo {
    Accessible.ignored: true
}
