#include "engine/PlainWords.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cctype>
#include <set>
#include <string>

#include "engine/AudioPlayerError.h"
#include "platform/AudioFormats.h"
#include "tests/engine/PlayerFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// The detail that the engine makes of a stage and a status.
std::string detailOf(std::string_view stage, OSStatus status) {
  return AudioPlayerError::operation(stage, status).errorDescription();
}

void expectPlain(const std::string& words) {
  ASSERT_FALSE(words.empty());
  EXPECT_TRUE(std::isupper(static_cast<unsigned char>(words.front()))) << words;
  EXPECT_TRUE(words.ends_with('.')) << words;
  for (const char* jargon : {"Core Audio", "AUHAL", "PCM", "status", "error"})
    EXPECT_THAT(words, Not(HasSubstr(jargon)));
}

TEST(PlainWords, AreThereForEachMessageOfTheTable) {
  std::set<std::string_view> seen;
  for (const auto& [message, words] : plainMessages()) {
    EXPECT_EQ(plainWords(message), words);
    expectPlain(std::string(words));
    EXPECT_TRUE(seen.insert(message).second) << message << " stands there twice";
  }
  EXPECT_GE(seen.size(), 23U);
}

TEST(PlainWords, AreThereForEachStatusOfAFileAtEachStage) {
  int seen = 0;
  for (const char* stage : {"Opening FLAC", "Opening MP3", "Opening the PCM file", "Reading the source format",
                            "Configuring the PCM decoder", "Reading the track length", "Decoding the track",
                            "Reading the PCM format", "Reading the PCM data size", "Reading PCM samples"}) {
    for (const auto& [status, words] : plainFileStatuses()) {
      EXPECT_EQ(plainWords(detailOf(stage, status)), words) << stage << ' ' << status;
      expectPlain(std::string(words));
      ++seen;
    }
    EXPECT_EQ(plainWords(detailOf(stage, -12345)), "The file could not be read, and the system did not say why.");
  }
  EXPECT_EQ(seen, 90);
}

TEST(PlainWords, AreThereForEachStatusOfADeviceAtEachStage) {
  int seen = 0;
  for (const char* stage :
       {"Selecting the default output device", "Creating the Core Audio output", "Binding the output device",
        "Enabling audio output", "Disabling unused audio input", "Setting the source PCM format",
        "Installing the real-time renderer", "Initializing the output device", "Starting the output device"}) {
    for (const auto& [status, words] : plainDeviceStatuses()) {
      EXPECT_EQ(plainWords(detailOf(stage, status)), words) << stage << ' ' << status;
      expectPlain(std::string(words));
      ++seen;
    }
    EXPECT_EQ(plainWords(detailOf(stage, -12345)), "The device could not be opened, and did not say why.");
  }
  EXPECT_EQ(seen, 81);
}

TEST(PlainWords, SayThatADeviceWasLostForGood) {
  const std::string gaveUp = "The output device did not recover after 3 attempts. ";
  EXPECT_EQ(plainWords(gaveUp + "AUHAL stopped while playback was active."),
            "The device was lost, and could not be opened again.");
  EXPECT_EQ(plainWords(gaveUp + detailOf("Initializing the output device", kAudioDevicePermissionsError)),
            "The device was lost, and could not be opened again. Another program has the device open, or you are not "
            "allowed to use it.");
  EXPECT_EQ(plainWords(gaveUp + "Something new."), "The device was lost, and could not be opened again.");
}

TEST(PlainWords, AreNotMadeUp) {
  for (const char* detail : {"", "Something new.", " failed (Core Audio ).", "Opening FLAC failed (Core Audio x).",
                             "Opening FLAC failed (Core Audio 1"})
    EXPECT_EQ(plainWords(detail), "") << detail;
}

// What is known besides the detail.

constexpr const char* notRecognised = "Opening FLAC failed (Core Audio 1954115647).";

TEST(PlainWordsInContext, AreThereForEachPlace) {
  std::set<FilePlace> seen;
  for (const auto& [place, words] : plainPlaces()) {
    EXPECT_EQ(plainWords(notRecognised, {.file = {.place = place}}), words);
    expectPlain(std::string(words));
    EXPECT_TRUE(seen.insert(place).second) << words << " stands there twice";
  }
  for (const auto place : {FilePlace::notKnown, FilePlace::file, FilePlace::nothing}) {
    EXPECT_FALSE(seen.contains(place));
    EXPECT_EQ(plainWords(notRecognised, {.file = {.place = place}}), plainWords(notRecognised));
    seen.insert(place);
  }
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(FilePlace::closedFolder) + 1);
}

