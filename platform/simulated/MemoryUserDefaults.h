#pragma once
// User defaults that live as long as the object, for tests and the demo; remembers every write, and can be made to
// store nothing, as on a full disk. Player's thread.

#include <map>
#include <string>
#include <vector>

#include "platform/UserDefaults.h"

namespace tolvane {

class MemoryUserDefaults final : public UserDefaults {
 public:
  using Values = std::map<std::string, Value, std::less<>>;

  MemoryUserDefaults() = default;
  /// What an earlier run of the program has stored.
  explicit MemoryUserDefaults(Values stored) : values_(stored), stored_(std::move(stored)) {}

  [[nodiscard]] std::optional<Value> object(std::string_view key) const override;
  void setObject(std::string_view key, Value value) override;
  void removeObject(std::string_view key) override;

  /// From now on values are kept in memory and not stored, or stored again.
  void failWrites(bool fails) { failsWrites_ = fails; }

  /// Whether they count as loaded; they can be read and written in any case.
  void setLoaded(bool isLoaded) { isLoaded_ = isLoaded; }
  [[nodiscard]] bool isLoaded() const override { return isLoaded_; }

  /// What the next run of the program would find if this one were ended now.
  [[nodiscard]] const Values& stored() const { return stored_; }

  /// The keys of the writes so far, in order; a removal is "-" and the key, a group stands in brackets.
  [[nodiscard]] const std::vector<std::string>& writes() const { return writes_; }
  void forgetWrites() { writes_.clear(); }

 private:
  void beginGroup() override;
  void endGroup() override;
  void store();

  Values values_;
  Values stored_;
  bool failsWrites_ = false;
  bool isLoaded_ = true;
  int openGroups_ = 0;
  std::vector<std::string> writes_;
};

}  // namespace tolvane
