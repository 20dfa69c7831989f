#pragma once
// What the files state about their music, as far as it has been read, and the cover of the current track. Window's
// thread; files are read in the background, the newest request first. Bounded, however long the playlist is.

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stop_token>
#include <vector>

#include "engine/Observers.h"
#include "platform/BackgroundRequest.h"
#include "platform/FileURL.h"
#include "platform/Mailbox.h"
#include "platform/MusicTags.h"
#include "platform/RunLoop.h"

namespace tolvane {

class MusicStore {
 public:
  /// How files are read. The functions are called in the background and own what they use; without them no file is
  /// read, and no tags are known.
  struct Source {
    std::function<MusicTags(const FileURL&, const std::stop_token&)> tags;
    std::function<std::optional<Cover>(const FileURL&, const std::stop_token&)> cover;
    Background background = [](const BackgroundWork& work) { work(); };  ///< runs the work once, or never
  };
  using Observer = std::function<void(const FileURL&)>;
  using CoverObserver = std::function<void()>;
  using CoverPointer = std::shared_ptr<const Cover>;

  /// Of the files that wait to be read, the newest; the others have to be requested again.
  static constexpr std::size_t mostWaiting = 128;
  /// Of those that have been read, the newest.
  static constexpr std::size_t mostKnown = 20'000;

  /// The run loop outlives the store, but not the work that it has handed to the background.
  MusicStore(RunLoop& runLoop, Source source);
  ~MusicStore();
  MusicStore(const MusicStore&) = delete;
  MusicStore& operator=(const MusicStore&) = delete;

  /// Reads the file's tags, unless they are known or being read.
  void load(const FileURL& url);
  /// Its tags are read before all others, and its cover. Another track of the same folder keeps the cover until its own
  /// is known.
  void setCurrent(const std::optional<FileURL>& url);
  /// Forgets all tags, and drops pending results.
  void clear();

  /// Null while they are not known.
  [[nodiscard]] const MusicTags* tags(const FileURL& url) const;
  [[nodiscard]] const std::map<FileURL, MusicTags>& known() const { return known_; }
  /// Of the current track; null where it has none, or that is not known yet.
  [[nodiscard]] const CoverPointer& cover() const { return cover_; }
  /// Where decoding such a cover may wait.
  [[nodiscard]] const Background& background() const { return source_.background; }

  /// Called when a file's tags have become known.
  Subscription onChange(Observer observer) const;
  /// Called when cover() has changed.
  Subscription onCoverChange(CoverObserver observer) const;

 private:
  struct Queue;
  static void readNext(Queue& queue, const Source& source, const Mailbox<MusicStore>::Address& address);
  void finish(const FileURL& url, MusicTags tags);
  void remember(const FileURL& url, MusicTags tags);
  void readCover(const FileURL& url);
  void adoptCover(CoverPointer cover);

  const Source source_;
  const std::shared_ptr<Queue> queue_;
  Mailbox<MusicStore> mailbox_;
  std::set<FileURL> loading_;
  std::map<FileURL, MusicTags> known_;
  std::deque<FileURL> order_;  ///< of those that are known, the oldest first

  std::optional<FileURL> current_;
  BackgroundRequest<CoverPointer> coverRequest_;
  std::stop_source coverStop_;
  CoverPointer cover_;

  mutable Observers<FileURL> observers_;
  mutable Observers<> coverObservers_;
};

}  // namespace tolvane
