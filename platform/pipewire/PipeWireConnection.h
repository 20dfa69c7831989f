#pragma once
// The connection to a PipeWire server, and what is known through it. Player's thread: the library's loop runs inside
// the run loop, and inside the few bounded waits. Finds the server whenever it comes, and again after it has died.

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/DeviceCalls.h"
#include "platform/Log.h"
#include "platform/RunLoop.h"
#include "platform/pipewire/PipeWireFacts.h"
#include "platform/pipewire/PipeWireServerWatch.h"

struct pw_context;
struct pw_core;
struct pw_loop;
struct spa_dict;

namespace tolvane {

class PipeWireObject;

class PipeWireConnection {
 public:
  /// `changed` runs after the facts have changed, `lost` after all of them have gone with the server; neither from
  /// inside a call of the library. Waits for a server that is there, for a bounded time: see open().
  struct Events {
    std::function<void()> changed;
    std::function<void()> lost;
  };
  PipeWireConnection(RunLoop& runLoop, Log& log, DeviceCalls& calls, Events events);
  ~PipeWireConnection();
  PipeWireConnection(const PipeWireConnection&) = delete;
  PipeWireConnection& operator=(const PipeWireConnection&) = delete;

  /// To be called once. Returns when a server that is there has told what it has, or after two seconds.
  void open();

  /// Looks for the server now instead of when the next attempt is due.
  void reconnect() { tryToConnect(); }

  [[nodiscard]] bool isConnected() const { return core_ != nullptr; }
  /// Empty until the server has told all that it had when it was found: half of it would be misleading.
  [[nodiscard]] const PipeWireFacts& facts() const { return isReady_ ? facts_ : none_; }
  /// "PipeWire 1.4.2"; without a version until the server states it.
  [[nodiscard]] const std::string& serverName() const { return serverName_; }
  /// Null while not connected.
  [[nodiscard]] pw_core* core() const { return core_; }

  /// Names the server as what is waited for, also between the waits below that follow each other.
  [[nodiscard]] DeviceCalls::Wait beginWait();

  /// Runs the library's loop until the condition holds. False: it did not within the limit, the server has gone, or the
  /// user wants something else (DeviceCalls::interrupt()).
  bool waitUntil(const std::function<bool()>& condition, RunLoop::Duration limit);

  /// Until the server has answered all that was asked so far.
  bool roundTrip(RunLoop::Duration limit);

  /// Chooses a card's profile without having it remembered. False: there is no such card (any more).
  bool setProfile(std::uint32_t card, std::uint32_t profile);
  /// Has a sink close its hardware, until somebody plays to it again.
  void suspend(std::uint32_t sink);

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

  RunLoop::Timer loopWatch_;
  RunLoop::Timer retry_;
  PipeWireServerWatch watch_;
};

}  // namespace tolvane
