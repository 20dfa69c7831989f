#pragma once
// The contract of the reservation of sound cards among the programs of a session: who has one, taking it, giving it
// back. Player's thread; calls may wait for other programs, each for a bounded time. Never touches the device itself.

#include <sys/types.h>

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tolvane {

/// What the kernel calls a process of a sound server that opens cards and does not reserve them: its session manager
/// does it for the daemon.
inline constexpr std::string_view daemonOfReservingManager = "pipewire";

class DeviceReservation {
 public:
  /// Another program that has reserved a card.
  struct Owner {
    pid_t pid = 0;        ///< 0: it cannot be told
    bool yields = false;  ///< it ranks below this program, as a sound server does: asked in order, it lets go

    bool operator==(const Owner&) const = default;
  };

  /// A card that is reserved for this program, until the last copy is destroyed. That is for when the device is closed.
  using Hold = std::shared_ptr<void>;

  struct Handlers {
    /// Runs in a turn of its own, when another program came to own the card, or let it go.
    std::function<void(int card)> ownerMayHaveChanged;
    /// A program of higher rank wants the card, or has taken it. REQUIRES: on return the device is closed and every
    /// copy of the hold destroyed; the other program is told only then.
    std::function<void(int card)> mustYield;
  };

  enum class Refusal : std::uint8_t { reservedByAnother };

  virtual ~DeviceReservation() = default;

  /// One set at a time. Empty ones end the calls.
  virtual void setHandlers(Handlers handlers) = 0;

  /// The other program that has the card; nothing when nobody has, or this program, or when there is no way to know.
  /// Asks the session for a card the first time, and keeps itself informed from then on.
  [[nodiscard]] virtual std::optional<Owner> owner(int card) = 0;

  /// Reserves the card, from a program that yields if need be. Null: this session has no reservations, and the kernel's
  /// own exclusivity must serve. While this program has the card, every call gives the same hold.
  [[nodiscard]] virtual std::expected<Hold, Refusal> acquire(int card, const std::string& deviceName) = 0;
};

}  // namespace tolvane
