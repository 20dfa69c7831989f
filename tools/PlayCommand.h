#pragma once
// `tolvane-probe play`: drives the engine through a list of files and prints each published change. Main thread.

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "engine/BitPerfectAudioPlayer.h"
#include "tools/ProbeArguments.h"
#include "tools/ProbeOutput.h"

namespace tolvane {

class PlayCommand {
 public:
  /// `finished` is called once, from the run loop, when all is over.
  /// `deviceNamed` finds the device of a name, as findDevice() does.
  PlayCommand(BitPerfectAudioPlayer& player, RunLoop& runLoop, ProbeOutput& output,
              std::function<AudioObjectID(const std::string&)> deviceNamed, std::function<void()> finished);

  void start(const ProbeArguments& arguments);

  /// Stops as a listener would, and finishes.
  void stop();

 private:
  void observe();
  void print(std::string_view property, Json members);
  void playNext();
  void announceNext();
  void scheduleListener();
  void scheduleActions();
  void act(const PlayAction& action);
  void pauseForAWhile();
  void hasFailed();
  void finish();

  BitPerfectAudioPlayer& player_;
  RunLoop& runLoop_;
  ProbeOutput& output_;
  std::function<AudioObjectID(const std::string&)> deviceNamed_;
  std::function<void()> finished_;
  RunLoop::TimePoint startedAt_{};
  std::vector<std::string> files_;
  PlayOptions options_;
  std::size_t nextFile_ = 0;
  std::int64_t completed_ = 0;
  std::uint64_t crossings_ = 0;
  std::uint64_t underruns_ = 0;
  bool isFinished_ = false;
  std::vector<Subscription> subscriptions_;
  RunLoop::Timer pauseTimer_;
  RunLoop::Timer exclusiveTimer_;
  RunLoop::Timer sharedTimer_;
  RunLoop::Timer stopTimer_;
  RunLoop::Timer retryTimer_;
  std::vector<RunLoop::Timer> actionTimers_;
};

}  // namespace tolvane
