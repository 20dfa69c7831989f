#include "engine/SignalPath.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/engine/PathCircumstances.h"

namespace tolvane {
namespace {

using Stage = PathStage::Kind;
using Condition = PathStage::Condition;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr OutputLevels everyLevels[] = {{1, 0}, {0.4, 0}, {1, -0.5}};

/// One thing that keeps a path from being BIT-PERFECT, and the stage that it belongs to. In the order in which the
/// verdict asks, written down once more.
struct Obstacle {
  std::string name;
  bool (*applies)(const Circumstances&, const OutputLevels&);
  Stage stage;
};
const std::vector<Obstacle> obstacles{
    {"levels", [](auto&, auto& levels) { return levels.volume != 1 || levels.balance != 0; }, Stage::player},
    {"rate", [](auto& c, auto&) { return !c.rates.match; }, Stage::route},
    {"client format", [](auto& c, auto&) { return !c.clientMatches; }, Stage::player},
    {"Bluetooth", [](auto& c, auto&) { return c.isBluetooth; }, Stage::device},
    {"lossy", [](auto& c, auto&) { return !c.isLossless; }, Stage::file},
    {"converted", [](auto& c, auto&) { return c.isConverted; }, Stage::route},
    {"processed", [](auto& c, auto&) { return c.isProcessed; }, Stage::route},
    {"narrow format", [](auto& c, auto&) { return c.formatIsKnown && !c.formatCarries; }, Stage::device},
    {"withheld", [](auto& c, auto&) { return c.isExclusive && !c.isOwned; }, Stage::route},
    {"unknown stage", [](auto& c, auto&) { return c.isObscured; }, Stage::route},
    {"unknown format", [](auto& c, auto&) { return !c.formatIsKnown; }, Stage::device}};

PathDescription description(const OutputLevels& levels = {}) {
  return {.sourceBits = 24, .levels = levels, .deviceName = "Studio DAC"};
}

/// A lossless track on a device that follows it.
AudioPathFacts perfectPath() {
  return {.sourceRate = 96000,
          .nominalRate = 96000,
          .actualRate = 96000,
          .clientFormatMatches = true,
          .isLossless = true,
          .sourceLabel = "FLAC",
          .physicalFormat = linearPCM(96000, 2, 24, 4, kAudioFormatFlagIsSignedInteger),
          .physicalFormatCompatible = true,
          .alterations = {},
          .hogModeSupported = true};
}

const PathStage& stageOf(const SignalPath& path, Stage kind) { return path.stages.at(static_cast<std::size_t>(kind)); }

std::optional<Stage> firstBroken(const SignalPath& path) {
  const auto found =
      std::ranges::find_if(path.stages, [](const PathStage& stage) { return stage.condition != Condition::unaltered; });
  return found == path.stages.end() ? std::nullopt : std::optional(found->kind);
}

TEST(SignalPath, AgreesWithTheVerdictInEveryCombination) {
  int seen = 0;
  int perfect = 0;
  int single = 0;
  std::set<std::pair<std::string, std::string>> namedBehindAnother;
  for (const Circumstances& circumstances : everyCombination()) {
    for (const OutputLevels& levels : everyLevels) {
      const AudioPathFacts facts = circumstances.facts();
      const auto status = judgeAudioPath(facts).applyingOutputLevels(levels, facts.isBluetooth);
      const SignalPath path = signalPath(facts, description(levels));
      const bool isPerfect = status.kind == AudioPathStatus::Kind::bitPerfect;
      ASSERT_EQ(path.isUnaltered(), isPerfect);
      ASSERT_EQ(!firstBroken(path).has_value(), isPerfect) << status.detail << "\n" << chainText(path);
      ASSERT_EQ(!path.named.has_value(), isPerfect) << status.detail;

      std::vector<Obstacle> present;
      for (const Obstacle& obstacle : obstacles)
        if (obstacle.applies(circumstances, levels)) present.push_back(obstacle);
      ASSERT_EQ(present.empty(), isPerfect);
      for (const Obstacle& obstacle : present)
        ASSERT_NE(stageOf(path, obstacle.stage).condition, Condition::unaltered) << obstacle.name;
      ++seen;
      if (isPerfect) {
        ++perfect;
        continue;
      }
      ASSERT_EQ(path.named, present.front().stage) << present.front().name << ": " << status.detail;
      if (present.size() == 1) {
        ++single;
        ASSERT_EQ(path.named, firstBroken(path)) << present.front().name;
      }
      if (path.named != firstBroken(path))
        namedBehindAnother.emplace(stageTitle(*path.named), stageTitle(*firstBroken(path)));
    }
  }
  fmt::print("{} combinations, {} of them bit-perfect, {} with one obstacle\n", seen, perfect, single);
  EXPECT_EQ(seen, 3 * 5 * 2048);
  EXPECT_GT(perfect, 0);
  EXPECT_GT(single, 20);
  // Where the order of the verdict's rows is not that of the stages.
  EXPECT_EQ(namedBehindAnother,
            (std::set<std::pair<std::string, std::string>>{
                {"Player", "File"}, {"Route", "File"}, {"Route", "Player"}, {"Device", "File"}, {"Device", "Route"}}));
}

TEST(SignalPath, EveryStageHasAValueASourceAndAMeaningInSentences) {
  int seen = 0;
  for (const Circumstances& circumstances : everyCombination()) {
    for (const OutputLevels& levels : everyLevels) {
      const SignalPath path = signalPath(circumstances.facts(), description(levels));
      ASSERT_EQ(path.stages.size(), everyPathStage.size());
      for (std::size_t i = 0; i < path.stages.size(); ++i) {
        const PathStage& stage = path.stages[i];
        ASSERT_EQ(stage.kind, everyPathStage[i]);
        ASSERT_FALSE(stage.value.empty());
        ASSERT_LE(stage.value.size(), 45U) << stage.value;
        ASSERT_TRUE(stage.meaning.ends_with('.')) << stage.meaning;
        ASSERT_FALSE(stage.source.empty() || stage.source.ends_with('.')) << stage.source;
        for (const std::string& text : {stage.source, stage.meaning}) {
          ASSERT_EQ(text.find(".."), std::string::npos) << text;
          ASSERT_EQ(text.find("  "), std::string::npos) << text;
        }
        ++seen;
      }
    }
  }
  EXPECT_GT(seen, 100'000);
}

TEST(SignalPath, ReadsAsAChain) {
  EXPECT_EQ(chainText(signalPath(perfectPath(), description())),
            "FLAC 24-bit 96 kHz → untouched → shared, 96 kHz → 24-bit 96 kHz · Studio DAC");
  AudioPathFacts facts = perfectPath();
  facts.hogModeOwned = facts.exclusiveAccessEnabled = true;
  EXPECT_EQ(chainText(signalPath(facts, description({0.4, 0.1}))),
            "FLAC 24-bit 96 kHz → volume and balance applied → exclusive, 96 kHz → 24-bit 96 kHz · Studio DAC");
  facts = perfectPath();
  facts.nominalRate = facts.actualRate = 48000;
  facts.physicalFormat->mSampleRate = 48000;
  facts.physicalFormatCompatible = false;
  EXPECT_EQ(chainText(signalPath(facts, description())),
            "FLAC 24-bit 96 kHz → untouched → shared, 48 kHz, resampled → 24-bit 48 kHz · Studio DAC");
  EXPECT_EQ(chainText(SignalPath()), "");
}

TEST(SignalPath, SaysWhatItKnowsOfTheFile) {
  AudioPathFacts facts = perfectPath();
  PathDescription track = description();
  const auto value = [&] { return stageOf(signalPath(facts, track), Stage::file).value; };
  track.channels = 6;
  EXPECT_EQ(value(), "FLAC 24-bit 96 kHz, 6 ch");
  track = {.sourceBits = 32, .sourceIsFloat = true};
  EXPECT_EQ(value(), "FLAC 32-bit float 96 kHz");
  track = {};
  facts.isLossless = false;
  facts.sourceLabel = "MP3";
  facts.sourceRate = 44100;
  EXPECT_EQ(value(), "MP3 44.1 kHz");
  EXPECT_THAT(stageOf(signalPath(facts, track), Stage::file).meaning, StartsWith("MP3 is a lossy format"));
  EXPECT_EQ(signalPath(facts, track).cut, std::nullopt);
  track.cut = TrackCut{192, 245};
  EXPECT_THAT(stageOf(signalPath(facts, track), Stage::file).meaning,
              EndsWith("can bring that back. The file is cut off after 3:12 of 4:05."));
  EXPECT_EQ(signalPath(facts, track).cut, track.cut);
  EXPECT_TRUE(signalPath(perfectPath(), track).isUnaltered()) << "what is there is passed on as it is";
}

TEST(SignalPath, GivesTheReasonsOfTheRoute) {
  AudioPathFacts facts = perfectPath();
  facts.alterations = {{SampleAlteration::Kind::unknown, "A setting is not known.", "Remove it."_cure},
                       {SampleAlteration::Kind::processed, "The volume is at 40 %.", "Set it to 100 %."_cure}};
  PathDescription over = description();
  over.soundServer = "PipeWire 1.4.2";
  const SignalPath path = signalPath(facts, over);
  const PathStage& route = stageOf(path, Stage::route);
  EXPECT_EQ(route.value, "shared, 96 kHz, processed");
  EXPECT_EQ(route.condition, Condition::altered);
  EXPECT_EQ(route.meaning, "The volume is at 40 %. Set it to 100 %. A setting is not known. Remove it.");
  EXPECT_THAT(route.source, StartsWith("PipeWire 1.4.2: "));
  EXPECT_TRUE(path.isNamed(Stage::route));
  facts.alterations.pop_back();
  EXPECT_EQ(stageOf(signalPath(facts, over), Stage::route).condition, Condition::unknown);
  over.soundServer.clear();
  over.driver = "snd-usb-audio";
  EXPECT_THAT(stageOf(signalPath(facts, over), Stage::route).source, HasSubstr("snd-usb-audio"));
}

TEST(SignalPath, SaysWhereTheFormatOfTheDeviceWasRead) {
  AudioPathFacts facts = perfectPath();
  PathDescription read = description();
  read.formatSource = "/proc/asound/card1/pcm0p/sub0/hw_params (S32_LE); 24 significant bits by the USB descriptor";
  EXPECT_EQ(stageOf(signalPath(facts, read), Stage::device).source,
            "the kernel: /proc/asound/card1/pcm0p/sub0/hw_params (S32_LE); 24 significant bits by the USB descriptor");
  facts.physicalFormat.reset();
  const SignalPath path = signalPath(facts, description());
  EXPECT_EQ(stageOf(path, Stage::device).value, "format not known · Studio DAC");
  EXPECT_EQ(stageOf(path, Stage::device).condition, Condition::unknown);
}

}  // namespace
}  // namespace tolvane
