#pragma once
// An output unit on an ALSA device. Everything here is for the player's thread; the render thread lives in
// AlsaRenderLoop and reports through the run loop. Must not outlive its hardware. If the driver does not return from a
// start or a stop, the render loop is abandoned, and the unit is dead: it can only be destroyed.

#include <memory>

#include "platform/Log.h"
#include "platform/RunLoop.h"
#include "platform/adapter/AdapterOutputUnit.h"
#include "platform/alsa/cards/AlsaDevice.h"
#include "platform/alsa/pcm/AlsaRenderLoop.h"

namespace tolvane {

class AlsaOutputUnit : public AdapterOutputUnit {
 public:
  /// What a unit needs of its hardware.
  class Host {
   public:
    virtual ~Host() = default;
    [[nodiscard]] virtual std::shared_ptr<AlsaDevice> deviceWithId(AudioObjectID id) = 0;
    /// The device of a running unit has failed.
    virtual void deviceFailed(AudioObjectID id) = 0;
    [[nodiscard]] virtual RunLoop& runLoop() = 0;
    [[nodiscard]] virtual Log& log() = 0;
    [[nodiscard]] virtual const std::function<bool(pid_t)>& makeRealtime() = 0;
  };

  explicit AlsaOutputUnit(Host& host) : host_(host) {}
  ~AlsaOutputUnit() override;

  OSStatus initialize() override;
  OSStatus uninitialize() override;
  OSStatus start() override;
  OSStatus stop() override;
  std::int64_t framesPlayed() const override;
  std::uint64_t underrunCount() const override;

 private:
  /// The remaining state of an abandoned render loop.
  struct LeftBehind {
    OSStatus error = noErr;  ///< reading clears it
    std::int64_t framesPlayed = 0;
    std::optional<std::int64_t> sampleTime;
    std::uint64_t underruns = 0;
  };

  // AdapterOutputUnit
  bool hasDevice(AudioObjectID id) const override { return host_.deviceWithId(id) != nullptr; }
  std::expected<OSStatus, OSStatus> takeRenderError() const override;
  std::expected<bool, OSStatus> isAlive() const override;
  std::expected<double, OSStatus> sampleTime() const override;

  void handleNotice();
  void logUnderruns(bool isLast);
  void surrender();
  void leaveBehind();
  void endDeliveries();

  Host& host_;

  // While initialised; the loop is destroyed before the device.
  std::shared_ptr<EventDescriptor> notice_;
  std::shared_ptr<AlsaDevice> device_;
  std::shared_ptr<AlsaRenderLoop> loop_;  ///< null after it was abandoned
  mutable std::optional<LeftBehind> left_;
  std::optional<DeliveryRecord::Form> deliveryForm_;  ///< nothing: the samples that reach the device are computed
  std::uint32_t bufferFrames_ = 0;                    ///< of the device's ring
  RunLoop::Watch noticeWatch_;
  std::uint64_t underrunsLogged_ = 0;
  RunLoop::TimePoint nextUnderrunLine_ = RunLoop::TimePoint::min();
  bool isFailureReported_ = false;
};

}  // namespace tolvane
