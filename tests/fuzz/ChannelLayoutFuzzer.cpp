// Feeds made-up files to the readers of channel positions, and what they find to the placement on a device. The input's
// last byte is the number of channels.

#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "platform/codecs/pcm/AiffChannels.h"
#include "platform/codecs/flac/FlacChannels.h"
#include "platform/conversion/ChannelMap.h"
#include "tests/platform/codecs/AudioBytes.h"

namespace tolvane::test {
namespace {

/// What must hold of every file. Ends the program where it does not.
void require(bool condition) {
  if (!condition) std::abort();
}

void checkPlacement(const ChannelLayout& source, const ChannelLayout& device) {
  const ChannelPlacement placement = placeChannels(source, device);
  require(placement.sourceOf.size() == device.positions.size());
  std::vector<int> uses(source.positions.size());
  for (const auto& from : placement.sourceOf)
    if (from) ++uses.at(*from);
  for (const std::size_t unplaced : placement.unplaced) require(uses.at(unplaced) == 0);
  if (source.channelCount() > 1)
    for (const int use : uses) require(use <= 1);
  const auto map = ChannelMap::make(source, device);
  require(map.has_value() == ChannelMap::isPossible(source, device.channelCount()));
}

void readChannels(const std::vector<std::byte>& bytes) {
  const std::uint32_t channels = bytes.empty() ? 0 : 1 + std::to_integer<std::uint32_t>(bytes.back()) % 32;
  const MemorySource source(bytes);
  for (const ChannelLayout& layout : {readAiffChannels(source, channels), readFlacChannels(source, 0, channels)}) {
    require(layout.channelCount() == channels);
    if (channels == 0) continue;
    for (const ChannelLayout& device :
         {layout, usualLayout(2), usualLayout(6), layoutOfMask(0x63F, 8), unknownLayout(channels)})
      checkPlacement(layout, device);
    require(!placementAlteration(layout, layout) || !layout.isStated || layout.has(ChannelPosition::unknown));
  }
}

}  // namespace
}  // namespace tolvane::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto bytes = std::as_bytes(std::span(data, size));
  tolvane::test::readChannels({bytes.begin(), bytes.end()});
  return 0;
}
