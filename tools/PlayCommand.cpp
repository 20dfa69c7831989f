#include "tools/PlayCommand.h"

#include <algorithm>
#include <utility>

#include "engine/PathReport.h"
#include "platform/KernelName.h"
#include "tools/ProbeCommands.h"

namespace tolvane {

PlayCommand::PlayCommand(BitPerfectAudioPlayer& player, RunLoop& runLoop, ProbeOutput& output,
                         std::function<AudioObjectID(const std::string&)> findDevice, std::function<void()> finished)
    : player_(player),
      runLoop_(runLoop),
      output_(output),
      findDevice_(std::move(findDevice)),
      finished_(std::move(finished)) {}

void PlayCommand::start(const ProbeArguments& arguments) {
  startedAt_ = runLoop_.now();
  files_ = arguments.files;
  options_ = arguments.play;
  observe();
  player_.setOutputLevels(options_.volume, options_.balance);
  (void)player_.setExclusiveAccessEnabled(options_.isExclusive);
  playNext();
  scheduleListener();
}

void PlayCommand::observe() {
  const auto printValue = [this](std::string_view property) {
    return [this, property](const auto& value) { print(property, {{"value", value}}); };
  };
  subscriptions_.push_back(player_.isPlaying().subscribe(printValue("isPlaying")));
  subscriptions_.push_back(player_.isPaused().subscribe(printValue("isPaused")));
  subscriptions_.push_back(player_.duration().subscribe(printValue("duration")));
  subscriptions_.push_back(player_.sampleRate().subscribe(printValue("sampleRate")));
  subscriptions_.push_back(player_.currentURL().subscribe([this](const std::optional<FileURL>& url) {
    print("currentURL", {{"value", url ? Json(url->absoluteString()) : Json(nullptr)}});
  }));
  subscriptions_.push_back(player_.audioPathStatus().subscribe([this](const AudioPathStatus& status) {
    Json members{{"kind", kindName(status.kind)}, {"label", status.label}, {"detail", status.detail}};
    if (const std::string words = plainly(player_, status); !words.empty()) members["plainly"] = words;
    print("audioPathStatus", std::move(members));
    if (status.isOfAPath()) lastPath_ = player_.diagnostics();
    // The player is still in this operation: end in a later turn.
    if (status.kind == AudioPathStatus::Kind::error) runLoop_.post([this] { hasFailed(); });
  }));
  subscriptions_.push_back(player_.exclusiveAccessStatus().subscribe([this](const ExclusiveAccessStatus& status) {
    print("exclusiveAccessStatus", {{"kind", kindName(status.kind)}, {"message", status.message}});
  }));
  player_.setDeliveryFinished([this](const DeliveryReport& report) {
    Json members;
    describe(members, report);
    print("delivery", members);
  });
  subscriptions_.push_back(player_.playbackCompletionCount().subscribe([this](std::int64_t count) {
    print("playbackCompletionCount", {{"value", count}});
    ++completed_;
    if (const auto now = player_.statistics(); now.crossings != std::exchange(crossings_, now.crossings))
      print("crossing",
            {{"frame", now.lastCrossingFrame}, {"heardAt", secondsFromDuration(runLoop_.now() - startedAt_)}});
    playNext();
  }));
}

void PlayCommand::print(std::string_view property, Json members) {
  if (options_.printsReport) return;
  // Before what they led to, and close to when they came.
  if (const auto now = player_.statistics(); now.underruns != std::exchange(underruns_, now.underruns))
    print("underruns", {{"value", now.underruns}});
  Json line{{"t", secondsFromDuration(runLoop_.now() - startedAt_)}, {"property", property}};
  line.update(members);
  output_.print(line);
}

void PlayCommand::playNext() {
  if (nextFile_ == files_.size()) return runLoop_.post([this] { finish(); });
  const double start = nextFile_ == 0 ? options_.fromSeconds : 0;
  player_.play(
      fileURLFromArgument(files_[nextFile_++]),
      [this] {
        announceNext();
        scheduleActions();
      },
      [start](double duration) { return std::min(start, duration); });
}

void PlayCommand::announceNext() {
  const bool hasNext = nextFile_ < files_.size();
  player_.setUpcomingTrack(hasNext ? std::optional(fileURLFromArgument(files_[nextFile_])) : std::nullopt);
}

/// A file has begun: actions before its end, and after the end of the one before.
void PlayCommand::scheduleActions() {
  for (const PlayAction& action : options_.actions)
    if (nextFile_ == fileOf(action)) schedule(action);
}

std::size_t PlayCommand::fileOf(const PlayAction& action) { return action.file + (action.seconds < 0 ? 0 : 1); }

/// By what has been heard: music begins a while after the unit has been started. Negative when the file is over.
double PlayCommand::secondsUntil(const PlayAction& action) const {
  if (nextFile_ != fileOf(action)) return -1;
  const double end = action.seconds < 0 ? player_.duration().value() : 0;
  return end + action.seconds - player_.position().value_or(0);
}

void PlayCommand::schedule(const PlayAction& action) {
  constexpr double atTheMoment = 0.005;  // seconds
  const std::uint64_t id = nextAction_++;
  const auto interval = durationFromSeconds(std::max(secondsUntil(action), 0.0));
  actionTimers_[id] = runLoop_.scheduleTimer(interval, false, [this, id, action] {
    const auto timer = actionTimers_.extract(id);
    secondsUntil(action) > atTheMoment ? schedule(action) : act(action);
  });
}

void PlayCommand::act(const PlayAction& action) {
  player_.updateCurrentTrack();
  const double position = player_.position().value_or(0);
  print("action", {{"value", actionName(action.kind)}, {"file", nextFile_}, {"position", position}});
  switch (action.kind) {
    case PlayAction::Kind::pause:
      return pauseForAWhile();
    case PlayAction::Kind::seek:
      return player_.seek(action.number);
    case PlayAction::Kind::volume:
      return player_.setOutputLevels(action.number, options_.balance);
    case PlayAction::Kind::next:
      if (nextFile_ == files_.size()) return;
      files_[nextFile_] = action.text;
      return announceNext();
    case PlayAction::Kind::device:
      return player_.setOutputDevice(
          findDevice_(action.text), [this] { announceNext(); }, [](double, double heard) { return heard; });
    case PlayAction::Kind::exclusive:
    case PlayAction::Kind::shared:
      (void)player_.setExclusiveAccessEnabled(action.kind == PlayAction::Kind::exclusive);
      return announceNext();
    case PlayAction::Kind::say:
      return print("said", {{"value", action.text}});
  }
}

void PlayCommand::hasFailed() {
  constexpr auto patience = std::chrono::seconds(1);
  if (!options_.goesOnAfterErrors) return finish();
  retryTimer_ = runLoop_.scheduleTimer(patience, false, [this] { playNext(); });
}

void PlayCommand::pauseForAWhile() {
  player_.pause();
  pauseTimer_ = runLoop_.scheduleTimer(durationFromSeconds(options_.pauseForSeconds), false, [this] {
    if (player_.isPaused().value()) player_.resume();
  });
}

/// The user's actions while the music plays.
void PlayCommand::scheduleListener() {
  if (options_.pauseAtSeconds)
    pauseTimer_ =
        runLoop_.scheduleTimer(durationFromSeconds(*options_.pauseAtSeconds), false, [this] { pauseForAWhile(); });
  const auto switchAt = [this](std::optional<double> seconds, bool isExclusive) -> RunLoop::Timer {
    if (!seconds) return nullptr;
    return runLoop_.scheduleTimer(durationFromSeconds(*seconds), false,
                                  [this, isExclusive] { (void)player_.setExclusiveAccessEnabled(isExclusive); });
  };
  exclusiveTimer_ = switchAt(options_.exclusiveAtSeconds, true);
  sharedTimer_ = switchAt(options_.sharedAtSeconds, false);
  if (options_.forSeconds)
    stopTimer_ = runLoop_.scheduleTimer(durationFromSeconds(*options_.forSeconds), false, [this] { stop(); });
}

void PlayCommand::stop() {
  if (isFinished_) return;
  nextFile_ = files_.size();
  player_.stop();
  finish();
}

void PlayCommand::finish() {
  if (isFinished_) return;
  isFinished_ = true;
  pauseTimer_.reset();
  exclusiveTimer_.reset();
  sharedTimer_.reset();
  stopTimer_.reset();
  retryTimer_.reset();
  actionTimers_.clear();
  const OutputStatistics statistics = player_.statistics();
  Json line{{"t", secondsFromDuration(runLoop_.now() - startedAt_)},
            {"completed", completed_},
            {"underruns", statistics.underruns},
            {"recoveries", statistics.recoveries}};
  const AudioPathStatus& status = player_.audioPathStatus().value();
  const bool hasFailed = status.kind == AudioPathStatus::Kind::error;
  if (hasFailed) line["error"] = status.detail;
  options_.printsReport ? printReport(hasFailed) : output_.print(line);
  finished_();
}

/// By now nothing plays: the path is the last one that there was, all else is as it is at the end.
void PlayCommand::printReport(bool isError) {
  PathDiagnostics found = player_.diagnostics();
  if (!found.path) {
    found.path = lastPath_.path;
    found.url = lastPath_.url;
    found.exclusiveAccess = lastPath_.exclusiveAccess;
    found.rate = lastPath_.rate;
    found.bufferFrames = lastPath_.bufferFrames;
    if (!isError && lastPath_.path) found.status = lastPath_.status;
  }
  output_.printText(
      pathReport(found, {.playerVersion = TOLVANE_VERSION, .kernel = kernelName(), .namesFile = options_.namesFile}),
      isError);
}

}  // namespace tolvane
