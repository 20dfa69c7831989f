import QtQuick
import Tolvane

/// The part of the header that moves the window, and zooms it on a double click.
Item {
    id: area

    signal moveRequested()
    signal zoomRequested()

    DragHandler {
        target: null
        acceptedButtons: Qt.LeftButton
        onActiveChanged: if (active) area.moveRequested()
    }
    TapHandler {
        acceptedButtons: Qt.LeftButton
        onDoubleTapped: area.zoomRequested()
    }
}
