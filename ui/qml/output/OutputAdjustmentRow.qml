import QtQuick
import QtQuick.Templates as T
import Tolvane

/// A title, the value as a button that resets it, and the slider, below them or between them.
Item {
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
    required property bool inline
    /// In a line, for any value.
    readonly property int valueWidth: 56
    signal chosen(real value)

    implicitHeight: inline ? slider.implicitHeight : heading.height + 2 + slider.implicitHeight

    Text {
        id: heading
        width: Math.ceil(implicitWidth)
        anchors.verticalCenter: valueButton.verticalCenter
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
        anchors.right: parent.right
        y: row.inline ? Math.round((row.height - height) / 2) : 0
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
    OutputAdjustmentSlider {
        id: slider
        anchors.left: row.inline ? heading.right : parent.left
        anchors.leftMargin: row.inline ? 12 : 0
        anchors.right: parent.right
        anchors.rightMargin: row.inline ? row.valueWidth : 0
        anchors.bottom: parent.bottom
        shownValue: row.value
        from: row.from
        to: row.to
        resetValue: row.resetValue
        centered: row.centered
        accessibilityLabel: row.accessibilityLabel
        onChosen: value => row.chosen(value)
    }
}
