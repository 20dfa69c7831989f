#include "platform/simulated/MemoryUserDefaults.h"

namespace tolvane {

std::optional<UserDefaults::Value> MemoryUserDefaults::object(std::string_view key) const {
  const auto found = values_.find(key);
  return found != values_.end() ? std::optional(found->second) : std::nullopt;
}

void MemoryUserDefaults::setObject(std::string_view key, Value value) {
  writes_.emplace_back(key);
  values_.insert_or_assign(std::string(key), std::move(value));
  store();
}

void MemoryUserDefaults::removeObject(std::string_view key) {
  writes_.push_back("-" + std::string(key));
  if (const auto found = values_.find(key); found != values_.end()) values_.erase(found);
  store();
}

void MemoryUserDefaults::beginGroup() {
  if (openGroups_++ == 0) writes_.emplace_back("[");
}

void MemoryUserDefaults::endGroup() {
  if (--openGroups_ > 0) return;
  writes_.emplace_back("]");
  store();
}

void MemoryUserDefaults::store() {
  if (openGroups_ == 0 && !failsWrites_) stored_ = values_;
}

}  // namespace tolvane
