#pragma once
// How many bits of a sample the hardware is proven to use: one rule for PCMs of this process and of others. Pure
// functions for any thread. Never takes the width of a container for a proof.

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "platform/conversion/PcmLayout.h"

namespace tolvane {

/// All that is known about the depth of one PCM format on one device.
struct DepthEvidence {
  PcmLayout container;
  std::uint32_t transport = 0;           ///< kAudioDeviceTransportType…
  int driverBits = 0;                    ///< significant bits as the driver reports them; 0: not queried
  std::optional<int> usbDescriptorBits;  ///< of the format's USB setting; counts on USB only
  std::optional<int> codecBits;          ///< of the narrowest HD Audio output converter; does not count on USB
};

/// The fewest bits that any of these proves: a USB descriptor, the HD Audio converters, a driver that reports fewer
/// bits than the container has, an integer container of at most 16 bits, a virtual card. Nothing without a proof: most
/// drivers report the container's own width, whatever the converter behind it does with the bits.
[[nodiscard]] std::optional<int> provenBits(const DepthEvidence& evidence);

/// What proves them, for the user: "the USB descriptor". Empty without a proof.
[[nodiscard]] std::string_view proofOfBits(const DepthEvidence& evidence);

/// A format that a device accepts, with what is proven about it.
struct DeviceFormat {
  PcmLayout layout;
  std::optional<int> provenBits;
};

/// The best format for a client whose source has `sourceBits` integer bits (0: not known, or floating point): among the
/// formats that are proven to carry every bit of the source where there are any, else among all of them.
[[nodiscard]] std::optional<PcmLayout> chooseProvenFormat(const PcmLayout& client, unsigned sourceBits,
                                                          std::span<const DeviceFormat> formats);

}  // namespace tolvane
