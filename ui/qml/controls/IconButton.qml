import QtQuick
import QtQuick.Templates as T
import Tolvane

/// A round button that shows an icon only; its name is for screen readers and the help tip.
T.AbstractButton {
    id: button

    required property int shape
    required property string name
    property int iconSize: 20
    property color tint: Theme.ink
    /// Takes the keyboard focus when this button is disabled while it has it.
    property Item heir: null

    implicitWidth: 40
    implicitHeight: 40
    focusPolicy: Qt.TabFocus
    opacity: enabled ? 1 : Theme.disabledOpacity
    hoverEnabled: true
    Accessible.name: name
    Accessible.description: enabled ? "" : qsTr("Not available now")  // this version of Qt does not report that an item is disabled
    Accessible.onPressAction: if (enabled) clicked()
    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clicked(); }
    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clicked(); }
    onEnabledChanged: if (!enabled && focus && heir !== null) heir.forceActiveFocus(Qt.BacktabFocusReason)

    background: Rectangle {
        radius: height / 2
        color: Theme.withOpacity(button.tint, button.down ? 0.16 : button.hovered ? 0.09 : 0)
        Behavior on color { ColorAnimation { duration: Theme.feedbackDuration } }
        FocusRing { shown: button.visualFocus; innerRadius: parent.radius; distance: 0 }
    }
    contentItem: Item {
        Icon {
            anchors.centerIn: parent
            width: button.iconSize
            height: button.iconSize
            shape: button.shape
            color: button.tint
            scale: button.down ? 0.92 : 1
        }
    }

    HelpTip { text: button.name; visible: button.hovered && button.enabled }
}
