#pragma once
// A value that others can watch: assigning notifies, and only when the value really changes. Player's thread.
// Must not be destroyed from within a notification of its own.

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace tolvane {

/// Keeps an observer subscribed: destroying it ends that, also from within the observer. May outlive what it observes.
class [[nodiscard]] Subscription {
 public:
  Subscription() = default;
  explicit Subscription(std::shared_ptr<const void> hold) : hold_(std::move(hold)) {}
  Subscription(Subscription&&) = default;
  Subscription& operator=(Subscription&&) = default;
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;
  ~Subscription() = default;

  /// One subscription that holds all of them.
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

  /// The observer is called after each later change with the value as it then is, in order of subscription; the
  /// current value is not announced.
  Subscription subscribe(Observer observer) const {
    auto held = std::make_shared<const Observer>(std::move(observer));
    std::erase_if(observers_, [](const auto& known) { return known.expired(); });
    observers_.push_back(held);
    return Subscription(std::move(held));
  }

  /// Whether the value was another one. An observer may subscribe, unsubscribe and assign again; who has unsubscribed
  /// by the time of its turn is not called, who came during this notification waits for the next.
  /// The argument is the live value: assigning again from within an observer changes what it refers to.
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
