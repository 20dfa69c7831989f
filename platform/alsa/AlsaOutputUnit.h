#pragma once
// An output unit on an ALSA device. Everything here is for the main thread; the render thread lives in AlsaRenderLoop,
// and what it has to tell reaches people through the run loop. Must not outlive its hardware.

#include <memory>

#include "platform/Log.h"
#include "platform/RunLoop.h"
#include "platform/alsa/AlsaDevice.h"
#include "platform/alsa/AlsaRenderLoop.h"
#include "platform/conversion/TabledOutputUnit.h"

namespace tolvane {

class AlsaOutputUnit : public TabledOutputUnit {
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
  // TabledOutputUnit
  bool hasDevice(AudioObjectID id) const override { return host_.deviceWithId(id) != nullptr; }
  std::expected<OSStatus, OSStatus> takeRenderError() const override;
  std::expected<bool, OSStatus> isAlive() const override;
  std::expected<double, OSStatus> sampleTime() const override;

  void handleNotice();
  void logUnderruns(bool isLast);
  void surrender();

  Host& host_;

  // While initialised; the loop goes before the device, and both before what they signal.
  std::unique_ptr<EventDescriptor> notice_;
  std::shared_ptr<AlsaDevice> device_;
  std::unique_ptr<AlsaRenderLoop> loop_;
  RunLoop::Timer noticeWatch_;
  std::uint64_t underrunsLogged_ = 0;
  RunLoop::TimePoint nextUnderrunLine_ = RunLoop::TimePoint::min();
  bool failureTold_ = false;
};

}  // namespace tolvane
