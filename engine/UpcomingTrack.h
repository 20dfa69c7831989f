#pragma once
// The track that will probably be played next, prepared in the background before it is asked for, so that its turn
// finds it in memory. Player's thread; the reading is the background's. A failure is forgotten: when the track's turn
// comes it is read again, and fails with its own message.

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
  /// Nothing: it could not be prepared, or the file is another one by now.
  using Taken = std::function<void(std::optional<PreparedAudio>)>;

  /// `ready` is called when the track has become ready. The run loop outlives this object, but not the work;
  /// `background` sees to it that the files behind `preparation` live as long as the work.
  UpcomingTrack(TrackPreparation preparation, RunLoop& runLoop, Background background, std::function<void()> ready);
  ~UpcomingTrack() { forget(); }
  UpcomingTrack(const UpcomingTrack&) = delete;
  UpcomingTrack& operator=(const UpcomingTrack&) = delete;

  /// Forgets what was prepared for another file. Reads nothing yet.
  void want(std::optional<FileURL> url);
  [[nodiscard]] const std::optional<FileURL>& wanted() const { return wanted_; }

  /// Reads the wanted track unless that has been begun. `heldBytes`: of the track that is playing meanwhile.
  void prepare(std::uint64_t heldBytes);

  /// Null unless the wanted track is ready.
  [[nodiscard]] const PreparedAudio* ready() const { return ready_ ? &ready_->audio : nullptr; }
  /// Whether the disk has said in the last ten seconds that the ready track's file is still what was read.
  [[nodiscard]] bool isConfirmed() const;
  /// Asks the disk whether the ready track's file is still what was read; `confirmed` is called if so, else the track
  /// is read again. REQUIRES: ready().
  void confirm(std::function<void()> confirmed);
  /// Takes the ready track. REQUIRES: ready().
  [[nodiscard]] PreparedAudio takeConfirmed();
  /// Takes a confirmed track back that was not played after all; drops it where another one is wanted by now.
  void putBack(PreparedAudio audio);

  /// Gives the track to the caller, who plays `url` now: once it has been read, when the reading is under way, or once
  /// the disk has confirmed it; then nothing is wanted any more. False: there is nothing for this file.
  [[nodiscard]] bool take(const FileURL& url, Taken taken);
  /// The track that was to be taken is not waited for any more: its reading ends, and nothing is wanted.
  void cancelTaking();
  /// 0 … 1 of the reading that is under way.
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
  std::optional<FileVersion> lent_;  ///< of the track that takeConfirmed() gave away
  Taken taken_;                      ///< set while the track is waited for
  std::shared_ptr<ReadingProgress> progress_;
  Reading reading_;
  BackgroundRequest<bool> check_;
};

}  // namespace tolvane
