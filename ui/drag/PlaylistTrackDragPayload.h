#pragma once
// The data of a dragged row, as plain text: the drag and the track. A value.

#include <optional>
#include <string>
#include <string_view>

#include "ui/drag/Uuid.h"

namespace tolvane {

struct PlaylistTrackDragPayload {
  static constexpr std::string_view trackKind = "tolvane-playlist-track";

  std::string kind{trackKind};
  Uuid sessionID;
  Uuid trackID;

  bool operator==(const PlaylistTrackDragPayload&) const = default;

  /// A JSON object.
  [[nodiscard]] std::string encoded() const;
  /// Nothing for anything but such an object; unknown members are ignored.
  [[nodiscard]] static std::optional<PlaylistTrackDragPayload> decode(std::string_view json);
};

}  // namespace tolvane
