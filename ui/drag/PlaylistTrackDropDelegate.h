#pragma once
// A row of the track list as a place to drop a dragged row on. Window's thread; a payload may arrive on any thread.
// Moves nothing unless the payload is that of the drag under way.

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/RunLoop.h"
#include "ui/drag/PlaylistDragSession.h"
#include "ui/drag/PlaylistTrackDragPayload.h"

namespace tolvane {

/// A drag above a row, as reported by the desktop.
struct PlaylistDropInfo {
  using Completion = std::function<void(std::optional<std::string>)>;

  bool offersPlainText = false;  ///< UTF-8
  double y = 0;                  ///< the pointer's distance from the row's top
  /// Loads the first item's text and calls back once, from any thread. Empty when there is no such item.
  std::function<void(Completion)> loadPlainText;
};

class PlaylistTrackDropDelegate {
 public:
  using Move = std::function<void(const Uuid& trackID, std::int64_t insertionIndex)>;
  /// The window's drag; shared, because a payload may arrive after its row, or the window, has gone.
  using Session = std::shared_ptr<std::optional<PlaylistDragSession>>;

  PlaylistTrackDropDelegate(RunLoop& runLoop, std::int64_t targetIndex, double rowHeight, Session session, Move onMove);

  [[nodiscard]] bool validateDrop(const PlaylistDropInfo& info) const;
  void dropEntered(const PlaylistDropInfo& info) { updateTarget(info); }
  void dropUpdated(const PlaylistDropInfo& info) { updateTarget(info); }
  /// Leaves alone a target that another row has set since.
  void dropExited();
  /// Whether the drop was taken; the move follows once the payload has been read and found to be this drag's.
  bool performDrop(const PlaylistDropInfo& info);

 private:
  [[nodiscard]] bool isDragging() const;
  void updateTarget(const PlaylistDropInfo& info);

  RunLoop& runLoop_;
  const std::int64_t targetIndex_;
  const double rowHeight_;
  const Session session_;
  const Move onMove_;
};

}  // namespace tolvane
