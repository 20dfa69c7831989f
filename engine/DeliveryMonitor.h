#pragma once
// Compares what the output unit handed to the device with the tracks that it was given. Player's thread: frames that
// the device has played are checked twice a second. The rest of a run is kept, and checked the next time the engine
// publishes, so that the unit restarts first.

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

/// What to compare with the samples of `track` that a device was given.
[[nodiscard]] DeliveryCheck::Track deliveredTrack(const PreparedAudio& track);

class DeliveryMonitor {
 public:
  /// Receives the report when a track is finished.
  using Finished = std::function<void(const DeliveryReport&)>;

  /// `background` frees the block of a track that has no other owner.
  explicit DeliveryMonitor(Background background) : background_(std::move(background)) {}

  void setFinished(Finished finished) { finished_ = std::move(finished); }

  // The tracks.

  /// The unit will render this track, now or after the current one.
  void expect(const PreparedAudio& track);
  /// The engine releases the track. Frames that the device has still to play are checked first.
  void release(const AudioRenderContext* track);
  /// From now on samples are altered, or no longer altered.
  void setLevelsAreNeutral(bool areNeutral);

  // A run of the unit.

  /// REQUIRES: the sequence begins a run.
  void runBegins(const TrackSequence& sequence);
  /// Checks the frames that the device has played. Must be called before the sequence moves on by a second track:
  /// otherwise the frames of the track in between are not recognised as its own.
  void take(DeliveryRecord& record, const TrackSequence& sequence);
  /// Ends the run: keeps the frames that are left for checkRest(). REQUIRES: the unit is stopped; the sequence has not
  /// yet ended its run.
  void keepRest(DeliveryRecord& record, const TrackSequence& sequence);
  /// Checks the frames that were kept, if any.
  void checkRest();

  // What was found.

  /// The report on a track that is expected.
  [[nodiscard]] std::optional<DeliveryReport> report(const AudioRenderContext* track) const;
  /// The report on the last track that finished.
  [[nodiscard]] const std::optional<DeliveryReport>& lastFinished() const { return lastFinished_; }
  /// Frames recorded as handed to a device and played by it, over all tracks.
  [[nodiscard]] std::uint64_t framesHandedOver() const { return framesHandedOver_; }

 private:
  struct Watched {
    DeliveryCheck check;
    bool isReleased = false;
  };
  /// From `frame` of the run on, the unit renders this track, starting at `position`.
  struct Segment {
    std::int64_t frame = 0;
    const AudioRenderContext* track = nullptr;
    std::int64_t position = 0;
  };

  /// Frames of a track; without a form, the start of a run at `position`.
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
  std::vector<Watched> watched_;  ///< three at most: the previous, the current and the next one
  std::vector<Segment> segments_;
  bool isRestKept_ = false;
  std::vector<Kept> kept_;      ///< in chronological order, since the end of a run
  std::int64_t nextFrame_ = 0;  ///< of the run: the first that was not taken yet
  std::uint64_t framesHandedOver_ = 0;
  std::optional<DeliveryReport> lastFinished_;
};

}  // namespace tolvane
