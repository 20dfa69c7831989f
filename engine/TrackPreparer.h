#pragma once
// Prepares one track at a time in the background. The player's thread asks and gets the result in a turn of its own; it
// never waits. A newer request, or cancel(), leaves the older one behind: its worker notices soon, or hangs in a dead
// share for as long as that pleases.

#include <memory>
#include <optional>

#include "engine/TrackPreparation.h"
#include "platform/BackgroundRequest.h"
#include "platform/ReadingProgress.h"

namespace tolvane {

/// What has come of a request.
struct Preparation {
  std::optional<FileVersion> version;  ///< of the file when its reading began; nothing: not known
  Result<PreparedAudio> audio;
};

class TrackPreparer {
 public:
  using Request = BackgroundRequest<Preparation>;

  /// The run loop outlives this object, but not the work; `background` sees to it that the files behind `preparation`
  /// live as long as the work.
  TrackPreparer(TrackPreparation preparation, RunLoop& runLoop, Background background);
  ~TrackPreparer() { cancel(); }
  TrackPreparer(const TrackPreparer&) = delete;
  TrackPreparer& operator=(const TrackPreparer&) = delete;

  /// `completion` is called once, unless the request is replaced or cancelled: from within this call where the
  /// background has the result by then.
  void prepare(const FileURL& url, Request::Completion completion);
  void cancel();

  /// 0 … 1 of the request that is under way; 0 while none is.
  [[nodiscard]] double progress() const;

 private:
  const TrackPreparation preparation_;
  std::shared_ptr<ReadingProgress> progress_;  ///< of the last request; null before the first
  Request request_;
};

}  // namespace tolvane
