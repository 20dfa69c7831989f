#include "session/SettingsProxy.h"

#include <utility>

namespace tolvane {

std::optional<UserDefaults::Value> SettingsProxy::object(std::string_view key) const {
  const auto found = values_.find(key);
  return found != values_.end() ? std::optional(found->second) : std::nullopt;
}

void SettingsProxy::setObject(std::string_view key, Value value) {
  values_.insert_or_assign(std::string(key), value);
  session_.storeSetting(std::string(key), std::move(value));
}

void SettingsProxy::removeObject(std::string_view key) {
  values_.erase(std::string(key));
  session_.storeSetting(std::string(key), std::nullopt);
}

}  // namespace tolvane
