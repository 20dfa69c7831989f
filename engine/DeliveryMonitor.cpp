#include "engine/DeliveryMonitor.h"

#include <algorithm>
#include <utility>

namespace tolvane {

DeliveryMonitor::Watched* DeliveryMonitor::find(const AudioRenderContext* track) {
  const auto found = std::ranges::find(watched_, track, [](const Watched& watched) { return watched.check.context(); });
  return found == watched_.end() ? nullptr : &*found;
}

DeliveryCheck::Track deliveredTrack(const PreparedAudio& track) {
  return {.context = track.context,
          .bitDepth = track.sourceBitDepth,
          .isFloat = track.sourceIsFloat,
          .isLossless = track.isLossless,
          .signature = track.signature,
          .channels = track.channels,
          .url = track.url};
}

void DeliveryMonitor::expect(const PreparedAudio& track) {
  if (Watched* const known = find(track.context.get())) {
    known->isReleased = false;
    return;
  }
  watched_.push_back({DeliveryCheck(deliveredTrack(track))});
  if (!areLevelsNeutral_) watched_.back().check.interrupt(DeliveryReport::Reason::levels);
}

void DeliveryMonitor::release(const AudioRenderContext* track) {
  if (Watched* const known = find(track)) known->isReleased = true;
  if (!isRestKept_) finishReleased();
}

void DeliveryMonitor::setLevelsAreNeutral(bool areNeutral) {
  areLevelsNeutral_ = areNeutral;
  if (areNeutral) return;
  for (Watched& watched : watched_) watched.check.interrupt(DeliveryReport::Reason::levels);
}

void DeliveryMonitor::runBegins(const TrackSequence& sequence) {
  const AudioRenderContext* const track = sequence.loaded();
  segments_ = {Segment{.frame = 0, .track = track, .position = track != nullptr ? track->currentFrame() : 0}};
  nextFrame_ = 0;
  Watched* const watched = find(track);
  if (watched == nullptr) return;
  if (isRestKept_)
    kept_.push_back({track, segments_.front().position, std::nullopt, {}});
  else
    beginRun(*watched, segments_.front().position);
}

void DeliveryMonitor::beginRun(Watched& watched, std::int64_t position) const {
  watched.check.runBegins(position);
  if (!areLevelsNeutral_) watched.check.interrupt(DeliveryReport::Reason::levels);
}

void DeliveryMonitor::noteCrossing(const TrackSequence& sequence) {
  if (const auto crossing = sequence.crossing(); crossing && segments_.back().track != sequence.following())
    segments_.push_back({.frame = *crossing, .track = sequence.following()});
}

void DeliveryMonitor::take(DeliveryRecord& record, const TrackSequence& sequence) {
  checkRest();
  if (segments_.empty()) return;
  noteCrossing(sequence);
  if (record.isComputed())
    if (Watched* const watched = find(segments_.back().track))
      watched->check.interrupt(DeliveryReport::Reason::computed);
  record.take([this](const DeliveryRecord::Piece& piece) {
    split(piece, [this, &piece](const AudioRenderContext* track, std::int64_t position, auto bytes) {
      find(track)->check.add(position, piece.form, bytes);
    });
  });
  finishReleased();
}

/// A sink may drop its buffer between the stop of a unit and its next start, so slow work is done afterwards.
void DeliveryMonitor::keepRest(DeliveryRecord& record, const TrackSequence& sequence) {
  if (segments_.empty()) return;
  noteCrossing(sequence);
  record.take([this](const DeliveryRecord::Piece& piece) {
    split(piece, [this, &piece](const AudioRenderContext* track, std::int64_t position, auto bytes) {
      kept_.push_back({track, position, piece.form, {bytes.begin(), bytes.end()}});
    });
  });
  segments_.clear();
  isRestKept_ = true;
}

void DeliveryMonitor::checkRest() {
  if (!std::exchange(isRestKept_, false)) return;
  for (const Kept& kept : std::exchange(kept_, {})) {
    Watched* const watched = find(kept.track);
    if (watched == nullptr) continue;
    if (kept.form)
      watched->check.add(kept.position, *kept.form, kept.bytes);
    else
      beginRun(*watched, kept.position);
  }
  finishReleased();
}

/// Assigns to each track the frames that were rendered from it.
template <typename Taker>
void DeliveryMonitor::split(const DeliveryRecord::Piece& piece, Taker taker) {
  const std::size_t frameBytes = piece.form.format.mBytesPerFrame;
  const auto end = piece.frame + static_cast<std::int64_t>(piece.bytes.size() / frameBytes);
  for (std::size_t i = 0; i < segments_.size(); ++i) {
    const Segment& segment = segments_[i];
    const std::int64_t from = std::max(piece.frame, segment.frame);
    const std::int64_t until = i + 1 < segments_.size() ? std::min(end, segments_[i + 1].frame) : end;
    if (from >= until || find(segment.track) == nullptr) continue;
    // After the end of a track come frames of silence, which do not belong to it.
    const std::int64_t position = segment.position + from - segment.frame;
    framesHandedOver_ +=
        static_cast<std::uint64_t>(std::clamp<std::int64_t>(segment.track->totalFrames() - position, 0, until - from));
    taker(segment.track, position,
          piece.bytes.subspan(static_cast<std::size_t>(from - piece.frame) * frameBytes,
                              static_cast<std::size_t>(until - from) * frameBytes));
  }
  nextFrame_ = end;
}

/// A released track is finished when all of its frames were taken, or frames after its end.
void DeliveryMonitor::finishReleased() {
  const auto isOver = [&](const Watched& watched) {
    if (!watched.isReleased) return false;
    const auto segment = std::ranges::find(segments_, watched.check.context(), &Segment::track);
    const bool isPlayed = segment != segments_.end();
    if (!isPlayed || watched.check.isComplete()) return true;
    return std::next(segment) != segments_.end() && nextFrame_ > std::next(segment)->frame;
  };
  for (auto at = watched_.begin(); (at = std::find_if(at, watched_.end(), isOver)) != watched_.end();) {
    Watched over = std::move(*at);
    at = watched_.erase(at);
    finish(std::move(over));
  }
  while (segments_.size() > 1 && segments_[1].frame <= nextFrame_ && find(segments_.front().track) == nullptr)
    segments_.erase(segments_.begin());
}

void DeliveryMonitor::finish(Watched watched) {
  watched.check.end();
  const bool wasPlayed = watched.check.hasFrames();
  const DeliveryReport report = watched.check.report();
  auto track = watched.check.takeContext();
  if (track.use_count() == 1) background_([track = std::move(track)]() mutable { track.reset(); });
  track.reset();
  if (wasPlayed) lastFinished_ = report;
  if (finished_ && wasPlayed) finished_(report);
}

std::optional<DeliveryReport> DeliveryMonitor::report(const AudioRenderContext* track) const {
  const auto found = std::ranges::find(watched_, track, [](const Watched& watched) { return watched.check.context(); });
  return found == watched_.end() ? std::nullopt : std::optional(found->check.report());
}

}  // namespace tolvane
