#include "engine/PathHistory.h"

#include <algorithm>
#include <utility>

namespace tolvane {
namespace {

/// While a volume is being changed, it is reported many times a second.
constexpr auto recent = std::chrono::seconds(1);

bool isVerdict(AudioPathStatus::Kind kind) {
  return kind != AudioPathStatus::Kind::ready && kind != AudioPathStatus::Kind::configuring;
}

/// Whether both name the same stage, and every stage has the same condition; the texts may differ.
bool hasSameConditions(const SignalPath& a, const SignalPath& b) {
  return a.named == b.named && std::ranges::equal(a.stages, b.stages, {}, &PathStage::condition, &PathStage::condition);
}

}  // namespace

std::string_view eventTitle(PathEvent::Kind kind) {
  constexpr std::array<std::string_view, 4> titles{toTranslate("Verdict"), toTranslate("Path"), toTranslate("Device"),
                                                   toTranslate("Recovery")};
  return titles.at(static_cast<std::size_t>(kind));
}

std::vector<PathEvent> PathHistory::note(RunLoop::TimePoint now, const AudioPathStatus& status,
                                         const SignalPath* path) {
  std::vector<PathEvent> added;
  if (path != nullptr && !path->stages.empty()) notePath(now, *path, added);
  if (isVerdict(status.kind)) noteVerdict(now, status, added);
  return added;
}

void PathHistory::noteVerdict(RunLoop::TimePoint now, const AudioPathStatus& status, std::vector<PathEvent>& added) {
  if (status == lastVerdict_) return;
  PathEvent event{now, PathEvent::Kind::verdict, status.label};
  event.text.add(status.detail, ". ");
  const bool isSameLabel = lastVerdict_ && lastVerdict_->label == status.label;
  lastVerdict_ = status;
  if (!isSameLabel || !replaceRecent(event)) add(std::move(event), added);
}

void PathHistory::notePath(RunLoop::TimePoint now, const SignalPath& path, std::vector<PathEvent>& added) {
  if (path == lastPath_) return;
  const auto before = std::exchange(lastPath_, path);
  for (std::size_t i = 0; i < path.stages.size(); ++i)
    if (!before || before->stages.at(i) != path.stages[i]) changedAt_.at(i) = now;
  if (!before || before->deviceName != path.deviceName)
    add({now, PathEvent::Kind::device,
         path.deviceName.empty() ? bilingual("A device without a name") : BilingualText(path.deviceName)},
        added);
  PathEvent event{now, PathEvent::Kind::path, chainText(path)};
  const bool isSame = before && hasSameConditions(*before, path);
  if (isSame && chainText(*before) == event.text) return;
  if (!isSame || !replaceRecent(event)) add(std::move(event), added);
}

PathEvent PathHistory::noteRecovery(RunLoop::TimePoint now, BilingualText text) {
  std::vector<PathEvent> added;
  add({now, PathEvent::Kind::recovery, std::move(text)}, added);
  return added.front();
}

void PathHistory::add(PathEvent event, std::vector<PathEvent>& added) {
  added.push_back(event);
  events_.push_back(std::move(event));
  if (events_.size() > capacity) events_.pop_front();
}

bool PathHistory::replaceRecent(const PathEvent& event) {
  for (auto known = events_.rbegin(); known != events_.rend() && event.at - known->at < recent; ++known) {
    if (known->kind != event.kind) continue;
    *known = event;
    // In chronological order.
    std::rotate(events_.rbegin(), known, std::next(known));
    return true;
  }
  return false;
}

}  // namespace tolvane
