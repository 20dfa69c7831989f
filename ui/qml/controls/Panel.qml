import QtQuick
import Tolvane

Rectangle {
    radius: Theme.panelRadius
    color: Theme.panel
    border.width: 1
    border.color: Theme.hairline
}
