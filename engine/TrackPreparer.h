#pragma once
// Prepares one track at a time in the background. The player's thread makes a request and gets the result in a later
// turn; it never waits. A newer request, or cancel(), abandons the older one: its worker ends soon, or blocks on a dead
// share for as long as the system does.

#include <memory>
#include <optional>

#include "engine/TrackPreparation.h"
#include "platform/BackgroundRequest.h"
#include "platform/ReadingProgress.h"

namespace tolvane {

/// The result of a request.
struct Preparation {
  std::optional<FileVersion> version;  ///< of the file when its reading began; nothing: unknown
  Result<PreparedAudio> audio;
};

class TrackPreparer {
 public:
  using Request = BackgroundRequest<Preparation>;

  /// The run loop outlives this object, but not the work; `background` ensures that the files behind `preparation` live
  /// as long as the work.
  TrackPreparer(TrackPreparation preparation, RunLoop& runLoop, Background background);
  ~TrackPreparer() { cancel(); }
  TrackPreparer(const TrackPreparer&) = delete;
  TrackPreparer& operator=(const TrackPreparer&) = delete;

  /// `completion` is called once, unless the request is replaced or cancelled: from within this call if the background
  /// has the result by then, otherwise in a later turn.
  void prepare(const FileURL& url, Request::Completion completion);
  void cancel();

  /// 0 … 1 for the current request; 0 without one.
  [[nodiscard]] double progress() const;

 private:
  const TrackPreparation preparation_;
  std::shared_ptr<ReadingProgress> progress_;  ///< of the last request; null before the first
  Request request_;
};

}  // namespace tolvane
