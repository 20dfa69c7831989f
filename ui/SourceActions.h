#pragma once
// How audio gets into the playlist: chosen files, a chosen folder, dropped files and folders. Window's thread; folders
// are searched in the background. Only the newest search counts; nobody ever waits for an older, slower one.

#include <functional>
#include <memory>
#include <span>
#include <stop_token>
#include <vector>

#include "platform/Background.h"
#include "platform/FileURL.h"
#include "platform/RunLoop.h"

namespace tolvane {

class SourceActions {
 public:
  using Load = std::function<void(std::span<const FileURL>)>;

  /// `load` replaces the playlist. The run loop outlives this object, but not its searches.
  SourceActions(RunLoop& runLoop, Load load, Background background = runInDetachedThread);
  ~SourceActions();
  SourceActions(const SourceActions&) = delete;
  SourceActions& operator=(const SourceActions&) = delete;

  /// Loads the supported ones of the chosen files at once.
  void openFiles(std::span<const FileURL> urls);
  void openFolderURL(const FileURL& url);
  void dropURLs(std::vector<FileURL> urls);

 private:
  struct Mailbox;
  void discoverAndLoadAudioFiles(std::vector<FileURL> urls);
  void loadPlaylist(std::span<const FileURL> urls);

  const Load load_;
  const Background background_;
  std::shared_ptr<Mailbox> mailbox_;
  std::stop_source activeAudioDiscovery_{std::nostopstate};
};

}  // namespace tolvane
