#pragma once
// A value that can be observed: assigning notifies, but only when the value really changes. Player's thread. Must not
// be destroyed from within its own notification.

#include <utility>

#include "engine/Observers.h"

namespace tolvane {

template <typename T>
class Published {
 public:
  using Observer = typename Observers<T>::Observer;

  explicit Published(T initial = T{}) : value_(std::move(initial)) {}
  Published(const Published&) = delete;
  Published& operator=(const Published&) = delete;

  [[nodiscard]] const T& value() const { return value_; }

  /// The observer is called after each later change, with the value at that time, in order of subscription. It is not
  /// called with the current value.
  Subscription subscribe(Observer observer) const { return observers_.subscribe(std::move(observer)); }

  /// Returns whether the value changed. An observer may subscribe, unsubscribe and assign again: one that was
  /// unsubscribed before its turn is not called; one that was added during this notification is called from the next
  /// one on. The argument refers to the live value: assigning again from within an observer changes it.
  bool assign(T value) {
    if (!replace(std::move(value))) return false;
    notify();
    return true;
  }

  /// The two halves of assign(), for several values that change together: all are replaced before the first
  /// notification.
  bool replace(T value) {
    if (value == value_) return false;
    value_ = std::move(value);
    return true;
  }
  void notify() { observers_.notify(value_); }

 private:
  T value_;
  mutable Observers<T> observers_;
};

}  // namespace tolvane
