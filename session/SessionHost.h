#pragma once
// The player as the window reaches it: the session, the output devices and the settings, behind a link. Carries out
// the window's commands in their order, a turn each, and publishes what has come of them. Player's thread.

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/UserDefaults.h"
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
    Background background = runAtOnce;  ///< reads the tracks that are to be played
    Background lowPriority{};           ///< reads those that will be played next; null: as `background`
    /// The command that came with this interrupt is being carried out: waiting for a device is allowed again.
    std::function<void(std::uint64_t interrupt)> obey{};
  };

  /// Restores what the last session has left, loads the devices, publishes, and takes the commands that have come
  /// meanwhile. Services and link outlive the host.
  SessionHost(const Services& services, SessionLink& link);
  ~SessionHost();
  SessionHost(const SessionHost&) = delete;
  SessionHost& operator=(const SessionHost&) = delete;

  /// To be called on this thread once the defaults, which were not loaded when the host was made, are.
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
  void postWhileAlive(void (SessionHost::*work)());

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
  std::shared_ptr<const PathDiagnostics> diagnostics_;  ///< null while the window does not ask for it

  // Last, so that they end before the state they act on.
  std::shared_ptr<SessionHost*> self_ = std::make_shared<SessionHost*>(this);  ///< posted work holds it weakly
  Subscription changes_;
  RunLoop::Timer progressTimer_;     ///< while a track is prepared
  RunLoop::Timer diagnosticsTimer_;  ///< while the window asks for diagnostics
};

}  // namespace tolvane
