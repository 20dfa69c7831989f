#include "engine/PathJudgement.h"

#include <vector>

#include "engine/StreamFormats.h"
#include "platform/PropertyReading.h"

namespace tolvane {
namespace {

/// The alterations that the device reports. A report that cannot be read, and processing that it does not describe,
/// count as an unknown alteration.
std::vector<SampleAlteration> alterationsOf(const AudioHardware& hardware, AudioObjectID device) {
  constexpr auto kind = SampleAlteration::Kind::unknown;
  constexpr auto listAddress = globalAddress(kAudioDevicePropertySampleAlterations);
  constexpr auto activityAddress = globalAddress(kAudioDevicePropertyProcessingIsActive);
  const auto reported = readProperty<std::vector<SampleAlteration>>(hardware, device, listAddress);
  if (!reported && hardware.hasProperty(device, listAddress)) return {SampleAlteration::unreadable()};
  if (reported && !reported->empty()) return *reported;
  if (readProperty<std::uint32_t>(hardware, device, activityAddress).value_or(0) != 0)
    return {{kind, bilingual("The device processes samples and does not report how."),
             "Turn its processing off, or choose another device."_cure}};
  return {};
}

std::string textOf(const AudioHardware& hardware, AudioObjectID object, FourCharCode selector) {
  const auto address = globalAddress(selector);
  if (!hardware.hasProperty(object, address)) return {};
  return readProperty<std::string>(hardware, object, address).value_or("");
}

PathDescription describePath(const EngineServices& services, AudioObjectID device, const PreparedAudio& track,
                             const OutputLevels& levels) {
  const AudioHardware& hardware = services.hardware;
  PathDescription description;
  description.sourceBits = track.sourceBitDepth;
  description.sourceIsFloat = track.sourceIsFloat;
  description.channels = track.context->format().mChannelsPerFrame;
  description.levels = levels;
  description.cut = track.cut;
  description.deviceName = textOf(hardware, device, kAudioObjectPropertyName);
  description.soundServer = textOf(hardware, device, kAudioDevicePropertySoundServer);
  description.driver = textOf(hardware, device, kAudioDevicePropertyDriver);
  for (const AudioObjectID stream : services.device.readOutputStreamIDs(device)) {
    description.formatSource = textOf(hardware, stream, kAudioStreamPropertyPhysicalFormatSource);
    if (!description.formatSource.empty()) break;
  }
  return description;
}

}  // namespace

PathJudgement judgePath(const EngineServices& services, const Output& output, const PreparedAudio& track,
                        const HogModeReport& hogReport, const UserChoices& choices) {
  const AudioStreamBasicDescription& client = track.context->format();
  const DeviceProperties& device = services.device;
  const AudioObjectID deviceID = output.deviceID();
  AudioPathFacts facts;
  facts.isBluetooth =
      isBluetoothTransport(device.readDeviceUInt32(deviceID, kAudioDevicePropertyTransportType).value_or(0));
  const SampleRateReport rates = device.readSampleRates(client.mSampleRate, deviceID);
  facts.sourceRate = rates.requestedRate;
  facts.nominalRate = rates.nominalRate;
  facts.actualRate = rates.actualRate;
  const auto accepted =
      readProperty<AudioStreamBasicDescription>(*output.unit(), AudioUnitProperty::streamFormat, AudioUnitScope::input);
  facts.clientFormatMatches = accepted && formatsMatch(client, *accepted);
  facts.isLossless = track.isLossless;
  facts.sourceLabel = track.sourceLabel;
  facts.physicalFormat = device.readOutputPhysicalFormat(deviceID);
  facts.physicalFormatCompatible = facts.physicalFormat && physicalFormatCompatibility(track, *facts.physicalFormat);
  facts.alterations = alterationsOf(services.hardware, deviceID);
  facts.exclusiveAccessEnabled = choices.isExclusiveAccessEnabled;
  facts.hogModeSupported = hogReport.isSupported;
  facts.hogModeOwned = hogReport.isOwnedByCurrentProcess;
  return {judgeAudioPath(facts).applyingOutputLevels(choices.outputLevels, facts.isBluetooth),
          signalPath(facts, describePath(services, deviceID, track, choices.outputLevels))};
}

}  // namespace tolvane
