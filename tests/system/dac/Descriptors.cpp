#include "tests/system/dac/Descriptors.h"

#include <utility>

namespace tolvane {
namespace {

constexpr int kDevice = 1, kConfiguration = 2, kString = 3, kInterface = 4, kEndpoint = 5, kAssociation = 11;
constexpr int kClassInterface = 0x24, kClassEndpoint = 0x25;
constexpr int kAudio = 1, kAudioControl = 1, kAudioStreaming = 2, kAudioVersion2 = 0x20;
constexpr int kUsbStreaming = 0x0101, kSpeaker = 0x0301;
constexpr int kIsochronousAsynchronous = 0x05, kIsochronousFeedback = 0x11;

constexpr int kVendor = 0x1209, kProduct = 0x0001;  // set aside for tests
constexpr int kEveryMicroframe = 1;
// Every 4 ms. The driver puts no more packets into a transfer than lie between two feedback values: longer transfers
// keep this program's share of a slow machine small.
constexpr int kFeedbackInterval = 6;

std::uint32_t channelPositions(const DacSettings& settings) {
  if (settings.positions) return *settings.positions;
  return settings.channels == 2 ? 0x3 : settings.channels == 1 ? 0x4 : 0;
}

LittleEndian entities(const DacSettings& settings) {
  using enum AudioEntity;
  const int channels = settings.channels;
  const bool hasVolume = settings.volumeDecibels.has_value();
  LittleEndian out;
  // An internal clock whose frequency can be set, and that reports whether it is valid.
  out.bytes({8, kClassInterface, 0x0a, std::to_underlying(clock), 3, 0x07, 0, 0});
  out.bytes({17, kClassInterface, 2, std::to_underlying(input)}).word(kUsbStreaming);
  out.bytes({0, std::to_underlying(clock), channels}).doubleWord(channelPositions(settings)).bytes({0, 0, 0, 0});
  if (hasVolume) {
    out.bytes({6 + 4 * (channels + 1), kClassInterface, 6, std::to_underlying(volume), std::to_underlying(input)});
    out.doubleWord(0x0f);  // mute and volume, for all channels together
    for (int channel = 0; channel < channels; ++channel) out.doubleWord(0);
    out.bytes({0});
  }
  out.bytes({12, kClassInterface, 3, std::to_underlying(output)}).word(kSpeaker);
  out.bytes({0, std::to_underlying(hasVolume ? volume : input), std::to_underlying(clock), 0, 0, 0});
  return out;
}

LittleEndian controlInterface(const DacSettings& settings) {
  const LittleEndian units = entities(settings);
  LittleEndian out;
  out.bytes({9, kInterface, 0, 0, 0, kAudio, kAudioControl, kAudioVersion2, 0});
  out.bytes({9, kClassInterface, 1}).word(0x0200).bytes({8}).word(9 + units.size()).bytes({0});
  return out.append(units.value());
}

LittleEndian streamInterface(const DacSettings& settings) {
  LittleEndian out;
  out.bytes({9, kInterface, kStreamInterface, 0, 0, kAudio, kAudioStreaming, kAudioVersion2, 0});
  int alternate = 0;
  for (const SampleFormat& format : settings.formats) {
    out.bytes({9, kInterface, kStreamInterface, ++alternate, 2, kAudio, kAudioStreaming, kAudioVersion2, 0});
    out.bytes({16, kClassInterface, 1, std::to_underlying(AudioEntity::input), 0, 1}).doubleWord(1);  // PCM
    out.bytes({settings.channels}).doubleWord(channelPositions(settings)).bytes({0});
    out.bytes({6, kClassInterface, 2, 1, format.bytes, format.bits});
    out.bytes({7, kEndpoint, kStreamEndpoint, kIsochronousAsynchronous});
    out.word(static_cast<std::uint32_t>(settings.packetBytes(format))).bytes({kEveryMicroframe});
    out.bytes({8, kClassEndpoint, 1, 0, 0, 0, 0, 0});
    out.bytes({7, kEndpoint, 0x80 | kStreamEndpoint, kIsochronousFeedback}).word(4).bytes({kFeedbackInterval});
  }
  return out;
}

}  // namespace

Bytes deviceDescriptor() {
  LittleEndian out;
  out.bytes({18, kDevice}).word(0x0200).bytes({0xef, 2, 1, 64}).word(kVendor).word(kProduct).word(0x0100);
  out.bytes({std::to_underlying(StringIndex::maker), std::to_underlying(StringIndex::name),
             std::to_underlying(StringIndex::serial), 1});
  return out.value();
}

Bytes configurationDescriptor(const DacSettings& settings) {
  const LittleEndian control = controlInterface(settings);
  const LittleEndian stream = streamInterface(settings);
  constexpr std::uint32_t kOwnBytes = 9 + 8;
  LittleEndian out;
  out.bytes({9, kConfiguration}).word(kOwnBytes + control.size() + stream.size()).bytes({2, 1, 0, 0xc0, 0});
  out.bytes({8, kAssociation, 0, 2, kAudio, 0, kAudioVersion2, 0});
  return out.append(control.value()).append(stream.value()).value();
}

Bytes languagesDescriptor() { return LittleEndian().bytes({4, kString}).word(0x0409).value(); }

Bytes stringDescriptor(std::string_view ascii) {
  constexpr std::size_t kMostCharacters = 120;
  ascii = ascii.substr(0, kMostCharacters);
  LittleEndian out;
  out.bytes({static_cast<int>(2 + 2 * ascii.size()), kString});
  for (const char character : ascii) out.word(static_cast<unsigned char>(character));
  return out.value();
}

}  // namespace tolvane
