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
  std::string run(Command command, ProbeArguments::Command name, const std::string& file) {
    testing::internal::CaptureStdout();
    command->start({.command = name, .files = {file}, .play = {}});
    advance(10s);
    return testing::internal::GetCapturedStdout();
  }
  std::string play(const std::string& file) {
    ProbeOutput output;
    return run(std::make_unique<PlayCommand>(
                   *player, runLoop, output, [](const std::string&) { return kAudioObjectUnknown; }, [] {}),
               ProbeArguments::Command::play, file);
  }
  std::string verify(const std::string& file) {
    ProbeOutput output;
    return run(std::make_unique<VerifyCommand>(*player, files, runLoop, output, nullptr, [] {}),
               ProbeArguments::Command::verify, file);
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
    EXPECT_THAT(play(file), HasSubstr(words));
    EXPECT_THAT(verify(file), HasSubstr(words));
  }
}

TEST_F(PlainOutput, IsNotThereForAFileThatPlaysWhole) {
  EXPECT_THAT(prepare("/whole.wav"), Not(HasSubstr("plainly")));
  EXPECT_THAT(play("/whole.wav"), Not(HasSubstr("plainly")));
  EXPECT_THAT(verify("/whole.wav"), Not(HasSubstr("plainly")));
}

TEST_F(PlainOutput, EscapesTheNameOfAnotherProgram) {
  hardware.removeDevice(id);
  addDevice({.hogOwner = otherProcess, .hogOwnerName = "m\x1B[2Jpv"});
  EXPECT_THAT(play("/whole.wav"),
              HasSubstr(R"("plainly":"Another program has the device open: m?[2Jpv (4321).")"));
}

}  // namespace
}  // namespace tolvane
