#include "platform/desktop/SessionBusReservation.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <utility>

#include "platform/desktop/ReservationBus.h"
#include "platform/desktop/SessionBus.h"

namespace tolvane {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::string_view category = "DeviceReservation";
constexpr milliseconds longestLettingGo{500};  // between a program's consent and the release of its name
constexpr milliseconds betweenTries{5};
constexpr seconds refusalCounts{10};  // how long a program of lower priority that does not release a card is left alone
constexpr seconds betweenConnections{30};  // how long a bus that did not answer is left alone
// For all the queries of one operation.
constexpr seconds longestOwner{1};
constexpr seconds longestAcquire{2};

}  // namespace

class SessionBusReservation::Implementation final : public std::enable_shared_from_this<Implementation>,
                                                    private ReservationBus::Events {
 public:
  Implementation(RunLoop& runLoop, Log& log, Settings settings)
      : runLoop_(runLoop), log_(log), settings_(std::move(settings)) {}

  void setHandlers(Handlers handlers) { handlers_ = std::move(handlers); }
  std::optional<Owner> owner(int card);
  std::expected<Hold, Refusal> acquire(int card, const std::string& deviceName);

 private:
  using NameOwner = ReservationBus::NameOwner;
  using Kind = NameOwner::Kind;

  struct Card {
    std::string deviceName;      ///< as last acquired
    bool isKnown = false;        ///< `owner` is what the bus reported
    std::optional<Owner> owner;  ///< another program
    std::weak_ptr<void> hold;    ///< alive: code of this process relies on the reservation
    std::optional<RunLoop::TimePoint> refusalCountsUntil;
    bool isReserved = false;      ///< the name is ours
    bool isYielding = false;      ///< the name goes when the other program has been answered
    std::uint64_t questions = 0;  ///< only the answer to the last one counts
  };
  /// Releases the card when the last copy of a hold is destroyed.
  struct Token {
    std::weak_ptr<Implementation> implementation;
    int card = 0;

    Token(std::weak_ptr<Implementation> reservation, int number)
        : implementation(std::move(reservation)), card(number) {}
    Token(const Token&) = delete;
    Token& operator=(const Token&) = delete;
    ~Token() {
      if (const auto alive = implementation.lock()) alive->holdHasGone(card);
    }
  };

  bool connect();
  bool isReady(seconds limit);
  void busFailed(const std::string& why);
  void dropConnection();
  bool ask(int card, std::string& uniqueName);
  [[nodiscard]] std::expected<bool, ReservationBus::Failure> takeName(int card);
  [[nodiscard]] std::optional<bool> reserve(int card);
  void ownerIs(int card, const NameOwner& owner, std::uint64_t question);
  void keepHolds();
  void takeAgain(int card);
  void takenAway(int card);
  void apply(int card, std::optional<Owner> owner);
  [[nodiscard]] Owner describe(const ReservationBus::Peer& peer) const;
  void holdHasGone(int card);
  void letGo(int card);

  // ReservationBus::Events
  void nameMoved(int card, const NameOwner& owner) override;
  bool releaseRequested(int card, std::int32_t priority) override;
  void releaseAnswered(int card) override { letGo(card); }

  RunLoop& runLoop_;
  Log& log_;
  const Settings settings_;
  Handlers handlers_;
  std::map<int, Card> cards_;
  std::unique_ptr<ReservationBus> bus_;
  std::optional<RunLoop::TimePoint> lastConnection_;
  std::optional<RunLoop::TimePoint> silentUntil_;
  RunLoop::Timer keeper_;  ///< while there are holds
  bool hasLoggedFailure_ = false;
};

// The bus.

/// Retried after a while, because a session may get its bus later, or another one.
bool SessionBusReservation::Implementation::connect() {
  if (bus_ && bus_->isConnected()) return true;
  if (bus_) busFailed("the session bus has gone");
  const auto now = runLoop_.now();
  if (lastConnection_ && now - *lastConnection_ < betweenConnections) return false;
  lastConnection_ = now;
  auto bus = ReservationBus::connect(settings_.busAddress.empty() ? sessionBusAddress() : settings_.busAddress, *this);
  if (!bus) {
    busFailed(bus.error());
    return false;
  }
  bus_ = *std::move(bus);
  silentUntil_.reset();
  return true;
}

/// There is a bus, and it must answer all queries within this time.
bool SessionBusReservation::Implementation::isReady(seconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  if (!connect() || (silentUntil_ && runLoop_.now() < *silentUntil_)) return false;
  bus_->answerBy(deadline);
  return true;
}