TEST(PlainWordsInContext, AreThereForEachContentUnderEachName) {
  std::set<FileContent> seen;
  for (const auto& [content, name, format] : plainContents()) {
    EXPECT_TRUE(seen.insert(content).second) << name << " stands there twice";
    for (const AudioFormat& expected : audioFormats) {
      const std::string words = plainWords(notRecognised, {.file = {.place = FilePlace::file, .content = content},
                                                           .expectedFormat = std::string(expected.name)});
      expectPlain(words);
      if (format == expected.name)
        EXPECT_EQ(words, plainWords(notRecognised)) << "it is what its name says";
      else
        EXPECT_THAT(words, testing::AllOf(HasSubstr(fmt::format("{} file: it begins like {}.", expected.name, name)),
                                          StartsWith("This is not a")));
    }
    const std::string nameless = plainWords(notRecognised, {.file = {.place = FilePlace::file, .content = content}});
    EXPECT_EQ(nameless, format.empty()
                            ? fmt::format("This player does not play this kind of file: it begins like {}.", name)
                            : plainWords(notRecognised));
  }
  EXPECT_EQ(seen.size() + 2, static_cast<std::size_t>(FileContent::zeros) + 1) << "but for unknown, and zeros";
}

TEST(PlainWordsInContext, NameWhatTheFileBeginsLike) {
  const auto words = [](FileContent content, const char* expected) {
    return plainWords(notRecognised,
                      {.file = {.place = FilePlace::file, .content = content}, .expectedFormat = expected});
  };
  EXPECT_EQ(words(FileContent::wav, "FLAC"), "This is not a FLAC file: it begins like a WAV.");
  EXPECT_EQ(words(FileContent::webPage, "MP3"), "This is not an MP3 file: it begins like a web page.");
  EXPECT_EQ(words(FileContent::mp4, "AIFF"), "This is not an AIFF file: it begins like an MP4 or M4A.");
  EXPECT_EQ(words(FileContent::zeros, "WAV"),
            "The file begins with nothing but zeros: it may have been copied or downloaded in part.");
  EXPECT_EQ(words(FileContent::unknown, "FLAC"), "This is not an audio file of the kind that its name says.");
}

TEST(PlainWordsInContext, SayWhereAFileIsCutOff) {
  const struct {
    TrackCut cut;
    const char* words;
  } cases[]{{{192, 245}, "The file is cut off after 3:12 of 4:05."},
            {{0.4, 245}, "The file is cut off after 0:00 of 4:05."},
            {{59.99, 60}, "The file is cut off after 0:59 of 1:00."},
            {{4500, 7322.5}, "The file is cut off after 75:00 of 122:02."},
            {{245.1, 245.9}, "The file is cut off less than a second before its end at 4:05."},
            {{0, 245}, "The file is cut off before its music begins: all of 4:05 is missing."}};
  for (const auto& [cut, words] : cases) {
    EXPECT_EQ(plainCut(cut), words);
    EXPECT_EQ(plainWords("The PCM file contains no complete audio frames.", {.cut = cut}), words);
    expectPlain(words);
  }
}

TEST(PlainWordsInContext, OfATrackThatPlaysAreWhatItsFileLacks) {
  const AudioPathStatus playing{.kind = AudioPathStatus::Kind::bitPerfect, .label = {}, .detail = "Fine."};
  EXPECT_EQ(plainWords(playing), "");
  EXPECT_EQ(plainWords(playing, TrackCut{192, 245}), "The file is cut off after 3:12 of 4:05.");
  EXPECT_EQ(plainWords(playing, TrackCut{192, 245, true}), "The track is cut off after 3:12 of 4:05.");
  EXPECT_EQ(plainWords(AudioPathStatus::configuring(), TrackCut{192, 245}), "");
  const auto failed =
      AudioPathStatus::failed(AudioPlayerError::operation("Opening FLAC", kAudioFileUnsupportedFileTypeError)
                                  .with({.file = {.place = FilePlace::emptyFile}}));
  EXPECT_EQ(failed.detail, notRecognised);
  EXPECT_EQ(plainWords(failed), "The file is empty.");
}

class PlainFailures : public PlayerFixture {};

TEST_F(PlainFailures, HaveTheContextThatThePreparationFound) {
  player->setOutputDevice(addDevice());
  files.setFinding(FileURL("/a.flac"), {.place = FilePlace::file, .content = FileContent::wav});
  player->play(FileURL("/a.flac"));
  ASSERT_EQ(path().kind, PathKind::error);
  EXPECT_EQ(path().detail, "Opening FLAC failed (Core Audio -43).");
  EXPECT_EQ(plainWords(path()), "This is not a FLAC file: it begins like a WAV.");
  ASSERT_TRUE(player->preparationFailure());
  EXPECT_EQ(player->preparationFailure()->error.context(), path().context);
  addTrack("/a.wav", 44100);
  player->play(FileURL("/a.wav"));
  EXPECT_EQ(path().context, FailureContext()) << "of the last failure nothing is left";
}

