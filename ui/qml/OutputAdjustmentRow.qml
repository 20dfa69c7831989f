import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Tolvane

/// A title, the value as a button that resets it, and the slider.
ColumnLayout {
    id: row

    required property string title
    required property string valueText
    required property string helpText
    required property string resetTitle
    required property real value
    required property real from
    required property real to
    required property real resetValue
    required property string accessibilityLabel
    property bool centered: false
    signal chosen(real value)

    spacing: 2

    RowLayout {
        Text {
            id: heading
            Layout.fillWidth: true
            text: row.title
            textFormat: Text.PlainText
            color: Theme.muted
            font.pixelSize: Theme.smallText
            font.weight: Font.Medium
            Accessible.ignored: true

            HoverHandler { id: pointer }
            HelpTip { text: row.helpText; visible: pointer.hovered }
        }
        T.AbstractButton {
            id: valueButton
            implicitWidth: contentItem.implicitWidth
            implicitHeight: contentItem.implicitHeight
            focusPolicy: Qt.TabFocus
            hoverEnabled: true
            Accessible.name: qsTr("%1 %2, reset to %3").arg(row.title).arg(row.valueText).arg(row.resetTitle)
            Accessible.onPressAction: if (enabled) clicked()
            onClicked: row.chosen(row.resetValue)
            Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clicked(); }
            Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clicked(); }
            contentItem: TabularText {
                text: row.valueText
                color: valueButton.hovered ? Theme.gold : Theme.ink
                weight: Font.DemiBold
                Accessible.ignored: true
            }
            background: Item {
                FocusRing { shown: valueButton.visualFocus; innerRadius: 3; distance: 3 }
            }
            HelpTip { text: qsTr("Reset to %1").arg(row.resetTitle); visible: valueButton.hovered }
        }
    }
    OutputAdjustmentSlider {
        Layout.fillWidth: true
        shownValue: row.value
        from: row.from
        to: row.to
        resetValue: row.resetValue
        centered: row.centered
        accessibilityLabel: row.accessibilityLabel
        onChosen: value => row.chosen(value)
    }
}
