#include "platform/codecs/SystemAudioFileServices.h"

#include <utility>

#include "platform/codecs/AiffLayout.h"
#include "platform/codecs/AvailableMemory.h"
#include "platform/codecs/DecodedAudioFile.h"
#include "platform/codecs/EncodedAudioFile.h"
#include "platform/codecs/FileReader.h"
#include "platform/codecs/FileRecognition.h"
#include "platform/codecs/FlacTrack.h"
#include "platform/codecs/LinearPCMFile.h"
#include "platform/codecs/Mp3Track.h"
#include "platform/codecs/WavLayout.h"

namespace tolvane {

namespace {

std::expected<std::unique_ptr<EncodedTrack>, OSStatus> openTrack(const std::shared_ptr<const FileReader>& reader,
                                                                 const RecognisedFile& file) {
  switch (file.kind) {
    case AudioFileKind::flac:
      return FlacTrack::open(reader, file.offset, FlacTrack::Container::none);
    case AudioFileKind::oggFlac:
      return FlacTrack::open(reader, file.offset, FlacTrack::Container::ogg);
    case AudioFileKind::mpeg:
      return Mp3Track::open(reader, file.offset);
    default:
      return std::unexpected(kAudioFileUnsupportedFileTypeError);
  }
}

}  // namespace

std::expected<std::unique_ptr<AudioFile>, OSStatus> SystemAudioFileServices::openAudioFile(const FileURL& url) {
  auto reader = FileReader::open(url);
  if (!reader) return std::unexpected(reader.error());
  const auto file = recogniseFile(**reader);
  if (!file) return std::unexpected(file.error());
  if (file->kind == AudioFileKind::unknown) return std::unexpected(kAudioFileUnsupportedFileTypeError);
  if (file->kind != AudioFileKind::wav && file->kind != AudioFileKind::aiff) {
    AudioStreamBasicDescription format;
    format.mFormatID = file->formatID;
    return std::make_unique<EncodedAudioFile>(std::move(*reader), format);
  }
  const auto layout =
      file->kind == AudioFileKind::wav ? readWavLayout(**reader, file->offset) : readAiffLayout(**reader, file->offset);
  if (!layout) return std::unexpected(layout.error());
  return std::make_unique<LinearPCMFile>(std::move(*reader), *layout);
}

std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> SystemAudioFileServices::openExtAudioFile(const FileURL& url) {
  const auto reader = FileReader::open(url);
  if (!reader) return std::unexpected(reader.error());
  const auto file = recogniseFile(**reader);
  if (!file) return std::unexpected(file.error());
  auto track = openTrack(*reader, *file);
  if (!track) return std::unexpected(track.error());
  return std::make_unique<DecodedAudioFile>(*reader, std::move(*track), limits_);
}

std::uint64_t SystemAudioFileServices::availableMemory() const { return tolvane::availableMemory(); }

}  // namespace tolvane
