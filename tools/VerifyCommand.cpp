#include "tools/VerifyCommand.h"

#include <utility>

#include "tools/ProbeCommands.h"

namespace tolvane {

VerifyCommand::VerifyCommand(BitPerfectAudioPlayer& player, RunLoop& runLoop, ProbeOutput& output,
                             const std::function<AudioObjectID(const std::string&)>& /*deviceNamed*/,
                             std::function<void()> finished)
    : player_(player), runLoop_(runLoop), output_(output), finished_(std::move(finished)) {}

void VerifyCommand::start(const ProbeArguments& arguments) {
  files_ = arguments.files;
  player_.setDeliveryFinished([this](const DeliveryReport& report) { delivered(report); });
  subscriptions_.push_back(
      player_.audioPathStatus().subscribe([this](const AudioPathStatus& status) { pathChanged(status); }));
  subscriptions_.push_back(player_.playbackCompletionCount().subscribe([this](std::int64_t) {
    runLoop_.post([this] { playNext(); });
  }));
  (void)player_.setExclusiveAccessEnabled(arguments.play.isExclusive);
  playNext();
}

void VerifyCommand::playNext() {
  if (isFinished_) return;
  if (!std::exchange(isAnswered_, true)) fail("Nothing was recorded of what the device was given.");
  if (nextFile_ == files_.size()) return finish();
  isAnswered_ = false;
  verdict_.clear();
  player_.play(fileURLFromArgument(files_[nextFile_++]));
}

void VerifyCommand::pathChanged(const AudioPathStatus& status) {
  switch (status.kind) {
    case AudioPathStatus::Kind::ready:
    case AudioPathStatus::Kind::configuring:
      return;
    case AudioPathStatus::Kind::error:
      // The player is still in the middle of it: go on in a turn of its own.
      return runLoop_.post([this, detail = status.detail] {
        if (!std::exchange(isAnswered_, true)) fail(detail);
        playNext();
      });
    default:
      verdict_ = status.label;
  }
}

void VerifyCommand::delivered(const DeliveryReport& report) {
  if (std::exchange(isAnswered_, true)) return;
  Json line{{"verdict", verdict_}};
  describe(line, report);
  if (report.result != DeliveryReport::Result::matches) line["error"] = deliverySentence(report);
  output_.print(line);
}

void VerifyCommand::fail(const std::string& error) {
  output_.print({{"url", fileURLFromArgument(files_[nextFile_ - 1]).absoluteString()},
                 {"verdict", verdict_},
                 {"result", "unknown"},
                 {"error", error}});
}

void VerifyCommand::stop() {
  if (isFinished_) return;
  player_.stop();
  if (!std::exchange(isAnswered_, true)) fail("Stopped before the end.");
  finish();
}

void VerifyCommand::finish() {
  if (!std::exchange(isFinished_, true)) finished_();
}

}  // namespace tolvane
