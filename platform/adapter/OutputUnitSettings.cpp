#include "platform/adapter/OutputUnitSettings.h"

#include <cmath>

#include "platform/conversion/PcmLayout.h"

namespace tolvane {

OSStatus OutputUnitSettings::placeStatus(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element) {
  AudioUnitScope rightScope = AudioUnitScope::global;
  std::uint32_t rightElement = 0;
  switch (property) {
    case AudioUnitProperty::currentDevice:
    case AudioUnitProperty::renderQuality:
    case AudioUnitProperty::lastRenderError:
    case AudioUnitProperty::isRunning:
    case AudioUnitProperty::lastRenderSampleTime:
      break;
    case AudioUnitProperty::streamFormat:
    case AudioUnitProperty::sourceBits:
    case AudioUnitProperty::channelLayout:
    case AudioUnitProperty::setRenderCallback:
      rightScope = AudioUnitScope::input;
      break;
    case AudioUnitProperty::enableIO:
      if (scope == AudioUnitScope::global) return kAudioUnitErr_InvalidScope;
      rightScope = scope;
      rightElement = scope == AudioUnitScope::input ? 1 : 0;
      break;
    default:
      return kAudioUnitErr_InvalidProperty;
  }
  if (scope != rightScope) return kAudioUnitErr_InvalidScope;
  return element == rightElement ? noErr : kAudioUnitErr_InvalidElement;
}

OSStatus OutputUnitSettings::set(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element,
                                 const AudioUnitPropertyValue& value, Phase phase,
                                 const std::function<bool(AudioObjectID)>& hasDevice) {
  if (const OSStatus status = placeStatus(property, scope, element); status != noErr) return status;
  const auto* number = std::get_if<std::uint32_t>(&value);
  const auto* format = std::get_if<AudioStreamBasicDescription>(&value);
  const auto* callback = std::get_if<AURenderCallback>(&value);
  const auto* channels = std::get_if<ChannelLayout>(&value);
  switch (property) {
    case AudioUnitProperty::currentDevice:
      return number != nullptr ? setDevice(*number, phase, hasDevice) : kAudioUnitErr_InvalidPropertyValue;
    case AudioUnitProperty::enableIO:
      return number != nullptr ? setEnableIO(scope, *number, phase) : kAudioUnitErr_InvalidPropertyValue;
    case AudioUnitProperty::streamFormat:
      return format != nullptr ? setFormat(*format, phase) : kAudioUnitErr_InvalidPropertyValue;
    case AudioUnitProperty::sourceBits:
      return number != nullptr ? setSourceBits(*number, phase) : kAudioUnitErr_InvalidPropertyValue;
    case AudioUnitProperty::channelLayout:
      return channels != nullptr ? setChannelLayout(*channels, phase) : kAudioUnitErr_InvalidPropertyValue;
    case AudioUnitProperty::setRenderCallback:
      return callback != nullptr ? setCallback(*callback, phase) : kAudioUnitErr_InvalidPropertyValue;
    case AudioUnitProperty::renderQuality:
      if (number == nullptr || *number > kRenderQuality_Max) return kAudioUnitErr_InvalidPropertyValue;
      renderQuality_ = *number;
      return noErr;
    default:
      return kAudioUnitErr_InvalidProperty;  // read only
  }
}

OSStatus OutputUnitSettings::setDevice(std::uint32_t id, Phase phase,
                                       const std::function<bool(AudioObjectID)>& hasDevice) {
  if (phase != Phase::created) return kAudioUnitErr_Initialized;
  if (!hasDevice(id)) return kAudioHardwareBadDeviceError;
  device_ = id;
  return noErr;
}

OSStatus OutputUnitSettings::setEnableIO(AudioUnitScope scope, std::uint32_t enabled, Phase phase) {
  if (phase != Phase::created) return kAudioUnitErr_Initialized;
  const bool isInput = scope == AudioUnitScope::input;
  if (enabled > 1 || (isInput && enabled == 1)) return kAudioUnitErr_InvalidPropertyValue;  // there is no input
  (isInput ? inputEnabled_ : outputEnabled_) = enabled;
  return noErr;
}

OSStatus OutputUnitSettings::setFormat(const AudioStreamBasicDescription& format, Phase phase) {
  if (phase != Phase::created) return kAudioUnitErr_Initialized;
  if (!pcmLayout(format) || !std::isfinite(format.mSampleRate) || format.mSampleRate <= 0)
    return kAudioUnitErr_FormatNotSupported;
  format_ = format;
  channelLayout_ = usualLayout(format.mChannelsPerFrame);
  return noErr;
}

OSStatus OutputUnitSettings::setChannelLayout(const ChannelLayout& layout, Phase phase) {
  if (phase != Phase::created) return kAudioUnitErr_Initialized;
  if (!format_ || layout.channelCount() != format_->mChannelsPerFrame) return kAudioUnitErr_InvalidPropertyValue;
  channelLayout_ = layout;
  return noErr;
}

OSStatus OutputUnitSettings::setSourceBits(std::uint32_t bits, Phase phase) {
  constexpr std::uint32_t widestSample = 64;
  if (phase != Phase::created) return kAudioUnitErr_Initialized;
  if (bits > widestSample) return kAudioUnitErr_InvalidPropertyValue;
  sourceBits_ = bits;
  return noErr;
}

OSStatus OutputUnitSettings::setCallback(const AURenderCallback& callback, Phase phase) {
  if (phase == Phase::running) return kAudioUnitErr_Initialized;
  if (callback.inputProc == nullptr) return kAudioUnitErr_InvalidPropertyValue;
  callback_ = callback;
  return noErr;
}

std::expected<AudioUnitPropertyValue, OSStatus> OutputUnitSettings::get(AudioUnitProperty property,
                                                                        AudioUnitScope scope) const {
  switch (property) {
    case AudioUnitProperty::currentDevice:
      return device_;
    case AudioUnitProperty::enableIO:
      return scope == AudioUnitScope::input ? inputEnabled_ : outputEnabled_;
    case AudioUnitProperty::sourceBits:
      return sourceBits_;
    case AudioUnitProperty::channelLayout:
      if (!format_) return std::unexpected(kAudioUnitErr_CannotDoInCurrentContext);
      return channelLayout_;
    case AudioUnitProperty::renderQuality:
      return renderQuality_;
    case AudioUnitProperty::setRenderCallback:
      return callback_;
    case AudioUnitProperty::streamFormat:
      if (!format_) return std::unexpected(kAudioUnitErr_CannotDoInCurrentContext);
      return *format_;
    default:
      return std::unexpected(kAudioUnitErr_InvalidProperty);
  }
}

bool OutputUnitSettings::areComplete() const {
  return device_ != kAudioObjectUnknown && format_ && callback_.inputProc != nullptr && outputEnabled_ != 0;
}

}  // namespace tolvane
