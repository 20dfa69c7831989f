#include "tests/system/dac/DacSettings.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>

namespace tolvane {
namespace {

constexpr std::array<SampleFormat, 4> kFormats{
    {{"s16", "S16_LE", 2, 16}, {"s24", "S24_3LE", 3, 24}, {"s32", "S32_LE", 4, 32}, {"s24in32", "S32_LE", 4, 24}}};
constexpr int kPacketsPerSecond = 8000;    // one each microframe
constexpr int kLargestPacketBytes = 1024;  // one transaction a microframe is all that this device has
constexpr int kMostChannels = 8;
constexpr double kLargestClockErrorPpm = 1e4;

std::vector<std::string_view> split(std::string_view list) {
  std::vector<std::string_view> items;
  for (std::size_t comma; (comma = list.find(',')) != list.npos; list.remove_prefix(comma + 1))
    items.push_back(list.substr(0, comma));
  items.push_back(list);
  return items;
}

template <typename Number>
bool readNumber(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc{} && end == text.data() + text.size();
}

bool readMask(std::string_view text, std::uint32_t& mask) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), mask, 16);
  return error == std::errc{} && end == text.data() + text.size();
}

bool readRates(std::string_view list, std::vector<std::uint32_t>& rates) {
  rates.clear();
  for (const std::string_view item : split(list))
    if (!readNumber(item, rates.emplace_back()) || rates.back() == 0) return false;
  std::ranges::sort(rates);
  return true;
}

bool readFormats(std::string_view list, std::vector<SampleFormat>& formats) {
  formats.clear();
  for (const std::string_view item : split(list)) {
    const auto format = std::ranges::find(kFormats, item, &SampleFormat::option);
    if (format == kFormats.end()) return false;
    formats.push_back(*format);
  }
  return true;
}

bool readText(std::string_view text, std::string& value) {
  value = text;
  return !text.empty();
}

/// False for an option that is not known or a value that makes no sense.
bool readOption(std::string_view option, std::string_view value, DacSettings& settings) {
  if (option == "--name") return readText(value, settings.name);
  if (option == "--serial") return readText(value, settings.serial);
  if (option == "--rates") return readRates(value, settings.rates);
  if (option == "--formats") return readFormats(value, settings.formats);
  if (option == "--channels")
    return readNumber(value, settings.channels) && settings.channels >= 1 && settings.channels <= kMostChannels;
  if (option == "--positions") return readMask(value, settings.positions.emplace());
  if (option == "--refuse-rate") {
    std::uint32_t rate = 0;
    return readNumber(value, rate) && settings.refusedRates.insert(rate).second;
  }
  if (option == "--ppm")
    return readNumber(value, settings.clockErrorPpm) && settings.clockErrorPpm >= -kLargestClockErrorPpm &&
           settings.clockErrorPpm <= kLargestClockErrorPpm;
  if (option == "--volume") {
    const double& volume = settings.volumeDecibels.emplace();
    return readNumber(value, *settings.volumeDecibels) && volume >= -127 && volume <= 0;
  }
  if (option == "--record") return readText(value, settings.recordPrefix);
  if (option == "--commands") return readText(value, settings.commands);
  return false;
}

}  // namespace

int DacSettings::packetBytes(const SampleFormat& format) const {
  const int frames = (static_cast<int>(rates.back()) + kPacketsPerSecond - 1) / kPacketsPerSecond + 1;
  return frames * format.bytes * channels;
}

std::string_view dacUsage() {
  return "test_dac --record PREFIX [options]: a USB Audio Class 2 DAC that the kernel drives as a real one.\n"
         "What each run of its stream received is in PREFIX.N.raw, what happened in PREFIX.jsonl.\n"
         "  --name TEXT --serial TEXT   as the device calls itself; the card's id is the last word of its name\n"
         "  --rates LIST                in hertz; all from 44100 to 768000\n"
         "  --formats LIST              of s16, s24, s32 (these three), s24in32\n"
         "  --channels N                2\n"
         "  --positions MASK            that its descriptors state of its channels, in hexadecimal; 0: none\n"
         "  --refuse-rate HZ            listed, but refused when set; may be repeated\n"
         "  --ppm X                     how much faster its clock runs, as its feedback tells the host\n"
         "  --volume DB                 has a volume control that stands there\n"
         "  --commands FIFO             made here; a line each: detach, attach, refuse HZ, allow HZ, silent (answers\n"
         "                              no request), answer (again), quit\n";
}

std::expected<DacSettings, std::string> parseDacSettings(std::span<char* const> arguments) {
  DacSettings settings;
  settings.formats.assign(kFormats.begin(), kFormats.begin() + 3);
  for (std::size_t index = 0; index < arguments.size(); index += 2) {
    const std::string option = arguments[index];
    if (index + 1 == arguments.size()) return std::unexpected(option + " is no option, or lacks its value");
    if (!readOption(option, arguments[index + 1], settings))
      return std::unexpected("cannot make sense of " + option + " " + arguments[index + 1]);
  }
  if (settings.recordPrefix.empty()) return std::unexpected("--record PREFIX is missing");
  if (std::popcount(settings.positions.value_or(0)) > settings.channels)
    return std::unexpected("--positions has more bits than there are channels");
  for (const SampleFormat& format : settings.formats)
    if (settings.packetBytes(format) > kLargestPacketBytes)
      return std::unexpected(std::string(format.option) + " needs larger packets than this device has");
  return settings;
}

}  // namespace tolvane
