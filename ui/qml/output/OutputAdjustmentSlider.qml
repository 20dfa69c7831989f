import QtQuick
import Tolvane

AdjustmentArea {
    id: slider

    required accessibilityLabel
    property bool centered: false
    readonly property real origin: centered ? width / 2 : 0
    helpText: activeFocus
        ? qsTr("Double-click to reset. Hold Shift while dragging for fine adjustment. Use arrow keys to adjust.")
        : qsTr("Double-click to reset. Hold Shift while dragging for fine adjustment.")

    implicitHeight: 20
    thumbWidth: 14
    activeFocusOnTab: true
    Accessible.role: Accessible.Slider
    Accessible.name: accessibilityLabel

    Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        width: parent.width
        height: 4
        radius: 2
        color: Theme.groove
    }
    Rectangle {
        visible: slider.centered
        anchors.centerIn: parent
        width: 1
        height: 10
        color: Theme.withOpacity(Theme.muted, 0.5)
    }
    Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        x: Math.min(slider.origin, slider.thumbCentre)
        width: Math.abs(slider.thumbCentre - slider.origin)
        height: 4
        radius: 2
        gradient: Gradient {
            orientation: Gradient.Horizontal
            GradientStop { position: 0; color: Theme.copper }
            GradientStop { position: 1; color: Theme.gold }
        }
    }
    Rectangle {
        x: slider.thumbCentre - width / 2
        anchors.verticalCenter: parent.verticalCenter
        width: slider.thumbWidth
        height: width
        radius: width / 2
        color: slider.dragging ? Theme.gold : Theme.ink

        Rectangle {
            anchors.centerIn: parent
            width: 5
            height: 5
            radius: 2.5
            color: Theme.wine
        }
        FocusRing { shown: slider.visualFocus; innerRadius: parent.radius; distance: 3 }
    }

    HoverHandler { id: pointer }
    // Below, because the value that it sets is shown above.
    HelpTip { text: slider.helpText; below: true; visible: pointer.hovered && !slider.dragging }
}
