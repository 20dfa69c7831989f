import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Tolvane

T.ComboBox {
    id: picker

    required property var devices
    required property int selectedDevice
    signal chosen(int row)
    /// The list opens below, not above.
    property bool opensBelow: false
    readonly property bool hasDevices: devices.length > 0

    implicitHeight: 36
    leftPadding: 14
    rightPadding: 14
    focusPolicy: Qt.TabFocus
    hoverEnabled: true
    enabled: hasDevices
    model: devices
    displayText: hasDevices ? devices[selectedDevice] ?? "" : qsTr("No output device")
    Accessible.name: qsTr("Output device")
    Accessible.description: displayText
    Accessible.onPressAction: if (enabled) popup.open()

    // An open list takes the key itself, with its release: so it is opened with a release, too.
    property bool isKeyHeld: false
    Keys.onReturnPressed: event => holdKey(event)
    Keys.onEnterPressed: event => holdKey(event)
    Keys.onReleased: event => {
        event.accepted = isKeyHeld && !event.isAutoRepeat && (event.key === Qt.Key_Return || event.key === Qt.Key_Enter);
        if (!event.accepted) return;
        isKeyHeld = false;
        popup.open();
    }
    function holdKey(event: KeyEvent) {
        event.accepted = !popup.visible;
        if (event.accepted) isKeyHeld = true;
    }

    // The selection is the device list's: a choice is only asked for here. A new list sets the row back to the first.
    Binding on currentIndex { value: picker.selectedDevice }
    onModelChanged: currentIndex = selectedDevice
    onActivated: row => {
        chosen(row);
        currentIndex = selectedDevice;
    }

    background: Rectangle {
        radius: Theme.controlRadius
        color: picker.down ? Theme.wine : picker.hovered && picker.enabled ? Qt.lighter(Theme.raisedPanel, 1.25)
                                                                           : Theme.raisedPanel
        Behavior on color { ColorAnimation { duration: Theme.feedbackDuration } }
        FocusRing { shown: picker.visualFocus }
    }
    contentItem: RowLayout {
        spacing: 10

        Icon {
            Layout.preferredWidth: 18
            Layout.preferredHeight: 18
            shape: Icon.Speaker
            color: picker.hasDevices ? Theme.gold : Theme.muted
        }
        ElidedText {
            Layout.fillWidth: true
            text: picker.displayText
            color: picker.hasDevices ? Theme.ink : Theme.muted
            font.pixelSize: Theme.bodyText
            font.weight: Font.Medium
        }
        Icon {
            Layout.preferredWidth: 13
            Layout.preferredHeight: 13
            visible: picker.hasDevices
            shape: Icon.ChevronDown
            color: Theme.muted
        }
    }
    indicator: null

    // A delegate can name the things around it in no other way before Qt 6.5.
    // qmllint disable unqualified
    delegate: T.ItemDelegate {
        id: entry

        required property int index
        required property string modelData

        width: ListView.view.width
        implicitHeight: 36
        leftPadding: 12
        rightPadding: 12
        hoverEnabled: true
        highlighted: picker.highlightedIndex === index
        Accessible.name: modelData
        Accessible.onPressAction: clicked()

        background: Rectangle {
            radius: 7
            color: Theme.withOpacity(Theme.gold, entry.down ? 0.2 : entry.highlighted ? 0.12 : 0)
        }
        contentItem: ElidedText {
            text: entry.modelData
            verticalAlignment: Text.AlignVCenter
            color: entry.index === picker.selectedDevice ? Theme.gold : Theme.ink
            font.pixelSize: Theme.bodyText
            font.weight: entry.index === picker.selectedDevice ? Font.DemiBold : Font.Normal
        }
    }
    // qmllint enable unqualified

    popup: T.Popup {
        y: picker.opensBelow ? picker.height + 6 : -height - 6
        width: picker.width
        height: Math.min(contentItem.implicitHeight + topPadding + bottomPadding, 280)
        padding: 6
        margins: 8
        // A click gives no focus, but the arrows and Escape belong to the open list.
        onOpened: picker.forceActiveFocus(Qt.PopupFocusReason)

        contentItem: ListView {
            clip: true
            implicitHeight: contentHeight
            model: picker.delegateModel  // qmllint disable
            currentIndex: picker.highlightedIndex
            boundsBehavior: Flickable.StopAtBounds
        }
        background: Rectangle {
            radius: Theme.controlRadius + 2
            color: Qt.darker(Theme.raisedPanel, 1.15)
            border.width: 1
            border.color: Theme.withOpacity(Theme.gold, 0.28)
        }
    }

    HelpTip { text: qsTr("Select output device"); visible: picker.hovered && picker.enabled && !picker.popup.visible }
}
