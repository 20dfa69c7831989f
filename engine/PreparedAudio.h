#pragma once
// One whole track in memory as PCM, with what is known of its source. A value; the block belongs to its context.

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
  ChannelLayout channels{};  ///< the loudspeakers that the block's channels are meant for; empty: the usual ones
  std::optional<SampleSignature> signature{};  ///< of the samples, as the encoder stored it
  FileURL url{};                               ///< where the file was
  std::optional<TrackCut> cut{};               ///< where the file holds less than its header states
};

}  // namespace tolvane
