#include "ui/MusicStore.h"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <utility>

namespace tolvane {

namespace {

bool areInOneFolder(const FileURL& a, const FileURL& b) {
  return std::filesystem::path(a.path()).parent_path() == std::filesystem::path(b.path()).parent_path();
}

}  // namespace

/// What waits to be read. Outlives the store while a task runs, and then is empty.
struct MusicStore::Queue {
  std::mutex mutex;
  // Guarded by mutex:
  std::vector<FileURL> waiting;   ///< the last one is next
  std::optional<FileURL> urgent;  ///< read before them
  std::stop_source stop;          ///< another one after clear()

  /// Drops all that waits, and the results of what is being read. REQUIRES: the lock.
  void clear() {
    stop.request_stop();
    stop = {};
    waiting.clear();
    urgent.reset();
  }

  std::optional<FileURL> takeNext() {
    if (urgent) return std::exchange(urgent, std::nullopt);
    if (waiting.empty()) return std::nullopt;
    auto next = std::move(waiting.back());
    waiting.pop_back();
    return next;
  }
};

MusicStore::MusicStore(RunLoop& runLoop, Source source)
    : source_(std::move(source)),
      queue_(std::make_shared<Queue>()),
      mailbox_(runLoop, *this),
      coverRequest_(runLoop, source_.background) {}

MusicStore::~MusicStore() {
  coverStop_.request_stop();
  const std::lock_guard lock(queue_->mutex);
  queue_->clear();
}

void MusicStore::load(const FileURL& url) {
  if (known_.contains(url)) return;
  if (!source_.tags) return finish(url, tagsOfTrack({}, url));
  const bool isUrgent = url == current_;
  {
    const std::lock_guard lock(queue_->mutex);
    auto& waiting = queue_->waiting;
    if (!loading_.insert(url).second) {
      if (!isUrgent || std::erase(waiting, url) == 0) return;  // a reader has it already
    }
    if (isUrgent) {
      if (queue_->urgent) waiting.push_back(*queue_->urgent);
      queue_->urgent = url;
    } else {
      waiting.push_back(url);
    }
    if (waiting.size() > mostWaiting) {
      loading_.erase(waiting.front());
      waiting.erase(waiting.begin());
    }
  }
  source_.background(
      [queue = queue_, source = source_, address = mailbox_.address()] { readNext(*queue, source, address); });
}

void MusicStore::readNext(Queue& queue, const Source& source, const Mailbox<MusicStore>::Address& address) {
  std::unique_lock lock(queue.mutex);
  const auto url = queue.takeNext();
  const auto stop = queue.stop.get_token();
  lock.unlock();
  if (!url) return;
  auto tags = source.tags(*url, stop);
  if (stop.stop_requested()) return;
  address.deliver([stop, url = *url, tags = std::move(tags)](MusicStore& store) mutable {
    if (!stop.stop_requested()) store.finish(url, std::move(tags));
  });
}

void MusicStore::finish(const FileURL& url, MusicTags tags) {
  loading_.erase(url);
  remember(url, std::move(tags));
  observers_.notify(url);
}

void MusicStore::remember(const FileURL& url, MusicTags tags) {
  if (known_.insert_or_assign(url, std::move(tags)).second) order_.push_back(url);
  if (order_.size() <= mostKnown) return;
  if (order_.front() == current_) std::swap(order_[0], order_[1]);
  known_.erase(order_.front());
  order_.pop_front();
}

void MusicStore::setCurrent(const std::optional<FileURL>& url) {
  if (url == current_) return;
  const bool mayKeepCover = url && current_ && areInOneFolder(*url, *current_);
  current_ = url;
  coverStop_.request_stop();
  coverRequest_.cancel();
  if (!mayKeepCover) adoptCover(nullptr);
  if (!url) return;
  load(*url);
  if (source_.cover) readCover(*url);
}

void MusicStore::readCover(const FileURL& url) {
  coverStop_ = {};
  const auto read = [url, stop = coverStop_.get_token(), cover = source_.cover]() -> CoverPointer {
    if (stop.stop_requested()) return nullptr;
    auto found = cover(url, stop);
    return found ? std::make_shared<const Cover>(*std::move(found)) : nullptr;
  };
  coverRequest_.start(read, [this](CoverPointer cover) { adoptCover(std::move(cover)); });
}

/// A cover that is the same as before stays the one that was decoded.
void MusicStore::adoptCover(CoverPointer cover) {
  if (cover == cover_ || (cover && cover_ && *cover == *cover_)) return;
  cover_ = std::move(cover);
  coverObservers_.notify();
}

void MusicStore::clear() {
  {
    const std::lock_guard lock(queue_->mutex);
    queue_->clear();
  }
  loading_.clear();
  known_.clear();
  order_.clear();
  setCurrent(std::nullopt);
}

const MusicTags* MusicStore::tags(const FileURL& url) const {
  const auto found = known_.find(url);
  return found != known_.end() ? &found->second : nullptr;
}

Subscription MusicStore::onChange(Observer observer) const { return observers_.subscribe(std::move(observer)); }

Subscription MusicStore::onCoverChange(CoverObserver observer) const {
  return coverObservers_.subscribe(std::move(observer));
}

}  // namespace tolvane
