#pragma once
// How audio gets into the playlist: chosen files, a chosen folder, dropped files and folders; and how the list becomes
// a file. Window's thread; folders are searched, and files written, in the background. Only the newest search counts;
// the result of an older, slower one is discarded.

#include <functional>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/Background.h"
#include "platform/BilingualText.h"
#include "platform/FileURL.h"
#include "platform/Mailbox.h"
#include "platform/RunLoop.h"
#include "ui/playlist/PlaylistPlace.h"
#include "ui/playlist/PlaylistSaving.h"

namespace tolvane {

class SourceActions {
 public:
  using Load = std::function<void(std::span<const FileURL>, PlaylistPlace)>;
  using Report = std::function<void(const std::string&)>;

  /// `load` replaces the playlist or adds to it; `report` gets each notice, too, in English. The run loop outlives this
  /// object, but not its searches.
  SourceActions(RunLoop& runLoop, Load load, Background background = runInDetachedThread, Report report = {});
  ~SourceActions();
  SourceActions(const SourceActions&) = delete;
  SourceActions& operator=(const SourceActions&) = delete;

  /// Loads the supported ones of the chosen files at once; where playlists are among them, as a drop of them.
  void openFiles(std::span<const FileURL> urls, PlaylistPlace place = {});
  void openFolderURL(const FileURL& url, PlaylistPlace place = {});
  void dropURLs(std::vector<FileURL> urls, PlaylistPlace place = {});

  /// Saves it as a playlist in the chosen place; not if that is on another machine. A notice reports the result.
  void savePlaylist(const std::optional<FileURL>& place, ListToSave list, Replacing replacing);

  /// Why the last choice brought nothing to play, or how saving went, as a sentence; empty once something else was
  /// chosen.
  [[nodiscard]] const BilingualText& notice() const { return notice_; }
  void dismissNotice() { setNotice({}); }
  /// One observer.
  void onNotice(std::function<void()> observer) { noticeObserver_ = std::move(observer); }

 private:
  void discoverAndLoadAudioFiles(std::vector<FileURL> urls, PlaylistPlace place);
  void loadPlaylist(std::span<const FileURL> urls, PlaylistPlace place);
  void setNotice(BilingualText notice);

  const Load load_;
  const Background background_;
  const Report report_;
  BilingualText notice_;
  std::function<void()> noticeObserver_;
  Mailbox<SourceActions> mailbox_;
  std::stop_source activeAudioDiscovery_{std::nostopstate};
  PlaylistSaving saving_;
};

}  // namespace tolvane
