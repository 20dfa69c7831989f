#pragma once
// A unique identity: of a drag, and of a track in a drag's payload. A value; pure except for random().

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "session/PlaylistTrack.h"

namespace tolvane {

struct Uuid {
  std::array<std::uint8_t, 16> bytes{};

  auto operator<=>(const Uuid&) const = default;

  [[nodiscard]] static Uuid random();
  /// The identity of a playlist entry: another one for every id.
  [[nodiscard]] static Uuid ofTrack(PlaylistTrackID id);
  /// Upper or lower case; nothing for text in any other form than that of string().
  [[nodiscard]] static std::optional<Uuid> parse(std::string_view text);

  /// "E621E1F8-C36C-495A-93FC-0C247A3E6E5F"
  [[nodiscard]] std::string string() const;
};

}  // namespace tolvane
