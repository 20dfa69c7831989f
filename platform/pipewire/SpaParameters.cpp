#include "platform/pipewire/SpaParameters.h"

#include <spa/param/audio/format-utils.h>
#include <spa/param/param.h>
#include <spa/param/profile.h>
#include <spa/param/props.h>
#include <spa/pod/builder.h>
#include <spa/pod/iter.h>
#include <spa/pod/parser.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace tolvane {
namespace {

bool isObject(const spa_pod* pod, std::uint32_t type) { return pod != nullptr && spa_pod_is_object_type(pod, type); }

const spa_pod* valueOf(const spa_pod* object, std::uint32_t key) {
  const spa_pod_prop* property = spa_pod_find_prop(object, nullptr, key);
  return property != nullptr ? &property->value : nullptr;
}

bool isPcm(const spa_pod* pod) {
  if (!isObject(pod, SPA_TYPE_OBJECT_Format)) return false;
  std::uint32_t type = 0;
  std::uint32_t subtype = 0;
  return spa_format_parse(pod, &type, &subtype) >= 0 && type == SPA_MEDIA_TYPE_audio &&
         subtype == SPA_MEDIA_SUBTYPE_raw;
}

/// The numbers of a plain value or of a choice, the preferred one first.
struct Numbers {
  std::uint32_t kind = SPA_CHOICE_None;
  std::vector<std::int32_t> values;
};

Numbers numbersOf(const spa_pod* value) {
  Numbers numbers;
  std::uint32_t count = 0;
  const spa_pod* first = spa_pod_get_values(value, &count, &numbers.kind);
  if (first == nullptr || SPA_POD_TYPE(first) != SPA_TYPE_Int || SPA_POD_BODY_SIZE(first) != sizeof(std::int32_t))
    return numbers;
  const auto* at = static_cast<const std::int32_t*>(SPA_POD_BODY_CONST(first));
  numbers.values.assign(at, at + count);
  return numbers;
}

std::vector<AudioValueRange> rangesOf(const Numbers& numbers) {
  const auto& values = numbers.values;
  if (values.empty()) return {};
  if (numbers.kind == SPA_CHOICE_None) return {{double(values[0]), double(values[0])}};
  if (numbers.kind == SPA_CHOICE_Range || numbers.kind == SPA_CHOICE_Step) {
    if (values.size() < 3 || values[1] > values[2]) return {};
    return {{double(values[1]), double(values[2])}};
  }
  if (numbers.kind != SPA_CHOICE_Enum) return {};
  std::vector<AudioValueRange> ranges;
  for (std::size_t i = 1; i < values.size(); ++i) ranges.push_back({double(values[i]), double(values[i])});
  std::ranges::sort(ranges, {}, &AudioValueRange::mMinimum);
  ranges.erase(std::ranges::unique(ranges).begin(), ranges.end());
  return ranges;
}

void readBool(const spa_pod* props, std::uint32_t key, bool& target) {
  bool told = false;
  if (const spa_pod* value = valueOf(props, key); value != nullptr && spa_pod_get_bool(value, &told) >= 0)
    target = told;
}

void readVolumes(const spa_pod* props, std::uint32_t key, std::vector<float>& target) {
  const spa_pod* value = valueOf(props, key);
  if (value == nullptr) return;
  std::array<float, SPA_AUDIO_MAX_CHANNELS> volumes{};
  const std::uint32_t count = spa_pod_copy_array(value, SPA_TYPE_Float, volumes.data(), volumes.size());
  target.assign(volumes.begin(), volumes.begin() + count);
}

/// From a list of names, each with its value behind it. A list that has none of the two tells nothing.
void readDither(const spa_pod* list, bool& isDithered) {
  if (list == nullptr || !spa_pod_is_struct(list)) return;
  bool isTold = false;
  bool isOn = false;
  const void* body = SPA_POD_BODY_CONST(list);
  const std::uint32_t size = SPA_POD_BODY_SIZE(list);
  const auto next = [](const spa_pod* item) { return static_cast<const spa_pod*>(spa_pod_next(item)); };
  for (auto* name = static_cast<const spa_pod*>(body); spa_pod_is_inside(body, size, name);) {
    const spa_pod* value = next(name);
    if (!spa_pod_is_inside(body, size, value)) break;
    const char* text = nullptr;
    const std::string_view key = spa_pod_get_string(name, &text) >= 0 ? text : "";
    if (key == "dither.noise") {
      std::int32_t bits = 0;
      isTold = true;
      isOn = isOn || spa_pod_get_int(value, &bits) < 0 || bits != 0;
    } else if (key == "dither.method") {
      isTold = true;
      isOn = isOn || spa_pod_get_string(value, &text) < 0 || std::string_view(text) != "none";
    }
    name = next(value);
  }
  if (isTold) isDithered = isOn;
}

}  // namespace

std::optional<PipeWireFormat> parseFormat(const spa_pod* pod) {
  if (!isPcm(pod)) return std::nullopt;
  spa_audio_info_raw info{};
  if (spa_format_audio_raw_parse(pod, &info) < 0 || info.rate == 0 || info.channels == 0) return std::nullopt;
  PipeWireFormat format{double(info.rate), info.channels, {}};
  if ((info.flags & SPA_AUDIO_FLAG_UNPOSITIONED) == 0 && info.channels <= SPA_AUDIO_MAX_CHANNELS)
    format.positions.assign(info.position, info.position + info.channels);
  return format;
}

