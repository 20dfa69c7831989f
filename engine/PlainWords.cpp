#include "engine/PlainWords.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <utility>

#include "platform/PrintableText.h"

namespace tolvane {
namespace {

constexpr std::string_view tooLong = "The track is too long for the memory that is free.";
constexpr std::string_view noMusic = "There is no music in this file.";
constexpr std::string_view unknownForm = "The file holds audio in a form that this player does not play.";
constexpr std::string_view unreadable = "The file could not be read, and the system did not say why.";
constexpr std::string_view deviceFailed = "The device stopped working. It may have been unplugged or switched off.";
constexpr std::string_view notOpened = "The device could not be opened, and did not say why.";
constexpr std::string_view noAnswer =
    "The device does not answer. Unplug it and plug it in again, or choose another one.";
constexpr std::string_view noFormat =
    "The device cannot play at this track's sample rate or number of channels. Choose another one.";
constexpr std::string_view lost = "The device was lost, and could not be opened again.";

constexpr std::array messages{
    PlainMessage{"The decoded track exceeds the in-memory playback limit.", tooLong},
    PlainMessage{"The PCM track exceeds the in-memory playback limit.", tooLong},
    PlainMessage{"The track is too large to decode safely.", "The file states a length that no track can have."},
    PlainMessage{"The track begins behind the end of its file.",
                 "The file ends before this track of its CUE sheet begins."},
    PlainMessage{"The audio decoder could not be created.", unreadable},
    PlainMessage{"The PCM file could not be opened.", unreadable},
    PlainMessage{"The file has an invalid PCM format.", "The file states no usable sample rate or number of channels."},
    PlainMessage{"The decoder returned an empty track.", noMusic},
    PlainMessage{"The PCM file contains no complete audio frames.", noMusic},
    PlainMessage{"This PCM layout is not supported for direct playback.", unknownForm},
    PlainMessage{"No output audio device is available.",
                 "There is no device to play on. Connect one, or switch it on."},
    PlainMessage{"The Core Audio output component is unavailable.", "This system has no audio output."},
    PlainMessage{"The Core Audio output could not be created.", "This system has no audio output."},
    PlainMessage{"The output device could not be paused.", deviceFailed},
    PlainMessage{"The output device could not resume playback.", deviceFailed},
    PlainMessage{"The output device could not seek safely.", deviceFailed},
    PlainMessage{"The output device could not continue after seeking.", deviceFailed},
    PlainMessage{"The output device could not continue playback.", deviceFailed},
    PlainMessage{"The output device stopped unexpectedly.", deviceFailed},
    PlainMessage{"The output device could not change exclusive access safely.", deviceFailed},
    PlainMessage{"The output device changed its audio configuration.", deviceFailed},
    PlainMessage{"The output device could not be opened anew.", deviceFailed},
    PlainMessage{"AUHAL stopped requesting audio frames.", "The device takes no more sound."},
    PlainMessage{"AUHAL stopped while playback was active.", deviceFailed}};

constexpr std::array fileStatuses{
    PlainStatus{kAudioFileFileNotFoundError, "The file is not there. It may have been moved, renamed or deleted."},
    PlainStatus{kAudioFilePermissionsError, "You are not allowed to read this file."},
    PlainStatus{kAudioFileTooManyOpenFilesError, "Too many files are open. Close some programs, and try again."},
    PlainStatus{kAudioFileIOError, "The disk or the network drive with this file cannot be read."},
    PlainStatus{kAudioFileEndOfFileError, "The file ends too early: the rest of it is missing."},
    PlainStatus{kAudioFileUnsupportedFileTypeError, "This is not an audio file of the kind that its name says."},
    PlainStatus{kAudioFileInvalidFileError, "The file is damaged."},
    PlainStatus{kAudioFileUnsupportedDataFormatError, unknownForm},
    PlainStatus{kAudioFileUnspecifiedError, unreadable}};

constexpr std::array deviceStatuses{
    PlainStatus{kAudioDevicePermissionsError, "Another program has the device open, or you are not allowed to use it."},
    PlainStatus{kAudioHardwareNotReadyError, noAnswer},
    PlainStatus{kAudioHardwareBadDeviceError, "The device is not there any more. Connect it, or choose another one."},
    PlainStatus{kAudioHardwareBadObjectError, "The device is not there any more. Connect it, or choose another one."},
    PlainStatus{kAudioHardwareNotRunningError, deviceFailed},
    PlainStatus{kAudioDeviceUnsupportedFormatError, noFormat},
    PlainStatus{kAudioUnitErr_FormatNotSupported, noFormat},
    PlainStatus{kAudioHardwareIllegalOperationError, "The device cannot be used as was asked for."},
    PlainStatus{kAudioHardwareUnspecifiedError, notOpened}};

constexpr std::array places{
    PlainPlace{FilePlace::emptyFile, "The file is empty."},
    PlainPlace{FilePlace::folder, "This is a folder, not a file."},
    PlainPlace{FilePlace::noFile, "This is a device or a pipe, not a file."},
    PlainPlace{FilePlace::noFolder, "The folder of this file is gone, or its drive is not connected."},
    PlainPlace{FilePlace::brokenLink, "This is a link to a file that is not there."},
    PlainPlace{FilePlace::closedFolder, "You are not allowed to open the folder of this file."}};

constexpr std::array contents{PlainContent{FileContent::wav, "a WAV", "WAV"},
                              PlainContent{FileContent::aiff, "an AIFF", "AIFF"},
                              PlainContent{FileContent::flac, "a FLAC", "FLAC"},
                              PlainContent{FileContent::oggFlac, "a FLAC in an Ogg file", "FLAC"},
                              PlainContent{FileContent::mp3, "an MP3", "MP3"},
                              PlainContent{FileContent::oggVorbis, "an Ogg Vorbis file", ""},
                              PlainContent{FileContent::oggOpus, "an Opus file", ""},
                              PlainContent{FileContent::ogg, "an Ogg file", ""},
                              PlainContent{FileContent::mp4, "an MP4 or M4A", ""},
                              PlainContent{FileContent::caf, "a CAF", ""},
                              PlainContent{FileContent::wavPack, "a WavPack file", ""},
                              PlainContent{FileContent::monkeysAudio, "a Monkey's Audio file", ""},
                              PlainContent{FileContent::dsf, "a DSF", ""},
                              PlainContent{FileContent::dsdiff, "a DSDIFF", ""},
                              PlainContent{FileContent::trueAudio, "a True Audio file", ""},
                              PlainContent{FileContent::midi, "a MIDI file", ""},
                              PlainContent{FileContent::windowsMedia, "a Windows Media file", ""},
                              PlainContent{FileContent::aac, "an AAC stream", ""},
                              PlainContent{FileContent::webPage, "a web page", ""},
                              PlainContent{FileContent::pdf, "a PDF", ""},
                              PlainContent{FileContent::png, "a PNG picture", ""},
                              PlainContent{FileContent::jpeg, "a JPEG picture", ""},
                              PlainContent{FileContent::zip, "a ZIP archive", ""}};

template <std::size_t count>
std::string_view wordsFor(const std::array<PlainStatus, count>& table, OSStatus status, std::string_view otherwise) {
  const auto found = std::ranges::find(table, status, &PlainStatus::status);
  return found != table.end() ? found->words : otherwise;
}

/// "Opening FLAC" and the like: a stage of TrackPreparation.
bool readsAFile(std::string_view stage) {
  constexpr std::array<std::string_view, 3> beginnings{"Opening ", "Reading ", "Decoding "};
  return std::ranges::any_of(beginnings, [&](std::string_view words) { return stage.starts_with(words); }) ||
         stage == "Configuring the PCM decoder";
}

struct Failure {
  std::string_view stage;
  OSStatus status = noErr;
};

/// The text that AudioPlayerError makes from a stage and its status.
std::optional<Failure> parsedFailure(std::string_view detail) {
  constexpr std::string_view between = " failed (Core Audio ";
  constexpr std::string_view end = ").";
  const auto place = detail.find(between);
  if (place == std::string_view::npos || !detail.ends_with(end)) return std::nullopt;
  const std::string_view number =
      detail.substr(place + between.size(), detail.size() - place - between.size() - end.size());
  Failure failure{detail.substr(0, place)};
  const auto [last, error] = std::from_chars(number.data(), number.data() + number.size(), failure.status);
  return error == std::errc() && last == number.data() + number.size() ? std::optional(failure) : std::nullopt;
}

/// "3:12"; without hours, like every time in the player.
std::string timeText(double seconds) {
  const double whole = std::floor(seconds);
  const double minutes = std::floor(whole / 60);
  return fmt::format("{:.0f}:{:02.0f}", minutes, whole - 60 * minutes);
}

/// The sentence for what was found at the file's path; empty if that explains nothing.
std::string placeWords(const FileFinding& file) {
  const auto* const found = std::ranges::find(places, file.place, &PlainPlace::place);
  return found != places.end() ? std::string(found->words) : std::string();
}

/// A format with its spoken article: "an MP3", "a WAV".
std::string withArticle(std::string_view format) {
  const bool isSpokenWithVowel = format.starts_with("A") || format.starts_with("M");
  return fmt::format("{} {}", isSpokenWithVowel ? "an" : "a", format);
}

/// The sentence for a file that begins with zeros, or like another kind than its name suggests; else empty.
std::string contentWords(const FailureContext& context) {
  constexpr std::string_view neverWritten =
      "The file begins with nothing but zeros: it may have been copied or downloaded in part.";
  if (context.file.content == FileContent::zeros) return std::string(neverWritten);
  const auto* const found = std::ranges::find(contents, context.file.content, &PlainContent::content);
  if (found == contents.end() || (!found->format.empty() && found->format == context.expectedFormat)) return {};
  if (!context.expectedFormat.empty())
    return fmt::format("This is not {} file: it begins like {}.", withArticle(context.expectedFormat), found->name);
  return found->format.empty()
             ? fmt::format("This player does not play this kind of file: it begins like {}.", found->name)
             : std::string();
}

std::string contextWords(const FailureContext& context) {
  if (context.owner) return plainOwner(*context.owner);
  if (auto words = placeWords(context.file); !words.empty()) return words;
  if (context.cut) return plainCut(*context.cut);
  return contentWords(context);
}

}  // namespace

std::span<const PlainMessage> plainMessages() { return messages; }
std::span<const PlainPlace> plainPlaces() { return places; }
std::span<const PlainContent> plainContents() { return contents; }
std::span<const PlainStatus> plainFileStatuses() { return fileStatuses; }
std::span<const PlainStatus> plainDeviceStatuses() { return deviceStatuses; }

std::string plainOwner(const DeviceOwner& owner) {
  // Longer than any name that the kernel keeps; cut between two characters.
  constexpr std::size_t longestName = 64;
  std::string_view name = owner.name;
  std::size_t length = 0;
  while (length < name.size() && length + firstCharacter(name.substr(length)).length <= longestName)
    length += firstCharacter(name.substr(length)).length;
  name = name.substr(0, length);
  return name.empty() ? fmt::format("Another program has the device open: process {}.", owner.pid)
                      : fmt::format("Another program has the device open: {} ({}).", printableText(name), owner.pid);
}

std::string plainCut(const TrackCut& cut) {
  const std::string whole = timeText(cut.wholeSeconds);
  const char* const what = cut.isPartOfFile ? "track" : "file";
  if (cut.heldSeconds <= 0)
    return fmt::format("The {} is cut off before its music begins: all of {} is missing.", what, whole);
  const std::string held = timeText(cut.heldSeconds);
  return held != whole ? fmt::format("The {} is cut off after {} of {}.", what, held, whole)
                       : fmt::format("The {} is cut off less than a second before its end at {}.", what, whole);
}

std::string plainWords(const AudioPathStatus& status, const std::optional<TrackCut>& cut) {
  if (status.kind == AudioPathStatus::Kind::error) return plainWords(status.detail, status.context);
  return status.isOfAPath() && cut ? plainCut(*cut) : std::string();
}

std::string plainWords(std::string_view detail, const FailureContext& context) {
  constexpr std::string_view gaveUp = "The output device did not recover after ";
  constexpr std::string_view attempts = " attempts. ";
  if (const auto place = detail.find(attempts); detail.starts_with(gaveUp) && place != std::string_view::npos) {
    const std::string reason = plainWords(detail.substr(place + attempts.size()), context);
    return reason.empty() || reason == deviceFailed ? std::string(lost) : std::string(lost) + ' ' + reason;
  }
  if (auto words = contextWords(context); !words.empty()) return words;
  if (const auto found = std::ranges::find(messages, detail, &PlainMessage::message); found != messages.end())
    return std::string(found->words);
  if (detail.ends_with(" failed because the device does not answer.")) return std::string(noAnswer);
  if (detail.ends_with(" failed because the device has no format for the track's sample rate and channels."))
    return std::string(noFormat);
  if (detail.starts_with("AUHAL reported a render error ")) return std::string(deviceFailed);
  const auto failure = parsedFailure(detail);
  if (!failure) return {};
  return std::string(readsAFile(failure->stage) ? wordsFor(fileStatuses, failure->status, unreadable)
                                                : wordsFor(deviceStatuses, failure->status, notOpened));
}

}  // namespace tolvane
