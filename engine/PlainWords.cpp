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

constexpr std::string_view tooLong = toTranslate("The track is too long for the memory that is free.");
constexpr std::string_view noMusic = toTranslate("There is no music in this file.");
constexpr std::string_view unknownForm = toTranslate("The file holds audio in a form that this player does not play.");
constexpr std::string_view unreadable = toTranslate("The file could not be read, and the system did not say why.");
constexpr std::string_view deviceFailed =
    toTranslate("The device stopped working. It may have been unplugged or switched off.");
constexpr std::string_view notOpened = toTranslate("The device could not be opened, and did not say why.");
constexpr std::string_view noAnswer =
    toTranslate("The device does not answer. Unplug it and plug it in again, or choose another one.");
constexpr std::string_view noFormat =
    toTranslate("The device cannot play at this track's sample rate or number of channels. Choose another one.");
constexpr std::string_view lost = toTranslate("The device was lost, and could not be opened again.");

constexpr std::array messages{
    PlainMessage{"The decoded track exceeds the in-memory playback limit.", tooLong},
    PlainMessage{"The PCM track exceeds the in-memory playback limit.", tooLong},
    PlainMessage{"The track is too large to decode safely.",
                 toTranslate("The file states a length that no track can have.")},
    PlainMessage{"The track begins behind the end of its file.",
                 toTranslate("The file ends before this track of its CUE sheet begins.")},
    PlainMessage{"The audio decoder could not be created.", unreadable},
    PlainMessage{"The PCM file could not be opened.", unreadable},
    PlainMessage{"The file has an invalid PCM format.",
                 toTranslate("The file states no usable sample rate or number of channels.")},
    PlainMessage{"The decoder returned an empty track.", noMusic},
    PlainMessage{"The PCM file contains no complete audio frames.", noMusic},
    PlainMessage{"This PCM layout is not supported for direct playback.", unknownForm},
    PlainMessage{"No output audio device is available.",
                 toTranslate("There is no device to play on. Connect one, or switch it on.")},
    PlainMessage{"The Core Audio output component is unavailable.", toTranslate("This system has no audio output.")},
    PlainMessage{"The Core Audio output could not be created.", toTranslate("This system has no audio output.")},
    PlainMessage{"The output device could not be paused.", deviceFailed},
    PlainMessage{"The output device could not resume playback.", deviceFailed},
    PlainMessage{"The output device could not seek safely.", deviceFailed},
    PlainMessage{"The output device could not continue after seeking.", deviceFailed},
    PlainMessage{"The output device could not continue playback.", deviceFailed},
    PlainMessage{"The output device stopped unexpectedly.", deviceFailed},
    PlainMessage{"The output device could not change exclusive access safely.", deviceFailed},
    PlainMessage{"The output device changed its audio configuration.", deviceFailed},
    PlainMessage{"The output device could not be opened anew.", deviceFailed},
    PlainMessage{"AUHAL stopped requesting audio frames.", toTranslate("The device takes no more sound.")},
    PlainMessage{"AUHAL stopped while playback was active.", deviceFailed}};

constexpr std::array fileStatuses{
    PlainStatus{kAudioFileFileNotFoundError,
                toTranslate("The file is not there. It may have been moved, renamed or deleted.")},
    PlainStatus{kAudioFilePermissionsError, toTranslate("You are not allowed to read this file.")},
    PlainStatus{kAudioFileTooManyOpenFilesError,
                toTranslate("Too many files are open. Close some programs, and try again.")},
    PlainStatus{kAudioFileIOError, toTranslate("The disk or the network drive with this file cannot be read.")},
    PlainStatus{kAudioFileEndOfFileError, toTranslate("The file ends too early: the rest of it is missing.")},
    PlainStatus{kAudioFileUnsupportedFileTypeError,
                toTranslate("This is not an audio file of the kind that its name says.")},
    PlainStatus{kAudioFileInvalidFileError, toTranslate("The file is damaged.")},
    PlainStatus{kAudioFileUnsupportedDataFormatError, unknownForm},
    PlainStatus{kAudioFileUnspecifiedError, unreadable}};

