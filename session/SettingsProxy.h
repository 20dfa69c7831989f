#pragma once
// The window's settings: user defaults on the window's thread, stored by the player's. Only values that were set in
// this run can be read; those of an earlier run are not known here.

#include <map>
#include <string>

#include "platform/UserDefaults.h"
#include "session/SessionProxy.h"

namespace tolvane {

class SettingsProxy final : public UserDefaults {
 public:
  /// The session outlives the settings.
  explicit SettingsProxy(SessionProxy& session) : session_(session) {}

  [[nodiscard]] std::optional<Value> object(std::string_view key) const override;
  void setObject(std::string_view key, Value value) override;
  void removeObject(std::string_view key) override;

 private:
  // Settings are independent of each other: groups have no effect.
  void beginGroup() override {}
  void endGroup() override {}

  SessionProxy& session_;
  std::map<std::string, Value, std::less<>> values_;
};

}  // namespace tolvane
