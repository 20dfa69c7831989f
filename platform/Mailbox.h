#pragma once
// Where background work delivers results for an object that may have been destroyed by then. The mailbox is a member of
// that object and belongs to its thread; its addresses are for any thread.

#include <memory>
#include <mutex>
#include <utility>

#include "platform/RunLoop.h"

namespace tolvane {

template <typename Owner>
class Mailbox {
  struct State;

 public:
  /// A place to deliver to; copies may outlive the mailbox.
  class Address {
   public:
    /// `delivery` is called with the owner, in a turn of its thread. Dropped if the mailbox is gone: at once, on this
    /// thread, or in that turn.
    template <typename Delivery>
    void deliver(Delivery delivery) const {
      const std::lock_guard lock(state_->mutex);
      if (state_->runLoop == nullptr) return;
      state_->runLoop->post([state = state_, delivery = std::move(delivery)]() mutable {
        if (state->owner != nullptr) delivery(*state->owner);
      });
    }

   private:
    friend class Mailbox;
    explicit Address(std::shared_ptr<State> state) : state_(std::move(state)) {}

    std::shared_ptr<State> state_;
  };

  /// The run loop outlives the mailbox.
  Mailbox(RunLoop& runLoop, Owner& owner) : state_(std::make_shared<State>()) {
    state_->runLoop = &runLoop;
    state_->owner = &owner;
  }
  Mailbox(const Mailbox&) = delete;
  Mailbox& operator=(const Mailbox&) = delete;
  ~Mailbox() {
    state_->owner = nullptr;
    const std::lock_guard lock(state_->mutex);
    state_->runLoop = nullptr;
  }

  [[nodiscard]] Address address() const { return Address(state_); }

 private:
  struct State {
    std::mutex mutex;
    RunLoop* runLoop = nullptr;  // guarded by mutex; null once the mailbox is gone
    Owner* owner = nullptr;      // its thread; null once the mailbox is gone
  };

  std::shared_ptr<State> state_;
};

}  // namespace tolvane