constexpr std::array deviceStatuses{
    PlainStatus{kAudioDevicePermissionsError,
                toTranslate("Another program has the device open, or you are not allowed to use it.")},
    PlainStatus{kAudioHardwareNotReadyError, noAnswer},
    PlainStatus{kAudioHardwareBadDeviceError,
                toTranslate("The device is not there any more. Connect it, or choose another one.")},
    PlainStatus{kAudioHardwareBadObjectError,
                toTranslate("The device is not there any more. Connect it, or choose another one.")},
    PlainStatus{kAudioHardwareNotRunningError, deviceFailed},
    PlainStatus{kAudioDeviceUnsupportedFormatError, noFormat},
    PlainStatus{kAudioUnitErr_FormatNotSupported, noFormat},
    PlainStatus{kAudioHardwareIllegalOperationError, toTranslate("The device cannot be used as was asked for.")},
    PlainStatus{kAudioHardwareUnspecifiedError, notOpened}};

constexpr std::array places{
    PlainPlace{FilePlace::emptyFile, toTranslate("The file is empty.")},
    PlainPlace{FilePlace::folder, toTranslate("This is a folder, not a file.")},
    PlainPlace{FilePlace::noFile, toTranslate("This is a device or a pipe, not a file.")},
    PlainPlace{FilePlace::noFolder, toTranslate("The folder of this file is gone, or its drive is not connected.")},
    PlainPlace{FilePlace::brokenLink, toTranslate("This is a link to a file that is not there.")},
    PlainPlace{FilePlace::closedFolder, toTranslate("You are not allowed to open the folder of this file.")}};

constexpr std::array contents{PlainContent{FileContent::wav, toTranslate("a WAV"), "WAV"},
                              PlainContent{FileContent::aiff, toTranslate("an AIFF"), "AIFF"},
                              PlainContent{FileContent::flac, toTranslate("a FLAC"), "FLAC"},
                              PlainContent{FileContent::oggFlac, toTranslate("a FLAC in an Ogg file"), "FLAC"},
                              PlainContent{FileContent::mp3, toTranslate("an MP3"), "MP3"},
                              PlainContent{FileContent::oggVorbis, toTranslate("an Ogg Vorbis file"), ""},
                              PlainContent{FileContent::oggOpus, toTranslate("an Opus file"), ""},
                              PlainContent{FileContent::ogg, toTranslate("an Ogg file"), ""},
                              PlainContent{FileContent::mp4, toTranslate("an MP4 or M4A"), ""},
                              PlainContent{FileContent::caf, toTranslate("a CAF"), ""},
                              PlainContent{FileContent::wavPack, toTranslate("a WavPack file"), ""},
                              PlainContent{FileContent::monkeysAudio, toTranslate("a Monkey's Audio file"), ""},
                              PlainContent{FileContent::dsf, toTranslate("a DSF"), ""},
                              PlainContent{FileContent::dsdiff, toTranslate("a DSDIFF"), ""},
                              PlainContent{FileContent::trueAudio, toTranslate("a True Audio file"), ""},
                              PlainContent{FileContent::midi, toTranslate("a MIDI file"), ""},
                              PlainContent{FileContent::windowsMedia, toTranslate("a Windows Media file"), ""},
                              PlainContent{FileContent::aac, toTranslate("an AAC stream"), ""},
                              PlainContent{FileContent::webPage, toTranslate("a web page"), ""},
                              PlainContent{FileContent::pdf, toTranslate("a PDF"), ""},
                              PlainContent{FileContent::png, toTranslate("a PNG picture"), ""},
                              PlainContent{FileContent::jpeg, toTranslate("a JPEG picture"), ""},
                              PlainContent{FileContent::zip, toTranslate("a ZIP archive"), ""}};

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
BilingualText placeWords(const FileFinding& file) {
  const auto* const found = std::ranges::find(places, file.place, &PlainPlace::place);
  return found != places.end() ? inCatalogue(found->words) : BilingualText();
}

/// "an MP3", and not "a MP3".
bool isSpokenWithVowel(std::string_view format) { return format.starts_with("A") || format.starts_with("M"); }

