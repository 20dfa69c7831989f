#include "platform/pipewire/facts/ChannelNumbers.h"

#include <fmt/format.h>
#include <spa/param/audio/raw.h>
#include <spa/param/audio/type-info.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace tolvane {
namespace {

/// In the order of ChannelPosition.
constexpr std::array<std::uint32_t, 21> speakers{
    SPA_AUDIO_CHANNEL_FL,  SPA_AUDIO_CHANNEL_FR,  SPA_AUDIO_CHANNEL_FC,  SPA_AUDIO_CHANNEL_LFE, SPA_AUDIO_CHANNEL_RL,
    SPA_AUDIO_CHANNEL_RR,  SPA_AUDIO_CHANNEL_FLC, SPA_AUDIO_CHANNEL_FRC, SPA_AUDIO_CHANNEL_RC,  SPA_AUDIO_CHANNEL_SL,
    SPA_AUDIO_CHANNEL_SR,  SPA_AUDIO_CHANNEL_TC,  SPA_AUDIO_CHANNEL_TFL, SPA_AUDIO_CHANNEL_TFC, SPA_AUDIO_CHANNEL_TFR,
    SPA_AUDIO_CHANNEL_TRL, SPA_AUDIO_CHANNEL_TRC, SPA_AUDIO_CHANNEL_TRR, SPA_AUDIO_CHANNEL_RLC, SPA_AUDIO_CHANNEL_RRC,
    SPA_AUDIO_CHANNEL_MONO};

}  // namespace

std::string channelName(std::uint32_t position) {
  if (position >= SPA_AUDIO_CHANNEL_START_Aux && position <= SPA_AUDIO_CHANNEL_LAST_Aux)
    return fmt::format("AUX{}", position - SPA_AUDIO_CHANNEL_START_Aux);
  for (const spa_type_info* info = spa_type_audio_channel; info->name != nullptr; ++info) {
    if (info->type != position) continue;
    const std::string_view name = info->name;
    return std::string(name.substr(name.rfind(':') + 1));
  }
  return fmt::format("channel {}", position);
}

std::vector<std::uint32_t> positionsOf(const ChannelLayout& channels) {
  if (channels.positions.size() > SPA_AUDIO_MAX_CHANNELS) return {};
  std::vector<std::uint32_t> positions;
  std::uint32_t auxiliary = SPA_AUDIO_CHANNEL_AUX0;
  for (const ChannelPosition position : channels.positions) {
    const auto index = static_cast<std::size_t>(position);
    positions.push_back(index < speakers.size() ? speakers[index] : auxiliary++);
  }
  return positions;
}

ChannelLayout layoutOf(const std::vector<std::uint32_t>& positions) {
  std::vector<ChannelPosition> layout;
  for (const std::uint32_t position : positions) {
    const auto found = std::ranges::find(speakers, position);
    layout.push_back(found != speakers.end() ? static_cast<ChannelPosition>(found - speakers.begin())
                                             : ChannelPosition::unknown);
  }
  return {std::move(layout)};
}

std::vector<std::uint32_t> namedAsBy(const std::vector<std::uint32_t>& sink, std::vector<std::uint32_t> track) {
  const auto has = [](const std::vector<std::uint32_t>& positions, std::uint32_t left, std::uint32_t right) {
    return std::ranges::any_of(positions, [&](std::uint32_t each) { return each == left || each == right; });
  };
  const bool trackHasRear = has(track, SPA_AUDIO_CHANNEL_RL, SPA_AUDIO_CHANNEL_RR);
  const bool trackHasSide = has(track, SPA_AUDIO_CHANNEL_SL, SPA_AUDIO_CHANNEL_SR);
  const bool sinkHasRear = has(sink, SPA_AUDIO_CHANNEL_RL, SPA_AUDIO_CHANNEL_RR);
  const bool sinkHasSide = has(sink, SPA_AUDIO_CHANNEL_SL, SPA_AUDIO_CHANNEL_SR);
  if (trackHasRear == trackHasSide || sinkHasRear == sinkHasSide || trackHasRear == sinkHasRear) return track;
  for (std::uint32_t& position : track) {
    if (position == SPA_AUDIO_CHANNEL_SL || position == SPA_AUDIO_CHANNEL_RL)
      position = sinkHasRear ? SPA_AUDIO_CHANNEL_RL : SPA_AUDIO_CHANNEL_SL;
    else if (position == SPA_AUDIO_CHANNEL_SR || position == SPA_AUDIO_CHANNEL_RR)
      position = sinkHasRear ? SPA_AUDIO_CHANNEL_RR : SPA_AUDIO_CHANNEL_SR;
  }
  return track;
}

}  // namespace tolvane
