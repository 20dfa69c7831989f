#include "ui/waveforms/WaveformStore.h"

#include <fmt/format.h>

#include <cstdio>
#include <utility>

namespace tolvane {

WaveformStore::WaveformStore(RunLoop& runLoop, Extract extract, Background background)
    : extract_(std::move(extract)), background_(std::move(background)), mailbox_(runLoop, *this) {}

WaveformStore::~WaveformStore() { cancelWaveformLoading(); }

void WaveformStore::loadWaveform(const FileURL& url) {
  Record& record = records_[url];
  if (record.samples || record.load) return;
  record.load.emplace(++lastTask_);
  background_([url, task = record.load->task, token = record.load->stop.get_token(), extract = extract_,
               address = mailbox_.address()] { execute(url, task, token, extract, address); });
  announce(url);
}

void WaveformStore::execute(const FileURL& url, TaskID task, const std::stop_token& stop, const Extract& extract,
                            const Mailbox<WaveformStore>::Address& address) {
  auto result = stop.stop_requested() ? std::nullopt : extract(url, stop);
  if (stop.stop_requested()) result.reset();
  if (result && !*result) {
    const std::string line = fmt::format("Waveform error: {}\n", result->error().errorDescription());
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
  }
  auto waveform = result && *result ? std::optional(std::move(**result)) : std::nullopt;
  address.deliver([url, task, waveform = std::move(waveform)](WaveformStore& store) mutable {
    store.finish(url, task, std::move(waveform));
  });
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

Subscription WaveformStore::onChange(Observer observer) const { return observers_.subscribe(std::move(observer)); }

void WaveformStore::announce(const FileURL& url) { observers_.notify(url); }

}  // namespace tolvane