/// Holds stay valid: the kernel's own exclusivity still applies. A connection that is only slow is kept, because
/// closing it would release every name.
void SessionBusReservation::Implementation::busFailed(const std::string& why) {
  if (bus_ && bus_->isConnected()) {
    silentUntil_ = runLoop_.now() + betweenConnections;
  } else {
    dropConnection();
  }
  for (auto& [number, card] : cards_) {
    if (card.isReserved) continue;  // its loss may be about to be notified
    card.isKnown = false;
    card.owner.reset();
    ++card.questions;
  }
  if (std::exchange(hasLoggedFailure_, true)) return;
  log_.write(LogLevel::standard, category,
             "Sound cards are not reserved on the session bus, because " + why + ". The kernel keeps others away.");
}

void SessionBusReservation::Implementation::dropConnection() {
  // Deferred: this may be one of the bus's own turns.
  if (bus_) runLoop_.post([self = shared_from_this(), gone = std::shared_ptr<ReservationBus>(std::move(bus_))] {});
  for (auto& [number, card] : cards_) card.isReserved = false;
}

/// Queries the present owner of the card. False if the bus has failed.
bool SessionBusReservation::Implementation::ask(int card, std::string& uniqueName) {
  auto& entry = cards_[card];
  ++entry.questions;
  const auto name = bus_->nameOwner(card);
  if (!name) {
    busFailed(name.error());
    return false;
  }
  uniqueName = name->connection;
  std::optional<Owner> owner;
  if (name->kind == Kind::another) owner = describe(bus_->peer(card, uniqueName));
  entry.isKnown = true;
  apply(card, owner);
  return true;
}

SessionBusReservation::Owner SessionBusReservation::Implementation::describe(const ReservationBus::Peer& peer) const {
  return {peer.pid.value_or(0), peer.priority && *peer.priority < settings_.priority};
}

void SessionBusReservation::Implementation::apply(int card, std::optional<Owner> owner) {
  if (std::exchange(cards_[card].owner, owner) == owner) return;
  cards_[card].refusalCountsUntil.reset();
  runLoop_.post([held = weak_from_this(), card] {
    const auto self = held.lock();
    if (self && self->handlers_.ownerMayHaveChanged) self->handlers_.ownerMayHaveChanged(card);
  });
}

void SessionBusReservation::Implementation::nameMoved(int card, const NameOwner& owner) {
  if (!bus_) return;
  const std::uint64_t question = ++cards_[card].questions;
  // The owner may have changed since: the present one counts. The notification is believed only if the bus does not
  // answer.
  bus_->askNameOwner(card, [this, card, question, owner](const auto& answer) {
    if (cards_[card].questions != question) return;
    cards_[card].isKnown = answer.has_value();
    ownerIs(card, answer.value_or(owner), question);
  });
}

void SessionBusReservation::Implementation::ownerIs(int card, const NameOwner& owner, std::uint64_t question) {
  auto& entry = cards_[card];
  if (owner.kind == Kind::us) return apply(card, std::nullopt);
  const bool isLost = std::exchange(entry.isReserved, false) && !entry.hold.expired();
  // The program that took the card has released it since.
  if (isLost && owner.kind == Kind::none && isReady(longestOwner)) return takeAgain(card);
  if (owner.kind == Kind::none) return apply(card, std::nullopt);
  if (isLost) takenAway(card);
  if (!bus_) return;
  bus_->askPeer(card, owner.connection, [this, card, question](const ReservationBus::Peer& peer) {
    if (cards_[card].questions == question) apply(card, describe(peer));
  });
}

// Other programs' cards, and ours.

std::optional<DeviceReservation::Owner> SessionBusReservation::Implementation::owner(int card) {
  std::string uniqueName;
  if (!isReady(longestOwner) || (!cards_[card].isKnown && !ask(card, uniqueName))) return std::nullopt;
  Card& entry = cards_[card];
  auto owner = entry.owner;
  if (owner && entry.refusalCountsUntil && runLoop_.now() < *entry.refusalCountsUntil) owner->yields = false;
  return owner;
}

/// False: another program owns it, and keeps it.
std::expected<bool, ReservationBus::Failure> SessionBusReservation::Implementation::takeName(int card) {
  auto taken = bus_->requestName(card, false);
  if (!taken || *taken) return taken;
  std::string uniqueName;
  if (!ask(card, uniqueName)) return std::unexpected("it does not answer");
  bool replaces = false;
  if (const auto& other = cards_[card].owner) {
    if (!other->yields) return false;
    const auto release = bus_->requestRelease(card, uniqueName, settings_.priority);
    if (release == ReservationBus::Release::refused) {
      cards_[card].refusalCountsUntil = runLoop_.now() + refusalCounts;
      return false;
    }
    replaces = release == ReservationBus::Release::agreed;
  }
  const auto end = runLoop_.now() + longestLettingGo;
  while (!bus_->isLate()) {
    taken = bus_->requestName(card, replaces);
    if (!taken || *taken || runLoop_.now() >= end) return taken;
    replaces = false;  // the present owner has not been asked
    runLoop_.sleepFor(betweenTries);
  }
  return false;
}

