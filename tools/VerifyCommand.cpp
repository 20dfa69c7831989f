#include "tools/VerifyCommand.h"

#include <chrono>
#include <utility>

#include "tools/CaptureComparison.h"
#include "tools/ProbeCommands.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;

/// A sound server keeps a card, and so its format, for some seconds after the last stream.
constexpr auto longestWaitForCard = 10s;
constexpr auto nextTry = 250ms;
/// The time for the last frames to reach the end of the recording after the device has played them.
constexpr auto recordingTail = 500ms;
/// A recording is given up so long after the time that the track takes.
constexpr double longestDelaySeconds = 60;

}  // namespace

VerifyCommand::VerifyCommand(BitPerfectAudioPlayer& player, AudioFileServices& files, RunLoop& runLoop,
                             ProbeOutput& output, Recording* recording, std::function<void()> finished)
    : player_(player),
      runLoop_(runLoop),
      output_(output),
      recording_(recording),
      preparation_(files, std::make_shared<AtomicOutputLevels>()),
      finished_(std::move(finished)) {}

void VerifyCommand::start(const ProbeArguments& arguments) {
  files_ = arguments.files;
  player_.setDeliveryFinished([this](const DeliveryReport& report) {
    if (current_ && !current_->report) current_->report = report;
  });
  subscriptions_.push_back(
      player_.audioPathStatus().subscribe([this](const AudioPathStatus& status) { pathChanged(status); }));
  // The player is still in this operation: continue in a later turn.
  subscriptions_.push_back(
      player_.playbackCompletionCount().subscribe([this](std::int64_t) { runLoop_.post([this] { completed(); }); }));
  (void)player_.setExclusiveAccessEnabled(arguments.play.isExclusive);
  playNext();
}

void VerifyCommand::playNext() {
  if (isFinished_) return;
  if (nextFile_ == files_.size()) return finish();
  current_.emplace().url = fileURLFromArgument(files_[nextFile_++]);
  if (recording_ == nullptr) return play();
  player_.stop();  // the card must be free to take the next track's format
  auto prepared = preparation_.prepare(current_->url);
  if (!prepared) return play();  // it reports the reason
  record(*std::move(prepared), runLoop_.now() + longestWaitForCard);
}

/// Begins to record, then to play.
void VerifyCommand::record(PreparedAudio track, RunLoop::TimePoint lastTry) {
  const auto& format = track.context->format();
  const auto frames = static_cast<std::size_t>(track.context->totalFrames());
  const auto started =
      recording_->start({.rate = static_cast<std::uint32_t>(format.mSampleRate),
                         .channels = format.mChannelsPerFrame,
                         .maximumFrames = frames + static_cast<std::size_t>(format.mSampleRate * longestDelaySeconds)});
  if (started) {
    current_->recorded = std::move(track);
    return play();
  }
  if (runLoop_.now() >= lastTry) {
    fail(started.error());
    return goOn();
  }
  timer_ =
      runLoop_.scheduleTimer(nextTry, false, [this, track = std::move(track), lastTry] { record(track, lastTry); });
}

void VerifyCommand::play() { player_.play(current_->url); }

void VerifyCommand::pathChanged(const AudioPathStatus& status) {
  switch (status.kind) {
    case AudioPathStatus::Kind::ready:
    case AudioPathStatus::Kind::configuring:
      return;
    case AudioPathStatus::Kind::error:
      // The player is still in this operation: continue in a later turn.
      return runLoop_.post([this, detail = status.detail, words = plainly(player_, status)] {
        if (!current_) return;
        current_->plainly = words;
        fail(detail);
        goOn();
      });
    default:
      if (!current_) return;
      current_->verdict = status.label;
      current_->plainly = plainly(player_, status);
  }
}

void VerifyCommand::completed() {
  if (!current_) return;
  if (!current_->recorded) {
    printCurrent();
    return goOn();
  }
  timer_ = runLoop_.scheduleTimer(recordingTail, false, [this] {
    printCurrent();
    goOn();
  });
}

void VerifyCommand::printCurrent() {
  if (!current_->report) return fail("Nothing was recorded of what the device was given.");
  const DeliveryReport& report = *current_->report;
  Json line{{"verdict", current_->verdict}};
  describe(line, report);
  if (!current_->plainly.empty()) line["plainly"] = current_->plainly;
  if (report.result != DeliveryReport::Result::matches) line["error"] = deliverySentence(report);
  if (const auto track = std::exchange(current_->recorded, {})) {
    const CaptureComparison found = compareCapture(*track, recording_->stop());
    line["captured"] = {{"result", resultName(found.result)},
                        {"frames", found.frames},
                        {"firstDifference", found.firstDifference ? Json(*found.firstDifference) : Json(nullptr)},
                        {"detail", found.detail}};
    if (found.result != CaptureComparison::Result::matches && !line.contains("error")) line["error"] = found.detail;
  }
  output_.print(line);
  current_.reset();
}

void VerifyCommand::fail(const std::string& error) {
  if (!current_) return;
  if (current_->recorded) (void)recording_->stop();
  Json line{{"url", current_->url.absoluteString()},
            {"verdict", current_->verdict},
            {"result", "unknown"},
            {"error", error}};
  if (!current_->plainly.empty()) line["plainly"] = current_->plainly;
  output_.print(line);
  current_.reset();
}

void VerifyCommand::goOn() {
  // In a later turn: the player may still be in the operation that has just ended.
  runLoop_.post([this] { playNext(); });
}

void VerifyCommand::stop() {
  if (isFinished_) return;
  timer_ = {};
  player_.stop();
  fail("Stopped before the end.");
  finish();
}

void VerifyCommand::finish() {
  if (!std::exchange(isFinished_, true)) finished_();
}

}  // namespace tolvane
