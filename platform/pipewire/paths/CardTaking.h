#pragma once
// Takes a card from the server for this process, and gives it back. The card's profile is switched off first: a server
// whose card is only taken gives its sink another name afterwards, and the user's choice of a default sink is lost.
// Player's thread; the waits are bounded, and end when the user wants something else.

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
  /// Gives the server every card back that it would have no other way to get.
  ~CardTaking();
  CardTaking(const CardTaking&) = delete;
  CardTaking& operator=(const CardTaking&) = delete;

  /// Takes the card for this process alone, or gives it back where it has it. A unit that plays moves along.
  [[nodiscard]] OSStatus toggleHog(PipeWireDevice& device);
  /// A unit opens the card.
  void unitTakesCard(PipeWireDevice& device);
  /// Gives the card back to the server when neither a unit nor hog mode has it any more: one that is set up while its
  /// PCM is still open fails, and its sink with it.
  void letGo(PipeWireDevice& device);
  /// The direct side reports another owner of the card.
  void ownerChanged(PipeWireDevice& device);

  /// Returns when the device has a sink, or none is expected any more.
  void waitForSink(const PipeWireDevice& device);
  /// What the card still plays of an earlier unit would be cut off with it, or with a change of its rate.
  void waitUntilHeard(const PipeWireDevice& device);

 private:
  [[nodiscard]] OSStatus take(PipeWireDevice& device);
  void taken(PipeWireDevice& device, const CardBefore& before);
  void notTaken(PipeWireDevice& device, const CardBefore& before);
  [[nodiscard]] OSStatus toggleDirectHogWithin(RunLoop::Duration limit, PipeWireDevice& device);
  [[nodiscard]] OSStatus toggleDirectHog(const PipeWireDevice& device);
  void giveBack(PipeWireDevice& device);
  void switchOff(PipeWireDevice& device);
  void restoreProfile(const PipeWireDevice& device);
  [[nodiscard]] CardBefore cardNow(const PipeWireDevice& device) const;

  /// The server's card whose profile this process has switched off, and what it was before.
  struct Profile {
    std::uint32_t card = 0;
    std::uint32_t profile = 0;
    PipeWireCard before;  ///< the server gives a card's number to another one when it has gone
  };

  const DeviceServices services_;
  const DeviceView& view_;
  DeviceCatalogue& catalogue_;
  DeviceNotifications& notifications_;
  std::map<const PipeWireDevice*, Profile> switchedOff_;
};

}  // namespace tolvane
