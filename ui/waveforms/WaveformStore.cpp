#include "ui/waveforms/WaveformStore.h"

#include <fmt/format.h>

#include <cstdio>
#include <mutex>
#include <utility>

namespace tolvane {

/// Where background tasks hand in their results. Outlives the store while a task runs, and then takes nothing.
struct WaveformStore::Mailbox {
  std::mutex mutex;
  RunLoop* runLoop = nullptr;      // guarded by mutex; null once the store is gone
  WaveformStore* store = nullptr;  // window's thread; null once the store is gone

  void deliver(const FileURL& url, TaskID task, std::optional<Waveform> waveform,
               const std::shared_ptr<Mailbox>& self) {
    const std::lock_guard lock(mutex);
    if (!runLoop) return;
    runLoop->post([self, url, task, waveform = std::move(waveform)]() mutable {
      if (self->store) self->store->finish(url, task, std::move(waveform));
    });
  }
};

WaveformStore::WaveformStore(RunLoop& runLoop, Extract extract, Background background)
    : extract_(std::move(extract)), background_(std::move(background)), mailbox_(std::make_shared<Mailbox>()) {
  mailbox_->runLoop = &runLoop;
  mailbox_->store = this;
}

WaveformStore::~WaveformStore() {
  cancelWaveformLoading();
  mailbox_->store = nullptr;
  const std::lock_guard lock(mailbox_->mutex);
  mailbox_->runLoop = nullptr;
}

void WaveformStore::loadWaveform(const FileURL& url) {
  Record& record = records_[url];
  if (record.samples || record.load) return;
  record.load.emplace(++lastTask_);
  background_([url, task = record.load->task, token = record.load->stop.get_token(), extract = extract_,
               mailbox = mailbox_] { execute(url, task, token, extract, mailbox); });
  announce(url);
}

void WaveformStore::execute(const FileURL& url, TaskID task, const std::stop_token& stop, const Extract& extract,
                            const std::shared_ptr<Mailbox>& mailbox) {
  auto result = stop.stop_requested() ? std::nullopt : extract(url, stop);
  if (stop.stop_requested()) result.reset();
  if (result && !*result) {
    const std::string line = fmt::format("Waveform error: {}\n", result->error().errorDescription());
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
  }
  const bool succeeded = result && *result;
  mailbox->deliver(url, task, succeeded ? std::optional(std::move(**result)) : std::nullopt, mailbox);
}

void WaveformStore::finish(const FileURL& url, TaskID task, std::optional<Waveform> waveform) {
  const auto found = records_.find(url);
  if (found == records_.end()) return;
  Record& record = found->second;
  if (!record.load || record.load->task != task) return;  // another load, or none, counts now
  const bool isWanted = !record.load->stop.stop_requested();
  record.load.reset();
  if (isWanted && waveform) {
    record.samples = std::make_shared<const std::vector<double>>(std::move(waveform->samples));
    record.duration = waveform->duration;
  } else {
    records_.erase(found);
  }
  announce(url);
}

void WaveformStore::cancelWaveformLoading() {
  for (auto& [url, record] : records_)
    if (record.load) record.load->stop.request_stop();
}

void WaveformStore::clear() {
  cancelWaveformLoading();
  records_.clear();
}

WaveformStore::Samples WaveformStore::samples(const FileURL& url) const {
  const auto found = records_.find(url);
  return found == records_.end() ? nullptr : found->second.samples;
}

std::optional<double> WaveformStore::duration(const FileURL& url) const {
  const auto found = records_.find(url);
  if (found == records_.end() || !found->second.samples) return std::nullopt;
  return found->second.duration;
}

std::map<FileURL, double> WaveformStore::durations() const {
  std::map<FileURL, double> durations;
  for (const auto& [url, record] : records_)
    if (record.samples) durations.emplace_hint(durations.end(), url, record.duration);
  return durations;
}

bool WaveformStore::isLoading(const FileURL& url) const {
  const auto found = records_.find(url);
  return found != records_.end() && found->second.load.has_value();
}

Subscription WaveformStore::onChange(Observer observer) const {
  auto held = std::make_shared<const Observer>(std::move(observer));
  std::erase_if(observers_, [](const auto& known) { return known.expired(); });
  observers_.push_back(held);
  return Subscription(std::move(held));
}

void WaveformStore::announce(const FileURL& url) {
  const auto observers = observers_;
  for (const auto& known : observers) {
    if (const auto observer = known.lock()) (*observer)(url);
  }
}

}  // namespace tolvane
