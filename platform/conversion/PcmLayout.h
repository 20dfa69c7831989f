#pragma once
// How one sample of linear PCM lies in memory, whatever the rate and the channels. A plain value for any thread;
// touches no library.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "platform/AudioStreamBasicDescription.h"

namespace tolvane {

struct PcmLayout {
  enum class Kind : std::uint8_t { signedInteger, unsignedInteger, floatingPoint };

  Kind kind = Kind::signedInteger;
  std::uint8_t bytes = 0;    ///< of the container, 1 … 8
  std::uint8_t bits = 0;     ///< valid ones
  bool alignedHigh = false;  ///< valid bits at the top; false where the bits fill the container
  bool bigEndian = false;    ///< false where the container is one byte

  bool operator==(const PcmLayout&) const = default;

  [[nodiscard]] bool isFloat() const { return kind == Kind::floatingPoint; }
  /// Widest integer, in bits, that every sample of this layout can hold exactly.
  [[nodiscard]] unsigned integerBits() const { return !isFloat() ? bits : bytes == 4 ? 24 : 53; }
};

/// Integers of `bits` valid bits in `bytes` bytes; alignment and byte order are dropped where they mean nothing.
[[nodiscard]] PcmLayout integerLayout(unsigned bits, unsigned bytes, bool bigEndian = false, bool alignedHigh = false,
                                      PcmLayout::Kind kind = PcmLayout::Kind::signedInteger);
[[nodiscard]] PcmLayout floatLayout(unsigned bytes, bool bigEndian = false);

/// Nothing for what is not interleaved linear PCM, or contradicts itself.
[[nodiscard]] std::optional<PcmLayout> pcmLayout(const AudioStreamBasicDescription& format);

/// The description of `layout` at a rate and with so many channels.
[[nodiscard]] AudioStreamBasicDescription describe(const PcmLayout& layout, double sampleRate, std::uint32_t channels);

/// The bytes can be passed as they are: the valid bits of both lie in the same places of the same container.
[[nodiscard]] bool sameBytes(const PcmLayout& client, const PcmLayout& device);

/// Every sample of `client` can be expressed in `device` without loss.
[[nodiscard]] bool isExact(const PcmLayout& client, const PcmLayout& device);

/// The best of `supported` for a client: its own layout; else the narrowest integer that holds it (for float clients:
/// float first); else what keeps most bits. Nothing when the list is empty.
[[nodiscard]] std::optional<PcmLayout> chooseDeviceFormat(const PcmLayout& client,
                                                          std::span<const PcmLayout> supported);

/// Fills `samples` with silence: zero, or the half-way code of unsigned integers. Real-time safe.
void fillSilence(const PcmLayout& layout, std::span<std::byte> samples) noexcept;

/// For the user and the log: "24-bit integer in 3 bytes", "32-bit float, big-endian".
[[nodiscard]] std::string layoutText(const PcmLayout& layout);

}  // namespace tolvane
