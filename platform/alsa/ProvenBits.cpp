#include "platform/alsa/ProvenBits.h"

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

}  // namespace

std::optional<int> provenBits(const DepthEvidence& evidence) {
  const int width = evidence.container.bits;
  const bool isUsb = evidence.transport == kAudioDeviceTransportTypeUSB;
  const bool isFloat = evidence.container.isFloat();
  int proven = 0;
  const auto prove = [&proven](int bits) {
    if (bits > 0) proven = proven == 0 ? bits : std::min(proven, bits);
  };
  if (isUsb) prove(evidence.usbDescriptorBits.value_or(0));
  if (evidence.transport == kAudioDeviceTransportTypeVirtual) prove(width);
  if (!isFloat) {
    if (!isUsb) prove(evidence.codecBits.value_or(0));
    if (evidence.driverBits < width) prove(evidence.driverBits);
    if (width <= widestPlainContainer) prove(width);
  }
  // A floating-point container has all its bits or is nothing that could be described.
  if (proven == 0 || (isFloat && proven < width)) return std::nullopt;
  return std::min(proven, width);
}

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
