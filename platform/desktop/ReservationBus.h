#pragma once
// The messages of the reservation of cards on a session bus: one connection of its own, calls that wait at most half a
// second, the object that other programs query. Player's thread. Decides nothing, and never runs the event loop.

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tolvane {

class ReservationBus {
 public:
  struct NameOwner {
    enum class Kind : std::uint8_t { none, us, another };

    Kind kind = Kind::none;
    std::string connection{};  ///< another's unique name
  };

  class Events {
   public:
    virtual ~Events() = default;
    /// The card's name was reported to belong to this owner. It may have changed since: query it.
    virtual void nameMoved(int card, const NameOwner& owner) = 0;
    /// Another program requests a published card. The answer is sent; if it was true, releaseAnswered() runs
    /// afterwards.
    virtual bool releaseRequested(int card, std::int32_t priority) = 0;
    virtual void releaseAnswered(int card) = 0;
  };

  /// Why the bus can no longer be used.
  using Failure = std::string;
  /// A program that owns a name; what neither it nor the bus reports is missing.
  struct Peer {
    std::optional<pid_t> pid;
    std::optional<std::int32_t> priority;
  };
  enum class Release : std::uint8_t { agreed, refused, ownerHasGone };

  /// `events` outlives the bus.
  static std::expected<std::unique_ptr<ReservationBus>, Failure> connect(const std::string& address, Events& events);
  /// Releases every name.
  ~ReservationBus();
  ReservationBus(const ReservationBus&) = delete;
  ReservationBus& operator=(const ReservationBus&) = delete;

  [[nodiscard]] bool isConnected() const;

  // Answered before they return, each in half a second, and all until the deadline; what comes after it is not sent.
  using Deadline = std::chrono::steady_clock::time_point;
  void answerBy(Deadline deadline);
  [[nodiscard]] bool isLate() const;
  [[nodiscard]] std::expected<NameOwner, Failure> nameOwner(int card) const;
  [[nodiscard]] Peer peer(int card, const std::string& owner) const;
  /// True: the name is ours. `replaces` takes it from an owner that allows it.
  [[nodiscard]] std::expected<bool, Failure> requestName(int card, bool replaces) const;
  [[nodiscard]] Release requestRelease(int card, const std::string& owner, std::int32_t priority) const;

  // Answered in a later turn, with a failure if the bus does not answer; not at all if this object is destroyed before.
  void askNameOwner(int card, std::function<void(const std::expected<NameOwner, Failure>&)> answer);
  void askPeer(int card, const std::string& owner, std::function<void(const Peer&)> answer);

  void releaseName(int card);
  /// What other programs can read about a card while it is ours.
  struct Published {
    std::int32_t priority = 0;
    std::string applicationName;
    std::string deviceName;
  };
  void publish(int card, Published published);
  void unpublish(int card);

 private:
  struct Implementation;
  explicit ReservationBus(std::unique_ptr<Implementation> implementation);

  std::unique_ptr<Implementation> implementation_;
};

}  // namespace tolvane
