#include "platform/pipewire/server/SpaParameters.h"

#include <fmt/format.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/param.h>
#include <spa/param/profile.h>
#include <spa/param/props.h>
#include <spa/pod/builder.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

#include "platform/pipewire/server/PodReader.h"

namespace tolvane {
namespace {

using Object = PodReader::Object;

std::optional<Object> objectIn(const spa_pod* pod, std::uint32_t type) {
  const auto reader = PodReader::of(pod);
  auto object = reader ? reader->asObject() : std::nullopt;
  return object && object->type == type ? object : std::nullopt;
}

/// The one value that the object settles for under the key.
std::optional<PodReader> fixedValue(const Object& object, std::uint32_t key) {
  const auto value = object.find(key);
  return value ? std::optional(value->fixed()) : std::nullopt;
}

bool hasId(const Object& object, std::uint32_t key, std::uint32_t id) {
  const auto value = fixedValue(object, key);
  return value && value->asId() == id;
}

std::optional<Object> pcmIn(const spa_pod* pod) {
  auto object = objectIn(pod, SPA_TYPE_OBJECT_Format);
  const bool isPcm = object && hasId(*object, SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_audio) &&
                     hasId(*object, SPA_FORMAT_mediaSubtype, SPA_MEDIA_SUBTYPE_raw);
  return isPcm ? object : std::nullopt;
}

/// The numbers of a plain value or of a choice, the preferred one first. Empty where one of them is no number.
struct Numbers {
  std::uint32_t kind = SPA_CHOICE_None;
  std::vector<std::int32_t> values;
};

Numbers numbersOf(const PodReader& value) {
  const auto choice = value.asChoice();
  Numbers numbers{choice ? choice->kind : std::uint32_t{SPA_CHOICE_None}, {}};
  for (const PodReader& one : choice ? choice->values : std::vector{value}) {
    const auto number = one.asInt();
    if (!number) return {};
    numbers.values.push_back(*number);
  }
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

// A node reports several lists, and a level may stand in more than one of them. Which one the server applies is not
// known: what alters samples in any of them counts.

/// A factor on the samples or on their speed: the one that is farther from 1.
template <typename Number>
bool takeFactor(const std::optional<Number>& read, Number& target) {
  if (!read || !std::isfinite(*read)) return false;
  if (std::fabs(*read - 1) > std::fabs(target - 1)) target = *read;
  return true;
}

bool takeLevels(const std::optional<std::vector<float>>& read, std::vector<float>& target) {
  if (!read) return false;
  target.insert(target.end(), read->begin(), read->end());
  return std::ranges::all_of(*read, [](float level) { return std::isfinite(level); });
}

bool takeMute(std::optional<bool> read, bool& target) {
  target = target || read.value_or(false);
  return read.has_value();
}

/// Nothing for a type that settings do not have.
std::optional<std::string> textOf(const PodReader& value) {
  if (const auto text = value.asString()) return text;
  if (const auto isOn = value.asBool()) return *isOn ? "true" : "false";
  if (const auto number = value.asInt()) return fmt::format("{}", *number);
  if (const auto number = value.asLong()) return fmt::format("{}", *number);
  if (const auto number = value.asFloat()) return fmt::format("{}", *number);
  if (const auto number = value.asDouble()) return fmt::format("{}", *number);
  if (value.type() == SPA_TYPE_None) return std::string();
  return std::nullopt;
}

/// As a report shows it: no line breaks, and not more than a line or two. What was changed matches no setting's name
/// and no neutral value: all of those are short and plain.
std::string shown(std::string text) {
  constexpr std::size_t mostBytes = 256;
  if (text.size() > mostBytes) {
    std::size_t end = mostBytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;  // not inside a character
    text.resize(end);
    text += "…";
  }
  std::ranges::replace_if(
      text, [](unsigned char c) { return c < 0x20 || c == 0x7F; }, '?');
  return text;
}

/// A list of names, each with its value behind it.
bool takeSettings(const PodReader& list, NodeProps& props) {
  const auto fields = list.asStruct();
  if (!fields || fields->size() % 2 != 0) return false;
  bool isReadable = true;
  for (std::size_t i = 0; i < fields->size(); i += 2) {
    const auto name = (*fields)[i].asString();
    if (!name) {
      isReadable = false;
      continue;
    }
    props.settings.emplace_back(shown(std::string(*name)), shown(textOf((*fields)[i + 1]).value_or("?")));
  }
  return isReadable;
}

/// False: the value is not what the property has.
bool takeProperty(std::uint32_t key, const PodReader& value, NodeProps& props) {
  switch (key) {
    case SPA_PROP_mute:
      return takeMute(value.asBool(), props.isMuted);
    case SPA_PROP_softMute:
      return takeMute(value.asBool(), props.isSoftMuted);
    case SPA_PROP_volume:
      return takeFactor(value.asFloat(), props.volume);
    case SPA_PROP_channelVolumes:
      return takeLevels(value.asFloats(), props.volumes);
    case SPA_PROP_softVolumes:
      return takeLevels(value.asFloats(), props.softVolumes);
    case SPA_PROP_rate:
      return takeFactor(value.asDouble(), props.rate);
    case SPA_PROP_params:
      return takeSettings(value, props);
    default:
      if (!altersNothing(key)) props.unknownKeys.insert(key);
      return true;
  }
}

}  // namespace

std::optional<PipeWireFormat> parseFormat(const spa_pod* pod) {
  const auto object = pcmIn(pod);
  if (!object) return std::nullopt;
  const auto rate = fixedValue(*object, SPA_FORMAT_AUDIO_rate);
  const auto channels = fixedValue(*object, SPA_FORMAT_AUDIO_channels);
  const std::int32_t hertz = rate ? rate->asInt().value_or(0) : 0;
  const std::int32_t count = channels ? channels->asInt().value_or(0) : 0;
  if (hertz <= 0 || count <= 0) return std::nullopt;
  PipeWireFormat format{double(hertz), static_cast<std::uint32_t>(count), {}};
  const auto position = object->find(SPA_FORMAT_AUDIO_position);
  if (auto positions = position ? position->asIds() : std::nullopt; positions && positions->size() == format.channels)
    format.positions = *std::move(positions);
  return format;
}

std::optional<PipeWireFormatChoice> parseFormatChoice(const spa_pod* pod) {
  const auto object = pcmIn(pod);
  if (!object) return std::nullopt;
  PipeWireFormatChoice choice;
  if (const auto rate = object->find(SPA_FORMAT_AUDIO_rate)) choice.rates = rangesOf(numbersOf(*rate));
  if (const auto channels = object->find(SPA_FORMAT_AUDIO_channels)) {
    for (const std::int32_t count : numbersOf(*channels).values)
      choice.maximumChannels = std::max(choice.maximumChannels, static_cast<std::uint32_t>(std::max(count, 0)));
  }
  const auto position = object->find(SPA_FORMAT_AUDIO_position);
  if (auto positions = position ? position->asIds() : std::nullopt;
      positions && positions->size() == choice.maximumChannels)
    choice.positions = *std::move(positions);
  return choice;
}

void applyProps(const spa_pod* pod, NodeProps& props) {
  const auto object = objectIn(pod, SPA_TYPE_OBJECT_Props);
  if (!object) {
    props.isReadable = false;
    return;
  }
  for (const PodReader::Property& property : object->properties)
    if (!takeProperty(property.key, *property.value, props)) props.isReadable = false;
}

bool isWellFormed(const spa_pod* pod) {
  const auto reader = PodReader::of(pod);
  return !reader || reader->isWellFormed();
}

std::optional<PipeWireProfile> parseProfile(const spa_pod* pod) {
  const auto object = objectIn(pod, SPA_TYPE_OBJECT_ParamProfile);
  if (!object) return std::nullopt;
  const auto index = fixedValue(*object, SPA_PARAM_PROFILE_index);
  const std::int32_t number = index ? index->asInt().value_or(-1) : -1;
  if (number < 0) return std::nullopt;
  const auto name = fixedValue(*object, SPA_PARAM_PROFILE_name);
  return PipeWireProfile{static_cast<std::uint32_t>(number), name ? name->asString().value_or("") : ""};
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

}  // namespace tolvane
