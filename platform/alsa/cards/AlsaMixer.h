#pragma once
// The volume that a card's own hardware applies behind its PCM. Player's thread; reads, and never sets anything. It is
// shown to the user but not judged.

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

/// The gain of one channel of a control, from its volume in hundredths of a decibel and its switch. Nothing: not
/// reported. Minus infinity: muted.
[[nodiscard]] std::optional<double> channelDecibels(std::optional<long> hundredths, bool isOn);

/// The playback controls that report decibels, or mute; empty for a card that has none, or that is gone.
[[nodiscard]] std::vector<AlsaVolumeControl> readVolumeControls(int card);

/// The total gain of the controls on the path of music, minus infinity while one mutes; nothing if there is none. On a
/// USB card all controls are on that path, except those that monitor its inputs; on other cards only the usual ones are
/// known to be.
[[nodiscard]] std::optional<double> hardwareVolume(const std::vector<AlsaVolumeControl>& controls, bool isUsb);

}  // namespace tolvane
