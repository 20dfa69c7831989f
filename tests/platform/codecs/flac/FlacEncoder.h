#pragma once
// Makes FLAC files of every depth that the format has; the flac program writes only some of them.

#include <cstdint>
#include <vector>

#include "platform/FileURL.h"

namespace tolvane::test {

/// `samples` are interleaved. False when libFLAC refuses.
[[nodiscard]] bool encodeFlac(const FileURL& url, const std::vector<std::int32_t>& samples, int channels, int bits,
                              int rate);

}  // namespace tolvane::test
