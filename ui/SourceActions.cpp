#include "ui/SourceActions.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "session/AudioFileDiscovery.h"
#include "session/PlaylistFile.h"
#include "ui/texts/NothingToPlay.h"

namespace tolvane {

/// Where searches hand in their results. Outlives its owner while a search is under way, and then takes nothing.
struct SourceActions::Mailbox {
  std::mutex mutex;
  RunLoop* runLoop;      // guarded by mutex; null once the owner is gone
  SourceActions* owner;  // window's thread

  /// With files, or with the reason why there are none.
  void deliver(std::vector<FileURL> found, PlaylistPlace place, std::string reason, const std::stop_token& discovery,
               const std::shared_ptr<Mailbox>& self) {
    const std::lock_guard lock(mutex);
    if (!runLoop) return;
    runLoop->post([self, discovery, place, found = std::move(found), reason = std::move(reason)] {
      // A stop was requested when a newer search or choice took over, or when the owner was destroyed.
      if (discovery.stop_requested()) return;
      if (!found.empty())
        self->owner->loadPlaylist(found, place);
      else
        self->owner->setNotice(reason);
    });
  }
};

SourceActions::SourceActions(RunLoop& runLoop, Load load, Background background, Report report)
    : load_(std::move(load)),
      background_(std::move(background)),
      report_(std::move(report)),
      mailbox_(std::make_shared<Mailbox>()),
      saving_(runLoop, background_, [this](std::string outcome) { setNotice(std::move(outcome)); }) {
  mailbox_->runLoop = &runLoop;
  mailbox_->owner = this;
}

SourceActions::~SourceActions() {
  activeAudioDiscovery_.request_stop();
  const std::lock_guard lock(mailbox_->mutex);
  mailbox_->runLoop = nullptr;
}

void SourceActions::openFiles(std::span<const FileURL> urls, PlaylistPlace place) {
  const auto files = sortedSupportedAudioFiles(urls);
  // A search reads the playlists among them; where there is nothing to play, it says why.
  const bool isSearched = std::ranges::any_of(urls, isPlaylistFile) || (files.empty() && !urls.empty());
  if (isSearched) return discoverAndLoadAudioFiles({urls.begin(), urls.end()}, place);
  loadPlaylist(files, place);
}

void SourceActions::openFolderURL(const FileURL& url, PlaylistPlace place) { discoverAndLoadAudioFiles({url}, place); }

void SourceActions::dropURLs(std::vector<FileURL> urls, PlaylistPlace place) {
  discoverAndLoadAudioFiles(std::move(urls), place);
}

void SourceActions::savePlaylist(const std::optional<FileURL>& place, ListToSave list, Replacing replacing) {
  setNotice({});
  if (!place) return setNotice("The list was not saved: that place is not a folder of this machine.");
  if (list.tracks.empty()) return setNotice("The list was not saved: it has become empty.");
  saving_.save(*place, std::move(list), replacing);
}

void SourceActions::discoverAndLoadAudioFiles(std::vector<FileURL> urls, PlaylistPlace place) {
  activeAudioDiscovery_.request_stop();
  activeAudioDiscovery_ = std::stop_source();
  setNotice({});
  background_([urls = std::move(urls), place, discovery = activeAudioDiscovery_.get_token(), mailbox = mailbox_] {
    auto found = collectSupportedAudioFiles(urls, discovery);
    auto reason = found.empty() && !discovery.stop_requested() ? nothingToPlay(urls) : std::string();
    mailbox->deliver(std::move(found), place, std::move(reason), discovery, mailbox);
  });
}

void SourceActions::loadPlaylist(std::span<const FileURL> urls, PlaylistPlace place) {
  activeAudioDiscovery_.request_stop();
  setNotice({});
  load_(urls, place);
}

void SourceActions::setNotice(std::string notice) {
  if (notice == notice_) return;
  notice_ = std::move(notice);
  if (report_ && !notice_.empty()) report_(notice_);
  if (noticeObserver_) noticeObserver_();
}

}  // namespace tolvane
