#pragma once
// The track that will probably play next, prepared in the background so that it is in memory when it is requested.
// Player's thread; the background does the reading. A failure is dropped: when the track is requested, it is read again
// and fails with its own message.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "engine/TrackPreparation.h"
#include "platform/BackgroundRequest.h"
#include "platform/ReadingProgress.h"

namespace tolvane {

class UpcomingTrack {
 public:
  /// Nothing: it could not be prepared, or the file has changed since.
  using Taken = std::function<void(std::optional<PreparedAudio>)>;

  /// `ready` is called when the track has become ready. The run loop outlives this object, but not the work;
  /// `background` ensures that the files behind `preparation` live as long as the work.
  UpcomingTrack(TrackPreparation preparation, RunLoop& runLoop, Background background, std::function<void()> ready);
  ~UpcomingTrack() { forget(); }
  UpcomingTrack(const UpcomingTrack&) = delete;
  UpcomingTrack& operator=(const UpcomingTrack&) = delete;

  /// Drops what was prepared for another file. Reads nothing yet.
  void want(std::optional<FileURL> url);
  [[nodiscard]] const std::optional<FileURL>& wanted() const { return wanted_; }

  /// Reads the wanted track, unless that has begun. `heldBytes`: size of the track that plays meanwhile.
  void prepare(std::uint64_t heldBytes);

  /// Null unless the wanted track is ready.
  [[nodiscard]] const PreparedAudio* ready() const { return ready_ ? &ready_->audio : nullptr; }
  /// Whether the disk has confirmed within the last ten seconds that the ready track's file is unchanged.
  [[nodiscard]] bool isConfirmed() const;
  /// Checks on the disk that the ready track's file is unchanged; if so calls `confirmed`, else reads the track again.
  /// REQUIRES: ready().
  void confirm(std::function<void()> confirmed);
  /// Takes the ready track. REQUIRES: ready().
  [[nodiscard]] PreparedAudio takeConfirmed();
  /// Takes back a track from takeConfirmed() that was not played; drops it if another one is wanted by now.
  void putBack(PreparedAudio audio);

  /// Hands the track over to the caller, which plays `url` now: when it has been read, if that is under way, or when
  /// the disk has confirmed it; then no track is wanted any more. False: there is no track for this file.
  [[nodiscard]] bool take(const FileURL& url, Taken taken);
  /// The track that take() promised is no longer awaited: cancels its reading, and no track is wanted any more.
  void cancelTaking();
  /// 0 … 1 for the current reading.
  [[nodiscard]] double progress() const;

 private:
  struct Ready {
    PreparedAudio audio;
    FileVersion version;
    RunLoop::TimePoint confirmedAt = RunLoop::TimePoint::min();
  };
  using Reading = BackgroundRequest<std::optional<Ready>>;

  void forget();
  void finishReading(std::optional<Ready> result);
  void checkVersion(std::function<void(bool isSame)> checked);

  RunLoop& runLoop_;
  const TrackPreparation preparation_;
  const std::function<void()> isReady_;
  std::optional<FileURL> wanted_;
  bool hasBegun_ = false;
  std::uint64_t heldBytes_ = 0;
  std::optional<Ready> ready_;
  RunLoop::TimePoint lentConfirmedAt_{};
  std::optional<FileVersion> lent_;  ///< of the track that takeConfirmed() handed over
  Taken taken_;                      ///< set while a caller awaits the track
  std::shared_ptr<ReadingProgress> progress_;
  Reading reading_;
  BackgroundRequest<bool> check_;
};

}  // namespace tolvane
