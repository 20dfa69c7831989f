#include "platform/codecs/flac/FlacDecoder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "platform/codecs/bytes/FileStatus.h"
#include "platform/codecs/flac/FlacScanner.h"

namespace tolvane {

namespace {

/// Before the blocks, libFLAC receives the signature and the metadata block STREAMINFO, marked as the last one: it
/// never sees titles and pictures, and can begin at any block.
constexpr std::array startMarks = {std::byte{'f'},  std::byte{'L'},  std::byte{'a'},  std::byte{'C'},
                                   std::byte{0x80}, std::byte{0x00}, std::byte{0x00}, std::byte{0x22}};
/// Read ahead: a segment is not much longer in small files.
constexpr std::size_t decoderWindowBytes = 64 * 1024;
constexpr std::size_t startBytes = startMarks.size() + FlacStream::streamInfoBytes;

/// Sample k of n channels becomes k / 2^(bits − 1): exact up to 25 bits, the nearest float beyond. REQUIRES: count > 0.
void convert(const FLAC__int32* const channels[], std::uint32_t channelCount, std::size_t first, std::size_t count,
             std::uint32_t bits, std::byte* destination) {
  const float scale = 1.0F / static_cast<float>(std::uint64_t{1} << (bits - 1));
  for (std::uint32_t channel = 0; channel < channelCount; ++channel) {
    const FLAC__int32* const samples = channels[channel] + first;
    std::byte* out = destination + channel * sizeof(float);
    for (std::size_t i = 0; i < count; ++i, out += channelCount * sizeof(float)) {
      const float value = static_cast<float>(samples[i]) * scale;
      std::memcpy(out, &value, sizeof value);
    }
  }
}

}  // namespace

/// libFLAC's callbacks, which read bytes and deliver blocks.
struct FlacDecoder::Callbacks {
  static FlacDecoder& self(void* client) { return *static_cast<FlacDecoder*>(client); }

  static FLAC__StreamDecoderReadStatus read(const FLAC__StreamDecoder*, FLAC__byte buffer[], std::size_t* byteCount,
                                            void* client) {
    auto& decoder = self(client);
    // libFLAC itself would continue after damage, to the end of the file.
    if (decoder.damage_ != noErr) return FLAC__STREAM_DECODER_READ_STATUS_ABORT;
    const auto destination = std::as_writable_bytes(std::span(buffer, *byteCount));
    std::size_t count = decoder.readStart(destination);
    if (count == 0) {
      const std::uint64_t offset = decoder.origin_ + (decoder.readPosition_ - startBytes);
      const std::uint64_t left = offset < decoder.stream_.end ? decoder.stream_.end - offset : 0;
      constexpr std::size_t piece = 64 * 1024;
      const auto bytes = decoder.readAhead(offset, std::min<std::uint64_t>({destination.size(), piece, left}));
      if (!bytes) {
        decoder.failure_ = bytes.error();
        return FLAC__STREAM_DECODER_READ_STATUS_ABORT;
      }
      if (!bytes->empty()) std::memcpy(destination.data(), bytes->data(), bytes->size());
      count = bytes->size();
    }
    decoder.readPosition_ += count;
    *byteCount = count;
    return count == 0 ? FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM : FLAC__STREAM_DECODER_READ_STATUS_CONTINUE;
  }

  static std::uint64_t length(const FlacDecoder& decoder) {
    return startBytes + (decoder.stream_.end - std::min(decoder.stream_.end, decoder.origin_));
  }

  /// Called only at damage and at the end of a truncated file, after which nothing is read.
  static FLAC__StreamDecoderSeekStatus seek(const FLAC__StreamDecoder*, FLAC__uint64, void*) {
    return FLAC__STREAM_DECODER_SEEK_STATUS_ERROR;
  }

