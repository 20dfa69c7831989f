#pragma once
// `tolvane-probe verify`: plays each file from its beginning to its end and prints a line: the verdict, and whether what
// the device was given is the file. A file of which that cannot be said is an error. Main thread.

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "engine/BitPerfectAudioPlayer.h"
#include "platform/RunLoop.h"
#include "tools/ProbeArguments.h"
#include "tools/ProbeOutput.h"

namespace tolvane {

class VerifyCommand {
 public:
  /// As PlayCommand's; no device is looked for.
  VerifyCommand(BitPerfectAudioPlayer& player, RunLoop& runLoop, ProbeOutput& output,
                const std::function<AudioObjectID(const std::string&)>& deviceNamed, std::function<void()> finished);

  ~VerifyCommand() { player_.setDeliveryFinished({}); }
  VerifyCommand(const VerifyCommand&) = delete;
  VerifyCommand& operator=(const VerifyCommand&) = delete;

  void start(const ProbeArguments& arguments);
  void stop();

 private:
  void playNext();
  void pathChanged(const AudioPathStatus& status);
  void delivered(const DeliveryReport& report);
  void fail(const std::string& error);
  void finish();

  BitPerfectAudioPlayer& player_;
  RunLoop& runLoop_;
  ProbeOutput& output_;
  std::function<void()> finished_;
  std::vector<std::string> files_;
  std::size_t nextFile_ = 0;
  std::string verdict_;  ///< label of the last verdict on the file that plays
  bool isAnswered_ = true;  ///< a line was printed for that file
  bool isFinished_ = false;
  std::vector<Subscription> subscriptions_;
};

}  // namespace tolvane
