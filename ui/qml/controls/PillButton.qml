import QtQuick
import QtQuick.Templates as T
import Tolvane

T.AbstractButton {
    id: button

    required property string name
    property string help: name
    /// It has a plus sign.
    property bool adds: true
    /// Modifier keys of the last press.
    property int pressModifiers: Qt.NoModifier

    implicitHeight: 28
    implicitWidth: contentItem.implicitWidth + leftPadding + rightPadding
    leftPadding: 12
    rightPadding: adds ? 14 : 12
    focusPolicy: Qt.TabFocus
    hoverEnabled: true
    opacity: enabled ? 1 : Theme.disabledOpacity
    Accessible.name: name
    Accessible.onPressAction: if (enabled) clickWith(Qt.NoModifier)
    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clickWith(event.modifiers); }
    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clickWith(event.modifiers); }
    Keys.onSpacePressed: event => {
        pressModifiers = event.modifiers;
        event.accepted = false;
    }

    function clickWith(modifiers: int) {
        pressModifiers = modifiers;
        clicked();
    }

    PointHandler {
        onActiveChanged: {
            const modifiers = point.modifiers;  // Qt 6.4 stores 0 where this is assigned to the button at once
            if (active) button.pressModifiers = modifiers;
        }
    }

    background: Rectangle {
        radius: height / 2
        color: button.down ? Theme.wine : button.hovered ? Qt.lighter(Theme.raisedPanel, 1.3) : Theme.raisedPanel
        Behavior on color { ColorAnimation { duration: Theme.feedbackDuration } }
        FocusRing { shown: button.visualFocus; innerRadius: parent.radius; distance: 2 }
    }
    contentItem: Row {
        spacing: 7
        Icon {
            anchors.verticalCenter: parent.verticalCenter
            width: 11
            height: 11
            visible: button.adds
            shape: Icon.Add
            color: Theme.gold
        }
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: button.text
            color: Theme.ink
            font.pixelSize: Theme.smallText
            font.weight: Font.Medium
        }
    }

    HelpTip { text: button.help; visible: button.hovered }
}
