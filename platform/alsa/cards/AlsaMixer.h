#pragma once
// The volume that a card's own hardware applies behind its PCM. Player's thread; reads, and never sets anything. It is
// the device's matter: told to people, not judged.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tolvane {

/// One playback control of a card's mixer.
struct AlsaVolumeControl {
  std::string name;     ///< "Master"
  double decibels = 0;  ///< of its quietest channel; minus infinity: muted
};

/// What one channel of a control does to the level, by its volume in hundredths of a decibel and its switch. Nothing:
/// it does not tell. Minus infinity: muted.
[[nodiscard]] std::optional<double> channelDecibels(std::optional<long> hundredths, bool isOn);

/// The playback controls that tell decibels, or mute; empty for a card that has none, or that has gone.
[[nodiscard]] std::vector<AlsaVolumeControl> readVolumeControls(int card);

/// What the controls on the way of music add up to, minus infinity while one mutes; nothing where there is none. A USB
/// card's controls are all on that way but those that let its inputs be heard; of other cards only the usual ones are
/// known to be.
[[nodiscard]] std::optional<double> hardwareVolume(const std::vector<AlsaVolumeControl>& controls, bool isUsb);

}  // namespace tolvane
