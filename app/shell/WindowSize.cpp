#include "app/shell/WindowSize.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <string_view>

namespace tolvane {

namespace {

constexpr std::string_view windowSizeKey = "SavedWindowSize";

}  // namespace

WindowSize loadSavedWindowSize(const UserDefaults& defaults) {
  const auto data = defaults.value<UserDefaults::Data>(windowSizeKey);
  if (!data) return {};
  const auto record = nlohmann::json::parse(*data, nullptr, false);
  if (!record.is_object()) return {};
  const auto width = record.find("width");
  const auto height = record.find("height");
  if (width == record.end() || !width->is_number() || height == record.end() || !height->is_number()) return {};
  return {width->get<double>(), height->get<double>()};
}

void save(const WindowSize& size, UserDefaults& defaults) {
  if (!std::isfinite(size.width) || !std::isfinite(size.height)) return defaults.removeObject(windowSizeKey);
  defaults.setObject(windowSizeKey, nlohmann::json{{"width", size.width}, {"height", size.height}}.dump());
}

}  // namespace tolvane
