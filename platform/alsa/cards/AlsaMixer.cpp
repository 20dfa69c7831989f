#include "platform/alsa/cards/AlsaMixer.h"

#include <alsa/asoundlib.h>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <string_view>

namespace tolvane {
namespace {

/// Stages in series; of parallel ones, such as speakers and headphones, only one is heard.
constexpr std::array<std::string_view, 3> stages{"Master", "PCM", "Digital"};
constexpr std::array<std::string_view, 4> inputs{"Mic", "Line", "Capture", "Sidetone"};

constexpr double muted = -std::numeric_limits<double>::infinity();

bool isStage(std::string_view name) { return std::ranges::find(stages, name) != stages.end(); }

std::optional<double> quietestChannel(snd_mixer_elem_t* element) {
  const bool hasVolume = snd_mixer_selem_has_playback_volume(element) != 0;
  const bool hasSwitch = snd_mixer_selem_has_playback_switch(element) != 0;
  std::optional<double> quietest;
  for (int channel = 0; channel <= SND_MIXER_SCHN_LAST; ++channel) {
    const auto id = static_cast<snd_mixer_selem_channel_id_t>(channel);
    if (snd_mixer_selem_has_playback_channel(element, id) == 0) continue;
    long hundredths = 0;
    const bool hasDecibels = hasVolume && snd_mixer_selem_get_playback_dB(element, id, &hundredths) >= 0;
    int isOn = 1;
    if (hasSwitch && snd_mixer_selem_get_playback_switch(element, id, &isOn) < 0) isOn = 1;
    const auto decibels = channelDecibels(hasDecibels ? std::optional(hundredths) : std::nullopt, isOn != 0);
    if (decibels) quietest = std::min(quietest.value_or(*decibels), *decibels);
  }
  return quietest;
}

}  // namespace

std::optional<double> channelDecibels(std::optional<long> hundredths, bool isOn) {
  if (!isOn || (hundredths && *hundredths <= SND_CTL_TLV_DB_GAIN_MUTE)) return muted;
  if (!hundredths) return std::nullopt;
  return static_cast<double>(*hundredths) / 100;
}

std::vector<AlsaVolumeControl> readVolumeControls(int card) {
  snd_mixer_t* opened = nullptr;
  if (snd_mixer_open(&opened, 0) < 0) return {};
  const std::unique_ptr<snd_mixer_t, decltype(&snd_mixer_close)> mixer(opened, &snd_mixer_close);
  if (snd_mixer_attach(opened, ("hw:" + std::to_string(card)).c_str()) < 0 ||
      snd_mixer_selem_register(opened, nullptr, nullptr) < 0 || snd_mixer_load(opened) < 0) {
    return {};
  }
  std::vector<AlsaVolumeControl> controls;
  for (auto* element = snd_mixer_first_elem(opened); element != nullptr; element = snd_mixer_elem_next(element)) {
    const std::string name = snd_mixer_selem_get_name(element);
    // A switch without a volume may turn on anything, so only known names count.
    if (snd_mixer_selem_is_active(element) == 0) continue;
    if (snd_mixer_selem_has_playback_volume(element) == 0 && !isStage(name)) continue;
    if (const auto decibels = quietestChannel(element)) controls.push_back({name, *decibels});
  }
  return controls;
}

std::optional<double> hardwareVolume(const std::vector<AlsaVolumeControl>& controls, bool isUsb) {
  std::optional<double> sum;
  for (const AlsaVolumeControl& control : controls) {
    const bool isInput = std::ranges::any_of(
        inputs, [&](std::string_view input) { return control.name.find(input) != std::string::npos; });
    if (isStage(control.name) || (isUsb && !isInput)) sum = sum.value_or(0) + control.decibels;
  }
  return sum;
}

}  // namespace tolvane
