#include "engine/OutputUnitCreation.h"

#include <utility>

namespace tolvane {

Result<std::unique_ptr<AudioOutputUnit>> createOutputUnit(AudioHardware& hardware, AudioObjectID deviceID,
                                                          const PreparedAudio& track, AURenderCallback source,
                                                          std::shared_ptr<DeliveryRecord> deliveries,
                                                          bool prefersHighQualityConversion) {
  AudioOutputComponent* component = hardware.outputComponent();
  if (component == nullptr) return failure("The Core Audio output component is unavailable.");
  auto created = component->newInstance();
  if (!created) return failure("Creating the Core Audio output", created.error());
  std::unique_ptr<AudioOutputUnit> unit = std::move(*created);
  if (!unit) return failure("The Core Audio output could not be created.");

  using Property = AudioUnitProperty;
  using Scope = AudioUnitScope;
  const auto abandon = [&unit](std::string_view stage, OSStatus status) {
    unit->uninitialize();
    unit.reset();
    return failure(stage, status);
  };
  struct Step {
    std::string_view stage;
    Property property;
    Scope scope;
    std::uint32_t element;
    AudioUnitPropertyValue value;
  };
  constexpr std::uint32_t on = 1;
  constexpr std::uint32_t off = 0;
  const Step binding[] = {
      {toTranslate("Binding the output device"), Property::currentDevice, Scope::global, 0, deviceID},
      {toTranslate("Enabling audio output"), Property::enableIO, Scope::output, 0, on},
      {toTranslate("Disabling unused audio input"), Property::enableIO, Scope::input, 1, off},
      {toTranslate("Setting the source PCM format"), Property::streamFormat, Scope::input, 0, track.context->format()},
  };
  for (const Step& step : binding)
    if (const OSStatus status = unit->setProperty(step.property, step.scope, step.element, step.value); status != noErr)
      return abandon(step.stage, status);

  // The usual channel order is a unit's default.
  if (const ChannelLayout& channels = track.channels;
      !channels.positions.empty() && channels != usualLayout(track.context->format().mChannelsPerFrame)) {
    const OSStatus status = unit->setProperty(Property::channelLayout, Scope::input, 0, channels);
    if (status != noErr) return abandon("Setting the source PCM format", status);
  }
  // Optional: a unit without these properties can still play.
  if (!track.sourceIsFloat) (void)unit->setProperty(Property::sourceBits, Scope::input, 0, track.sourceBitDepth);
  if (prefersHighQualityConversion)
    (void)unit->setProperty(Property::renderQuality, Scope::global, 0, kRenderQuality_Max);

  if (const OSStatus status = unit->setProperty(Property::setRenderCallback, Scope::input, 0, source); status != noErr)
    return abandon("Installing the real-time renderer", status);
  unit->setDeliveryRecord(std::move(deliveries));
  if (const OSStatus status = unit->initialize(); status != noErr)
    return abandon("Initializing the output device", status);
  return unit;
}

}  // namespace tolvane
