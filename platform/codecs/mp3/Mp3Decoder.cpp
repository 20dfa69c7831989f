#include "platform/codecs/mp3/Mp3Decoder.h"

#include <sys/types.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/codecs/bytes/FileStatus.h"

namespace tolvane {

namespace {


/// Turns a packet of layer III into one that plays silence but keeps the bytes it lends to others, and those that
/// were lent before it. `reservoir` and the result: bytes of main data before and behind it.
std::size_t silencePacket(std::span<std::byte> packet, const MpegFrameHeader& header, std::size_t reservoir) {
  const std::size_t start = MpegFrameHeader::kByteCount + header.checksumBytes();
  const std::size_t end = start + header.sideInformationBytes();
  if (packet.size() < end) return reservoir;
  const auto information = packet.first(end).subspan(start);
  header.silence(information, static_cast<std::uint32_t>(reservoir));
  return reservoir + packet.size() - end;
}

/// Moves joint stereo that begins, in a header of layer II, after the last subband of its bit rate to that subband.
/// libmpg123 does the same itself, but prints a message to standard error even in quiet mode.
void limitJointStereo(std::span<std::byte> bytes) {
  constexpr std::byte kModeExtension{0x30};
  const auto header = MpegFrameHeader::parse(bytes);
  const bool isJointStereo = (bytes[3] & std::byte{0xC0}) == std::byte{0x40};
  if (!header || header->layer != 2 || header->version != MpegFrameHeader::Version::mpeg1 || !isJointStereo) return;
  // Up to this rate two channels have 8 subbands, at 32 kHz 12; above it more than joint stereo can ask for. In steps
  // of 4, as its field counts them from 4 on.
  constexpr std::uint32_t kLowRate = 96;  // kilobits per second
  if (header->bitRate == 0 || header->bitRate > kLowRate) return;
  const std::byte last = header->sampleRate == 32000 ? std::byte{0x20} : std::byte{0x10};
  bytes[3] = (bytes[3] & ~kModeExtension) | std::min(bytes[3] & kModeExtension, last);
}

}  // namespace

Mp3Decoder::Mp3Decoder(const ByteSource& source, const MpegStream& stream, std::uint64_t frame)
    : stream_(stream),
      bytesPerFrame_(std::uint64_t{stream.header.channels} * sizeof(float)),
      window_(source),
      nextFrame_(stream.firstFrame + frame) {}

std::expected<std::unique_ptr<TrackDecoder>, OSStatus> Mp3Decoder::open(const ByteSource& source,
                                                                        const MpegStream& stream, std::uint64_t frame) {
  std::unique_ptr<Mp3Decoder> decoder(new Mp3Decoder(source, stream, frame));
  if (const OSStatus status = decoder->prepare(); status != noErr) return std::unexpected(status);
  return decoder;
}

OSStatus Mp3Decoder::prepare() {
  const std::uint64_t packet = nextFrame_ / stream_.header.framesPerPacket();
  if (packet >= stream_.packetCount) return noErr;
  const std::uint64_t leadIn = stream_.reservoirPackets();
  const std::uint64_t preroll = leadIn + MpegStream::kOverlapPackets;
  const std::uint64_t landmark = packet < preroll ? 0 : (packet - preroll) / MpegStream::kLandmarkDistance;
  nextPacket_ = landmark * MpegStream::kLandmarkDistance;
  origin_ = streamPosition_ = stream_.landmarks[landmark];
  if (landmark > 0) {
    if (const OSStatus status = prepareLeadIn(leadIn); status != noErr) return status;
  }
  return openHandle();
}

OSStatus Mp3Decoder::prepareLeadIn(std::uint64_t packets) {
  // The first packets after a jump borrow bits that the decoder has not seen. It drops such a packet without running
  // its filter bank, which then stands elsewhere than in a serial decode and rounds its sums differently for the rest
  // of the track. So these packets are silenced: side information that asks for no bits is decoded like any other,
  // while the main data stays where it is for the packets that borrow from it.
  std::size_t reservoir = 0;
  for (; packets > 0; --packets) {
    std::array<std::byte, MpegFrameHeader::kByteCount> bytes;
    const std::uint64_t packetOffset = origin_ + leadIn_.size();
    const auto count = readPackets(packetOffset, bytes);
    if (!count) return count.error();
    const auto header = *count == bytes.size() ? MpegFrameHeader::parse(bytes) : std::nullopt;
    if (!header) return kAudioFileInvalidFileError;
    const std::size_t size =
        header->bitRate != 0 ? header->packetBytes() : stream_.freePacketBytes + header->paddingBytes();
    leadIn_.resize(leadIn_.size() + size);
    const auto packet = std::span(leadIn_).last(size);
    const auto read = readPackets(packetOffset, packet);
    if (!read) return read.error();
    if (*read < size) return kAudioFileInvalidFileError;
    reservoir = std::min<std::size_t>(silencePacket(packet, *header, reservoir), header->largestReservoir());
  }
  return noErr;
}

OSStatus Mp3Decoder::openHandle() {
  int error = MPG123_OK;
  handle_.reset(mpg123_new(nullptr, &error));
  if (handle_ == nullptr) return statusFromMpg123(error);
  mpg123_handle* const handle = handle_.get();
  // Gaps are cut, and the encoder's own packet is left out, by the map of the stream. Free format needs a stream that
  // can be sought.
  constexpr long kAdded = MPG123_QUIET | MPG123_IGNORE_INFOFRAME | MPG123_NO_PEEK_END | MPG123_FORCE_SEEKABLE;
  error = mpg123_param(handle, MPG123_ADD_FLAGS, kAdded, 0);
  if (error == MPG123_OK) {
    error = mpg123_param(handle, MPG123_REMOVE_FLAGS, MPG123_GAPLESS | MPG123_AUTO_RESAMPLE | MPG123_FUZZY, 0);
  }
  if (error == MPG123_OK) error = mpg123_param(handle, MPG123_RVA, MPG123_RVA_OFF, 0);
  if (error == MPG123_OK) error = mpg123_format_none(handle);
  // Every rate and number of channels is accepted here, and all but the right ones are refused in checkFormat(): what
  // libmpg123 refuses itself, it reports on standard error even in quiet mode.
  constexpr long kAllRates = 0;
  if (error == MPG123_OK) {
    error = mpg123_format2(handle, kAllRates, MPG123_MONO | MPG123_STEREO, MPG123_ENC_FLOAT_32);
  }
  const auto read = [](void* self, void* buffer, std::size_t count) -> ssize_t {
    auto& decoder = *static_cast<Mp3Decoder*>(self);
    const std::span bytes(static_cast<std::byte*>(buffer), count);
    const auto done = decoder.readStream(bytes);
    if (!done) decoder.readStatus_ = done.error();
    // libmpg123 reads headers by themselves, and nothing else of just their size.
    if (done == bytes.size() && bytes.size() == MpegFrameHeader::kByteCount) limitJointStereo(bytes);
    return done ? static_cast<ssize_t>(*done) : -1;
  };
  const auto seek = [](void* self, off_t offset, int whence) -> off_t {
    auto& decoder = *static_cast<Mp3Decoder*>(self);
    const std::uint64_t base = whence == SEEK_SET   ? decoder.origin_
                               : whence == SEEK_CUR ? decoder.streamPosition_
                                                    : decoder.stream_.byteCount;
    const std::uint64_t position = base + static_cast<std::uint64_t>(offset);
    if (position < decoder.origin_ || position > decoder.stream_.byteCount) return -1;
    decoder.streamPosition_ = position;
    return static_cast<off_t>(position - decoder.origin_);
  };
  if (error == MPG123_OK) error = mpg123_replace_reader_handle(handle, read, seek, nullptr);
  if (error == MPG123_OK) error = mpg123_open_handle(handle, this);
  return error == MPG123_OK ? noErr : statusFromMpg123(mpg123_errcode(handle));
}

std::expected<std::size_t, OSStatus> Mp3Decoder::readStream(std::span<std::byte> destination) {
  std::size_t done = 0;
  if (const std::uint64_t inside = streamPosition_ - origin_; inside < leadIn_.size()) {
    done = std::min<std::size_t>(destination.size(), leadIn_.size() - inside);
    std::ranges::copy(std::span(leadIn_).subspan(inside, done), destination.begin());
  }
  const auto rest = readPackets(streamPosition_ + done, destination.subspan(done));
  if (!rest) return rest;
  streamPosition_ += done + *rest;
  return done + *rest;
}

std::expected<std::size_t, OSStatus> Mp3Decoder::readPackets(std::uint64_t streamOffset,
                                                             std::span<std::byte> destination) {
  std::size_t done = 0;
  while (done < destination.size() && streamOffset + done < stream_.byteCount) {
    const auto extent =
        std::ranges::upper_bound(stream_.extents, streamOffset + done, {}, &MpegStream::Extent::streamOffset) - 1;
    const std::uint64_t inside = streamOffset + done - extent->streamOffset;
    constexpr std::uint64_t kPiece = 64 * 1024;
    const std::size_t wanted = std::min({kPiece, extent->byteCount - inside, destination.size() - done});
    const auto bytes = window_.at(extent->fileOffset + inside, wanted);
    if (!bytes) return std::unexpected(bytes.error());
    if (bytes->empty()) break;
    std::ranges::copy(*bytes, destination.begin() + static_cast<std::ptrdiff_t>(done));
    done += bytes->size();
  }
  silencePackets(streamOffset, destination.first(done));
  return done;
}

void Mp3Decoder::silencePackets(std::uint64_t streamOffset, std::span<std::byte> bytes) const {
  const std::uint64_t end = streamOffset + bytes.size();
  const auto endOf = [](const MpegStream::Silenced& silenced) { return silenced.streamOffset + silenced.byteCount; };
  auto silenced = std::ranges::upper_bound(stream_.silenced, streamOffset, {}, endOf);
  for (; silenced != stream_.silenced.end() && silenced->streamOffset < end; ++silenced) {
    const std::uint64_t from = std::max(streamOffset, silenced->streamOffset);
    const std::uint64_t to = std::min(end, endOf(*silenced));
    const auto information = std::span(silenced->information).subspan(from - silenced->streamOffset, to - from);
    std::ranges::copy(information, bytes.begin() + static_cast<std::ptrdiff_t>(from - streamOffset));
  }
}

OSStatus Mp3Decoder::checkFormat() {
  long rate = 0;
  int channels = 0;
  int encoding = 0;
  if (mpg123_getformat(handle_.get(), &rate, &channels, &encoding) != MPG123_OK) {
    return statusFromMpg123(mpg123_errcode(handle_.get()));
  }
  const bool isExpected = rate == static_cast<long>(stream_.header.sampleRate) && channels == stream_.header.channels &&
                          encoding == MPG123_ENC_FLOAT_32;
  return isExpected ? noErr : kAudioFileUnsupportedDataFormatError;
}

bool Mp3Decoder::isAtExpectedPlace() {
  if (nextPacket_ % MpegStream::kLandmarkDistance != 0) return true;
  const auto place = static_cast<std::uint64_t>(mpg123_framepos(handle_.get()));
  return origin_ + place == stream_.landmarks[nextPacket_ / MpegStream::kLandmarkDistance];
}

OSStatus Mp3Decoder::decodePacket() {
  packet_ = {};
  if (handle_ == nullptr || nextPacket_ >= stream_.packetCount) return noErr;
  if (stream_.changePacket && nextPacket_ >= *stream_.changePacket) return kAudioFileUnsupportedDataFormatError;
  int result = mpg123_framebyframe_next(handle_.get());
  if (readStatus_ != noErr) return readStatus_;
  if (result == MPG123_DONE || result == MPG123_NEED_MORE) return noErr;
  if (result == MPG123_NEW_FORMAT) {
    if (const OSStatus status = checkFormat(); status != noErr) return status;
  } else if (result != MPG123_OK) {
    return statusFromMpg123(mpg123_errcode(handle_.get()));
  }
  // libmpg123 counts packets itself. If it ever disagreed about the number of this one, everything that follows would
  // be shifted in time without an error.
  if (!isAtExpectedPlace()) return kAudioFileInvalidFileError;
  off_t number = 0;
  unsigned char* audio = nullptr;
  std::size_t byteCount = 0;
  result = mpg123_framebyframe_decode(handle_.get(), &number, &audio, &byteCount);
  if (result != MPG123_OK) return statusFromMpg123(mpg123_errcode(handle_.get()));
  if (byteCount != stream_.header.framesPerPacket() * bytesPerFrame_) return kAudioFileInvalidFileError;
  packet_ = std::as_bytes(std::span(audio, byteCount));

  const std::uint64_t packetStart = nextPacket_++ * stream_.header.framesPerPacket();
  const std::uint64_t packetEnd = packetStart + stream_.header.framesPerPacket();
  const std::uint64_t from = std::clamp(nextFrame_, packetStart, packetEnd);
  const std::uint64_t to = std::clamp(stream_.endFrame, from, packetEnd);
  packet_ = packet_.subspan((from - packetStart) * bytesPerFrame_, (to - from) * bytesPerFrame_);
  return noErr;
}

std::expected<std::uint64_t, OSStatus> Mp3Decoder::decode(std::span<std::byte> destination) {
  const std::uint64_t wanted = destination.size() / bytesPerFrame_;
  std::uint64_t done = 0;
  while (done < wanted && nextFrame_ < stream_.endFrame) {
    if (packet_.empty()) {
      const std::uint64_t before = nextPacket_;
      if (const OSStatus status = decodePacket(); status != noErr) return std::unexpected(status);
      if (nextPacket_ == before) break;
    }
    const std::size_t count = std::min<std::uint64_t>(packet_.size(), (wanted - done) * bytesPerFrame_);
    if (count == 0) continue;
    std::memcpy(destination.data() + done * bytesPerFrame_, packet_.data(), count);
    packet_ = packet_.subspan(count);
    done += count / bytesPerFrame_;
    nextFrame_ += count / bytesPerFrame_;
  }
  return done;
}

}  // namespace tolvane
