import QtQuick
import Tolvane

/// Where the dragged track would land.
Item {
    height: 12

    Rectangle {
        anchors.fill: parent
        gradient: Gradient {
            GradientStop { position: 0; color: Theme.withOpacity(Theme.gold, 0) }
            GradientStop { position: 0.5; color: Theme.withOpacity(Theme.gold, 0.14) }
            GradientStop { position: 1; color: Theme.withOpacity(Theme.gold, 0) }
        }
    }
    Rectangle {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        height: 1
        color: Theme.withOpacity(Theme.gold, 0.5)
    }
}
