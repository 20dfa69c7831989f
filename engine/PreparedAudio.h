#pragma once
// One whole track in memory as PCM, with what is known about its source. A value; the context owns the block.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "engine/FailureContext.h"
#include "engine/render/AudioRenderContext.h"
#include "platform/AudioFileServices.h"
#include "platform/ChannelLayout.h"
#include "platform/FileURL.h"

namespace tolvane {

struct PreparedAudio {
  std::shared_ptr<AudioRenderContext> context;  ///< never null
  std::uint32_t sourceBitDepth = 0;             ///< of the source, not of the block; 0 when unknown
  bool sourceIsFloat = false;
  bool isLossless = false;   ///< FLAC and every PCM file; not MP3
  std::string sourceLabel;   ///< the file's extension in upper case: "FLAC"
  ChannelLayout channels{};  ///< the speakers that the block's channels are meant for; empty: the usual ones
  std::optional<SampleSignature> signature{};  ///< of the samples, as stored by the encoder
  FileURL url{};                               ///< where the file was
  std::optional<TrackCut> cut{};               ///< if the file holds less data than its header states
};

}  // namespace tolvane
