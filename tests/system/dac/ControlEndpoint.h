#pragma once
// Endpoint 0: answers the host's requests to the device, its clock, its volume and its stream's format. Knows the
// device's state, and notifies an observer of each change; never touches the stream itself.

#include <array>
#include <cstdint>
#include <optional>

#include "tests/system/dac/Bytes.h"
#include "tests/system/dac/DacSettings.h"

namespace tolvane {

/// Called before the new value holds.
class ControlListener {
 public:
  virtual ~ControlListener() = default;
  virtual void configured(int configuration) = 0;
  virtual void alternateSelected(int alternate) = 0;
  virtual void rateRequested(std::uint32_t rate, bool isAccepted) = 0;
  virtual void volumeSet(double decibels) = 0;
  virtual void muteSet(bool isMuted) = 0;
};

class ControlEndpoint {
 public:
  using Setup = std::array<std::uint8_t, 8>;

  /// Both outlive the endpoint.
  ControlEndpoint(const DacSettings& settings, ControlListener& listener);

  /// What the device sends back, empty for a request without an answer; nothing where it refuses (a stall).
  [[nodiscard]] std::optional<Bytes> answer(const Setup& setup, ByteSpan data);

  /// As after plugging in: no stream. The clock and the volume stay, as on a device with its own supply.
  void reset() { alternate_ = 0; }

  /// The stream's format; null while there is no stream.
  [[nodiscard]] const SampleFormat* format() const;
  [[nodiscard]] int alternate() const { return alternate_; }
  [[nodiscard]] std::uint32_t rate() const { return rate_; }
  [[nodiscard]] double volumeDecibels() const;

 private:
  struct Request;
  [[nodiscard]] std::optional<Bytes> standard(const Request& request);
  [[nodiscard]] std::optional<Bytes> descriptor(const Request& request) const;
  [[nodiscard]] std::optional<Bytes> clock(const Request& request);
  [[nodiscard]] std::optional<Bytes> volume(const Request& request);
  [[nodiscard]] bool selectAlternate(const Request& request);

  const DacSettings& settings_;
  ControlListener& listener_;
  int alternate_ = 0;
  std::uint32_t rate_;       // hertz
  std::int16_t volume_ = 0;  // 1/256 dB
  bool isMuted_ = false;
};

}  // namespace tolvane
