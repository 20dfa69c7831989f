#pragma once
// The channel map of a PCM: what the driver says of its channels' loudspeakers, and asking it for the source's. Main
// thread, with the PCM set up; the translation of positions is pure. A driver that says nothing leaves them unknown.

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

/// The map to ask the driver for, by what it offers for this source's channels: the source's own order where it may be
/// chosen, else the first that has a channel for every one of the source's. Empty: none of them has.
[[nodiscard]] std::vector<unsigned> chooseAlsaMap(const ChannelLayout& source, std::span<const AlsaMapOffer> offers);

/// The positions of the PCM's channels. Where its map does not suit the source and the driver offers one that does,
/// that one is set. REQUIRES: the PCM is prepared with so many channels.
[[nodiscard]] ChannelLayout settleChannelMap(snd_pcm_t* pcm, const ChannelLayout& source, std::uint32_t channels);

/// The positions of a playback substream that any process has set up with so many channels, by the card's control: the
/// PCM is not opened. Nothing where the driver states none. May wait for the driver.
[[nodiscard]] std::optional<ChannelLayout> readChannelMap(int card, unsigned device, unsigned substream,
                                                          std::uint32_t channels);

}  // namespace tolvane
