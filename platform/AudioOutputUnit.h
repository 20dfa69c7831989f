#pragma once
// The contract of an output unit: it pulls frames from a render callback on its own real-time thread and plays them on
// one device. Every operation is for the player's thread; only the render callback runs on the unit's thread.

#include <cstdint>
#include <expected>
#include <memory>
#include <span>
#include <variant>

#include "platform/AudioStatus.h"
#include "platform/AudioStreamBasicDescription.h"
#include "platform/ChannelLayout.h"

namespace tolvane {

class DeliveryRecord;

struct AudioBuffer {
  std::uint32_t mNumberChannels = 0;
  std::uint32_t mDataByteSize = 0;  ///< bytes; the callback may lower it to what it filled
  void* mData = nullptr;
};

struct AudioBufferList {
  std::span<AudioBuffer> mBuffers;
};

/// Called on the unit's real-time thread: must not allocate, lock, log or make a system call.
/// A non-zero result makes the unit play silence for these frames and become its last render error.
struct AURenderCallback {
  using Proc = OSStatus (*)(void* refCon, std::uint32_t frames, AudioBufferList* ioData) noexcept;
  Proc inputProc = nullptr;
  void* inputProcRefCon = nullptr;

  bool operator==(const AURenderCallback&) const = default;
};

enum class AudioUnitScope : std::uint8_t { global, input, output };

enum class AudioUnitProperty : std::uint8_t {
  currentDevice,      ///< kAudioOutputUnitProperty_CurrentDevice: global, uint32, device id; before initialize
  enableIO,           ///< kAudioOutputUnitProperty_EnableIO: output element 0 or input element 1, uint32
  streamFormat,       ///< kAudioUnitProperty_StreamFormat: input scope, element 0: the client format; before initialize
  sourceBits,         ///< input scope, element 0, uint32, 0 … 64: see below; before initialize
  channelLayout,      ///< kAudioUnitProperty_AudioChannelLayout: input scope, element 0: see below; before initialize
  renderQuality,      ///< kAudioUnitProperty_RenderQuality: global, uint32, 0 … 127
  setRenderCallback,  ///< kAudioUnitProperty_SetRenderCallback: input scope, element 0; while not running
  lastRenderError,    ///< kAudioUnitProperty_LastRenderError: global, int32, read only; reading clears it
  isRunning,          ///< kAudioOutputUnitProperty_IsRunning: global, uint32, read only
  lastRenderSampleTime,  ///< kAudioUnitProperty_LastRenderSampleTime: global, double, read only; see below
};

using AudioUnitPropertyValue =
    std::variant<std::uint32_t, std::int32_t, double, AudioStreamBasicDescription, AURenderCallback, ChannelLayout>;

constexpr std::uint32_t kRenderQuality_Max = 127;

/// One output unit. Lifecycle: created → initialize() → start() ⇄ stop() → uninitialize(); the destructor does what is
/// missing of stop and uninitialize. No render callback is under way once stop(), uninitialize() or the destructor has
/// returned, whatever their status.
///
/// Client format: accepted as given when the unit can carry or convert it, else kAudioUnitErr_FormatNotSupported.
/// Conversion to the device's format is exact whenever the device's format can hold the source.
///
/// sourceBits: the integer depth of the source that the client format carries, such as 16 for a CD track decoded to
/// float; 0, the default, when it is not known or floating point. The unit may use it to choose a device format that is
/// known to carry every bit; it never changes a sample.
///
/// channelLayout: the positions of the client's channels. Default, and again with each new format: usualLayout(). The
/// unit plays each channel from the loudspeaker it is meant for, moving samples without altering them where the device
/// has all of the loudspeakers. A layout of another number of channels than the format's is refused.
///
/// lastRenderSampleTime: frames at the client's rate that the device has consumed since initialize(). It grows while
/// the device consumes frames, stands still when the device stalls, and never goes back; before the first start it
/// fails with kAudioUnitErr_CannotDoInCurrentContext.
///
/// A device that goes away while the unit runs: lastRenderError is set, isRunning becomes 0, calls still return.
class AudioOutputUnit {
 public:
  virtual ~AudioOutputUnit() = default;

  /// kAudioUnitErr_InvalidProperty, _InvalidScope, _InvalidElement, _InvalidPropertyValue (type or value),
  /// _FormatNotSupported; _Initialized: too late for this property; kAudioHardwareBadDeviceError: no such device.
  [[nodiscard]] virtual OSStatus setProperty(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element,
                                             const AudioUnitPropertyValue& value) = 0;

  [[nodiscard]] virtual std::expected<AudioUnitPropertyValue, OSStatus> property(AudioUnitProperty property,
                                                                                 AudioUnitScope scope,
                                                                                 std::uint32_t element) const = 0;

  /// REQUIRES: device, format and callback are set (else kAudioUnitErr_FailedInitialization). Opens the device at its
  /// nominal rate. Fails when the device is gone, in use, or cannot be driven. Initialising twice succeeds.
  [[nodiscard]] virtual OSStatus initialize() = 0;

  /// Stops if running, closes the device. Always leaves the unit uninitialised.
  virtual OSStatus uninitialize() = 0;

  /// REQUIRES: initialised (else kAudioUnitErr_Uninitialized). Starting a running unit succeeds. Nothing that was
  /// rendered before the last stop() is played by the next start().
  [[nodiscard]] virtual OSStatus start() = 0;

  /// Stopping a stopped unit succeeds. Stops at once: frames rendered but not yet heard are dropped, and framesPlayed()
  /// reports how many were heard. A unit whose device is gone returns the device's status here, and is stopped
  /// nevertheless.
  [[nodiscard]] virtual OSStatus stop() = 0;

  /// Frames, counted at the client's rate from the last start(), that the device has played by the last stop(): the
  /// first of them is the first frame that was rendered after start(). Silence that the callback delivered counts.
  /// Valid while stopped; 0 before the first start.
  [[nodiscard]] virtual std::int64_t framesPlayed() const = 0;

  /// From the next start() on the unit records in `record` what it hands to its device. A unit need not record. REQUIRES:
  /// not initialised.
  virtual void setDeliveryRecord(std::shared_ptr<DeliveryRecord> record) = 0;

  /// Number of underruns since initialize(), each recovered inside the unit.
  [[nodiscard]] virtual std::uint64_t underrunCount() const = 0;
};

/// Makes output units. Owned by the AudioHardware, which outlives every unit.
class AudioOutputComponent {
 public:
  virtual ~AudioOutputComponent() = default;

  /// A success may hold null: no unit could be made, for an unknown reason.
  [[nodiscard]] virtual std::expected<std::unique_ptr<AudioOutputUnit>, OSStatus> newInstance() = 0;
};

}  // namespace tolvane
