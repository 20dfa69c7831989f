#include "ui/SourceActions.h"

#include <mutex>
#include <utility>

#include "session/AudioFileDiscovery.h"

namespace tolvane {

/// Where searches hand in their results. Outlives its owner while a search is under way, and then takes nothing.
struct SourceActions::Mailbox {
  std::mutex mutex;
  RunLoop* runLoop;      // guarded by mutex; null once the owner is gone
  SourceActions* owner;  // window's thread

  void deliver(std::vector<FileURL> found, const std::stop_token& discovery, const std::shared_ptr<Mailbox>& self) {
    const std::lock_guard lock(mutex);
    if (!runLoop) return;
    runLoop->post([self, discovery, found = std::move(found)] {
      // A stop was asked for when a newer search or choice took over, and when the owner went.
      if (!discovery.stop_requested() && !found.empty()) self->owner->loadPlaylist(found);
    });
  }
};

SourceActions::SourceActions(RunLoop& runLoop, Load load, Background background)
    : load_(std::move(load)), background_(std::move(background)), mailbox_(std::make_shared<Mailbox>()) {
  mailbox_->runLoop = &runLoop;
  mailbox_->owner = this;
}

SourceActions::~SourceActions() {
  activeAudioDiscovery_.request_stop();
  const std::lock_guard lock(mailbox_->mutex);
  mailbox_->runLoop = nullptr;
}

void SourceActions::openFiles(std::span<const FileURL> urls) { loadPlaylist(sortedSupportedAudioFiles(urls)); }

void SourceActions::openFolderURL(const FileURL& url) { discoverAndLoadAudioFiles({url}); }

void SourceActions::dropURLs(std::vector<FileURL> urls) { discoverAndLoadAudioFiles(std::move(urls)); }

void SourceActions::discoverAndLoadAudioFiles(std::vector<FileURL> urls) {
  activeAudioDiscovery_.request_stop();
  activeAudioDiscovery_ = std::stop_source();
  background_([urls = std::move(urls), discovery = activeAudioDiscovery_.get_token(), mailbox = mailbox_] {
    mailbox->deliver(collectSupportedAudioFiles(urls, discovery), discovery, mailbox);
  });
}

void SourceActions::loadPlaylist(std::span<const FileURL> urls) {
  activeAudioDiscovery_.request_stop();
  load_(urls);
}

}  // namespace tolvane
