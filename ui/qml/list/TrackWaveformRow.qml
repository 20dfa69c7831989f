import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Tolvane

T.ItemDelegate {
    id: row

    /// With the keyboard focus, Space still pauses.
    readonly property bool leavesSpace: true
    required property int index
    required property string title
    /// Artist and album; empty where they are not known.
    required property string credits
    /// The line below the title.
    required property string detail
    required property string number
    required property waveformSamples samples
    required property string duration
    required property bool loading
    required property bool current
    /// Why the file could not be played; empty where it was not tried, or could be.
    required property string problem
    required property bool picked
    required property bool dragged
    required property real progress
    /// The time at the marked place.
    required property string markedTime
    /// The pointer's place in the waveform, 0 … 1; −1 while it is elsewhere.
    readonly property real marked: seek.containsMouse ? Math.max(0, Math.min(1, seek.mouseX / seek.width)) : -1
    /// This row has the keyboard focus, and got it by keys.
    required property bool focusShown
    signal shown()
    signal selected()
    signal seeked(real fraction)
    signal dragStarted()
    /// It is to be selected or no longer; all rows up to it are to be.
    signal pickToggled()
    signal pickExtended()
    /// Modifier keys when the pointer was pressed.
    property int pressModifiers: Qt.NoModifier

    /// A drag consumes the release of the button that began it: the row would stay pressed.
    property bool releasedByDrag: false
    readonly property int rowSpacing: 14
    readonly property int indexWidth: 28
    readonly property real waveformWidth: Math.max(120, Math.min(480, width * 0.35))
    readonly property int waveformHeight: 30

    implicitHeight: Theme.trackRowHeight
    focusPolicy: Qt.NoFocus
    hoverEnabled: true
    horizontalPadding: 10
    opacity: dragged ? 0.45 : 1
    down: pressed && !releasedByDrag
    Accessible.name: credits === "" ? qsTr("%1, track %2, %3").arg(title).arg(index + 1).arg(duration)
                                    : qsTr("%1, %2, track %3, %4").arg(title).arg(credits).arg(index + 1).arg(duration)
    readonly property string currentText: current ? qsTr("Current track") : ""
    readonly property string problemText: problem === "" ? "" : qsTr("Cannot be played. %1").arg(problem.replace("\n", " "))
    Accessible.description: currentText + (currentText !== "" && problemText !== "" ? ". " : "") + problemText
    Accessible.selectable: true
    Accessible.selected: picked
    Accessible.onPressAction: selected()
    Accessible.onToggleAction: pickToggled()

    function act(modifiers: int, fraction: real) {
        if (modifiers & Qt.ShiftModifier) pickExtended();
        else if (modifiers & Qt.ControlModifier) pickToggled();
        else if (fraction >= 0) seeked(fraction);
        else selected();
    }

    onPressed: releasedByDrag = false
    onClicked: act(pressModifiers, -1)
    Component.onCompleted: shown()
    ListView.onReused: shown()

    PointHandler {
        onActiveChanged: {
            const modifiers = point.modifiers;  // Qt 6.4 stores 0 where this is assigned to the row at once
            if (active) row.pressModifiers = modifiers;
        }
    }
    DragHandler {
        target: null
        acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad | PointerDevice.Stylus
        acceptedButtons: Qt.LeftButton
        onActiveChanged: {
            if (!active) return;
            row.releasedByDrag = true;
            row.dragStarted();
        }
    }

    background: Rectangle {
        y: 2
        height: row.height - 4
        radius: Theme.controlRadius
        color: row.current ? Theme.raisedPanel
             : row.picked ? Theme.withOpacity(Theme.gold, 0.1)
                          : Theme.withOpacity(Theme.raisedPanel, row.down ? 0.6 : row.hovered ? 0.4 : 0)
        border.width: row.picked ? 1 : 0
        border.color: Theme.withOpacity(Theme.gold, 0.42)

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
        FocusRing { shown: row.focusShown; distance: -1 }
    }
    contentItem: RowLayout {  // qmllint disable deferred-property-id
        spacing: row.rowSpacing

        Item {
            Layout.preferredWidth: Math.max(row.indexWidth, number.implicitWidth)
            implicitHeight: number.implicitHeight

            TabularText {
                id: number
                anchors.right: parent.right
                text: row.number
                color: row.current ? Theme.gold : Theme.muted
                opacity: row.problem === "" ? 1 : 0  // and keeps its width
            }
            Loader {
                active: row.problem !== ""
                anchors.fill: parent
                anchors.topMargin: -16
                anchors.bottomMargin: -16
                // A component can name the things around it in no other way before Qt 6.5.
                // qmllint disable unqualified
                sourceComponent: UnplayableMark {
                    objectName: "unplayableMark"
                    problem: row.problem
                    keyboardHere: row.focusShown
                }
                // qmllint enable unqualified
            }
        }
        Item {
            Layout.fillWidth: true
            implicitHeight: 36

            ElidedText {
                width: parent.width
                height: 19  // in any writing
                verticalAlignment: Text.AlignVCenter
                text: row.title
                color: row.current ? Theme.ink : Theme.withOpacity(Theme.ink, 0.9)
                font.pixelSize: 14
                font.weight: row.current ? Font.DemiBold : Font.Normal
                Accessible.ignored: true
            }
            ElidedText {
                y: 20
                width: parent.width
                height: 16
                verticalAlignment: Text.AlignVCenter
                text: row.detail
                color: Theme.muted
                font.pixelSize: Theme.smallText
                Accessible.ignored: true
            }
        }
        WaveformView {
            id: waveform
            Layout.preferredWidth: row.waveformWidth
            Layout.preferredHeight: row.waveformHeight
            samples: row.samples
            progress: row.progress
            barWidth: 1.5
            spacing: 2.5
            activeLower: Theme.ember
            activeUpper: Theme.gold
            inactiveColor: Theme.withOpacity(Theme.gold, row.loading ? 0.2 : seek.containsMouse ? 0.6 : Theme.unplayedOpacity)

            TimeMark {
                objectName: "timeMark"
                anchors.fill: parent
                visible: row.marked >= 0
                time: row.markedTime
                place: row.marked
            }
            MouseArea {
                id: seek
                anchors.fill: parent
                anchors.topMargin: -10
                anchors.bottomMargin: -10
                hoverEnabled: true
                cursorShape: Qt.PointingHandCursor
                onClicked: mouse => row.act(mouse.modifiers, Math.max(0, Math.min(1, mouse.x / width)))
            }
        }
        TabularText {
            text: row.duration
            color: row.current ? Theme.ink : Theme.muted
        }
    }
}
