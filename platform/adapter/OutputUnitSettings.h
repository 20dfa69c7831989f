#pragma once
// The settings of a unit and the rules for accepting them: the same for every device adapter. Player's thread. Knows no
// device, and no value that changes while a unit plays.

#include <cstdint>
#include <functional>
#include <optional>

#include "platform/AudioHardware.h"

namespace tolvane {

class OutputUnitSettings {
 public:
  enum class Phase : std::uint8_t { created, initialised, running };

  /// Whether units have this property at this scope and element.
  [[nodiscard]] static OSStatus placeStatus(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element);

  /// Stores the value, or returns the reason for refusing it. `hasDevice` checks that a device id exists.
  [[nodiscard]] OSStatus set(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element,
                             const AudioUnitPropertyValue& value, Phase phase,
                             const std::function<bool(AudioObjectID)>& hasDevice);
  /// The value that was set, or the default. REQUIRES: placeStatus() is noErr. kAudioUnitErr_InvalidProperty: only the
  /// unit knows it.
  [[nodiscard]] std::expected<AudioUnitPropertyValue, OSStatus> get(AudioUnitProperty property,
                                                                    AudioUnitScope scope) const;

  /// Whether a unit can be initialised with these settings.
  [[nodiscard]] bool areComplete() const;

  [[nodiscard]] AudioObjectID device() const { return device_; }
  /// REQUIRES: areComplete().
  [[nodiscard]] const AudioStreamBasicDescription& format() const { return *format_; }
  /// REQUIRES: areComplete(). As many positions as the format has channels.
  [[nodiscard]] const ChannelLayout& channelLayout() const { return channelLayout_; }
  [[nodiscard]] std::uint32_t sourceBits() const { return sourceBits_; }
  [[nodiscard]] const AURenderCallback& callback() const { return callback_; }

 private:
  OSStatus setDevice(std::uint32_t id, Phase phase, const std::function<bool(AudioObjectID)>& hasDevice);
  OSStatus setEnableIO(AudioUnitScope scope, std::uint32_t enabled, Phase phase);
  OSStatus setFormat(const AudioStreamBasicDescription& format, Phase phase);
  OSStatus setChannelLayout(const ChannelLayout& layout, Phase phase);
  OSStatus setSourceBits(std::uint32_t bits, Phase phase);
  OSStatus setCallback(const AURenderCallback& callback, Phase phase);

  AudioObjectID device_ = kAudioObjectUnknown;
  std::uint32_t outputEnabled_ = 1;
  std::uint32_t inputEnabled_ = 0;
  ChannelLayout channelLayout_;  ///< as many channels as the format
  std::uint32_t sourceBits_ = 0;
  std::uint32_t renderQuality_ = kRenderQuality_Max;
  std::optional<AudioStreamBasicDescription> format_;
  AURenderCallback callback_;
};

}  // namespace tolvane
