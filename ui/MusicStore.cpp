#include "ui/MusicStore.h"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <utility>

namespace tolvane {

namespace {

template <typename ObserverType>
Subscription addObserver(std::vector<std::weak_ptr<const ObserverType>>& observers, ObserverType observer) {
  auto held = std::make_shared<const ObserverType>(std::move(observer));
  std::erase_if(observers, [](const auto& known) { return known.expired(); });
  observers.push_back(held);
  return Subscription(std::move(held));
}

template <typename ObserverType, typename... Arguments>
void notify(const std::vector<std::weak_ptr<const ObserverType>>& observers, const Arguments&... arguments) {
  const auto notified = observers;
  for (const auto& known : notified)
    if (const auto observer = known.lock()) (*observer)(arguments...);
}

bool areInOneFolder(const FileURL& a, const FileURL& b) {
  return std::filesystem::path(a.path()).parent_path() == std::filesystem::path(b.path()).parent_path();
}

}  // namespace

/// What waits to be read, and where results are handed in. Outlives the store while a task runs, and then takes
/// nothing.
struct MusicStore::Mailbox {
  std::mutex mutex;
  // Guarded by mutex:
  std::vector<FileURL> waiting;   ///< the last one is next
  std::optional<FileURL> urgent;  ///< read before them
  std::stop_source stop;          ///< another one after clear()
  RunLoop* runLoop = nullptr;     ///< null once the store is gone

  MusicStore* store = nullptr;  // window's thread; null once the store is gone

  std::optional<FileURL> takeNext() {
    if (urgent) return std::exchange(urgent, std::nullopt);
    if (waiting.empty()) return std::nullopt;
    auto next = std::move(waiting.back());
    waiting.pop_back();
    return next;
  }
};

MusicStore::MusicStore(RunLoop& runLoop, Source source)
    : source_(std::move(source)), mailbox_(std::make_shared<Mailbox>()), coverRequest_(runLoop, source_.background) {
  mailbox_->runLoop = &runLoop;
  mailbox_->store = this;
}

MusicStore::~MusicStore() {
  coverStop_.request_stop();
  mailbox_->store = nullptr;
  const std::lock_guard lock(mailbox_->mutex);
  mailbox_->stop.request_stop();
  mailbox_->waiting.clear();
  mailbox_->urgent.reset();
  mailbox_->runLoop = nullptr;
}

void MusicStore::load(const FileURL& url) {
  if (known_.contains(url)) return;
  if (!source_.tags) return finish(url, tagsOfTrack({}, url));
  const bool isUrgent = url == current_;
  {
    const std::lock_guard lock(mailbox_->mutex);
    auto& waiting = mailbox_->waiting;
    if (!loading_.insert(url).second) {
      if (!isUrgent || std::erase(waiting, url) == 0) return;  // a reader has it already
    }
    if (isUrgent) {
      if (mailbox_->urgent) waiting.push_back(*mailbox_->urgent);
      mailbox_->urgent = url;
    } else {
      waiting.push_back(url);
    }
    if (waiting.size() > mostWaiting) {
      loading_.erase(waiting.front());
      waiting.erase(waiting.begin());
    }
  }
  source_.background([mailbox = mailbox_, source = source_] { readNext(mailbox, source); });
}

void MusicStore::readNext(const std::shared_ptr<Mailbox>& mailbox, const Source& source) {
  std::unique_lock lock(mailbox->mutex);
  const auto url = mailbox->takeNext();
  const auto stop = mailbox->stop.get_token();
  lock.unlock();
  if (!url) return;
  auto tags = source.tags(*url, stop);
  lock.lock();
  if (mailbox->runLoop == nullptr || stop.stop_requested()) return;
  mailbox->runLoop->post([mailbox, stop, url = *url, tags = std::move(tags)]() mutable {
    if (mailbox->store != nullptr && !stop.stop_requested()) mailbox->store->finish(url, std::move(tags));
  });
}

void MusicStore::finish(const FileURL& url, MusicTags tags) {
  loading_.erase(url);
  remember(url, std::move(tags));
  notify(observers_, url);
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
  notify(coverObservers_);
}

void MusicStore::clear() {
  {
    const std::lock_guard lock(mailbox_->mutex);
    mailbox_->stop.request_stop();
    mailbox_->stop = {};
    mailbox_->waiting.clear();
    mailbox_->urgent.reset();
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

Subscription MusicStore::onChange(Observer observer) const { return addObserver(observers_, std::move(observer)); }

Subscription MusicStore::onCoverChange(CoverObserver observer) const {
  return addObserver(coverObservers_, std::move(observer));
}

}  // namespace tolvane
