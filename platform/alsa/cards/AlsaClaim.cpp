#include "platform/alsa/cards/AlsaClaim.h"

#include <unistd.h>

#include <chrono>
#include <utility>

#include "platform/ProcessName.h"
#include "platform/alsa/facts/AlsaStatus.h"

namespace tolvane {
namespace {

constexpr std::chrono::seconds longestWait{2};
constexpr std::chrono::milliseconds betweenTries{5};

}  // namespace

bool holderYields(const AlsaUsage& usage) {
  if (usage.holderStayed || !usage.owner || !usage.owner->yields) return false;
  return usage.holderIsServer || usage.holder == usage.owner->pid;
}

pid_t foreignOwner(const AlsaUsage& usage) {
  if (usage.owner && !usage.owner->yields) return usage.owner->pid;
  return usage.allTaken && !holderYields(usage) ? usage.holder : -1;
}

AlsaClaim::AlsaClaim(Pcm pcm, AlsaPaths paths, RunLoop& runLoop, DeviceReservation* reservation,
                     std::shared_ptr<AlsaDeviceCalls> calls)
    : pcm_(std::move(pcm)),
      paths_(std::move(paths)),
      runLoop_(runLoop),
      reservation_(reservation),
      calls_(std::move(calls)) {}

std::expected<AlsaUsage, OSStatus> AlsaClaim::usage() const {
  AlsaUsage usage;
  const auto substreams = calls_->run(
      [paths = paths_, card = pcm_.card, device = pcm_.device] { return readSubstreams(paths, card, device); });
  if (!substreams) return std::unexpected(substreams.error());
  usage.allTaken = !substreams->empty();
  for (const AlsaSubstream& substream : *substreams) {
    if (substream.status.state == AlsaStreamState::closed) usage.allTaken = false;
    if (substream.ownerProcess > 0 && substream.ownerProcess != getpid()) usage.holder = substream.ownerProcess;
  }
  usage.holderIsServer = usage.holder > 0 && isSoundServer(usage.holder, paths_.processes);
  usage.holderStayed = usage.holder > 0 && usage.holder == stayed_;
  if (reservation_ != nullptr) usage.owner = reservation_->owner(pcm_.card);
  return usage;
}

std::expected<pid_t, OSStatus> AlsaClaim::owner() const {
  if (isHeld()) return getpid();
  const auto found = usage();
  if (!found) return std::unexpected(found.error());
  return foreignOwner(*found);
}

bool AlsaClaim::isReservedByAnother() const {
  const auto owner = reservation_ == nullptr || isHeld() ? std::nullopt : reservation_->owner(pcm_.card);
  return owner && !owner->yields;
}

/// Another process that holds a substream can play at any time: that would not be exclusive access.
std::expected<AlsaClaim::Substreams, OSStatus> AlsaClaim::openAll(const std::shared_ptr<AlsaPcm>& inUse) const {
  Substreams all;
  if (inUse) all.push_back(inUse);
  // The one in use may be the only one: a request for another would always be refused.
  while (all.empty() || all.size() < all.front()->subdeviceCount()) {
    auto pcm = openAlsaPcm(calls_, pcm_.card, pcm_.device);
    if (!pcm) return std::unexpected(pcm.error());
    all.push_back(*std::move(pcm));
  }
  return all;
}

OSStatus AlsaClaim::take(std::shared_ptr<AlsaPcm> inUse) {
  const auto before = usage();
  if (!before) return before.error();
  const bool mustWait = before->holder > 0 && holderYields(*before);
  if (before->holder > 0 && !mustWait) return kAudioDevicePermissionsError;
  DeviceReservation::Hold hold;
  if (reservation_ != nullptr) {
    auto reserved = reservation_->acquire(pcm_.card, pcm_.name);
    if (!reserved) return kAudioDevicePermissionsError;
    hold = *std::move(reserved);
  }
  // A server releases the card some moments after it has agreed to.
  const auto end = runLoop_.now() + (mustWait && hold ? longestWait : std::chrono::seconds(0));
  const auto wait = calls_->beginWait();
  auto opened = openAll(inUse);
  while (!opened && opened.error() == kAudioDevicePermissionsError && runLoop_.now() < end && !wait.isInterrupted()) {
    runLoop_.sleepFor(betweenTries);
    opened = openAll(inUse);
  }
  if (!opened) {
    if (mustWait) stayed_ = before->holder;
    return opened.error();
  }
  stayed_ = -1;
  for (const auto& pcm : *opened) pcm->keepUntilClosed(hold);
  pcms_ = *std::move(opened);
  return noErr;
}

}  // namespace tolvane
