#pragma once
// One run of libFLAC over the blocks of one stream. One thread each. Checks the position and the format of every block,
// so that damage ends the decode and never moves, mutes or distorts what is heard. Never lets libFLAC search for
// blocks.

#include <FLAC/stream_decoder.h>

#include <memory>
#include <optional>
#include <vector>

#include "platform/codecs/bytes/ByteSource.h"
#include "platform/codecs/decoding/EncodedTrack.h"
#include "platform/codecs/flac/FlacStream.h"
#include "platform/codecs/bytes/ReadWindow.h"

namespace tolvane {

class FlacDecoder final : public TrackDecoder {
 public:
  /// Where a block starts. Blocks do not depend on each other: decoders at equal places decode the same from there on.
  struct Place {
    std::uint64_t offset = 0;  ///< bytes from the start of the source
    std::uint64_t frame = 0;   ///< number of the block's first frame

    bool operator==(const Place&) const = default;
  };

  /// `source` outlives the decoder.
  [[nodiscard]] static std::expected<std::unique_ptr<FlacDecoder>, OSStatus> open(const ByteSource& source,
                                                                                  const FlacStream& stream,
                                                                                  const Place& place);

  [[nodiscard]] std::expected<std::uint64_t, OSStatus> decode(std::span<std::byte> destination) override;

  /// Where the next call of decode() starts; nothing in the middle of a block, and after the end or a failure.
  [[nodiscard]] std::optional<Place> place() const;

  /// Blocks that were begun, the damaged one included.
  [[nodiscard]] std::uint64_t blocksTried() const { return blocksTried_; }

 private:
  struct DeleteDecoder {
    void operator()(FLAC__StreamDecoder* decoder) const { FLAC__stream_decoder_delete(decoder); }
  };
  struct Callbacks;

  FlacDecoder(const ByteSource& source, const FlacStream& stream, const Place& place);

  [[nodiscard]] OSStatus prepare();
  /// Decodes one block, or ends the decode.
  void decodeBlock();
  /// The status for an end at `next_` that is not the end of the file.
  [[nodiscard]] OSStatus statusOfEnd() const;
  [[nodiscard]] OSStatus checkBlock(const FLAC__FrameHeader& header) const;
  void deliverBlock(std::uint32_t frames, const FLAC__int32* const channels[]);
  /// Without exceptions, which must not pass through libFLAC.
  [[nodiscard]] std::expected<std::span<const std::byte>, OSStatus> readAhead(std::uint64_t offset, std::size_t count);
  [[nodiscard]] std::size_t readStart(std::span<std::byte> destination) const;

  const ByteSource& source_;
  const FlacStream& stream_;
  const std::uint64_t origin_;  ///< offset in the source of what libFLAC takes for the first block
  ReadWindow window_;
  std::unique_ptr<FLAC__StreamDecoder, DeleteDecoder> decoder_;
  std::uint64_t readPosition_ = 0;  ///< next byte for libFLAC, counted from the start that it is given

  Place next_;                 ///< the block that must come next
  bool hasDelivered_ = false;  ///< the present call of libFLAC has given a block
  OSStatus damage_ = noErr;    ///< reported by libFLAC; later reports do not count
  bool isEnded_ = false;       ///< no block will follow
  OSStatus failure_ = noErr;   ///< ends the decode permanently
  std::uint64_t blocksTried_ = 0;
  std::span<std::byte> wanted_;     ///< what is still to fill in the present call
  std::vector<std::byte> surplus_;  ///< decoded, but beyond what was asked for
  std::size_t surplusStart_ = 0;
};

}  // namespace tolvane
