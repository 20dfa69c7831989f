// The plain words that the probe's commands print: the same everywhere.

#include "tests/engine/PlayerFixture.h"
#include "tools/PlayCommand.h"
#include "tools/ProbeCommands.h"
#include "tools/VerifyCommand.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

class PlainOutput : public PlayerFixture {
 protected:
  PlainOutput() {
    SimulatedPCMFile cut;
    cut.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    cut.data.resize(44100 * 4);
    cut.wholeByteCount = 44100 * 4 * 65;
    files.add(FileURL("/cut.wav"), std::move(cut));
    files.setFinding(FileURL("/misnamed.flac"), {.place = FilePlace::file, .content = FileContent::wav});
    addTrack("/whole.wav", 44100);
  }

  std::string prepare(const std::string& file) {
    ProbeOutput output;
    testing::internal::CaptureStdout();
    prepareFiles(std::vector{file}, files, output);
    return testing::internal::GetCapturedStdout();
  }
  template <typename Command>
  std::string run(ProbeArguments::Command command, const std::string& file) {
    ProbeOutput output;
    testing::internal::CaptureStdout();
    Command running(
        *player, runLoop, output, [](const std::string&) { return kAudioObjectUnknown; }, [] {});
    running.start({.command = command, .files = {file}, .play = {}});
    advance(10s);
    return testing::internal::GetCapturedStdout();
  }

  AudioObjectID id = addDevice();
};

TEST_F(PlainOutput, OfEveryCommandIsTheSameSentence) {
  const struct {
    const char* file;
    const char* words;
  } cases[]{{"/cut.wav", R"("plainly":"The file is cut off after 0:01 of 1:05.")"},
            {"/misnamed.flac", R"("plainly":"This is not a FLAC file: it begins like a WAV.")"}};
  for (const auto& [file, words] : cases) {
    EXPECT_THAT(prepare(file), HasSubstr(words));
    EXPECT_THAT(run<PlayCommand>(ProbeArguments::Command::play, file), HasSubstr(words));
    EXPECT_THAT(run<VerifyCommand>(ProbeArguments::Command::verify, file), HasSubstr(words));
  }
}

TEST_F(PlainOutput, IsNotThereForAFileThatPlaysWhole) {
  EXPECT_THAT(prepare("/whole.wav"), Not(HasSubstr("plainly")));
  EXPECT_THAT(run<PlayCommand>(ProbeArguments::Command::play, "/whole.wav"), Not(HasSubstr("plainly")));
  EXPECT_THAT(run<VerifyCommand>(ProbeArguments::Command::verify, "/whole.wav"), Not(HasSubstr("plainly")));
}

TEST_F(PlainOutput, EscapesTheNameOfAnotherProgram) {
  hardware.removeDevice(id);
  addDevice({.hogOwner = otherProcess, .hogOwnerName = "m\x1B[2Jpv"});
  EXPECT_THAT(run<PlayCommand>(ProbeArguments::Command::play, "/whole.wav"),
              HasSubstr(R"("plainly":"Another program has the device open: m?[2Jpv (4321).")"));
}

}  // namespace
}  // namespace tolvane