  static FLAC__StreamDecoderTellStatus tell(const FLAC__StreamDecoder*, FLAC__uint64* offset, void* client) {
    *offset = self(client).readPosition_;
    return FLAC__STREAM_DECODER_TELL_STATUS_OK;
  }

  static FLAC__StreamDecoderLengthStatus streamLength(const FLAC__StreamDecoder*, FLAC__uint64* bytes, void* client) {
    *bytes = length(self(client));
    return FLAC__STREAM_DECODER_LENGTH_STATUS_OK;
  }

  static FLAC__bool isAtEnd(const FLAC__StreamDecoder*, void* client) {
    return self(client).readPosition_ >= length(self(client)) ? 1 : 0;
  }

  static FLAC__StreamDecoderWriteStatus write(const FLAC__StreamDecoder*, const FLAC__Frame* frame,
                                              const FLAC__int32* const channels[], void* client) {
    auto& decoder = self(client);
    // A block with a wrong checksum also arrives here, as silence, and so does silence in place of missing blocks.
    if (decoder.damage_ != noErr) return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
    decoder.failure_ = decoder.hasDelivered_ ? kAudioFileInvalidFileError : decoder.checkBlock(frame->header);
    if (decoder.failure_ != noErr) return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
    decoder.hasDelivered_ = true;
    try {
      decoder.deliverBlock(frame->header.blocksize, channels);
    } catch (const std::bad_alloc&) {
      decoder.failure_ = kAudioFileUnspecifiedError;
      return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
    }
    return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
  }

