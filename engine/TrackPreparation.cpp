#include "engine/TrackPreparation.h"

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

namespace tolvane {
namespace {

/// The byte size of an audio buffer is a 32-bit field and cannot describe a longer block.
constexpr std::uint64_t maximumBlockBytes = 0xFFFFFFFF;
constexpr std::int64_t maximumFrames = 0xFFFFFFFF;

/// Decodes a bit depth property: its magnitude is the depth; negative means floating point, 0 unknown.
SourceFormatInfo sourceFormatInfo(std::expected<std::int32_t, OSStatus> property,
                                  const AudioStreamBasicDescription& fallback) {
  const std::int64_t depth = property.value_or(0);
  if (depth == 0) return {fallback.mBitsPerChannel, fallback.isFloat()};
  return {static_cast<std::uint32_t>(depth < 0 ? -depth : depth), depth < 0};
}

constexpr std::string_view decodedTooLarge = toTranslate("The decoded track exceeds the in-memory playback limit.");
constexpr std::string_view behindTheEnd = toTranslate("The track begins behind the end of its file.");
constexpr std::string_view pcmTooLarge = toTranslate("The PCM track exceeds the in-memory playback limit.");

/// Bytes of a block of `frames` frames, or the message for the limit that it exceeds.
Result<std::uint64_t> blockBytes(std::int64_t frames, std::uint32_t bytesPerFrame) {
  std::int64_t bytes = 0;
  const bool overflows = __builtin_mul_overflow(frames, static_cast<std::int64_t>(bytesPerFrame), &bytes);
  if (frames < 1 || frames > maximumFrames || overflows) return failure("The track is too large to decode safely.");
  if (static_cast<std::uint64_t>(bytes) > maximumBlockBytes) return failure(decodedTooLarge);
  return static_cast<std::uint64_t>(bytes);
}

/// Fills `destination` with the file's data from its start, as far as it goes. Reads pieces that the page cache
/// delivers in less than a millisecond, and checks for cancellation between them.
std::expected<std::uint64_t, OSStatus> readInPieces(AudioFile& file, std::span<std::byte> destination,
                                                    ReadingProgress& progress) {
  constexpr std::size_t pieceBytes = 1024 * 1024;
  std::uint64_t done = 0;
  while (done < destination.size()) {
    const auto piece = destination.subspan(done, std::min(pieceBytes, destination.size() - done));
    const auto count = file.readBytes(done, piece);
    if (!count) return count;
    done += *count;
    progress.advance(*count);
    if (*count < piece.size()) break;
  }
  return done;
}

std::shared_ptr<AudioRenderContext> makeContext(PcmBlock block, const AudioStreamBasicDescription& format,
                                                const std::shared_ptr<AtomicOutputLevels>& levels) {
  const auto byteCount = static_cast<std::int64_t>(block.size());
  return std::make_shared<AudioRenderContext>(std::move(block), byteCount, format, levels);
}

/// Nothing if all announced data is there, or if none was announced.
std::optional<TrackCut> cutOf(std::uint64_t heldFrames, std::optional<std::uint64_t> announcedFrames, double rate,
                              bool isPartOfFile = false) {
  if (!announcedFrames || *announcedFrames <= heldFrames) return std::nullopt;
  return TrackCut{static_cast<double>(heldFrames) / rate, static_cast<double>(*announcedFrames) / rate, isPartOfFile};
}

std::optional<std::uint64_t> announcedFrames(const AudioFile& file, const AudioStreamBasicDescription& format) {
  const auto bytes = file.announcedByteCount();
  return bytes ? std::optional(*bytes / format.mBytesPerFrame) : std::nullopt;
}

/// The message for a file that announces frames but contains none.
std::unexpected<AudioPlayerError> failureOfNoFrames(BilingualText text, std::optional<std::uint64_t> announced,
                                                    double rate) {
  return std::unexpected(AudioPlayerError::message(std::move(text)).with({.cut = cutOf(0, announced, rate)}));
}

bool isPlayableLayout(const AudioStreamBasicDescription& format) {
  return format.mFormatID == kAudioFormatLinearPCM && format.mSampleRate > 0 && format.mChannelsPerFrame != 0 &&
         format.mBytesPerFrame != 0 && (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) == 0 &&
         PCMOutputLevelProcessor::make(format).has_value();
}

}  // namespace

TrackPreparation TrackPreparation::beside(std::uint64_t heldBytes) const {
  TrackPreparation preparation = *this;
  preparation.heldBytes_ = heldBytes;
  return preparation;
}

/// A block that this machine can fill without running out of memory.
std::optional<PcmBlock> TrackPreparation::allocateBlock(std::uint64_t bytes) const {
  const std::uint64_t available = files_.availableMemory();
  // The total counts both `available` and what is held. Half of it, less what is held, is available for this block.
  const std::uint64_t limit = heldBytes_ ? (available - std::min(available, *heldBytes_)) / 2 : available;
  return bytes > limit ? std::nullopt : PcmBlock::allocate(bytes);
}

Result<PreparedAudio> TrackPreparation::prepare(const FileURL& url) const {
  ReadingProgress progress;
  return prepare(url, progress);
}

Result<PreparedAudio> TrackPreparation::prepare(const FileURL& url, ReadingProgress& progress) const {
  constexpr std::string_view cancelled = toTranslate("Preparing the track was cancelled.");
  if (progress.isCancelled()) return failure(cancelled);
  const std::string extension = asciiLowercased(url.pathExtension());
  const AudioFormat* const format = audioFormatOf(extension);
  const bool isEncoded = format != nullptr && format->isEncoded;
  try {
    auto prepared = isEncoded ? decodeWithExtAudioFile(url, format->isLossless, asciiUppercased(extension), progress)
                              : readLinearPCMFile(url, progress);
    if (prepared) prepared->url = url;
    // Also if the track was complete: the block is freed here, and not on the thread that cancelled it.
    if (progress.isCancelled()) return failure(cancelled);
    if (!prepared) return std::unexpected(examined(std::move(prepared.error()), url, format));
    return prepared;
  } catch (const std::bad_alloc&) {
    return failure(isEncoded ? decodedTooLarge : pcmTooLarge);
  }
}

AudioPlayerError TrackPreparation::examined(AudioPlayerError error, const FileURL& url,
                                            const AudioFormat* format) const {
  FailureContext context = error.context();
  context.file = files_.examine(url);
  if (format != nullptr) context.expectedFormat = format->name;
  return std::move(error).with(std::move(context));
}

Result<PreparedAudio> TrackPreparation::decodeWithExtAudioFile(const FileURL& url, bool isLossless,
                                                               std::string sourceLabel,
                                                               ReadingProgress& progress) const {
  auto opened = files_.openExtAudioFile(url, &progress);
  if (!opened) return failure(bilingual("Opening {}", sourceLabel), opened.error());
  const std::unique_ptr<ExtAudioFile> decoder = std::move(*opened);
  if (!decoder) return failure("The audio decoder could not be created.");

  const auto source = decoder->fileDataFormat();
  if (!source) return failure("Reading the source format", source.error());
  if (!(source->mSampleRate > 0) || source->mChannelsPerFrame == 0)
    return failure("The file has an invalid PCM format.");

  const auto client = float32PCM(source->mSampleRate, source->mChannelsPerFrame);
  if (const OSStatus status = decoder->setClientDataFormat(client); status != noErr)
    return failure("Configuring the PCM decoder", status);

  const auto length = decoder->fileLengthFrames();
  if (!length) return failure("Reading the track length", length.error());
  if (*length == 0 && url.isPartOfFile()) return failure(behindTheEnd);
  const auto bytes = blockBytes(*length, client.mBytesPerFrame);
  if (!bytes) return std::unexpected(bytes.error());

  auto block = allocateBlock(*bytes);
  if (!block) return failure(decodedTooLarge);
  progress.expect(static_cast<std::uint64_t>(*length));
  const auto frames = decoder->read(static_cast<std::uint32_t>(*length), block->bytes());
  if (!frames) return failure("Decoding the track", frames.error());
  if (*frames == 0 && url.isPartOfFile()) return failure(behindTheEnd);
  if (*frames == 0)
    return failureOfNoFrames("The decoder returned an empty track.", decoder->announcedFrames(), client.mSampleRate);

  const SourceFormatInfo info = readSourceFormatInfo(*decoder, *source);
  if (std::int64_t{*frames} < *length) block->shorten(std::uint64_t{*frames} * client.mBytesPerFrame);
  auto context = makeContext(std::move(*block), client, levels_);
  return PreparedAudio{.context = std::move(context),
                       .sourceBitDepth = info.bitDepth,
                       .sourceIsFloat = info.isFloat,
                       .isLossless = isLossless,
                       .sourceLabel = std::move(sourceLabel),
                       .channels = decoder->channelLayout(),
                       .signature = decoder->signature(),
                       .cut = cutOf(*frames, decoder->announcedFrames(), client.mSampleRate, url.isPartOfFile())};
}

Result<PreparedAudio> TrackPreparation::readLinearPCMFile(const FileURL& url, ReadingProgress& progress) const {
  auto opened = files_.openAudioFile(url, &progress);
  if (!opened) return failure("Opening the PCM file", opened.error());
  const std::unique_ptr<AudioFile> file = std::move(*opened);
  if (!file) return failure("The PCM file could not be opened.");

  const auto format = file->dataFormat();
  if (!format) return failure("Reading the PCM format", format.error());
  if (!isPlayableLayout(*format)) return failure("This PCM layout is not supported for direct playback.");

  const auto byteCount = file->audioDataByteCount();
  if (!byteCount) return failure("Reading the PCM data size", byteCount.error());
  const auto announced = announcedFrames(*file, *format);
  if (*byteCount < 1 && url.isPartOfFile()) return failure(behindTheEnd);
  if (*byteCount < 1) return failureOfNoFrames(pcmTooLarge, announced, format->mSampleRate);
  if (*byteCount > maximumBlockBytes) return failure(pcmTooLarge);

  auto block = allocateBlock(*byteCount);
  if (!block) return failure(pcmTooLarge);
  progress.expect(*byteCount);
  const auto bytesRead = readInPieces(*file, block->bytes(), progress);
  if (!bytesRead) return failure("Reading PCM samples", bytesRead.error());
  if (*bytesRead < format->mBytesPerFrame && url.isPartOfFile()) return failure(behindTheEnd);
  if (*bytesRead < format->mBytesPerFrame)
    return failureOfNoFrames("The PCM file contains no complete audio frames.", announced, format->mSampleRate);

  const std::uint64_t framesRead = *bytesRead / format->mBytesPerFrame;
  if (framesRead < *byteCount / format->mBytesPerFrame) block->shorten(framesRead * format->mBytesPerFrame);
  const SourceFormatInfo info = sourceFormatInfo(file->sourceBitDepth(), *format);
  auto context = makeContext(std::move(*block), *format, levels_);
  return PreparedAudio{.context = std::move(context),
                       .sourceBitDepth = info.bitDepth,
                       .sourceIsFloat = info.isFloat,
                       .isLossless = true,
                       .sourceLabel = asciiUppercased(url.pathExtension()),
                       .channels = file->channelLayout(),
                       .cut = cutOf(framesRead, announced, format->mSampleRate, url.isPartOfFile())};
}

SourceFormatInfo readSourceFormatInfo(ExtAudioFile& decoder, const AudioStreamBasicDescription& fallback) {
  AudioFile* file = decoder.audioFile();
  return sourceFormatInfo(file != nullptr ? file->sourceBitDepth() : std::unexpected(kAudioFileUnspecifiedError),
                          fallback);
}

}  // namespace tolvane
