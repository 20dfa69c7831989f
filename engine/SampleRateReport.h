#pragma once
// The result of a change to a sample rate. A plain value; rates in hertz.

namespace tolvane {

struct SampleRateReport {
  double requestedRate = 0;          ///< the source's rate
  double nominalRate = 0;            ///< read back afterwards; 0: unreadable
  double actualRate = 0;             ///< as measured by the device, read back afterwards; 0: absent or unreadable
  bool rateChangeAttempted = false;  ///< the device had another rate
  bool didWaitForRate = false;       ///< the device had or accepted the rate, and was given time to reach it

  /// The nominal rate agrees with the request, and the actual rate agrees or is not reported.
  [[nodiscard]] bool isMatched() const;

  bool operator==(const SampleRateReport&) const = default;
};

}  // namespace tolvane