  static void error(const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus status, void* client) {
    auto& decoder = self(client);
    if (decoder.damage_ != noErr) return;
    decoder.damage_ = statusFromFLACError(status);
    // A whole block with a wrong checksum is damage, whatever follows; anything else may be the end of a truncated
    // file.
    if (status == FLAC__STREAM_DECODER_ERROR_STATUS_FRAME_CRC_MISMATCH) decoder.failure_ = decoder.damage_;
  }
};

FlacDecoder::FlacDecoder(const ByteSource& source, const FlacStream& stream, const Place& place)
    : source_(source), stream_(stream), origin_(place.offset), window_(source, decoderWindowBytes), next_(place) {}

std::expected<std::unique_ptr<FlacDecoder>, OSStatus> FlacDecoder::open(const ByteSource& source,
                                                                        const FlacStream& stream, const Place& place) {
  std::unique_ptr<FlacDecoder> decoder(new FlacDecoder(source, stream, place));
  if (const OSStatus status = decoder->prepare(); status != noErr) return std::unexpected(status);
  return decoder;
}

OSStatus FlacDecoder::prepare() {
  decoder_.reset(FLAC__stream_decoder_new());
  if (decoder_ == nullptr) return kAudioFileUnspecifiedError;
  if (FLAC__stream_decoder_init_stream(decoder_.get(), &Callbacks::read, &Callbacks::seek, &Callbacks::tell,
                                       &Callbacks::streamLength, &Callbacks::isAtEnd, &Callbacks::write, nullptr,
                                       &Callbacks::error, this) != FLAC__STREAM_DECODER_INIT_STATUS_OK) {
    return kAudioFileUnspecifiedError;
  }
  if (FLAC__stream_decoder_process_until_end_of_metadata(decoder_.get()) != 0) return failure_;
  return failure_ != noErr ? failure_ : statusFromFLACState(FLAC__stream_decoder_get_state(decoder_.get()));
}

std::size_t FlacDecoder::readStart(std::span<std::byte> destination) const {
  std::size_t count = 0;
  for (std::uint64_t at = readPosition_; at < startBytes && count < destination.size(); ++at, ++count) {
    destination[count] = at < startMarks.size() ? startMarks[at] : stream_.streamInfo[at - startMarks.size()];
  }
  return count;
}

std::expected<std::span<const std::byte>, OSStatus> FlacDecoder::readAhead(std::uint64_t offset, std::size_t count) {
  try {
    return window_.at(offset, count);
  } catch (const std::bad_alloc&) {
    return std::unexpected(kAudioFileUnspecifiedError);
  }
}

OSStatus FlacDecoder::checkBlock(const FLAC__FrameHeader& header) const {
  if (header.sample_rate != stream_.sampleRate || header.channels != stream_.channels ||
      header.bits_per_sample != stream_.bits) {
    return kAudioFileUnsupportedDataFormatError;
  }
  return header.number.sample_number == next_.frame ? noErr : kAudioFileInvalidFileError;
}

void FlacDecoder::deliverBlock(std::uint32_t frames, const FLAC__int32* const channels[]) {
  next_.frame += frames;
  const std::size_t bytesPerFrame = stream_.channels * sizeof(float);
  const std::size_t direct = std::min<std::size_t>(frames, wanted_.size() / bytesPerFrame);
  if (direct > 0) convert(channels, stream_.channels, 0, direct, stream_.bits, wanted_.data());
  wanted_ = wanted_.subspan(direct * bytesPerFrame);
  surplus_.resize((frames - direct) * bytesPerFrame);
  surplusStart_ = 0;
  if (frames > direct) convert(channels, stream_.channels, direct, frames - direct, stream_.bits, surplus_.data());
}

OSStatus FlacDecoder::statusOfEnd() const {
  const std::uint64_t left = stream_.end - std::min(next_.offset, stream_.end);
  if (left == 0) return noErr;
  // What is left is the start of the block at which the file was cut off, or some program's tag. Much more than a block
  // of it stands in place of blocks that are missing, and blocks behind it show that the file is not cut but damaged.
  constexpr std::uint64_t roomForTag = 1024;
  if (left > stream_.largestBlockBytes + roomForTag) return damage_ != noErr ? damage_ : kAudioFileInvalidFileError;
  return FlacScanner(source_, stream_, left + roomForTag).statusOfBlocksBehind(next_.offset + 1);
}

void FlacDecoder::decodeBlock() {
  hasDelivered_ = false;
  ++blocksTried_;
  // Its state and the callbacks give more precise information than its result.
  static_cast<void>(FLAC__stream_decoder_process_single(decoder_.get()));
  if (failure_ != noErr) return;
  if (hasDelivered_ && damage_ == noErr) {
    FLAC__uint64 position = 0;
    if (FLAC__stream_decoder_get_decode_position(decoder_.get(), &position) == 0) failure_ = kAudioFileUnspecifiedError;
    next_.offset = origin_ + (position - startBytes);
    return;
  }
  isEnded_ = true;
  const auto state = FLAC__stream_decoder_get_state(decoder_.get());
  failure_ = state == FLAC__STREAM_DECODER_MEMORY_ALLOCATION_ERROR ? statusFromFLACState(state) : statusOfEnd();
}

std::optional<FlacDecoder::Place> FlacDecoder::place() const {
  const bool isBetweenBlocks = surplusStart_ == surplus_.size() && !isEnded_ && failure_ == noErr;
  return isBetweenBlocks ? std::optional(next_) : std::nullopt;
}

std::expected<std::uint64_t, OSStatus> FlacDecoder::decode(std::span<std::byte> destination) {
  const std::size_t bytesPerFrame = stream_.channels * sizeof(float);
  const std::size_t wanted = destination.size() / bytesPerFrame * bytesPerFrame;
  const std::size_t kept = std::min(wanted, surplus_.size() - surplusStart_);
  if (kept > 0) std::memcpy(destination.data(), surplus_.data() + surplusStart_, kept);
  surplusStart_ += kept;
  wanted_ = destination.subspan(kept, wanted - kept);
  while (!wanted_.empty() && !isEnded_ && failure_ == noErr) decodeBlock();
  if (failure_ != noErr) return std::unexpected(failure_);
  const std::uint64_t done = (wanted - wanted_.size()) / bytesPerFrame;
  wanted_ = {};
  return done;
}

}  // namespace tolvane
