#include "platform/codecs/FileOpening.h"

#include <limits>
#include <utility>

#include "platform/codecs/pcm/AiffLayout.h"
#include "platform/codecs/bytes/CancellableSource.h"
#include "platform/codecs/decoding/DecodedAudioFile.h"
#include "platform/codecs/decoding/EncodedAudioFile.h"
#include "platform/codecs/decoding/ExcerptTrack.h"
#include "platform/codecs/FileRecognition.h"
#include "platform/codecs/flac/FlacTrack.h"
#include "platform/codecs/pcm/LinearPCMFile.h"
#include "platform/codecs/mp3/Mp3Track.h"
#include "platform/codecs/pcm/WavLayout.h"

namespace tolvane {

namespace {

using OpenedPCM = std::expected<std::unique_ptr<AudioFile>, OSStatus>;
using OpenedEncoded = std::expected<std::unique_ptr<ExtAudioFile>, OSStatus>;

std::shared_ptr<const ByteSource> watched(std::shared_ptr<const ByteSource> source, const ReadingProgress* progress) {
  if (progress == nullptr) return source;
  return std::make_shared<CancellableSource>(std::move(source), *progress);
}

/// Readers mistake a cancelled read for damage, or for the end of something optional.
template <typename Opened>
Opened unlessCancelled(Opened opened, const ReadingProgress* progress) {
  if (progress != nullptr && progress->isCancelled()) return std::unexpected(userCanceledErr);
  return opened;
}

bool isPart(const FileExcerpt* excerpt) { return excerpt != nullptr && !excerpt->isWholeFile(); }

/// Data whose frames have no size is refused later, excerpt or not.
PcmFileLayout cutOut(PcmFileLayout layout, const FileExcerpt& excerpt) {
  const std::uint64_t frameBytes = layout.format.mBytesPerFrame;
  if (frameBytes == 0) return layout;
  const auto framesIn = [&](std::uint64_t bytes) {
    return framesOf(excerpt, layout.format.mSampleRate, bytes / frameBytes);
  };
  const auto held = framesIn(layout.dataByteCount);
  if (excerpt.end)  // the next track begins there, even if the file ends before
    layout.announcedByteCount = framesIn(std::numeric_limits<std::uint64_t>::max()).count() * frameBytes;
  else if (layout.announcedByteCount)
    layout.announcedByteCount = framesIn(*layout.announcedByteCount).count() * frameBytes;
  layout.dataOffset += held.first * frameBytes;
  layout.dataByteCount = held.count() * frameBytes;
  return layout;
}

OpenedPCM openPCM(std::shared_ptr<const ByteSource> source, const FileExcerpt* excerpt) {
  const auto file = recogniseFile(*source);
  if (!file) return std::unexpected(file.error());
  if (file->kind == AudioFileKind::unknown) return std::unexpected(kAudioFileUnsupportedFileTypeError);
  if (file->kind != AudioFileKind::wav && file->kind != AudioFileKind::aiff) {
    AudioStreamBasicDescription format;
    format.mFormatID = file->formatID;
    return std::make_unique<EncodedAudioFile>(std::move(source), format);
  }
  const auto layout =
      file->kind == AudioFileKind::wav ? readWavLayout(*source, file->offset) : readAiffLayout(*source, file->offset);
  if (!layout) return std::unexpected(layout.error());
  return std::make_unique<LinearPCMFile>(std::move(source), isPart(excerpt) ? cutOut(*layout, *excerpt) : *layout);
}

std::expected<std::unique_ptr<EncodedTrack>, OSStatus> openTrack(const std::shared_ptr<const ByteSource>& source) {
  const auto file = recogniseFile(*source);
  if (!file) return std::unexpected(file.error());
  switch (file->kind) {
    case AudioFileKind::flac:
      return FlacTrack::open(source, file->offset, FlacTrack::Container::none);
    case AudioFileKind::oggFlac:
      return FlacTrack::open(source, file->offset, FlacTrack::Container::ogg);
    case AudioFileKind::mpeg:
      return Mp3Track::open(source, file->offset);
    default:
      return std::unexpected(kAudioFileUnsupportedFileTypeError);
  }
}

OpenedEncoded openDecoded(const std::shared_ptr<const ByteSource>& source, const SegmentLimits& limits,
                          ReadingProgress* progress, const FileExcerpt* excerpt) {
  auto track = openTrack(source);
  if (!track) return std::unexpected(track.error());
  if (isPart(excerpt)) *track = std::make_unique<ExcerptTrack>(std::move(*track), *excerpt);
  return std::make_unique<DecodedAudioFile>(source, std::move(*track), limits, progress);
}

}  // namespace

OpenedPCM openLinearPCM(std::shared_ptr<const ByteSource> source, ReadingProgress* progress,
                        const FileExcerpt* excerpt) {
  return unlessCancelled(openPCM(watched(std::move(source), progress), excerpt), progress);
}

OpenedEncoded openEncoded(std::shared_ptr<const ByteSource> source, const SegmentLimits& limits,
                          ReadingProgress* progress, const FileExcerpt* excerpt) {
  return unlessCancelled(openDecoded(watched(std::move(source), progress), limits, progress, excerpt), progress);
}

}  // namespace tolvane
