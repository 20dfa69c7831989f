#pragma once
// The contract for the reservation of sound cards among the programs of a session: who owns a card, taking it,
// releasing it. Player's thread; calls may wait for other programs, each for a bounded time. Never touches the device
// itself.

#include <sys/types.h>

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tolvane {

class DeviceReservation {
 public:
  /// Another program that has reserved a card.
  struct Owner {
    pid_t pid = 0;  ///< 0: unknown
    bool yields =
        false;  ///< it has a lower priority than this program, like a sound server: it releases the card on request

    bool operator==(const Owner&) const = default;
  };

  /// A card reserved for this program, until the last copy is destroyed. Destroy it when the device is closed.
  using Hold = std::shared_ptr<void>;

  struct Handlers {
    /// Called in its own turn when another program has acquired or released the card.
    std::function<void(int card)> ownerMayHaveChanged;
    /// A program of higher priority requests the card, or has taken it. REQUIRES: on return the device is closed and
    /// every copy of the hold destroyed; only then the other program is notified.
    std::function<void(int card)> mustYield;
  };

  enum class Refusal : std::uint8_t { reservedByAnother };

  virtual ~DeviceReservation() = default;

  /// One set at a time. Empty functions end the calls.
  virtual void setHandlers(Handlers handlers) = 0;

  /// The other program that owns the card; nothing if no program or this one does, or if it is unknown. Queries the
  /// session the first time for each card, and then follows changes.
  [[nodiscard]] virtual std::optional<Owner> owner(int card) = 0;

  /// Reserves the card, if necessary from a program that yields. Null: this session has no reservations; only the
  /// kernel's exclusivity applies. While this program owns the card, every call returns the same hold.
  [[nodiscard]] virtual std::expected<Hold, Refusal> acquire(int card, const std::string& deviceName) = 0;
};

}  // namespace tolvane
