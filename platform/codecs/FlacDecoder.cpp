#include "platform/codecs/FlacDecoder.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/codecs/FileStatus.h"

namespace tolvane {

namespace {

/// Sample k of n channels becomes k / 2^(bits − 1): exact up to 25 bits, the nearest float beyond.
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

/// libFLAC's way of asking for bytes and of handing out blocks.
struct FlacDecoder::Callbacks {
  static FlacDecoder& self(void* client) { return *static_cast<FlacDecoder*>(client); }

  static FLAC__StreamDecoderReadStatus read(const FLAC__StreamDecoder*, FLAC__byte buffer[], std::size_t* byteCount,
                                            void* client) {
    auto& decoder = self(client);
    // Among damaged blocks libFLAC goes on by itself to the end of the file.
    if (decoder.hasGivenUp()) return FLAC__STREAM_DECODER_READ_STATUS_ABORT;
    constexpr std::size_t kPiece = 64 * 1024;
    const auto bytes = decoder.window_.at(decoder.stream_.offset + decoder.bytePosition_, std::min(*byteCount, kPiece));
    if (!bytes) {
      decoder.failure_ = bytes.error();
      return FLAC__STREAM_DECODER_READ_STATUS_ABORT;
    }
    if (!bytes->empty()) std::memcpy(buffer, bytes->data(), bytes->size());
    decoder.bytePosition_ += bytes->size();
    *byteCount = bytes->size();
    return bytes->empty() ? FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM : FLAC__STREAM_DECODER_READ_STATUS_CONTINUE;
  }

  static std::uint64_t length(const FlacDecoder& decoder) {
    return decoder.source_.size() - std::min(decoder.source_.size(), decoder.stream_.offset);
  }

  static FLAC__StreamDecoderSeekStatus seek(const FLAC__StreamDecoder*, FLAC__uint64 offset, void* client) {
    if (offset > length(self(client))) return FLAC__STREAM_DECODER_SEEK_STATUS_ERROR;
    self(client).bytePosition_ = offset;
    return FLAC__STREAM_DECODER_SEEK_STATUS_OK;
  }

  static FLAC__StreamDecoderTellStatus tell(const FLAC__StreamDecoder*, FLAC__uint64* offset, void* client) {
    *offset = self(client).bytePosition_;
    return FLAC__STREAM_DECODER_TELL_STATUS_OK;
  }

  static FLAC__StreamDecoderLengthStatus streamLength(const FLAC__StreamDecoder*, FLAC__uint64* bytes, void* client) {
    *bytes = length(self(client));
    return FLAC__STREAM_DECODER_LENGTH_STATUS_OK;
  }

  static FLAC__bool isAtEnd(const FLAC__StreamDecoder*, void* client) {
    return self(client).bytePosition_ >= length(self(client)) ? 1 : 0;
  }

  static FLAC__StreamDecoderWriteStatus write(const FLAC__StreamDecoder*, const FLAC__Frame* frame,
                                              const FLAC__int32* const channels[], void* client) {
    auto& decoder = self(client);
    if (decoder.failure_ == noErr && std::exchange(decoder.isBlockBad_, false)) {
      return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
    }
    if (decoder.failure_ == noErr) decoder.failure_ = decoder.checkBlock(frame->header);
    if (decoder.failure_ != noErr) return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
    decoder.deliverBlock(frame->header.blocksize, channels);
    return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
  }

  static void metadata(const FLAC__StreamDecoder*, const FLAC__StreamMetadata* block, void* client) {
    auto& decoder = self(client);
    if (block->type != FLAC__METADATA_TYPE_STREAMINFO || !decoder.isDescribing_ || decoder.hasDescription_) return;
    const auto& info = block->data.stream_info;
    decoder.stream_.sampleRate = info.sample_rate;
    decoder.stream_.channels = info.channels;
    decoder.stream_.bits = info.bits_per_sample;
    decoder.stream_.announcedFrames = info.total_samples;
    // At worst the samples are stored as they are, the difference of two channels with one more bit.
    decoder.stream_.largestBlockBytes = info.max_framesize != 0
                                            ? info.max_framesize
                                            : info.max_blocksize * info.channels * (info.bits_per_sample + 8) / 8;
    decoder.hasDescription_ = true;
  }

