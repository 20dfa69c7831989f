#pragma once
// `tolvane-probe play`: drives the engine through a list of files and prints each published change. Player's thread.

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "engine/BitPerfectAudioPlayer.h"
#include "tools/ProbeArguments.h"
#include "tools/ProbeOutput.h"

namespace tolvane {

class PlayCommand {
 public:
  /// `finished` is called once, from the run loop, when all is over.
  /// `findDevice` as in ProbeCommands.h.
  PlayCommand(BitPerfectAudioPlayer& player, RunLoop& runLoop, ProbeOutput& output,
              std::function<AudioObjectID(const std::string&)> findDevice, std::function<void()> finished);

  ~PlayCommand() { player_.setDeliveryFinished({}); }
  PlayCommand(const PlayCommand&) = delete;
  PlayCommand& operator=(const PlayCommand&) = delete;

  void start(const ProbeArguments& arguments);

  /// Stops as a user would, and finishes.
  void stop();

 private:
  void observe();
  void print(std::string_view property, Json members);
  void playNext();
  void announceNext();
  void scheduleListener();
  void scheduleActions();
  /// The number of the file that is played when the moment comes.
  [[nodiscard]] static std::size_t fileOf(const PlayAction& action);
  [[nodiscard]] double secondsUntil(const PlayAction& action) const;
  void schedule(const PlayAction& action);
  void act(const PlayAction& action);
  void pauseForAWhile();
  void hasFailed();
  void finish();
  void printReport(bool isError);

  BitPerfectAudioPlayer& player_;
  RunLoop& runLoop_;
  ProbeOutput& output_;
  std::function<AudioObjectID(const std::string&)> findDevice_;
  std::function<void()> finished_;
  RunLoop::TimePoint startedAt_{};
  std::vector<std::string> files_;
  PlayOptions options_;
  std::size_t nextFile_ = 0;
  std::int64_t completed_ = 0;
  std::uint64_t crossings_ = 0;
  std::uint64_t underruns_ = 0;
  bool isFinished_ = false;
  PathDiagnostics lastPath_;  ///< of the last track that had one
  std::vector<Subscription> subscriptions_;
  RunLoop::Timer pauseTimer_;
  RunLoop::Timer exclusiveTimer_;
  RunLoop::Timer sharedTimer_;
  RunLoop::Timer stopTimer_;
  RunLoop::Timer retryTimer_;
  std::uint64_t nextAction_ = 0;
  std::map<std::uint64_t, RunLoop::Timer> actionTimers_;  ///< of the actions to come
};

}  // namespace tolvane
