#pragma once
// Actions of an object that may be destroyed before they run: they do nothing then. The object, and the actions when
// they run, belong to one thread; actions may be copied and destroyed on any thread.

#include <functional>
#include <memory>
#include <utility>

namespace tolvane {

template <typename Owner>
class WeakSelf {
 public:
  /// A member of the owner, which is the object that the actions receive.
  explicit WeakSelf(Owner* owner) : owner_(std::make_shared<Owner*>(owner)) {}
  WeakSelf(const WeakSelf&) = delete;
  WeakSelf& operator=(const WeakSelf&) = delete;
  ~WeakSelf() = default;

  /// `action` is a member function, or a function whose first parameter is the owner. The result takes the others.
  template <typename Action>
  [[nodiscard]] auto bind(Action action) const {
    return [weak = std::weak_ptr(owner_), action = std::move(action)](auto&&... arguments) {
      if (const auto owner = weak.lock()) std::invoke(action, **owner, std::forward<decltype(arguments)>(arguments)...);
    };
  }

 private:
  std::shared_ptr<Owner*> owner_;
};

}  // namespace tolvane
