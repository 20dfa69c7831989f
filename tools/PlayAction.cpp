#include "tools/PlayAction.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

namespace tolvane {
namespace {

enum class Value { none, number, text };

struct ActionWord {
  std::string_view name;
  PlayAction::Kind kind;
  Value value;
  double maximum = std::numeric_limits<double>::max();
};

using Kind = PlayAction::Kind;
constexpr std::array actionWords{
    ActionWord{"pause", Kind::pause, Value::none},        ActionWord{"seek", Kind::seek, Value::number},
    ActionWord{"volume", Kind::volume, Value::number, 1}, ActionWord{"next", Kind::next, Value::text},
    ActionWord{"device", Kind::device, Value::text},      ActionWord{"exclusive", Kind::exclusive, Value::none},
    ActionWord{"shared", Kind::shared, Value::none},      ActionWord{"say", Kind::say, Value::text},
};

template <typename Number>
std::optional<Number> numberOf(std::string_view text) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace

std::expected<PlayAction, std::string> parsePlayAction(std::string_view text) {
  const auto refused = [text] { return std::unexpected(fmt::format("There is no action {}.", text)); };
  const std::size_t first = text.find(':');
  const std::size_t second = first == std::string_view::npos ? first : text.find(':', first + 1);
  if (second == std::string_view::npos) return refused();
  const auto file = numberOf<std::size_t>(text.substr(0, first));
  const auto seconds = numberOf<double>(text.substr(first + 1, second - first - 1));
  const std::string_view what = text.substr(second + 1);
  const std::size_t equals = what.find('=');
  const auto word = std::ranges::find(actionWords, what.substr(0, equals), &ActionWord::name);
  if (!file || *file == 0 || !seconds || !std::isfinite(*seconds) || word == actionWords.end()) return refused();
  PlayAction action{.file = *file, .seconds = *seconds, .kind = word->kind, .number = 0, .text = {}};
  if ((word->value == Value::none) != (equals == std::string_view::npos)) return refused();
  if (word->value == Value::none) return action;
  const std::string_view value = what.substr(equals + 1);
  if (value.empty()) return refused();
  if (word->value == Value::text) {
    action.text = std::string(value);
    return action;
  }
  const auto number = numberOf<double>(value);
  if (!number || !(*number >= 0 && *number <= word->maximum)) return refused();
  action.number = *number;
  return action;
}

std::string_view actionName(PlayAction::Kind kind) {
  return std::ranges::find(actionWords, kind, &ActionWord::kind)->name;
}

}  // namespace tolvane
