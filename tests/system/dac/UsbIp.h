#pragma once
// The wire between the kernel's virtual host controller and a device: requests in, replies out, big-endian.
// Knows no audio.

#include <array>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "tests/system/dac/Bytes.h"

namespace tolvane {

/// One packet of an isochronous transfer, as both sides describe it.
struct IsoPacket {
  std::uint32_t offset = 0;
  std::uint32_t length = 0;
  std::uint32_t actualLength = 0;
  std::uint32_t status = 0;
};

struct UsbIpSubmit {
  std::uint32_t sequence = 0;
  bool isToHost = false;
  std::uint32_t endpoint = 0;
  std::uint32_t length = 0;    // bytes that are sent or may be answered
  std::uint32_t interval = 0;  // microframes between two packets
  std::array<std::uint8_t, 8> setup{};
  Bytes data;
  std::vector<IsoPacket> packets;
};

struct UsbIpUnlink {
  std::uint32_t sequence = 0;
  std::uint32_t victim = 0;
};

using UsbIpRequest = std::variant<UsbIpSubmit, UsbIpUnlink>;

class UsbIpReader {
 public:
  void append(ByteSpan bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
  void clear();

  /// The next request that is there in full. An error is something else than USB/IP: nothing can follow it.
  [[nodiscard]] std::expected<std::optional<UsbIpRequest>, std::string> next();

 private:
  [[nodiscard]] std::uint32_t field(std::size_t index) const;
  [[nodiscard]] std::optional<UsbIpRequest> submit();
  void consume(std::size_t count);

  Bytes bytes_;
  std::size_t start_ = 0;  // of what was not yet read
};

class UsbIpReplies {
 public:
  /// `data` is what goes to the host; `actualLength` counts either direction.
  void submitted(std::uint32_t sequence, int status, std::uint32_t actualLength, ByteSpan data,
                 const std::vector<IsoPacket>& packets);
  void unlinked(std::uint32_t sequence, int status);

  [[nodiscard]] ByteSpan bytes() const { return bytes_; }
  void clear() { bytes_.clear(); }

 private:
  void header(std::uint32_t command, std::uint32_t sequence, int status, std::uint32_t actualLength,
              std::size_t packets);
  void number(std::uint32_t value);

  Bytes bytes_;
};

}  // namespace tolvane
