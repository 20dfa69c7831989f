#include "platform/conversion/PcmLayout.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <tuple>

namespace tolvane {
namespace {

using Kind = PcmLayout::Kind;

constexpr bool hostIsBigEndian = std::endian::native == std::endian::big;

/// Lower is better. Among layouts that hold the client exactly, in the order that chooseDeviceFormat promises.
using Rank = std::tuple<int, int, int, int, int, int>;

Rank rankFor(const PcmLayout& client, const PcmLayout& device) {
  const bool floatsFirst = client.isFloat();
  const bool exact = isExact(client, device);
  int group = 0;
  if (sameBytes(client, device)) {
    group = 0;
  } else if (floatsFirst) {
    group = device.isFloat() && exact ? 1 : device.isFloat() ? 2 : 3;
  } else {
    group = exact && !device.isFloat() ? 1 : exact ? 2 : 3;
  }
  const auto width = static_cast<int>(device.integerBits());
  const bool narrowestFirst = group == 1 || group == 2;
  return {group, narrowestFirst ? width : -width, device.isFloat() && !floatsFirst ? 1 : 0,
          device.kind == Kind::unsignedInteger ? 1 : 0, device.bytes > 1 && device.bigEndian != hostIsBigEndian ? 1 : 0,
          // Four bytes before three: both hold 24 bits, and aligned samples are what drivers see most.
          -static_cast<int>(device.bytes)};
}

}  // namespace

PcmLayout integerLayout(unsigned bits, unsigned bytes, bool bigEndian, bool alignedHigh, Kind kind) {
  return {kind, static_cast<std::uint8_t>(bytes), static_cast<std::uint8_t>(bits), alignedHigh && bits < bytes * 8,
          bigEndian && bytes > 1};
}

PcmLayout floatLayout(unsigned bytes, bool bigEndian) {
  return {Kind::floatingPoint, static_cast<std::uint8_t>(bytes), static_cast<std::uint8_t>(bytes * 8), false,
          bigEndian};
}

std::optional<PcmLayout> pcmLayout(const AudioStreamBasicDescription& format) {
  if (format.mFormatID != kAudioFormatLinearPCM || (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) != 0) {
    return std::nullopt;
  }
  if (format.mChannelsPerFrame == 0 || format.mFramesPerPacket != 1 || format.mBytesPerFrame == 0 ||
      format.mBytesPerPacket != format.mBytesPerFrame || format.mBytesPerFrame % format.mChannelsPerFrame != 0) {
    return std::nullopt;
  }
  const std::uint32_t bytes = format.mBytesPerFrame / format.mChannelsPerFrame;
  const std::uint32_t bits = format.mBitsPerChannel;
  if (bytes > 8 || bits == 0 || bits > bytes * 8) return std::nullopt;
  if (format.isFloat()) {
    if ((bytes != 4 && bytes != 8) || bits != bytes * 8) return std::nullopt;
    return floatLayout(bytes, format.isBigEndian());
  }
  return integerLayout(bits, bytes, format.isBigEndian(), format.isAlignedHigh(),
                       format.isSignedInteger() ? Kind::signedInteger : Kind::unsignedInteger);
}

AudioStreamBasicDescription describe(const PcmLayout& layout, double sampleRate, std::uint32_t channels) {
  std::uint32_t flags = 0;
  if (layout.isFloat()) flags |= kAudioFormatFlagIsFloat;
  if (layout.kind == Kind::signedInteger) flags |= kAudioFormatFlagIsSignedInteger;
  if (layout.bigEndian) flags |= kAudioFormatFlagIsBigEndian;
  if (layout.alignedHigh) flags |= kAudioFormatFlagIsAlignedHigh;
  return linearPCM(sampleRate, channels, layout.bits, layout.bytes, flags);
}

bool sameBytes(const PcmLayout& client, const PcmLayout& device) {
  if (client == device) return true;
  const bool clientFillsTop = client.alignedHigh || client.bits == client.bytes * 8;
  const bool deviceFillsTop = device.alignedHigh || device.bits == device.bytes * 8;
  return client.kind == device.kind && client.bytes == device.bytes && client.bigEndian == device.bigEndian &&
         !client.isFloat() && clientFillsTop && deviceFillsTop && device.bits >= client.bits;
}

bool isExact(const PcmLayout& client, const PcmLayout& device) {
  if (client.isFloat()) return device.isFloat() && device.bits >= client.bits;
  return device.integerBits() >= client.bits;
}

std::optional<PcmLayout> chooseDeviceFormat(const PcmLayout& client, std::span<const PcmLayout> supported) {
  const auto best =
      std::ranges::min_element(supported, {}, [&client](const PcmLayout& device) { return rankFor(client, device); });
  if (best == supported.end()) return std::nullopt;
  return *best;
}

void fillSilence(const PcmLayout& layout, std::span<std::byte> samples) noexcept {
  std::memset(samples.data(), 0, samples.size());
  if (layout.kind != Kind::unsignedInteger || samples.empty()) return;
  // The half-way code has one bit set: the highest valid one.
  const unsigned top = layout.alignedHigh ? layout.bytes * 8U - 1 : layout.bits - 1U;
  const unsigned byteFromLow = top / 8;
  const std::size_t offset = layout.bigEndian ? layout.bytes - 1 - byteFromLow : byteFromLow;
  const auto code = static_cast<std::byte>(1U << top % 8);
  for (std::size_t at = offset; at < samples.size(); at += layout.bytes) samples[at] = code;
}

std::string layoutText(const PcmLayout& layout) {
  std::string text = std::to_string(layout.bits) + (layout.isFloat() ? "-bit float" : "-bit integer");
  if (layout.kind == Kind::unsignedInteger) text += ", unsigned";
  if (layout.bits != layout.bytes * 8) text += " in " + std::to_string(layout.bytes) + " bytes";
  if (layout.alignedHigh) text += ", aligned high";
  if (layout.bigEndian) text += ", big-endian";
  return text;
}

}  // namespace tolvane
