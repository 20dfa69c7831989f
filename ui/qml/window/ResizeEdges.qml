import QtQuick
import Tolvane

/// The rim by which the window is resized. The middle takes no events.
Item {
    id: rim

    readonly property int thickness: 6
    readonly property int corner: 14
    signal resizeRequested(int edges)

    // A component within a file can name the things around it in no other way before Qt 6.5.
    // qmllint disable unqualified
    component Edge: MouseArea {
        required property int edges
        width: rim.thickness
        height: rim.thickness
        acceptedButtons: Qt.LeftButton
        onPressed: rim.resizeRequested(edges)
    }
    // qmllint enable unqualified

    Edge { edges: Qt.TopEdge; cursorShape: Qt.SizeVerCursor; x: rim.corner; width: rim.width - 2 * rim.corner }
    Edge { edges: Qt.BottomEdge; cursorShape: Qt.SizeVerCursor; x: rim.corner; y: rim.height - height; width: rim.width - 2 * rim.corner }
    Edge { edges: Qt.LeftEdge; cursorShape: Qt.SizeHorCursor; y: rim.corner; height: rim.height - 2 * rim.corner }
    Edge { edges: Qt.RightEdge; cursorShape: Qt.SizeHorCursor; x: rim.width - width; y: rim.corner; height: rim.height - 2 * rim.corner }
    Edge { edges: Qt.TopEdge | Qt.LeftEdge; cursorShape: Qt.SizeFDiagCursor; width: rim.corner; height: rim.thickness }
    Edge { edges: Qt.TopEdge | Qt.RightEdge; cursorShape: Qt.SizeBDiagCursor; x: rim.width - width; width: rim.corner; height: rim.thickness }
    Edge { edges: Qt.BottomEdge | Qt.LeftEdge; cursorShape: Qt.SizeBDiagCursor; y: rim.height - height; width: rim.corner; height: rim.corner }
    Edge { edges: Qt.BottomEdge | Qt.RightEdge; cursorShape: Qt.SizeFDiagCursor; x: rim.width - width; y: rim.height - height; width: rim.corner; height: rim.corner }
}
