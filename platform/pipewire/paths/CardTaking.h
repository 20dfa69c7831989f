#pragma once
// Takes a card from the server for this process, and returns it. The card's profile is switched off first: if a card is
// simply taken, the server later gives its sink another name, and the user's default sink is lost. Player's thread; the
// waits are bounded, and can be interrupted by the user.

#include <cstdint>
#include <map>

#include "platform/pipewire/devices/DeviceCatalogue.h"
#include "platform/pipewire/devices/DeviceNotifications.h"
#include "platform/pipewire/devices/DeviceView.h"

namespace tolvane {

class CardTaking {
 public:
  CardTaking(const DeviceServices& services, const DeviceView& view, DeviceCatalogue& catalogue,
             DeviceNotifications& notifications)
      : services_(services), view_(view), catalogue_(catalogue), notifications_(notifications) {}
  /// Returns every card to the server that it would not get otherwise.
  ~CardTaking();
  CardTaking(const CardTaking&) = delete;
  CardTaking& operator=(const CardTaking&) = delete;

  /// Takes the card for this process alone, or returns it. A unit that plays changes over with it.
  [[nodiscard]] OSStatus toggleHog(PipeWireDevice& device);
  /// A unit opens the card.
  void unitTakesCard(PipeWireDevice& device);
  /// Returns the card to the server when neither a unit nor hog mode uses it any more: if its PCM were still open,
  /// setting the sink up would fail.
  void letGo(PipeWireDevice& device);
  /// The card path reports another owner of the card.
  void ownerChanged(PipeWireDevice& device);

  /// Returns when the device has a sink, or none is expected any more.
  void waitForSink(const PipeWireDevice& device);
  /// Waits for the frames that the card still plays of an earlier unit: taking it, or changing its rate, would cut them
  /// off.
  void waitUntilHeard(const PipeWireDevice& device);

 private:
  [[nodiscard]] OSStatus take(PipeWireDevice& device);
  void taken(PipeWireDevice& device, const CardBefore& before);
  void notTaken(PipeWireDevice& device, const CardBefore& before);
  [[nodiscard]] OSStatus toggleCardHogWithin(RunLoop::Duration limit, PipeWireDevice& device);
  [[nodiscard]] OSStatus toggleCardHog(const PipeWireDevice& device);
  void giveBack(PipeWireDevice& device);
  void switchOff(PipeWireDevice& device);
  void restoreProfile(const PipeWireDevice& device);
  [[nodiscard]] CardBefore cardNow(const PipeWireDevice& device) const;

  /// The server's card whose profile this process has switched off, and its state before.
  struct Profile {
    std::uint32_t card = 0;
    std::uint32_t profile = 0;
    PipeWireCard before;  ///< kept as a copy: the server reuses the number of a card that is gone
  };

  const DeviceServices services_;
  const DeviceView& view_;
  DeviceCatalogue& catalogue_;
  DeviceNotifications& notifications_;
  std::map<const PipeWireDevice*, Profile> switchedOff_;
};

}  // namespace tolvane
