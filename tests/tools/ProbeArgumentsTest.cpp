#include "tools/ProbeArguments.h"

#include <gmock/gmock.h>

namespace tolvane {
namespace {

using testing::ElementsAre;
using Words = std::vector<std::string_view>;

TEST(ProbeArguments, TakeACommandAndItsFiles) {
  const auto arguments = parseProbeArguments(Words{"prepare", "a.wav", "-b.flac"});
  ASSERT_TRUE(arguments);
  EXPECT_EQ(arguments->command, ProbeArguments::Command::prepare);
  EXPECT_THAT(arguments->files, ElementsAre("a.wav", "-b.flac"));
}

TEST(ProbeArguments, TakeTheFilesOfAWaveform) {
  const auto arguments = parseProbeArguments(Words{"waveform", "a.wav"});
  ASSERT_TRUE(arguments);
  EXPECT_EQ(arguments->command, ProbeArguments::Command::waveform);
  EXPECT_FALSE(parseProbeArguments(Words{"waveform"}));
}

TEST(ProbeArguments, TakeThePathsOfADiscovery) {
  const auto arguments = parseProbeArguments(Words{"discover", "a", "/b"});
  ASSERT_TRUE(arguments);
  EXPECT_EQ(arguments->command, ProbeArguments::Command::discover);
  EXPECT_THAT(arguments->files, ElementsAre("a", "/b"));
  EXPECT_FALSE(parseProbeArguments(Words{"discover"}));
}

TEST(ProbeArguments, TakeEveryOptionOfPlay) {
  const auto arguments = parseProbeArguments(
      Words{"play", "--device",    "Studio DAC", "a.wav",      "--exclusive", "--volume",    "0.5",    "--balance",
            "-1",   "--from",      "2.5",        "--pause-at", "1",           "--pause-for", "0.25",   "--exclusive-at",
            "3",    "--shared-at", "4.5",        "--for",      "10",          "--",          "--b.wav"});
  ASSERT_TRUE(arguments);
  EXPECT_THAT(arguments->files, ElementsAre("a.wav", "--b.wav"));
  const PlayOptions& options = arguments->play;
  EXPECT_EQ(options.device, "Studio DAC");
  EXPECT_TRUE(options.isExclusive);
  EXPECT_EQ(options.volume, 0.5);
  EXPECT_EQ(options.balance, -1);
  EXPECT_EQ(options.fromSeconds, 2.5);
  EXPECT_EQ(options.pauseAtSeconds, 1);
  EXPECT_EQ(options.pauseForSeconds, 0.25);
  EXPECT_EQ(options.exclusiveAtSeconds, 3);
  EXPECT_EQ(options.sharedAtSeconds, 4.5);
  EXPECT_EQ(options.forSeconds, 10);
}

TEST(ProbeArguments, RefuseWhatMakesNoSense) {
  const struct {
    Words words;
    const char* sentence;
  } rows[] = {
      {{}, "A command is missing."},
      {{"dance"}, "There is no command dance."},
      {{"prepare"}, "A file is missing."},
      {{"play"}, "A file is missing."},
      {{"devices", "a.wav"}, "The command devices takes no files."},
      {{"play", "--loud", "a.wav"}, "There is no option --loud."},
      {{"play", "a.wav", "--volume"}, "--volume needs a value."},
      {{"play", "a.wav", "--volume", "1.1"}, "--volume cannot be 1.1."},
      {{"play", "a.wav", "--volume", "nan"}, "--volume cannot be nan."},
      {{"play", "a.wav", "--from", "-1"}, "--from cannot be -1."},
      {{"play", "a.wav", "--for", "10s"}, "--for cannot be 10s."},
      {{"play", "a.wav", "--device"}, "--device needs a value."},
  };
  for (const auto& row : rows) {
    const auto arguments = parseProbeArguments(row.words);
    ASSERT_FALSE(arguments) << row.sentence;
    EXPECT_EQ(arguments.error(), row.sentence);
  }
}

}  // namespace
}  // namespace tolvane
