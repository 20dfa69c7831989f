#include "platform/DeliveryRecord.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace tolvane {
namespace {

/// The longest delay of the player's thread: it takes frames twice a second, and a slow device may block it.
constexpr double longestDelay = 2;  // seconds
constexpr std::size_t largestRing = std::size_t{24} << 20U;

}  // namespace

DeliveryRecord::~DeliveryRecord() { unlock(); }

void DeliveryRecord::unlock() noexcept {
  if (!ring_.empty()) munlock(ring_.data(), ring_.size());
}

void DeliveryRecord::begin(std::optional<Form> form, std::uint32_t bufferFrames) {
  end(0);
  isOpen_ = true;
  form_ = std::move(form);
  written_ = 0;
  isFull_ = false;
  // relaxed, all three: nothing renders; the unit's start orders them before put().
  played_.store(0, std::memory_order_relaxed);
  recorded_.store(0, std::memory_order_relaxed);
  taken_.store(0, std::memory_order_relaxed);
  frameBytes_ = form_ ? form_->format.mBytesPerFrame : 0;
  capacity_ = 0;
  if (frameBytes_ == 0) return;
  const auto wanted =
      static_cast<std::size_t>(form_->format.mSampleRate * longestDelay) + std::size_t{2} * bufferFrames;
  capacity_ = static_cast<std::int64_t>(std::min(wanted, largestRing / frameBytes_));
  const std::size_t bytes = static_cast<std::size_t>(capacity_) * frameBytes_;
  if (bytes <= ring_.size()) return;
  unlock();
  ring_ = std::vector<std::byte>(bytes);    // and touches every page
  (void)mlock(ring_.data(), ring_.size());  // if the limit allows it
}

void DeliveryRecord::end(std::int64_t framesPlayed) {
  if (!std::exchange(isOpen_, false)) return;
  takeStretch(framesPlayed, [this](const Piece& piece) {
    ended_.push_back({piece.frame, piece.form, {piece.bytes.begin(), piece.bytes.end()}});
  });
  runFrame_ += framesPlayed;
  capacity_ = 0;
}

void DeliveryRecord::beginRun() {
  runFrame_ = 0;
  ended_.clear();
}

void DeliveryRecord::put(std::int64_t frame, const std::byte* bytes, std::uint32_t count) noexcept {
  if (capacity_ == 0 || isFull_) return;
  // acquire. Partner: takeStretch(), which has read the frames before this one.
  const std::int64_t room = taken_.load(std::memory_order_acquire) + capacity_ - frame;
  isFull_ = frame > written_ || room < std::int64_t{count};
  if (isFull_) return;
  const auto offset = static_cast<std::size_t>(frame % capacity_);
  const std::size_t first = std::min<std::size_t>(count, static_cast<std::size_t>(capacity_) - offset);
  std::memcpy(ring_.data() + offset * frameBytes_, bytes, first * frameBytes_);
  std::memcpy(ring_.data(), bytes + first * frameBytes_, (count - first) * frameBytes_);
  written_ = frame + count;
  // release. Partner: takeStretch(). Frames that are handed over again were not played, so they are not being taken.
  recorded_.store(std::max(recorded_.load(std::memory_order_relaxed), written_), std::memory_order_release);
}

void DeliveryRecord::setPlayed(std::int64_t frame) noexcept {
  if (frame <= played_.load(std::memory_order_relaxed)) return;  // only this thread writes it
  played_.store(frame, std::memory_order_release);               // partner: take()
}

void DeliveryRecord::take(const std::function<void(const Piece&)>& taker) {
  for (const Ended& stretch : std::exchange(ended_, {})) taker({stretch.frame, stretch.form, stretch.bytes});
  if (isOpen_) takeStretch(played_.load(std::memory_order_acquire), taker);  // partner: setPlayed()
}

void DeliveryRecord::takeStretch(std::int64_t until, const std::function<void(const Piece&)>& taker) {
  if (capacity_ == 0) return;
  until = std::min(until, recorded_.load(std::memory_order_acquire));  // partner: put()
  std::int64_t frame = taken_.load(std::memory_order_relaxed);         // only this thread writes it
  while (frame < until) {
    const auto offset = static_cast<std::size_t>(frame % capacity_);
    const auto count = std::min<std::size_t>(static_cast<std::size_t>(until - frame),
                                             static_cast<std::size_t>(capacity_) - offset);
    taker({runFrame_ + frame, *form_, std::span(ring_).subspan(offset * frameBytes_, count * frameBytes_)});
    frame += static_cast<std::int64_t>(count);
  }
  taken_.store(frame, std::memory_order_release);  // partner: put()
}

}  // namespace tolvane
