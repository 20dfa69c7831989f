#pragma once
// The contract of what survives a restart: values under keys. Player's thread. Neither reading nor writing ever fails
// for the caller or waits for a disk: what cannot be stored serves from memory, and the store says so once in the log.

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

  /// What was set last; nothing when the key has no value.
  [[nodiscard]] virtual std::optional<Value> object(std::string_view key) const = 0;
  /// Replaces the value, also one of another type. REQUIRES: a double is finite.
  virtual void setObject(std::string_view key, Value value) = 0;
  virtual void removeObject(std::string_view key) = 0;

  /// Whether what an earlier run has left is here. False at the start where the store cannot be read yet, or ever: what
  /// is set meanwhile serves from memory, and counts more than what is read later.
  [[nodiscard]] virtual bool isLoaded() const { return true; }

  /// The value where it is of that type.
  template <typename T>
  [[nodiscard]] std::optional<T> value(std::string_view key) const {
    auto found = object(key);
    T* typed = found ? std::get_if<T>(&*found) : nullptr;
    return typed != nullptr ? std::optional(std::move(*typed)) : std::nullopt;
  }

  /// The changes made while one lives are stored together or not at all, whatever ends the process meanwhile.
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
  /// Groups may stand within groups; the outermost counts.
  virtual void beginGroup() = 0;
  virtual void endGroup() = 0;
};

}  // namespace tolvane