/// The sentence for a file that begins with zeros, or like another kind than its name suggests; else empty.
BilingualText contentWords(const FailureContext& context) {
  constexpr std::string_view neverWritten =
      toTranslate("The file begins with nothing but zeros: it may have been copied or downloaded in part.");
  if (context.file.content == FileContent::zeros) return inCatalogue(neverWritten);
  const auto* const found = std::ranges::find(contents, context.file.content, &PlainContent::content);
  if (found == contents.end() || (!found->format.empty() && found->format == context.expectedFormat)) return {};
  const BilingualText name = inCatalogue(found->name);
  if (!context.expectedFormat.empty()) {
    const std::string& format = context.expectedFormat;
    return isSpokenWithVowel(format) ? bilingual("This is not an {} file: it begins like {}.", format, name)
                                     : bilingual("This is not a {} file: it begins like {}.", format, name);
  }
  return found->format.empty() ? bilingual("This player does not play this kind of file: it begins like {}.", name)
                               : BilingualText();
}

BilingualText contextWords(const FailureContext& context) {
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

BilingualText plainOwner(const DeviceOwner& owner) {
  // Longer than any name that the kernel keeps; cut between two characters.
  constexpr std::size_t longestName = 64;
  std::string_view name = owner.name;
  std::size_t length = 0;
  while (length < name.size() && length + firstCharacter(name.substr(length)).length <= longestName)
    length += firstCharacter(name.substr(length)).length;
  name = name.substr(0, length);
  return name.empty() ? bilingual("Another program has the device open: process {}.", owner.pid)
                      : bilingual("Another program has the device open: {} ({}).", printableText(name), owner.pid);
}

BilingualText plainCut(const TrackCut& cut) {
  const std::string whole = timeText(cut.wholeSeconds);
  const bool isPart = cut.isPartOfFile;
  if (cut.heldSeconds <= 0)
    return isPart ? bilingual("The track is cut off before its music begins: all of {} is missing.", whole)
                  : bilingual("The file is cut off before its music begins: all of {} is missing.", whole);
  const std::string held = timeText(cut.heldSeconds);
  if (held != whole)
    return isPart ? bilingual("The track is cut off after {} of {}.", held, whole)
                  : bilingual("The file is cut off after {} of {}.", held, whole);
  return isPart ? bilingual("The track is cut off less than a second before its end at {}.", whole)
                : bilingual("The file is cut off less than a second before its end at {}.", whole);
}

BilingualText plainWords(const AudioPathStatus& status, const std::optional<TrackCut>& cut) {
  if (status.kind == AudioPathStatus::Kind::error) return plainWords(status.detail, status.context);
  return status.isOfAPath() && cut ? plainCut(*cut) : BilingualText();
}

BilingualText plainWords(std::string_view detail, const FailureContext& context) {
  constexpr std::string_view gaveUp = "The output device did not recover after ";
  constexpr std::string_view attempts = " attempts. ";
  if (const auto place = detail.find(attempts); detail.starts_with(gaveUp) && place != std::string_view::npos) {
    const BilingualText reason = plainWords(detail.substr(place + attempts.size()), context);
    BilingualText words = inCatalogue(lost);
    if (reason != deviceFailed) words.add(reason);
    return words;
  }
  if (auto words = contextWords(context); !words.empty()) return words;
  if (const auto found = std::ranges::find(messages, detail, &PlainMessage::message); found != messages.end())
    return inCatalogue(found->words);
  if (detail.ends_with(" failed because the device does not answer.")) return inCatalogue(noAnswer);
  if (detail.ends_with(" failed because the device has no format for the track's sample rate and channels."))
    return inCatalogue(noFormat);
  if (detail.starts_with("AUHAL reported a render error ")) return inCatalogue(deviceFailed);
  const auto failure = parsedFailure(detail);
  if (!failure) return {};
  return inCatalogue(readsAFile(failure->stage) ? wordsFor(fileStatuses, failure->status, unreadable)
                                                : wordsFor(deviceStatuses, failure->status, notOpened));
}

}  // namespace tolvane
