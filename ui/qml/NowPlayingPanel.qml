import QtQuick
import QtQuick.Layouts
import Tolvane

Panel {
    id: panel

    required property NowPlayingModel nowPlaying
    /// The row that plays is to be shown in the list.
    signal placeRequested()
    readonly property bool isPreparing: nowPlaying.preparing
    /// Most tracks are ready before one could see anything.
    property bool showsPreparation: false

    onIsPreparingChanged: if (!isPreparing) showsPreparation = false
    implicitHeight: column.implicitHeight + 14 + 12

    Timer {
        interval: 150
        running: panel.isPreparing
        onTriggered: panel.showsPreparation = true
    }
    ColumnLayout {
        id: column

        anchors.fill: parent
        anchors.leftMargin: Theme.padding
        anchors.rightMargin: Theme.padding
        anchors.topMargin: 14
        anchors.bottomMargin: 12
        spacing: 0

        RowLayout {
            spacing: Theme.gap

            ElidedText {
                Layout.fillWidth: true
                Layout.preferredHeight: 24  // in any writing
                Layout.maximumHeight: 24
                verticalAlignment: Text.AlignVCenter
                text: panel.nowPlaying.title
                color: Theme.ink
                font.pixelSize: Theme.titleText
                font.weight: Font.DemiBold
                Accessible.role: Accessible.Heading
            }
            TabularText {
                Layout.alignment: Qt.AlignVCenter
                text: panel.nowPlaying.trackPosition
                color: place.hovered ? Theme.ink : Theme.muted
                Accessible.description: qsTr("Shows the current track in the list")
                Accessible.onPressAction: panel.placeRequested()

                HoverHandler { id: place; cursorShape: Qt.PointingHandCursor }
                TapHandler { onTapped: panel.placeRequested() }
                HelpTip { text: qsTr("Show the current track in the list"); visible: place.hovered; below: true }
            }
        }

        WaveformSlider {
            id: position
            Layout.fillWidth: true
            Layout.topMargin: 8
            samples: panel.nowPlaying.samples
            progress: panel.nowPlaying.progress
            preparation: panel.showsPreparation ? panel.nowPlaying.preparationProgress : -1
            enabled: panel.nowPlaying.canSeek
            positionText: panel.nowPlaying.elapsed
            markedTime: panel.nowPlaying.timeAt(marked)
            onChosen: fraction => panel.nowPlaying.playFrom(fraction)
            onStepped: seconds => panel.nowPlaying.seekBy(seconds)
        }

        RowLayout {
            Layout.topMargin: 4

            TabularText { text: position.wanted >= 0 ? position.markedTime : panel.nowPlaying.elapsed }
            Item { Layout.fillWidth: true }
            TabularText { text: panel.nowPlaying.duration; color: Theme.muted }
        }

        Item {
            Layout.fillWidth: true
            Layout.topMargin: -6
            implicitHeight: transport.implicitHeight

            TabularText {
                anchors.left: parent.left
                anchors.verticalCenter: parent.verticalCenter
                anchors.verticalCenterOffset: 6
                text: panel.nowPlaying.sampleRate
                color: Theme.muted
            }
            TransportControls {
                id: transport
                x: parent.width / 2 - centre
                anchors.verticalCenter: parent.verticalCenter
                nowPlaying: panel.nowPlaying
            }
        }
    }
}
