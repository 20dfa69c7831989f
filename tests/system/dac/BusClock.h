#pragma once
// When packets go over a high-speed bus, and what the DAC's own clock makes of it: seconds of a steady clock in,
// seconds and feedback values out. Pure: reads no clock itself.

#include <cstdint>
#include <deque>
#include <optional>

#include "tests/system/dac/UsbIp.h"

namespace tolvane {

/// A transfer of the isochronous endpoint that the host has queued.
struct PendingTransfer {
  UsbIpSubmit request;
  double start = 0;  // seconds: its first packet goes over the wire
  double due = 0;    // its last one has gone
};

/// The transfers of one endpoint, each placed on the bus behind the one before.
class TransferQueue {
 public:
  /// Places the transfer: behind the one before where the stream is continued, else not before now. Returns for how
  /// many seconds the wire had been without packets; 0 in an unbroken stream.
  double push(UsbIpSubmit request, double now, bool isContinued);

  /// The oldest transfer whose packets have gone by now.
  [[nodiscard]] std::optional<PendingTransfer> takeDue(double now);
  [[nodiscard]] std::optional<PendingTransfer> cancel(std::uint32_t sequence);

  /// When the oldest transfer is due; nothing while there is none.
  [[nodiscard]] std::optional<double> nextDue() const;
  [[nodiscard]] bool isEmpty() const { return transfers_.empty(); }
  /// The bus time up to which packets are placed.
  [[nodiscard]] double end() const { return end_; }

 private:
  std::deque<PendingTransfer> transfers_;
  double end_ = 0;
};

/// What the feedback endpoint reports to the host: frames per microframe, in 16.16 bits, whose rounding errors cancel
/// out.
class FeedbackClock {
 public:
  [[nodiscard]] std::uint32_t next(std::uint32_t rate, double errorPpm);

 private:
  double remainder_ = 0;
};

}  // namespace tolvane
