import QtQuick
import QtQuick.Layouts
import Tolvane

ColumnLayout {
    id: controls

    required property OutputModel output
    readonly property string helpText: qsTr("Adjust player volume and stereo balance. Hold Shift while dragging for fine adjustment. Double-click a slider or click its value to reset it. At 100% and Center, audio passes through without processing.")

    spacing: 10
    Accessible.role: Accessible.Grouping
    Accessible.name: qsTr("Volume and balance")
    Accessible.description: helpText

    OutputAdjustmentRow {
        Layout.fillWidth: true
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