  static void error(const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus status, void* client) {
    self(client).noteError(status);
  }
};

FlacDecoder::FlacDecoder(const ByteSource& source, const FlacStream& stream)
    : source_(source), stream_(stream), window_(source), nextFrame_(stream.firstFrame) {}

OSStatus FlacDecoder::prepare() {
  decoder_.reset(FLAC__stream_decoder_new());
  if (decoder_ == nullptr) return kAudioFileUnspecifiedError;
  const auto init = stream_.isInOgg ? FLAC__stream_decoder_init_ogg_stream : FLAC__stream_decoder_init_stream;
  if (init(decoder_.get(), &Callbacks::read, &Callbacks::seek, &Callbacks::tell, &Callbacks::streamLength,
           &Callbacks::isAtEnd, &Callbacks::write, &Callbacks::metadata, &Callbacks::error,
           this) != FLAC__STREAM_DECODER_INIT_STATUS_OK) {
    return kAudioFileUnspecifiedError;
  }
  if (FLAC__stream_decoder_process_until_end_of_metadata(decoder_.get()) != 0) {
    isAmongBlocks_ = true;
    return failure_;
  }
  return failure_ != noErr ? failure_ : statusFromFLACState(FLAC__stream_decoder_get_state(decoder_.get()));
}

std::expected<FlacStream, OSStatus> FlacDecoder::describe(const ByteSource& source, const FlacStream& place) {
  FlacDecoder decoder(source, place);
  decoder.isDescribing_ = true;
  if (const OSStatus status = decoder.prepare(); status != noErr) return std::unexpected(status);
  if (!decoder.hasDescription_) return std::unexpected(kAudioFileInvalidFileError);
  // A stream whose very first block is damaged can be described; to decode it will fail in its own time.
  while (decoder.isDescribing_ && !decoder.isAtEnd() && !decoder.hasGivenUp() &&
         FLAC__stream_decoder_process_single(decoder.decoder_.get()) != 0) {
  }
  return decoder.stream_;
}

std::expected<std::unique_ptr<TrackDecoder>, OSStatus> FlacDecoder::open(const ByteSource& source,
                                                                         const FlacStream& stream,
                                                                         std::uint64_t frame) {
  std::unique_ptr<FlacDecoder> decoder(new FlacDecoder(source, stream));
  if (const OSStatus status = decoder->prepare(); status != noErr) return std::unexpected(status);
  if (frame > 0) {
    if (const OSStatus status = decoder->seek(frame); status != noErr) return std::unexpected(status);
  }
  return decoder;
}

OSStatus FlacDecoder::seek(std::uint64_t frame) {
  nextFrame_ = stream_.firstFrame + frame;
  // The block in which the frame lies is delivered from within, cut so that it starts with it.
  isAmongBlocks_ = false;
  const bool isThere = FLAC__stream_decoder_seek_absolute(decoder_.get(), nextFrame_) != 0;
  isAmongBlocks_ = true;
  if (isThere) {
    suspicion_ = noErr;
    errorCount_ = 0;
    return failure_;
  }
  return failure_ != noErr ? failure_ : kAudioFileInvalidFileError;
}

bool FlacDecoder::isAtEnd() const {
  const auto state = FLAC__stream_decoder_get_state(decoder_.get());
  return failure_ != noErr || state == FLAC__STREAM_DECODER_END_OF_STREAM || state == FLAC__STREAM_DECODER_ABORTED;
}

void FlacDecoder::noteError(FLAC__StreamDecoderErrorStatus error) {
  if (suspicion_ != noErr) ++errorCount_;
  if (error == FLAC__STREAM_DECODER_ERROR_STATUS_BAD_METADATA) {
    // A damaged title or picture takes nothing from the music, as long as the first block is found where it should be.
    isStartDamaged_ = true;
  } else if (error == FLAC__STREAM_DECODER_ERROR_STATUS_FRAME_CRC_MISMATCH) {
    // libFLAC delivers the block none the less, as silence. In a stretch that is suspect anyway it may never have been
    // one: a cut block is searched for others, and something in it may look like the head of one.
    isBlockBad_ = true;
    isStartDamaged_ = isStartDamaged_ || isDescribing_;
    if (suspicion_ == noErr && !isDescribing_) failure_ = statusFromFLACError(error);
  } else if (suspicion_ == noErr) {
    suspicion_ = statusFromFLACError(error);
    FLAC__uint64 position = 0;
    const bool isKnown = FLAC__stream_decoder_get_decode_position(decoder_.get(), &position) != 0;
    const std::uint64_t length = Callbacks::length(*this);
    suspectBytes_ = isKnown && position < length ? length - position : 0;
  }
}

OSStatus FlacDecoder::checkBlock(const FLAC__FrameHeader& header) {
  const std::uint64_t number = header.number_type == FLAC__FRAME_NUMBER_TYPE_SAMPLE_NUMBER
                                   ? header.number.sample_number
                                   : std::uint64_t{header.number.frame_number} * header.blocksize;
  if (isDescribing_) {
    if (suspicion_ == noErr && !isStartDamaged_) stream_.firstFrame = number;
    isDescribing_ = false;
    return kAudioFileEndOfFileError;
  }
  if (suspicion_ != noErr) return suspicion_;
  if (header.sample_rate != stream_.sampleRate || header.channels != stream_.channels ||
      header.bits_per_sample != stream_.bits) {
    return kAudioFileUnsupportedDataFormatError;
  }
  return number == nextFrame_ ? noErr : kAudioFileInvalidFileError;
}

void FlacDecoder::deliverBlock(std::uint32_t frames, const FLAC__int32* const channels[]) {
  nextFrame_ += frames;
  const std::size_t bytesPerFrame = stream_.channels * sizeof(float);
  const std::size_t direct = std::min<std::size_t>(frames, wanted_.size() / bytesPerFrame);
  convert(channels, stream_.channels, 0, direct, stream_.bits, wanted_.data());
  wanted_ = wanted_.subspan(direct * bytesPerFrame);
  surplus_.resize((frames - direct) * bytesPerFrame);
  surplusStart_ = 0;
  convert(channels, stream_.channels, direct, frames - direct, stream_.bits, surplus_.data());
}

bool FlacDecoder::isPastHope() const {
  if (suspicion_ == noErr) return false;
  // Bytes that are no block end the stream. Without anything missing they are some program's tag; less than a block of
  // them is where the file was cut off. More of them, in place of blocks that are missing, are damage.
  constexpr std::uint64_t kRoomForTag = 1024;
  const bool isComplete = nextFrame_ >= stream_.firstFrame + stream_.announcedFrames;
  const bool isCut = suspectBytes_ <= stream_.largestBlockBytes + kRoomForTag;
  if (!isComplete && !isCut) return true;
  // By chance, some 16 kilobytes of a tag hold one thing that libFLAC takes for a block and has to give up. Each may
  // cost it as much as 65535 frames; a file that is full of them was made to take for ever.
  constexpr std::uint64_t kFewErrors = 64;
  constexpr std::uint64_t kBytesPerError = 4096;
  return errorCount_ > kFewErrors + Callbacks::length(*this) / kBytesPerError;
}

bool FlacDecoder::hasGivenUp() const {
  if (!isAmongBlocks_) return false;
  // Behind damage no block is known to be the first one of the stream.
  return isDescribing_ ? suspicion_ != noErr || isStartDamaged_ : isPastHope();
}

OSStatus FlacDecoder::endStatus() const {
  if (failure_ != noErr) return failure_;
  return isPastHope() ? suspicion_ : noErr;
}

std::expected<std::uint64_t, OSStatus> FlacDecoder::decode(std::span<std::byte> destination) {
  const std::size_t bytesPerFrame = stream_.channels * sizeof(float);
  const std::size_t wanted = destination.size() / bytesPerFrame * bytesPerFrame;
  const std::size_t kept = std::min(wanted, surplus_.size() - surplusStart_);
  if (kept > 0) std::memcpy(destination.data(), surplus_.data() + surplusStart_, kept);
  surplusStart_ += kept;
  wanted_ = destination.subspan(kept, wanted - kept);
  while (!wanted_.empty() && !isAtEnd() && !hasGivenUp()) {
    if (FLAC__stream_decoder_process_single(decoder_.get()) == 0 && failure_ == noErr && !hasGivenUp()) {
      failure_ = statusFromFLACState(FLAC__stream_decoder_get_state(decoder_.get()));
    }
  }
  if (!wanted_.empty()) {
    if (const OSStatus status = endStatus(); status != noErr) return std::unexpected(status);
  }
  const std::uint64_t done = (wanted - wanted_.size()) / bytesPerFrame;
  wanted_ = {};
  return done;
}

}  // namespace tolvane
