import QtQuick
import QtQuick.Layouts
import Tolvane

GridLayout {
    id: controls

    required property OutputModel output
    /// Titles and values stand beside the sliders.
    required property bool inline
    readonly property string helpText: qsTr("Adjust player volume and stereo balance. Hold Shift while dragging for fine adjustment. Double-click a slider or click its value to reset it. At 100% and Center, audio passes through without processing.")

    columnSpacing: Theme.columnGap
    rowSpacing: 12
    Accessible.role: Accessible.Grouping
    Accessible.name: qsTr("Volume and balance")
    Accessible.description: helpText

    OutputAdjustmentRow {
        Layout.fillWidth: true
        Layout.preferredWidth: 1
        inline: controls.inline
        title: qsTr("Volume")
        valueText: controls.output.volumeLabel
        helpText: controls.helpText
        resetTitle: qsTr("100%")
        value: controls.output.volume
        from: 0
        to: 1
        resetValue: 1
        accessibilityLabel: qsTr("Volume")
        onChosen: value => controls.output.volume = value
    }
    OutputAdjustmentRow {
        Layout.fillWidth: true
        Layout.preferredWidth: 1
        inline: controls.inline
        title: qsTr("Balance")
        valueText: controls.output.balanceText
        helpText: controls.helpText
        resetTitle: qsTr("Center")
        value: controls.output.balance
        from: -1
        to: 1
        resetValue: 0
        centered: true
        accessibilityLabel: qsTr("Balance")
        onChosen: value => controls.output.balance = value
    }
}
