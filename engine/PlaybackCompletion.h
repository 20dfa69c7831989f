#pragma once
// Notices that the track has been rendered to its end, waits until it has been heard to its end, and ends playback; or
// that the device has come to the coupled track. Player's thread.
//
// The wait is the drain of two buffers, and then, where the device reports what it has played, as long as frames are left:
// a sink may hold far more than two buffers, and drops them when it is closed.

#include <cstdint>

#include "platform/RunLoop.h"

namespace tolvane {

class EngineStateMachine;

class PlaybackCompletion {
 public:
  explicit PlaybackCompletion(EngineStateMachine& machine) : machine_(machine) {}

  /// Looks for the end when `remainingFrames` frames and a drain margin will have passed. Only while playing.
  void scheduleCompletionTimer(std::int64_t remainingFrames);

  /// Another track is coupled behind this one: looks for the moment in which it is heard.
  void scheduleCrossingCheck();

  /// No end is looked for until the next schedule.
  void cancel();

 private:
  /// Seconds in which the device plays out what it was handed: two buffers, but at least 0.05 s.
  [[nodiscard]] double drainMargin() const;
  /// Of the track's end; 0 where the device does not report what it has played.
  [[nodiscard]] double secondsNotHeard() const;
  void scheduleCompletionCheck(double delay);
  void checkForPlaybackCompletion();
  void checkForCrossing();
  void complete();

  EngineStateMachine& machine_;
  RunLoop::Timer completionTimer_;
  bool isWaitingForPlaybackDrain_ = false;
  int lateChecks_ = 0;  ///< made since the drain; a device that stands still gets a few
};

}  // namespace tolvane
