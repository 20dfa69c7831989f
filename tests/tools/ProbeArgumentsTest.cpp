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
      Words{"play", "--device",    "Studio DAC", "a.wav",      "--exclusive", "--volume",    "0.5",  "--balance",
            "-1",   "--from",      "2.5",        "--pause-at", "1",           "--pause-for", "0.25", "--exclusive-at",
            "3",    "--shared-at", "4.5",        "--for",      "10",          "--go-on",     "--",   "--b.wav"});
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
  EXPECT_TRUE(options.goesOnAfterErrors);
}

TEST(ProbeArguments, TakeTheWishForAReport) {
  EXPECT_FALSE(parseProbeArguments(Words{"play", "a.wav"})->play.printsReport);
  const auto named = parseProbeArguments(Words{"play", "--report", "a.wav"});
  ASSERT_TRUE(named);
  EXPECT_TRUE(named->play.printsReport);
  EXPECT_TRUE(named->play.namesFile);
  const auto unnamed = parseProbeArguments(Words{"play", "--report-without-name", "a.wav"});
  ASSERT_TRUE(unnamed);
  EXPECT_TRUE(unnamed->play.printsReport);
  EXPECT_FALSE(unnamed->play.namesFile);
  EXPECT_FALSE(parseProbeArguments(Words{"verify", "--report", "a.wav"}));
  EXPECT_FALSE(parseProbeArguments(Words{"play", "--capture", "hw:1,1", "a.wav"}));
  EXPECT_EQ(parseProbeArguments(Words{"verify", "--capture", "hw:1,1", "a.wav"})->play.capture, "hw:1,1");
}

TEST(ProbeArguments, TakeWhatIsToBeDoneAroundTheEndsOfFiles) {
  const auto arguments = parseProbeArguments(
      Words{"play", "--at", "1:-0.25:pause", "--at", "2:0.02:seek=1.5", "--at", "3:0:next=/a:b=c.wav", "a.wav"});
  ASSERT_TRUE(arguments);
  const auto& actions = arguments->play.actions;
  ASSERT_EQ(actions.size(), 3U);
  EXPECT_EQ(actions[0].file, 1U);
  EXPECT_EQ(actions[0].seconds, -0.25);
  EXPECT_EQ(actions[0].kind, PlayAction::Kind::pause);
  EXPECT_EQ(actions[1].kind, PlayAction::Kind::seek);
  EXPECT_EQ(actions[1].number, 1.5);
  EXPECT_EQ(actions[2].text, "/a:b=c.wav");
}

TEST(ProbeArguments, EveryActionHasTheWordThatItIsReadFrom) {
  int seen = 0;
  for (const char* word : {"pause", "seek=1", "volume=1", "next=a", "device=a", "exclusive", "shared", "say=a"}) {
    const auto action = parsePlayAction("1:0:" + std::string(word));
    ASSERT_TRUE(action) << word;
    EXPECT_TRUE(std::string_view(word).starts_with(actionName(action->kind))) << word;
    ++seen;
  }
  EXPECT_EQ(seen, 8);
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
      {{"play", "a.wav", "--at", "pause"}, "There is no action pause."},
      {{"play", "a.wav", "--at", "0:1:pause"}, "There is no action 0:1:pause."},
      {{"play", "a.wav", "--at", "1:x:pause"}, "There is no action 1:x:pause."},
      {{"play", "a.wav", "--at", "1:inf:pause"}, "There is no action 1:inf:pause."},
      {{"play", "a.wav", "--at", "1:1:pause=2"}, "There is no action 1:1:pause=2."},
      {{"play", "a.wav", "--at", "1:1:seek"}, "There is no action 1:1:seek."},
      {{"play", "a.wav", "--at", "1:1:seek=-1"}, "There is no action 1:1:seek=-1."},
      {{"play", "a.wav", "--at", "1:1:volume=1.1"}, "There is no action 1:1:volume=1.1."},
      {{"play", "a.wav", "--at", "1:1:next="}, "There is no action 1:1:next=."},
      {{"play", "a.wav", "--at", "1:1:dance"}, "There is no action 1:1:dance."},
  };
  for (const auto& row : rows) {
    const auto arguments = parseProbeArguments(row.words);
    ASSERT_FALSE(arguments) << row.sentence;
    EXPECT_EQ(arguments.error(), row.sentence);
  }
}

}  // namespace
}  // namespace tolvane
