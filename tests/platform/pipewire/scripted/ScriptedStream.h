#pragma once
// A stream of the scripted server: renders a quantum of frames at a time as the manual time passes, and gets into the
// trouble that the script says. Player's thread, which also is the thread of the render callback.

#include <cstdint>
#include <functional>
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
  /// Of the library's stream: usable, failed, or not connected to a sink any more.
  enum class State : std::uint8_t { connected, error, unconnected };

  ScriptedStream(ScriptedServer& server, std::uint32_t node, Setup setup, std::unique_ptr<RenderPipeline> pipeline,
                 std::function<void()> changed);
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
  std::uint64_t underruns() const override { return underruns_; }
  std::uint32_t quantum() const override { return cycles_ > 0 ? quantumFrames : 0; }
  std::uint64_t cycles() const override { return cycles_; }
  RunLoop::Duration delay() const override;
  PipeWireStreamFacts facts() const override;
  const Setup& setup() const override { return setup_; }

  [[nodiscard]] std::uint32_t node() const { return node_; }

  // The script.

  /// The next so many cycles find no buffer to fill.
  void runDry(int cycles) { dryCycles_ = cycles; }
  /// On: the sink asks for no frames, and calls the stream playing.
  void stall(bool isStalled);
  /// As another program does it in the server's mixer. Every start() undoes it.
  void setVolume(float volume, bool isMuted);
  void setState(State state);

 private:
  void pull();
  void skipCycle();
  void setAlarm();
  [[nodiscard]] bool isAsked() const { return isRunning_ && !isStalled_ && state_ == State::connected; }
  [[nodiscard]] OSStatus troubleStatus() const;
  [[nodiscard]] std::int64_t heard() const;

  ScriptedServer& server_;
  const std::uint32_t node_;
  const Setup setup_;
  const std::unique_ptr<RenderPipeline> pipeline_;
  const std::function<void()> changed_;
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
  std::uint64_t underruns_ = 0;
  int dryCycles_ = 0;
  bool isStalled_ = false;
  State state_ = State::connected;
  float volume_ = 1;
  bool isMuted_ = false;
};

}  // namespace tolvane::test
