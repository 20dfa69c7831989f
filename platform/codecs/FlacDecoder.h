#pragma once
// One run of libFLAC over one stream. One thread each. Checks the place and the format of every block that comes, so
// that damage ends the decode and never moves, mutes or distorts what is heard.

#include <FLAC/stream_decoder.h>

#include <memory>
#include <vector>

#include "platform/codecs/ByteSource.h"
#include "platform/codecs/EncodedTrack.h"
#include "platform/codecs/FlacStream.h"
#include "platform/codecs/ReadWindow.h"

namespace tolvane {

class FlacDecoder final : public TrackDecoder {
 public:
  /// Reads the start of a stream of which only the place is known, and the head of its first block.
  [[nodiscard]] static std::expected<FlacStream, OSStatus> describe(const ByteSource& source, const FlacStream& place);

  /// `source` outlives the decoder. `frame` counts from the stream's first one.
  [[nodiscard]] static std::expected<std::unique_ptr<TrackDecoder>, OSStatus> open(const ByteSource& source,
                                                                                   const FlacStream& stream,
                                                                                   std::uint64_t frame);

  [[nodiscard]] std::expected<std::uint64_t, OSStatus> decode(std::span<std::byte> destination) override;

 private:
  struct DeleteDecoder {
    void operator()(FLAC__StreamDecoder* decoder) const { FLAC__stream_decoder_delete(decoder); }
  };
  struct Callbacks;

  FlacDecoder(const ByteSource& source, const FlacStream& stream);

  [[nodiscard]] OSStatus prepare();
  [[nodiscard]] OSStatus seek(std::uint64_t frame);
  /// True when no block will follow.
  [[nodiscard]] bool isAtEnd() const;
  /// True when the stream cannot end well any more, whatever follows.
  [[nodiscard]] bool isPastHope() const;
  /// True when reading on is of no use.
  [[nodiscard]] bool hasGivenUp() const;
  [[nodiscard]] OSStatus endStatus() const;

  [[nodiscard]] OSStatus checkBlock(const FLAC__FrameHeader& header);
  void deliverBlock(std::uint32_t frames, const FLAC__int32* const channels[]);
  void noteError(FLAC__StreamDecoderErrorStatus error);

  const ByteSource& source_;
  FlacStream stream_;
  ReadWindow window_;
  std::unique_ptr<FLAC__StreamDecoder, DeleteDecoder> decoder_;
  std::uint64_t bytePosition_ = 0;  ///< from the start of the stream

  bool isDescribing_ = false;  ///< the first block is only asked for its number
  bool hasDescription_ = false;
  bool isAmongBlocks_ = false;      ///< neither in front of them, nor on the way to some other place
  std::uint64_t nextFrame_ = 0;     ///< number of the frame that must come next
  OSStatus suspicion_ = noErr;      ///< damage that counts only if the stream goes on behind it
  std::uint64_t suspectBytes_ = 0;  ///< from there to the end of the file
  std::uint64_t errorCount_ = 0;    ///< that libFLAC told of since the suspicion arose
  bool isBlockBad_ = false;         ///< the next one that libFLAC delivers is none
  OSStatus failure_ = noErr;        ///< ends the decode for good
  bool isStartDamaged_ = false;     ///< the first block that comes may not be the first one of the stream
  std::span<std::byte> wanted_;     ///< what is still to fill in the present call
  std::vector<std::byte> surplus_;  ///< decoded, but beyond what was asked for
  std::size_t surplusStart_ = 0;
};

}  // namespace tolvane