std::optional<PipeWireFormatChoice> parseFormatChoice(const spa_pod* pod) {
  if (!isPcm(pod)) return std::nullopt;
  PipeWireFormatChoice choice;
  if (const spa_pod* rate = valueOf(pod, SPA_FORMAT_AUDIO_rate)) choice.rates = rangesOf(numbersOf(rate));
  if (const spa_pod* channels = valueOf(pod, SPA_FORMAT_AUDIO_channels)) {
    for (const std::int32_t count : numbersOf(channels).values)
      choice.maximumChannels = std::max(choice.maximumChannels, static_cast<std::uint32_t>(std::max(count, 0)));
  }
  return choice;
}

void applyProps(const spa_pod* pod, PipeWireSink& sink) {
  if (!isObject(pod, SPA_TYPE_OBJECT_Props)) return;
  readBool(pod, SPA_PROP_mute, sink.isMuted);
  readBool(pod, SPA_PROP_softMute, sink.isSoftMuted);
  float volume = 1;
  if (const spa_pod* value = valueOf(pod, SPA_PROP_volume); value != nullptr && spa_pod_get_float(value, &volume) >= 0)
    sink.volume = volume;
  readVolumes(pod, SPA_PROP_channelVolumes, sink.volumes);
  readVolumes(pod, SPA_PROP_softVolumes, sink.softVolumes);
  readDither(valueOf(pod, SPA_PROP_params), sink.isDithered);
}

std::optional<PipeWireProfile> parseProfile(const spa_pod* pod) {
  if (!isObject(pod, SPA_TYPE_OBJECT_ParamProfile)) return std::nullopt;
  std::int32_t index = -1;
  const char* name = nullptr;
  const spa_pod* indexPod = valueOf(pod, SPA_PARAM_PROFILE_index);
  if (indexPod == nullptr || spa_pod_get_int(indexPod, &index) < 0 || index < 0) return std::nullopt;
  if (const spa_pod* value = valueOf(pod, SPA_PARAM_PROFILE_name)) spa_pod_get_string(value, &name);
  return PipeWireProfile{static_cast<std::uint32_t>(index), name != nullptr ? name : ""};
}

SpaPodBuffer streamFormatPod(std::uint32_t rate, const std::vector<std::uint32_t>& positions) {
  SpaPodBuffer buffer;
  spa_pod_builder builder{};
  spa_pod_builder_init(&builder, buffer.memory_.data(), static_cast<std::uint32_t>(buffer.memory_.size()));
  spa_audio_info_raw info{};
  info.format = SPA_AUDIO_FORMAT_F32_LE;
  info.rate = rate;
  info.channels = static_cast<std::uint32_t>(positions.size());
  std::ranges::copy(positions, info.position);
  buffer.pod_ = spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info);
  return buffer;
}

SpaPodBuffer profilePod(std::uint32_t index) {
  SpaPodBuffer buffer;
  spa_pod_builder builder{};
  spa_pod_builder_init(&builder, buffer.memory_.data(), static_cast<std::uint32_t>(buffer.memory_.size()));
  spa_pod_frame frame{};
  spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_ParamProfile, SPA_PARAM_Profile);
  spa_pod_builder_prop(&builder, SPA_PARAM_PROFILE_index, 0);
  spa_pod_builder_int(&builder, static_cast<std::int32_t>(index));
  spa_pod_builder_prop(&builder, SPA_PARAM_PROFILE_save, 0);
  spa_pod_builder_bool(&builder, false);
  buffer.pod_ = static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
  return buffer;
}

std::vector<std::uint32_t> positionsOf(std::uint32_t channels) {
  using Positions = std::vector<std::uint32_t>;
  switch (channels) {
    case 1:
      return {SPA_AUDIO_CHANNEL_MONO};
    case 2:
      return {SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR};
    case 3:
      return {SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR, SPA_AUDIO_CHANNEL_FC};
    case 4:
      return {SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR, SPA_AUDIO_CHANNEL_RL, SPA_AUDIO_CHANNEL_RR};
    case 5:
      return {SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR, SPA_AUDIO_CHANNEL_FC, SPA_AUDIO_CHANNEL_RL,
              SPA_AUDIO_CHANNEL_RR};
    case 6:
      return {SPA_AUDIO_CHANNEL_FL,  SPA_AUDIO_CHANNEL_FR, SPA_AUDIO_CHANNEL_FC,
              SPA_AUDIO_CHANNEL_LFE, SPA_AUDIO_CHANNEL_RL, SPA_AUDIO_CHANNEL_RR};
    case 7:
      return {SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR, SPA_AUDIO_CHANNEL_FC, SPA_AUDIO_CHANNEL_LFE,
              SPA_AUDIO_CHANNEL_RC, SPA_AUDIO_CHANNEL_SL, SPA_AUDIO_CHANNEL_SR};
    case 8:
      return {SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR, SPA_AUDIO_CHANNEL_FC, SPA_AUDIO_CHANNEL_LFE,
              SPA_AUDIO_CHANNEL_RL, SPA_AUDIO_CHANNEL_RR, SPA_AUDIO_CHANNEL_SL, SPA_AUDIO_CHANNEL_SR};
    default:
      break;
  }
  if (channels == 0 || channels > SPA_AUDIO_MAX_CHANNELS) return {};
  Positions positions;
  for (std::uint32_t i = 0; i < channels; ++i) positions.push_back(SPA_AUDIO_CHANNEL_AUX0 + i);
  return positions;
}

}  // namespace tolvane
