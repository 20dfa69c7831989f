#include "platform/pipewire/facts/AlsaPath.h"

#include <charconv>
#include <system_error>

namespace tolvane {

std::optional<int> cardInAlsaPath(std::string_view path) {
  const auto colon = path.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const std::string_view card = path.substr(colon + 1, path.find(',', colon) - colon - 1);
  int number = 0;
  const auto [end, error] = std::from_chars(card.data(), card.data() + card.size(), number);
  if (error != std::errc() || end != card.data() + card.size()) return std::nullopt;
  return number;
}

}  // namespace tolvane
