#include "tests/system/dac/BusClock.h"

#include <algorithm>
#include <cmath>

namespace tolvane {
namespace {

constexpr double kMicroframe = 125e-6;  // seconds
constexpr double kMicroframesPerSecond = 8000;
// A program that woke late has not stopped the bus: packets then follow without a gap, so that the mean rate is exact.
constexpr double kLatenessMadeUpFor = 0.1;  // seconds

}  // namespace

double TransferQueue::push(UsbIpSubmit request, double now, bool isContinued) {
  const double gap = transfers_.empty() ? std::max(0.0, now - end_) : 0.0;
  if (gap > 0 && (!isContinued || gap > kLatenessMadeUpFor)) end_ = now;
  const double start = end_;
  end_ += static_cast<double>(request.packets.size() * request.interval) * kMicroframe;
  transfers_.push_back({std::move(request), start, end_});
  return gap;
}

std::optional<PendingTransfer> TransferQueue::takeDue(double now) {
  if (transfers_.empty() || transfers_.front().due > now) return std::nullopt;
  PendingTransfer transfer = std::move(transfers_.front());
  transfers_.pop_front();
  return transfer;
}

std::optional<PendingTransfer> TransferQueue::cancel(std::uint32_t sequence) {
  const auto victim = std::ranges::find_if(
      transfers_, [sequence](const PendingTransfer& transfer) { return transfer.request.sequence == sequence; });
  if (victim == transfers_.end()) return std::nullopt;
  PendingTransfer transfer = std::move(*victim);
  transfers_.erase(victim);
  return transfer;
}

std::optional<double> TransferQueue::nextDue() const {
  return transfers_.empty() ? std::nullopt : std::optional(transfers_.front().due);
}

std::uint32_t FeedbackClock::next(std::uint32_t rate, double errorPpm) {
  const double exact = rate / kMicroframesPerSecond * (1 + errorPpm / 1e6) * 65536 + remainder_;
  const double rounded = std::round(exact);
  remainder_ = exact - rounded;
  return static_cast<std::uint32_t>(rounded);
}

}  // namespace tolvane
