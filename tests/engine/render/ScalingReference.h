#pragma once
// The rules of scaling written down one sample at a time, as plainly as they can be said and with no regard to speed:
// what the product's scaling is compared with. Takes its facts from the format, never from the product.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/render/OutputLevels.h"
#include "platform/AudioStreamBasicDescription.h"

namespace tolvane::test {

/// The samples of whole frames in `format`, scaled.
[[nodiscard]] std::vector<std::byte> referenceScaled(const AudioStreamBasicDescription& format,
                                                     std::vector<std::byte> samples, OutputLevels levels);

}  // namespace tolvane::test
