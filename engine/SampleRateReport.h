#pragma once
// The outcome of bringing a device to a sample rate. A plain value; rates in hertz.

namespace tolvane {

struct SampleRateReport {
  double requestedRate = 0;          ///< the source's rate
  double nominalRate = 0;            ///< read back afterwards; 0 when unreadable
  double actualRate = 0;             ///< as measured by the device, read back afterwards; 0 when absent or unreadable
  bool rateChangeAttempted = false;  ///< the device stood at another rate
  bool didWaitForRate = false;       ///< the settle wait ran to its end, whether or not the rate came

  /// The nominal rate agrees with the request, and the actual rate agrees or is not reported.
  [[nodiscard]] bool isMatched() const;

  bool operator==(const SampleRateReport&) const = default;
};

}  // namespace tolvane
