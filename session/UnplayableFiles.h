#pragma once
// The files of the playlist that could not be prepared when they were last played. A file is listed until it has
// changed or has been played. Not saved. Player's thread; the disk is read in the background.

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
  /// The services outlive this object, and `files` also the work handed to the background.
  UnplayableFiles(AudioFileServices& files, RunLoop& runLoop, Background background)
      : files_(files), check_(runLoop, std::move(background)) {}

  /// Null if there are none. A new object after each change.
  [[nodiscard]] const Published<std::shared_ptr<const UnplayableFileMap>>& files() const { return known_; }
  [[nodiscard]] bool contains(const FileURL& url) const { return known_.value() && known_.value()->contains(url); }

  /// Ignores a failure that the file did not cause, such as too many open files.
  void add(const PreparationFailure& failure);
  void remove(const FileURL& url);
  /// Removes the files that are not in this list.
  void keepOnly(const PlaylistTracks& tracks);
  /// Checks each file on the disk, and removes those that have changed. Does nothing if there are none, or while an
  /// earlier check is under way.
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
