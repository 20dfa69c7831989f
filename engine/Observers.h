#pragma once
// Observers, called in the order in which they subscribed. One thread.

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace tolvane {

/// Keeps an observer subscribed; destroying it unsubscribes, also from within the observer. May outlive the list.
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

template <typename... Arguments>
class Observers {
 public:
  using Observer = std::function<void(const Arguments&...)>;

  Subscription subscribe(Observer observer) {
    auto held = std::make_shared<const Observer>(std::move(observer));
    std::erase_if(observers_, [](const auto& known) { return known.expired(); });
    observers_.push_back(held);
    return Subscription(std::move(held));
  }

  /// An observer may subscribe and unsubscribe others: one that was unsubscribed before its turn is not called; one
  /// that was added during this notification is called from the next one on.
  void notify(const Arguments&... arguments) const {
    const auto observers = observers_;
    for (const auto& known : observers) {
      if (const auto observer = known.lock()) (*observer)(arguments...);
    }
  }

 private:
  std::vector<std::weak_ptr<const Observer>> observers_;  // in order of subscription
};

}  // namespace tolvane
