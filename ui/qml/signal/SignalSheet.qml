import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import QtQuick.Window
import Tolvane

/// Everything known about the signal path, over the window: the stages, what was found about the samples, counters, and
/// the history of the path. Live while it is open; requests nothing from the player while it is closed.
T.Popup {
    id: sheet

    required property SignalPathModel path
    required property string label
    required property string detail
    /// In front of it; may be empty.
    required property string plainly
    required property color tint
    required property real windowRadius

    readonly property int scrollStep: 48
    /// The item that had the keyboard focus, and gets it back.
    property Item opener: null
    property bool openerShowsFocus: false

    x: parent ? Math.round((parent.width - width) / 2) : 0
    y: parent ? Math.round((parent.height - height) / 2) : 0
    width: parent ? Math.min(parent.width - 2 * Theme.margin, 760) : 0
    height: parent ? Math.min(parent.height - 2 * Theme.margin, 900) : 0
    padding: Theme.padding
    modal: true
    focus: true
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutside
    onVisibleChanged: path.open = visible
    onAboutToShow: {
        opener = parent.Window.activeFocusItem;
        openerShowsFocus = (opener as T.Control)?.visualFocus ?? false;
    }
    onOpened: surface.forceActiveFocus(Qt.PopupFocusReason)
    onClosed: {
        surface.contentY = 0;
        if (opener === null) return;
        const reason = openerShowsFocus ? Qt.TabFocusReason : Qt.PopupFocusReason;
        opener.forceActiveFocus(reason);
        // From Qt 6.8 on it has the focus again by now, and keeps the reason that it got it for.
        const control = opener as T.Control;
        if (control !== null) control.focusReason = reason;
    }

    // The window's own shortcut has no effect while this is open.
    Shortcut { sequence: "Ctrl+I"; enabled: sheet.visible; onActivated: sheet.close() }

    T.Overlay.modal: Rectangle {
        radius: sheet.windowRadius  // qmllint disable unqualified
        color: Theme.withOpacity(Theme.night, 0.7)
    }
    background: Rectangle {
        radius: Theme.panelRadius
        color: ThemePalette.panel
        border.width: 1
        border.color: Theme.withOpacity(Theme.gold, 0.28)
    }
    contentItem: ColumnLayout {  // qmllint disable deferred-property-id
        spacing: 10
        Accessible.role: Accessible.Dialog
        Accessible.name: qsTr("Signal path")

        RowLayout {
            spacing: 10

            Rectangle {
                Layout.preferredWidth: 8
                Layout.preferredHeight: 8
                radius: 4
                color: sheet.tint
            }
            Text {
                Layout.fillWidth: true
                text: sheet.label
                textFormat: Text.PlainText
                color: sheet.tint
                font.pixelSize: 16
                font.weight: Font.Bold
                font.letterSpacing: 1
                Accessible.role: Accessible.Heading
                Accessible.name: qsTr("Signal path, %1").arg(text)
            }
            IconButton {
                Layout.preferredWidth: 32
                Layout.preferredHeight: 32
                iconSize: 14
                shape: Icon.Close
                name: qsTr("Close the signal path")
                onClicked: sheet.close()
            }
        }
        Text {
            Layout.fillWidth: true
            visible: text.length > 0
            text: sheet.plainly
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            color: Theme.ink
            font.pixelSize: 15
            font.weight: Font.DemiBold
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Text {
            Layout.fillWidth: true
            text: sheet.detail
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            maximumLineCount: 6
            elide: Text.ElideRight
            color: sheet.plainly.length > 0 ? Theme.muted : Theme.ink
            font.pixelSize: Theme.bodyText
            Accessible.role: Accessible.StaticText
            Accessible.name: sheet.detail
        }
        Rectangle {
            Layout.fillWidth: true
            Layout.preferredHeight: 1
            color: Theme.hairline
        }
        Flickable {
            id: surface

            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            contentHeight: rows.implicitHeight
            boundsBehavior: Flickable.StopAtBounds
            activeFocusOnTab: true
            Accessible.role: Accessible.Grouping
            Accessible.name: qsTr("Stages, samples, output and history")
            Keys.onUpPressed: scrollBy(-sheet.scrollStep)
            Keys.onDownPressed: scrollBy(sheet.scrollStep)
            Keys.onPressed: event => {
                const page = height - sheet.scrollStep;
                const steps = {};
                steps[Qt.Key_PageUp] = -page;
                steps[Qt.Key_PageDown] = page;
                steps[Qt.Key_Home] = -contentHeight;
                steps[Qt.Key_End] = contentHeight;
                event.accepted = event.key in steps;
                if (event.accepted) scrollBy(steps[event.key]);
            }
            function scrollBy(distance: real) {
                contentY = Math.max(0, Math.min(contentHeight - height, contentY + distance));
            }

            ColumnLayout {
                id: rows
                width: surface.width - 12
                spacing: 4

                Repeater {
                    model: sheet.path.stages
                    SignalStage { Layout.fillWidth: true }
                }
                SignalHeading { text: qsTr("Samples handed over, compared with the file") }
                Repeater {
                    model: sheet.path.delivery
                    SignalFact { Layout.fillWidth: true }
                }
                SignalHeading { text: qsTr("Output") }
                Repeater {
                    model: sheet.path.counters
                    SignalFact { Layout.fillWidth: true }
                }
                SignalHeading { text: qsTr("History, newest first") }
                Repeater {
                    model: sheet.path.history
                    SignalFact { Layout.fillWidth: true; nameWidth: 72 }
                }
            }
            Rectangle {
                parent: surface
                anchors.right: parent.right
                y: surface.contentHeight > 0 ? surface.contentY / surface.contentHeight * surface.height : 0
                width: 4
                height: surface.contentHeight > 0 ? surface.height / surface.contentHeight * surface.height : 0
                radius: 2
                visible: surface.contentHeight > surface.height
                color: Theme.groove
            }
        }
        RowLayout {
            spacing: 14

            CheckOption {
                id: namesFile
                text: qsTr("With the file's name")
                checked: true
            }
            Item { Layout.fillWidth: true }
            Text {
                id: copied
                opacity: 0
                text: qsTr("Copied")
                color: Theme.gold
                font.pixelSize: Theme.smallText
                Accessible.role: Accessible.AlertMessage
                Accessible.name: text
                Accessible.ignored: opacity === 0
                SequentialAnimation {
                    id: copiedShown
                    PropertyAction { target: copied; property: "opacity"; value: 1 }
                    PauseAnimation { duration: 2000 }
                    NumberAnimation { target: copied; property: "opacity"; to: 0; duration: Theme.moveDuration }
                }
            }
            PillButton {
                name: qsTr("Copy the report as plain text")
                text: qsTr("Copy report")
                adds: false
                enabled: sheet.path.ready
                onClicked: {
                    sheet.path.copyReport(namesFile.checked);
                    copiedShown.restart();
                }
            }
        }
    }
}
