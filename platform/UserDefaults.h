#pragma once
// The contract for values that survive a restart. Player's thread. Neither reading nor writing ever fails for the
// caller or waits for a disk: values that cannot be stored are kept in memory, which is logged once.

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace tolvane {

class UserDefaults {
 public:
  /// Binary data: any bytes.
  using Data = std::string;
  using Value = std::variant<bool, double, Data>;

  virtual ~UserDefaults() = default;

  /// The value that was set last; nothing if the key has no value.
  [[nodiscard]] virtual std::optional<Value> object(std::string_view key) const = 0;
  /// Replaces the value, also one of another type. REQUIRES: a double is finite.
  virtual void setObject(std::string_view key, Value value) = 0;
  virtual void removeObject(std::string_view key) = 0;

  /// Whether the values of earlier runs are available. False if the store cannot be read yet, or at all: values set
  /// meanwhile are kept in memory and take precedence over those read later.
  [[nodiscard]] virtual bool isLoaded() const { return true; }

  /// The value if it is of that type.
  template <typename T>
  [[nodiscard]] std::optional<T> value(std::string_view key) const {
    auto found = object(key);
    T* typed = found ? std::get_if<T>(&*found) : nullptr;
    return typed != nullptr ? std::optional(std::move(*typed)) : std::nullopt;
  }

  /// The changes made during the lifetime of a group are stored together or not at all, however the process ends.
  class Group {
   public:
    explicit Group(UserDefaults& defaults) : defaults_(defaults) { defaults_.beginGroup(); }
    Group(const Group&) = delete;
    Group& operator=(const Group&) = delete;
    ~Group() { defaults_.endGroup(); }

   private:
    UserDefaults& defaults_;
  };

 private:
  /// Groups may be nested; the outermost counts.
  virtual void beginGroup() = 0;
  virtual void endGroup() = 0;
};

}  // namespace tolvane
