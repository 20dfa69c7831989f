#include "engine/StreamFormats.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace tolvane {

bool ratesAgree(double reference, double rate) {
  constexpr double partsOfReference = 0.00002;
  constexpr double atLeastHertz = 1.0;
  if (!(reference > 0) || !(rate > 0)) return false;
  return std::abs(reference - rate) <= std::max(reference * partsOfReference, atLeastHertz);
}

bool formatsMatch(const AudioStreamBasicDescription& a, const AudioStreamBasicDescription& b) {
  return ratesAgree(a.mSampleRate, b.mSampleRate) && a.mFormatID == b.mFormatID && a.mFormatFlags == b.mFormatFlags &&
         a.mBytesPerPacket == b.mBytesPerPacket && a.mFramesPerPacket == b.mFramesPerPacket &&
         a.mBytesPerFrame == b.mBytesPerFrame && a.mChannelsPerFrame == b.mChannelsPerFrame &&
         a.mBitsPerChannel == b.mBitsPerChannel;
}

BilingualText formatRate(double hertz) {
  if (!(hertz > 0)) return bilingual("an unknown rate");
  const double kilohertz = hertz / 1000;
  if (std::round(kilohertz) == kilohertz) return fmt::format("{:.0f} kHz", kilohertz);
  return fmt::format("{:.1f} kHz", kilohertz);
}

BilingualText formatDescription(const AudioStreamBasicDescription& format) {
  const BilingualText rate = formatRate(format.mSampleRate);
  return format.isFloat()
             ? bilingual("{}, {}-bit float, {} ch", rate, format.mBitsPerChannel, format.mChannelsPerFrame)
             : bilingual("{}, {}-bit integer, {} ch", rate, format.mBitsPerChannel, format.mChannelsPerFrame);
}

bool physicalFormatCompatibility(const PreparedAudio& prepared, const AudioStreamBasicDescription& physicalFormat) {
  constexpr std::uint32_t floatBits = 32;
  constexpr std::uint32_t integerBitsInFloat = 24;  // the significand of a 32-bit float, with its hidden bit
  const AudioStreamBasicDescription& client = prepared.context->format();
  if (physicalFormat.mFormatID != kAudioFormatLinearPCM) return false;
  if (!ratesAgree(client.mSampleRate, physicalFormat.mSampleRate)) return false;
  if (client.mChannelsPerFrame != physicalFormat.mChannelsPerFrame) return false;
  const std::uint32_t sourceBits = prepared.sourceBitDepth != 0 ? prepared.sourceBitDepth : client.mBitsPerChannel;
  const std::uint32_t physicalBits = physicalFormat.mBitsPerChannel;
  if (sourceBits == 0 || physicalBits == 0) return false;
  if (prepared.sourceIsFloat) return physicalFormat.isFloat() && physicalBits >= sourceBits;
  // A decoder that delivers 32-bit float has already rounded such a source; the hardware cannot restore the lost bits.
  if (client.isFloat() && client.mBitsPerChannel == floatBits && sourceBits > integerBitsInFloat) return false;
  if (!physicalFormat.isFloat()) return physicalBits >= sourceBits;
  return physicalBits >= floatBits && sourceBits <= integerBitsInFloat;
}

}  // namespace tolvane