TEST_F(PlainFailures, OfThePlayerHavePlainWords) {
  const AudioObjectID id = addDevice();
  player->setOutputDevice(id);
  player->play(FileURL("/missing.wav"));
  ASSERT_EQ(path().kind, PathKind::error);
  EXPECT_THAT(plainWords(path().detail), StartsWith("The file is not there."));
  addTrack("/a.wav", 44100);
  hardware.failNext(UnitStage::initialize, kAudioHardwareBadDeviceError);
  player->play(FileURL("/a.wav"));
  ASSERT_EQ(path().kind, PathKind::error);
  EXPECT_THAT(plainWords(path().detail), StartsWith("The device is not there any more."));
  player->play(FileURL("/a.wav"));
  ASSERT_TRUE(isPlaying());
  hardware.removeDevice(id);
  advance(10s);
  ASSERT_EQ(path().kind, PathKind::error);
  EXPECT_THAT(plainWords(path().detail), StartsWith("The device was lost, and could not be opened again."));
}

TEST(PlainWordsInContext, NameTheProgramThatHasTheDevice) {
  EXPECT_EQ(plainOwner({1234, "mpv"}), "Another program has the device open: mpv (1234).");
  EXPECT_EQ(plainOwner({1234, ""}), "Another program has the device open: process 1234.");
  EXPECT_EQ(plainOwner({7, "a\x1B[31m\nb\u202E"}), "Another program has the device open: a?[31m?b? (7).");
  const std::string cut = plainOwner({7, std::string(63, 'x') + "\u00E9" + std::string(5000, 'y')});
  EXPECT_EQ(cut, "Another program has the device open: " + std::string(63, 'x') + " (7).") << "no half character";
  const std::string detail = detailOf("Initializing the output device", kAudioDevicePermissionsError);
  EXPECT_EQ(plainWords(detail, {.owner = DeviceOwner{1234, "mpv"}}),
            "Another program has the device open: mpv (1234).");
  EXPECT_EQ(
      plainWords("The output device did not recover after 3 attempts. " + detail, {.owner = DeviceOwner{1234, "mpv"}}),
      "The device was lost, and could not be opened again. Another program has the device open: mpv (1234).");
}

TEST_F(PlainFailures, NameTheProgramThatHasTheDevice) {
  const AudioObjectID id = addDevice({.hogOwner = otherProcess, .hogOwnerName = "mpv"});
  player->setOutputDevice(id);
  player->play(addTrack("/a.wav", 44100));
  ASSERT_EQ(path().kind, PathKind::error);
  EXPECT_THAT(path().detail, testing::EndsWith("(Core Audio 560492391)."));
  EXPECT_EQ(plainWords(path()), "Another program has the device open: mpv (4321).");
  EXPECT_FALSE(player->preparationFailure()) << "nothing is wrong with the file";
}

TEST_F(PlainFailures, NameTheProgramThatTookTheDevice) {
  const AudioObjectID id = addDevice({.hogOwnerName = "mpv"});
  player->setOutputDevice(id);
  player->play(addTrack("/a.wav", 10 * 44100));
  ASSERT_TRUE(isPlaying());
  device(id).setHogOwner(otherProcess);
  device(id).stopByItself();
  advance(20s);
  ASSERT_EQ(path().kind, PathKind::error);
  EXPECT_EQ(plainWords(path()),
            "The device was lost, and could not be opened again. Another program has the device open: mpv (4321).");
}

TEST_F(PlainFailures, NameNoProgramWhereNoneIsKnown) {
  const AudioObjectID id = addDevice({.hogOwnerName = "mpv"});
  player->setOutputDevice(id);
  hardware.failNext(UnitStage::initialize, kAudioDevicePermissionsError);
  player->play(addTrack("/a.wav", 44100));
  ASSERT_EQ(path().kind, PathKind::error);
  EXPECT_EQ(path().context, FailureContext());
  EXPECT_EQ(plainWords(path()), "Another program has the device open, or you are not allowed to use it.");
  hardware.removeDevice(id);
  const AudioObjectID nameless = addDevice({.hogOwner = otherProcess});
  player->setOutputDevice(nameless);
  player->play(FileURL("/a.wav"));
  EXPECT_EQ(plainWords(path()), "Another program has the device open: process 4321.");
}

}  // namespace
}  // namespace tolvane
