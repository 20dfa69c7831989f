#include "platform/alsa/pcm/RingAccount.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tolvane {

RingAccount::RingAccount(std::int64_t ringFrames, std::size_t frameBytes)
    : ringFrames_(ringFrames), frameBytes_(frameBytes), again_(static_cast<std::size_t>(ringFrames) * frameBytes) {}

void RingAccount::begin() {
  written_ = 0;
  played_ = 0;
  uncommitted_ = 0;
  preparedAt_ = 0;
  againBytes_ = 0;
  againAt_ = 0;
}

void RingAccount::commit(std::int64_t frames) {
  written_ += frames;
  uncommitted_ -= frames;
}

void RingAccount::lookPlaying(std::int64_t unheard) { played_ = std::clamp(written_ - unheard, played_, written_); }

void RingAccount::lookPaused(std::int64_t unheard) {
  played_ = std::clamp<std::int64_t>(written_ - unheard, 0, written_);
}

void RingAccount::keepUnheard(const std::byte* ring) {
  written_ += std::exchange(uncommitted_, 0);  // they follow the others in the ring, and contain music as well
  const std::int64_t frames = std::min({written_ - played_, written_ - preparedAt_, ringFrames_});
  // Frames that are still to be written again come after those that are added now. All were in one ring once.
  const std::size_t waiting = againBytes_ - againAt_;
  const std::size_t bytes = static_cast<std::size_t>(std::max<std::int64_t>(frames, 0)) * frameBytes_;
  if (ring != nullptr && frames > 0 && bytes + waiting <= again_.size()) {
    std::memmove(again_.data() + bytes, again_.data() + againAt_, waiting);
    const auto first = static_cast<std::size_t>((written_ - frames - preparedAt_) % ringFrames_);
    const std::size_t untilEnd = std::min(bytes, (static_cast<std::size_t>(ringFrames_) - first) * frameBytes_);
    std::memcpy(again_.data(), ring + first * frameBytes_, untilEnd);
    std::memcpy(again_.data() + untilEnd, ring, bytes - untilEnd);
    againAt_ = 0;
    againBytes_ = bytes + waiting;
    written_ -= frames;
  }
  played_ = written_;
}

std::int64_t RingAccount::takeAgain(std::byte* destination, std::int64_t frames) {
  const std::size_t bytes = std::min(againBytes_ - againAt_, static_cast<std::size_t>(frames) * frameBytes_);
  if (bytes > 0) std::memcpy(destination, again_.data() + againAt_, bytes);
  againAt_ += bytes;
  return static_cast<std::int64_t>(bytes / frameBytes_);
}

}  // namespace tolvane
