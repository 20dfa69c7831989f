#pragma once
// A compressed track as both decoders of this folder show it to the code that reads it. EncodedTrack: any thread, its
// decoders: one thread each. Decoders never hand out samples of another rate, depth or number of channels.

#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <span>

#include "platform/AudioStatus.h"
#include "platform/AudioStreamBasicDescription.h"
#include "platform/ChannelLayout.h"

namespace tolvane {

/// Decodes forward from one place, to interleaved native 32-bit float.
class TrackDecoder {
 public:
  virtual ~TrackDecoder() = default;

  /// The whole frames that came; fewer than `destination` holds only at the end of what can be decoded. A track that
  /// goes on behind damaged data, or in another format, is an error.
  [[nodiscard]] virtual std::expected<std::uint64_t, OSStatus> decode(std::span<std::byte> destination) = 0;
};

class EncodedTrack {
 public:
  virtual ~EncodedTrack() = default;

  /// Rate, channels and format id; bits a channel where the format has them.
  [[nodiscard]] virtual const AudioStreamBasicDescription& format() const = 0;
  /// As ExtAudioFile::channelLayout(). Formats of one or two channels have no other than the usual one.
  [[nodiscard]] virtual ChannelLayout channelLayout() const { return usualLayout(format().mChannelsPerFrame); }
  /// A stream that does not announce its length may be too damaged to find it.
  [[nodiscard]] virtual std::expected<std::uint64_t, OSStatus> frameCount() const = 0;
  /// False when decoderAt() must decode all that lies before, or when a decoder that began there might sound different
  /// from one that came from the start.
  [[nodiscard]] virtual bool isSeekable() const = 0;
  /// Frames before a place that a decoder which begins there must reproduce to show that it goes on as the one before
  /// it would have; 0 when blocks do not depend on each other.
  [[nodiscard]] virtual std::uint64_t proofFrames() const = 0;
  [[nodiscard]] virtual std::expected<std::unique_ptr<TrackDecoder>, OSStatus> decoderAt(std::uint64_t frame) const = 0;
};

}  // namespace tolvane
