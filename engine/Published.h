#pragma once
// A value that can be observed: assigning notifies, but only when the value really changes. Player's thread. Must not
// be destroyed from within its own notification.

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace tolvane {

/// Keeps an observer subscribed; destroying it unsubscribes, also from within the observer. May outlive the value.
class [[nodiscard]] Subscription {
 public:
  Subscription() = default;
  explicit Subscription(std::shared_ptr<const void> hold) : hold_(std::move(hold)) {}
  Subscription(Subscription&&) = default;
  Subscription& operator=(Subscription&&) = default;
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;
  ~Subscription() = default;

  /// Combines several subscriptions into one.
  static Subscription joined(std::vector<Subscription> parts) {
    return Subscription(std::make_shared<const std::vector<Subscription>>(std::move(parts)));
  }

 private:
  std::shared_ptr<const void> hold_;
};

template <typename T>
class Published {
 public:
  using Observer = std::function<void(const T&)>;

  explicit Published(T initial = T{}) : value_(std::move(initial)) {}
  Published(const Published&) = delete;
  Published& operator=(const Published&) = delete;

  [[nodiscard]] const T& value() const { return value_; }

  /// The observer is called after each later change, with the value at that time, in order of subscription. It is not
  /// called with the current value.
  Subscription subscribe(Observer observer) const {
    auto held = std::make_shared<const Observer>(std::move(observer));
    std::erase_if(observers_, [](const auto& known) { return known.expired(); });
    observers_.push_back(held);
    return Subscription(std::move(held));
  }

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
  void notify() {
    const auto observers = observers_;
    for (const auto& known : observers) {
      if (const auto observer = known.lock()) (*observer)(value_);
    }
  }

 private:
  T value_;
  mutable std::vector<std::weak_ptr<const Observer>> observers_;  // in order of subscription
};

}  // namespace tolvane
