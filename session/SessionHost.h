#pragma once
// The player as the window reaches it: the session, the output devices and the settings, behind a link. Executes the
// window's commands in order, one per turn, and publishes the results. Player's thread.

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/UserDefaults.h"
#include "platform/WeakSelf.h"
#include "session/OutputDeviceList.h"
#include "session/PlayerSession.h"
#include "session/SessionLink.h"

namespace tolvane {

class SessionHost {
 public:
  struct Services {
    AudioHardware& hardware;
    AudioFileServices& files;
    UserDefaults& defaults;
    FileBookmarks& bookmarks;
    RunLoop& runLoop;
    Log& log;
    Background background = runAtOnce;  ///< reads the tracks that are to be played now
    Background lowPriority{};           ///< reads those that will be played next; null: `background`
    /// The command that came with this interrupt is being executed: waits for a device are allowed again.
    std::function<void(std::uint64_t interrupt)> obey{};
  };

  /// Restores the state that the last session saved, loads the devices, publishes, and takes the commands that have
  /// arrived meanwhile. Services and link outlive the host.
  SessionHost(const Services& services, SessionLink& link);
  ~SessionHost();
  SessionHost(const SessionHost&) = delete;
  SessionHost& operator=(const SessionHost&) = delete;

  /// Must be called on this thread when the defaults have been loaded, if they were not when the host was made.
  void defaultsAreLoaded();

  [[nodiscard]] PlayerSession& session() { return session_; }
  [[nodiscard]] OutputDeviceList& devices() { return devices_; }

 private:
  class Execution;
  void executeNextCommand();
  void schedulePublication();
  void publish();
  void watchPreparation();
  void watchPath(bool isWatched);
  void diagnose();
  [[nodiscard]] SessionState state() const;
  void setExclusiveAccessEnabled(bool enabled);

  UserDefaults& defaults_;
  RunLoop& runLoop_;
  SessionLink& link_;
  PlayerSession session_;
  OutputDeviceList devices_;
  const std::function<void(std::uint64_t)> obey_;
  bool isExclusiveAccessEnabled_ = false;

  std::uint64_t lastCommand_ = 0;
  SessionLink::State published_;
  bool isPublicationScheduled_ = false;
  std::shared_ptr<const PathDiagnostics> diagnostics_;  ///< null unless the window requests it

  // Last, so that they end before the state they act on.
  WeakSelf<SessionHost> self_{this};
  Subscription changes_;
  RunLoop::Timer progressTimer_;     ///< while a track is prepared
  RunLoop::Timer diagnosticsTimer_;  ///< while the window requests diagnostics
};

}  // namespace tolvane
