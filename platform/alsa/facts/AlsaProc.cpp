#include "platform/alsa/facts/AlsaProc.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>
#include "platform/alsa/facts/KernelText.h"

namespace tolvane {
namespace {

/// The value behind "key" and ':' at the start of a line.
std::optional<std::string_view> field(std::string_view text, std::string_view key) {
  while (!text.empty()) {
    const auto end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    const auto colon = line.find(':');
    if (colon != std::string_view::npos && trimmed(line.substr(0, colon)) == key)
      return trimmed(line.substr(colon + 1));
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return std::nullopt;
}

template <typename Number>
std::optional<Number> leadingNumber(std::string_view text) {
  Number value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc()) return std::nullopt;
  return value;
}

template <typename Number>
std::optional<Number> numberField(std::string_view text, std::string_view key) {
  const auto value = field(text, key);
  return value ? leadingNumber<Number>(*value) : std::nullopt;
}

/// "44100 (44100/1)"
std::optional<double> parseRate(std::string_view text) {
  const auto whole = leadingNumber<std::uint64_t>(text);
  if (!whole || *whole == 0) return std::nullopt;
  const auto open = text.find('(');
  const auto slash = text.find('/');
  if (open == std::string_view::npos || slash == std::string_view::npos || slash < open) {
    return static_cast<double>(*whole);
  }
  const auto numerator = leadingNumber<std::uint64_t>(text.substr(open + 1));
  const auto denominator = leadingNumber<std::uint64_t>(text.substr(slash + 1));
  if (!numerator || !denominator || *denominator == 0) return static_cast<double>(*whole);
  return static_cast<double>(*numerator) / static_cast<double>(*denominator);
}

AlsaStreamState stateNamed(std::string_view name) {
  using enum AlsaStreamState;
  constexpr std::array<std::pair<std::string_view, AlsaStreamState>, 7> names{{{"OPEN", open},
                                                                               {"SETUP", setup},
                                                                               {"PREPARED", prepared},
                                                                               {"RUNNING", running},
                                                                               {"XRUN", xrun},
                                                                               {"DRAINING", draining},
                                                                               {"PAUSED", paused}}};
  for (const auto& [text, state] : names) {
    if (text == name) return state;
  }
  return other;
}

}  // namespace

std::optional<AlsaHwParams> parseHwParams(std::string_view text) {
  const auto format = field(text, "format");
  const auto channels = numberField<std::uint32_t>(text, "channels");
  const auto rateText = field(text, "rate");
  const auto rate = rateText ? parseRate(*rateText) : std::nullopt;
  if (!format || format->empty() || !channels || *channels == 0 || !rate) return std::nullopt;
  return AlsaHwParams{std::string(*format), *channels, *rate};
}

std::optional<AlsaStreamStatus> parseStreamStatus(std::string_view text) {
  if (trimmed(text) == "closed") return AlsaStreamStatus{};
  const auto state = field(text, "state");
  if (!state) return std::nullopt;
  return AlsaStreamStatus{stateNamed(*state), numberField<pid_t>(text, "owner_pid").value_or(0)};
}

std::optional<pid_t> parseThreadGroup(std::string_view text) {
  const auto group = numberField<pid_t>(text, "Tgid");
  return group && *group > 0 ? group : std::nullopt;
}

std::optional<int> parseHdaSignificantBits(std::string_view text) {
  // A converter without capabilities of its own has those of the function group, which stand in front of all nodes.
  enum class Section : std::uint8_t { preamble, groupDefault, output, other };
  Section section = Section::preamble;
  int groupDefault = 0;
  std::optional<int> narrowest;
  bool isOpen = false;  // an output converter whose own bits have not been seen
  const auto take = [&narrowest](int bits) { narrowest = std::min(narrowest.value_or(bits), bits); };
  while (!text.empty()) {
    const auto end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    const std::string_view field = trimmed(line);
    if (line.starts_with("Node ")) {
      if (std::exchange(isOpen, false)) take(groupDefault);
      isOpen = line.find("[Audio Output]") != std::string_view::npos;
      section = isOpen ? Section::output : Section::other;
    } else if (section == Section::preamble && line.starts_with("Default PCM:")) {
      section = Section::groupDefault;
    } else if (section == Section::groupDefault && !line.starts_with(' ')) {
      section = Section::preamble;
    }
    const auto colon = field.find("]:");
    if (field.starts_with("bits [") && colon != std::string_view::npos) {
      // "bits [0xe]: 16 20 24": the widest of them stands last.
      const std::string_view list = trimmed(field.substr(colon + 2));
      const int bits = std::max(0, leadingNumber<int>(list.substr(list.rfind(' ') + 1)).value_or(0));
      if (section == Section::groupDefault) groupDefault = bits;
      if (section == Section::output && std::exchange(isOpen, false)) take(bits);
    }
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  if (isOpen) take(groupDefault);
  return narrowest;
}

std::optional<std::string> readSmallFile(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return std::nullopt;
  std::string text;
  std::array<char, 4096> chunk{};
  ssize_t got = 0;
  while ((got = read(descriptor, chunk.data(), chunk.size())) > 0)
    text.append(chunk.data(), static_cast<std::size_t>(got));
  close(descriptor);
  if (got < 0) return std::nullopt;
  return text;
}

AlsaDepthTexts readAlsaDepthTexts(const AlsaPaths& paths, int card, unsigned device, bool isUsb) {
  constexpr int mostCodecs = 16;  // addresses on an HD Audio link
  const std::string folder = paths.asound + "/card" + std::to_string(card);
  AlsaDepthTexts texts;
  if (isUsb) {
    texts.usbStream = readSmallFile(folder + "/stream" + std::to_string(device));
    return texts;
  }
  for (int codec = 0; codec < mostCodecs; ++codec) {
    const auto text = readSmallFile(folder + "/codec#" + std::to_string(codec));
    const auto bits = text ? parseHdaSignificantBits(*text) : std::nullopt;
    if (bits) texts.codecBits = texts.codecBits ? std::min(*texts.codecBits, *bits) : *bits;
  }
  return texts;
}

std::vector<AlsaSubstream> readSubstreams(const AlsaPaths& paths, int card, unsigned device) {
  const std::string pcm = paths.asound + "/card" + std::to_string(card) + "/pcm" + std::to_string(device) + "p/sub";
  std::vector<AlsaSubstream> substreams;
  for (unsigned index = 0;; ++index) {
    const std::string folder = pcm + std::to_string(index);
    const auto statusText = readSmallFile(folder + "/status");
    if (!statusText) break;
    AlsaSubstream substream;
    substream.index = index;
    substream.status = parseStreamStatus(*statusText).value_or(AlsaStreamStatus{});
    if (const pid_t thread = substream.status.ownerThread; thread > 0) {
      const auto text = readSmallFile(paths.processes + "/" + std::to_string(thread) + "/status");
      // The thread that opened the PCM may have ended since; when it was the first one, its id is the process.
      substream.ownerProcess = text ? parseThreadGroup(*text).value_or(thread) : thread;
    }
    if (const auto text = readSmallFile(folder + "/hw_params")) substream.hwParams = parseHwParams(*text);
    substreams.push_back(std::move(substream));
  }
  return substreams;
}

}  // namespace tolvane
