#include "platform/alsa/facts/UsbSampleBits.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <vector>

#include "platform/alsa/facts/KernelText.h"

namespace tolvane {
namespace {

struct Setting {
  int interface = -1;
  int altset = -1;
  std::string_view format;
  std::uint32_t channels = 0;
  int bits = 0;
};

struct Playback {
  bool isRunning = false;
  Setting running;  ///< its numbers only
  std::vector<Setting> settings;
};

/// The value behind `key` at the start of a line; false when the line is another one.
bool value(std::string_view line, std::string_view key, std::string_view& found) {
  if (!line.starts_with(key)) return false;
  found = trimmed(line.substr(key.size()));
  return true;
}

int number(std::string_view text) {
  int result = 0;
  std::from_chars(text.data(), text.data() + text.size(), result);
  return result;
}

void readLine(std::string_view line, Playback& playback) {
  std::string_view found;
  if (value(line, "Status:", found)) {
    playback.isRunning = found == "Running";
  } else if (value(line, "Interface =", found)) {
    playback.running.interface = number(found);
  } else if (value(line, "Altset =", found)) {
    playback.running.altset = number(found);
  } else if (value(line, "Interface ", found)) {
    playback.settings.emplace_back().interface = number(found);
  }
  if (playback.settings.empty()) return;
  Setting& setting = playback.settings.back();
  if (value(line, "Altset ", found) && !found.starts_with('=')) setting.altset = number(found);
  if (value(line, "Format:", found)) setting.format = found;
  if (value(line, "Channels:", found)) setting.channels = static_cast<std::uint32_t>(number(found));
  if (value(line, "Bits:", found)) setting.bits = number(found);
}

Playback readPlayback(std::string_view text) {
  Playback playback;
  bool isPlayback = false;
  while (!text.empty()) {
    const auto end = text.find('\n');
    const std::string_view line = trimmed(text.substr(0, end));
    if (line == "Playback:") {
      isPlayback = true;
    } else if (line == "Capture:") {
      isPlayback = false;
    } else if (isPlayback) {
      readLine(line, playback);
    }
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return playback;
}

}  // namespace

std::optional<int> parseUsbSignificantBits(std::string_view text, std::string_view format, std::uint32_t channels) {
  const Playback playback = readPlayback(text);
  std::optional<int> fewest;
  for (const Setting& setting : playback.settings) {
    if (setting.bits <= 0 || setting.format != format || setting.channels != channels) continue;
    if (playback.isRunning && setting.interface == playback.running.interface &&
        setting.altset == playback.running.altset) {
      return setting.bits;
    }
    fewest = std::min(fewest.value_or(setting.bits), setting.bits);
  }
  return fewest;
}

}  // namespace tolvane
