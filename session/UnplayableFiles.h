#pragma once
// The files of the playlist that could not be prepared when they were played last. A file stays one of them until it
// has changed or has been played. Not saved. Player's thread; the disk is asked in the background.

#include <memory>
#include <utility>
#include <vector>

#include "engine/PreparationFailure.h"
#include "engine/Published.h"
#include "platform/BackgroundRequest.h"
#include "session/PlaylistTracks.h"
#include "session/UnplayableFile.h"

namespace tolvane {

class UnplayableFiles {
 public:
  /// The services outlive this object, and `files` also what the background has been given.
  UnplayableFiles(AudioFileServices& files, RunLoop& runLoop, Background background)
      : files_(files), check_(runLoop, std::move(background)) {}

  /// Null where there are none. Another value with each change.
  [[nodiscard]] const Published<std::shared_ptr<const UnplayableFileMap>>& files() const { return known_; }
  [[nodiscard]] bool contains(const FileURL& url) const { return known_.value() && known_.value()->contains(url); }

  /// Ignores a failure that is not the file's: no process can open more files at that moment.
  void add(const PreparationFailure& failure);
  void remove(const FileURL& url);
  /// Forgets the files that are not in this list.
  void keepOnly(const PlaylistTracks& tracks);
  /// Asks the disk for each of the files, and forgets those that have changed. Does nothing where there are none, or
  /// while the disk has not answered the last time.
  void check();

 private:
  using Changed = std::vector<std::pair<FileURL, UnplayableFile>>;

  void publish(UnplayableFileMap known);
  void forget(const Changed& changed);

  AudioFileServices& files_;
  Published<std::shared_ptr<const UnplayableFileMap>> known_{nullptr};
  BackgroundRequest<Changed> check_;  // last, so that it ends before the state it acts on
};

}  // namespace tolvane
