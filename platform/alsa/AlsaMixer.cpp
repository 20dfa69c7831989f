#include "platform/alsa/AlsaMixer.h"

#include <alsa/asoundlib.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

namespace tolvane {
namespace {

/// Stages that follow one another; of those that stand side by side, such as speakers and headphones, people hear one.
constexpr std::array<std::string_view, 3> stages{"Master", "PCM", "Digital"};
constexpr std::array<std::string_view, 4> inputs{"Mic", "Line", "Capture", "Sidetone"};

std::optional<double> quietestChannel(snd_mixer_elem_t* element) {
  std::optional<double> quietest;
  for (int channel = 0; channel <= SND_MIXER_SCHN_LAST; ++channel) {
    const auto id = static_cast<snd_mixer_selem_channel_id_t>(channel);
    long hundredths = 0;
    if (snd_mixer_selem_has_playback_channel(element, id) == 0 ||
        snd_mixer_selem_get_playback_dB(element, id, &hundredths) < 0) {
      continue;
    }
    const double decibels = static_cast<double>(hundredths) / 100;
    quietest = quietest ? std::min(*quietest, decibels) : decibels;
  }
  return quietest;
}

}  // namespace

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
    if (snd_mixer_selem_is_active(element) == 0 || snd_mixer_selem_has_playback_volume(element) == 0) continue;
    if (const auto decibels = quietestChannel(element)) {
      controls.push_back({snd_mixer_selem_get_name(element), *decibels});
    }
  }
  return controls;
}

std::optional<double> hardwareVolume(const std::vector<AlsaVolumeControl>& controls, bool isUsb) {
  std::optional<double> sum;
  for (const AlsaVolumeControl& control : controls) {
    const bool isStage = std::ranges::find(stages, control.name) != stages.end();
    const bool isInput = std::ranges::any_of(
        inputs, [&](std::string_view input) { return control.name.find(input) != std::string::npos; });
    if (isStage || (isUsb && !isInput)) sum = sum.value_or(0) + control.decibels;
  }
  return sum;
}

}  // namespace tolvane
