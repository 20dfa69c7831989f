import QtQuick
import QtQuick.Layouts
import Tolvane

Panel {
    id: panel

    required property NowPlayingModel nowPlaying
    required property WindowComposition composition
    /// The row that plays is to be shown in the list.
    signal placeRequested()
    readonly property bool isPreparing: nowPlaying.preparing
    /// Most tracks are ready before one could see anything.
    property bool showsPreparation: false

    onIsPreparingChanged: if (!isPreparing) showsPreparation = false
    readonly property int topPadding: composition.wide ? 16 : composition.dense ? 7 : 14
    readonly property int bottomPadding: composition.dense ? 5 : 12
    /// Around the cover, whose place is kept whatever is known of the music.
    readonly property int coverInset: composition.dense ? 8 : 14
    implicitHeight: column.implicitHeight + topPadding + bottomPadding

    Timer {
        interval: 150
        running: panel.isPreparing
        onTriggered: panel.showsPreparation = true
    }
    CoverView {
        id: cover
        objectName: "cover"
        visible: panel.composition.hasTracks
        x: panel.coverInset
        y: panel.coverInset
        width: height
        height: panel.height - 2 * panel.coverInset
        radius: Theme.coverRadius
        cover: panel.nowPlaying.cover
        Accessible.role: Accessible.Graphic
        Accessible.name: qsTr("Cover")
        Accessible.ignored: !panel.nowPlaying.cover.available
    }
    ColumnLayout {
        id: column

        anchors.fill: parent
        anchors.leftMargin: cover.visible ? cover.x + cover.width + Theme.coverGap : Theme.padding
        anchors.rightMargin: Theme.padding
        anchors.topMargin: panel.topPadding
        anchors.bottomMargin: panel.bottomPadding
        spacing: 0

        RowLayout {
            spacing: Theme.gap

            ElidedText {
                Layout.fillWidth: true
                Layout.preferredHeight: panel.composition.wide ? 34 : panel.composition.dense ? 23 : 24  // in any writing
                Layout.maximumHeight: Layout.preferredHeight
                verticalAlignment: Text.AlignVCenter
                text: panel.nowPlaying.title
                color: Theme.ink
                font.pixelSize: panel.composition.wide ? Theme.wideTitleText : Theme.titleText
                font.weight: Font.DemiBold
                Accessible.role: Accessible.Heading
                Accessible.description: panel.nowPlaying.credits
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

        RowLayout {
            spacing: Theme.gap

            ElidedText {
                Layout.fillWidth: true
                Layout.preferredHeight: panel.composition.wide ? 21 : 15
                Layout.maximumHeight: Layout.preferredHeight
                verticalAlignment: Text.AlignVCenter
                text: panel.nowPlaying.detail
                color: Theme.muted
                font.pixelSize: panel.composition.wide ? Theme.wideDetailText : Theme.smallText
                Accessible.ignored: text === ""
            }
            TabularText {
                Layout.alignment: Qt.AlignVCenter
                text: panel.nowPlaying.sampleRate
                color: Theme.muted
            }
        }

        WaveformSlider {
            id: position
            Layout.fillWidth: true
            Layout.topMargin: panel.composition.dense ? 2 : 8
            Layout.preferredHeight: panel.composition.waveformHeight
            samples: panel.nowPlaying.samples
            progress: panel.nowPlaying.progress
            preparation: panel.showsPreparation ? panel.nowPlaying.preparationProgress : -1
            enabled: panel.nowPlaying.canSeek
            positionText: panel.nowPlaying.elapsed
            markedTime: panel.nowPlaying.timeAt(marked)
            onChosen: fraction => panel.nowPlaying.playFrom(fraction)
            onStepped: seconds => panel.nowPlaying.seekBy(seconds)
        }

        Item {
            Layout.fillWidth: true
            Layout.topMargin: panel.composition.dense ? 1 : 8
            implicitHeight: panel.composition.dense ? transport.playSize : transport.implicitHeight

            TabularText {
                anchors.left: parent.left
                anchors.verticalCenter: transport.verticalCenter
                text: position.wanted >= 0 ? position.markedTime : panel.nowPlaying.elapsed
            }
            TransportControls {
                id: transport
                x: Math.round(parent.width / 2 - centre)
                spacing: panel.composition.dense ? 12 : 16
                playSize: panel.composition.wide ? 52 : panel.composition.dense ? 38 : 48
                nowPlaying: panel.nowPlaying
            }
            TabularText {
                anchors.right: parent.right
                anchors.verticalCenter: transport.verticalCenter
                text: panel.nowPlaying.duration
                color: Theme.muted
            }
        }
    }
}
