import QtQuick
import Tolvane

/// Shows that there are more rows beyond an end of the list.
Item {
    id: overlay

    required property bool showTopFade
    required property bool showBottomFade

    component Band: Rectangle {
        required property bool shown
        width: parent.width
        height: Theme.fadeHeight
        opacity: shown ? 1 : 0
        visible: opacity > 0
        Behavior on opacity { NumberAnimation { duration: Theme.moveDuration } }
    }

    Band {
        shown: overlay.showTopFade
        gradient: Gradient {
            GradientStop { position: 0; color: Theme.withOpacity(ThemePalette.panel, 0.98) }
            GradientStop { position: 1; color: Theme.withOpacity(ThemePalette.panel, 0) }
        }
    }
    Band {
        anchors.bottom: parent.bottom
        shown: overlay.showBottomFade
        gradient: Gradient {
            GradientStop { position: 0; color: Theme.withOpacity(ThemePalette.panel, 0) }
            GradientStop { position: 1; color: Theme.withOpacity(ThemePalette.panel, 0.98) }
        }
    }
}
