#pragma once
// The actions of `tolvane-probe play` around the end of one of its files, as a user would make them. Pure: text in,
// value out.

#include <cstddef>
#include <expected>
#include <string>
#include <string_view>

namespace tolvane {

struct PlayAction {
  enum class Kind { pause, seek, volume, next, device, exclusive, shared, say };

  std::size_t file = 1;  ///< counted from 1
  double seconds = 0;    ///< from the end of that file: negative before it, else within the file that follows
  Kind kind = Kind::pause;
  double number = 0;  ///< of seek: seconds; of volume: 0 … 1
  std::string text;   ///< of next: a file; of device: its name; of say: the text to print
};

/// `FILE:SECONDS:ACTION` or `FILE:SECONDS:ACTION=VALUE`. The error is a sentence.
[[nodiscard]] std::expected<PlayAction, std::string> parsePlayAction(std::string_view text);

/// The word for it on the command line.
[[nodiscard]] std::string_view actionName(PlayAction::Kind kind);

}  // namespace tolvane
