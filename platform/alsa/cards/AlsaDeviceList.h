#pragma once
// The playback devices and their names for users and programs. Reading a card queries alsa-lib and /sys, and may hang
// in the card's driver: any thread. The rest is for the player's thread; making a list from facts is pure. Opens no
// PCM.

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/alsa/facts/AlsaProc.h"

namespace tolvane {

/// What the system reports about one card and its playback PCMs.
struct AlsaCardFacts {
  struct Pcm {
    unsigned device = 0;
    std::string id;    ///< "HDMI 0"
    std::string name;  ///< "ALC892 Analog"
  };
  int index = 0;
  std::string id;        ///< "PCH"
  std::string driver;    ///< "HDA-Intel"
  std::string name;      ///< "HDA Intel PCH"
  std::string longName;  ///< "HDA Intel PCH at 0xf7f10000 irq 31"
  std::string idLink;    ///< its name in by-id; empty without one; may since belong to another card
  std::string pathLink;  ///< its name in by-path
  std::string bus;       ///< "usb", "pci", "firewire", "platform"
  std::string busPlace;  ///< "0000:00:1b.0"
  std::string busClass;  ///< "0x040300"
  std::vector<Pcm> pcms;
  bool isReadable = true;  ///< false: it exists, but only its index is known
};

/// One playback device.
struct AlsaDeviceInfo {
  std::string uid;   ///< the same after a restart and after it has been plugged in again
  std::string name;  ///< unique within a list
  std::uint32_t transport = 0;
  int card = 0;
  unsigned device = 0;
  std::string cardId;  ///< the kernel's id

  bool operator==(const AlsaDeviceInfo&) const = default;
};

/// Nothing: there is no such card. A card that exists but cannot be opened, for lack of a descriptor or of permission,
/// is not readable.
[[nodiscard]] std::optional<AlsaCardFacts> readCardFacts(const AlsaPaths& paths, int card);

/// The facts of the cards that have a control node, and of the `known` ones, as returned by `read`. A card that is not
/// readable is skipped unless it is known.
[[nodiscard]] std::vector<AlsaCardFacts> collectCardFacts(
    const AlsaPaths& paths, const std::set<int>& known,
    const std::function<std::optional<AlsaCardFacts>(int card)>& read);

/// `known` are the devices that have not been removed since the last list: those that still exist keep their uid and
/// name, so that plugging one device in or out makes no other a new one. Those of a card that cannot be read still
/// exist.
[[nodiscard]] std::vector<AlsaDeviceInfo> listDevices(const std::vector<AlsaCardFacts>& cards,
                                                      std::span<const AlsaDeviceInfo> known);

/// The default device if the user has chosen none: hardware before HDMI before virtual cards.
[[nodiscard]] const AlsaDeviceInfo* defaultDevice(std::span<const AlsaDeviceInfo> devices);

/// A card's name without the driver's details: "… at 0xf7f10000 irq 31", "… at usb-0000:00:14.0-2, high speed".
[[nodiscard]] std::string_view withoutPlace(std::string_view longName);

}  // namespace tolvane
