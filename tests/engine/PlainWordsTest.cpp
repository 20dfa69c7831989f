#include "engine/PlainWords.h"

#include <gmock/gmock.h>

#include <cctype>
#include <set>
#include <string>

#include "engine/AudioPlayerError.h"
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

class PlainFailures : public PlayerFixture {};

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

}  // namespace
}  // namespace tolvane
