#include "engine/UpcomingTrack.h"

#include <utility>

namespace tolvane {

UpcomingTrack::UpcomingTrack(TrackPreparation preparation, RunLoop& runLoop, Background background,
                             std::function<void()> ready)
    : runLoop_(runLoop),
      preparation_(std::move(preparation)),
      isReady_(std::move(ready)),
      reading_(runLoop, background),
      check_(runLoop, std::move(background)) {}

void UpcomingTrack::want(std::optional<FileURL> url) {
  if (url == wanted_) return;
  forget();
  wanted_ = std::move(url);
}

void UpcomingTrack::forget() {
  if (progress_) progress_->cancel();
  progress_.reset();
  reading_.cancel();
  check_.cancel();
  ready_.reset();
  lent_.reset();
  taken_ = nullptr;
  hasBegun_ = false;
  wanted_.reset();
}

void UpcomingTrack::prepare(std::uint64_t heldBytes) {
  if (!wanted_ || hasBegun_) return;
  hasBegun_ = true;
  heldBytes_ = heldBytes;
  progress_ = std::make_shared<ReadingProgress>();
  reading_.start(
      [url = *wanted_, progress = progress_, preparation = preparation_.beside(heldBytes)]() -> std::optional<Ready> {
        const auto before = preparation.fileVersion(url);
        if (!before) return std::nullopt;
        auto prepared = preparation.prepare(url, *progress);
        // A file that was written meanwhile may have been read as a mixture of two versions.
        if (!prepared || preparation.fileVersion(url) != before) return std::nullopt;
        return Ready{*std::move(prepared), *before};
      },
      [this](std::optional<Ready> result) { finishReading(std::move(result)); });
}

void UpcomingTrack::finishReading(std::optional<Ready> result) {
  progress_.reset();
  if (const auto taken = std::exchange(taken_, nullptr)) {
    forget();
    return taken(result ? std::optional(std::move(result->audio)) : std::nullopt);
  }
  ready_ = std::move(result);
  if (ready_) isReady_();
}

void UpcomingTrack::checkVersion(std::function<void(bool)> checked) {
  check_.start([url = *wanted_, preparation = preparation_,
                version = ready_->version] { return preparation.fileVersion(url) == version; },
               std::move(checked));
}

bool UpcomingTrack::isConfirmed() const {
  constexpr auto lately = std::chrono::seconds(10);
  return ready_ && ready_->confirmedAt != RunLoop::TimePoint::min() && runLoop_.now() - ready_->confirmedAt <= lately;
}

void UpcomingTrack::confirm(std::function<void()> confirmed) {
  if (check_.isUnderWay()) return;  // the same check
  checkVersion([this, confirmed = std::move(confirmed)](bool isSame) {
    if (isSame) {
      ready_->confirmedAt = runLoop_.now();
      return confirmed();
    }
    ready_.reset();
    hasBegun_ = false;
    prepare(heldBytes_);
  });
}

PreparedAudio UpcomingTrack::takeConfirmed() {
  check_.cancel();
  lent_ = ready_->version;
  lentConfirmedAt_ = ready_->confirmedAt;
  auto audio = std::move(ready_->audio);
  ready_.reset();
  return audio;
}

void UpcomingTrack::putBack(PreparedAudio audio) {
  if (lent_) ready_ = Ready{std::move(audio), *std::exchange(lent_, std::nullopt), lentConfirmedAt_};
}

bool UpcomingTrack::take(const FileURL& url, Taken taken) {
  if (wanted_ != url || (!ready_ && !reading_.isUnderWay())) return false;
  taken_ = std::move(taken);
  if (!ready_) return true;
  checkVersion([this](bool isSame) {
    auto audio = isSame ? std::optional(std::move(ready_->audio)) : std::nullopt;
    const auto give = std::exchange(taken_, nullptr);
    forget();
    give(std::move(audio));
  });
  return true;
}

void UpcomingTrack::cancelTaking() {
  if (taken_) forget();
}

double UpcomingTrack::progress() const { return progress_ ? progress_->fraction() : 0; }

}  // namespace tolvane
