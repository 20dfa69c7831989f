// `tolvane-probe play --report` over simulated hardware: what it prints, and that it prints nothing else.

#include "tests/engine/PlayerFixture.h"
#include "tools/PlayCommand.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class PlayReport : public PlayerFixture {
 protected:
  /// What is printed of a play of these files.
  std::string print(ProbeArguments arguments) {
    ProbeOutput output;
    bool isFinished = false;
    testing::internal::CaptureStdout();
    PlayCommand command(
        *player, runLoop, output, [](const std::string&) { return kAudioObjectUnknown; }, [&] { isFinished = true; });
    command.start(arguments);
    advance(10s);
    EXPECT_TRUE(isFinished);
    exitStatus = output.exitStatus();
    return testing::internal::GetCapturedStdout();
  }

  AudioObjectID id = addDevice();
  ProbeArguments arguments{.command = ProbeArguments::Command::play, .files = {"/a.wav"}, .play = {}};
  int exitStatus = -1;
};

TEST_F(PlayReport, IsOfThePathThatTheFileHadAndOfAllItsSamples) {
  addTrack("/a.wav", 3 * 44100);
  arguments.play.printsReport = true;
  const std::string report = print(arguments);
  EXPECT_THAT(report, StartsWith("Tolvane Music Player: report on the signal path\n"));
  EXPECT_THAT(report, HasSubstr("\nBIT-PERFECT\n"));
  EXPECT_THAT(report, HasSubstr("a.wav"));
  EXPECT_THAT(report, HasSubstr("All 132,300 frames handed to the device"));
  EXPECT_THAT(report, HasSubstr("Kernel             Linux "));
  EXPECT_THAT(report, Not(HasSubstr("{")));
  EXPECT_EQ(exitStatus, 0);
}

TEST_F(PlayReport, LeavesTheNameOut) {
  addTrack("/a.wav", 44100);
  arguments.play.printsReport = true;
  arguments.play.namesFile = false;
  EXPECT_THAT(print(arguments), Not(HasSubstr("a.wav")));
}

TEST_F(PlayReport, OfAFailureSaysSo) {
  arguments.play.printsReport = true;
  EXPECT_THAT(print(arguments), HasSubstr("\nPATH ERROR\n"));
  EXPECT_EQ(exitStatus, 1);
}

TEST_F(PlayReport, IsNotNeededToReadAFailureInPlainWords) {
  const std::string lines = print(arguments);
  EXPECT_THAT(lines, HasSubstr("\"detail\":\"Opening the PCM file failed (Core Audio -43).\""));
  EXPECT_THAT(lines, HasSubstr("\"plainly\":\"The file is not there."));
}

TEST_F(PlayReport, SaysPlainlyThatTheFileIsCutOff) {
  SimulatedPCMFile file;
  file.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
  file.data.resize(44100 * 4);
  file.wholeByteCount = 44100 * 4 * 65;
  files.add(FileURL("/a.wav"), std::move(file));
  const std::string sentence = "The file is cut off after 0:01 of 1:05.";
  EXPECT_THAT(print(arguments), HasSubstr("\"plainly\":\"" + sentence));
  arguments.play.printsReport = true;
  EXPECT_THAT(print(arguments), HasSubstr("In plain words: " + sentence));
}

TEST_F(PlayReport, IsNotPrintedWithoutTheOption) {
  addTrack("/a.wav", 44100);
  const std::string lines = print(arguments);
  EXPECT_THAT(lines, StartsWith("{"));
  EXPECT_THAT(lines, Not(HasSubstr("report on the signal path")));
}

}  // namespace
}  // namespace tolvane
