#pragma once
// A stream of the scripted server: renders a quantum of frames at a time as the manual time passes. Main thread, which
// also is the thread of the render callback.

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/pipewire/server/SoundServer.h"
#include "platform/simulated/ManualRunLoop.h"

namespace tolvane::test {

class ScriptedServer;

class ScriptedStream final : public SoundServerStream {
 public:
  static constexpr std::uint32_t quantumFrames = 1024;

  ScriptedStream(ScriptedServer& server, std::uint32_t node, Setup setup, std::unique_ptr<RenderPipeline> pipeline);
  ~ScriptedStream() override;

  OSStatus open() override;
  OSStatus start(const AURenderCallback& callback) override;
  void stop() override;
  void markLost(OSStatus status) override;
  bool isAlive() const override { return isRunning_ && !isLost_; }
  bool isLost() const override { return isLost_; }
  OSStatus lostStatus() const override { return lostStatus_; }
  std::int64_t framesPlayed() const override { return framesPlayed_; }
  std::optional<std::int64_t> sampleTime() const override;
  OSStatus takeLastError() override { return std::exchange(lastError_, noErr); }
  std::uint64_t underruns() const override { return 0; }
  std::uint32_t quantum() const override { return cycles_ > 0 ? quantumFrames : 0; }
  std::uint64_t cycles() const override { return cycles_; }
  RunLoop::Duration delay() const override;
  PipeWireStreamFacts facts() const override;
  const Setup& setup() const override { return setup_; }

  [[nodiscard]] std::uint32_t node() const { return node_; }

 private:
  void pull();
  [[nodiscard]] std::int64_t heard() const;

  ScriptedServer& server_;
  const std::uint32_t node_;
  const Setup setup_;
  const std::unique_ptr<RenderPipeline> pipeline_;
  const std::unique_ptr<ManualRunLoop::HardwareAlarm> alarm_;
  std::vector<std::byte> buffer_;
  RunLoop::TimePoint startedAt_{};
  bool isRunning_ = false;
  bool isLost_ = false;
  bool everStarted_ = false;
  OSStatus lostStatus_ = noErr;
  OSStatus lastError_ = noErr;
  std::int64_t rendered_ = 0;      // since the last start
  std::int64_t framesPlayed_ = 0;  // of the last run
  std::int64_t base_ = 0;          // of the runs before
  std::uint64_t cycles_ = 0;
};

}  // namespace tolvane::test
