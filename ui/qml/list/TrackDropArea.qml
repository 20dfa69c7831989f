import QtQuick
import Tolvane

/// The rows as places to drop a row on. Near its ends it scrolls the list under a waiting drag.
DropArea {
    id: area

    required property ListView list
    required property TrackDragModel trackDrag
    readonly property real edge: 40
    readonly property real fastest: 14
    property real pointerY: 0
    /// Where files are dragged, which the window takes; −1 while none are.
    property real filesY: -1
    readonly property real draggedY: containsDrag ? pointerY : filesY

    function contentYAt(y: real): real { return y + list.contentY - list.originY; }
    function rowAt(y: real): int { return Math.max(0, Math.min(list.count - 1, Math.floor(contentYAt(y) / Theme.trackRowHeight))); }
    function heightInRow(y: real): real { return contentYAt(y) - rowAt(y) * Theme.trackRowHeight; }
    function follow(drag: DragEvent) {
        pointerY = drag.y;
        drag.accepted = trackDrag.entered(rowAt(drag.y), heightInRow(drag.y), drag.hasText);
    }
    /// Points a tick: the nearer the end, the faster.
    function scrollStep(y: real): real {
        const depth = y < edge ? y - edge : y > height - edge ? y - (height - edge) : 0;
        return fastest * Math.max(-1, Math.min(1, depth / edge));
    }
    function scroll() {
        const last = list.originY + Math.max(0, list.contentHeight - list.height);
        list.contentY = Math.max(list.originY, Math.min(last, list.contentY + scrollStep(draggedY)));
        if (containsDrag) trackDrag.entered(rowAt(pointerY), heightInRow(pointerY), true);
    }

    keys: ["text/plain"]
    onEntered: drag => follow(drag)
    onPositionChanged: drag => follow(drag)
    onExited: trackDrag.exited()
    onDropped: drop => {
        if (trackDrag.drop(rowAt(drop.y), heightInRow(drop.y), drop.text)) drop.accept(Qt.MoveAction);
    }

    Timer {
        interval: 16
        repeat: true
        running: (area.containsDrag || area.filesY >= 0) && area.scrollStep(area.draggedY) !== 0
        onTriggered: area.scroll()
    }
}
