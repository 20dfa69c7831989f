#pragma once
// One run of libmpg123 over the packets of a mapped stream. One thread each. Never delivers a frame whose position in
// the track is uncertain.

#include <mpg123.h>

#include <memory>
#include <vector>

#include "platform/codecs/decoding/EncodedTrack.h"
#include "platform/codecs/mp3/MpegStream.h"
#include "platform/codecs/bytes/ReadWindow.h"

namespace tolvane {

class Mp3Decoder final : public TrackDecoder {
 public:
  /// `source` and `stream` outlive the decoder. `frame` counts from the first one of the music.
  [[nodiscard]] static std::expected<std::unique_ptr<TrackDecoder>, OSStatus> open(const ByteSource& source,
                                                                                   const MpegStream& stream,
                                                                                   std::uint64_t frame);

  [[nodiscard]] std::expected<std::uint64_t, OSStatus> decode(std::span<std::byte> destination) override;

 private:
  struct DeleteHandle {
    void operator()(mpg123_handle* handle) const { mpg123_delete(handle); }
  };

  Mp3Decoder(const ByteSource& source, const MpegStream& stream, std::uint64_t frame);

  [[nodiscard]] OSStatus prepare();
  /// Prepares the packets from `origin_` on, that many, to be decoded without those before them.
  [[nodiscard]] OSStatus prepareLeadIn(std::uint64_t packets);
  [[nodiscard]] OSStatus openHandle();
  /// Decodes the next packet into `packet_`; leaves it empty at the end.
  [[nodiscard]] OSStatus decodePacket();
  [[nodiscard]] OSStatus checkFormat();
  [[nodiscard]] bool isAtExpectedPlace();
  /// What libmpg123 reads: the lead-in, then the packets as they are in the file.
  [[nodiscard]] std::expected<std::size_t, OSStatus> readStream(std::span<std::byte> destination);
  [[nodiscard]] std::expected<std::size_t, OSStatus> readPackets(std::uint64_t streamOffset,
                                                                 std::span<std::byte> destination);
  /// Replaces the side information of packets that borrow what is not there.
  void silencePackets(std::uint64_t streamOffset, std::span<std::byte> bytes) const;

  const MpegStream& stream_;
  const std::uint64_t bytesPerFrame_;
  ReadWindow window_;
  std::unique_ptr<mpg123_handle, DeleteHandle> handle_;
  std::uint64_t origin_ = 0;          ///< stream offset that libmpg123 takes for the start
  std::uint64_t streamPosition_ = 0;  ///< of its reading, as an offset into the stream
  std::vector<std::byte> leadIn_;     ///< silenced packets from `origin_` on
  std::uint64_t nextPacket_ = 0;
  std::uint64_t nextFrame_;            ///< the next one to hand out, counted from packet 0
  std::span<const std::byte> packet_;  ///< what is left of the packet decoded last; lives in the handle
  OSStatus readStatus_ = noErr;        ///< of the source, for the time in which only libmpg123 is on the stack
};

}  // namespace tolvane
