#include "platform/pipewire/facts/NodeProps.h"

#include <fmt/format.h>
#include <spa/param/props.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace tolvane {
namespace {

using enum SampleAlteration::Kind;

/// By number, because the newer ones have no name in older headers.
constexpr std::array harmlessProperties{
    std::uint32_t{SPA_PROP_device},
    std::uint32_t{SPA_PROP_deviceName},
    std::uint32_t{SPA_PROP_deviceFd},
    std::uint32_t{SPA_PROP_card},
    std::uint32_t{SPA_PROP_cardName},
    std::uint32_t{SPA_PROP_minLatency},
    std::uint32_t{SPA_PROP_maxLatency},
    std::uint32_t{SPA_PROP_periods},
    std::uint32_t{SPA_PROP_periodSize},
    std::uint32_t{SPA_PROP_periodEvent},
    std::uint32_t{SPA_PROP_live},
    std::uint32_t{SPA_PROP_quality},  // of a resampler: one that runs is found by its rates
    std::uint32_t{SPA_PROP_bluetoothAudioCodec},
    std::uint32_t{SPA_PROP_bluetoothOffloadActive},
    std::uint32_t{SPA_PROP_volumeBase},
    std::uint32_t{SPA_PROP_volumeStep},  // the scale of a mixer's control
    std::uint32_t{SPA_PROP_channelMap},  // of the volumes; where the channels go is found by the links
    std::uint32_t{SPA_PROP_monitorMute},
    std::uint32_t{SPA_PROP_monitorVolumes},  // of a copy for recording
    std::uint32_t{SPA_PROP_latencyOffsetNsec},
    std::uint32_t{SPA_PROP_iec958Codecs}};

// Settings that leave samples as they are whatever their value is, as long as nothing is mixed or resampled; where that
// happens it is found by formats, links and rates, and is an alteration of its own.

/// Of the converter in front of a sink or behind a stream.
constexpr std::array<std::string_view, 28> harmlessConverterSettings{
    "monitor.channel-volumes",  // levels of a copy for recording
    "channelmix.disable",       // also ends the levels
    "channelmix.lock-volumes",  // the levels that are reported stay
    // How channels are mixed. From a layout to the same one each channel is taken once, at 1.
    "channelmix.normalize", "channelmix.mix-lfe", "channelmix.upmix", "channelmix.upmix-method",
    "channelmix.lfe-cutoff", "channelmix.fc-cutoff", "channelmix.rear-delay", "channelmix.stereo-widen",
    "channelmix.hilbert-taps", "channelmix.center-level", "channelmix.surround-level", "channelmix.lfe-level",
    // How rates are converted. At equal rates the converter has no resampler.
    "resample.disable", "resample.quality", "resample.peaks", "resample.prefill", "resample.window", "resample.cutoff",
    "resample.n-taps", "resample.param.exp.A", "resample.param.blackman.alpha", "resample.param.kaiser.alpha",
    "resample.param.kaiser.stopband-attenuation",
    "audioconvert.filter-graph.disable",  // forbids changes of the graph, and leaves it as it is
    "debug.wav-path"};                    // a copy for debugging

/// Of the sink's own part, which hands the samples to the card: what it asks the card for, and when.
constexpr std::array<std::string_view, 22> harmlessSinkSettings{"audio.channels",
                                                                "audio.rate",
                                                                "audio.format",
                                                                "audio.position",
                                                                "audio.layout",
                                                                "audio.allowed-rates",
                                                                "api.alsa.period-size",
                                                                "api.alsa.period-num",
                                                                "api.alsa.headroom",
                                                                "api.alsa.start-delay",
                                                                "api.alsa.disable-mmap",
                                                                "api.alsa.disable-batch",
                                                                "api.alsa.disable-tsched",
                                                                "api.alsa.use-chmap",
                                                                "api.alsa.multi-rate",
                                                                "api.alsa.htimestamp",
                                                                "api.alsa.htimestamp.max-errors",
                                                                "api.alsa.auto-link",
                                                                "latency.internal.rate",
                                                                "latency.internal.ns",
                                                                "clock.name",
                                                                "iec958.codecs"};

constexpr Cure withoutServer = "Turn on Exclusive Access to play without the sound server."_cure;

std::optional<double> numberIn(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

SampleAlteration unreadable(std::string_view name, std::string_view value, const BilingualText& whose) {
  return {
      unknown,
      bilingual("The sound server has a setting for {} that the player cannot read: {} is \"{}\".", whose, name, value),
      "Remove the setting."_cure};
}

/// "channelmix.min-volume" and "channelmix.max-volume": limits of the factor, which are not in the volumes.
std::optional<SampleAlteration> limitAlteration(std::string_view name, std::string_view value,
                                                const BilingualText& whose) {
  const bool isMinimum = name == "channelmix.min-volume";
  const auto limit = numberIn(value);
  if (!limit || !(*limit >= 0)) return unreadable(name, value, whose);
  if (isMinimum ? *limit <= 1 : *limit >= 1) return std::nullopt;
  return SampleAlteration(
      processed,
      isMinimum ? bilingual("The sound server keeps the level of {} above {} ({}), so samples are altered.", whose,
                            value, name)
                : bilingual("The sound server keeps the level of {} below {} ({}), so samples are altered.", whose,
                            value, name),
      isMinimum ? "Set channelmix.min-volume to 0."_cure : "Set channelmix.max-volume to 1 or more."_cure);
}

std::optional<SampleAlteration> ditherAlteration(std::string_view name, std::string_view value,
                                                 const BilingualText& whose) {
  const bool isNoise = name == "dither.noise";
  if (value == (isNoise ? "0" : "none")) return std::nullopt;
  return SampleAlteration(processed,
                          bilingual("The sound server dithers the samples of {} ({} is {}).", whose, name, value),
                          isNoise ? "Set dither.noise to 0."_cure : "Set dither.method to none."_cure);
}

std::optional<SampleAlteration> filterAlteration(const BilingualText& name, std::string_view value,
                                                 const BilingualText& whose) {
  if (value.empty()) return std::nullopt;
  return SampleAlteration(processed, bilingual("The sound server filters the samples of {} ({}).", whose, name),
                          "Remove the filter from its settings."_cure);
}

bool isHarmless(std::string_view name) {
  return std::ranges::find(harmlessConverterSettings, name) != harmlessConverterSettings.end() ||
         std::ranges::find(harmlessSinkSettings, name) != harmlessSinkSettings.end();
}

/// Of a setting that does something, or may: nothing where its value is neutral. `isKnown`: false for a name that the
/// player has never heard of.
std::optional<SampleAlteration> alterationBy(std::string_view name, std::string_view value, const BilingualText& whose,
                                             bool& isKnown) {
  isKnown = true;
  if (isHarmless(name)) return std::nullopt;
  if (name == "channelmix.min-volume" || name == "channelmix.max-volume") return limitAlteration(name, value, whose);
  if (name == "dither.noise" || name == "dither.method") return ditherAlteration(name, value, whose);
  if (isFilterSetting(name)) return filterAlteration(BilingualText(name), value, whose);
  isKnown = false;
  return std::nullopt;
}

/// The first three by name, and how many more there are.
BilingualText listed(const std::vector<std::string>& names) {
  constexpr std::size_t mostNames = 3;
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), mostNames); ++i)
    list += fmt::format("{}{}", i == 0 ? "" : ", ", names[i]);
  return names.size() > mostNames ? bilingual("{} and {} more", list, names.size() - mostNames) : BilingualText(list);
}

