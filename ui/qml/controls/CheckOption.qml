import QtQuick
import QtQuick.Templates as T
import Tolvane

/// A box with a tick, and what it is for.
T.CheckBox {
    id: option

    implicitHeight: 28
    implicitWidth: contentItem.implicitWidth + leftPadding
    leftPadding: 24
    focusPolicy: Qt.TabFocus
    hoverEnabled: true
    Accessible.name: text
    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) toggle(); }
    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) toggle(); }

    indicator: Rectangle {
        y: (option.height - height) / 2
        width: 16
        height: 16
        radius: 4
        color: option.checked ? Theme.gold : Theme.withOpacity(Theme.gold, option.hovered ? 0.16 : 0.08)
        border.width: 1
        border.color: Theme.withOpacity(Theme.gold, 0.5)

        Icon {
            anchors.centerIn: parent
            width: 12
            height: 12
            visible: option.checked
            shape: Icon.Tick
            color: Theme.night
        }
    }
    contentItem: Text {
        text: option.text
        textFormat: Text.PlainText
        verticalAlignment: Text.AlignVCenter
        color: Theme.ink
        font.pixelSize: Theme.smallText
        Accessible.ignored: true
    }
    FocusRing { shown: option.visualFocus; distance: 2; innerRadius: 6 }
}
