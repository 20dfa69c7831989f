#pragma once
// The connection to a PipeWire server, and the facts read through it. Player's thread: the library's loop runs inside
// the run loop, and inside the few bounded waits. Connects to the server whenever it appears, also after it has died.

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/DeviceCalls.h"
#include "platform/Log.h"
#include "platform/RunLoop.h"
#include "platform/pipewire/facts/PipeWireFacts.h"
#include "platform/pipewire/server/PipeWireServerWatch.h"
#include "platform/pipewire/server/SoundServer.h"

struct pw_context;
struct pw_core;
struct pw_loop;
struct spa_dict;

namespace tolvane {

class PipeWireObject;

class PipeWireConnection final : public SoundServer {
 public:
  /// `calls` names and interrupts the waits; null: they are not interrupted. Waits for a running server, for a bounded
  /// time: see open().
  PipeWireConnection(RunLoop& runLoop, Log& log, DeviceCalls* calls, Events events);
  ~PipeWireConnection() override;

  // SoundServer
  void open() override;
  void reconnect() override { tryToConnect(); }
  bool isConnected() const override { return core_ != nullptr; }
  const PipeWireFacts& facts() const override { return isReady_ ? facts_ : none_; }
  const std::string& serverName() const override { return serverName_; }
  DeviceCalls::Wait beginWait() override;
  bool waitUntil(const std::function<bool()>& condition, RunLoop::Duration limit) override;
  bool roundTrip(RunLoop::Duration limit) override;
  bool setProfile(std::uint32_t card, std::uint32_t profile) override;
  void suspend(std::uint32_t sink) override;
  std::unique_ptr<SoundServerStream> makeStream(SoundServerStream::Setup setup,
                                                std::unique_ptr<RenderPipeline> pipeline,
                                                std::function<void()> changed) override;

  /// Null while not connected.
  [[nodiscard]] pw_core* core() const { return core_; }

 private:
  friend struct PipeWireCallbacks;

  void tryToConnect();
  void scheduleRetry();
  void disconnect();
  void iterate(int milliseconds);
  void settle();
  void answered(int sequence);

  // Called by the library, through PipeWireCallbacks.
  void globalAdded(std::uint32_t id, const char* type, const spa_dict* props);
  void globalRemoved(std::uint32_t id);

  RunLoop& runLoop_;
  Log& log_;
  const std::unique_ptr<DeviceCalls> ownCalls_;  ///< null if they were passed in
  DeviceCalls& calls_;
  const Events events_;

  pw_loop* loop_ = nullptr;
  pw_context* context_ = nullptr;
  pw_core* core_ = nullptr;
  struct Session;  // core and registry listeners
  std::unique_ptr<Session> session_;
  std::map<std::uint32_t, std::unique_ptr<PipeWireObject>> objects_;
  PipeWireFacts facts_;
  const PipeWireFacts none_;
  bool isReady_ = false;
  int answersToReady_ = 0;
  bool isChanged_ = false;
  bool isBroken_ = false;
  std::string serverName_ = "PipeWire";
  int answered_ = 0;  ///< the last round trip that came back

  RunLoop::Watch loopWatch_;
  RunLoop::Timer retry_;
  PipeWireServerWatch watch_;
};

}  // namespace tolvane