/// One sentence for all of them.
SampleAlteration unknownSettings(const std::vector<std::string>& names, const BilingualText& whose) {
  return {unknown,
          bilingualPlural("The sound server has a setting for {} that the player does not know: {}.",
                          "The sound server has settings for {} that the player does not know: {}.", names.size(),
                          whose, listed(names)),
          withoutServer};
}

}  // namespace

bool altersNothing(std::uint32_t propertyKey) {
  return std::ranges::find(harmlessProperties, propertyKey) != harmlessProperties.end();
}

bool isFilterSetting(std::string_view name) {
  constexpr std::string_view graph = "audioconvert.filter-graph";
  if (!name.starts_with(graph) || name == "audioconvert.filter-graph.disable") return false;
  return name.size() == graph.size() || name[graph.size()] == '.';
}

bool isFilterControl(std::string_view name) { return name.find(':') != std::string_view::npos; }

std::vector<SampleAlteration> settingAlterations(const NodeProps& props, const BilingualText& whose) {
  std::vector<SampleAlteration> found;
  if (!props.isReadable)
    found.push_back(
        {unknown, bilingual("The sound server's report of the settings of {} cannot be read.", whose), withoutServer});
  else if (props.settings.empty())
    found.push_back({unknown, bilingual("The sound server does not report the settings of {}.", whose), withoutServer});
  if (props.rate != 1)
    found.push_back(
        {converted,
         bilingual("The sound server plays {} at {:.6g} times its speed, so it resamples.", whose, props.rate),
         withoutServer});
  std::vector<std::string> unknownNames;
  std::vector<std::string> controls;
  bool isFiltered = false;
  for (const auto& [name, value] : props.settings) {
    bool isKnown = true;
    if (auto alteration = alterationBy(name, value, whose, isKnown)) {
      isFiltered = isFiltered || (isFilterSetting(name) && alteration->kind == processed);
      found.push_back(*std::move(alteration));
    }
    if (!isKnown) (isFilterControl(name) ? controls : unknownNames).push_back(name);
  }
  if (!controls.empty() && !isFiltered) {
    isFiltered = true;
    found.push_back(*filterAlteration(listed(controls), "shown by its controls", whose));
  }
  for (const std::uint32_t key : props.unknownKeys) unknownNames.push_back(fmt::format("property {:#x}", key));
  // A filter reports its own knobs among the settings: the filter is the reason.
  if (!unknownNames.empty() && !isFiltered) found.push_back(unknownSettings(unknownNames, whose));
  return found;
}

}  // namespace tolvane
