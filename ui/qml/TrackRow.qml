import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Tolvane

T.ItemDelegate {
    id: row

    required property int index
    required property string title
    required property string number
    required property string file
    required property bool current

    implicitHeight: Theme.trackRowHeight
    focusPolicy: Qt.NoFocus
    hoverEnabled: true
    leftPadding: Theme.padding - 8
    rightPadding: Theme.padding - 8
    Accessible.name: qsTr("%1, track %2").arg(title).arg(index + 1)
    Accessible.selected: current

    background: Rectangle {
        y: 2
        height: row.height - 4
        radius: Theme.controlRadius
        color: row.current ? Theme.raisedPanel
                           : Theme.withOpacity(Theme.raisedPanel, row.down ? 0.8 : row.hovered ? 0.45 : 0)
        Behavior on color { ColorAnimation { duration: Theme.feedbackDuration } }

        Rectangle {
            visible: row.current
            anchors.verticalCenter: parent.verticalCenter
            width: 3
            height: 30
            radius: 1.5
            gradient: Gradient {
                GradientStop { position: 0; color: Theme.gold }
                GradientStop { position: 1; color: Theme.ember }
            }
        }
        FocusRing { shown: row.ListView.isCurrentItem && row.ListView.view.activeFocus; distance: 0 }
    }
    contentItem: RowLayout {
        spacing: 14

        Item {
            Layout.preferredWidth: Math.max(28, number.implicitWidth)
            implicitHeight: number.implicitHeight

            TabularText {
                id: number
                anchors.right: parent.right
                text: row.number
                color: row.current ? Theme.gold : Theme.muted
            }
        }
        ElidedText {
            Layout.fillWidth: true
            text: row.title
            color: row.current ? Theme.ink : Theme.withOpacity(Theme.ink, 0.9)
            font.pixelSize: 14
            font.weight: row.current ? Font.DemiBold : Font.Normal
        }
    }
}