/// As takeName(), and all that goes with it. Nothing: the bus has failed.
std::optional<bool> SessionBusReservation::Implementation::reserve(int card) {
  auto& entry = cards_[card];
  // Other programs that query the card must get an answer as soon as the name is ours.
  bus_->publish(card, {settings_.priority, settings_.applicationName, entry.deviceName});
  const auto taken = takeName(card);
  if (bus_ && !(taken && *taken)) bus_->unpublish(card);
  if (!taken) {
    if (!bus_) return std::nullopt;
    bus_->releaseName(card);  // the bus may have received the request, and grant it later
    busFailed(taken.error());
    return std::nullopt;
  }
  if (!*taken) return false;
  ++entry.questions;  // answers that are still to come are outdated
  entry.isKnown = true;
  entry.isReserved = true;
  apply(card, std::nullopt);
  return true;
}

std::expected<DeviceReservation::Hold, DeviceReservation::Refusal> SessionBusReservation::Implementation::acquire(
    int card, const std::string& deviceName) {
  const bool canAsk = isReady(longestAcquire);
  auto& entry = cards_[card];
  auto hold = entry.hold.lock();
  if (!canAsk || (hold && entry.isReserved)) return hold;
  entry.deviceName = deviceName;
  const auto isReserved = reserve(card);
  if (!isReserved) return hold;
  if (!*isReserved) return std::unexpected(Refusal::reservedByAnother);
  if (!hold) {
    hold = std::make_shared<Token>(weak_from_this(), card);
    entry.hold = hold;
  }
  if (!keeper_) keeper_ = runLoop_.scheduleTimer(betweenConnections, true, [this] { keepHolds(); });
  return hold;
}

/// A bus may go and come back while a device is held.
void SessionBusReservation::Implementation::keepHolds() {
  if (std::ranges::all_of(cards_, [](const auto& card) { return card.second.hold.expired(); })) return keeper_.reset();
  if (!connect()) return;
  for (auto& [number, card] : cards_) {
    if (!card.isReserved && !card.hold.expired() && isReady(longestOwner)) takeAgain(number);
  }
}

/// REQUIRES: isReady(), and something holds the card.
void SessionBusReservation::Implementation::takeAgain(int card) {
  if (reserve(card) == false) takenAway(card);
}

void SessionBusReservation::Implementation::takenAway(int card) {
  log_.write(LogLevel::standard, category,
             "Another program has taken the reservation of card " + std::to_string(card) + " away");
  if (bus_) bus_->unpublish(card);
  if (handlers_.mustYield) handlers_.mustYield(card);
}

void SessionBusReservation::Implementation::holdHasGone(int card) {
  if (!cards_[card].isYielding) letGo(card);
}

void SessionBusReservation::Implementation::letGo(int card) {
  auto& entry = cards_[card];
  entry.isYielding = false;
  if (!std::exchange(entry.isReserved, false) || !bus_) return;
  bus_->unpublish(card);
  bus_->releaseName(card);
}

bool SessionBusReservation::Implementation::releaseRequested(int card, std::int32_t priority) {
  auto& entry = cards_[card];
  if (!entry.isReserved || priority <= settings_.priority) return false;
  entry.isYielding = true;
  if (handlers_.mustYield) handlers_.mustYield(card);
  if (!entry.hold.expired()) {
    entry.isYielding = false;
    return false;
  }
  log_.write(LogLevel::standard, category,
             "Gave card " + std::to_string(card) + " to a program of higher priority that asked for it");
  return true;
}

// Public functions.

SessionBusReservation::SessionBusReservation(RunLoop& runLoop, Log& log, Settings settings)
    : implementation_(std::make_shared<Implementation>(runLoop, log, std::move(settings))) {}

SessionBusReservation::~SessionBusReservation() = default;

void SessionBusReservation::setHandlers(Handlers handlers) { implementation_->setHandlers(std::move(handlers)); }

std::optional<DeviceReservation::Owner> SessionBusReservation::owner(int card) { return implementation_->owner(card); }

std::expected<DeviceReservation::Hold, DeviceReservation::Refusal> SessionBusReservation::acquire(
    int card, const std::string& deviceName) {
  return implementation_->acquire(card, deviceName);
}

}  // namespace tolvane
