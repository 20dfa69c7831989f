#pragma once
// Detects that the track has been rendered to its end, waits until it has been heard to its end, and ends playback; or
// detects that the device has reached the coupled track. Player's thread.
//
// The wait lasts for the drain of two buffers. If the device reports what it has played, it continues while frames are
// left: a sink may hold far more than two buffers, and drops them when it is closed.

#include <cstdint>

#include "platform/RunLoop.h"

namespace tolvane {

class EngineStateMachine;

class PlaybackCompletion {
 public:
  explicit PlaybackCompletion(EngineStateMachine& machine) : machine_(machine) {}

  /// Checks for the end after `remainingFrames` frames and a drain margin. Only while playing.
  void scheduleCompletionTimer(std::int64_t remainingFrames);

  /// Another track is coupled after this one: checks for the moment when it is heard.
  void scheduleCrossingCheck();

  /// Stops checking until the next schedule.
  void cancel();

 private:
  /// Seconds that the device needs to play out what it was handed: two buffers, but at least 0.05 s.
  [[nodiscard]] double drainMargin() const;
  /// Seconds until the track has been heard to its end; 0 if the device does not report what it has played.
  [[nodiscard]] double secondsNotHeard() const;
  void scheduleCompletionCheck(double delay);
  void checkForPlaybackCompletion();
  void checkForCrossing();
  void complete();

  EngineStateMachine& machine_;
  RunLoop::Timer completionTimer_;
  bool isWaitingForPlaybackDrain_ = false;
  int lateChecks_ = 0;  ///< since the drain; limited for a device that stands still
};

}  // namespace tolvane
