#include "engine/DeviceCondition.h"

#include <algorithm>
#include <utility>

#include "engine/SampleRateReport.h"
#include "engine/StreamFormats.h"
#include "platform/PropertyReading.h"

namespace tolvane {
namespace {

using Format = std::optional<AudioStreamBasicDescription>;

bool formatIsKept(const Format& before, const Format& now, double sourceRate, bool isIdle) {
  if (!before) return true;
  if (!now) return isIdle;
  AudioStreamBasicDescription atItsRate = *before;
  if (ratesAgree(sourceRate, now->mSampleRate)) atItsRate.mSampleRate = now->mSampleRate;
  return formatsMatch(atItsRate, *now);
}

/// 0: unreadable.
template <typename Number>
bool isKept(Number before, Number now, bool isIdle) {
  return before == Number{0} || before == now || (isIdle && now == Number{0});
}

}  // namespace

DeviceCondition DeviceCondition::read(const AudioHardware& hardware, const DeviceProperties& properties,
                                      AudioObjectID device) {
  constexpr auto channelsAddress = outputAddress(kAudioDevicePropertyStreamConfiguration);
  DeviceCondition condition;
  condition.nominalRate = properties.readDeviceSampleRate(device, kAudioDevicePropertyNominalSampleRate).value_or(0);
  condition.actualRate = properties.readDeviceSampleRate(device, kAudioDevicePropertyActualSampleRate).value_or(0);
  condition.streams = properties.readOutputStreamIDs(device);
  condition.channels = readProperty<std::vector<std::uint32_t>>(hardware, device, channelsAddress);
  condition.bufferFrames = properties.readDeviceUInt32(device, kAudioDevicePropertyBufferFrameSize).value_or(0);
  for (const AudioObjectID stream : condition.streams) {
    const auto format = [&](FourCharCode selector) {
      return readProperty<AudioStreamBasicDescription>(hardware, stream, globalAddress(selector));
    };
    condition.physicalFormats.push_back(format(kAudioStreamPropertyPhysicalFormat));
    condition.virtualFormats.push_back(format(kAudioStreamPropertyVirtualFormat));
  }
  return condition;
}

bool DeviceCondition::isKeptBy(const DeviceCondition& now, double sourceRate, bool isIdle) const {
  const auto areKept = [sourceRate, isIdle](const std::vector<Format>& before, const std::vector<Format>& after) {
    return std::ranges::equal(before, after, [sourceRate, isIdle](const Format& one, const Format& other) {
      return formatIsKept(one, other, sourceRate, isIdle);
    });
  };
  const SampleRateReport rates{
      .requestedRate = sourceRate, .nominalRate = now.nominalRate, .actualRate = now.actualRate};
  const bool areRatesKept =
      rates.isMatched() || (isKept(nominalRate, now.nominalRate, isIdle) && isKept(actualRate, now.actualRate, isIdle));
  return areRatesKept && streams == now.streams && (!channels || channels == now.channels) &&
         isKept(bufferFrames, now.bufferFrames, isIdle) && areKept(physicalFormats, now.physicalFormats) &&
         areKept(virtualFormats, now.virtualFormats);
}

void DeviceCondition::learn(const DeviceCondition& now) {
  DeviceCondition known = now;
  if (known.nominalRate == 0) known.nominalRate = nominalRate;
  if (known.actualRate == 0) known.actualRate = actualRate;
  if (known.bufferFrames == 0) known.bufferFrames = bufferFrames;
  if (!known.channels) known.channels = channels;
  const auto keep = [](const std::vector<Format>& before, std::vector<Format>& after) {
    for (std::size_t stream = 0; stream < std::min(before.size(), after.size()); ++stream)
      if (!after[stream]) after[stream] = before[stream];
  };
  keep(physicalFormats, known.physicalFormats);
  keep(virtualFormats, known.virtualFormats);
  *this = std::move(known);
}

}  // namespace tolvane
