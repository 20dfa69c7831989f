#include "ui/drag/PlaylistTrackDropDelegate.h"

#include <utility>

namespace tolvane {

namespace {

/// Ends the drag, and moves its track when the payload is the drag's own.
void commit(const PlaylistTrackDropDelegate::Session& session, const PlaylistDragSession& drag,
            std::int64_t insertionIndex, const std::optional<PlaylistTrackDragPayload>& payload,
            const PlaylistTrackDropDelegate::Move& onMove) {
  const bool isOurs = payload && payload->kind == PlaylistTrackDragPayload::trackKind &&
                      payload->sessionID == drag.id && payload->trackID == drag.trackID;
  if (isOurs) onMove(drag.trackID, insertionIndex);
  if (*session && (*session)->id == drag.id) session->reset();  // a drag begun meanwhile continues
}

}  // namespace

PlaylistTrackDropDelegate::PlaylistTrackDropDelegate(RunLoop& runLoop, std::int64_t targetIndex, double rowHeight,
                                                     Session session, Move onMove)
    : runLoop_(runLoop),
      targetIndex_(targetIndex),
      rowHeight_(rowHeight),
      session_(std::move(session)),
      onMove_(std::move(onMove)) {}

bool PlaylistTrackDropDelegate::isDragging() const {
  return *session_ && (*session_)->phase == PlaylistDragPhase::dragging;
}

bool PlaylistTrackDropDelegate::validateDrop(const PlaylistDropInfo& info) const {
  return isDragging() && info.offersPlainText;
}

void PlaylistTrackDropDelegate::updateTarget(const PlaylistDropInfo& info) {
  if (!validateDrop(info)) return;
  (*session_)->dropTargetIndex = targetIndex_;
  (*session_)->insertionIndex = info.y < rowHeight_ * 0.5 ? targetIndex_ : targetIndex_ + 1;
}

void PlaylistTrackDropDelegate::dropExited() {
  if (!isDragging() || (*session_)->dropTargetIndex != targetIndex_) return;
  (*session_)->insertionIndex.reset();
  (*session_)->dropTargetIndex.reset();
}

bool PlaylistTrackDropDelegate::performDrop(const PlaylistDropInfo& info) {
  if (!isDragging()) return false;
  auto& drag = **session_;
  const auto insertionIndex = std::exchange(drag.insertionIndex, std::nullopt);
  drag.dropTargetIndex.reset();
  drag.phase = PlaylistDragPhase::committing;
  if (!info.loadPlainText || !insertionIndex) {
    session_->reset();
    return false;
  }
  info.loadPlainText([&runLoop = runLoop_, session = std::weak_ptr(session_), remembered = drag,
                      index = *insertionIndex, onMove = onMove_](const std::optional<std::string>& text) {
    const auto payload = text ? PlaylistTrackDragPayload::decode(*text) : std::nullopt;
    runLoop.post([session, remembered, index, payload, onMove] {
      if (const auto live = session.lock()) commit(live, remembered, index, payload, onMove);
    });
  });
  return true;
}

}  // namespace tolvane
