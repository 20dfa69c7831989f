#include "tests/system/dac/ControlEndpoint.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "tests/system/dac/Descriptors.h"

namespace tolvane {
namespace {

constexpr int kToHost = 0x80;
constexpr int kTypeMask = 0x60;  // of the request's type: standard, class, vendor
constexpr int kClassToInterface = 0x21;
constexpr int kCurrent = 1, kRange = 2;               // class requests
constexpr int kFirstControl = 1, kSecondControl = 2;  // frequency and validity of a clock; mute and volume
constexpr int kVolumeUnits = 256;                     // to a decibel

}  // namespace

struct ControlEndpoint::Request {
  int type, code, low, high, index;
  ByteSpan data;

  [[nodiscard]] bool isToHost() const { return (type & kToHost) != 0; }
};

ControlEndpoint::ControlEndpoint(const DacSettings& settings, ControlListener& listener)
    : settings_(settings),
      listener_(listener),
      rate_(settings.rates.front()),
      volume_(static_cast<std::int16_t>(std::lround(settings.volumeDecibels.value_or(0) * kVolumeUnits))) {}

const SampleFormat* ControlEndpoint::format() const {
  return alternate_ == 0 ? nullptr : &settings_.formats[static_cast<std::size_t>(alternate_ - 1)];
}

double ControlEndpoint::volumeDecibels() const { return static_cast<double>(volume_) / kVolumeUnits; }

std::optional<Bytes> ControlEndpoint::answer(const Setup& setup, ByteSpan data) {
  const Request request{setup[0], setup[1], setup[2], setup[3], setup[4] | setup[5] << 8, data};
  if ((request.type & kTypeMask) == 0) return standard(request);
  if ((request.type & ~kToHost) != kClassToInterface) return std::nullopt;
  const int entity = request.index >> 8;
  if (entity == std::to_underlying(AudioEntity::clock)) return clock(request);
  if (entity == std::to_underlying(AudioEntity::volume) && settings_.volumeDecibels) return volume(request);
  return std::nullopt;
}

std::optional<Bytes> ControlEndpoint::standard(const Request& request) {
  constexpr int kGetStatus = 0, kClearFeature = 1, kSetFeature = 3, kGetDescriptor = 6, kGetConfiguration = 8,
                kSetConfiguration = 9, kGetInterface = 10, kSetInterface = 11;
  switch (request.code) {
    case kGetStatus:
      return LittleEndian().word(request.type == kToHost ? 1 : 0).value();  // the device has its own supply
    case kClearFeature:
    case kSetFeature:
      return Bytes{};
    case kGetDescriptor:
      return descriptor(request);
    case kGetConfiguration:
      return Bytes{1};
    case kSetConfiguration:
      listener_.configured(request.low);
      return Bytes{};
    case kGetInterface:
      return LittleEndian().bytes({request.index == kStreamInterface ? alternate_ : 0}).value();
    case kSetInterface:
      return selectAlternate(request) ? std::optional(Bytes{}) : std::nullopt;
    default:
      return std::nullopt;
  }
}

std::optional<Bytes> ControlEndpoint::descriptor(const Request& request) const {
  constexpr int kDevice = 1, kConfiguration = 2, kString = 3;
  if (request.high == kDevice) return deviceDescriptor();
  if (request.high == kConfiguration) return configurationDescriptor(settings_);
  if (request.high != kString) return std::nullopt;
  switch (static_cast<StringIndex>(request.low)) {
    case StringIndex::languages:
      return languagesDescriptor();
    case StringIndex::maker:
      return stringDescriptor("Tolvane");
    case StringIndex::name:
      return stringDescriptor(settings_.name);
    case StringIndex::serial:
      return stringDescriptor(settings_.serial);
  }
  return std::nullopt;
}

bool ControlEndpoint::selectAlternate(const Request& request) {
  if (request.index != kStreamInterface) return request.index == 0 && request.low == 0;
  if (request.low > static_cast<int>(settings_.formats.size())) return false;
  listener_.alternateSelected(request.low);
  alternate_ = request.low;
  return true;
}

std::optional<Bytes> ControlEndpoint::clock(const Request& request) {
  LittleEndian out;
  if (request.isToHost()) {
    if (request.high == kFirstControl && request.code == kCurrent) return out.doubleWord(rate_).value();
    if (request.high == kSecondControl && request.code == kCurrent) return out.bytes({1}).value();
    if (request.high != kFirstControl || request.code != kRange) return std::nullopt;
    out.word(static_cast<std::uint32_t>(settings_.rates.size()));
    for (const std::uint32_t rate : settings_.rates) out.doubleWord(rate).doubleWord(rate).doubleWord(0);
    return out.value();
  }
  if (request.high != kFirstControl || request.code != kCurrent || request.data.size() != 4) return std::nullopt;
  std::uint32_t rate = 0;
  for (std::size_t byte = 4; byte-- > 0;) rate = rate << 8 | request.data[byte];
  const bool isAccepted = std::ranges::binary_search(settings_.rates, rate) && !settings_.refusedRates.contains(rate);
  listener_.rateRequested(rate, isAccepted);
  if (!isAccepted) return std::nullopt;
  rate_ = rate;
  return Bytes{};
}

std::optional<Bytes> ControlEndpoint::volume(const Request& request) {
  LittleEndian out;
  const bool isMute = request.high == kFirstControl;
  if (request.isToHost()) {
    if (isMute && request.code == kCurrent) return out.bytes({isMuted_ ? 1 : 0}).value();
    if (request.high != kSecondControl) return std::nullopt;
    if (request.code == kCurrent) return out.word(static_cast<std::uint16_t>(volume_)).value();
    if (request.code != kRange) return std::nullopt;
    constexpr auto kLowest = static_cast<std::uint16_t>(-127 * kVolumeUnits);
    return out.word(1).word(kLowest).word(0).word(kVolumeUnits / 2).value();  // to 0 dB in half decibels
  }
  if (isMute && request.data.size() == 1) {
    isMuted_ = (request.data[0] & 1) != 0;
    listener_.muteSet(isMuted_);
    return Bytes{};
  }
  if (request.high != kSecondControl || request.data.size() != 2) return std::nullopt;
  volume_ = static_cast<std::int16_t>(request.data[0] | request.data[1] << 8);
  listener_.volumeSet(volumeDecibels());
  return Bytes{};
}

}  // namespace tolvane
