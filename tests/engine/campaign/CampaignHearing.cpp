// The invariants of the campaign about the samples that came out of the simulated devices.

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <vector>

#include "tests/engine/campaign/CampaignInvariants.h"

namespace tolvane {

void CampaignInvariants::listen() {
  if (!world_.isCloseUp) return;
  // Playback may have moved to another device meanwhile: the one that goes on where the other ended comes next.
  std::vector<AudioObjectID> left = world_.devices;
  while (!left.empty()) {
    const auto heard = std::ranges::find_if(left, [this](AudioObjectID id) { return listenTo(world_.device(id)); });
    if (heard == left.end()) break;
    left.erase(heard);
  }
  for (const AudioObjectID id : left) {
    world_.fail(fmt::format("device {} played something else than frame {}", id, world_.heardNext.value_or(-1)));
    world_.device(id).forgetHeard();
  }
}

/// False if these bytes do not continue at the current position.
bool CampaignInvariants::listenTo(SimulatedDevice& device) {
  const auto& bytes = device.heard();
  if (bytes.empty()) return true;
  if (world_.lastPlayed == nullptr) return false;
  const CampaignTrack& track = *world_.lastPlayed;
  const std::size_t frameBytes = track.format.mBytesPerFrame;
  std::int64_t next = world_.heardNext.value_or(0);
  bool isBeyondEnd = world_.isHeardBeyondEnd;
  bool mayBeSilent = world_.mayBeSilent;
  for (std::size_t offset = 0; offset + frameBytes <= bytes.size(); offset += frameBytes) {
    const std::uint64_t mark = track.markIn(std::span(bytes).subspan(offset, frameBytes));
    if (mark == 0 && mayBeSilent) continue;  // the device is open between two tracks
    mayBeSilent = false;
    if (!isBeyondEnd && next >= track.frames) {
      if (mark == 0) continue;  // silence after the end
      isBeyondEnd = true;       // the first frame of the track that follows: frames of one format are counted alike
      next = 0;
    }
    // A short one may end before it has become the current one.
    if (isBeyondEnd && mark == 0 && (world_.upcoming == nullptr || next >= world_.upcoming->frames)) continue;
    if (mark != track.mark(next)) return false;
    ++next;
    ++heardFrames_;
  }
  world_.heardNext = next;
  world_.isHeardBeyondEnd = isBeyondEnd;
  world_.mayBeSilent = mayBeSilent;
  device.forgetHeard();
  return true;
}

}  // namespace tolvane
