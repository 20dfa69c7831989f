#pragma once
// Checks what the output unit handed to the device against the tracks that it was given. Player's thread: the frames that
// the device has played are checked twice a second; what is left at the end of a run is kept, and checked when the engine
// publishes next, so that the unit starts again first.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "engine/PreparedAudio.h"
#include "engine/delivery/DeliveryCheck.h"
#include "engine/render/TrackSequence.h"
#include "platform/Background.h"
#include "platform/DeliveryRecord.h"

namespace tolvane {

/// What is to be compared with the samples of `track` that a device was given.
[[nodiscard]] DeliveryCheck::Track deliveredTrack(const PreparedAudio& track);

class DeliveryMonitor {
 public:
  /// What was found, once a track is over.
  using Finished = std::function<void(const DeliveryReport&)>;

  /// `background` frees the block of a track that nothing else holds.
  explicit DeliveryMonitor(Background background) : background_(std::move(background)) {}

  void setFinished(Finished finished) { finished_ = std::move(finished); }

  // The tracks.

  /// The unit is to render this track, now or behind the current one.
  void expect(const PreparedAudio& track);
  /// The engine lets go of the track. What the device still plays of it is waited for.
  void release(const AudioRenderContext* track);
  /// From here on samples are altered, or not any more.
  void setLevelsAreNeutral(bool areNeutral);

  // A run of the unit.

  /// REQUIRES: the sequence begins its run.
  void runBegins(const TrackSequence& sequence);
  /// Checks what the device has played. To be called before the sequence leaves a track for the one after the next, else
  /// the frames of the one in between are not known for its own.
  void take(DeliveryRecord& record, const TrackSequence& sequence);
  /// The run is over: keeps what is left of it for checkRest(). REQUIRES: the unit is stopped; the sequence has not ended
  /// its run yet.
  void keepRest(DeliveryRecord& record, const TrackSequence& sequence);
  /// Checks what was kept, if anything.
  void checkRest();

  // What was found.

  /// Of a track that is expected.
  [[nodiscard]] std::optional<DeliveryReport> report(const AudioRenderContext* track) const;
  /// Of the last track that is over.
  [[nodiscard]] const std::optional<DeliveryReport>& lastFinished() const { return lastFinished_; }
  /// Frames that were recorded as handed to a device and played by it, of all tracks so far.
  [[nodiscard]] std::uint64_t framesHandedOver() const { return framesHandedOver_; }

 private:
  struct Watched {
    DeliveryCheck check;
    bool isReleased = false;
  };
  /// From `frame` of the run on the unit renders this track, from `position` on.
  struct Segment {
    std::int64_t frame = 0;
    const AudioRenderContext* track = nullptr;
    std::int64_t position = 0;
  };

  /// Frames of a track, or, without a form, a run that begins at `position`.
  struct Kept {
    const AudioRenderContext* track = nullptr;
    std::int64_t position = 0;
    std::optional<DeliveryRecord::Form> form;
    std::vector<std::byte> bytes;
  };

  [[nodiscard]] Watched* find(const AudioRenderContext* track);
  void beginRun(Watched& watched, std::int64_t position) const;
  void noteCrossing(const TrackSequence& sequence);
  template <typename Taker>
  void split(const DeliveryRecord::Piece& piece, Taker taker);
  void finishReleased();
  void finish(Watched watched);

  const Background background_;
  Finished finished_;
  bool areLevelsNeutral_ = true;
  std::vector<Watched> watched_;  ///< three at most: the one before, the current one and the next
  std::vector<Segment> segments_;
  bool isRestKept_ = false;
  std::vector<Kept> kept_;      ///< in the order in which it happened, from the end of a run on
  std::int64_t nextFrame_ = 0;  ///< of the run: behind what was taken
  std::uint64_t framesHandedOver_ = 0;
  std::optional<DeliveryReport> lastFinished_;
};

}  // namespace tolvane
