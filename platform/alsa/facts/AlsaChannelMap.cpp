#include "platform/alsa/facts/AlsaChannelMap.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "platform/conversion/ChannelPlacement.h"

namespace tolvane {
namespace {

using enum ChannelPosition;

constexpr std::uint32_t mostMappedChannels = 128;  // what the value of a control holds

/// Every channel of the source has a place that both sides name.
bool suits(const ChannelLayout& source, const ChannelLayout& device) {
  const ChannelPlacement placement = placeChannels(source, device);
  return placement.unplaced.empty() && placement.isCertain;
}

ChannelLayout readMap(snd_pcm_t* pcm, std::uint32_t channels) {
  const std::unique_ptr<snd_pcm_chmap_t, decltype(&std::free)> map(snd_pcm_get_chmap(pcm), &std::free);
  if (!map || map->channels != channels) return unknownLayout(channels);
  return layoutOfAlsaMap(std::span(map->pos, map->channels));
}

std::vector<AlsaMapOffer> readOffers(snd_pcm_t* pcm, std::uint32_t channels) {
  const std::unique_ptr<snd_pcm_chmap_query_t*, decltype(&snd_pcm_free_chmaps)> queries(snd_pcm_query_chmaps(pcm),
                                                                                        &snd_pcm_free_chmaps);
  std::vector<AlsaMapOffer> offers;
  if (!queries) return offers;
  for (snd_pcm_chmap_query_t** query = queries.get(); *query != nullptr; ++query) {
    const snd_pcm_chmap_t& map = (*query)->map;
    if (map.channels != channels) continue;
    offers.push_back({{map.pos, map.pos + map.channels}, (*query)->type == SND_CHMAP_TYPE_VAR});
  }
  return offers;
}

bool setMap(snd_pcm_t* pcm, const std::vector<unsigned>& positions) {
  // The map ends in an array without a length: one number of the library's own, then one for each channel.
  std::vector<unsigned> memory{static_cast<unsigned>(positions.size())};
  memory.insert(memory.end(), positions.begin(), positions.end());
  static_assert(sizeof(snd_pcm_chmap_t) == sizeof(unsigned));
  return snd_pcm_set_chmap(pcm, reinterpret_cast<const snd_pcm_chmap_t*>(memory.data())) >= 0;
}

}  // namespace

ChannelPosition positionOfAlsa(unsigned position) {
  switch (position) {  // with a flag set it is none of these
    case SND_CHMAP_NA:
      return silent;
    case SND_CHMAP_MONO:
      return mono;
    case SND_CHMAP_FL:
      return frontLeft;
    case SND_CHMAP_FR:
      return frontRight;
    case SND_CHMAP_RL:
      return rearLeft;
    case SND_CHMAP_RR:
      return rearRight;
    case SND_CHMAP_FC:
      return frontCentre;
    case SND_CHMAP_LFE:
      return lowFrequency;
    case SND_CHMAP_SL:
      return sideLeft;
    case SND_CHMAP_SR:
      return sideRight;
    case SND_CHMAP_RC:
      return rearCentre;
    case SND_CHMAP_FLC:
      return frontLeftOfCentre;
    case SND_CHMAP_FRC:
      return frontRightOfCentre;
    case SND_CHMAP_RLC:
      return rearLeftOfCentre;
    case SND_CHMAP_RRC:
      return rearRightOfCentre;
    case SND_CHMAP_TC:
      return topCentre;
    case SND_CHMAP_TFL:
      return topFrontLeft;
    case SND_CHMAP_TFC:
      return topFrontCentre;
    case SND_CHMAP_TFR:
      return topFrontRight;
    case SND_CHMAP_TRL:
      return topRearLeft;
    case SND_CHMAP_TRC:
      return topRearCentre;
    case SND_CHMAP_TRR:
      return topRearRight;
    default:
      return unknown;
  }
}

ChannelLayout layoutOfAlsaMap(std::span<const unsigned> positions) {
  std::vector<ChannelPosition> layout;
  std::ranges::transform(positions, std::back_inserter(layout), positionOfAlsa);
  const bool saysNothing = std::ranges::all_of(layout, [](ChannelPosition position) { return position == unknown; });
  if (saysNothing) return unknownLayout(static_cast<std::uint32_t>(layout.size()));
  return statedLayout(std::move(layout));
}

std::vector<unsigned> chooseAlsaMap(const ChannelLayout& source, std::span<const AlsaMapOffer> offers) {
  for (const AlsaMapOffer& offer : offers) {
    const ChannelLayout device = layoutOfAlsaMap(offer.positions);
    if (!suits(source, device)) continue;
    if (!offer.isFree) return offer.positions;
    // In the order of the source's channels, so that nothing needs to be moved.
    const ChannelPlacement placement = placeChannels(source, device);
    std::vector<unsigned> ordered(offer.positions);
    bool isWhole = source.positions.size() == offer.positions.size();
    for (std::size_t d = 0; d < offer.positions.size() && isWhole; ++d) {
      isWhole = placement.sourceOf[d].has_value();
      if (isWhole) ordered[*placement.sourceOf[d]] = offer.positions[d];
    }
    return isWhole ? ordered : offer.positions;
  }
  return {};
}

ChannelLayout settleChannelMap(snd_pcm_t* pcm, const ChannelLayout& source, std::uint32_t channels) {
  const ChannelLayout current = readMap(pcm, channels);
  if (channels <= 2 || suits(source, current)) return current;
  const std::vector<unsigned> wanted = chooseAlsaMap(source, readOffers(pcm, channels));
  if (wanted.empty() || !setMap(pcm, wanted)) return current;
  return readMap(pcm, channels);
}

std::optional<ChannelLayout> readChannelMap(int card, unsigned device, unsigned substream, std::uint32_t channels) {
  if (channels > mostMappedChannels) return std::nullopt;
  snd_ctl_t* opened = nullptr;
  if (snd_ctl_open(&opened, ("hw:" + std::to_string(card)).c_str(), SND_CTL_NONBLOCK) < 0) return std::nullopt;
  const std::unique_ptr<snd_ctl_t, decltype(&snd_ctl_close)> control(opened, &snd_ctl_close);
  snd_ctl_elem_value_t* allocated = nullptr;
  if (snd_ctl_elem_value_malloc(&allocated) < 0) return std::nullopt;
  const std::unique_ptr<snd_ctl_elem_value_t, decltype(&snd_ctl_elem_value_free)> value(allocated,
                                                                                        &snd_ctl_elem_value_free);
  snd_ctl_elem_value_set_interface(allocated, SND_CTL_ELEM_IFACE_PCM);
  snd_ctl_elem_value_set_name(allocated, "Playback Channel Map");
  snd_ctl_elem_value_set_device(allocated, device);
  snd_ctl_elem_value_set_index(allocated, substream);
  if (snd_ctl_elem_read(opened, allocated) < 0) return std::nullopt;
  std::vector<unsigned> positions;
  for (std::uint32_t i = 0; i < channels; ++i)
    positions.push_back(static_cast<unsigned>(snd_ctl_elem_value_get_integer(allocated, i)));
  if (std::ranges::all_of(positions, [](unsigned each) { return positionOfAlsa(each) == unknown; }))
    return std::nullopt;
  return layoutOfAlsaMap(positions);
}

}  // namespace tolvane
