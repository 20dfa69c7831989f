#pragma once
// The channel map of a PCM: reads the speakers that the driver states for its channels, and requests those of the
// source. For calls of the device (AlsaDeviceCalls), with the PCM set up; the translation of positions is pure. Without
// a statement of the driver they are unknown.

#include <alsa/asoundlib.h>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/ChannelLayout.h"

namespace tolvane {

/// The position behind one number of a channel map, flags included; unknown for what has no name here, and for a
/// channel that is played with its phase inverted.
[[nodiscard]] ChannelPosition positionOfAlsa(unsigned position);

/// A map as the driver reports it.
[[nodiscard]] ChannelLayout layoutOfAlsaMap(std::span<const unsigned> positions);

/// One of the maps that a driver offers.
struct AlsaMapOffer {
  std::vector<unsigned> positions;
  bool isFree = false;  ///< the positions may stand in any order
};

/// The map to request from the driver, from those that it offers for this number of channels: the source's own order if
/// it can be chosen, else the first that has a channel for every one of the source's. Empty: there is none.
[[nodiscard]] std::vector<unsigned> chooseAlsaMap(const ChannelLayout& source, std::span<const AlsaMapOffer> offers);

/// The positions of the PCM's channels. If its map does not suit the source and the driver offers one that does, sets
/// that one. REQUIRES: the PCM is prepared with this number of channels.
[[nodiscard]] ChannelLayout settleChannelMap(snd_pcm_t* pcm, const ChannelLayout& source, std::uint32_t channels);

/// The positions of a playback substream that any process has set up with this number of channels, from the card's
/// control, without opening the PCM. Nothing if the driver states none. May wait for the driver.
[[nodiscard]] std::optional<ChannelLayout> readChannelMap(int card, unsigned device, unsigned substream,
                                                          std::uint32_t channels);

}  // namespace tolvane
