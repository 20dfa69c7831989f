#include "ui/SourceActions.h"

#include <algorithm>
#include <utility>

#include "session/AudioFileDiscovery.h"
#include "session/PlaylistFile.h"
#include "ui/texts/NothingToPlay.h"

namespace tolvane {

SourceActions::SourceActions(RunLoop& runLoop, Load load, Background background, Report report)
    : load_(std::move(load)),
      background_(std::move(background)),
      report_(std::move(report)),
      mailbox_(runLoop, *this),
      saving_(runLoop, background_, [this](BilingualText outcome) { setNotice(std::move(outcome)); }) {}

SourceActions::~SourceActions() { activeAudioDiscovery_.request_stop(); }

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
  if (!place) return setNotice(bilingual("The list was not saved: that place is not a folder of this machine."));
  if (list.tracks.empty()) return setNotice(bilingual("The list was not saved: it has become empty."));
  saving_.save(*place, std::move(list), replacing);
}

void SourceActions::discoverAndLoadAudioFiles(std::vector<FileURL> urls, PlaylistPlace place) {
  activeAudioDiscovery_.request_stop();
  activeAudioDiscovery_ = std::stop_source();
  setNotice({});
  background_([urls = std::move(urls), place, discovery = activeAudioDiscovery_.get_token(),
               address = mailbox_.address()] {
    auto found = collectSupportedAudioFiles(urls, discovery);
    auto reason = found.empty() && !discovery.stop_requested() ? nothingToPlay(urls) : BilingualText();
    address.deliver([discovery, place, found = std::move(found), reason = std::move(reason)](SourceActions& actions) {
      // A stop was requested when a newer search or choice took over.
      if (discovery.stop_requested()) return;
      if (!found.empty())
        actions.loadPlaylist(found, place);
      else
        actions.setNotice(reason);
    });
  });
}

void SourceActions::loadPlaylist(std::span<const FileURL> urls, PlaylistPlace place) {
  activeAudioDiscovery_.request_stop();
  setNotice({});
  load_(urls, place);
}

void SourceActions::setNotice(BilingualText notice) {
  if (notice == notice_) return;
  notice_ = std::move(notice);
  if (report_ && !notice_.empty()) report_(notice_);
  if (noticeObserver_) noticeObserver_();
}

}  // namespace tolvane
