import QtQuick
import QtQuick.Templates as T
import Tolvane

T.AbstractButton {
    id: button

    required property string name

    implicitHeight: 28
    implicitWidth: contentItem.implicitWidth + leftPadding + rightPadding
    leftPadding: 12
    rightPadding: 14
    focusPolicy: Qt.TabFocus
    hoverEnabled: true
    Accessible.name: name
    Accessible.onPressAction: if (enabled) clicked()

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

    HelpTip { text: button.name; visible: button.hovered }
}
