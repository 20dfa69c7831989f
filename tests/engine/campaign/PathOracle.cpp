#include "tests/engine/campaign/PathOracle.h"

#include <algorithm>
#include <cmath>

namespace tolvane {
namespace {

bool sameRate(double track, double other) { return std::abs(track - other) <= std::max(1.0, track * 20e-6); }

std::optional<AudioStreamBasicDescription> formatOf(SimulatedDevice& device, AudioObjectID stream) {
  const auto value = device.read(stream, kAudioStreamPropertyPhysicalFormat);
  return value ? std::optional(std::get<AudioStreamBasicDescription>(*value)) : std::nullopt;
}

bool carries(const AudioStreamBasicDescription& physical, const CampaignTrack& track) {
  if (!sameRate(track.format.mSampleRate, physical.mSampleRate)) return false;
  if (physical.mChannelsPerFrame != track.format.mChannelsPerFrame) return false;
  if (track.sourceIsFloat) return physical.isFloat() && physical.mBitsPerChannel >= track.sourceBits;
  const bool isRoundedAlready = track.format.isFloat() && track.sourceBits > 24;
  if (isRoundedAlready) return false;
  const std::uint32_t exactBits = physical.isFloat() ? 24 : physical.mBitsPerChannel;
  return exactBits >= track.sourceBits;
}

/// The stream in use: the first active one, or the first.
bool hardwareCarries(SimulatedDevice& device, const CampaignTrack& track, bool anyStreamWillDo) {
  const auto& streams = device.streamIDs();
  const auto carriesIt = [&](AudioObjectID stream) {
    const auto format = formatOf(device, stream);
    return format && carries(*format, track);
  };
  if (streams.empty()) return false;
  if (anyStreamWillDo) return std::ranges::any_of(streams, carriesIt);
  for (std::size_t i = 0; i < streams.size(); ++i)
    if (device.config().streams[i].isActive) return carriesIt(streams[i]);
  return carriesIt(streams.front());
}

}  // namespace

std::optional<std::string> reasonAgainstBitPerfect(CampaignWorld& world) {
  const AudioObjectID id = world.watched.boundDevice();
  if (id == kAudioObjectUnknown) return "no unit is bound to a device";
  if (world.lastPlayed == nullptr) return "nothing was played";
  const CampaignTrack& track = *world.lastPlayed;
  SimulatedDevice& device = world.device(id);
  const auto& config = device.config();
  const bool hasLied = world.ledgers[id].hasLied;
  if (!device.isPresent()) return "the device is gone";
  if (config.alterations && !config.alterations->empty()) return "the samples are altered behind the unit";
  if (config.transport == kAudioDeviceTransportTypeBluetooth ||
      config.transport == kAudioDeviceTransportTypeBluetoothLE)
    return "the device is a Bluetooth device";
  if (!track.isLossless) return "the source is lossy";
  if (!world.levelsAreNeutral) return "software levels are active";
  if (!world.watched.clientFormat() || *world.watched.clientFormat() != track.format)
    return "the unit was given another format than the track's";
  if (world.unitsReport && *world.unitsReport != track.format) return "the unit reports another client format";
  if (!sameRate(track.format.mSampleRate, config.nominalRate)) return "the nominal rate is another";
  const auto actual = device.read(id, kAudioDevicePropertyActualSampleRate);
  const bool isReported = actual && config.actualRate != SimulatedActualRate::absent && !hasLied;
  if (isReported && !sameRate(track.format.mSampleRate, std::get<double>(*actual))) return "the actual rate is another";
  if (!hardwareCarries(device, track, hasLied)) return "the hardware's format does not carry the source";
  if (world.exclusiveAccess && !world.ownsDevice(id) && !hasLied) return "the device is not owned as was asked for";
  return std::nullopt;
}

bool mayBeProcessed(CampaignWorld& world) {
  if (!world.levelsAreNeutral) return true;
  const AudioObjectID id = world.watched.boundDevice();
  if (id == kAudioObjectUnknown || world.lastPlayed == nullptr || !world.lastPlayed->isLossless) return false;
  const auto& alterations = world.device(id).config().alterations;
  if (!alterations) return false;
  const auto has = [&](SampleAlteration::Kind kind) {
    return std::ranges::find(*alterations, kind, &SampleAlteration::kind) != alterations->end();
  };
  return has(SampleAlteration::Kind::processed) && !has(SampleAlteration::Kind::converted);
}

}  // namespace tolvane
