import QtQuick
import Tolvane

/// The name of a part of the sheet.
Text {
    topPadding: 18
    bottomPadding: 4
    textFormat: Text.PlainText
    color: Theme.gold
    font.pixelSize: Theme.smallText
    font.weight: Font.DemiBold
    Accessible.role: Accessible.Heading
    Accessible.name: text
}
