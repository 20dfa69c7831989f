#include "platform/alsa/facts/ProvenBits.h"

#include <algorithm>
#include <vector>

#include "platform/AudioHardware.h"

namespace tolvane {
namespace {

/// No driver uses less than all bits of these.
constexpr int widestPlainContainer = 16;

bool carriesSource(const PcmLayout& client, unsigned sourceBits, const DeviceFormat& format) {
  if (!format.provenBits) return false;
  const unsigned bits = sourceBits != 0 || client.isFloat() ? sourceBits : client.bits;
  if (bits == 0 || !client.isFloat()) {
    if (!isExact(client, format.layout)) return false;
  }
  if (format.layout.isFloat()) return bits <= format.layout.integerBits();
  return bits != 0 && *format.provenBits >= static_cast<int>(bits);
}

struct Proof {
  int bits = 0;  ///< 0: there is none
  std::string_view by;
};

Proof fewestBits(const DepthEvidence& evidence) {
  const int width = evidence.container.bits;
  const bool isUsb = evidence.transport == kAudioDeviceTransportTypeUSB;
  const bool isFloat = evidence.container.isFloat();
  Proof proof;
  const auto prove = [&proof](int bits, std::string_view by) {
    if (bits > 0 && (proof.bits == 0 || bits < proof.bits)) proof = {bits, by};
  };
  if (isUsb) prove(evidence.usbDescriptorBits.value_or(0), "the USB descriptor");
  if (evidence.transport == kAudioDeviceTransportTypeVirtual) prove(width, "a virtual card, which has no converter");
  if (!isFloat) {
    if (!isUsb) prove(evidence.codecBits.value_or(0), "the codec's output converters");
    if (evidence.driverBits < width) prove(evidence.driverBits, "the driver");
    if (width <= widestPlainContainer) prove(width, "a 16-bit container, which is always used whole");
  }
  // A floating-point container has all its bits or is nothing that could be described.
  if (proof.bits == 0 || (isFloat && proof.bits < width)) return {};
  proof.bits = std::min(proof.bits, width);
  return proof;
}

}  // namespace

std::optional<int> provenBits(const DepthEvidence& evidence) {
  const Proof proof = fewestBits(evidence);
  return proof.bits != 0 ? std::optional(proof.bits) : std::nullopt;
}

std::string_view proofOfBits(const DepthEvidence& evidence) { return fewestBits(evidence).by; }

std::optional<PcmLayout> chooseProvenFormat(const PcmLayout& client, unsigned sourceBits,
                                            std::span<const DeviceFormat> formats) {
  std::vector<PcmLayout> proven;
  std::vector<PcmLayout> all;
  for (const DeviceFormat& format : formats) {
    all.push_back(format.layout);
    if (carriesSource(client, sourceBits, format)) proven.push_back(format.layout);
  }
  return chooseDeviceFormat(client, proven.empty() ? all : proven);
}

}  // namespace tolvane
