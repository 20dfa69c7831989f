// `tolvane-probe verify` over simulated hardware: the line of each file, and what a recording of the card adds to it.

#include "platform/simulated/SimulatedDevice.h"
#include "tests/engine/PlayerFixture.h"
#include "tools/VerifyCommand.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;

/// Hears what the simulated device plays; the test may change it.
class SimulatedRecording final : public Recording {
 public:
  explicit SimulatedRecording(SimulatedDevice& device) : device_(device) {}

  std::expected<void, std::string> start(const Request& request) override {
    if (refusals-- > 0) return std::unexpected("The card is in use.");
    request_ = request;
    device_.forgetHeard();
    ++starts;
    return {};
  }
  Frames stop() override {
    ++stops;
    Frames frames{.form = {linearPCM(request_.rate, request_.channels, 16, 2, kAudioFormatFlagIsSignedInteger), {}},
                  .bytes = device_.heard(),
                  .isWhole = isWhole};
    if (change) change(frames.bytes);
    return frames;
  }

  std::function<void(std::vector<std::byte>&)> change;
  bool isWhole = true;
  int refusals = 0, starts = 0, stops = 0;

 private:
  SimulatedDevice& device_;
  Request request_;
};

class Verify : public PlayerFixture {
 protected:
  static SimulatedDeviceConfig capturing() {
    SimulatedDeviceConfig config;
    config.captures = true;
    return config;
  }

  /// The lines for these files.
  std::vector<Json> verify(std::vector<std::string> names, Recording* with, RunLoop::Duration duration = 10s) {
    ProbeOutput output;
    testing::internal::CaptureStdout();
    VerifyCommand command(*player, files, runLoop, output, with, [this] { ++finished; });
    command.start({.command = ProbeArguments::Command::verify, .files = std::move(names), .play = {}});
    advance(duration);
    if (finished == 0) command.stop();
    exitStatus = output.exitStatus();
    std::istringstream text(testing::internal::GetCapturedStdout());
    std::vector<Json> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(Json::parse(line));
    EXPECT_EQ(finished, 1);
    return lines;
  }

  AudioObjectID id = addDevice(capturing());
  SimulatedRecording recording{device(id)};
  int exitStatus = -1;
  int finished = 0;
};

TEST_F(Verify, SaysOfEachFileThatTheDeviceWasGivenIt) {
  addTrack("/a.wav", 44100);
  addTrack("/b.wav", 22050);
  const auto lines = verify({"/a.wav", "/b.wav"}, nullptr);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0]["verdict"], "BIT-PERFECT");
  EXPECT_EQ(lines[0]["result"], "matches");
  EXPECT_EQ(lines[0]["frames"], 44100);
  EXPECT_EQ(lines[1]["frames"], 22050);
  EXPECT_FALSE(lines[0].contains("captured"));
  EXPECT_EQ(exitStatus, 0);
}

TEST_F(Verify, AFileThatCannotBePlayedHasAnErrorAndTheNextOneItsLine) {
  addTrack("/b.wav", 22050);
  const auto lines = verify({"/missing.wav", "/b.wav"}, &recording);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0]["result"], "unknown");
  EXPECT_EQ(lines[0]["error"], "Opening the PCM file failed (Core Audio -43).");
  EXPECT_EQ(lines[1]["captured"]["result"], "matches");
  EXPECT_EQ(recording.starts, 1);
  EXPECT_EQ(exitStatus, 1);
}

TEST_F(Verify, ARecordingOfTheCardIsAWitnessOfItsOwn) {
  addTrack("/a.wav", 44100);
  addTrack("/b.wav", 48000, 48000);
  const auto lines = verify({"/a.wav", "/b.wav"}, &recording);
  ASSERT_EQ(lines.size(), 2U);
  for (const Json& line : lines) {
    EXPECT_EQ(line["captured"]["result"], "matches") << line;
    EXPECT_EQ(line["captured"]["frames"], line["totalFrames"]);
    EXPECT_EQ(line["captured"]["firstDifference"], nullptr);
  }
  EXPECT_EQ(lines[0]["captured"]["detail"], "All 44,100 frames were recorded as they are in the file.");
  EXPECT_EQ(recording.stops, 2);
  EXPECT_EQ(exitStatus, 0);
}

TEST_F(Verify, WhatIsAlteredBehindTheUnitIsSeenByTheRecordingAlone) {
  addTrack("/a.wav", 44100);
  recording.change = [](auto& bytes) { bytes.at(4 * 1000) ^= std::byte{1}; };
  const auto lines = verify({"/a.wav"}, &recording);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0]["result"], "matches");
  EXPECT_EQ(lines[0]["captured"]["result"], "differs");
  EXPECT_EQ(lines[0]["error"], lines[0]["captured"]["detail"]);
  EXPECT_EQ(exitStatus, 1);
}

TEST_F(Verify, WaitsForACardThatIsStillInUse) {
  addTrack("/a.wav", 44100);
  recording.refusals = 7;
  const auto lines = verify({"/a.wav"}, &recording);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0]["captured"]["result"], "matches");
}

TEST_F(Verify, GivesUpACardThatStaysInUse) {
  addTrack("/a.wav", 44100);
  recording.refusals = 1000;
  const auto lines = verify({"/a.wav"}, &recording, 30s);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0]["error"], "The card is in use.");
  EXPECT_EQ(recording.refusals, 1000 - 41);  // at once, then every quarter of a second for ten
  EXPECT_EQ(exitStatus, 1);
}

TEST_F(Verify, IsStoppedWhileItRecords) {
  addTrack("/a.wav", 44100 * 30);
  const auto lines = verify({"/a.wav"}, &recording, 2s);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0]["error"], "Stopped before the end.");
  EXPECT_EQ(recording.stops, 1);
}

}  // namespace
}  // namespace tolvane
