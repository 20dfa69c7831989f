#include "engine/DeviceCondition.h"

#include <algorithm>

#include "engine/SampleRateReport.h"
#include "engine/StreamFormats.h"
#include "platform/PropertyReading.h"

namespace tolvane {
namespace {

using Format = std::optional<AudioStreamBasicDescription>;

bool formatIsKept(const Format& before, const Format& now, double sourceRate) {
  if (!before) return true;
  if (!now) return false;
  AudioStreamBasicDescription atItsRate = *before;
  if (ratesAgree(sourceRate, now->mSampleRate)) atItsRate.mSampleRate = now->mSampleRate;
  return formatsMatch(atItsRate, *now);
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

bool DeviceCondition::isKeptBy(const DeviceCondition& now, double sourceRate) const {
  const auto areKept = [sourceRate](const std::vector<Format>& before, const std::vector<Format>& after) {
    return std::ranges::equal(before, after, [sourceRate](const Format& one, const Format& other) {
      return formatIsKept(one, other, sourceRate);
    });
  };
  const SampleRateReport rates{
      .requestedRate = sourceRate, .nominalRate = now.nominalRate, .actualRate = now.actualRate};
  const bool areRatesKept = rates.isMatched() || (nominalRate == now.nominalRate && actualRate == now.actualRate);
  return areRatesKept && streams == now.streams && (!channels || channels == now.channels) &&
         (bufferFrames == 0 || bufferFrames == now.bufferFrames) && areKept(physicalFormats, now.physicalFormats) &&
         areKept(virtualFormats, now.virtualFormats);
}

}  // namespace tolvane
