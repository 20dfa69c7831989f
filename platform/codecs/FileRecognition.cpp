#include "platform/codecs/FileRecognition.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/codecs/pcm/AiffLayout.h"
#include "platform/codecs/mp3/MpegStream.h"
#include "platform/codecs/bytes/Tags.h"
#include "platform/codecs/pcm/WavLayout.h"

namespace tolvane {

namespace {

using namespace std::string_view_literals;

struct Mark {
  std::size_t at;
  std::string_view text;
  AudioFileKind kind;
  FourCharCode formatID;
};

// More specific marks of a container come before the container's own.
constexpr std::array kMarks = {
    Mark{0, "fLaC"sv, AudioFileKind::flac, fourCharCode("flac")},
    Mark{28,
         "\x7F"
         "FLAC"sv,
         AudioFileKind::oggFlac, fourCharCode("flac")},
    Mark{28, "\x01vorbis"sv, AudioFileKind::other, fourCharCode("vorb")},
    Mark{28, "OpusHead"sv, AudioFileKind::other, fourCharCode("opus")},
    Mark{0, "OggS"sv, AudioFileKind::other, fourCharCode("Oggf")},
    Mark{4, "ftyp"sv, AudioFileKind::other, fourCharCode("mp4f")},
    Mark{0, "caff"sv, AudioFileKind::other, fourCharCode("caff")},
    Mark{0, "wvpk"sv, AudioFileKind::other, fourCharCode("wvpk")},
    Mark{0, "MAC "sv, AudioFileKind::other, fourCharCode("MAC ")},
    Mark{0, "DSD "sv, AudioFileKind::other, fourCharCode("DSD ")},
    Mark{0, "FRM8"sv, AudioFileKind::other, fourCharCode("FRM8")},
    Mark{0, "TTA1"sv, AudioFileKind::other, fourCharCode("TTA1")},
    Mark{0, "MThd"sv, AudioFileKind::other, fourCharCode("midi")},
    Mark{0, "\x30\x26\xB2\x75\x8E\x66\xCF\x11"sv, AudioFileKind::other, fourCharCode("wma ")},
};

bool carries(std::span<const std::byte> start, const Mark& mark) {
  if (start.size() < mark.at + mark.text.size()) return false;
  return std::ranges::equal(start.subspan(mark.at, mark.text.size()), mark.text, {},
                            [](std::byte b) { return static_cast<char>(b); });
}

/// AAC as broadcast: a header like MPEG audio's, with layer bits that MPEG audio never has.
bool isAdts(std::span<const std::byte> start) {
  return start.size() >= 2 && start[0] == std::byte{0xFF} && (start[1] & std::byte{0xF6}) == std::byte{0xF0};
}

std::expected<std::span<std::byte>, OSStatus> readStart(const ByteSource& source, std::uint64_t offset,
                                                        std::span<std::byte> storage) {
  const auto count = source.readAt(offset, storage);
  if (!count) return std::unexpected(count.error());
  return storage.first(*count);
}

/// A WAV or AIFF file at this place, or MPEG audio in the header of a WAV file.
std::expected<std::optional<RecognisedFile>, OSStatus> recogniseChunks(const ByteSource& source, std::uint64_t offset,
                                                                       std::span<const std::byte> start) {
  if (isAiffHeader(start)) return RecognisedFile{AudioFileKind::aiff, offset, 0};
  if (!isWavHeader(start)) return std::nullopt;
  const auto layout = readWavLayout(source, offset);
  if (layout && layout->format.mFormatID == wavMpegFormatID) {
    const auto packet = findMpegAudio(source, layout->dataOffset);
    if (!packet) return std::unexpected(packet.error());
    if (*packet) return RecognisedFile{AudioFileKind::mpeg, **packet, fourCharCode(".mp3")};
  }
  return RecognisedFile{AudioFileKind::wav, offset, 0};
}

}  // namespace

std::expected<RecognisedFile, OSStatus> recogniseFile(const ByteSource& source) {
  std::array<std::byte, 40> storage;
  const auto offset = endOfLeadingTags(source);
  if (!offset) return std::unexpected(offset.error());
  const auto start = readStart(source, *offset, storage);
  if (!start) return std::unexpected(start.error());
  const auto chunks = recogniseChunks(source, *offset, *start);
  if (!chunks) return std::unexpected(chunks.error());
  if (*chunks) return **chunks;
  const auto* const mark = std::ranges::find_if(kMarks, [&](const Mark& m) { return carries(*start, m); });
  if (mark != kMarks.end()) return RecognisedFile{mark->kind, *offset, mark->formatID};

  const auto packet = findMpegAudio(source, *offset);
  if (!packet) return std::unexpected(packet.error());
  if (*packet) return RecognisedFile{AudioFileKind::mpeg, **packet, fourCharCode(".mp3")};
  if (isAdts(*start)) return RecognisedFile{AudioFileKind::other, *offset, fourCharCode("aac ")};
  // Only a tag: an MP3 file that lost its music.
  if (*offset > 0) return std::unexpected(kAudioFileInvalidFileError);
  return RecognisedFile{};
}

}  // namespace tolvane
