import QtQuick
import QtQuick.Templates as T
import Tolvane

/// A push button with a lamp. The lamp shows the state of the device, not that of the button.
T.AbstractButton {
    id: control

    required property string name

    implicitWidth: contentItem.implicitWidth + 20
    implicitHeight: 26
    focusPolicy: Qt.TabFocus
    hoverEnabled: true
    opacity: enabled ? 1 : Theme.disabledOpacity
    Accessible.name: name
    Accessible.checked: checked
    Accessible.onPressAction: if (enabled) clicked()

    background: Rectangle {
        radius: height / 2
        color: control.checked ? Theme.wine : control.hovered ? Qt.lighter(Theme.raisedPanel, 1.3) : Theme.raisedPanel
        border.width: 1
        border.color: control.checked ? Theme.ember : Theme.hairline
        FocusRing { shown: control.visualFocus; innerRadius: parent.radius; distance: 2 }
    }
    contentItem: Text {
        text: control.text
        color: control.checked ? Theme.gold : Theme.ink
        font.pixelSize: Theme.smallText
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
}
