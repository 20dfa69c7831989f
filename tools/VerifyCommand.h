#pragma once
// `tolvane-probe verify`: plays each file from its beginning to its end and prints a line: the verdict, and whether
// what the device was given is the file; beside it, with --capture, whether what its other end recorded is the file. A
// file of which that cannot be said is an error. Player's thread.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "engine/BitPerfectAudioPlayer.h"
#include "engine/TrackPreparation.h"
#include "platform/Recording.h"
#include "platform/RunLoop.h"
#include "tools/ProbeArguments.h"
#include "tools/ProbeOutput.h"

namespace tolvane {

class VerifyCommand {
 public:
  /// `finished` is called once, from the run loop, when all is over. `recording` may be null: nothing is recorded;
  /// `files` are read for the comparison with what was recorded.
  VerifyCommand(BitPerfectAudioPlayer& player, AudioFileServices& files, RunLoop& runLoop, ProbeOutput& output,
                Recording* recording, std::function<void()> finished);

  ~VerifyCommand() { player_.setDeliveryFinished({}); }
  VerifyCommand(const VerifyCommand&) = delete;
  VerifyCommand& operator=(const VerifyCommand&) = delete;

  void start(const ProbeArguments& arguments);
  void stop();

 private:
  /// The file that plays.
  struct Current {
    FileURL url;
    std::optional<PreparedAudio> recorded;  ///< what is recorded beside it, once the recording runs
    std::string verdict;                    ///< label of the last verdict
    std::string plainly;                    ///< of that verdict, or of the failure; empty: there are no plain words
    std::optional<DeliveryReport> report;
  };

  void playNext();
  void record(PreparedAudio track, RunLoop::TimePoint lastTry);
  void play();
  void pathChanged(const AudioPathStatus& status);
  void completed();
  /// REQUIRES: current_.
  void printCurrent();
  void fail(const std::string& error);
  void goOn();
  void finish();

  BitPerfectAudioPlayer& player_;
  RunLoop& runLoop_;
  ProbeOutput& output_;
  Recording* const recording_;
  TrackPreparation preparation_;
  std::function<void()> finished_;
  std::vector<std::string> files_;
  std::size_t nextFile_ = 0;
  std::optional<Current> current_;  ///< until its line is printed
  bool isFinished_ = false;
  std::vector<Subscription> subscriptions_;
  RunLoop::Timer timer_;  ///< until the recording can begin, or has what was on its way
};

}  // namespace tolvane
